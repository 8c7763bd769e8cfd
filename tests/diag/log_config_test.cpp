#include "diag/log_config.h"

#include "log_config_fixture.h"
#include "support/killable_process.h"
#include "support/mutex_holder.h"

namespace sbx {
namespace {

using testing::HoldMutex;
using testing::KillableProcess;

TEST_F(LogConfig, AFreshBlock) {
  ASSERT_TRUE(config_->Attach(platform::CurrentProcessId()));
  const LOGCFG_BLOCK& block = Block();
  EXPECT_EQ(block.headMagic, 0xE6E6u);
  EXPECT_EQ(block.tailMagic, 0xE6E6u);
  EXPECT_EQ(block.globalLevel, -1);
  EXPECT_EQ(block.globalPath[0], 0);
  for (const LOGCFG_MODULE& record : block.modules) {
    ASSERT_EQ(record.flags, 1u);
    ASSERT_EQ(record.name[0], 0);
    ASSERT_EQ(record.level, 0);
  }
}

TEST_F(LogConfig, NamesHoldTheProcessNumber) {
  ASSERT_TRUE(config_->Attach(77));
  platform::NamedMutex mutex;
  platform::SharedBlock block;
  EXPECT_EQ(mutex.Open(u"Global\\LOGCFG_MUTEX_NAME_C8AAE32A-9619-4685-B766-F003823BEEE3_77"),
            platform::ObjectStatus::kOk);
  EXPECT_EQ(block.Open(u"Global\\LOGCFG_SM_NAME_C8AAE32A-9619-4685-B766-F003823BEEE3_77"),
            platform::ObjectStatus::kOk);
}

TEST_F(LogConfig, ARegisteredModuleHasItsDefaultPathAndNoLevel) {
  config_->RegisterModule(u"a.dll");
  const LOGCFG_MODULE& record = Block().modules[0];
  EXPECT_EQ(WideView(record.name), u"a.dll");
  EXPECT_EQ(WideView(record.path), Default("a.dll.Log"));
  EXPECT_EQ(record.level, -1);
  EXPECT_EQ(record.flags, 0xFFFFu);
  EXPECT_EQ(config_->GetModuleLevel(u"a.dll"), -1);
}

TEST_F(LogConfig, ANameIsRegisteredOnceIgnoringCase) {
  config_->RegisterModule(u"a.dll");
  config_->RegisterModule(u"b.dll");
  config_->RegisterModule(u"A.DLL");
  config_->RegisterModule(u"");
  EXPECT_EQ(WideView(Block().modules[0].name), u"a.dll");
  EXPECT_EQ(WideView(Block().modules[1].name), u"b.dll");
  EXPECT_EQ(Block().modules[2].name[0], 0);
}

TEST_F(LogConfig, ALongNameIsStoredAndMatchedCut) {
  const WideString longName(64, u'n');
  const WideString cut(63, u'n');
  config_->RegisterModule(longName);
  EXPECT_EQ(WideView(Block().modules[0].name), cut);
  Block().modules[0].level = 7;
  EXPECT_EQ(config_->GetModuleLevel(cut), 7);
  EXPECT_EQ(config_->GetModuleLevel(longName), -1);
}

TEST_F(LogConfig, ALongPathIsStoredCut) {
  config_->RegisterModule(u"a");
  config_->SetLogPath(u"a", u"/" + WideString(600, u'p'));
  EXPECT_EQ(Path(u"a"), u"/" + WideString(510, u'p'));
}

struct LevelCase {
  std::int32_t moduleLevel;
  std::uint32_t flags;
  std::int32_t globalLevel;
  std::int32_t expected;
  const char* why;
};

TEST_F(LogConfig, LevelsOfAModule) {
  const LevelCase cases[] = {
      {-1, 0xFFFF, -1, -1, "nothing set"},
      {3, 0xFFFF, -1, 3, "the module's level, not fixed"},
      {3, 0xFFFF, 4, 4, "the global level beats one that is not fixed"},
      {3, 0xFFFF, 0, 0, "also downwards"},
      {0, 0xFFFD, 4, 0, "a fixed level beats the global one"},
      {-1, 0xFFFD, 4, -1, "also a fixed -1"},
      {3, 0xFFFF, -2, -2, "any global level but -1"},
      {5, 0xFFFE, 4, 4, "the path's flag says nothing of levels"},
  };
  config_->RegisterModule(u"a.dll");
  CLogConfig other;  // a second module's code, which has to look the record up
  for (const LevelCase& c : cases) {
    Block().modules[0].level = c.moduleLevel;
    Block().modules[0].flags = c.flags;
    Block().globalLevel = c.globalLevel;
    EXPECT_EQ(config_->GetModuleLevel(u"a.dll"), c.expected) << c.why;
    EXPECT_EQ(other.GetModuleLevel(u"A.dll"), c.expected) << c.why;
  }
}

TEST_F(LogConfig, AnUnknownModuleHasTheGlobalLevelOnly) {
  config_->RegisterModule(u"a.dll");
  Block().modules[0].level = 3;
  EXPECT_EQ(config_->GetModuleLevel(u"other"), -1);
  EXPECT_EQ(config_->GetModuleLevel(u""), -1);
  Block().globalLevel = 4;
  EXPECT_EQ(config_->GetModuleLevel(u"other"), 4);
  EXPECT_EQ(config_->GetModuleLevel(u""), 4);
}

TEST_F(LogConfig, ALevelIsReadWhileAToolHoldsTheMutex) {
  config_->RegisterModule(u"a.dll");
  Block().modules[0].level = 3;
  KillableProcess tool(
      [] { return HoldMutex(Message(kLogConfigMutexName, KillableProcess::ParentId()).view()); });
  ASSERT_TRUE(tool.Await());
  EXPECT_EQ(config_->GetModuleLevel(u"a.dll"), 3);
  tool.Kill();
}

// The short way that each message takes, beside the long one.
TEST_F(LogConfig, TheRegisteredModulesLevelIsReadWithoutLookingItUp) {
  const WideString own = u"a.dll";
  const WideString other = u"b.dll";
  std::int32_t level = 7;
  EXPECT_FALSE(config_->ReadLevel(own.c_str(), &level)) << "not registered yet";
  config_->RegisterModule(own);
  ASSERT_TRUE(config_->ReadLevel(own.c_str(), &level));
  EXPECT_EQ(level, -1);
  EXPECT_FALSE(config_->ReadLevel(other.c_str(), &level)) << "another name";
  Block().modules[0].level = 3;
  ASSERT_TRUE(config_->ReadLevel(own.c_str(), &level));
  EXPECT_EQ(level, 3);
  Block().globalLevel = 4;
  ASSERT_TRUE(config_->ReadLevel(own.c_str(), &level));
  EXPECT_EQ(level, 4);
  Block().modules[0].flags &= ~kLogLevelNotFixed;
  ASSERT_TRUE(config_->ReadLevel(own.c_str(), &level));
  EXPECT_EQ(level, 3);
  Block().tailMagic = 0;
  ASSERT_TRUE(config_->ReadLevel(own.c_str(), &level));
  EXPECT_EQ(level, -1) << "a destroyed block";
  Block().tailMagic = kLogConfigMagic;
  config_->RegisterModule(other);
  EXPECT_FALSE(config_->ReadLevel(own.c_str(), &level)) << "another one registered";
  config_->Shutdown();
  EXPECT_FALSE(config_->ReadLevel(other.c_str(), &level));
}

TEST_F(LogConfig, AnAbandonedMutexFailsOneOperation) {
  config_->RegisterModule(u"a.dll");
  KillableProcess tool(
      [] { return HoldMutex(Message(kLogConfigMutexName, KillableProcess::ParentId()).view()); });
  ASSERT_TRUE(tool.Await());
  tool.Kill();
  EXPECT_EQ(Path(u"a.dll"), u"unchanged");
  EXPECT_EQ(Path(u"a.dll"), Default("a.dll.Log")) << "the mutex was released after the failure";
}

TEST_F(LogConfig, PathsOfAModule) {
  config_->RegisterModule(u"a.dll");
  EXPECT_EQ(Path(u"a.dll"), Default("a.dll.Log"));
  EXPECT_EQ(Path(u"A.DLL"), Default("a.dll.Log"));
  EXPECT_EQ(Path(u"other"), u"unchanged");
  EXPECT_EQ(Path(u""), u"") << "the global path";
  Set(Block().globalPath, u"/global.Log");
  EXPECT_EQ(Path(u"a.dll"), u"/global.Log");
  EXPECT_EQ(Path(u"other"), u"/global.Log");
  EXPECT_EQ(Path(u""), u"/global.Log");
  EXPECT_EQ(Path(u"a.dll", true), Default("a.dll.Log")) << "this process ignores it";
  EXPECT_EQ(Path(u"other", true), u"unchanged");
  EXPECT_EQ(Path(u"", true), u"/global.Log");
  Block().modules[0].flags &= ~1u;
  EXPECT_EQ(Path(u"a.dll"), Default("a.dll.Log")) << "a fixed path";
}

TEST_F(LogConfig, AFixedPathSurvivesRegistering) {
  config_->RegisterModule(u"a.dll");
  Set(Block().modules[0].path, u"/fixed.Log");
  CLogConfig again;
  again.RegisterModule(u"a.dll");
  EXPECT_EQ(Path(u"a.dll"), Default("a.dll.Log")) << "written anew, for it was not fixed";
  Set(Block().modules[0].path, u"/fixed.Log");
  Block().modules[0].flags &= ~1u;
  again.RegisterModule(u"a.dll");
  EXPECT_EQ(Path(u"a.dll"), u"/fixed.Log");
}

TEST_F(LogConfig, SettingAPathMovesTheModuleOrAllWhoFollowTheGlobalPath) {
  config_->RegisterModule(u"a.dll");
  config_->SetLogPath(u"a.dll", u"/x/y.Log");
  EXPECT_EQ(Path(u"a.dll"), u"/x/y.Log");
  config_->SetLogPath(u"a.dll", u"short");
  EXPECT_EQ(Path(u"a.dll"), Default("short.Log")) << "a name without a separator is resolved";
  config_->SetLogPath(u"a.dll", u"");
  EXPECT_EQ(Path(u"a.dll"), Default("a.dll.Log")) << "empty puts the default back";
  config_->SetLogPath(u"new.dll", u"/n.Log");
  EXPECT_EQ(WideView(Block().modules[1].name), u"new.dll") << "claims a record";
  EXPECT_EQ(Block().modules[1].flags, 0xFFFFu);
  EXPECT_EQ(Path(u"new.dll"), u"/n.Log");
  config_->SetLogPath(u"", u"/global.Log");
  EXPECT_EQ(WideView(Block().globalPath), u"/global.Log");
  config_->SetLogPath(u"a.dll", u"/global.00000001.log");
  EXPECT_EQ(WideView(Block().globalPath), u"/global.00000001.log") << "moves for all";
  EXPECT_EQ(WideView(Block().modules[0].path), Default("a.dll.Log"));
  config_->SetLogPath(u"a.dll", u"");
  EXPECT_EQ(Block().globalPath[0], 0) << "empty ends it";
  EXPECT_EQ(Block().globalPath[5], 0) << "zeroed as a whole";
}

TEST_F(LogConfig, The1025thModuleGetsNoRecord) {
  for (int i = 0; i < 1024; ++i) config_->RegisterModule(Message(u"m%d", i).view());
  config_->RegisterModule(u"late");
  config_->SetLogPath(u"late", u"/late.Log");
  EXPECT_EQ(WideView(Block().modules[0].name), u"m0");
  EXPECT_EQ(WideView(Block().modules[1023].name), u"m1023");
  EXPECT_EQ(Block().tailMagic, 0xE6E6u);
  EXPECT_EQ(Path(u"late"), u"unchanged");
  EXPECT_EQ(Path(u"m1023"), Default("m1023.Log"));
  Block().modules[1023].level = 3;
  EXPECT_EQ(config_->GetModuleLevel(u"m1023"), 3);
  EXPECT_EQ(config_->GetModuleLevel(u"late"), -1);
  Block().globalLevel = 2;
  EXPECT_EQ(config_->GetModuleLevel(u"late"), 2);
}

TEST_F(LogConfig, ADestroyedBlockAnswersNothingFromThenOn) {
  config_->RegisterModule(u"a.dll");
  Block().modules[0].level = 3;
  for (std::uint32_t LOGCFG_BLOCK::*magic : {&LOGCFG_BLOCK::headMagic, &LOGCFG_BLOCK::tailMagic}) {
    Block().*magic = 0;
    EXPECT_EQ(config_->GetModuleLevel(u"a.dll"), -1);
    EXPECT_EQ(Path(u"a.dll"), u"unchanged");
    config_->RegisterModule(u"b.dll");
    EXPECT_EQ(Block().modules[1].name[0], 0);
    EXPECT_EQ(Block().*magic, 0u) << "never repaired";
    Block().*magic = kLogConfigMagic;
    EXPECT_EQ(config_->GetModuleLevel(u"a.dll"), 3);
  }
}

TEST_F(LogConfig, AForeignBlockIsUsedAsItStands) {
  platform::SharedBlock made;
  ASSERT_EQ(made.Create(Name(kLogConfigBlockName), sizeof(LOGCFG_BLOCK)), platform::ObjectStatus::kOk);
  config_->RegisterModule(u"a.dll");
  EXPECT_EQ(Path(u"a.dll"), u"unchanged") << "not filled: wrong magics, and they stay";
  EXPECT_EQ(Block().headMagic, 0u);
  Block().headMagic = Block().tailMagic = kLogConfigMagic;
  config_->RegisterModule(u"a.dll");
  EXPECT_EQ(Path(u"a.dll"), Default("a.dll.Log"));
}

TEST_F(LogConfig, ABlockThatIsTooSmallIsNoBlock) {
  platform::SharedBlock made;
  ASSERT_EQ(made.Create(Name(kLogConfigBlockName), 1000), platform::ObjectStatus::kOk);
  EXPECT_FALSE(config_->Attach(platform::CurrentProcessId()));
  EXPECT_EQ(config_->GetModuleLevel(u"a.dll"), -1);
}

TEST_F(LogConfig, TextsWithoutAnEndAreReadNoFurtherThanTheirField) {
  config_->RegisterModule(u"a.dll");
  LOGCFG_MODULE& record = Block().modules[0];
  std::fill(std::begin(record.path), std::end(record.path), u'p');
  EXPECT_EQ(Path(u"a.dll"), WideString(511, u'p'));
  std::fill(std::begin(record.name), std::end(record.name), u'n');
  EXPECT_EQ(Path(WideString(64, u'n')), WideString(511, u'p'));
  std::fill(std::begin(Block().globalPath), std::end(Block().globalPath), u'g');
  EXPECT_EQ(Path(u"x"), WideString(511, u'g'));
}

TEST_F(LogConfig, TwoModulesShareTheBlockOfTheProcess) {
  CLogConfig other;
  config_->RegisterModule(u"a.dll");
  other.RegisterModule(u"b.dll");
  EXPECT_EQ(WideView(Block().modules[0].name), u"a.dll");
  EXPECT_EQ(WideView(Block().modules[1].name), u"b.dll");
  config_->SetLogPath(u"b.dll", u"/b.Log");
  char16_t path[kLogPathUnits] = {};
  other.GetLogPath(u"b.dll", false, path);
  EXPECT_EQ(WideView(path), u"/b.Log");
}

TEST_F(LogConfig, AModuleLoadedAgainTakesUpItsRecord) {
  CLogConfig keeper;
  keeper.RegisterModule(u"keeper");
  config_->RegisterModule(u"a.dll");
  Block().modules[1].level = 6;
  config_->Shutdown();
  config_->RegisterModule(u"a.dll");
  EXPECT_EQ(config_->GetModuleLevel(u"a.dll"), 6);
  EXPECT_EQ(Block().modules[2].name[0], 0);
}

TEST_F(LogConfig, ShutdownClosesTheBlock) {
  config_->RegisterModule(u"a.dll");
  config_->Shutdown();
  platform::SharedBlock block;
  EXPECT_EQ(block.Open(Name(kLogConfigBlockName)), platform::ObjectStatus::kNotFound);
  platform::NamedMutex mutex;
  EXPECT_EQ(mutex.Open(Name(kLogConfigMutexName)), platform::ObjectStatus::kNotFound);
}

TEST_F(LogConfig, WithoutItsMutexNothingIsAnswered) {
  platform::NamedEvent inTheWay;
  ASSERT_EQ(inTheWay.Create(Name(kLogConfigMutexName), platform::EventReset::kAuto),
            platform::ObjectStatus::kOk);
  config_->RegisterModule(u"a.dll");
  EXPECT_EQ(config_->GetModuleLevel(u"a.dll"), -1);
  EXPECT_EQ(Path(u"a.dll"), u"unchanged");
  inTheWay.Close();
  config_->RegisterModule(u"a.dll");
  EXPECT_EQ(Path(u"a.dll"), Default("a.dll.Log")) << "tried again at the next call";
}

TEST_F(LogConfig, DefaultPathsOfNames) {
  struct Case {
    const char16_t* name;
    WideString expected;
  };
  const Case cases[] = {
      {u"sbxml.dll", Default("sbxml.dll.Log")},
      {u"a.log", Default("a.log")},
      {u"a.LOG", Default("a.LOG")},
      {u"noPoint", Default("noPoint.Log")},
      {u"a.log.b", Default("a.log.b.Log")},
      {u"/x/y", u"/x/y"},
      {u"x/y", u"x/y"},
      {u"", Default((testing::ModuleName() + ".Log").c_str())},
  };
  for (const Case& c : cases) EXPECT_EQ(config_->ResolveLogPath(c.name), c.expected);
}

// --- The log folder
// ------------------------------------------------------------------------------------------

TEST_F(LogFolder, WithoutAProductItLiesBesideTheExecutable) {
  EXPECT_EQ(Folder(), ExecutableFolder() / "Logs" / "");
}

TEST_F(LogFolder, InAPreInstallEnvironmentItsNameIsSingular) {
  sandbox_.WriteRegistry("[HKEY_LOCAL_MACHINE\\SYSTEM\\Setup]\n\"CmdLine\"=\"winpeshl.exe\"\n");
  EXPECT_EQ(Folder(), ExecutableFolder() / "Log" / "");
}

TEST_F(LogFolder, UnderAProductsRootItLiesThere) {
  const auto path = [](const std::filesystem::path& root) {
    return "\"Path\"=\"" + testing::RegistryText(root.string()) + "\"\n";
  };
  const std::filesystem::path own = ExecutableFolder();
  const std::filesystem::path top = own.root_path();  // ends in its separator
  const std::string engine = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Engine\\InstallPath]\n";
  const std::string management = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Management]\n";
  sandbox_.WriteRegistry(engine + path(own));
  EXPECT_EQ(Folder(), own / "Logs" / "");
  sandbox_.WriteRegistry(engine + path(top));
  EXPECT_EQ(Folder().native(), (top / "Logs" / "").native()) << "no doubled separator";
  sandbox_.WriteRegistry(engine + path("/elsewhere") + management + path(top));
  EXPECT_EQ(Folder(), top / "Logs" / "") << "the next product";
  sandbox_.WriteRegistry(engine + path("/elsewhere"));
  EXPECT_EQ(Folder(), own / "Logs" / "") << "none fits";
}

