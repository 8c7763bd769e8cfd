#include "diag/file_output.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <regex>
#include <thread>

#include "file_output_fixture.h"
#include "support/host_system.h"
#include "support/killable_process.h"
#include "support/mutex_holder.h"

namespace sbx::NSDBG {
namespace {

using sbx::testing::HoldMutex;
using sbx::testing::HostName;
using sbx::testing::KillableProcess;
using sbx::testing::kIsWindows;
using sbx::testing::MessagesOf;
using sbx::testing::ModuleName;
using sbx::testing::ReadBytes;
using sbx::testing::ReadLogLines;
using sbx::testing::ReadLogText;

constexpr char kSummaryFirst[] = "[   Date        Time      Level  PID     TID   ErrCode    ] .......";
constexpr std::size_t kSummaryLines = 7;

std::string Utf16(const std::string& ascii) {
  std::string bytes;
  for (const char c : ascii) (bytes += c) += '\0';
  return bytes;
}

// --- Names -------------------------------------------------------------------------------------------------

TEST(RotatedNames, Split) {
  struct Case {
    const char16_t* path;
    const char16_t* base;
    std::int32_t number;
    const char* why;
  };
  const Case cases[] = {
      {u"a.Log", u"a", 0, "the first file"},
      {u"a.LOG", u"a", 0, "in any case"},
      {u"a.12345678.log", u"a", 12345678, "eight digits"},
      {u"a.00000001.log", u"a", 1, "the first sibling"},
      {u"a.1234.log", u"a.1234", 0, "too few"},
      {u"a.123456789.log", u"a.123456789", 0, "too many"},
      {u"a.00000000.log", u"a.00000000", 0, "zero is no number"},
      {u"a.1234567x.log", u"a", 1234567, "leading digits count"},
      {u"a.x2345678.log", u"a.x2345678", 0, "no leading digit"},
      {u"a.-2345678.log", u"a.-2345678", 0, "a sign is no digit"},
      {u".Log", u".Log", 0, "fewer than five characters"},
      {u"a.txt", u"a.txt", 0, "another suffix"},
      {u"a.Log.txt", u"a.Log.txt", 0, "not at the end"},
      {u"", u"", 0, "nothing"},
      {u"abLog", u"abLog", 0, "no point"},
      {u"/x.y/a.Log", u"/x.y/a", 0, "a point in the folder"},
  };
  for (const Case& c : cases) {
    const RotatedName name = SplitRotatedName(c.path);
    EXPECT_EQ(name.base, c.base) << c.why;
    EXPECT_EQ(name.number, c.number) << c.why;
  }
}

TEST(RotatedNames, AFileAndItsSiblingsAreOneLog) {
  EXPECT_TRUE(SameLogFile(u"/x/a.Log", u"/X/A.log"));
  EXPECT_TRUE(SameLogFile(u"/x/a.Log", u"/x/a.00000007.log"));
  EXPECT_TRUE(SameLogFile(u"/x/a.00000001.log", u"/x/a.00000007.log"));
  EXPECT_FALSE(SameLogFile(u"/x/a.Log", u"/x/b.Log"));
  EXPECT_FALSE(SameLogFile(u"/x/a.Log", u""));
  EXPECT_TRUE(SameLogFile(u"", u""));
}

// --- Lines -------------------------------------------------------------------------------------------------

TEST_F(FileOutput, ANewFileBeginsWithItsMarkAndTheSummary) {
  Output().LogW(2, 0, u"hello");
  const std::string bytes = ReadBytes(Log());
  EXPECT_TRUE(bytes.starts_with("\xFF\xFE"));
  EXPECT_TRUE(bytes.ends_with(std::string("\r\0\n\0", 4)));
  const Lines lines = ReadLogLines(Log());
  ASSERT_EQ(lines.size(), kSummaryLines + 1);
  EXPECT_EQ(lines[0], kSummaryFirst);
  const std::string prefix =
      R"(\[ *\d{4}/\d\d/\d\d \d\d:\d\d:\d\d:\d{3}   02   \d{5,}   \d{5,}             \] )";
  const char* const texts[] = {
      R"(================ SUMMARY LOG =======================)",
      R"(Product Info: \[Torvane Ltd\] \[torvane Vaultmere\] Ver\[r0\.0\])",
      R"(OS      Info: Computer Name\[[^\]]+\] Version\[\d+\.\d+\] Platform\[(X64|Unknown)\])",
      R"(Log level of each module can be controlled by registry key:)",
      R"(\[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Engine\\Debug\\ModuleName:DWORD\])",
      R"(=====================================================)",
      R"(hello   \{host::module\(0\.0\)\})",
  };
  const auto quoted = [](const std::string& name) {
    return std::regex_replace(name, std::regex(R"(\.)"), R"(\.)");
  };
  for (std::size_t i = 1; i < lines.size(); ++i) {
    std::string text = texts[i - 1];
    if (const std::size_t at = text.find("host::module"); at != std::string::npos)
      text.replace(at, 12, quoted(HostName()) + "::" + quoted(ModuleName()));
    EXPECT_TRUE(std::regex_match(lines[i], std::regex(prefix + text))) << lines[i];
  }
}

TEST_F(FileOutput, AnErrorCodeStandsInThePrefix) {
  Output().LogW(1, 0x1a2b, u"m");
  EXPECT_TRUE(std::regex_match(ReadLogLines(Log()).back(),
                               std::regex(R"(\[.{23}   01   \d{5,}   \d{5,}   0X00001a2b\] m   \{.*)")))
      << ReadLogLines(Log()).back();
}

TEST_F(FileOutput, NumbersOfProcessAndThreadStandInTheLine) {
  Output().LogW(0, 0, u"m");
  char expected[64];
  std::snprintf(expected, sizeof expected, "   00   %05d   %05d             ] m   {",
                sbx::testing::OwnProcessId(), sbx::testing::OwnThreadId());
  EXPECT_NE(ReadLogLines(Log()).back().find(expected), std::string::npos) << ReadLogLines(Log()).back();
}

TEST_F(FileOutput, NarrowMessagesTakeTheSameWay) {
  Output().LogA(2, 0, "narrow \xC3\xA4");
  Output().LogA(2, 0, nullptr);
  EXPECT_EQ(MessagesOf(Log()), (Lines{kIsWindows ? "narrow ??" : "narrow ?", ""}))
      << "bytes of a code page, or UTF-8";
}

TEST_F(FileOutput, AnEmptyMessageIsALine) {
  Output().LogW(2, 0, u"");
  EXPECT_EQ(MessagesOf(Log()), Lines{""});
}

TEST_F(FileOutput, TheSummaryShowsTheProductsVersion) {
  sandbox_.WriteRegistry(
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Engine\\Version]\n\"Major\"=\"6\"\n\"Minor\"="
      "\"5\"\n"
      "\"UpdateVersionNumber\"=\"3\"\n");
  config_ = std::make_unique<CLogConfig>();
  Output().LogW(2, 0, u"m");
  EXPECT_TRUE(ReadLogLines(Log())[2].ends_with("Ver[r6.5 (Update 3)]")) << ReadLogLines(Log())[2];
}

TEST_F(FileOutput, TheSummaryDoesNotLookForTheManagementsVersionByItsFlag) {
  sandbox_.WriteRegistry(
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Management\\Console]\n\"Version\"=\"7.2\"\n");
  config_ = std::make_unique<CLogConfig>();
  Output().LogW(2, 0, u"m");
  EXPECT_TRUE(ReadLogLines(Log())[2].ends_with("Ver[r0.0]")) << ReadLogLines(Log())[2];
}

