// The command line of sbxlog, and how it ends.
#include "sbxlog/tool_run.h"
#include "support/host_system.h"
#include "support/log_files.h"

namespace sbx::testing {
namespace {

TEST(SbxlogUsage, EndsWithTwoForAWrongCommandLine) {
  const LogSandbox sandbox;
  const std::vector<std::string> wrong[] = {
      {}, {"look"}, {"ps", "1"}, {"cat"}, {"ps", "--color", "sometimes"}};
  for (const auto& arguments : wrong) {
    const Said said = RunSbxlog(arguments);
    EXPECT_EQ(said.ended, "exit 2") << (arguments.empty() ? "" : arguments.front());
    EXPECT_EQ(said.output, "");
    EXPECT_NE(said.errors, "");
  }
}

TEST(SbxlogUsage, HelpAndVersionAreData) {
  const LogSandbox sandbox;
  EXPECT_EQ(RunSbxlog({"--version"}), (Said{"exit 0", "sbxlog 1.0.0\n", ""}));
  const Said help = RunSbxlog({"--help"});
  EXPECT_EQ(help.ended, "exit 0");
  EXPECT_NE(help.output.find("Exit codes:"), std::string::npos);
}

TEST(SbxlogUsage, EveryOptionIsInTheManualTheManPageAndTheCompletions) {
  const LogSandbox sandbox;
  const std::filesystem::path source = SBXLOG_SOURCES;
  std::string man = ReadBytes(source / "tools/sbxlog/sbxlog.1");
  std::erase(man, '\\');
  const std::pair<const char*, std::string> texts[] = {
      {"docs/sbxlog.md", ReadBytes(source / "docs/sbxlog.md")},
      {"sbxlog.1", man},
      {"sbxlog.bash", ReadBytes(source / "tools/sbxlog/completions/sbxlog.bash")},
      {"_sbxlog", ReadBytes(source / "tools/sbxlog/completions/_sbxlog")}};
  const std::vector<std::string> commands[] = {{"ps"},
                                               {"tail"},
                                               {"level"},
                                               {"path"},
                                               {"cat"},
                                               {"break", "add"},
                                               {"break", "list"},
                                               {"break", "hits"},
                                               {"break", "release"},
                                               {"break", "remove"}};
  for (const std::vector<std::string>& command : commands) {
    std::vector<std::string> arguments = command;
    arguments.emplace_back("--help");
    const std::string help = RunSbxlog(arguments).output;
    std::vector<std::string> words = command;
    static const std::regex kOption("--[a-z]+");
    for (auto it = std::sregex_iterator(help.begin(), help.end(), kOption); it != std::sregex_iterator();
         ++it) {
      words.push_back((*it)[0]);
    }
    EXPECT_GE(words.size(), command.size() + 3) << command.back();
    for (const auto& [name, text] : texts) {
      for (const std::string& word : words)
        EXPECT_NE(text.find(word), std::string::npos) << word << " in " << name;
    }
  }
}

TEST(SbxlogUsage, LeavesNoLog) {
  const LogSandbox sandbox;
  const std::string ended = RunSbxlog({"ps"}).ended;
  // Where all processes share the named objects it may meet one that is just going.
  EXPECT_TRUE(ended == "exit 0" || (kIsWindows && ended == "exit 1")) << ended;
  EXPECT_FALSE(std::filesystem::exists(sandbox.logs()));
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(SBXLOG_TOOL).parent_path() / "Logs"));
}

}  // namespace
}  // namespace sbx::testing
