// sbxlog cat: a device that is full, and a log that the library has just written.
#include <cstdlib>

#include "sbxlog/log_tool.h"

namespace sbx::testing {
namespace {

TEST(SbxlogCatHere, TellsOfAFullDisk) {
  const ScratchFolder folder;
  folder.Write("a.Log",
               "[2026/11/14 00:00:00:000   04   00200   00201             ] later   {b::m(1.2)}\r\n");
  const std::string log = (folder.path() / "a.Log").string();
  EXPECT_EQ(RunSbxlog({"cat", log}).ended, "exit 0");
  const std::string command =
      std::string(SBXLOG_TOOL) + " cat " + log + " >/dev/full 2>" + (folder.path() / "errors").string();
  EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 6);
  EXPECT_EQ(folder.Read("errors"), "sbxlog: error: standard output can't be written [output-failed]\n");
}

TEST(SbxlogCatHere, ReadsWhatTheLibraryWrote) {
  const LogSandbox sandbox;
  {
    LogHost host(sandbox, "printer");
    host.Log(0, "out of paper");
    host.End();
  }
  const Said said = RunSbxlog({"cat", (sandbox.logs() / "libsbxml.so.Log").string(), "--level", "0"});
  const std::string line = Steady(said.output);
  EXPECT_TRUE(std::regex_match(
      line,
      std::regex(
          R"(\[TIME   00   \d+   \d+             \] out of paper   \{printer::libsbxml\.so\(0\.0\)\}\n)")))
      << line;
}

}  // namespace
}  // namespace sbx::testing
