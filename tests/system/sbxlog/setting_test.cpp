// sbxlog level and path: what they change in a running process, seen by its next message.
#include <algorithm>
#include <cctype>

#include "base/format.h"
#include "diag/log_config_format.h"
#include "platform/named_objects.h"
#include "sbxlog/host_process.h"
#include "sbxlog/tool_run.h"
#include "support/log_files.h"

namespace sbx::testing {
namespace {

class SbxlogSetting : public ::testing::Test {
 protected:
  SbxlogSetting() : host_(sandbox_, "printer"), log_(host_.LogPath().string()), module_(host_.Module()) {
    std::filesystem::create_directories(host_.LogPath().parent_path());
  }

  // One line of output: whom it is for, and the change.
  Said Fine(const std::string& line) const { return {"exit 0", host_.Id() + " " + line + "\n", ""}; }
  Said Set(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin() + 1, host_.Id());
    return RunSbxlog(arguments);
  }
  std::vector<std::string> Logged() const { return MessagesOf(log_); }

  LogSandbox sandbox_;
  LogHost host_;
  std::string log_;
  std::string module_;
};

using Texts = std::vector<std::string>;

TEST_F(SbxlogSetting, AGlobalLevelIsSeenByTheNextMessage) {
  host_.Log(2, "two");
  host_.Log(3, "three");
  EXPECT_EQ(Set({"level", "4"}), Fine("*: level - -> 4"));
  host_.Log(4, "four");
  EXPECT_EQ(Set({"level", "0"}), Fine("*: level 4 -> 0"));
  host_.Log(1, "one");
  EXPECT_EQ(Set({"level", "--clear"}), Fine("*: level 0 -> -"));
  // The level that the global one replaced stays until another one is set.
  host_.Log(1, "one again");
  EXPECT_EQ(Set({"level", "2"}), Fine("*: level - -> 2"));
  host_.Log(2, "two again");
  EXPECT_EQ(Logged(), (Texts{"two", "four", "two again"}));
}

TEST_F(SbxlogSetting, AFixedLevelBeatsTheGlobalOne) {
  EXPECT_EQ(Set({"level", "4"}), Fine("*: level - -> 4"));
  std::string upper = module_;
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](char c) { return static_cast<char>(std::toupper(c)); });
  EXPECT_EQ(Set({"level", upper, "1"}), Fine(module_ + ": level - -> 1 fixed"));
  host_.Log(2, "two");
  EXPECT_EQ(Set({"level", module_, "--clear"}), Fine(module_ + ": level 1 fixed -> -"));
  host_.Log(4, "four");
  EXPECT_EQ(Logged(), Texts{"four"});
}

TEST_F(SbxlogSetting, WritesJson) {
  EXPECT_EQ(Set({"level", "4", "--json"}),
            (Said{"exit 0",
                  "{\"kind\":\"level\",\"pid\":" + host_.Id() +
                      ",\"module\":null,\"old\":null,\"old_fixed\":false,\"new\":4,\"new_fixed\":false}\n",
                  ""}));
  const std::string other = (sandbox_.root() / "x.Log").string();
  EXPECT_EQ(Set({"path", module_, other, "--json"}),
            (Said{"exit 0",
                  "{\"kind\":\"path\",\"pid\":" + host_.Id() + ",\"module\":\"" + module_ + "\",\"old\":\"" +
                      RegistryText(log_) + "\",\"old_fixed\":false,\"new\":\"" + RegistryText(other) +
                      "\",\"new_fixed\":true}\n",
                  ""}));
}

TEST_F(SbxlogSetting, AFixedPathMovesTheLog) {
  const std::string other = (sandbox_.root() / "other.Log").string();
  const std::string third = (sandbox_.root() / "third.Log").string();
  host_.Log(0, "before");
  EXPECT_EQ(Set({"path", module_, other}), Fine(module_ + ": path " + log_ + " -> " + other + " fixed"));
  host_.Log(0, "there");
  EXPECT_EQ(Set({"path", module_, third}),
            Fine(module_ + ": path " + other + " fixed -> " + third + " fixed"));
  host_.Log(0, "elsewhere");
  EXPECT_EQ(Logged(), Texts{"before"});
  EXPECT_EQ(MessagesOf(other), Texts{"there"});
  EXPECT_EQ(MessagesOf(third), Texts{"elsewhere"});
}

TEST_F(SbxlogSetting, AClearedPathIsTheDefaultOneFromTheMessageAfterTheNextOn) {
  const std::string other = (sandbox_.root() / "other.Log").string();
  EXPECT_EQ(Set({"path", module_, other}).ended, "exit 0");
  host_.Log(0, "there");
  EXPECT_EQ(Set({"path", module_, "--clear"}), Fine(module_ + ": path " + other + " fixed -> -"));
  host_.Log(0, "lost");
  host_.Log(0, "found");
  EXPECT_EQ(Logged(), Texts{"found"});
  EXPECT_EQ(MessagesOf(other), Texts{"there"});
  // What is not fixed stays as it is.
  EXPECT_EQ(Set({"path", module_, "--clear"}), Fine(module_ + ": path " + log_ + " -> " + log_));
}

TEST_F(SbxlogSetting, AGlobalPathMovesWhatIsNotFixed) {
  const std::string all = (sandbox_.root() / "all.Log").string();
  host_.Log(0, "own");
  EXPECT_EQ(Set({"path", all}), Fine("*: path - -> " + all));
  host_.Log(0, "global");
  EXPECT_EQ(Set({"path", "--clear"}), Fine("*: path " + all + " -> -"));
  host_.Log(0, "own again");
  EXPECT_EQ(Logged(), (Texts{"own", "own again"}));
  EXPECT_EQ(MessagesOf(all), Texts{"global"});
}

