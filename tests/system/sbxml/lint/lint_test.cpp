// What `sbxml lint` says of planted faults, to the character, and that it says nothing of their clean twins.
//
// Each file of cases/ is one case: a line that says what it shows, then sections. A clean section is the twin
// of the section of that name; the other document stays. Without a clean section there is no twin.
#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <set>

#include "sbxml/diagnostics.h"
#include "sbxml/tool_runner.h"

namespace sbx::testing {
namespace {

namespace fs = std::filesystem;

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

struct Case {
  std::string why;
  std::map<std::string, std::string> sections;

  bool Has(const std::string& name) const { return sections.count(name) != 0; }
  const std::string& At(const std::string& name) const { return sections.at(name); }
};

Case ReadCase(const fs::path& path) {
  std::ifstream in(path);
  Case result;
  std::string* section = &result.why;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("=== ")) {
      section = &result.sections[line.substr(4)];
    } else {
      *section += line + "\n";
    }
  }
  return result;
}

std::vector<fs::path> CaseFiles() {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(SBXML_LINT_CASES)) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// The documents and options of a case, run; what was said, with the way it ended behind.
std::string RunCase(const Case& planted, const std::string& which, std::vector<std::string> more = {}) {
  const ToolFolder folder;
  std::vector<std::string> arguments = {"lint", "--no-project", "-d", "descriptions.xml"};
  const auto write = [&](const std::string& name) {
    const std::string section = planted.Has(which + name) ? which + name : name;
    if (planted.Has(section)) folder.Write(name + ".xml", planted.At(section));
    return planted.Has(section);
  };
  write("descriptions");
  if (write("rules")) arguments.insert(arguments.end(), {"-r", "rules.xml"});
  if (planted.Has("options")) {
    std::istringstream options(planted.At("options"));
    for (std::string option; options >> option;) arguments.push_back(option);
  }
  arguments.insert(arguments.end(), more.begin(), more.end());
  const Said said = folder.Run(arguments);
  return said.errors + said.output + said.ended + "\n";
}

TEST(PlantedFaults, AreToldToTheCharacter) {
  for (const fs::path& file : CaseFiles()) {
    const Case planted = ReadCase(file);
    EXPECT_EQ(RunCase(planted, ""), planted.At("expected")) << file << ": " << planted.why;
  }
}

TEST(PlantedFaults, AreNotToldOfTheirCleanTwins) {
  std::size_t twins = 0;
  for (const fs::path& file : CaseFiles()) {
    const Case planted = ReadCase(file);
    if (!planted.Has("clean descriptions") && !planted.Has("clean rules")) continue;
    EXPECT_EQ(RunCase(planted, "clean "), "exit 0\n") << file << ": " << planted.why;
    ++twins;
  }
  EXPECT_GE(twins, 40u);
}

// --- the ids -----------------------------------------------------------------------------------------------

std::map<std::string, std::string> IdsOfLint() {
  std::map<std::string, std::string> ids;
  for (int id = static_cast<int>(tool::Id::kAnalysisEnded) + 1;
       id <= static_cast<int>(tool::Id::kRootRelocation); ++id) {
    const tool::IdInfo& info = tool::InfoOf(static_cast<tool::Id>(id));
    ids[std::string(info.text)] = info.severity == tool::Severity::kError     ? "error"
                                  : info.severity == tool::Severity::kWarning ? "warning"
                                                                              : "note";
  }
  return ids;
}

// Ids with their severities, from the tables of the document.
std::map<std::string, std::string> IdsOfDocument() {
  std::map<std::string, std::string> ids;
  std::istringstream document(ReadFile(fs::path(SBXML_SOURCES) / "docs/lint.md"));
  for (std::string line; std::getline(document, line);) {
    if (!line.starts_with("| `") || line.starts_with("| `-")) continue;
    const std::size_t end = line.find("` | ");
    if (end == std::string::npos) continue;
    const std::string rest = line.substr(end + 4);
    EXPECT_TRUE(ids.emplace(line.substr(3, end - 3), rest.substr(0, rest.find(' '))).second) << line;
  }
  return ids;
}

TEST(LintIds, AreAllDocumentedWithTheirSeverity) {
  EXPECT_EQ(IdsOfDocument(), IdsOfLint());
}

