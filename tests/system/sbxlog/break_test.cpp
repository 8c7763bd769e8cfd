// sbxlog break: threads held at a message, and every way in which they go on.
#include <cstring>

#include "diag/breakpoint_format.h"
#include "diag/live_channel_format.h"
#include "platform/named_objects.h"
#include "sbxlog/log_tool.h"

namespace sbx::testing {
namespace {

using std::chrono::seconds;

class SbxlogBreak : public ::testing::Test {
 protected:
  // A running `break add`; its switch is made when everything else is there.
  std::unique_ptr<Sbxlog> Add(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"break", "add"});
    auto add = std::make_unique<Sbxlog>(arguments);
    EXPECT_TRUE(add->Says("breakpoint"));
    EXPECT_TRUE(Eventually([] { return platform::EventExists(kLogSwitchName); }));
    return add;
  }
  // Logs the text from a thread that is to be held.
  static void Hold(const LogHost& host, const std::string& text) {
    host.Send("hold 3 " + text);
    EXPECT_EQ(host.Answer(), "ok");
  }

  LogSandbox sandbox_;
};

// The ids in a text become BP1, HIT1 and so on, in the order in which they first stand there.
std::string WithNames(const std::string& text, const LogHost& host) {
  static const std::regex kId(R"([0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12})");
  static const std::regex kThread(R"(thread \d+)");
  std::string out = text;
  int number = 0;
  for (std::smatch found; std::regex_search(out, found, kId);) {
    const std::string id = found[0];
    const std::string name = "ID" + std::to_string(++number);
    for (std::size_t at = 0; (at = out.find(id, at)) != std::string::npos;) out.replace(at, id.size(), name);
  }
  out = std::regex_replace(out, kThread, "thread TID");
  for (std::size_t at = 0; (at = out.find(host.Id(), at)) != std::string::npos;) {
    out.replace(at, host.Id().size(), "PID");
  }
  return out;
}

// The word behind another one in a text: the id of the breakpoint or the hit.
std::string WordBehind(const std::string& text, const std::string& front) {
  const std::size_t at = text.find(front) + front.size();
  return text.substr(at, text.find_first_of(":\n", at) - at);
}

TEST_F(SbxlogBreak, HoldsAThreadAndReleasesItInTime) {
  const LogHost host(sandbox_, "printer");
  const auto add = Add({"--process", ProgramOf("Printer"), "--text", "paper", "--hold", "0.5"});
  const auto start = std::chrono::steady_clock::now();
  Hold(host, "out of paper");
  ASSERT_TRUE(add->Says("hit "));
  EXPECT_EQ(host.Answer(), "passed");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
  ASSERT_TRUE(add->Says("released "));
  const Said said = add->Interrupt();
  EXPECT_EQ(WithNames(said.output, host),
            "breakpoint ID1\nhit ID2: process PID, thread TID: out of paper\nreleased ID2: time\n");
  EXPECT_EQ(said.ended, "exit 0");
  EXPECT_EQ(said.errors, "");
}

TEST_F(SbxlogBreak, LeavesEverybodyElseAlone) {
  const LogHost host(sandbox_, "printer");
  const LogHost other(sandbox_, "plotter");
  const auto add = Add({"--process", kPrinter, "--pid", host.Id(), "--text", "paper"});
  host.Log(3, "PAPER");
  other.Log(3, "paper");
  const auto wrongProcess = Add({"--process", kPrinter, "--pid", "1", "--text", "paper"});
  const auto wrongThread = Add({"--process", kPrinter, "--tid", "1", "--text", "ink"});
  host.Log(3, "ink");
  Hold(host, "paper");
  ASSERT_TRUE(add->Says("hit "));
  // The held thread holds nobody up.
  host.Log(3, "another thread");
  EXPECT_EQ(add->Interrupt().ended, "exit 0");
  EXPECT_EQ(host.Answer(), "passed");
  EXPECT_EQ(wrongProcess->output().find("hit"), std::string::npos);
  EXPECT_EQ(wrongThread->output().find("hit"), std::string::npos);
}