TEST_F(FileOutput, AVersionThatCanNotBeReadIsShownAsZeros) {
  sandbox_.WriteRegistry("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Engine]\n");
  config_ = std::make_unique<CLogConfig>();
  Output().LogW(2, 0, u"m");
  EXPECT_TRUE(ReadLogLines(Log())[2].ends_with("Ver[r0.0]"));
}

// --- Levels ------------------------------------------------------------------------------------------------

TEST_F(FileOutput, TheThresholdIs2UnlessConfigured) {
  EXPECT_EQ(Output().GetLogLevel(), 2);
  Output().LogW(3, 0, u"silent");
  EXPECT_FALSE(fs::exists(Log()));
  Output().LogW(2, 0, u"loud");
  Output().LogW(-1, 0, u"below zero");
  EXPECT_EQ(MessagesOf(Log()), (Lines{"loud", "below zero"}));
}

TEST_F(FileOutput, ALevelChangedLiveIsSeenByTheNextMessage) {
  Output();
  Record().level = 4;
  EXPECT_EQ(Output().GetLogLevel(), 4);
  Output().LogW(4, 0, u"four");
  Record().level = 0;
  Output().LogW(1, 0, u"one");
  EXPECT_EQ(Output().GetLogLevel(), 0);
  Record().level = -1;
  EXPECT_EQ(Output().GetLogLevel(), 0) << "no level: the last one stays";
  EXPECT_EQ(MessagesOf(Log()), Lines{"four"});
}

