// What `sbxml convert` writes, to the byte, and what it leaves behind when it can't.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sbxml/tool_runner.h"

namespace sbx::testing {
namespace {

const Said kFine = {"exit 0", "", ""};

// "<a>ü😀</a>" in each form.
const std::string kUtf8 = "<a>\xC3\xBC\xF0\x9F\x98\x80</a>";
const std::string kUtf16 = std::string("<\0a\0>\0\xFC\0\x3D\xD8\x00\xDE<\0/\0a\0>\0", 20);

std::string Swapped(std::string bytes) {
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) std::swap(bytes[at], bytes[at + 1]);
  return bytes;
}

struct Form {
  const char* name;
  std::string bytes;
};
const Form kForms[] = {{"utf-8", "\xEF\xBB\xBF" + kUtf8},
                       {"ansi", kUtf8},
                       {"utf-16", "\xFF\xFE" + kUtf16},
                       {"utf-16be", "\xFE\xFF" + Swapped(kUtf16)}};

TEST(SbxmlConvert, WritesEachEncodingFromEachOther) {
  const ToolFolder folder;
  const auto isInCodePage = [](const Form& form) {
    return std::string("ansi") == form.name && !IsNarrowPageUtf8();
  };
  for (const Form& from : kForms) {
    for (const Form& to : kForms) {
      if (isInCodePage(from) || isInCodePage(to)) continue;
      SCOPED_TRACE(std::string(from.name) + " to " + to.name);
      folder.Write("in.xml", from.bytes);
      EXPECT_EQ(folder.Run({"convert", "in.xml", "-o", "out.xml", "-e", to.name}), kFine);
      EXPECT_EQ(folder.Read("out.xml"), to.bytes);
    }
  }
}

TEST(SbxmlConvert, Utf8IsUsual) {
  const ToolFolder folder;
  folder.Write("in.xml", kForms[2].bytes);
  EXPECT_EQ(folder.Run({"convert", "in.xml", "-o", "out.xml"}), kFine);
  EXPECT_EQ(folder.Read("out.xml"), kForms[0].bytes);
}

TEST(SbxmlConvert, TheLibrarysClosingZeroAndTheDeclarationGo) {
  const ToolFolder folder;
  folder.Write("in.xml", std::string("<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n<a/>\0", 46));
  for (const char* const encoding : {"utf-8", "ansi"}) {
    EXPECT_EQ(folder.Run({"convert", "in.xml", "-o", "out.xml", "-e", encoding}), kFine);
    EXPECT_THAT(folder.Read("out.xml"), ::testing::EndsWith("<a/>"));
    EXPECT_EQ(folder.Read("out.xml").find("<?xml"), std::string::npos);
  }
}

TEST(SbxmlConvert, WithoutLayoutTheTextIsNotLookedAt) {
  const ToolFolder folder;
  const std::string odd = "<a>\r\n\t<b ></a > & no XML\n";
  folder.Write("in.xml", odd);
  EXPECT_EQ(folder.Run({"convert", "in.xml", "-o", "out.xml", "-e", "ansi"}), kFine);
  EXPECT_EQ(folder.Read("out.xml"), odd);
  EXPECT_EQ(folder.Run({"convert", "--pretty", "in.xml", "-o", "out.xml", "-e", "ansi"}),
            (Said{"exit 4", "", "in.xml:2:8: error: mismatched tag [not-well-formed]\n"}));
  EXPECT_EQ(folder.Read("out.xml"), odd) << "what was there stays";
}

struct Layout {
  const char* why;
  const char* text;
  const char* laidOut;
};
const Layout kLayouts[] = {
    {"elements in elements get lines", "<a><b><c/></b><d>1</d></a>",
     "<a>\n  <b>\n    <c/>\n  </b>\n  <d>1</d>\n</a>\n"},
    {"layout that is there already goes", "<a>\n\t<b/>\r\n\r\n </a>", "<a>\n  <b/>\n</a>\n"},
    {"text keeps its blanks", "<a><b> 1  2 </b></a>", "<a>\n  <b> 1  2 </b>\n</a>\n"},
    {"text of blanks alone too", "<a><b>  </b></a>", "<a>\n  <b>  </b>\n</a>\n"},
    {"elements among text stay where they are", "<a>x<b><c/></b>y</a>", "<a>x<b><c/></b>y</a>\n"},
    {"escapes are kept", "<a b=\"&lt;&quot;&#9;&#10;&#13;\">&amp;&lt;&gt;&#13;</a>",
     "<a b=\"&lt;&quot;&#9;&#10;&#13;\">&amp;&lt;&gt;&#13;</a>\n"},
    {"sections and entities are resolved", "<!DOCTYPE a [<!ENTITY e \"x\">]><a><![CDATA[<&]]>&e;</a>",
     "<a>&lt;&amp;x</a>\n"},
    {"comments and instructions have lines", "<!--1--><a><!--2--><?p q?><b/></a><!--3-->",
     "<!--1-->\n<a>\n  <!--2-->\n  <?p q?>\n  <b/>\n</a>\n<!--3-->\n"},
    {"long forms become short", "<a><b></b></a>", "<a>\n  <b/>\n</a>\n"},
};

TEST(SbxmlConvert, LaysOutForReading) {
  const ToolFolder folder;
  for (const Layout& layout : kLayouts) {
    SCOPED_TRACE(layout.why);
    folder.Write("in.xml", layout.text);
    EXPECT_EQ(folder.Run({"convert", "--pretty", "in.xml", "-o", "-", "-e", "ansi"}),
              (Said{"exit 0", layout.laidOut, ""}));
    folder.Write("in.xml", layout.laidOut);
    EXPECT_EQ(folder.Run({"convert", "--pretty", "in.xml", "-o", "-", "-e", "ansi"}),
              (Said{"exit 0", layout.laidOut, ""}))
        << "a second time changes nothing";
  }
}

TEST(SbxmlConvert, ALaidOutJobScriptIsTheSameOne) {
  const ToolFolder folder;
  const Said before = folder.RunWithSet({"inspect", "good.xml"});
  EXPECT_EQ(folder.Run({"convert", "--pretty", "good.xml", "-o", "pretty.xml"}), kFine);
  EXPECT_EQ(folder.RunWithSet({"check", "pretty.xml"}), kFine);
  EXPECT_EQ(folder.RunWithSet({"inspect", "pretty.xml"}), before);
}

TEST(SbxmlConvert, DepthCostsNoStack) {
  const ToolFolder folder;
  std::string deep;
  for (int i = 0; i < 100'000; ++i) deep += "<a>";
  deep += "x";
  for (int i = 0; i < 100'000; ++i) deep += "</a>";
  folder.Write("in.xml", "<b>" + deep + "y</b>");
  EXPECT_EQ(folder.Run({"convert", "--pretty", "in.xml", "-o", "out.xml"}), kFine);
}

TEST(SbxmlConvert, DashesAreStandardInputAndOutput) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"convert", "-", "-o", "-", "-e", "utf-16be"}, Utf8File(kUtf8)),
            (Said{"exit 0", kForms[3].bytes, ""}));
}