TEST_F(SbxlogBreak, WritesJson) {
  const LogHost host(sandbox_, "printer");
  const auto add = Add({"--json", "--process", kPrinter, "--text", "a \"b\"", "--hold", "0"});
  Hold(host, "a \"b\" c");
  EXPECT_EQ(host.Answer(), "passed");
  ASSERT_TRUE(add->Says("\"release\""));
  static const std::regex kTid("\"tid\":\\d+");
  EXPECT_EQ(std::regex_replace(WithNames(add->Interrupt().output, host), kTid, "\"tid\":1"),
            "{\"kind\":\"breakpoint\",\"breakpoint\":\"ID1\",\"process\":\"" + kPrinter +
                "\",\"pid\":null,\"tid\":null,"
                "\"text\":\"a \\\"b\\\"\",\"hold\":0.0}\n"
                "{\"kind\":\"hit\",\"hit\":\"ID2\",\"breakpoint\":\"ID1\",\"pid\":PID,\"tid\":1,"
                "\"message\":\"a \\\"b\\\" c\"}\n"
                "{\"kind\":\"release\",\"hit\":\"ID2\",\"why\":\"time\"}\n");
}

TEST_F(SbxlogBreak, CtrlCLetsEveryThreadGoAtOnce) {
  const LogHost host(sandbox_, "printer");
  const auto add = Add({"--process", kPrinter, "--text", "paper"});
  for (int i = 0; i < 3; ++i) Hold(host, "paper");
  ASSERT_TRUE(Eventually([&] {
    const std::string text = add->output();
    return std::count(text.begin(), text.end(), '\n') == 4;
  }));
  const auto start = std::chrono::steady_clock::now();
  const Said said = add->Interrupt();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(host.Answer(), "passed");
  EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(4)) << "not by the look at the switch";
  const std::string text = WithNames(said.output, host);
  EXPECT_EQ(text.substr(text.find("released")), "released ID2: end\nreleased ID3: end\nreleased ID4: end\n");
  EXPECT_FALSE(platform::EventExists(kLogSwitchName));
}

TEST_F(SbxlogBreak, EndsAfterItsTimeout) {
  EXPECT_EQ(RunSbxlog({"break", "add", "--process", "p", "--text", "t", "--timeout", "0.1"}).ended, "exit 0");
}

TEST_F(SbxlogBreak, ShowsBreakpointsAndHitsBesideARunningOne) {
  const LogHost host(sandbox_, "printer");
  const auto add = Add({"--process", kPrinter, "--text", "paper"});
  EXPECT_EQ(RunSbxlog({"break", "hits"}), (Said{"exit 0", "", ""}));
  Hold(host, "out of paper");
  ASSERT_TRUE(add->Says("hit "));
  const std::string breakpoint = WordBehind(add->output(), "breakpoint ");
  const std::string hit = WordBehind(add->output(), "hit ");
  const std::string owner = add->Id();
  const auto blanks = [](std::size_t wanted, std::size_t there) {
    return std::string(wanted > there ? wanted - there : 0, ' ');
  };
  EXPECT_EQ(RunSbxlog({"break", "list"}),
            (Said{"exit 0",
                  "BREAKPOINT                            OWNER" + blanks(owner.size(), 5) + "  PROCESS" +
                      blanks(kPrinter.size(), 7) + "  PID  TID  HELD  TEXT\n" + breakpoint + "  " + owner +
                      blanks(5, owner.size()) + "  " + kPrinter + "  -    -    1     paper\n",
                  ""}));
  EXPECT_EQ(RunSbxlog({"break", "list", "--json"}).output,
            "{\"kind\":\"breakpoint\",\"breakpoint\":\"" + breakpoint + "\",\"owner\":" + owner +
                ",\"process\":\"" + kPrinter +
                "\",\"pid\":null,\"tid\":null,\"enabled\":true,\"held\":1,"
                "\"text\":\"paper\"}\n");
  const Said hits = RunSbxlog({"break", "hits"});
  EXPECT_EQ(hits.ended, "exit 0");
  EXPECT_NE(hits.output.find(hit + "  " + breakpoint + "  " + host.Id()), std::string::npos) << hits.output;
  EXPECT_TRUE(hits.output.ends_with("  out of paper\n")) << hits.output;
  add->Interrupt();
  EXPECT_EQ(host.Answer(), "passed");
}

