// Children that are forked while other threads convert.
#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "chain_module.h"
#include "support/child_process.h"
#include "support/sanitizers.h"

namespace sbx::testing {
namespace {

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
  if (kSanitized) GTEST_SKIP() << "a sanitizer's heap stays locked in a child forked while others allocate";
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

}  // namespace
}  // namespace sbx::testing