TEST(SbxmlConvert, TellsOfCharactersThatTheEncodingLacks) {
  const ToolFolder folder;
  folder.Write("in.xml", std::string("\xFF\xFE<\0a\0>\0\x00\xD8<\0/\0a\0>\0", 18));
  EXPECT_EQ(folder.Run({"convert", "in.xml", "-o", "-", "-e", "ansi"}),
            (Said{"exit 1", IsNarrowPageUtf8() ? "<a>\xEF\xBF\xBD</a>" : "<a>?</a>",
                  "in.xml: warning: characters that the encoding has no form for are replaced "
                  "[broken-encoding]\n"}));
  EXPECT_EQ(folder.Run({"convert", "in.xml", "-o", "-", "-e", "utf-16"}),
            (Said{"exit 0", folder.Read("in.xml"), ""}));
}

// --- the file that is written ------------------------------------------------------------------------------

std::vector<std::string> FilesIn(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

TEST(SbxmlConvert, AFileCanReplaceItself) {
  const ToolFolder folder;
  folder.Write("in.xml", kForms[2].bytes);
  EXPECT_EQ(folder.Run({"convert", "in.xml", "-o", "in.xml"}), kFine);
  EXPECT_EQ(folder.Read("in.xml"), kForms[0].bytes);
}

TEST(SbxmlConvert, LeavesNoTemporaryFile) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"convert", "good.xml", "-o", "out.xml"}), kFine);
  EXPECT_THAT(FilesIn(folder.path()),
              ::testing::UnorderedElementsAre("descriptions.xml", "rules.xml", "good.xml", "out.xml"));
}

TEST(SbxmlConvert, AnOutputThatCanNotBeWrittenEndsWithSix) {
  const ToolFolder folder;
  std::filesystem::create_directory(folder.path() / "folder");
  const std::pair<const char*, const char*> kOutputs[] = {
      {"folder", "folder: error: can't be written: it is a folder [output-failed]\n"},
      {"gone/out.xml", "gone/out.xml: error: can't be written: No such file or directory [output-failed]\n"},
  };
  for (const auto& [output, errors] : kOutputs) {
    EXPECT_EQ(folder.Run({"convert", "good.xml", "-o", output}), (Said{"exit 6", "", errors}));
  }
  EXPECT_EQ(folder.Run({"convert", "gone.xml", "-o", "out.xml"}),
            (Said{"exit 3", "", "gone.xml: error: there is no such file [file-unreadable]\n"}));
  EXPECT_THAT(FilesIn(folder.path()),
              ::testing::UnorderedElementsAre("descriptions.xml", "rules.xml", "good.xml", "folder"));
}

}  // namespace
}  // namespace sbx::testing