TEST_F(SbxlogBreak, ReleasesOneOrAll) {
  const LogHost host(sandbox_, "printer");
  const auto add = Add({"--process", kPrinter, "--text", "paper"});
  Hold(host, "paper");
  ASSERT_TRUE(add->Says("hit "));
  std::string hit = WordBehind(add->output(), "hit ");
  EXPECT_EQ(RunSbxlog({"break", "release", "xyz"}),
            (Said{"exit 3", "", "sbxlog: error: no hit xyz [no-such-hit]\n"}));
  std::string front = hit.substr(0, 12);
  std::transform(front.begin(), front.end(), front.begin(),
                 [](char c) { return static_cast<char>(std::tolower(c)); });
  EXPECT_EQ(RunSbxlog({"break", "release", front}), (Said{"exit 0", "released " + hit + "\n", ""}));
  EXPECT_EQ(host.Answer(), "passed");
  ASSERT_TRUE(add->Says("released " + hit + ": command"));
  EXPECT_EQ(RunSbxlog({"break", "release", hit}).ended, "exit 3");

  Hold(host, "paper");
  Hold(host, "paper");
  ASSERT_TRUE(Eventually([&] {
    const std::string text = RunSbxlog({"break", "hits"}).output;
    return std::count(text.begin(), text.end(), '\n') == 3;
  }));
  const Said all = RunSbxlog({"break", "release", "--all", "--json"});
  EXPECT_EQ(all.ended, "exit 0");
  EXPECT_EQ(std::count(all.output.begin(), all.output.end(), '\n'), 2);
  EXPECT_EQ(host.Answer(), "passed");
  EXPECT_EQ(host.Answer(), "passed");
  EXPECT_EQ(RunSbxlog({"break", "hits"}).output, "");
}

TEST_F(SbxlogBreak, RemovingABreakpointEndsItsCommand) {
  const LogHost host(sandbox_, "printer");
  const auto add = Add({"--process", kPrinter, "--text", "paper"});
  const auto other = Add({"--process", kPrinter, "--text", "ink"});
  Hold(host, "paper");
  ASSERT_TRUE(add->Says("hit "));
  const std::string id = WordBehind(add->output(), "breakpoint ");
  EXPECT_EQ(RunSbxlog({"break", "remove", id}), (Said{"exit 0", "removed " + id + "\n", ""}));
  EXPECT_EQ(host.Answer(), "passed");
  const Said said = add->End();
  EXPECT_EQ(said.ended, "exit 0");
  EXPECT_TRUE(said.output.ends_with(": command\n")) << said.output;
  EXPECT_EQ(RunSbxlog({"break", "remove", "--all"}).ended, "exit 0");
  EXPECT_EQ(other->End().ended, "exit 0");
  EXPECT_EQ(RunSbxlog({"break", "list"}).ended, "exit 8");
}

TEST_F(SbxlogBreak, SaysThatNoneRuns) {
  const Said none = {"exit 8", "", "sbxlog: error: no `sbxlog break add` runs [not-running]\n"};
  EXPECT_EQ(RunSbxlog({"break", "list"}), none);
  EXPECT_EQ(RunSbxlog({"break", "hits"}), none);
  EXPECT_EQ(RunSbxlog({"break", "release", "--all"}), none);
  EXPECT_EQ(RunSbxlog({"break", "remove", "AB"}), none);
}

TEST_F(SbxlogBreak, AKilledOneLetsItsThreadsGo) {
  const LogHost host(sandbox_, "printer");
  const auto add = Add({"--process", kPrinter, "--text", "paper"});
  Hold(host, "paper");
  ASSERT_TRUE(add->Says("hit "));
  add->Kill();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(RunSbxlog({"break", "list"}).ended, "exit 8");
  EXPECT_EQ(host.Answer(), "passed");
  EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(8));
  // What it left behind is in nobody's way.
  const auto next = Add({"--process", kPrinter, "--text", "ink"});
  host.Log(3, "paper");
  const Said list = RunSbxlog({"break", "list"});
  EXPECT_EQ(list.output.find("paper"), std::string::npos) << list.output;
  EXPECT_EQ(RunSbxlog({"break", "hits"}).output, "");
}

TEST_F(SbxlogBreak, ATailLetsTheThreadsOfAKilledOneGo) {
  // The tail's switch would hold them for ever.
  const LogHost host(sandbox_, "printer");
  Sbxlog tail({"tail", kPrinter});
  const auto add = Add({"--process", kPrinter, "--text", "paper", "--hold", "1000"});
  ASSERT_TRUE(Eventually([&] {
    host.Log(3, "ready");
    return !tail.output().empty();
  }));
  Hold(host, "paper");
  ASSERT_TRUE(add->Says("hit "));
  EXPECT_TRUE(tail.Says("paper")) << "the message that stopped the thread is delivered first";
  add->Kill();
  EXPECT_EQ(host.Answer(), "passed");
  EXPECT_EQ(tail.Interrupt().ended, "exit 0");
}

