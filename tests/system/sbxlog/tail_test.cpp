// sbxlog tail: what running processes log, each message once, and how many were lost.
#include <cstring>
#include <set>

#include "diag/live_channel_format.h"
#include "platform/named_objects.h"
#include "sbxlog/log_tool.h"

namespace sbx::testing {
namespace {

class SbxlogTail : public ::testing::Test {
 protected:
  // The switch is made when everything else is there.
  static void WaitForSwitch() {
    ASSERT_TRUE(Eventually([] { return platform::EventExists(kLogSwitchName); }));
  }
  static bool IsSwitchOn() { return platform::EventExists(kLogSwitchName); }

  LogSandbox sandbox_;
};

// The numbers of "message N" lines in a text.
std::vector<int> NumbersIn(const std::string& text) {
  static const std::regex kMessage(R"(\] message (\d+) )");
  std::vector<int> numbers;
  for (auto it = std::sregex_iterator(text.begin(), text.end(), kMessage); it != std::sregex_iterator();
       ++it) {
    numbers.push_back(std::stoi((*it)[1]));
  }
  return numbers;
}

TEST_F(SbxlogTail, ShowsMessagesInTheFilesLineForm) {
  LogHost host(sandbox_, "printer");
  Sbxlog tail({"tail", kPrinter});
  WaitForSwitch();
  host.Log(3, "paper in");
  host.Log(4, "caf\xC3\xA9");
  ASSERT_TRUE(tail.Says("caf"));
  const Said said = tail.Interrupt();
  std::string id = host.Id();  // five digits at least in a line
  id.insert(0, id.size() < 5 ? 5 - id.size() : 0, '0');
  const std::string place = "{" + ChannelOf("printer") + "::" + host.Module() + "}\n";
  static const std::regex kThread(R"(PID   (PID|\d{5,}) )");
  EXPECT_EQ(std::regex_replace(Steady(said.output, {{id, "PID"}}), kThread, "PID   TID "),
            "[TIME   03   PID   TID             ] paper in   " + place +
                "[TIME   04   PID   TID             ] caf\xC3\xA9   " + place);
  EXPECT_EQ(said.ended, "exit 0");
  EXPECT_EQ(said.errors, "");
}

TEST_F(SbxlogTail, WritesJson) {
  LogHost host(sandbox_, "printer");
  Sbxlog tail({"tail", kPrinter, "--json", "--until", "in"});
  WaitForSwitch();
  host.Log(0, "paper \"in\"");
  static const std::regex kThread("\"tid\":\\d+");
  EXPECT_EQ(std::regex_replace(Steady(tail.End().output, {{host.Id(), "1"}}), kThread, "\"tid\":1"),
            "{\"kind\":\"message\",\"time\":\"TIME\",\"level\":0,\"pid\":1,\"tid\":1,\"error_code\":0,"
            "\"process\":\"" +
                ChannelOf("printer") + "\",\"module\":\"" + host.Module() +
                "\",\"message\":\"paper \\\"in\\\"\"}\n");
}

TEST_F(SbxlogTail, CtrlCWithdrawsTheSwitch) {
  LogHost host(sandbox_, "printer");
  Sbxlog tail({"tail", kPrinter});
  WaitForSwitch();
  EXPECT_EQ(tail.Interrupt(), (Said{"exit 0", "", ""}));
  EXPECT_FALSE(IsSwitchOn());
  platform::NamedEvent channel;
  EXPECT_EQ(channel.Open(kLiveEventName + WideChannelOf("printer")), platform::ObjectStatus::kNotFound);
  host.Log(0, "nobody listens");
}

TEST_F(SbxlogTail, AKilledOneLeavesNoSwitch) {
  LogHost host(sandbox_, "printer");
  Sbxlog tail({"tail", kPrinter});
  WaitForSwitch();
  host.Log(0, "one");
  ASSERT_TRUE(tail.Says("one"));
  tail.Kill();
  EXPECT_FALSE(IsSwitchOn());
  // The writer still holds the channel's objects: they don't keep the next reader out.
  Sbxlog next({"tail", kPrinter, "--until", "three"});
  WaitForSwitch();
  host.Log(0, "three");
  EXPECT_EQ(next.End().ended, "exit 0");
}

TEST_F(SbxlogTail, RefusesASecondReaderOfAName) {
  Sbxlog first({"tail", kPrinter});
  WaitForSwitch();
  EXPECT_EQ(RunSbxlog({"tail", ProgramOf("Printer")}),
            (Said{"exit 7", "",
                  "sbxlog: error: " + ProgramOf("Printer") + " has a reader already [name-taken]\n"}));
  EXPECT_EQ(RunSbxlog({"tail", ProgramOf("other"), "--timeout", "0"}), (Said{"exit 0", "", ""}));
  EXPECT_EQ(first.Interrupt().ended, "exit 0");
  EXPECT_EQ(RunSbxlog({"tail", kPrinter, "--timeout", "0"}), (Said{"exit 0", "", ""}));
}

TEST_F(SbxlogTail, FollowsEveryExecutableThatLogsAndNewOnes) {
  LogHost first(sandbox_, "first");
  Sbxlog tail({"tail"});
  WaitForSwitch();
  first.Log(3, "from the first");
  ASSERT_TRUE(tail.Says("from the first   {" + ChannelOf("first") + "::" + first.Module() + "}"));
  LogHost second(sandbox_, "second");
  // What is logged before the newcomer is noticed is not delivered.
  ASSERT_TRUE(Eventually([&] {
    second.Log(3, "from the second");
    return tail.output().find("from the second   {" + ChannelOf("second")) != std::string::npos;
  }));
  EXPECT_EQ(tail.Interrupt().errors, "");
}

TEST_F(SbxlogTail, WaitsForTheFirstProcess) {
  Sbxlog tail({"tail", "--until", "at last"});
  WaitForSwitch();
  LogHost host(sandbox_, "printer");
  ASSERT_TRUE(Eventually([&] {
    host.Log(3, "at last");
    return tail.output().find("at last") != std::string::npos;
  }));
  EXPECT_EQ(tail.End().ended, "exit 0");
}

TEST_F(SbxlogTail, LeavesANameToItsReaderAndTakesItLater) {
  LogHost host(sandbox_, "printer");
  Sbxlog reader({"tail", kPrinter});
  WaitForSwitch();
  Sbxlog all({"tail", "--until", "handed over"});
  const std::string skipped =
      "sbxlog: warning: " + kPrinter + " has a reader already, or can't be read [name-skipped]\n";
  ASSERT_TRUE(Eventually([&] { return all.errors().starts_with(skipped); }));
  EXPECT_EQ(reader.Interrupt().ended, "exit 0");
  ASSERT_TRUE(Eventually([&] {
    host.Log(3, "handed over");
    return all.output().find("handed over") != std::string::npos;
  }));
  EXPECT_EQ(all.End().ended, "exit 0");
}

struct Filter {
  std::vector<std::string> arguments;
  const char* expected;
};

TEST_F(SbxlogTail, Filters) {
  LogHost one(sandbox_, "printer");
  LogHost two(sandbox_, "printer");
  const Filter filters[] = {{{"--level", "2"}, "a0 b2 "},
                            {{"--pid", one.Id()}, "a0 a3 end "},
                            {{"--text", "3"}, "a3 "},
                            {{"--text", "b", "--text", "3"}, "a3 b2 "}};
  for (const Filter& filter : filters) {
    std::vector<std::string> arguments = {"tail", kPrinter};
    arguments.insert(arguments.end(), filter.arguments.begin(), filter.arguments.end());
    Sbxlog tail(arguments);
    WaitForSwitch();
    one.Log(0, "a0");
    one.Log(3, "a3");
    two.Log(2, "b2");
    one.Log(4, "end");
    const Said said = tail.Interrupt();  // what was written before is still shown
    static const std::regex kMessage(R"(\] (\w+)   \{)");
    std::string shown;
    for (auto it = std::sregex_iterator(said.output.begin(), said.output.end(), kMessage);
         it != std::sregex_iterator(); ++it) {
      shown += (*it)[1].str() + " ";
    }
    EXPECT_EQ(shown, filter.expected);
  }
}

TEST_F(SbxlogTail, TellsWhenTheTextDidNotCome) {
  EXPECT_EQ(RunSbxlog({"tail", kPrinter, "--until", "never", "--timeout", "0.1"}),
            (Said{"exit 1", "", "sbxlog: warning: no message held \"never\" [text-not-seen]\n"}));
}

TEST_F(SbxlogTail, EndsBehindTheTextThatItWaitsFor) {
  LogHost host(sandbox_, "printer");
  Sbxlog tail({"tail", kPrinter, "--until", "message 7"});
  WaitForSwitch();
  host.Send("many 100 3");
  const Said said = tail.End();
  EXPECT_EQ(host.Answer(), "ok");
  EXPECT_EQ(said.ended, "exit 0");
  EXPECT_EQ(NumbersIn(said.output), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

// Stops it while it holds nothing that a writer waits for.
void StopBetweenReads(const Sbxlog& tail, const WideString& channel) {
  platform::NamedMutex mutex;
  ASSERT_EQ(mutex.Create(kLiveMutexName + channel), platform::ObjectStatus::kExisted);
  ASSERT_TRUE(Eventually([&] {
    StopTool(tail.process());
    const bool isFree = mutex.Wait(0) == platform::WaitResult::kObtained;
    if (isFree) mutex.Release();
    if (!isFree) ContinueTool(tail.process());
    return isFree;
  }));
}

TEST_F(SbxlogTail, CountsWhatItLostAndDoublesNothing) {
  LogHost host(sandbox_, "printer");
  Sbxlog tail({"tail", kPrinter});
  WaitForSwitch();
  host.Log(3, "first");
  ASSERT_TRUE(tail.Says("first"));
  StopBetweenReads(tail, WideChannelOf("printer"));
  host.Send("many 3000 3");
  EXPECT_EQ(host.Answer(), "ok");
  ContinueTool(tail.process());
  ASSERT_TRUE(tail.Says("message 2999 "));
  const Said said = tail.Interrupt();
  const std::size_t lost = said.output.find("[... 1976 messages of " + ChannelOf("printer") + " lost ...]\n");
  ASSERT_NE(lost, std::string::npos);
  EXPECT_LT(lost, said.output.find("message 1976"));
  std::vector<int> expected;
  for (int i = 1976; i < 3000; ++i) expected.push_back(i);
  EXPECT_EQ(NumbersIn(said.output), expected);
}

TEST_F(SbxlogTail, ShownAndLostAreAllThatWasLogged) {
  LogHost one(sandbox_, "printer");
  LogHost two(sandbox_, "printer");
  Sbxlog tail({"tail", kPrinter});
  WaitForSwitch();
  one.Send("many 20000 3");
  two.Send("many 20000 3");
  EXPECT_EQ(one.Answer(), "ok");
  EXPECT_EQ(two.Answer(), "ok");
  one.Log(3, "end");
  ASSERT_TRUE(tail.Says("end   {"));
  const Said said = tail.Interrupt();
  std::size_t lost = 0;
  static const std::regex kLost(R"(\[\.\.\. (\d+) messages? of \S+ lost \.\.\.\])");
  for (auto it = std::sregex_iterator(said.output.begin(), said.output.end(), kLost);
       it != std::sregex_iterator(); ++it) {
    lost += std::stoul((*it)[1]);
  }
  EXPECT_EQ(NumbersIn(said.output).size() + lost, 40'000u);
  std::set<std::string> lines;
  std::istringstream text(said.output);
  for (std::string line; std::getline(text, line);) {
    static const std::regex kHead(R"(^\[.{23}(   .*))");
    std::smatch found;
    if (std::regex_match(line, found, kHead)) {
      EXPECT_TRUE(lines.insert(found[1]).second) << "twice: " << line;
    }
  }
}

TEST_F(SbxlogTail, CountsNothingThatWasOverwrittenBeforeItBegan) {
  LogHost host(sandbox_, "printer");
  // Another tool keeps the channel open, and nobody reads.
  platform::NamedEvent channel;
  platform::NamedEvent on;
  ASSERT_EQ(channel.Create(kLiveEventName + WideChannelOf("printer"), platform::EventReset::kAuto),
            platform::ObjectStatus::kOk);
  ASSERT_EQ(on.Create(kLogSwitchName, platform::EventReset::kManual), platform::ObjectStatus::kOk);
  host.Send("many 3000 3");
  EXPECT_EQ(host.Answer(), "ok");
  const Said said = RunSbxlog({"tail", kPrinter, "--until", "message 2999"});
  EXPECT_EQ(said.output.find("lost"), std::string::npos);
  EXPECT_EQ(NumbersIn(said.output).size(), 1024u);
}

TEST_F(SbxlogTail, SurvivesARingOfGarbage) {
  // The reading side trusts neither indices nor texts.
  LogHost host(sandbox_, "printer");
  platform::NamedMutex mutex;
  platform::SharedBlock ring;
  ASSERT_EQ(mutex.Create(kLiveMutexName + WideChannelOf("printer")), platform::ObjectStatus::kOk);
  ASSERT_EQ(ring.Create(kLiveBlockName + WideChannelOf("printer"), sizeof(LOG_SM_BLOCK)),
            platform::ObjectStatus::kOk);
  auto* block = static_cast<LOG_SM_BLOCK*>(ring.Map(sizeof(LOG_SM_BLOCK)));
  for (const int pattern : {0xFF, 0x1B, 0x7F, 0x80}) {
    std::memset(static_cast<void*>(block), pattern, sizeof(LOG_SM_BLOCK));
    block->header.readIndex = -1;
    Sbxlog tail({"tail", kPrinter});
    WaitForSwitch();
    // With indices that make no sense the reader begins anew behind the first message.
    EXPECT_TRUE(Eventually([&] {
      host.Log(3, "after all");
      return tail.output().find("after all") != std::string::npos;
    })) << pattern;
    EXPECT_EQ(tail.Interrupt().ended, "exit 0") << pattern;
  }
}

TEST_F(SbxlogTail, SurvivesARingThatIsNone) {
  LogHost host(sandbox_, "printer");
  platform::NamedMutex mutex;
  platform::SharedBlock ring;
  ASSERT_EQ(mutex.Create(kLiveMutexName + WideChannelOf("printer")), platform::ObjectStatus::kOk);
  ASSERT_EQ(ring.Create(kLiveBlockName + WideChannelOf("printer"), 4096), platform::ObjectStatus::kOk);
  Sbxlog tail({"tail", kPrinter, "--timeout", "0.3"});
  WaitForSwitch();
  host.Log(3, "nowhere to go");
  EXPECT_EQ(tail.End(), (Said{"exit 0", "", ""}));
}

TEST_F(SbxlogTail, RefusesANameThatIsNone) {
  platform::NamedMutex taken;  // of another kind than the channel's event
  ASSERT_EQ(taken.Create(kLiveEventName + WideChannelOf("printer")), platform::ObjectStatus::kOk);
  EXPECT_EQ(RunSbxlog({"tail", kPrinter}),
            (Said{"exit 5", "", "sbxlog: error: no channel can be made for " + kPrinter + " [refused]\n"}));
}

}  // namespace
}  // namespace sbx::testing