// --- The registry
// --------------------------------------------------------------------------------------------

class RegistryLevels : public ::testing::Test {
 protected:
  ~RegistryLevels() override {
    ForgetRegistryLevels();
    ForgetGlobalOptions();
    sandbox_.WriteRegistry("");
    CLogConfig::Instance().DetectAgain();
  }
  void Write(const std::string& lines) {
    sandbox_.WriteRegistry(lines);
    ForgetRegistryLevels();
    ForgetGlobalOptions();
    CLogConfig::Instance().DetectAgain();
  }
  testing::LogSandbox sandbox_;
};

constexpr char kEngineDebug[] = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Engine\\Debug]\n";
constexpr char kManagementDebug[] = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Management\\Debug]\n";

TEST_F(RegistryLevels, AreReadUnderTheInstalledProduct) {
  Write(std::string(kEngineDebug) + "\"m\"=dword:4\n" + kManagementDebug + "\"m\"=dword:3\n");
  EXPECT_EQ(GetRegistryLevel(u"m"), 4) << "the engine's flag comes first";
  EXPECT_EQ(GetRegistryLevel(u"other"), -1);
  Write(std::string(kManagementDebug) + "\"m\"=dword:3\n");
  EXPECT_EQ(GetRegistryLevel(u"m"), 3);
  Write(
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Debug]\n\"m\"=dword:3\n"
      "[HKEY_LOCAL_MACHINE\\Debug]\n\"m\"=dword:3\n");
  EXPECT_EQ(GetRegistryLevel(u"m"), -1) << "nothing installed";
}

