// sbxlog ps: the processes that log, and nothing that isn't one.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "sbxlog/log_tool.h"
#include "sbxlog/own_block.h"

namespace sbx::testing {
namespace {

std::string OwnId() {
  return std::to_string(platform::CurrentProcessId());
}

// The lines of a text in which something stands.
std::string LinesWith(const std::string& something, const std::string& text) {
  std::istringstream in(text);
  std::string lines;
  for (std::string line; std::getline(in, line);) {
    if (line.find(something) != std::string::npos) lines += line + '\n';
  }
  return lines;
}

// What is told of one process, blanks made one: others that log may be met.
Said ToldOf(const std::string& id) {
  static const std::regex kBlanks(" +");
  const Said all = RunSbxlog({"ps"});
  Said said = {all.ended, "", LinesWith("process " + id + ' ', all.errors)};
  std::istringstream lines(all.output);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(id + ' ')) said.output += std::regex_replace(line, kBlanks, " ") + '\n';
  }
  return said;
}
Said ToldInJsonOf(const std::string& id) {
  const Said all = RunSbxlog({"ps", "--json"});
  return {all.ended, LinesWith("\"pid\":" + id + ',', all.output), all.errors};
}

class SbxlogPs : public ::testing::Test {
 protected:
  LogSandbox sandbox_;
};

TEST_F(SbxlogPs, ShowsEachModuleOfAProcess) {
  const LogHost host(sandbox_, "printer");
  const std::string id = host.Id();
  const std::string log = std::filesystem::path(host.LogPath()).make_preferred().string();
  const std::string program = std::filesystem::path(host.path()).make_preferred().string();
  EXPECT_EQ(ToldOf(id),
            (Said{"exit 0", id + " " + kPrinter + " " + host.Module() + " - - " + log + "\n", ""}));
  EXPECT_EQ(ToldInJsonOf(id),
            (Said{"exit 0",
                  "{\"kind\":\"process\",\"pid\":" + id + ",\"executable\":\"" + RegistryText(program) +
                      "\",\"global_level\":null,\"global_path\":null,\"modules\":[{\"module\":\"" +
                      host.Module() + "\",\"level\":null,\"level_fixed\":false,\"path\":\"" +
                      RegistryText(log) + "\",\"path_fixed\":false,\"flags\":65535}]}\n",
                  ""}));
}

TEST_F(SbxlogPs, ShowsWhatToolsHaveChanged) {
  const OwnBlock block;
  block->globalLevel = 4;
  CopyTruncated(block->globalPath, 512, u"/all.Log");
  CopyTruncated(block->modules[0].name, 64, u"one");
  block->modules[0].level = 3;
  block->modules[0].flags = kLogPathNotFixed;
  CopyTruncated(block->modules[1].name, 64, u"two");
  CopyTruncated(block->modules[1].path, 512, u"/two.Log");
  block->modules[1].level = -1;
  const std::string row = OwnId() + " " + HostName() + " ";
  EXPECT_EQ(
      ToldOf(OwnId()),
      (Said{"exit 0",
            row + "* 4 - /all.Log\n" + row + "one 3 level -\n" + row + "two - level,path /two.Log\n", ""}));
}

TEST_F(SbxlogPs, DoesNotLogItself) {
  const std::string tool = std::filesystem::path(SBXLOG_TOOL).filename().string();
  const LogHost host(sandbox_, "printer");
  const auto listed = RunSbxlog({"ps", "--json"}).output;
  EXPECT_NE(listed.find(kPrinter + '"'), std::string::npos);
  EXPECT_EQ(listed.find(tool + '"'), std::string::npos);
}

TEST_F(SbxlogPs, ForgetsAKilledProcess) {
  LogHost host(sandbox_, "printer");
  EXPECT_NE(ToldOf(host.Id()).output, "");
  host.Kill();
  EXPECT_EQ(ToldOf(host.Id()), (Said{"exit 0", "", ""}));
}

TEST_F(SbxlogPs, SkipsADamagedBlockAndSaysSo) {
  const OwnBlock block;
  block->tailMagic = 7;
  EXPECT_EQ(ToldOf(OwnId()), (Said{"exit 1", "",
                                   "sbxlog: warning: the configuration block of process " + OwnId() +
                                       " is damaged [process-skipped]\n"}));
}

TEST_F(SbxlogPs, SkipsABlockThatIsTooSmall) {
  const OwnBlock block(100);
  EXPECT_EQ(ToldOf(OwnId()), (Said{"exit 1", "",
                                   "sbxlog: warning: the configuration block of process " + OwnId() +
                                       " is damaged [process-skipped]\n"}));
}

TEST_F(SbxlogPs, SkipsABlockWithoutItsMutex) {
  OwnBlock block;
  block.mutex().Close();
  EXPECT_EQ(ToldOf(OwnId()), (Said{"exit 1", "",
                                   "sbxlog: warning: the configuration block of process " + OwnId() +
                                       " or its mutex is none [process-skipped]\n"}));
}

TEST_F(SbxlogPs, ReadsABlockFullOfGarbage) {
  const OwnBlock block;
  // Names and paths without an end, control characters, a full table.
  std::memset(static_cast<void*>(&block->globalPath), 0x1B, sizeof(LOGCFG_BLOCK) - 8);
  const Said said = ToldOf(OwnId());
  EXPECT_EQ(said.ended, "exit 0");
  EXPECT_EQ(std::count(said.output.begin(), said.output.end(), '\n'), 1 + 1024);
  EXPECT_EQ(said.output.find('\x1B'), std::string::npos);
}

}  // namespace
}  // namespace sbx::testing
