// sbxlog cat: a log and its siblings as UTF-8, and what filters leave of them.
#include <algorithm>

#include "platform/narrow_text.h"
#include "sbxlog/tool_run.h"

namespace sbx::testing {
namespace {

// As the library writes it: a mark and UTF-16LE.
std::string Wide(const std::string& text) {
  std::string bytes = "\xFF\xFE";
  const WideString units = platform::Widen(text, platform::NarrowPage::kUtf8).value();
  for (const char16_t unit : units) {
    bytes.push_back(static_cast<char>(unit & 0xFF));
    bytes.push_back(static_cast<char>(unit >> 8));
  }
  return bytes;
}

constexpr char kFirst[] =
    "[   Date        Time      Level  PID     TID   ErrCode    ] .......\r\n"
    "[2026/11/13 02:24:23:123   02   00100   00101             ] ==== SUMMARY LOG ====\r\n"
    "[2026/11/13 02:24:23:124   00   00100   00101   0X80070005] caf\xC3\xA9 is shut   "
    "{host::libsbxml.so(0.1)}\r\n"
    "[2026/11/13 02:24:24:000   03   00100   00102             ] two\r\nlines   {host::libsbxml.so(0.1)}\r\n";
constexpr char kSecond[] =
    "[2026/11/14 00:00:00:000   04   00200   00201             ] later   {b::m(1.2)}\r\n";

class SbxlogCat : public ::testing::Test {
 protected:
  SbxlogCat() {
    folder_.Write("a.Log", Wide(kFirst));
    folder_.Write("a.00000002.log", Wide(kSecond));
  }
  std::string Path(const std::string& name) const { return (folder_.path() / name).string(); }
  Said Cat(std::vector<std::string> arguments, const std::string& name = "a.Log") const {
    arguments.insert(arguments.begin(), {"cat", Path(name)});
    return RunSbxlog(arguments);
  }
  static std::string Lines(std::string text) {
    std::erase(text, '\r');
    return text;
  }