TEST(LintIds, HaveACaseEach) {
  std::set<std::string> shown;
  for (const fs::path& file : CaseFiles()) {
    std::istringstream expected(ReadCase(file).At("expected"));
    for (std::string line; std::getline(expected, line);) {
      const std::size_t open = line.rfind('[');
      if (open != std::string::npos) shown.insert(line.substr(open + 1, line.size() - open - 2));
    }
  }
  for (const auto& [id, severity] : IdsOfLint()) EXPECT_TRUE(shown.count(id) != 0) << id;
}

TEST(LintCases, AreAtLeastForty) {
  EXPECT_GE(CaseFiles().size(), 40u);
}

// --- the command -------------------------------------------------------------------------------------------

Said LintPrintShop(std::vector<std::string> more) {
  const ToolFolder folder;
  const fs::path example = fs::path(SBXML_SOURCES) / "examples/print_shop";
  fs::copy_file(example / "descriptions.xml", folder.path() / "shop.xml");
  fs::copy_file(example / "rules.xml", folder.path() / "shop_rules.xml");
  std::vector<std::string> arguments = {"lint", "-d", "shop.xml", "-r", "shop_rules.xml"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return folder.Run(arguments);
}

// The line of an item's element in the example's descriptions.
std::string ShopLine(const std::string& file, const std::string& text) {
  std::ifstream in(fs::path(SBXML_SOURCES) / "examples/print_shop" / file);
  int number = 1;
  for (std::string line; std::getline(in, line); ++number) {
    if (line.find(text) != std::string::npos) return std::to_string(number);
  }
  return "no line";
}

std::string ShopItem(const std::string& record, const std::string& item, const std::string& text) {
  return "shop.xml:" + ShopLine("descriptions.xml", "name=\"" + item + "\"") + ":5: note: " + record + "/" +
         item + ": " + text + "\n";
}

// Only what the example itself says of its items that go one way.
std::string ShopNotes() {
  const std::string narrow = "narrow text: 64 characters or more fail the way to XML (-9)";
  const std::string outOnly =
      "goes to XML and never comes back: the way back passes an item of this type over";
  return ShopItem("JobScript", "context",
                  "shown as null or unknown; only null comes back, anything else fails (offset 320, void*) "
                  "[out-only]") +
         ShopItem("Legacy", "hostName", outOnly + " (offset 8, char dptr) [out-only]") +
         ShopItem("Legacy", "hostName", narrow + " (offset 8, char dptr) [narrow-text]") +
         ShopItem("Legacy", "total", outOnly + " (offset 16, int**) [out-only]") +
         ShopItem("Legacy", "serial",
                  "[fmt:hex] shows 0x7FFFFFFF for every number above it, and that comes back; a signed type "
                  "shows all "
                  "32 bits (offset 24, uint) [restrict-saturates]") +
         ShopItem(
             "Legacy", "finisher",
             "the way back relocates a single \"Finisher\" once: relocated to \"Stapler\", the rules of that "
             "record don't run (offset 56, Finisher*) [relocated-once]") +
         "shop_rules.xml:" + ShopLine("rules.xml", "name=\"operatorName\"") +
         ":5: note: Legacy/operatorName: as \"char*\": " + narrow + " (offset 0, wchar_t*) [narrow-text]\n";
}

TEST(LintCommand, TellsOnlyWhatTheExampleSaysOfItsOneWayItems) {
  EXPECT_EQ(LintPrintShop({"--root", "JobScript"}), (Said{"exit 1", "", ShopNotes()}));
  EXPECT_EQ(LintPrintShop({}), (Said{"exit 1", "", ShopNotes()}));
}

TEST(LintCommand, TellsNothingLessThanTheLevel) {
  EXPECT_EQ(LintPrintShop({"--level", "warning"}), (Said{"exit 0", "", ""}));
  const Case mixed = ReadCase(fs::path(SBXML_LINT_CASES) / "record_size.txt");
  EXPECT_EQ(
      RunCase(mixed, "", {"--level", "error"}),
      "descriptions.xml:2:3: error: Job: a size of 0: the document does not load [record-size]\nexit 5\n");
}

TEST(LintCommand, WritesJsonToStandardOutput) {
  const Case planted = ReadCase(fs::path(SBXML_LINT_CASES) / "path_size.txt");
  EXPECT_EQ(
      RunCase(planted, "", {"--json"}),
      R"({"kind":"diagnostic","file":"rules.xml","line":3,"column":5,"severity":"warning","id":"path-size",)"
      R"("message":"the path \"head.small\" leads to \"small\" of 1 byte, and only 2 or 4 can be read: on the )"
      R"(way to XML the rule never runs","path":"Job/pages","record":"Job","item":"pages","type":"Page*",)"
      R"("offset":24})"
      "\nexit 1\n");
  const Case notes = ReadCase(fs::path(SBXML_LINT_CASES) / "path_first_entry.txt");
  EXPECT_THAT(RunCase(notes, "", {"--json"}),
              ::testing::HasSubstr(R"("severity":"note","id":"path-first-entry")"));
}

