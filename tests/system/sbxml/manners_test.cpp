// How the command behaves towards people and scripts: options, exit codes, colours, many files, streams.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sbxml/diagnostics_fixture.h"
#include "sbxml/tool_runner.h"

namespace sbx::testing {
namespace {

using ::testing::HasSubstr;

// --- the command line --------------------------------------------------------------------------------------

TEST(SbxmlCommandLine, HelpAndVersionGoToStandardOutput) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"--version"}), (Said{"exit 0", "sbxml " SBXML_VERSION "\n", ""}));
  const Said help = folder.Run({"--help"});
  EXPECT_EQ(help.ended, "exit 0");
  EXPECT_EQ(help.errors, "");
  for (const char* const word : {"check", "inspect", "convert", "describe", "Exit codes: 0 fine"}) {
    EXPECT_THAT(help.output, HasSubstr(word));
  }
}

TEST(SbxmlCommandLine, EachCommandHasHelpThatHidesWhatIsNotForPeople) {
  const ToolFolder folder;
  const std::pair<const char*, std::vector<const char*>> kOptions[] = {
      {"check",
       {"--descriptions", "--rules", "--root", "--project", "--no-project", "--json", "--color",
        "--max-errors"}},
      {"inspect", {"--descriptions", "--rules", "--root", "--json", "--blocks", "--hex", "--color"}},
      {"convert", {"--output", "--encoding", "--pretty", "--color", "--max-errors"}},
      {"describe", {"--descriptions", "--rules", "--json", "--color"}}};
  for (const auto& [command, options] : kOptions) {
    SCOPED_TRACE(command);
    const Said help = folder.Run({command, "--help"});
    EXPECT_EQ(help.ended, "exit 0");
    EXPECT_EQ(help.errors, "");
    for (const char* const option : options) EXPECT_THAT(help.output, HasSubstr(option));
    EXPECT_THAT(help.output, ::testing::Not(HasSubstr("--channel")));
  }
}

TEST(SbxmlCommandLine, AWrongOneEndsWithTwo) {
  const ToolFolder folder;
  const struct {
    std::vector<std::string> arguments;
    const char* errors;
  } kWrong[] = {
      {{}, "sbxml: error: A subcommand is required (see --help) [usage]\n"},
      {{"frob"}, "sbxml: error: there is no command frob (see --help) [usage]\n"},
      {{"check"}, "sbxml: error: files is required (see --help) [usage]\n"},
      {{"check", "--frob", "good.xml"},
       "sbxml: error: The following argument was not expected: --frob (see --help) [usage]\n"},
      {{"check", "good.xml", "--color=blue"},
       "sbxml: error: Could not convert: --color = blue (see --help) [usage]\n"},
      {{"check", "good.xml", "--max-errors=-1"},
       "sbxml: error: Could not convert: --max-errors = -1 (see --help) [usage]\n"},
      {{"check", "good.xml"},
       "sbxml: error: no structure descriptions: give --descriptions or a project file [usage]\n"},
      {{"check", "-d", "descriptions.xml", "good.xml"},
       "sbxml: error: no root record: give --root or a project file [usage]\n"},
      {{"convert", "good.xml"}, "sbxml: error: --output is required (see --help) [usage]\n"},
      {{"convert", "good.xml", "-o", "x", "-e", "latin1"},
       "sbxml: error: Could not convert: --encoding = latin1 (see --help) [usage]\n"},
      {{"inspect", "-d", "descriptions.xml", "--root", "Job", "good.xml", "good.xml"},
       "sbxml: error: The following argument was not expected: good.xml (see --help) [usage]\n"},
      {{"describe", "-d", "descriptions.xml", "Nope"},
       "descriptions.xml: error: there is no record \"Nope\" [usage]\n"},
  };
  for (const auto& wrong : kWrong) {
    SCOPED_TRACE(wrong.errors);
    EXPECT_EQ(folder.Run(wrong.arguments), (Said{"exit 2", "", wrong.errors}));
  }
}