TEST_F(FileOutput, TheRegistryHoldsTheFirstLevel) {
  struct Case {
    std::string lines;
    std::int32_t expected;
  };
  const Case cases[] = {{"", 2},
                        {"\"" + HostName() + "\"=dword:0\n", 0},
                        {"\"" + ModuleName() + "\"=dword:4\n", 4},
                        {"\"" + ModuleName() + "\"=dword:ffffffff\n", 2}};
  for (const Case& c : cases) {
    sandbox_.WriteRegistry("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Engine\\Debug]\n" + c.lines);
    CLogConfig::Instance().DetectAgain();
    ForgetRegistryLevels();
    CLogConfig config;
    EXPECT_EQ(CFileOutput(config).GetLogLevel(), c.expected) << c.lines;
  }
  sandbox_.WriteRegistry("");
  CLogConfig::Instance().DetectAgain();
}

// --- Encodings ---------------------------------------------------------------------------------------------

TEST_F(FileOutput, AFileWithoutAMarkIsWrittenNarrow) {
  Store(Log(), "old\r\n");
  Output().LogW(2, 0, u"\u00E4 \xD800");
  const std::string bytes = ReadBytes(Log());
  EXPECT_TRUE(bytes.starts_with("old\r\n["));
  const std::string text = kIsWindows ? "\xE4 ?" : "\xC3\xA4 \xEF\xBF\xBD";
  EXPECT_NE(bytes.find("] " + text + "   {" + HostName() + "::" + ModuleName() + "(0.0)}\r\n"),
            std::string::npos)
      << bytes;
  EXPECT_EQ(bytes.find("SUMMARY"), std::string::npos);
}

TEST_F(FileOutput, ANarrowMessageOf1024BytesIsEmptied) {
  Store(Log(), "old\r\n");
  Output().LogW(2, 0, std::u16string(1023, u'x').c_str());
  Output().LogW(2, 0, (std::u16string(kIsWindows ? 1023 : 1022, u'x') + u'\u00E4').c_str());
  const Lines messages = MessagesOf(Log());
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0].size(), 1023u);
  EXPECT_EQ(messages[1], "");
}

TEST_F(FileOutput, ASmallFileWithoutAMarkIsTakenAsNew) {
  for (const char* content : {"", "x", "xy"}) {
    Store(Log(), content);
    CLogConfig config;
    CFileOutput(config).LogW(2, 0, u"m");
    EXPECT_TRUE(ReadBytes(Log()).starts_with("\xFF\xFE")) << content;
    EXPECT_EQ(ReadLogLines(Log()).size(), kSummaryLines + 1) << content;
  }
  Store(Log(), "xyz");
  Output().LogW(2, 0, u"m");
  EXPECT_TRUE(ReadBytes(Log()).starts_with("xyz\r\n["));
}

TEST_F(FileOutput, OnceNarrowANewSiblingIsNarrowToo) {
  Store(Log(), std::string(90, 'x') + "\r\n");
  Output(100).LogW(2, 0, u"fills it");
  Output().LogW(2, 0, u"next");
  const std::string bytes = ReadBytes(Sibling(1));
  EXPECT_TRUE(bytes.starts_with(kSummaryFirst)) << bytes;
  EXPECT_NE(bytes.find("] next   {"), std::string::npos);
}