TEST(LintCommand, CountsWhatItDoesNotShow) {
  const Case planted = ReadCase(fs::path(SBXML_LINT_CASES) / "restrict_never.txt");
  const std::string said = RunCase(planted, "", {"--max-errors", "1"});
  EXPECT_THAT(said, ::testing::EndsWith("sbxml: 4 diagnostics more not shown (--max-errors)\nexit 1\n"));
}

TEST(LintCommand, TakesItsDocumentsFromTheProjectFile) {
  const ToolFolder folder;
  folder.Write("sbxml.json", R"({"descriptions": "d.xml", "root": "Nobody"})");
  folder.Write("d.xml", "<StructureDescription/>");
  EXPECT_EQ(folder.Run({"lint"}),
            (Said{"exit 1", "",
                  (folder.path() / "d.xml").string() +
                      ":1:1: error: there is no root record \"Nobody\" [unknown-root]\n"}));
}

TEST(LintCommand, NeedsDescriptionsThatCanBeRead) {
  const ToolFolder folder;
  EXPECT_EQ(
      folder.Run({"lint", "--no-project"}),
      (Said{"exit 2", "",
            "sbxml: error: no structure descriptions: give --descriptions or a project file [usage]\n"}));
  EXPECT_EQ(folder.Run({"lint", "--no-project", "-d", "descriptions.xml", "-r", "none.xml"}),
            (Said{"exit 3", "", "none.xml: error: there is no such file [file-unreadable]\n"}));
}

TEST(LintCommand, TellsOfBothDocumentsThatAreNoXml) {
  const ToolFolder folder;
  folder.Write("descriptions.xml", "<a>");
  folder.Write("rules.xml", "<b>\n");
  EXPECT_EQ(folder.Run({"lint", "-d", "descriptions.xml", "-r", "rules.xml"}),
            (Said{"exit 5", "",
                  "descriptions.xml:1:4: error: no element found [bad-descriptions]\n"
                  "rules.xml:2:1: error: no element found [bad-rules]\n"}));
}

// Places are those of the file, whatever its encoding, its mark and its declaration.
TEST(LintCommand, NamesPlacesInAnyEncoding) {
  const ToolFolder folder;
  const std::string text = "<?xml version=\"1.0\"?>\n<!-- \xC3\x9F -->  <Structures/>";
  folder.Write("descriptions.xml", "\xEF\xBB\xBF" + text);
  const Said said = folder.Run({"lint", "--no-project", "-d", "descriptions.xml"});
  EXPECT_THAT(said.errors, ::testing::StartsWith("descriptions.xml:2:13: error: "));
  std::string wide = "\xFF\xFE";
  for (const char16_t unit : std::u16string(u"<?xml version=\"1.0\"?>\n<!-- \u00DF -->  <Structures/>")) {
    wide += static_cast<char>(unit & 0xFF);
    wide += static_cast<char>(unit >> 8);
  }
  folder.Write("descriptions.xml", wide);
  EXPECT_EQ(folder.Run({"lint", "--no-project", "-d", "descriptions.xml"}), said);
}

TEST(LintCommand, TellsWhatReadingTheFileLost) {
  const ToolFolder folder;
  folder.Write("descriptions.xml",
               "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><StructureDescription><!-- \xC3\x9F -->"
               "</StructureDescription>");
  EXPECT_EQ(
      folder.Run({"lint", "--no-project", "-d", "descriptions.xml"}),
      (Said{"exit 1", "",
            std::string(
                "descriptions.xml:1:1: warning: the declared encoding ISO-8859-1 is ignored: the file is "
                "read ") +
                (IsNarrowPageUtf8() ? "as UTF-8" : "in the system's code page") + " [declared-encoding]\n"}));
}

}  // namespace
}  // namespace sbx::testing