TEST(SbxmlCommandLine, TwoDashesEndTheOptions) {
  const ToolFolder folder;
  folder.Write("--odd.xml", folder.Read("good.xml"));
  EXPECT_EQ(folder.RunWithSet({"check", "--", "--odd.xml"}), (Said{"exit 0", "", ""}));
}

TEST(SbxmlCommandLine, AStrokeBeginsAPathAndNoOption) {
  const ToolFolder folder;
  EXPECT_EQ(folder.RunWithSet({"check", "/no-such-folder/x.xml"}),
            (Said{"exit 3", "", "/no-such-folder/x.xml: error: there is no such file [file-unreadable]\n"}));
}

TEST(SbxmlCommandLine, FilesMayHaveNamesOfAnyScript) {
  const ToolFolder folder;
  std::filesystem::rename(folder.path() / "good.xml", folder.path() / u8"gr\u00F6\u00DFe.xml");
  EXPECT_EQ(folder.RunWithSet({"check", "gr\xC3\xB6\xC3\x9F\x65.xml"}), (Said{"exit 0", "", ""}));
}

// --- descriptions and rules --------------------------------------------------------------------------------

TEST(SbxmlSet, ABadDocumentEndsWithFive) {
  const ToolFolder folder;
  const struct {
    const char* why;
    const char* file;
    const char* text;
    const char* errors;
  } kBad[] = {
      {"not well formed", "descriptions.xml", "<StructureDescription>",
       "descriptions.xml:1:23: error: no element found [bad-descriptions]\n"},
      {"another root", "descriptions.xml", "<Structures/>",
       "descriptions.xml:1:1: error: Invalid XML info for getting root element from PDB XML(Root name: "
       "Structures) [bad-descriptions]\n"},
      {"a count that is not that of the items", "descriptions.xml",
       "<StructureDescription><JSStruct name=\"Job\" size=\"4\" numOfItems=\"2\"/></StructureDescription>",
       "descriptions.xml:1:1: error: Invalid XML info for struct(Name: Job, Size: 4, numOfItems: 2, "
       "realNumOfItems: 0) [bad-descriptions]\n"},
      {"rules under another root", "rules.xml", "<?xml version=\"1.0\"?>\n<Rules/>",
       "rules.xml:2:1: error: Invalid XML info for getting root element from rule XML(Root name: Rules, Root "
       "name specified: ConvertRuleDesc) [bad-rules]\n"},
      {"a rule without a name", "rules.xml",
       "<ConvertRuleDesc><Rules name=\"Job\"><RuleItem type=\"AlterType\"/></Rules></ConvertRuleDesc>",
       "rules.xml:1:1: error: Invalid XML info for rule struct item(Name: , Type: AlterType) "
       "[bad-rules]\n"},
  };
  for (const auto& bad : kBad) {
    SCOPED_TRACE(bad.why);
    const ToolFolder own;
    own.Write(bad.file, bad.text);
    EXPECT_EQ(own.RunWithSet({"check", "good.xml"}), (Said{"exit 5", "", bad.errors}));
    EXPECT_EQ(own.RunWithSet({"inspect", "good.xml"}), (Said{"exit 5", "", bad.errors}));
    EXPECT_EQ(own.Run({"describe", "-d", "descriptions.xml", "-r", "rules.xml"}),
              (Said{"exit 5", "", bad.errors}));
  }
}

TEST(SbxmlSet, AMissingDocumentEndsWithThree) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"check", "-d", "gone.xml", "--root", "Job", "good.xml"}),
            (Said{"exit 3", "", "gone.xml: error: there is no such file [file-unreadable]\n"}));
}

TEST(SbxmlSet, WhatReadingItLosesIsToldOnce) {
  const ToolFolder folder;
  folder.Write("rules.xml", Utf8File(folder.Read("rules.xml") + "<!-- gr\xFC\xDF -->"));
  const Said said = {"exit 1", "",
                     "rules.xml:1:1: warning: 2 places that are no UTF-8 are read as U+FFFD "
                     "[broken-encoding]\n"};
  EXPECT_EQ(folder.RunWithSet({"check", "good.xml", "good.xml"}), said);
  EXPECT_EQ(folder.Run({"describe", "-d", "descriptions.xml", "-r", "rules.xml"}).errors, said.errors);
}