TEST_F(SbxlogSetting, AFixedPathBeatsTheGlobalOne) {
  const std::string all = (sandbox_.root() / "all.Log").string();
  EXPECT_EQ(Set({"path", module_, log_}).ended, "exit 0");
  EXPECT_EQ(Set({"path", all}).ended, "exit 0");
  host_.Log(0, "fixed");
  EXPECT_EQ(Logged(), Texts{"fixed"});
}

TEST_F(SbxlogSetting, APathIsTakenFromTheRoot) {
  const std::string here = (std::filesystem::current_path() / "x.Log").string();
  EXPECT_EQ(Set({"path", module_, "x.Log"}), Fine(module_ + ": path " + log_ + " -> " + here + " fixed"));
}

TEST_F(SbxlogSetting, RefusesWhatIsNoValue) {
  const std::string bare = sandbox_.root().string();
  const std::string folder = (sandbox_.root() / "").string();
  const struct {
    std::vector<std::string> arguments;
    std::string message;
  } wrong[] = {
      {{"level"}, "give a module or none, and a level or --clear"},
      {{"level", module_}, "not a level: " + module_},
      {{"level", "4x"}, "not a level: 4x"},
      {{"level", "2147483648"}, "not a level: 2147483648"},
      {{"level", module_, "4", "--clear"}, "give a module or none, and a level or --clear"},
      {{"path", ""}, "an empty path: give --clear"},
      {{"path", folder}, "not the path of a file: " + folder},
      {{"path", bare}, "not the path of a file: " + bare},
  };
  for (const auto& c : wrong) {
    EXPECT_EQ(Set(c.arguments), (Said{"exit 2", "", "sbxlog: error: " + c.message + " [usage]\n"}));
  }
  EXPECT_EQ(Set({"path", folder + std::string(512 - folder.size(), 'x')}).ended, "exit 2");
  EXPECT_EQ(Set({"path", folder + std::string(511 - folder.size(), 'x')}).ended, "exit 0");
}

TEST_F(SbxlogSetting, SaysWhoIsNotThere) {
  EXPECT_EQ(Set({"level", "other.so", "4"}),
            (Said{"exit 3", "",
                  "sbxlog: error: process " + host_.Id() + " has no module other.so [no-such-module]\n"}));
  EXPECT_EQ(RunSbxlog({"level", "4000000", "4"}),
            (Said{"exit 3", "", "sbxlog: error: no process 4000000 that logs [no-such-process]\n"}));
  const std::string gone = host_.Id();
  host_.Kill();
  EXPECT_EQ(RunSbxlog({"path", gone, "--clear"}).ended, "exit 3");
}

TEST_F(SbxlogSetting, RefusesAFolderThatIsNotThere) {
  const std::string path = (sandbox_.root() / "none" / "x.Log").string();
  EXPECT_EQ(Set({"path", module_, path}),
            (Said{"exit 3", "", path + ": error: its folder is not there [file-unreadable]\n"}));
}

TEST_F(SbxlogSetting, LeavesADamagedBlockAlone) {
  const auto id = static_cast<std::uint32_t>(host_.pid());
  platform::SharedBlock mapping;
  ASSERT_EQ(mapping.Open(Message(kLogConfigBlockName, id).view()), platform::ObjectStatus::kOk);
  auto* block = static_cast<LOGCFG_BLOCK*>(mapping.Map(sizeof(LOGCFG_BLOCK)));
  block->headMagic = 0;
  EXPECT_EQ(Set({"level", "4"}), (Said{"exit 4", "",
                                       "sbxlog: error: the configuration block of process " + host_.Id() +
                                           " is damaged [damaged-block]\n"}));
  EXPECT_EQ(block->globalLevel, -1);
}

TEST_F(SbxlogSetting, GivesUpOnABlockThatSomeoneHolds) {
  platform::NamedMutex mutex;
  ASSERT_EQ(mutex.Open(Message(kLogConfigMutexName, static_cast<std::uint32_t>(host_.pid())).view()),
            platform::ObjectStatus::kOk);
  ASSERT_EQ(mutex.Wait(0), platform::WaitResult::kObtained);
  EXPECT_EQ(Set({"level", "4"}), (Said{"exit 5", "",
                                       "sbxlog: error: the configuration block of process " + host_.Id() +
                                           " is held by someone [refused]\n"}));
  mutex.Release();
}

TEST_F(SbxlogSetting, ChangesUnderLoadLoseNothing) {
  // Moved to and fro while the process logs at full speed: each line is in one of the two files.
  const std::string other = (sandbox_.root() / "other.Log").string();
  host_.Send("many 2000 0");
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(Set({"path", module_, i % 2 == 0 ? other : log_}).ended, "exit 0");
    EXPECT_EQ(Set({"level", std::to_string(i % 5)}).ended, "exit 0");
  }
  EXPECT_EQ(host_.Answer(), "ok");
  Texts all = Logged();
  for (std::string& text : MessagesOf(other)) all.push_back(std::move(text));
  std::sort(all.begin(), all.end());
  EXPECT_EQ(std::unique(all.begin(), all.end()), all.end());
  EXPECT_EQ(all.size(), 2000u);
}

}  // namespace
}  // namespace sbx::testing