TEST_F(FileOutput, AWideFileEndsTheNarrowTime) {
  Store(Log("narrow.Log"), "old\r\n");
  Store(Log("wide.Log"), "\xFF\xFE" + Utf16("old\r\n"));
  Output();
  MoveTo(Log("narrow.Log"));
  Output().LogW(2, 0, u"one");
  MoveTo(Log("wide.Log"));
  Output().LogW(2, 0, u"two");
  EXPECT_EQ(MessagesOf(Log("wide.Log")), Lines{"two"});
  MoveTo(Log("new.Log"));
  Output().LogW(2, 0, u"three");
  EXPECT_TRUE(ReadBytes(Log("new.Log")).starts_with("\xFF\xFE"));
}

// --- Rotation ----------------------------------------------------------------------------------------------

TEST_F(FileOutput, AFileIsFullAtItsLimitAndNotOneByteBelow) {
  Store(Log(), "x\r\n");
  sbx::testing::ResizeSparse(Log(), kFullLogBytes - 1);
  Output().LogW(2, 0, u"still here");
  EXPECT_FALSE(fs::exists(Sibling(1)));
  EXPECT_GT(fs::file_size(Log()), kFullLogBytes - 1);
  sbx::testing::ResizeSparse(Log(), kFullLogBytes);
  Output().LogW(2, 0, u"moved");
  EXPECT_EQ(fs::file_size(Log()), kFullLogBytes);
  EXPECT_NE(ReadLogText(Sibling(1)).find("] moved   {"), std::string::npos);
}

TEST_F(FileOutput, TheFirstSiblingThatIsNotFullIsTaken) {
  Store(Log(), std::string(200, 'x'));
  Store(Sibling(1), std::string(200, 'x'));
  Output(200).LogW(2, 0, u"m");
  EXPECT_EQ(ReadLogLines(Sibling(2)).size(), kSummaryLines + 1) << "new, with its summary";
  EXPECT_EQ(fs::file_size(Log()), 200u);
}

TEST_F(FileOutput, AnExistingSiblingIsAppendedToWithoutASummary) {
  Store(Log(), std::string(2000, 'x'));
  Store(Sibling(1), std::string(2000, 'x'));
  Store(Sibling(2), "\xFF\xFE" + Utf16(std::string(100, 'y') + "\r\n"));
  Output(2000).LogW(2, 0, u"m");
  const Lines lines = ReadLogLines(Sibling(2));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], std::string(100, 'y'));
  EXPECT_EQ(MessagesOf(Sibling(2)), Lines{"m"});
}

TEST_F(FileOutput, RotationMovesTheModulesPathInTheConfiguration) {
  Output(3000).LogW(2, 0, u"m");
  for (int i = 0; i < 60; ++i) Output().LogW(2, 0, u"0123456789");
  EXPECT_GT(config_->ResolveLogPath(u"x").size(), 0u);
  char16_t path[kLogPathUnits] = {};
  const WideString module = platform::OwnModuleName();
  config_->GetLogPath(module, false, path);
  EXPECT_NE(WideView(path).find(module + u".0000000"), WideView::npos);
  std::size_t messages = 0;
  for (const auto& file : fs::directory_iterator(sandbox_.logs())) messages += MessagesOf(file.path()).size();
  EXPECT_EQ(messages, 61u) << "every line in one file or another";
}

TEST_F(FileOutput, APathWithoutTheSuffixIsItsOwnBase) {
  Output(200);
  MoveTo(Log("plain.txt"));
  Store(Log("plain.txt"), std::string(200, 'x'));
  Output().LogW(2, 0, u"m");
  EXPECT_TRUE(fs::exists(Log("plain.txt.00000001.log")));
}

TEST_F(FileOutput, TheSizeOfAPathIsItsLowHalf) {
  fs::create_directories(sandbox_.logs());
  std::ofstream(Log()).put('\xFF');
  sbx::testing::ResizeSparse(Log(), (std::uint64_t{1} << 32) + 10);
  Output().LogW(2, 0, u"m");
  EXPECT_FALSE(fs::exists(Sibling(1))) << "looks ten bytes long";
  EXPECT_GT(fs::file_size(Log()), (std::uint64_t{1} << 32) + 10) << "and is appended to, not overwritten";
}

// --- Moving ------------------------------------------------------------------------------------------------

TEST_F(FileOutput, APathChangedLiveMovesTheNextMessage) {
  Output().LogW(2, 0, u"one");
  fs::create_directories(sandbox_.root() / "new");
  const fs::path moved = sandbox_.root() / "new" / "moved.Log";
  MoveTo(moved);
  Output().LogW(2, 0, u"two");
  EXPECT_EQ(MessagesOf(Log()), Lines{"one"});
  EXPECT_EQ(MessagesOf(moved), Lines{"two"});
}