TEST(SbxmlSet, WithoutRulesThereAreNone) {
  const ToolFolder folder;
  const Said said = folder.Run({"check", "-d", "descriptions.xml", "--root", "Job", "good.xml"});
  EXPECT_EQ(said.ended, "exit 1");
  EXPECT_THAT(said.errors, HasSubstr("good.xml:9:1: warning: Job/pages/number: no element for this item"));
}

// --- the project file --------------------------------------------------------------------------------------

class SbxmlProject : public ::testing::Test {
 protected:
  SbxmlProject() {
    std::filesystem::create_directories(folder_.path() / "jobs" / "may");
    folder_.Write("jobs/may/job.xml", folder_.Read("good.xml"));
    folder_.WorkIn("jobs/may");
  }
  void Write(const char* text) { folder_.Write("sbxml.json", text); }

  ToolFolder folder_;
};

constexpr const char* kProject =
    R"({"descriptions": "descriptions.xml", "rules": "rules.xml", "root": "Job"})";

TEST_F(SbxmlProject, IsFoundUpwardsAndItsPathsAreItsOwn) {
  Write(kProject);
  EXPECT_EQ(folder_.Run({"check", "job.xml"}), (Said{"exit 0", "", ""}));
  EXPECT_EQ(folder_.Run({"describe", "Size"}).ended, "exit 0");
}

TEST_F(SbxmlProject, TheNearestOneCounts) {
  Write("not JSON");
  folder_.Write("jobs/sbxml.json",
                R"({"descriptions": "../descriptions.xml", "rules": "../rules.xml", "root": "Job"})");
  EXPECT_EQ(folder_.Run({"check", "job.xml"}), (Said{"exit 0", "", ""}));
}

TEST_F(SbxmlProject, TheCommandLineStandsAboveIt) {
  Write(R"({"descriptions": "gone.xml", "rules": "gone.xml", "root": "Gone"})");
  EXPECT_EQ(folder_.Run({"check", "-d", "../../descriptions.xml", "-r", "../../rules.xml", "--root", "Job",
                         "job.xml"}),
            (Said{"exit 0", "", ""}));
  EXPECT_EQ(folder_.Run({"check", "-d", "../../descriptions.xml", "-r", "../../rules.xml", "job.xml"}).ended,
            "exit 4")
      << "the root record is the project's";
}

TEST_F(SbxmlProject, CanBeNamedAndCanBeRefused) {
  Write(kProject);
  std::filesystem::rename(folder_.path() / "sbxml.json", folder_.path() / "other.json");
  EXPECT_EQ(folder_.Run({"check", "--project", "../../other.json", "job.xml"}), (Said{"exit 0", "", ""}));
  Write(kProject);
  EXPECT_EQ(folder_.Run({"check", "--no-project", "job.xml"}),
            (Said{"exit 2", "",
                  "sbxml: error: no structure descriptions: give --descriptions or a project file "
                  "[usage]\n"}));
  EXPECT_EQ(folder_.Run({"check", "--project", "gone.json", "job.xml"}),
            (Said{"exit 3", "", "gone.json: error: can't be read [file-unreadable]\n"}));
}

TEST_F(SbxmlProject, AWrongOneEndsWithTwo) {
  const std::pair<const char*, const char*> kWrong[] = {
      {"[]", "a project file is one JSON object"},
      {"{\"root\": ", "a project file is one JSON object"},
      {"{\"root\": 5}", "\"root\" is no text"},
      {"{\"encoding\": \"utf-8\"}", "unknown key \"encoding\""},
  };
  for (const auto& [text, message] : kWrong) {
    SCOPED_TRACE(text);
    Write(text);
    const std::string file = (std::filesystem::canonical(folder_.path()) / "sbxml.json").string();
    EXPECT_EQ(folder_.Run({"check", "job.xml"}),
              (Said{"exit 2", "", file + ": error: " + message + " [usage]\n"}));
  }
}

// --- diagnostics -------------------------------------------------------------------------------------------

