#include "diag/host_discovery.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "platform/module_identity.h"
#include "support/host_system.h"
#include "support/log_sandbox.h"

namespace sbx {
namespace {

constexpr char kEngine[] = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Engine]\n";
constexpr char kManagement[] = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Management]\n";
constexpr char kFamily[] = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere]\n";
constexpr char kInstallPath[] = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Engine\\InstallPath]\n";
constexpr char kVersion[] = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Engine\\Version]\n";
constexpr char kConsole[] = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Management\\Console]\n";
constexpr char kSetup[] = "[HKEY_LOCAL_MACHINE\\SYSTEM\\Setup]\n";

class HostDiscovery : public ::testing::Test {
 protected:
  // A registry line with the folder of the own module, cut by some characters.
  static std::string OwnFolder(const char* value, std::size_t cut = 0, const char* more = "") {
    const std::filesystem::path own = GetOwnModulePath();
    std::string folder = own.parent_path().string();
    folder.resize(folder.size() - cut);
    return std::string("\"") + value + "\"=\"" + testing::RegistryText(folder + more) + "\"\n";
  }
  // A path with what separates folders here in the place of the slashes.
  static WideString Native(WideString path) {
    std::replace(path.begin(), path.end(), u'/', platform::kPathSeparator);
    return path;
  }
  static std::string NativeText(const WideString& path) {
    const WideString native = Native(path);
    return testing::RegistryText({native.begin(), native.end()});
  }
  testing::LogSandbox sandbox_;
};

TEST_F(HostDiscovery, APreInstallEnvironmentIsToldByTheSetupsCommandLine) {
  struct Case {
    const char* lines;
    int expected;
    const char* why;
  };
  const Case cases[] = {
      {"", 0, "no key"},
      {"\"Other\"=\"winpeshl.exe\"\n", 0, "no value"},
      {"\"CmdLine\"=\"winpeshl.exe\"\n", 1, "alone"},
      {"\"CmdLine\"=\"X:\\\\Windows\\\\winpeshl.exe /x\"\n", 1, "inside"},
      {"\"CmdLine\"=\"WINPESHL.EXE\"\n", 0, "case counts"},
      {"\"CmdLine\"=\"inpeshl.exe\"\n", 0, "too short to hold it"},
      {"\"CMDLINE\"=\"winpeshl.exe\"\n", 1, "the value's name ignores case"},
  };
  for (const Case& c : cases) {
    sandbox_.WriteRegistry(std::string(kSetup) + c.lines);
    EXPECT_EQ(IsPreInstallEnvironment(), c.expected) << c.why;
  }
}

TEST_F(HostDiscovery, TheInstallFlagsTakeFiveValues) {
  struct Case {
    std::string lines;
    std::uint32_t expected;
  };
  const Case cases[] = {{"", 0},
                        {kFamily, 0},
                        {kEngine, 5},
                        {kManagement, 6},
                        {std::string(kEngine) + kManagement, 7},
                        {std::string(kEngine) + kManagement + kSetup + "\"CmdLine\"=\"winpeshl.exe\"\n", 8}};
  for (const Case& c : cases) {
    sandbox_.WriteRegistry(c.lines);
    EXPECT_EQ(DetectInstall(), c.expected) << c.lines;
  }
}

TEST_F(HostDiscovery, WithoutARegistryNothingIsInstalled) {
  EXPECT_EQ(DetectInstall(), 0u);
  EXPECT_EQ(GetProductKind(), PRODUCT_NONE);
  EXPECT_EQ(GetProductRoot(PRODUCT_ENGINE), u"");
}