TEST_F(RegistryLevels, AreNotAskedInAPreInstallEnvironment) {
  Write(std::string(kEngineDebug) +
        "\"m\"=dword:4\n[HKEY_LOCAL_MACHINE\\SYSTEM\\Setup]\n\"CmdLine\"=\"winpeshl.exe\"\n");
  EXPECT_EQ(GetRegistryLevel(u"m"), -1);
}

TEST_F(RegistryLevels, AreReadOnceForEachSpelling) {
  Write(std::string(kEngineDebug) + "\"m\"=dword:4\n");
  EXPECT_EQ(GetRegistryLevel(u"m"), 4);
  EXPECT_EQ(GetRegistryLevel(u"none"), -1);
  sandbox_.WriteRegistry(std::string(kEngineDebug) + "\"m\"=dword:1\n\"none\"=dword:1\n");
  EXPECT_EQ(GetRegistryLevel(u"m"), 4);
  EXPECT_EQ(GetRegistryLevel(u"none"), -1) << "-1 is remembered too";
  EXPECT_EQ(GetRegistryLevel(u"M"), 1) << "another spelling, another entry";
}

TEST_F(RegistryLevels, AllBitsOfTheValueCount) {
  Write(std::string(kEngineDebug) + "\"m\"=dword:fffffffe\n");
  EXPECT_EQ(GetRegistryLevel(u"m"), -2);
}

