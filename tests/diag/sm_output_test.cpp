#include "diag/sm_output.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "platform/module_identity.h"
#include "support/host_system.h"
#include "support/log_sandbox.h"

namespace sbx::NSDBG {
namespace {

// The tool's objects, made in its order of work.
class LiveOutput : public ::testing::Test {
 protected:
  LiveOutput() {
    const WideString executable = platform::ExecutablePath();
    executable_ = FileNameOf(executable);
    ring_ = executable_;
    std::transform(ring_.begin(), ring_.end(), ring_.begin(), AsciiUpper);
  }
  void Listen() {
    EXPECT_TRUE(platform::IsOpened(event_.Create(kLiveEventName + ring_, platform::EventReset::kAuto)));
  }
  void TurnOn() {
    EXPECT_TRUE(platform::IsOpened(switch_.Create(kLogSwitchName, platform::EventReset::kManual)));
  }
  std::vector<WideString> Take() {
    CLogShareMemory reader(executable_);
    reader.Attach();
    std::vector<CLogMessage*> messages;
    reader.Read(messages);
    std::vector<WideString> texts;
    for (CLogMessage* message : messages) {
      texts.push_back(message->GetText());
      message->Release();
    }
    return texts;
  }
  bool IsRingOpen() {
    platform::SharedBlock block;
    return block.Open(kLiveBlockName + ring_) == platform::ObjectStatus::kOk;
  }
  using Texts = std::vector<WideString>;

  sbx::testing::LogSandbox sandbox_;
  WideString executable_;
  WideString ring_;
  platform::NamedEvent event_;
  platform::NamedEvent switch_;
  CSMOutput output_;
};

TEST_F(LiveOutput, TheThresholdIs9999WhileTheSwitchExistsElse0) {
  EXPECT_EQ(output_.GetLogLevel(), 0);
  TurnOn();
  EXPECT_EQ(output_.GetLogLevel(), 9999);
  switch_.Close();
  EXPECT_EQ(output_.GetLogLevel(), 0);
}

TEST_F(LiveOutput, TheSwitchsStateDoesNotCount) {
  TurnOn();
  switch_.Set();
  EXPECT_EQ(output_.GetLogLevel(), 9999);
  switch_.Reset();
  EXPECT_EQ(output_.GetLogLevel(), 9999);
}

TEST_F(LiveOutput, WithoutTheSwitchNothingIsDelivered) {
  Listen();
  output_.LogW(0, 0, u"lost");
  EXPECT_FALSE(IsRingOpen());
}

TEST_F(LiveOutput, WithoutAListenerNothingIsDelivered) {
  TurnOn();
  output_.LogW(0, 0, u"lost");
  EXPECT_FALSE(IsRingOpen());
  Listen();
  output_.LogW(0, 0, u"kept");
  EXPECT_EQ(Take(), Texts{u"kept"});
}

TEST_F(LiveOutput, EveryLevelIsDelivered) {
  Listen();
  TurnOn();
  output_.LogW(4, 0, u"four");
  output_.LogW(20000, 0, u"any");
  output_.LogA(-3, 0, "narrow \xC3\xA4");
  output_.LogW(0, 0, u"");
  EXPECT_EQ(Take(),
            (Texts{u"four", u"any", sbx::testing::kIsWindows ? u"narrow \u00C3\u00A4" : u"narrow \u00E4"}));
  EXPECT_EQ(event_.Wait(0), platform::WaitResult::kObtained);
}

TEST_F(LiveOutput, ANarrowMessageWithoutRoomIsEmptyAndSoNotDelivered) {
  Listen();
  TurnOn();
  output_.LogA(0, 0, std::string(1024, 'x').c_str());
  output_.LogA(0, 0, std::string(1023, 'y').c_str());
  output_.LogA(0, 0, nullptr);
  EXPECT_EQ(Take(), Texts{WideString(1023, u'y')});
}

TEST_F(LiveOutput, AWithdrawnSwitchClosesTheChannelWithTheNextMessage) {
  Listen();
  TurnOn();
  output_.LogW(0, 0, u"one");
  EXPECT_TRUE(IsRingOpen());
  switch_.Close();
  EXPECT_TRUE(IsRingOpen()) << "no message yet";
  output_.LogW(0, 0, u"lost");
  EXPECT_FALSE(IsRingOpen());
  TurnOn();
  output_.LogW(0, 0, u"two");
  EXPECT_EQ(Take(), Texts{u"two"});
}

TEST_F(LiveOutput, TheLibraryStandsInTheRecord) {
  Listen();
  TurnOn();
  output_.LogW(3, 5, u"m");
  platform::SharedBlock block;
  ASSERT_EQ(block.Open(kLiveBlockName + ring_), platform::ObjectStatus::kOk);
  const LOG_SM_RECORD& record = static_cast<LOG_SM_BLOCK*>(block.Map(sizeof(LOG_SM_BLOCK)))->slots[0];
  EXPECT_EQ(WideView(record.processName), ring_);
  EXPECT_EQ(WideView(record.moduleName), platform::OwnModuleName());
  EXPECT_EQ(record.level, 3);
  EXPECT_EQ(record.errorCode, 5u);
}

TEST_F(LiveOutput, CloseLetsGoOfEverything) {
  Listen();
  TurnOn();
  output_.LogW(0, 0, u"one");
  output_.Close();
  EXPECT_FALSE(IsRingOpen());
  output_.Nop();
}

}  // namespace
}  // namespace sbx::NSDBG