TEST_F(HostDiscovery, KeyPathsOfTheThreeProducts) {
  char16_t buffer[260];
  EXPECT_EQ(GetProductKeyPath(1, buffer, 260), 0u);
  EXPECT_EQ(WideView(buffer), u"SOFTWARE\\Torvane\\Vaultmere\\Engine");
  EXPECT_EQ(GetProductKeyPath(2, buffer, 260), 0u);
  EXPECT_EQ(WideView(buffer), u"SOFTWARE\\Torvane\\Vaultmere\\Management");
  EXPECT_EQ(GetProductKeyPath(4, buffer, 260), 0u);
  EXPECT_EQ(WideView(buffer), u"SOFTWARE\\Torvane\\Vaultmere");
  for (const std::uint32_t kind : {0u, 3u, 5u, 8u})
    EXPECT_EQ(GetProductKeyPath(kind, buffer, 260), 87u) << kind;
  EXPECT_EQ(GetProductKeyPath(4, buffer, 26), 122u);
  EXPECT_EQ(GetProductKeyPath(4, buffer, 27), 0u) << "26 units and a zero";
}

TEST_F(HostDiscovery, RootsComeFromThreePlaces) {
  sandbox_.WriteRegistry(std::string(kInstallPath) + "\"Path\"=\"" + NativeText(u"/opt/engine/") + "\"\n" +
                         kManagement + "\"Path\"=\"" + NativeText(u"/opt/management") + "\"\n" + kFamily +
                         "\"RootPath\"=\"" + NativeText(u"/opt/family") + "\"\n");
  EXPECT_EQ(GetProductRoot(PRODUCT_ENGINE), Native(u"/opt/engine/"));
  EXPECT_EQ(GetProductRoot(PRODUCT_MANAGEMENT), Native(u"/opt/management"));
  EXPECT_EQ(GetProductRoot(PRODUCT_UPDATE_MANAGER), Native(u"/opt/family/Update Manager"));
  EXPECT_EQ(GetProductRoot(PRODUCT_NONE), u"");
  EXPECT_EQ(GetProductRoot(PRODUCT_WINPE), u"");
}

TEST_F(HostDiscovery, TheUpdateManagersRootNeedsNoSecondSeparatorAndNoEmptyBase) {
  sandbox_.WriteRegistry(std::string(kFamily) + "\"RootPath\"=\"" + NativeText(u"/opt/family/") + "\"\n");
  EXPECT_EQ(GetProductRoot(PRODUCT_UPDATE_MANAGER), Native(u"/opt/family/Update Manager"));
  sandbox_.WriteRegistry(std::string(kFamily) + "\"RootPath\"=\"\"\n");
  EXPECT_EQ(GetProductRoot(PRODUCT_UPDATE_MANAGER), u"");
}

TEST_F(HostDiscovery, ARootOf512UnitsIsDropped) {
  sandbox_.WriteRegistry(std::string(kInstallPath) + "\"Path\"=\"" + std::string(511, 'p') + "\"\n");
  EXPECT_EQ(GetProductRoot(PRODUCT_ENGINE).size(), 511u);
  sandbox_.WriteRegistry(std::string(kInstallPath) + "\"Path\"=\"" + std::string(512, 'p') + "\"\n");
  EXPECT_EQ(GetProductRoot(PRODUCT_ENGINE), u"");
}

TEST_F(HostDiscovery, TheKindIsTheFirstProductWhoseRootBeginsTheModulesPath) {
  sandbox_.WriteRegistry(std::string(kInstallPath) + OwnFolder("Path"));
  EXPECT_EQ(GetProductKind(), PRODUCT_ENGINE);
  sandbox_.WriteRegistry(std::string(kManagement) + OwnFolder("Path"));
  EXPECT_EQ(GetProductKind(), PRODUCT_MANAGEMENT);
  sandbox_.WriteRegistry(std::string(kManagement) + OwnFolder("Path") + kInstallPath + OwnFolder("Path"));
  EXPECT_EQ(GetProductKind(), PRODUCT_ENGINE) << "the engine comes first";
  sandbox_.WriteRegistry(std::string(kInstallPath) + "\"Path\"=\"/somewhere/else\"\n");
  EXPECT_EQ(GetProductKind(), PRODUCT_NONE);
  sandbox_.WriteRegistry(std::string(kSetup) + "\"CmdLine\"=\"winpeshl.exe\"\n" + kInstallPath +
                         OwnFolder("Path"));
  EXPECT_EQ(GetProductKind(), PRODUCT_WINPE);
}