TEST_F(FileOutput, AFolderIsNotMadeForAPathTakenOverWhileAFileWasOpen) {
  Output().LogW(2, 0, u"one");
  MoveTo(sandbox_.root() / "missing" / "moved.Log");
  Output().LogW(2, 0, u"lost");
  EXPECT_FALSE(fs::exists(sandbox_.root() / "missing"));
  Output().LogW(2, 0, u"two");
  EXPECT_EQ(MessagesOf(sandbox_.root() / "missing" / "moved.Log"), Lines{"two"}) << "now no file was open";
}

TEST_F(FileOutput, AMovedPathThatLeadsToAFullFileHasItsFolderPrepared) {
  Output(200).LogW(2, 0, u"one");
  MoveTo(sandbox_.root() / "other" / "moved.Log");
  Store(sandbox_.root() / "other" / "moved.Log", std::string(200, 'x'));
  Output().LogW(2, 0, u"two");
  EXPECT_EQ(MessagesOf(sandbox_.root() / "other" / "moved.00000001.log"), Lines{"two"});
}

TEST_F(FileOutput, TheGlobalPathIsFollowedUnlessTheProcessIgnoresIt) {
  const fs::path global = Log("global.Log");
  Output();
  CopyTruncated(Block().globalPath, 512, global.u16string());
  Output().LogW(2, 0, u"one");
  EXPECT_EQ(MessagesOf(global), Lines{"one"});
  output_.reset();
  ForgetGlobalOptions();
  sandbox_.WriteRegistry(
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Engine\\Debug]\n\"DisableGlobalOption\"=\"" +
      HostName() + "\"\n");
  Output().LogW(2, 0, u"two");
  EXPECT_EQ(MessagesOf(Log()), Lines{"two"});
}

TEST_F(FileOutput, NestedFoldersAreMade) {
  const fs::path deep = sandbox_.root() / "a" / "b" / "c" / "deep.Log";
  Output();
  MoveTo(deep);
  Output().LogW(2, 0, u"m");
  EXPECT_EQ(MessagesOf(deep), Lines{"m"});
}

// --- The mutex of a file -----------------------------------------------------------------------------------

WideString MutexNameOf(const fs::path& path) {
  WideString name = path.u16string().substr(0, 259);
  for (char16_t& unit : name) unit = unit == u'\\' ? u'/' : AsciiUpper(unit);
  return (u"Global\\" + name).substr(0, 259);
}

TEST_F(FileOutput, TheMutexIsNamedAfterThePathInUpperCase) {
  Output().LogW(2, 0, u"m");
  platform::NamedMutex mutex;
  EXPECT_EQ(mutex.Open(MutexNameOf(Log())), platform::ObjectStatus::kOk);
}

TEST_F(FileOutput, AVeryLongPathsMutexIsNamedByItsBeginning) {
  // No system takes less than 259 units, and the mutex's name has seven of its own.
  const std::size_t used = (sandbox_.root() / "d" / LogName()).native().size() - 1;
  ASSERT_LT(used, 200u);
  const fs::path deep = sandbox_.root() / std::string(258 - used, 'd') / LogName();
  Output();
  MoveTo(deep);
  Output().LogW(2, 0, u"m");
  EXPECT_EQ(MessagesOf(deep), Lines{"m"});
  platform::NamedMutex mutex;
  const WideString name = MutexNameOf(deep);
  EXPECT_EQ(name.size(), 259u);
  EXPECT_EQ(mutex.Open(name), platform::ObjectStatus::kOk);
}

TEST_F(FileOutput, AnAbandonedMutexLosesOneMessage) {
  if (KillableProcess::IsParent()) Output().LogW(2, 0, u"one");
  KillableProcess other([this] { return HoldMutex(MutexNameOf(Log())); });
  ASSERT_TRUE(other.Await());
  other.Kill();
  Output().LogW(2, 0, u"lost");
  Output().LogW(2, 0, u"two");
  EXPECT_EQ(MessagesOf(Log()), (Lines{"one", "two"}));
}