TEST_F(SbxmlDiagnostics, JsonIsOneObjectALine) {
  EXPECT_EQ(
      folder_.RunWithSet({"check", "--json", "bad.xml", "broken.xml", "gone.xml"}),
      (Said{
          "exit 4",
          R"({"kind":"diagnostic","file":"bad.xml","line":3,"column":1,"severity":"warning","id":"value-cut",)"
          R"("message":"300 does not fit: 44 is stored","path":"Job/tone","record":"Job","item":"tone",)"
          R"("type":"uchar","offset":2})"
          "\n"
          R"({"kind":"diagnostic","file":"broken.xml","line":1,"column":6,"severity":"error",)"
          R"("id":"not-well-formed","message":"no element found"})"
          "\n"
          R"({"kind":"diagnostic","file":"gone.xml","severity":"error","id":"file-unreadable",)"
          R"("message":"there is no such file"})"
          "\n",
          ""}));
}

TEST_F(SbxmlDiagnostics, JsonHasTheLibrarysWordToo) {
  folder_.Write("job.xml", JobText().With("owner", "<owner/>"));
  EXPECT_EQ(
      folder_.RunWithSet({"check", "--json", "job.xml"}),
      (Said{"exit 4",
            R"({"kind":"diagnostic","file":"job.xml","line":15,"column":1,"severity":"error",)"
            R"("id":"does-not-load","message":"what a \"void*\" leads to can't come back: only null can",)"
            R"("path":"Job/owner","function":"SBXXMLToBinary","code":-4,)"
            R"("library_text":"Failed to parse item type in XML element owner"})"
            "\n",
            ""}));
}

TEST_F(SbxmlDiagnostics, OthersSayJsonOnStandardError) {
  EXPECT_EQ(folder_.RunWithSet({"inspect", "--json", "broken.xml"}),
            (Said{"exit 4", "",
                  R"({"kind":"diagnostic","file":"broken.xml","line":1,"column":6,"severity":"error",)"
                  R"("id":"not-well-formed","message":"no element found"})"
                  "\n"}));
}

TEST_F(SbxmlDiagnostics, NoMoreThanAskedForAreShown) {
  const std::string cut = kCut;
  EXPECT_EQ(folder_.RunWithSet({"check", "--max-errors", "2", "bad.xml", "bad.xml", "bad.xml", "bad.xml"}),
            (Said{"exit 1", "", cut + cut + "sbxml: 2 diagnostics more not shown (--max-errors)\n"}));
  EXPECT_EQ(folder_.RunWithSet({"check", "--max-errors", "4", "bad.xml", "bad.xml", "bad.xml", "bad.xml"}),
            (Said{"exit 1", "", cut + cut + cut + cut}));
  EXPECT_EQ(folder_.RunWithSet({"check", "--max-errors", "1", "--json", "broken.xml", "bad.xml"}),
            (Said{"exit 4",
                  R"({"kind":"diagnostic","file":"broken.xml","line":1,"column":6,"severity":"error",)"
                  R"("id":"not-well-formed","message":"no element found"})"
                  "\n"
                  R"({"kind":"hidden","count":1})"
                  "\n",
                  ""}));
}

TEST_F(SbxmlDiagnostics, AreColouredOnlyWhereAskedFor) {
  const std::string coloured =
      "\033[1mbad.xml:3:1: \033[0m\033[1;35mwarning: \033[0mJob/tone: 300 does not fit: 44 is stored (offset "
      "2, uchar) [value-cut]\n";
  EXPECT_EQ(folder_.RunWithSet({"check", "--color=always", "bad.xml"}).errors, coloured);
  EXPECT_EQ(folder_.RunWithSet({"check", "--color=never", "bad.xml"}).errors, kCut);
  EXPECT_EQ(folder_.RunWithSet({"check", "--color=auto", "bad.xml"}).errors, kCut) << "no terminal";
  EXPECT_EQ(folder_.RunWithSet({"check", "--color=always", "broken.xml"}).errors,
            "\033[1mbroken.xml:1:6: \033[0m\033[1;31merror: \033[0mno element found [not-well-formed]\n");
  folder_.SetVariable("NO_COLOR", "1");
  EXPECT_EQ(folder_.RunWithSet({"check", "--color=always", "bad.xml"}).errors, coloured);
}