  ScratchFolder folder_;
};

TEST_F(SbxlogCat, PrintsALogAndItsSiblingsInOrder) {
  folder_.Write("a.00000010.log",
                Wide("[2026/11/15 00:00:00:000   01   00001   00001             ] last\r\n"));
  EXPECT_EQ(Cat({}), (Said{"exit 0",
                           Lines(kFirst) + Lines(kSecond) +
                               "[2026/11/15 00:00:00:000   01   00001   00001             ] last\n",
                           ""}));
}

TEST_F(SbxlogCat, FindsTheWholeLogFromASiblingToo) {
  EXPECT_EQ(Cat({}, "a.00000002.log"), (Said{"exit 0", Lines(kFirst) + Lines(kSecond), ""}));
  EXPECT_EQ(Cat({"--alone"}, "a.00000002.log"), (Said{"exit 0", Lines(kSecond), ""}));
  EXPECT_EQ(Cat({"--alone"}), (Said{"exit 0", Lines(kFirst), ""}));
}

TEST_F(SbxlogCat, LeavesFilesAloneThatOnlyLookLikeSiblings) {
  for (const char* const name : {"a.3.log", "a.00000000.log", "a.12ab5678.log", "aa.00000001.log",
                                 "a.00000004.Log", "b.Log", "a.00000005.txt"}) {
    folder_.Write(name, Wide(kSecond));
  }
  EXPECT_EQ(Cat({}), (Said{"exit 0", Lines(kFirst) + Lines(kSecond), ""}));
}

TEST_F(SbxlogCat, TakesALogOfAnotherSuffix) {
  folder_.Write("b.txt", Wide(kFirst));
  folder_.Write("b.txt.00000001.log", Wide(kSecond));
  EXPECT_EQ(Cat({}, "b.txt"), (Said{"exit 0", Lines(kFirst) + Lines(kSecond), ""}));
  EXPECT_EQ(Cat({}, "b.txt.00000001.log"), (Said{"exit 0", Lines(kFirst) + Lines(kSecond), ""}));
}

TEST_F(SbxlogCat, ReadsANarrowLog) {
  folder_.Write("n.Log", kSecond);
  EXPECT_EQ(Cat({}, "n.Log"), (Said{"exit 0", Lines(kSecond), ""}));
}

struct Filter {
  const char* why;
  std::vector<std::string> arguments;
  const char* messages;  // the shown lines' messages in a row, without heads and tails
};

// What the filters leave: each line's message, or the whole of a line that has no head.
std::string MessagesOf(const std::string& output) {
  static const std::regex kHead(R"(\[\d.*?\] )");
  static const std::regex kTail(R"(   \{.*\})");
  std::string text = std::regex_replace(std::regex_replace(output, kHead, ""), kTail, "");
  std::replace(text.begin(), text.end(), '\n', '|');
  return text;
}

TEST_F(SbxlogCat, FiltersByLevelTimeProcessAndText) {
  const Filter filters[] = {
      {"level 0 alone", {"--level", "0"}, "caf\xC3\xA9 is shut|"},
      {"a level and below", {"--level", "2"}, "==== SUMMARY LOG ====|caf\xC3\xA9 is shut|"},
      {"what belongs to a line goes with it", {"--text", "two"}, "two|lines|"},
      {"from a moment on", {"--from", "2026-11-13T02:24:24.000"}, "two|lines|later|"},
      {"from a day on", {"--from", "2026/11/14"}, "later|"},
      {"a second is as long as it is",
       {"--to", "2026-11-13 02:24:23"},
       "==== SUMMARY LOG ====|caf\xC3\xA9 is shut|"},
      {"between two times",
       {"--from", "2026-11-13T02:24:23.124", "--to", "2026-11-13T02:24"},
       "caf\xC3\xA9 is shut|two|lines|"},
      {"a process", {"--pid", "200"}, "later|"},
      {"either process", {"--pid", "200", "--pid", "100", "--level", "0"}, "caf\xC3\xA9 is shut|"},
      {"a text, by its case", {"--text", "CAF"}, ""},
      {"either text", {"--text", "later", "--text", "\xC3\xA9 is"}, "caf\xC3\xA9 is shut|later|"},
      {"all at once", {"--level", "3", "--from", "2026-11-13T02:24:24", "--pid", "100"}, "two|lines|"},
  };
  for (const Filter& filter : filters) {
    const Said said = Cat(filter.arguments);
    EXPECT_EQ(MessagesOf(said.output), filter.messages) << filter.why;
    EXPECT_EQ(said.ended, "exit 0") << filter.why;
    EXPECT_EQ(said.errors, "") << filter.why;
  }
}

TEST_F(SbxlogCat, RefusesWhatIsNoTime) {
  for (const char* const time :
       {"2026", "2026-11-1x", "yesterday", "2026-11-13T", "2026-11-13T02:24:23.1234"}) {
    const Said said = Cat({"--from", time});
    EXPECT_EQ(said, (Said{"exit 2", "",
                          std::string("sbxlog: error: not a time: ") + time +
                              " (as in 2026-11-13, 2026-11-13T02:24:23.123) [usage]\n"}));
  }
}

TEST_F(SbxlogCat, WritesJson) {
  const std::string a = RegistryText(Path("a.Log"));  // JSON doubles backslashes too
  EXPECT_EQ(
      Cat({"--json", "--alone"}),
      (Said{
          "exit 0",
          "{\"kind\":\"text\",\"file\":\"" + a +
              "\",\"text\":\"[   Date        Time      Level  PID     TID   ErrCode    ] .......\"}\n"
              "{\"kind\":\"line\",\"file\":\"" +
              a +
              "\",\"time\":\"2026-11-13T02:24:23.123\",\"level\":2,\"pid\":100,\"tid\":101,\"error_code\":0,"
              "\"message\":\"==== SUMMARY LOG ====\"}\n"
              "{\"kind\":\"line\",\"file\":\"" +
              a +
              "\",\"time\":\"2026-11-13T02:24:23.124\",\"level\":0,\"pid\":100,\"tid\":101,"
              "\"error_code\":2147942405,\"message\":\"caf\xC3\xA9 is shut\",\"process\":\"host\","
              "\"module\":\"libsbxml.so\",\"version\":\"0.1\"}\n"
              "{\"kind\":\"line\",\"file\":\"" +
              a +
              "\",\"time\":\"2026-11-13T02:24:24.000\",\"level\":3,\"pid\":100,\"tid\":102,\"error_code\":0,"
              "\"message\":\"two\"}\n"
              "{\"kind\":\"text\",\"file\":\"" +
              a + "\",\"text\":\"lines   {host::libsbxml.so(0.1)}\"}\n",
          ""}));
}

TEST_F(SbxlogCat, ColoursByLevelWhenAsked) {
  EXPECT_EQ(
      Cat({"--color", "always", "--level", "0"}),
      (Said{"exit 0",
            "\033[1;31m[2026/11/13 02:24:23:124   00   00100   00101   0X80070005] \033[0mcaf\xC3\xA9 is shut"
            "\033[2m   {host::libsbxml.so(0.1)}\033[0m\n",
            ""}));
}

TEST_F(SbxlogCat, SaysWhatCannotBeRead) {
  EXPECT_EQ(Cat({}, "none.Log"),
            (Said{"exit 3", "", Path("none.Log") + ": error: there is no such file [file-unreadable]\n"}));
  std::filesystem::create_directory(Path("folder.Log"));
  EXPECT_EQ(Cat({}, "folder.Log"),
            (Said{"exit 3", "", Path("folder.Log") + ": error: it is no plain file [file-unreadable]\n"}));
}

TEST_F(SbxlogCat, SurvivesGarbage) {
  std::string noise;
  for (int i = 0; i < 70'000; ++i) noise.push_back(static_cast<char>((i * 7919) >> 3));
  const struct {
    const char* why;
    std::string bytes;
  } cases[] = {{"empty", ""},
               {"half a mark", "\xFF"},
               {"the mark alone", "\xFF\xFE"},
               {"half a unit behind the mark", "\xFF\xFEx"},
               {"noise", noise},
               {"wide noise", "\xFF\xFE" + noise},
               {"zeros", std::string(100'000, '\0')},
               {"a line that never ends", std::string(3'000'000, 'x')},
               {"a wide line that never ends", "\xFF\xFE" + std::string(5'000'001, 'x')},
               {"a head that breaks off", "[2026/11/13 02:24:23:124   00   00100"},
               {"numbers that are too long",
                "[2026/11/13 02:24:23:124   99999999999999999999   1   1             ] x"},
               {"a tail without a message", "[2026/11/13 02:24:23:124   0   1   1             ] {::(}"},
               {"surrogates alone", Wide("x").substr(0, 2) + std::string("\x00\xD8\x00\xDC\x00\xD8", 6)}};
  for (const auto& c : cases) {
    folder_.Write("g.Log", c.bytes);
    for (const char* const form : {"--color=always", "--json"}) {
      const Said said = Cat({form}, "g.Log");
      EXPECT_TRUE(said.ended == "exit 0" || said.ended == "exit 1") << c.why << ": " << said.ended;
    }
  }
  EXPECT_EQ(Cat({}, "g.Log"), (Said{"exit 1", "\xF0\x90\x80\x80\xEF\xBF\xBD\n",
                                    Path("g.Log") + ": warning: holds no line of a log [no-log-line]\n"}));
}

TEST_F(SbxlogCat, LosesNothingOfALongLine) {
  folder_.Write("l.Log", std::string(3'000'000, 'x') + "\n");
  std::string output = Cat({}, "l.Log").output;
  EXPECT_EQ(std::count(output.begin(), output.end(), 'x'), 3'000'000);
  EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 3);
}

}  // namespace
}  // namespace sbx::testing