TEST_F(FileOutput, AHeldMutexIsWaitedForAndThenTheMessageIsLost) {
  if (KillableProcess::IsParent()) Output().LogW(2, 0, u"one");
  KillableProcess other([this] { return HoldMutex(MutexNameOf(Log())); });
  ASSERT_TRUE(other.Await());
  Output().LogW(2, 0, u"lost after five seconds");
  EXPECT_EQ(MessagesOf(Log()), Lines{"one"});
}

// --- Failures ----------------------------------------------------------------------------------------------

TEST_F(FileOutput, AFileThatCanNotBeMadeIsTriedAgainWithTheNextMessage) {
  fs::create_directories(Log());  // a folder in the file's place
  Output().LogW(2, 0, u"lost");
  fs::remove(Log());
  Output().LogW(2, 0, u"two");
  EXPECT_EQ(MessagesOf(Log()), Lines{"two"});
}

TEST_F(FileOutput, WithoutAConfigurationEveryMessageIsLost) {
  platform::NamedEvent inTheWay;
  const Message name(kLogConfigMutexName, platform::CurrentProcessId());
  ASSERT_EQ(inTheWay.Create(name.view(), platform::EventReset::kAuto), platform::ObjectStatus::kOk);
  Output().LogW(0, 0, u"lost");
  EXPECT_EQ(Output().GetLogLevel(), 2) << "as the constructor set it";
  EXPECT_FALSE(fs::exists(sandbox_.logs()));
}

TEST_F(FileOutput, ALostPathPutsTheDefaultBack) {
  if (KillableProcess::IsParent()) {
    Output().LogW(2, 0, u"one");
    MoveTo(Log("elsewhere.Log"));
    Output().LogW(2, 0, u"two");
  }
  // A tool that dies with the configuration's mutex makes one reading of the path fail.
  KillableProcess tool(
      [] { return HoldMutex(Message(kLogConfigMutexName, KillableProcess::ParentId()).view()); });
  ASSERT_TRUE(tool.Await());
  tool.Kill();
  Output().LogW(2, 0, u"lost");
  Output().LogW(2, 0, u"three");
  EXPECT_EQ(MessagesOf(Log("elsewhere.Log")), Lines{"two"});
  EXPECT_EQ(MessagesOf(Log()), (Lines{"one", "three"}));
}

// --- Torn tails --------------------------------------------------------------------------------------------

// A file that a writer left after each byte of its last line: the next process's line is never glued to it.
TEST_F(FileOutput, ATailTornAfterAnyByteIsMended) {
  for (const bool isWide : {true, false}) {
    const std::string whole = isWide ? "\xFF\xFE" + Utf16("first\r\nsecond\r\n") : "first\r\nsecond\r\n";
    const std::size_t firstEnd = isWide ? 2 + 14 : 7;
    for (std::size_t cut = firstEnd; cut <= whole.size(); ++cut) {
      Store(Log(), whole.substr(0, cut));
      {
        CLogConfig config;
        CFileOutput(config).LogW(2, 0, u"next");
      }
      const Lines lines = ReadLogLines(Log());
      const bool isTorn = cut > firstEnd;
      ASSERT_EQ(lines.size(), isTorn ? 3u : 2u) << cut;
      EXPECT_EQ(lines[0], "first");
      const std::size_t units = (cut - firstEnd + (isWide ? 1 : 0)) / (isWide ? 2 : 1);
      if (isTorn) {
        EXPECT_EQ(lines[1], std::string("second").substr(0, units)) << cut;
      }
      EXPECT_EQ(MessagesOf(Log()), Lines{"next"}) << cut;
    }
  }
}