TEST_F(HostDiscovery, ARootThatIsAMerePrefixCounts) {
  sandbox_.WriteRegistry(std::string(kInstallPath) + OwnFolder("Path", 1));
  EXPECT_EQ(GetProductKind(), PRODUCT_ENGINE);
  sandbox_.WriteRegistry(std::string(kInstallPath) + OwnFolder("Path", 0, "x"));
  EXPECT_EQ(GetProductKind(), PRODUCT_NONE);
}

TEST_F(HostDiscovery, ARootIsComparedIgnoringCase) {
  std::string lines = OwnFolder("Path");
  for (std::size_t i = 8; i < lines.size(); ++i) lines[i] = static_cast<char>(std::toupper(lines[i]));
  sandbox_.WriteRegistry(std::string(kInstallPath) + lines);
  EXPECT_EQ(GetProductKind(), PRODUCT_ENGINE);
}

struct VersionCase {
  std::uint32_t kind;
  std::string lines;
  std::uint32_t status;
  std::int32_t major, minor, update;  // -7: untouched
  const char* why;
};

TEST_F(HostDiscovery, Versions) {
  const std::string full = "\"Major\"=\"6\"\n\"Minor\"=\"5\"\n\"UpdateVersionNumber\"=\"3\"\n";
  const VersionCase cases[] = {
      {0, std::string(kVersion) + full, 1168, -7, -7, -7, "no product"},
      {8, std::string(kVersion) + full, 1168, -7, -7, -7, "no product in a pre-installation environment"},
      {3, std::string(kVersion) + full, 1168, -7, -7, -7, "no kind"},
      {1, std::string(kVersion) + full, 0, 6, 5, 3, "engine"},
      {1, kEngine, 2, -7, -7, -7, "no version key"},
      {1, std::string(kVersion) + "\"Major\"=\"0\"\n\"Minor\"=\"0\"\n\"UpdateVersionNumber\"=\"3\"\n", 1168,
       0, 0, 3, "zeros, though the update was read"},
      {1, std::string(kVersion) + "\"Major\"=\"\"\n\"Minor\"=\"5\"\n", 0, -7, 5, -7,
       "an empty text leaves its number"},
      {2, std::string(kConsole) + "\"Version\"=\"7.2\"\n\"UpdateVersionNumber\"=\"4\"\n", 0, 7, 2, 4,
       "management"},
      {2, std::string(kConsole) + "\"Version\"=\"7\"\n", 0, 7, -7, -7, "no point: the major only"},
      {2, std::string(kConsole) + "\"Version\"=\"7.2.9\"\n", 0, 7, 2, -7, "a third piece is ignored"},
      {2, std::string(kConsole) + "\"Version\"=\"\"\n\"UpdateVersionNumber\"=\"4\"\n", 1168, -7, -7, -7,
       "an empty version ends it"},
      {2, std::string(kConsole) + "\"Version\"=\"0.0\"\n", 1168, 0, 0, -7, "zeros"},
      {2, kManagement, 2, -7, -7, -7, "no console key"},
      {4, std::string(kVersion) + full + kConsole + "\"Version\"=\"7.2\"\n", 0, 6, 5, 3,
       "the engine's first"},
      {4, std::string(kConsole) + "\"Version\"=\"7.2\"\n", 0, 7, 2, -7, "else the management's"},
      {4, "", 2, -7, -7, -7, "neither"},
  };
  for (const VersionCase& c : cases) {
    sandbox_.WriteRegistry(c.lines);
    std::int32_t major = -7;
    std::int32_t minor = -7;
    std::int32_t update = -7;
    EXPECT_EQ(GetProductVersion(c.kind, &major, &minor, &update), c.status) << c.why;
    EXPECT_EQ(major, c.major) << c.why;
    EXPECT_EQ(minor, c.minor) << c.why;
    EXPECT_EQ(update, c.update) << c.why;
  }
}

