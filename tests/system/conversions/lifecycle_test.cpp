// Loading and unloading the built library, and processes that end in the middle of a conversion.
#include <atomic>
#include <cstdlib>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "chain_module.h"
#include "support/child_process.h"
#include "support/sanitizers.h"

namespace sbx::testing {
namespace {

using ConvertFunction = decltype(&SBXBinaryToXML_Text);
using BackFunction = decltype(&SBXXMLToBinary);

constexpr const char16_t* kXml = u"<J><Link><Name>link</Name><Number>5</Number></Link></J>";

TEST(Lifecycle, ALibraryThatIsLoadedAtRunTimeCanBeUnloadedAtAnyPoint) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer's runtime can't be loaded twice";
  // A copy of its own each time, beside the one that this program is linked with.
  for (int round = 0; round < 3; ++round) {
    void* const library = dlmopen(LM_ID_NEWLM, SBXML_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) GTEST_SKIP() << dlerror();
    const auto convert = reinterpret_cast<ConvertFunction>(dlsym(library, "SBXBinaryToXML_Text"));
    const auto back = reinterpret_cast<BackFunction>(dlsym(library, "SBXXMLToBinary"));
    ASSERT_NE(convert, nullptr);
    ASSERT_NE(back, nullptr);
    const ChainModule module;
    const Link link;
    std::int32_t units = 0x7FFFFFFF;
    EXPECT_EQ(convert(module.handle(), 1, 2, u"Link", &link, sizeof link, nullptr, &units, 0), SBX_OK);
    JSHandle* handle = nullptr;
    EXPECT_EQ(back(module.handle(), 1, 2, u"Link", kXml, &handle), SBX_OK);
    EXPECT_EQ(dlclose(library), 0) << "with sets loaded and a handle outstanding";
  }
}

TEST(Lifecycle, AProcessMayEndWhileAnotherThreadConverts) {
  for (int round = 0; round < 5; ++round) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      const ChainModule module;
      std::vector<Link> chain(500);
      for (std::size_t i = 0; i + 1 < chain.size(); ++i) chain[i].next = &chain[i + 1];
      std::vector<std::thread> threads;
      std::atomic<int> started = 0;
      for (int id = 0; id < 3; ++id) {
        threads.emplace_back([&] {
          for (;;) {
            std::u16string xml;
            module.Convert(chain.data(), xml);
            JSHandle* handle = nullptr;
            SBXXMLToBinary(module.handle(), 1, 2, u"Link", xml.c_str(), &handle);
            SBXFreeJSHandle(handle);
            ++started;
          }
        });
      }
      while (started < round + 1) std::this_thread::yield();
      std::exit(0);  // runs the library's exit hooks beside the three
    }
    EXPECT_EQ(WaitForChild(child), "exit 0");
  }
}

// Everything that a conversion needs, in a child that has no thread but the forking one.
void ConvertBothWays() {
  alarm(60);  // for a lock that nobody will ever leave
  const ChainModule module;
  const Link link;
  std::u16string xml;
  Require(module.Convert(&link, xml) == SBX_OK);
  JSHandle* handle = nullptr;
  Require(SBXXMLToBinary(module.handle(), 1, 2, u"Link", xml.c_str(), &handle) == SBX_OK);
  Require(SBXHandleToBuffer(handle, nullptr, nullptr) == SBX_OK);
  Require(SBXFreeJSHandle(handle) == SBX_OK);
  Require(SBXVerifyStructSize(module.handle(), 1, 2, u"Link", 24, nullptr) == SBX_OK);
  char16_t text[100];
  SBXGetLastError(text, 100);
}

TEST(Lifecycle, AChildConvertsThatWasForkedWhileOthersDid) {
  if (kThreadSanitized) GTEST_SKIP() << "the sanitizer's own limit";
  std::atomic<bool> stop = false;
  std::vector<std::thread> threads;
  for (int id = 0; id < 3; ++id) {
    threads.emplace_back([&stop] {
      const ChainModule module;
      std::vector<Link> chain(200);
      for (std::size_t i = 0; i + 1 < chain.size(); ++i) chain[i].next = &chain[i + 1];
      while (!stop) {
        std::u16string xml;
        EXPECT_EQ(module.Convert(chain.data(), xml), SBX_OK);
        JSHandle* handle = nullptr;
        EXPECT_EQ(SBXXMLToBinary(module.handle(), 1, 2, u"Link", xml.c_str(), &handle), SBX_OK);
        EXPECT_EQ(SBXFreeJSHandle(handle), SBX_OK);
      }
    });
  }
  for (int round = 0; round < 30; ++round) {
    const std::string end = InChild(ConvertBothWays);
    EXPECT_EQ(end, "exit 0") << round;
    if (end != "exit 0") break;
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(InChild(ConvertBothWays), "exit 0");
}

TEST(Lifecycle, HandlesThatAreNeverFreedDoNoHarmAtTheEnd) {
  EXPECT_EQ(InChild([] {
              const ChainModule module;
              JSHandle* handle = nullptr;
              for (int i = 0; i < 100; ++i) {
                Require(SBXXMLToBinary(module.handle(), 1, 2, u"Link", kXml, &handle) == SBX_OK);
              }
              Require(SBXXMLToBinary(module.handle(), 1, 2, u"Link", kXml, &handle) == SBX_E_MEMORY);
              std::exit(0);
            }),
            "exit 0");
}

}  // namespace
}  // namespace sbx::testing
