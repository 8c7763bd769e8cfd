// Which functions wait for the conversion under way, from where on, and which don't.
#include "api/conversion_lock.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <thread>

#include "api/handle_table.h"
#include "export_fixture.h"
#include "support/scratch_folder.h"

namespace sbx::testing {
namespace {

constexpr std::chrono::seconds kPatience{60};

class LockOfConversions : public ExportTest {
 protected:
  ~LockOfConversions() override { FreeAllHandles(); }

  // Waits until the log has a line; false if it never comes.
  bool WaitForLine() {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (Lines().empty() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    return !Lines().empty();
  }

  ScratchFolder folder;
  WideString path = folder.Path(u"file.xml");
};

struct Waiting {
  WideString begin;
  std::function<std::int32_t()> call;
};

TEST_F(LockOfConversions, IsWaitedForRightBehindTheBeginMessage) {
  const SBXModule carrier = module.handle();
  std::int32_t size = 1000;
  const Waiting calls[] = {
      {u"Verify xml structure description for structure [Job]",
       [&] { return SBXVerifyStructSize(carrier, kPdbId, kRuleId, u"Job", 16, nullptr); }},
      {u"Convert from binary to XML text begin.(Root structure: Job)",
       [&] { return SBXBinaryToXML_Text(carrier, kPdbId, kRuleId, u"Job", &job, 16, nullptr, &size, 0); }},
      {u"Convert from binary to XML file begin.(Root structure: Job, XML: " + path + u")",
       [&] { return SBXBinaryToXML_File(carrier, kPdbId, kRuleId, u"Job", &job, 16, path.c_str()); }},
      {u"Convert from XML to binary begin.(Root structure: Job)",
       [&] { return SBXXMLToBinary(carrier, kPdbId, kRuleId, u"Job", kJobXml, nullptr); }},
  };
  for (const Waiting& waiting : calls) {
    log.Clear();
    ConversionMutex().lock();
    std::future<std::int32_t> result = std::async(std::launch::async, waiting.call);
    EXPECT_TRUE(WaitForLine()) << "the message comes before the wait";
    for (int i = 0; i < 2000; ++i) std::this_thread::yield();
    g_DBGLog.Printf(1, u"the lock is left now");
    ConversionMutex().unlock();
    EXPECT_EQ(result.get(), SBX_OK);
    const Log lines = Lines();
    ASSERT_GT(lines.size(), 2u);
    EXPECT_EQ(lines[0], (LogLine{3, waiting.begin}));
    EXPECT_EQ(lines[1], (LogLine{1, u"the lock is left now"}));
  }
}

TEST_F(LockOfConversions, BadParametersAreLookedAtBehindItToo) {
  ConversionMutex().lock();
  auto result =
      std::async(std::launch::async, [] { return SBXXMLToBinary(nullptr, 0, 0, nullptr, nullptr, nullptr); });
  EXPECT_TRUE(WaitForLine());
  for (int i = 0; i < 2000; ++i) std::this_thread::yield();
  EXPECT_EQ(Lines().size(), 1u);
  ConversionMutex().unlock();
  EXPECT_EQ(result.get(), SBX_E_PARAMETER);
}

TEST_F(LockOfConversions, MayBeTakenAgainByItsThread) {
  const ConversionLock outer;
  EXPECT_EQ(SBXBinaryToXML_File(module.handle(), kPdbId, kRuleId, u"Job", &job, 16, path.c_str()), SBX_OK);
  EXPECT_EQ(SBXVerifyStructSize(module.handle(), kPdbId, kRuleId, u"Job", 16, nullptr), SBX_OK);
}

TEST_F(LockOfConversions, TheOtherFiveFunctionsDoNotWait) {
  JSHandle* handle = nullptr;
  ASSERT_EQ(SBXXMLToBinary(module.handle(), kPdbId, kRuleId, u"Job", kJobXml, &handle), SBX_OK);
  ConversionMutex().lock();
  auto done = std::async(std::launch::async, [&] {
    LastError();
    EXPECT_EQ(SBXHandleToBuffer(handle, nullptr, nullptr), SBX_OK);
    EXPECT_EQ(SBXFreeJSHandle(handle), SBX_OK);
    EXPECT_EQ(SBXWriteXML(path.c_str(), u"<a/>", 0), SBX_OK);
    std::int32_t size = 0;
    EXPECT_EQ(SBXReadXML(path.c_str(), nullptr, &size), SBX_E_BUFFER);
  });
  EXPECT_EQ(done.wait_for(kPatience), std::future_status::ready);
  ConversionMutex().unlock();
  done.get();
}

}  // namespace
}  // namespace sbx::testing