TEST_F(HostDiscovery, VersionsOfZeroNeedBothNumbersAbsent) {
  std::int32_t major = 0;
  std::int32_t minor = 0;
  std::int32_t update = 0;
  sandbox_.WriteRegistry(std::string(kVersion) + "\"UpdateVersionNumber\"=\"3\"\n");
  EXPECT_EQ(GetProductVersion(1, &major, &minor, &update), 1168u);
  EXPECT_EQ(update, 3);
}

TEST_F(HostDiscovery, RegistryValuesAreReadWhateverTheirType) {
  const WideString key = u"SOFTWARE\\T";
  sandbox_.WriteRegistry(
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\T]\n\"n\"=dword:0000002a\n\"s\"=\"text\"\n\"two\"=hex:07,01\n"
      "\"five\"=hex:01,02,03,04,05\n\"odd\"=hex(1):41,00,42\n\"a\"=\"A\"\n");
  std::uint32_t number = 99;
  EXPECT_EQ(ReadRegistryDword(key, u"n", &number), 0u);
  EXPECT_EQ(number, 42u);
  EXPECT_EQ(ReadRegistryDword(key, u"two", &number), 0u);
  EXPECT_EQ(number, 0x107u);
  EXPECT_EQ(ReadRegistryDword(key, u"a", &number), 0u) << "a text of four bytes";
  EXPECT_EQ(number, 0x41u);
  number = 99;
  EXPECT_EQ(ReadRegistryDword(key, u"s", &number), 234u);
  EXPECT_EQ(ReadRegistryDword(key, u"five", &number), 234u);
  EXPECT_EQ(ReadRegistryDword(key, u"missing", &number), 2u);
  EXPECT_EQ(ReadRegistryDword(u"SOFTWARE\\Missing", u"n", &number), 2u);
  EXPECT_EQ(ReadRegistryDword(u"\\T", u"n", &number), testing::kIsWindows ? 161u : 2u);
  EXPECT_EQ(number, 99u) << "failures leave it";
  WideString text = u"before";
  EXPECT_EQ(ReadRegistryString(key, u"missing", &text), 2u);
  EXPECT_EQ(text, u"before");
  EXPECT_EQ(ReadRegistryString(key, u"s", &text), 0u);
  EXPECT_EQ(text, u"text");
  EXPECT_EQ(ReadRegistryString(key, u"odd", &text), 0u) << "half a unit and no terminator";
  if (!testing::IsWine()) {  // its import keeps no half units of a text
    EXPECT_EQ(text, u"AB");
  }
  EXPECT_EQ(ReadRegistryString(key, u"n", &text), 0u);
  EXPECT_EQ(text, u"*");
}

TEST(SplitTexts, EmptyPiecesInFrontOfASeparatorGoAndTheLastPieceStays) {
  using Pieces = std::vector<WideString>;
  EXPECT_EQ(SplitOnSpaces(u"a b"), (Pieces{u"a", u"b"}));
  EXPECT_EQ(SplitOnSpaces(u"  a  b "), (Pieces{u"a", u"b", u""}));
  EXPECT_EQ(SplitOnSpaces(u""), (Pieces{u""}));
  EXPECT_EQ(SplitOnSpaces(u"a.b"), (Pieces{u"a.b"}));
  EXPECT_EQ(SplitOnDots(u"6.5.1"), (Pieces{u"6", u"5", u"1"}));
  EXPECT_EQ(SplitOnDots(u".5"), (Pieces{u"5"}));
}

TEST(OwnModule, ItsNameIsLeftOutOfABufferThatIsTooSmall) {
  const WideString name = platform::OwnModuleName();
  char16_t buffer[64] = u"before";
  GetOwnModuleName(buffer, name.size());
  EXPECT_EQ(WideView(buffer), u"before");
  GetOwnModuleName(buffer, name.size() + 1);
  EXPECT_EQ(WideView(buffer), name);
}

}  // namespace
}  // namespace sbx