TEST_F(SbxlogBreak, ARunningOneLetsTheThreadsOfAKilledOneGo) {
  const LogHost host(sandbox_, "printer");
  const auto killed = Add({"--process", kPrinter, "--text", "paper", "--hold", "1000"});
  const auto other = Add({"--process", kPrinter, "--text", "ink", "--hold", "1000"});
  Hold(host, "paper");
  ASSERT_TRUE(killed->Says("hit "));
  Hold(host, "ink");
  ASSERT_TRUE(other->Says("hit "));
  killed->Kill();
  EXPECT_EQ(host.Answer(), "passed");
  other->Interrupt();
  EXPECT_EQ(host.Answer(), "passed");
}

TEST_F(SbxlogBreak, NoticesThatAHeldProcessIsGone) {
  LogHost host(sandbox_, "printer");
  const auto add = Add({"--process", kPrinter, "--text", "paper"});
  Hold(host, "paper");
  ASSERT_TRUE(add->Says("hit "));
  host.Kill();
  ASSERT_TRUE(add->Says(": ended\n"));
  EXPECT_EQ(RunSbxlog({"break", "hits"}), (Said{"exit 0", "", ""}));
}

TEST_F(SbxlogBreak, RefusesWhatDoesNotFit) {
  const struct {
    std::vector<std::string> arguments;
    const char* why;
  } wrong[] = {
      {{"break"}, "no command"},
      {{"break", "add", "--process", "p"}, "no text"},
      {{"break", "add", "--text", "t"}, "no process"},
      {{"break", "add", "--process", std::string(260, 'p'), "--text", "t"}, "a name that is too long"},
      {{"break", "add", "--process", "p", "--text", std::string(1024, 't')}, "a text that is too long"},
      {{"break", "add", "--process", "p", "--text", "t", "--hold", "-1"}, "a negative time"},
      {{"break", "add", "--process", "p", "--text", "t", "--pid", "x"}, "no process id"},
      {{"break", "release"}, "neither id nor all"},
      {{"break", "release", "AB", "--all"}, "both"},
      {{"break", "remove"}, "neither id nor all"}};
  for (const auto& c : wrong) EXPECT_EQ(RunSbxlog(c.arguments).ended, "exit 2") << c.why;
}

TEST_F(SbxlogBreak, SurvivesABlockOfGarbage) {
  platform::SharedBlock mapping;
  ASSERT_EQ(mapping.Create(kBreakpointBlockName, sizeof(BREAKPOINT_BLOCK)), platform::ObjectStatus::kOk);
  void* const view = mapping.Map(sizeof(BREAKPOINT_BLOCK));
  for (const int pattern : {0xFF, 0x53}) {
    std::memset(view, pattern, sizeof(BREAKPOINT_BLOCK));
    EXPECT_EQ(RunSbxlog({"break", "list"}).ended, "exit 8");
    EXPECT_EQ(RunSbxlog({"break", "add", "--process", "p", "--text", "t"}),
              (Said{"exit 7", "", "sbxlog: error: the table of breakpoints is full [no-room]\n"}));
  }
  // Texts without an end, and hits of nobody, beside an entry of ours.
  static_cast<BREAKPOINT_BLOCK*>(view)->entries[7] = {};
  const auto add = Add({"--process", kPrinter, "--text", "paper"});
  const Said list = RunSbxlog({"break", "list"});
  EXPECT_EQ(list.ended, "exit 0");
  EXPECT_EQ(std::count(list.output.begin(), list.output.end(), '\n'), 101);
  EXPECT_EQ(RunSbxlog({"break", "list", "--json"}).ended, "exit 0");
  EXPECT_EQ(RunSbxlog({"break", "hits"}).ended, "exit 0");
  EXPECT_EQ(add->Interrupt().ended, "exit 0");
}

TEST_F(SbxlogBreak, RefusesABlockThatIsTooSmall) {
  platform::SharedBlock mapping;
  ASSERT_EQ(mapping.Create(kBreakpointBlockName, 4096), platform::ObjectStatus::kOk);
  EXPECT_EQ(RunSbxlog({"break", "add", "--process", "p", "--text", "t"}),
            (Said{"exit 4", "", "sbxlog: error: the breakpoint block is none [damaged-block]\n"}));
}

TEST_F(SbxlogBreak, RefusesANameOfAnotherKind) {
  platform::NamedEvent taken;
  ASSERT_EQ(taken.Create(kBreakpointMutexName, platform::EventReset::kAuto), platform::ObjectStatus::kOk);
  EXPECT_EQ(RunSbxlog({"break", "add", "--process", "p", "--text", "t"}),
            (Said{"exit 5", "", "sbxlog: error: the breakpoint objects can't be made [refused]\n"}));
}

}  // namespace
}  // namespace sbx::testing
