// sbxlog tail: other signals that end it, an output that can't be written, objects that are files.
#include <cstdlib>

#include "diag/live_channel_format.h"
#include "platform/named_objects.h"
#include "sbxlog/log_tool.h"
#include "support/log_files.h"

namespace sbx::testing {
namespace {

class SbxlogTailHere : public ::testing::Test {
 protected:
  static void WaitForSwitch() {
    ASSERT_TRUE(Eventually([] { return IsSwitchOn(); }));
  }
  static bool IsSwitchOn() { return platform::EventExists(kLogSwitchName); }

  LogSandbox sandbox_;
};

TEST_F(SbxlogTailHere, EndsAtTheOtherSignalsToo) {
  for (const int signal : {SIGTERM, SIGHUP}) {
    Sbxlog tail({"tail", "printer"});
    WaitForSwitch();
    kill(tail.process(), signal);
    EXPECT_EQ(tail.End(), (Said{"exit 0", "", ""}));
    EXPECT_FALSE(IsSwitchOn());
  }
}

// Where other processes than the test's may log it can't be told when nothing does.
TEST_F(SbxlogTailHere, TellsThatNothingLogsYet) {
  LogHost host(sandbox_, "printer");
  Sbxlog reader({"tail", "printer"});
  WaitForSwitch();
  EXPECT_EQ(RunSbxlog({"tail", "--timeout", "0"}),
            (Said{"exit 0", "",
                  "sbxlog: warning: printer has a reader already, or can't be read [name-skipped]\n"
                  "sbxlog: note: nothing logs yet [waiting]\n"}));
}

TEST_F(SbxlogTailHere, RefusesANameThatIsTooLongForAFile) {
  EXPECT_EQ(RunSbxlog({"tail", std::string(2000, 'x')}).ended, "exit 5");
}

TEST_F(SbxlogTailHere, WithdrawsWhenItsOutputIsGone) {
  LogHost host(sandbox_, "printer");
  const std::string command = std::string(SBXLOG_TOOL) + " tail printer >/dev/full 2>" +
                              (sandbox_.root() / "errors").string() + "; echo $? >" +
                              (sandbox_.root() / "code").string();
  std::thread run([&] { EXPECT_EQ(std::system(command.c_str()), 0); });
  WaitForSwitch();
  host.Log(3, "a message");
  run.join();
  EXPECT_EQ(ReadBytes(sandbox_.root() / "code"), "6\n");
  EXPECT_EQ(ReadBytes(sandbox_.root() / "errors"),
            "sbxlog: error: standard output can't be written [output-failed]\n");
  EXPECT_FALSE(IsSwitchOn());
}

}  // namespace
}  // namespace sbx::testing
