// Loading and unloading the built library, and processes that end in the middle of a conversion.
#include <atomic>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "chain_module.h"
#include "run_time_library.h"
#include "support/child_process.h"
#include "support/sanitizers.h"
#include "support/scratch_folder.h"

namespace sbx::testing {
namespace {

using ConvertFunction = decltype(&::SBXBinaryToXML_Text);
using BackFunction = decltype(&::SBXXMLToBinary);

constexpr const SBXChar* kXml = SBX_TEXT("<J><Link><Name>link</Name><Number>5</Number></Link></J>");
constexpr const SBXChar* kLink = SBX_TEXT("Link");

TEST(Lifecycle, ALibraryThatIsLoadedAtRunTimeCanBeUnloadedAtAnyPoint) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer's runtime can't be loaded twice";
  const ScratchFolder folder;
  // A copy of its own each time, beside the one that this program is linked with.
  for (int round = 0; round < 3; ++round) {
    void* const library = LoadCopyOf(SBXML_LIBRARY, folder.path());
    ASSERT_NE(library, nullptr);
    const auto convert = reinterpret_cast<ConvertFunction>(FindFunction(library, "SBXBinaryToXML_Text"));
    const auto back = reinterpret_cast<BackFunction>(FindFunction(library, "SBXXMLToBinary"));
    ASSERT_NE(convert, nullptr);
    ASSERT_NE(back, nullptr);
    const ChainModule module;
    const Link link;
    std::int32_t units = 0x7FFFFFFF;
    EXPECT_EQ(convert(module.handle(), 1, 2, kLink, &link, sizeof link, nullptr, &units, 0), SBX_OK);
    JSHandle* handle = nullptr;
    EXPECT_EQ(back(module.handle(), 1, 2, kLink, kXml, &handle), SBX_OK);
    EXPECT_TRUE(UnloadLibrary(library)) << "with sets loaded and a handle outstanding";
  }
}

TEST(Lifecycle, AProcessMayEndWhileAnotherThreadConverts) {
  for (int round = 0; round < 5; ++round) {
    EXPECT_EQ(InChild([round] {
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
              }),
              "exit 0");
  }
}

TEST(Lifecycle, HandlesThatAreNeverFreedDoNoHarmAtTheEnd) {
  EXPECT_EQ(InChild([] {
              const ChainModule module;
              JSHandle* handle = nullptr;
              for (int i = 0; i < 100; ++i) {
                Require(SBXXMLToBinary(module.handle(), 1, 2, kLink, kXml, &handle) == SBX_OK);
              }
              Require(SBXXMLToBinary(module.handle(), 1, 2, kLink, kXml, &handle) == SBX_E_MEMORY);
              std::exit(0);
            }),
            "exit 0");
}

}  // namespace
}  // namespace sbx::testing