TEST_F(RegistryLevels, DisabledGlobalOptionsAreListedByExecutable) {
  Write(std::string(kEngineDebug) + "\"DisableGlobalOption\"=\"  one.exe two.exe  three \"\n");
  EXPECT_EQ(IsGlobalOptionDisabled(u"one.exe"), 1);
  EXPECT_EQ(IsGlobalOptionDisabled(u"TWO.EXE"), 1);
  EXPECT_EQ(IsGlobalOptionDisabled(u"three"), 1);
  EXPECT_EQ(IsGlobalOptionDisabled(u"four"), 0);
  EXPECT_EQ(IsGlobalOptionDisabled(u""), 0) << "empty pieces are dropped";
  sandbox_.WriteRegistry(std::string(kEngineDebug) + "\"DisableGlobalOption\"=\"four\"\n");
  EXPECT_EQ(IsGlobalOptionDisabled(u"four"), 0) << "read once";
}

TEST_F(RegistryLevels, AnAbsentListIsReadOnceAsWell) {
  Write("");
  EXPECT_EQ(IsGlobalOptionDisabled(u"four"), 0);
  sandbox_.WriteRegistry(std::string(kEngineDebug) + "\"DisableGlobalOption\"=\"four\"\n");
  EXPECT_EQ(IsGlobalOptionDisabled(u"four"), 0);
}

}  // namespace
}  // namespace sbx