// --- many files --------------------------------------------------------------------------------------------

// More failures than the library has handles, so one process could not do it.
TEST_F(SbxmlDiagnostics, OfMoreThanAHundredFilesEachIsChecked) {
  folder_.Write("fails.xml", JobText().With("paper", "<paper/>"));
  std::vector<std::string> arguments = {"check"};
  std::string expected;
  for (int i = 0; i < 130; ++i) {
    arguments.emplace_back("fails.xml");
    expected +=
        "fails.xml:13:1: error: Job/paper: the element of a record must not be empty; SBXXMLToBinary: -9 "
        "SBX_E_CONTENT [does-not-load]\n";
  }
  arguments.emplace_back("bad.xml");
  EXPECT_EQ(folder_.RunWithSet(arguments), (Said{"exit 4", "", expected + kCut}));
}

TEST_F(SbxmlDiagnostics, TheLimitCountsAcrossAllFiles) {
  std::vector<std::string> arguments = {"check", "--max-errors=60"};
  std::string expected;
  for (int i = 0; i < 110; ++i) {
    arguments.emplace_back("bad.xml");
    if (i < 60) expected += kCut;
  }
  EXPECT_EQ(folder_.RunWithSet(arguments),
            (Said{"exit 1", "", expected + "sbxml: 50 diagnostics more not shown (--max-errors)\n"}));
}

TEST_F(SbxmlDiagnostics, TheWorstFileDecidesHowItEnds) {
  EXPECT_EQ(folder_.RunWithSet({"check", "good.xml", "good.xml"}).ended, "exit 0");
  EXPECT_EQ(folder_.RunWithSet({"check", "good.xml", "bad.xml", "good.xml"}).ended, "exit 1");
  EXPECT_EQ(folder_.RunWithSet({"check", "gone.xml", "bad.xml"}).ended, "exit 3");
  EXPECT_EQ(folder_.RunWithSet({"check", "broken.xml", "gone.xml", "bad.xml"}).ended, "exit 4");
}

// --- streams -----------------------------------------------------------------------------------------------

TEST(SbxmlStreams, StandardInputIsADash) {
  const ToolFolder folder;
  const std::string good = folder.Read("good.xml");
  const std::string bad = JobText().With("tone", "<tone>300</tone>");
  EXPECT_EQ(folder.RunWithSet({"check", "-"}, good), (Said{"exit 0", "", ""}));
  EXPECT_EQ(folder.RunWithSet({"check", "good.xml", "-"}, bad),
            (Said{"exit 1", "",
                  "<stdin>:3:1: warning: Job/tone: 300 does not fit: 44 is stored (offset 2, uchar) "
                  "[value-cut]\n"}));
  EXPECT_EQ(folder.RunWithSet({"inspect", "-"}, good), folder.RunWithSet({"inspect", "good.xml"}));
  EXPECT_EQ(folder.Run({"check", "-d", "-", "-r", "rules.xml", "--root", "Job", "good.xml"},
                       folder.Read("descriptions.xml")),
            (Said{"exit 0", "", ""}));
  EXPECT_EQ(folder.RunWithSet({"check", "-"}, ""),
            (Said{"exit 3", "", "<stdin>: error: is empty [file-unreadable]\n"}));
}

TEST(SbxmlStreams, NothingOfStandardInputStaysBehind) {
  ToolFolder folder;
  std::filesystem::create_directory(folder.path() / "tmp");
  folder.SetVariable(kIsWindows ? "TMP" : "TMPDIR", (folder.path() / "tmp").string());
  folder.RunWithSet({"check", "-"}, folder.Read("good.xml"));
  folder.RunWithSet({"check", "-"}, "<broken");
  folder.RunWithSet({"inspect", "-"}, "<broken");
  folder.Run({"convert", "-", "-o", "/nowhere/x"}, "<broken");
  EXPECT_TRUE(std::filesystem::is_empty(folder.path() / "tmp"));
}

}  // namespace
}  // namespace sbx::testing
