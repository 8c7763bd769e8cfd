// How the command behaves on a terminal, towards a child that is ended by force and on a device that is full.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "sbxml/diagnostics_fixture.h"
#include "sbxml/tool_runner.h"

namespace sbx::testing {
namespace {

using ::testing::StartsWith;

// A terminal that only the test sees.
class Terminal {
 public:
  Terminal() : master_(posix_openpt(O_RDWR | O_NOCTTY)) {
    Require(grantpt(master_) == 0 && unlockpt(master_) == 0);
  }
  ~Terminal() { close(master_); }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  std::string name() const { return ptsname(master_); }
  // What was written to it, line ends as they were written.
  std::string Read() const {
    std::string all;
    char piece[4096];
    for (pollfd poll = {master_, POLLIN, 0}; ::poll(&poll, 1, 0) == 1 && (poll.revents & POLLIN) != 0;) {
      const ssize_t got = read(master_, piece, sizeof piece);
      if (got <= 0) break;
      all.append(piece, static_cast<std::size_t>(got));
    }
    std::erase(all, '\r');
    return all;
  }

 private:
  int master_;
};

TEST_F(SbxmlDiagnostics, OnATerminalTheyAreColouredUnlessTheUserMindsIt) {
  const Terminal terminal;
  folder_.SendErrorsTo(terminal.name());
  const int held = open(terminal.name().c_str(), O_RDWR | O_NOCTTY);  // keeps what was written readable
  EXPECT_EQ(folder_.RunWithSet({"check", "bad.xml"}).ended, "exit 1");
  EXPECT_THAT(terminal.Read(), StartsWith("\033[1mbad.xml:3:1: \033[0m"));
  folder_.SetVariable("NO_COLOR", "1");
  EXPECT_EQ(folder_.RunWithSet({"check", "bad.xml"}).ended, "exit 1");
  EXPECT_EQ(terminal.Read(), kCut);
  folder_.SetVariable("NO_COLOR", "");
  EXPECT_EQ(folder_.RunWithSet({"check", "bad.xml"}).ended, "exit 1");
  EXPECT_THAT(terminal.Read(), StartsWith("\033[1m")) << "an empty variable says nothing";
  close(held);
}

pid_t OnlyChildOf(pid_t parent) {
  const std::string id = std::to_string(parent);
  std::ifstream in("/proc/" + id + "/task/" + id + "/children");
  pid_t child = 0;
  in >> child;
  return child;
}

// Blocks the check's child half-way, by a pipe that nobody empties, and ends it there.
TEST_F(SbxmlDiagnostics, AChildThatBreaksOffCostsOneFile) {
  std::string all;
  for (int i = 0; i < 3000; ++i) all += "<Tone>1</Tone>";
  folder_.Write("long.xml", JobText().With("tone", "<tone>200</tone>" + all));
  const std::string pipe = (folder_.path() / "pipe").string();
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
  folder_.SendErrorsTo(pipe);
  const pid_t check = folder_.Start(ToolFolder::WithSet({"check", "good.xml", "long.xml", "bad.xml"}));

  // The pipe has something in it, so the child is at the second file; it can't be through with it.
  pollfd poll = {reader, POLLIN, 0};
  ASSERT_EQ(::poll(&poll, 1, 60'000), 1);
  const pid_t child = OnlyChildOf(check);
  ASSERT_GT(child, 0);
  ASSERT_EQ(kill(child, SIGKILL), 0);
  std::string said;
  char piece[4096];
  while (::poll(&poll, 1, 60'000) == 1) {
    const ssize_t got = read(reader, piece, sizeof piece);
    if (got <= 0) break;
    said.append(piece, static_cast<std::size_t>(got));
  }
  close(reader);
  EXPECT_EQ(WaitForChild(check), "exit 70");
  EXPECT_THAT(said, ::testing::EndsWith(std::string("long.xml: error: the check of this file broke off "
                                                    "[internal]\n") +
                                        kCut));
}

TEST(SbxmlStreams, AnOutputThatTakesNothingEndsWithSix) {
  ToolFolder folder;
  folder.Write("bad.xml", JobText().With("tone", "<tone>300</tone>"));
  folder.SendOutputTo("/dev/full");
  const char* const refused = "sbxml: error: standard output can't be written [output-failed]\n";
  EXPECT_EQ(folder.RunWithSet({"inspect", "good.xml"}),
            (Said{"exit 6", "",
                  "<stdout>: error: can't be written: the stream is closed or full [output-failed]\n"}));
  EXPECT_EQ(folder.Run({"describe", "-d", "descriptions.xml"}).ended, "exit 6");
  EXPECT_EQ(folder.Run({"convert", "good.xml", "-o", "-"}).ended, "exit 6");
  EXPECT_EQ(folder.RunWithSet({"check", "--json", "bad.xml", "bad.xml"}), (Said{"exit 6", "", refused}));
  EXPECT_EQ(folder.Run({"--version"}), (Said{"exit 6", "", refused}));
}

}  // namespace
}  // namespace sbx::testing