TEST_F(FileOutput, OnlyAWholeLineEndCountsAsOne) {
  struct Case {
    std::string tail;      // of a wide file
    std::string expected;  // the same, mended
    const char* why;
  };
  const std::string end = Utf16("\r\n");
  const Case cases[] = {
      {Utf16("a\r\n"), Utf16("a\r\n"), "nothing to mend"},
      {Utf16("a\n"), Utf16("a\n") + end, "a line feed inside the message"},
      {Utf16("a\n\n"), Utf16("a\n\n") + end, "two of them"},
      {Utf16("a\r"), Utf16("a\r\n"), "half a line end"},
      {Utf16("a") + '\r', Utf16("a\r\n"), "and half of that"},
      {Utf16("a\r") + '\n', Utf16("a\r\n"), "all but a byte"},
      {Utf16("a") + '\n', Utf16("a\n") + end, "the low half of some other unit"},
      {std::string("\x0D\x01", 2), std::string("\x0D\x01", 2) + end, "a unit with the low half of a return"},
      {Utf16("\r") + std::string("\x0A\x01", 2), Utf16("\r") + std::string("\x0A\x01", 2) + end,
       "or of a feed"},
      {"a", Utf16("a") + end, "a half unit alone"},
  };
  for (const Case& c : cases) {
    Store(Log(), "\xFF\xFE" + c.tail);
    {
      CLogConfig config;
      CFileOutput(config).LogW(2, 0, u"next");
    }
    const std::string bytes = ReadBytes(Log());
    EXPECT_TRUE(bytes.starts_with("\xFF\xFE" + c.expected + Utf16("["))) << c.why;
  }
}

// A narrow file that is torn within its first two bytes still counts as new.
TEST_F(FileOutput, TheBeginningOfANarrowFileIsMendedToo) {
  for (const char* torn : {"[", "[ ", "\r"}) {
    Store(Log("narrow.Log"), "old\r\n");
    Store(Log("new.Log"), torn);
    CLogConfig config;
    CFileOutput output(config);
    MoveTo(Log("narrow.Log"));
    output.LogW(2, 0, u"one");
    MoveTo(Log("new.Log"));
    output.LogW(2, 0, u"two");
    const Lines lines = ReadLogLines(Log("new.Log"));
    ASSERT_EQ(lines.size(), 1 + kSummaryLines + 1) << torn;
    EXPECT_EQ(lines[0], torn == std::string("\r") ? "" : torn);
    EXPECT_EQ(lines[1], kSummaryFirst);
    tool_.Close();
  }
}

TEST_F(FileOutput, ATailIsMendedAfterAnAbandonedWait) {
  if (KillableProcess::IsParent()) Output().LogW(2, 0, u"one");
  KillableProcess other([this] {
    platform::NamedMutex mutex;
    mutex.Open(MutexNameOf(Log()));
    mutex.Wait(0);
    std::ofstream(Log(), std::ios::app | std::ios::binary) << Utf16("torn") << 'x';
    KillableProcess::Say();
    return KillableProcess::Sleep();
  });
  ASSERT_TRUE(other.Await());
  other.Kill();
  Output().LogW(2, 0, u"lost");
  EXPECT_EQ(ReadLogLines(Log()).back(), "tornx");
  EXPECT_TRUE(ReadLogText(Log()).ends_with("tornx\r\n")) << "mended at once, though the message is lost";
  Output().LogW(2, 0, u"two");
  EXPECT_EQ(MessagesOf(Log()), (Lines{"one", "two"}));
}

TEST_F(FileOutput, NoOtherWriteLooksAtTheTail) {
  Output().LogW(2, 0, u"one");
  std::ofstream(Log(), std::ios::app | std::ios::binary) << Utf16("torn");
  Output().LogW(2, 0, u"two");
  EXPECT_TRUE(ReadLogLines(Log()).back().starts_with("torn["));
}

TEST_F(FileOutput, ATailIsNotLookedAtWhenTheSameProcessOpensTheFileAgain) {
  Output().LogW(2, 0, u"one");
  MoveTo(Log("other.Log"));
  Output().LogW(2, 0, u"elsewhere");
  std::ofstream(Log(), std::ios::app | std::ios::binary) << Utf16("torn");
  MoveTo(Log());
  Output().LogW(2, 0, u"two");
  EXPECT_TRUE(ReadLogLines(Log()).back().starts_with("torn["));
}

// --- Threads -----------------------------------------------------------------------------------------------

TEST_F(FileOutput, LinesOfManyThreadsStayWhole) {
  Output();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < 100; ++i) output_->LogW(2, 0, Message(u"%d-%d", t, i).c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  Lines messages = MessagesOf(Log());
  std::sort(messages.begin(), messages.end());
  EXPECT_EQ(messages.size(), 400u);
  EXPECT_EQ(std::unique(messages.begin(), messages.end()), messages.end());
}

}  // namespace
}  // namespace sbx::NSDBG
