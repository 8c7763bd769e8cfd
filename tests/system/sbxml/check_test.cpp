// What `sbxml check` says of documents, to the character, and how it ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sbxml/tool_runner.h"

namespace sbx::testing {
namespace {

struct Finding {
  const char* why;
  const char* item;  // whose line of the good document is replaced
  std::string text;
  std::string errors;  // what is said, without the file's name at each line's front
};

std::string WithFileName(const std::string& errors) {
  std::string out;
  for (std::size_t at = 0; at < errors.size();) {
    const std::size_t end = errors.find('\n', at) + 1;
    out += "job.xml" + errors.substr(at, end - at);
    at = end;
  }
  return out;
}

void ExpectFindings(const char* set, const std::vector<Finding>& findings, const char* ended) {
  ToolFolder folder(set);
  folder.SetVariable("TZ", "UTC");
  const JobText job(set);
  for (const Finding& finding : findings) {
    SCOPED_TRACE(finding.why);
    folder.Write("job.xml", Utf8File(job.With(finding.item, finding.text)));
    EXPECT_EQ(folder.RunWithSet({"check", "job.xml"}), (Said{ended, "", WithFileName(finding.errors)}));
  }
}

// --- what the reader keeps silent about --------------------------------------------------------------------

std::vector<Finding> ElementsAndItems() {
  return {
      {"an element that names no item is skipped", "tone", "<tone>200</tone><Tone>1</Tone>",
       ":3:17: warning: Job: \"Tone\" names no item of record \"Job\": it is ignored [unknown-element]\n"},
      {"an item without an element stays zero", "tone", "",
       ":1:26: warning: Job/tone: no element for this item: it stays zero (offset 2, uchar) "
       "[missing-item]\n"},
      {"text between items", "format", "<format><w>1</w> by <h>2</h></format>",
       ":17:1: warning: Job/format: text between the items of a record is ignored [ignored-text]\n"},
      {"a record of text alone", "format", "<format>A4</format>",
       ":17:1: warning: Job/format: text between the items of a record is ignored [ignored-text]\n"
       ":17:1: warning: Job/format/w: no element for this item: it stays zero (offset 0, int) "
       "[missing-item]\n"
       ":17:1: warning: Job/format/h: no element for this item: it stays zero (offset 4, int) "
       "[missing-item]\n"},
      {"a record of its own beside the root record", "/Job", "</Job><Job/></JobScriptXMLDescription>",
       ":19:7: warning: \"Job\" is not the root record: it is ignored [ignored-root]\n"},
      {"text beside the root record", "/Job", "</Job>end</JobScriptXMLDescription>",
       ":1:1: warning: text beside the root record is ignored [ignored-text]\n"},
      {"an attribute of somebody's own", "title", "<title lang=\"de\">Bericht</title>",
       ":8:1: warning: Job/title: the attribute \"lang\" is ignored (offset 16, wchar_t*) "
       "[ignored-attribute]\n"},
      {"the same on a record behind a pointer", "paper", "<paper size=\"A4\"><w>210</w><h>297</h></paper>",
       ":13:1: warning: Job/paper: the attribute \"size\" is ignored (offset 64, Size*) "
       "[ignored-attribute]\n"},
      {"the same on an entry", "trays",
       "<trays><Tray id=\"1\"><number>1</number><label>ab</label></Tray>"
       "<Tray><number>2</number><label>c</label></Tray></trays>",
       ":12:8: warning: Job/trays[0]: the attribute \"id\" is ignored [ignored-attribute]\n"},
      {"elements in a text", "title", "<title>A <b>bold</b> one</title>",
       ":8:1: warning: Job/title: the elements in a text are ignored, and their texts run together (offset "
       "16, wchar_t*) [ignored-content]\n"},
      {"elements in a number", "weight", "<weight>1<b>2</b></weight>",
       ":5:1: warning: Job/weight: the elements in a text are ignored, and their texts run together (offset "
       "4, int) [ignored-content]\n"},
      {"a type that goes out only", "host", "<host>press</host>",
       ":14:1: warning: Job/host: an item of this type can't come back: it stays zero (offset 72, char dptr) "
       "[type-refused]\n"},
  };
}

std::vector<Finding> SeveralElements() {
  return {
      {"of two elements for one item the later wins", "tone", "<tone>1</tone><tone>2</tone>",
       ":3:1: warning: Job/tone: a later element for the same item replaces this one (offset 2, uchar) "
       "[replaced-item]\n"},
      {"of two targets behind one pointer too", "paper",
       "<paper><w>1</w><h>2</h></paper><paper><w>3</w><h>4</h></paper>",
       ":13:1: warning: Job/paper: a later element for the same item replaces this one (offset 64, Size*) "
       "[replaced-item]\n"},
      {"null stores nothing, so what stands stays", "paper",
       "<paper><w>1</w><h>2</h></paper><paper flag=\"null\"/>",
       ":13:32: warning: Job/paper: this element stores nothing: an earlier one for the same item stands "
       "(offset 64, Size*) [replaced-item]\n"},
      {"an empty number stores nothing", "tone", "<tone>5</tone><tone/>",
       ":3:15: warning: Job/tone: this element stores nothing: an earlier one for the same item stands "
       "(offset 2, uchar) [replaced-item]\n"},
      {"the other way round the number counts", "tone", "<tone/><tone>5</tone>",
       ":3:1: warning: Job/tone: a later element for the same item replaces this one (offset 2, uchar) "
       "[replaced-item]\n"
       ":3:1: warning: Job/tone: empty: it is left at zero (offset 2, uchar) [empty-value]\n"},
      {"a shorter array is laid over the longer one", "margins",
       "<margins>1 2 3</margins><margins>9</margins>",
       ":10:1: warning: Job/margins: a later element for the same item replaces parts of this one (offset "
       "32, int[3]) [replaced-item]\n"
       ":10:25: warning: Job/margins: 1 entry for an array of 3: the rest stays as an earlier element has "
       "set it (offset 32, int[3]) [missing-entries]\n"},
      {"a record is filled by both", "format", "<format><w>1</w><h>2</h></format><format><w>3</w></format>",
       ":17:1: warning: Job/format: a later element for the same item replaces parts of this one (offset 96, "
       "Size) [replaced-item]\n"
       ":17:34: warning: Job/format/h: no element for this item here: an earlier one stands (offset 4, int) "
       "[missing-item]\n"},
  };
}

std::vector<Finding> Numbers() {
  return {
      {"a number is cut to its field", "copies", "<copies>70000</copies>",
       ":2:1: warning: Job/copies: 70000 does not fit: 4464 is stored (offset 0, ushort) [value-cut]\n"},
      {"a minus sign is taken for bits", "tone", "<tone>-1</tone>",
       ":3:1: warning: Job/tone: -1 does not fit: 255 is stored (offset 2, uchar) [value-cut]\n"},
      {"hexadecimal digits stand for bits, as many as there are", "tone", "<tone>0x1FF</tone>",
       ":3:1: warning: Job/tone: 0x1FF does not fit: 255 is stored (offset 2, uchar) [value-cut]\n"},
      {"what is not 0 is true", "rush", "<rush>2</rush>",
       ":4:1: warning: Job/rush: 2 does not fit: 1 is stored (offset 3, bool) [value-cut]\n"},
      {"64 bits are cut too", "id", "<id>9223372036854775808</id>",
       ":16:1: warning: Job/id: 9223372036854775808 does not fit: -9223372036854775808 is stored (offset 88, "
       "int64) [value-cut]\n"},
      {"beyond 64 bits as well", "id", "<id>18446744073709551617</id>",
       ":16:1: warning: Job/id: 18446744073709551617 does not fit: 1 is stored (offset 88, int64) "
       "[value-cut]\n"},
      {"128 digits are one too many", "weight", "<weight>" + std::string(127, '0') + "5</weight>",
       ":5:1: warning: Job/weight: " + std::string(60, '0') +
           "... does not fit: 0 is stored (offset 4, int) [value-cut]\n"},
      {"a float ends at infinity", "scale", "<scale>1e39</scale>",
       ":6:1: warning: Job/scale: 1e39 does not fit: inf is stored (offset 8, float) [value-cut]\n"},
      {"a float holds 24 bits", "scale", "<scale>16777217</scale>",
       ":6:1: warning: Job/scale: 16777217 does not fit: 16777216.000000 is stored (offset 8, float) "
       "[value-cut]\n"},
      {"six decimals come back", "scale", "<scale>1.23456789</scale>",
       ":6:1: warning: Job/scale: \"1.23456789\" comes back as \"1.234568\" (offset 8, float) "
       "[changed-value]\n"},
      {"text that is no number is 0", "weight", "<weight>heavy</weight>",
       ":5:1: warning: Job/weight: \"heavy\" is no number: 0 is stored (offset 4, int) [not-a-number]\n"},
      {"presentation text without its number too", "copies", "<copies>(Two)</copies>",
       ":2:1: warning: Job/copies: \"(Two)\" is no number: 0 is stored (offset 0, ushort) [not-a-number]\n"},
      {"blanks alone are no number", "weight", "<weight>  </weight>",
       ":5:1: warning: Job/weight: \"  \" is no number: 0 is stored (offset 4, int) [not-a-number]\n"},
      {"a blank behind a line break ends the number before it begins", "weight", "<weight>\n  5\n</weight>",
       ":5:1: warning: Job/weight: \".  5.\" is no number: 0 is stored (offset 4, int) [not-a-number]\n"},
      {"two signs are no number", "scale", "<scale>+-5</scale>",
       ":6:1: warning: Job/scale: \"+-5\" is no number: 0.000000 is stored (offset 8, float) "
       "[not-a-number]\n"},
      {"digits of other scripts are none", "tone", "<tone>\xD9\xA3</tone>",
       ":3:1: warning: Job/tone: \"\xD9\xA3\" is no number: 0 is stored (offset 2, uchar) [not-a-number]\n"},
      {"reading stops at the first other character", "weight", "<weight>12kg</weight>",
       ":5:1: warning: Job/weight: \"kg\" behind the number is ignored: 12 is stored (offset 4, int) "
       "[text-behind-number]\n"},
      {"a second number is dropped", "weight", "<weight>12 13</weight>",
       ":5:1: warning: Job/weight: \"13\" behind the number is ignored: 12 is stored (offset 4, int) "
       "[text-behind-number]\n"},
      {"a comma is no point", "scale", "<scale>1,5</scale>",
       ":6:1: warning: Job/scale: \",5\" behind the number is ignored: 1.000000 is stored (offset 8, float) "
       "[text-behind-number]\n"},
      {"there are no negative hexadecimal numbers", "weight", "<weight>-0x10</weight>",
       ":5:1: warning: Job/weight: \"x10\" behind the number is ignored: 0 is stored (offset 4, int) "
       "[text-behind-number]\n"},
      {"an empty number stays zero", "weight", "<weight/>",
       ":5:1: warning: Job/weight: empty: it is left at zero (offset 4, int) [empty-value]\n"},
      {"a word behind the number decides nothing", "copies", "<copies>2  (One)</copies>",
       ":2:1: warning: Job/copies: \"(One)\" is ignored: the number decides, and comes back as \"2  (Two)\" "
       "(offset 0, ushort) [presentation-ignored]\n"},
  };
}

std::vector<Finding> Arrays() {
  return {
      {"too few values", "margins", "<margins>1 2</margins>",
       ":10:1: warning: Job/margins: 2 entries for an array of 3: the rest stays zero (offset 32, int[3]) "
       "[missing-entries]\n"},
      {"too many values", "margins", "<margins>1 2 3 4</margins>",
       ":10:1: warning: Job/margins: 4 entries for an array of 3: the surplus is ignored (offset 32, int[3]) "
       "[surplus-entries]\n"},
      {"tabs part no values", "margins", "<margins>1\t2\t3</margins>",
       ":10:1: warning: Job/margins: 1 entry for an array of 3: the rest stays zero (offset 32, int[3]) "
       "[missing-entries]\n"
       ":10:1: warning: Job/margins: entry 0: \"2.3\" behind the number is ignored: 1 is stored (offset 32, "
       "int[3]) [text-behind-number]\n"},
      {"a value of an array that is no number", "margins", "<margins>1 x 3</margins>",
       ":10:1: warning: Job/margins: entry 1: \"x\" is no number: 0 is stored (offset 32, int[3]) "
       "[not-a-number]\n"},
      {"what stands in parentheses fills what is left", "margins", "<margins>1 (of 7)</margins>",
       ":10:1: warning: Job/margins: entry 2: \"7)\" behind a parenthesis is read: 7 is stored (offset 32, "
       "int[3]) [presentation-read]\n"},
      {"words behind an array are nobody's", "margins", "<margins>1 2 3 (mm)</margins>",
       ":10:1: warning: Job/margins: \"(mm)\" is ignored: the number decides, and comes back as \"1 2 3\" "
       "(offset 32, int[3]) [presentation-ignored]\n"},
      {"too few records", "trays", "<trays><Tray><number>1</number><label>ab</label></Tray></trays>",
       ":12:1: warning: Job/trays: 1 entry for an array of 2: the rest stays zero (offset 48, Tray[2]) "
       "[missing-entries]\n"},
      {"no record at all", "trays", "<trays/>",
       ":12:1: warning: Job/trays: 0 entries for an array of 2: the rest stays zero (offset 48, Tray[2]) "
       "[missing-entries]\n"},
      {"too many records", "trays",
       "<trays><Tray><number>1</number><label>a</label></Tray><Tray><number>1</number><label>b</label></"
       "Tray><Tray/></trays>",
       ":12:1: warning: Job/trays: 3 entries for an array of 2: the surplus is ignored (offset 48, Tray[2]) "
       "[surplus-entries]\n"},
      {"text between records", "trays",
       "<trays>two<Tray><number>1</number><label>a</label></Tray><Tray><number>1</number><label>b</label></"
       "Tray></trays>",
       ":12:1: warning: Job/trays: text between the entries of an array is ignored (offset 48, Tray[2]) "
       "[ignored-text]\n"},
      {"an entry of another record of the same size comes back under the array's own", "trays",
       "<trays><Size><w>1</w><h>0</h></Size><Tray><number>2</number><label>c</label></Tray></trays>",
       ":12:14: warning: Job/trays[0]/w: does not come back (offset 0, int) [lost-element]\n"
       ":12:22: warning: Job/trays[0]/h: does not come back (offset 4, int) [lost-element]\n"},
  };
}

std::vector<Finding> Flags() {
  return {
      {"null means nothing to a number", "tone", "<tone flag=\"null\">5</tone>",
       ":3:1: warning: Job/tone: the flag \"null\" has no effect on an item that is no pointer (offset 2, "
       "uchar) [flag-without-effect]\n"},
      {"nor to a record within the record", "format", "<format flag=\"null\"><w>1</w><h>2</h></format>",
       ":17:1: warning: Job/format: the flag \"null\" has no effect on an item that is no pointer (offset "
       "96, "
       "Size) [flag-without-effect]\n"},
      {"nor to an entry", "trays",
       "<trays><Tray flag=\"null\"><number>1</number><label>ab</label></Tray>"
       "<Tray><number>2</number><label>c</label></Tray></trays>",
       ":12:8: warning: Job/trays[0]: the flag \"null\" has no effect on the element of a record "
       "[flag-without-effect]\n"},
      {"a flag that nobody knows", "title", "<title flag=\"bold\">Report</title>",
       ":8:1: warning: Job/title: the flag \"bold\" has no effect here (offset 16, wchar_t*) "
       "[flag-without-effect]\n"},
      {"a null item with content", "title", "<title flag=\"null\">Report</title>",
       ":8:1: warning: Job/title: the item is flagged null: its content is ignored (offset 16, wchar_t*) "
       "[ignored-content]\n"},
      {"a byte string with more than digits", "title", "<title flag=\"binary\">4100/200</title>",
       ":8:1: warning: Job/title: the byte string holds more than digits: it is read as an empty text "
       "(offset "
       "16, wchar_t*) [bad-byte-string]\n"},
      {"a byte string with a rest", "title", "<title flag=\"binary\">410001</title>",
       ":8:1: warning: Job/title: the byte string's length is no multiple of four: the rest is ignored "
       "(offset 16, wchar_t*) [bad-byte-string]\n"},
      {"a byte string with a zero in its text", "title", "<title flag=\"binary\">410000004200</title>",
       ":8:1: warning: Job/title: the byte string's text ends at a zero: the rest is ignored (offset 16, "
       "wchar_t*) [bad-byte-string]\n"},
      {"bytes that are no UTF-8", "title", "<title flag=\"bin_utf8\">C341</title>",
       ":8:1: warning: Job/title: the byte string is no UTF-8: U+FFFD stands for what is none (offset 16, "
       "wchar_t*) [bad-byte-string]\n"},
      {"a byte string is not written as it was read", "title", "<title flag=\"binary\">0100E900</title>",
       ":8:1: warning: Job/title: \".\xC3\xA9\" comes back as \".Y\" (offset 16, wchar_t*) "
       "[changed-value]\n"},
  };
}

std::vector<Finding> WhatRulesDo() {
  return {
      {"a count that is not that of the elements is revised", "m", "<m>7</m>",
       ":8:1: warning: Job/m: a rule revises \"7\" to \"3\" (offset 36, ushort) [revised-count]\n"},
      {"a null array has none", "leaves", "<leaves flag=\"null\"/>",
       ":8:1: warning: Job/m: a rule revises \"3\" to \"0\" (offset 36, ushort) [revised-count]\n"},
      {"an array without its count is written as one record", "m", "",
       ":1:26: warning: Job/m: no element for this item: it stays zero (offset 36, ushort) [missing-item]\n"
       ":9:9: warning: Job/leaves[0]: comes back without its elements [changed-value]\n"
       ":9:30: warning: Job/leaves[1]: does not come back [lost-element]\n"
       ":9:51: warning: Job/leaves[2]: does not come back [lost-element]\n"},
      {"a condition compares texts, so another form of the number fails it", "kind", "<kind>2</kind>",
       ":6:1: warning: Job/variant: \"some text\" is no number: 0 is stored (offset 24, int64) "
       "[not-a-number]\n"},
      {"a relocation that does not come about", "shape", "<shape><form>01</form><text>x</text></shape>",
       ":11:23: warning: Job/shape: \"text\" names no item of record \"Shape\": it is ignored "
       "[unknown-element]\n"},
      {"a name that is longer than its field", "label", "<label>abcde</label>",
       ":5:1: warning: Job/label: the name is longer than the 4 characters of its field: it is cut (offset "
       "16, wchar_t[4]) [text-cut]\n"},
      {"an empty name is written as a blank, which is a name", "label", "<label/>",
       ":5:1: warning: Job/label: \"\" comes back as \" \" (offset 16, wchar_t[4]) [changed-value]\n"},
      {"names are counted", "names", "<names><Name>ab</Name></names>",
       ":2:1: warning: Job/n: a rule revises \"2  (Two)\" to \"1\" (offset 0, uint) [revised-count]\n"},
      {"a list of names without elements is one of numbers", "names", "<names>ab</names>",
       ":2:1: warning: Job/n: a rule revises \"2  (Two)\" to \"1\" (offset 0, uint) [revised-count]\n"
       ":4:1: warning: Job/names: entry 0: \"ab\" is no number: 0 is stored (offset 8, wchar_t[1]*) "
       "[not-a-number]\n"},
      {"text and attributes among names", "names", "<names>x<Name y=\"1\">ab</Name><Name>c</Name></names>",
       ":4:1: warning: Job/names: text between the names of a list is ignored (offset 8, wchar_t[5]*) "
       "[ignored-text]\n"
       ":4:9: warning: Job/names: the attribute \"y\" is ignored [ignored-attribute]\n"},
      {"the words of a time decide nothing", "when", "<when>1600000000  (tomorrow)</when>",
       ":7:1: warning: Job/when: \"(tomorrow)\" is ignored: the number decides, and comes back as "
       "\"1600000000  (2020-09-13 12:26:40)\" (offset 32, uint) [presentation-ignored]\n"},
      {"a type of two levels", "deep", "<deep>5</deep>",
       ":12:1: warning: Job/deep: an item of this type can't come back: it stays zero (offset 72, int**) "
       "[type-refused]\n"},
  };
}

TEST(SbxmlCheck, SaysNothingOfADocumentThatComesBackWhole) {
  ToolFolder folder;
  EXPECT_EQ(folder.RunWithSet({"check", "good.xml"}), (Said{"exit 0", "", ""}));
  ToolFolder ruled("ruled");
  ruled.SetVariable("TZ", "UTC");
  EXPECT_EQ(ruled.RunWithSet({"check", "good.xml"}), (Said{"exit 0", "", ""}));
}

// What people may change without a loss.
TEST(SbxmlCheck, SaysNothingOfAnotherWayToWriteTheSame) {
  const std::pair<const char*, const char*> kSame[] = {
      {"copies", "<copies>0x2</copies>"},
      {"copies", "<copies>\t2 (Two)</copies>"},
      {"weight", "<weight>+5</weight>"},
      {"weight", "<weight>5\n</weight>"},
      {"weight", "<!-- so heavy --><weight><![CDATA[5]]></weight>"},
      {"scale", "<scale>0x1p4</scale>"},
      {"scale", "<scale>-inf</scale>"},
      {"scale", "<scale>15e-1</scale>"},
      {"margins", "<margins>  1   0x2 +3 </margins>"},
      {"pageCount", "<pageCount>0x2</pageCount>"},
      {"title", "<title> two\n lines </title>"},
      {"title", "<title><![CDATA[a < b]]> &amp; c</title>"},
      {"title", "<title flag=\"binary\">41000100</title>"},
      {"title", "<title/>"},
      {"title", "<title flag=\"null\"/>"},
      {"paper", "<paper flag=\"null\"/>"},
      {"format", "<format>\n  <h>2</h>\n  <w>1</w>\n</format>"},
  };
  ToolFolder folder;
  const JobText job;
  for (const auto& [item, text] : kSame) {
    SCOPED_TRACE(text);
    folder.Write("job.xml", job.With(item, text));
    EXPECT_EQ(folder.RunWithSet({"check", "job.xml"}), (Said{"exit 0", "", ""}));
  }
}

TEST(SbxmlCheck, TellsOfElementsAndItemsThatDoNotMeet) {
  ExpectFindings("", ElementsAndItems(), "exit 1");
}
TEST(SbxmlCheck, TellsWhichOfSeveralElementsForAnItemCounts) {
  ExpectFindings("", SeveralElements(), "exit 1");
}
TEST(SbxmlCheck, TellsWhatNumbersLose) {
  ExpectFindings("", Numbers(), "exit 1");
}
TEST(SbxmlCheck, TellsWhatArraysLose) {
  ExpectFindings("", Arrays(), "exit 1");
}
TEST(SbxmlCheck, TellsWhichFlagsDoNothing) {
  ExpectFindings("", Flags(), "exit 1");
}
TEST(SbxmlCheck, TellsWhatRulesChange) {
  ExpectFindings("ruled", WhatRulesDo(), "exit 1");
}

TEST(SbxmlCheck, TellsOfAttributesOfTheOutermostElements) {
  ToolFolder folder;
  folder.Write("job.xml", "<Any version=\"2\"><Job flag=\"null\" x=\"1\"><w>1</w><h>2</h></Job></Any>");
  folder.Write("d.xml",
               "<StructureDescription><JSStruct name=\"Job\" size=\"8\" numOfItems=\"2\">"
               "<JSStructItem name=\"w\" type=\"int\" size=\"4\" offset=\"0\"/>"
               "<JSStructItem name=\"h\" type=\"int\" size=\"4\" offset=\"4\"/></JSStruct>"
               "</StructureDescription>");
  EXPECT_EQ(folder.Run({"check", "-d", "d.xml", "--root", "Job", "job.xml"}),
            (Said{"exit 1", "",
                  "job.xml:1:1: warning: the attribute \"version\" is ignored [ignored-attribute]\n"
                  "job.xml:1:18: warning: Job: the flag \"null\" has no effect on the element of a record "
                  "[flag-without-effect]\n"
                  "job.xml:1:18: warning: Job: the attribute \"x\" is ignored [ignored-attribute]\n"}));
}

// A rule of a record further in revises a count that was read before it.
TEST(SbxmlCheck, TellsOfACountThatIsRevisedTooLate) {
  ToolFolder folder;
  folder.Write("d.xml",
               "<StructureDescription><JSStruct name=\"Job\" size=\"16\" numOfItems=\"2\">"
               "<JSStructItem name=\"n\" type=\"int\" size=\"4\" offset=\"0\"/>"
               "<JSStructItem name=\"list\" type=\"List\" size=\"8\" offset=\"8\"/></JSStruct>"
               "<JSStruct name=\"List\" size=\"8\" numOfItems=\"1\">"
               "<JSStructItem name=\"all\" type=\"Leaf*\" size=\"8\" offset=\"0\"/></JSStruct>"
               "<JSStruct name=\"Leaf\" size=\"4\" numOfItems=\"1\">"
               "<JSStructItem name=\"v\" type=\"int\" size=\"4\" offset=\"0\"/></JSStruct>"
               "</StructureDescription>");
  folder.Write("r.xml",
               "<ConvertRuleDesc><Rules name=\"List\"><RuleItem name=\"all\" type=\"StructArrayPtr\" "
               "structname=\"Leaf\" num=\"Job.n\"/></Rules></ConvertRuleDesc>");
  folder.Write("job.xml",
               "<X><Job><n>1</n><list><all><Leaf><v>1</v></Leaf><Leaf><v>2</v></Leaf></all></list>"
               "</Job></X>");
  const Said said = folder.Run({"check", "-d", "d.xml", "-r", "r.xml", "--root", "Job", "job.xml"});
  EXPECT_EQ(said,
            (Said{"exit 1", "",
                  "job.xml:1:9: warning: Job/n: \"1\" was read before a rule revised it to \"2\": memory "
                  "holds the old count (offset 0, int) [stale-count]\n"
                  "job.xml:1:49: warning: Job/list/all[1]: does not come back [lost-element]\n"}));
}

TEST(SbxmlCheck, TellsOnceOfARuleThatCanNotBeCarriedOut) {
  ToolFolder folder("ruled");
  folder.SetVariable("TZ", "UTC");
  folder.Write("rules.xml",
               "<ConvertRuleDesc><Rules name=\"Job\"><RuleItem name=\"names\" type=\"ConvertNameList\" "
               "num=\"n\"/><RuleItem name=\"leaves\" type=\"StructArrayPtr\" structname=\"Leaf\" "
               "num=\"..\\m\"/></Rules></ConvertRuleDesc>");
  folder.Write("job.xml", JobText("ruled").With("shape", "<shape><form>1</form></shape>"));
  const Said said = folder.RunWithSet({"check", "job.xml"});
  EXPECT_THAT(said.errors, ::testing::StartsWith(
                               "job.xml:1:26: warning: Job: a rule is not applied: Get value from binary: "
                               "Previous level of path overflow(path=..\\m) [rule-not-applied]\n"
                               "job.xml:"));
  EXPECT_EQ(said.errors.find("rule-not-applied"), said.errors.rfind("rule-not-applied"));
}

// --- documents that do not load ----------------------------------------------------------------------------

std::vector<Finding> BrokenDocuments() {
  return {
      {"an end tag is missing", "tone", "<tone>1", ":19:3: error: mismatched tag [not-well-formed]\n"},
      {"a stray ampersand", "title", "<title>R & D</title>",
       ":8:11: error: not well-formed (invalid token) [not-well-formed]\n"},
      {"an entity that nobody declared", "title", "<title>&name;</title>",
       ":8:8: error: undefined entity [not-well-formed]\n"},
      {"two attributes of one name", "title", "<title flag=\"null\" flag=\"null\"/>",
       ":8:20: error: duplicate attribute [not-well-formed]\n"},
      {"an attribute without quotes", "title", "<title flag=null/>",
       ":8:13: error: not well-formed (invalid token) [not-well-formed]\n"},
      {"a control character", "title", "<title>\x01</title>",
       ":8:8: error: not well-formed (invalid token) [not-well-formed]\n"},
      {"a second document element", "/Job", "</Job></JobScriptXMLDescription><Job/>",
       ":19:33: error: junk after document element [not-well-formed]\n"},
      {"the document stops", "/Job", "", ":20:1: error: no element found [not-well-formed]\n"},
      {"an unclosed comment", "tone", "<!-- <tone>1</tone>",
       ":3:1: error: unclosed token [not-well-formed]\n"},
      {"a name that is none", "tone", "<1tone>1</1tone>",
       ":3:2: error: not well-formed (invalid token) [not-well-formed]\n"},
      {"a record without content", "paper", "<paper/>",
       ":13:1: error: Job/paper: the element of a record must not be empty; SBXXMLToBinary: -9 SBX_E_CONTENT "
       "[does-not-load]\n"},
      {"an embedded record without content", "format", "<format></format>",
       ":17:1: error: Job/format: the element of a record must not be empty; SBXXMLToBinary: -9 "
       "SBX_E_CONTENT, \"Invalid type string null type in XML element host\" [does-not-load]\n"},
      {"an entry without content", "pages", "<pages><Page/></pages>",
       ":7:1: warning: Job/pageCount: a rule revises \"2\" to \"1\" (offset 12, uint) [revised-count]\n"
       ":9:8: error: Job/pages[0]: the element of a record must not be empty; SBXXMLToBinary: -9 "
       "SBX_E_CONTENT [does-not-load]\n"},
      {"a counted array without entries is one record", "pages", "<pages/>",
       ":7:1: warning: Job/pageCount: a rule revises \"2\" to \"0\" (offset 12, uint) [revised-count]\n"
       ":9:1: error: Job/pages: the element of a record must not be empty; SBXXMLToBinary: -9 SBX_E_CONTENT "
       "[does-not-load]\n"},
      {"a void pointer that is not null", "owner", "<owner flag=\"unknown\"/>",
       ":15:1: error: Job/owner: what a \"void*\" leads to can't come back: only null can; SBXXMLToBinary: "
       "-4 "
       "SBX_E_DESCRIPTION, \"Failed to parse item type in XML element owner\" [does-not-load]\n"},
      {"a void pointer without a flag", "owner", "<owner/>",
       ":15:1: error: Job/owner: what a \"void*\" leads to can't come back: only null can; SBXXMLToBinary: "
       "-4 "
       "SBX_E_DESCRIPTION, \"Failed to parse item type in XML element owner\" [does-not-load]\n"},
      {"an entry that is no described record", "trays", "<trays><Shelf><number>1</number></Shelf></trays>",
       ":12:8: error: Job/trays[0]: \"Shelf\" is no described record, so it can't be an entry of an array of "
       "\"Tray\"; SBXXMLToBinary: -9 SBX_E_CONTENT, \"Invalid struct when reading array of struct Shelf\" "
       "[does-not-load]\n"},
      {"an entry of another size", "trays", "<trays><Odd><width>1</width></Odd></trays>",
       ":12:8: error: Job/trays[0]: \"Odd\" is a record of another size, so it can't be an entry of an array "
       "of \"Tray\"; SBXXMLToBinary: -9 SBX_E_CONTENT, \"Invalid struct when reading array of struct Odd\" "
       "[does-not-load]\n"},
      {"the second of two pointers without content", "paper", "<paper><w>1</w><h>2</h></paper><paper/>",
       ":13:1: warning: Job/paper: a later element for the same item replaces this one (offset 64, Size*) "
       "[replaced-item]\n"
       ":13:32: error: Job/paper: the element of a record must not be empty; SBXXMLToBinary: -9 "
       "SBX_E_CONTENT [does-not-load]\n"},
      {"a failure within a failure's neighbours", "next", "<next><owner>x</owner><tone>300</tone></next>",
       ":18:7: error: Job/next/owner: what a \"void*\" leads to can't come back: only null can; "
       "SBXXMLToBinary: -4 SBX_E_DESCRIPTION, \"Failed to parse item type in XML element owner\" "
       "[does-not-load]\n"},
      {"the text of a skipped item stays for a failure that sets none", "host", "<host>press</host><paper/>",
       ":13:1: warning: Job/paper: a later element for the same item replaces this one (offset 64, Size*) "
       "[replaced-item]\n"
       ":14:1: warning: Job/host: an item of this type can't come back: it stays zero (offset 72, char dptr) "
       "[type-refused]\n"
       ":14:19: error: Job/paper: the element of a record must not be empty; SBXXMLToBinary: -9 "
       "SBX_E_CONTENT, \"Invalid type string null type in XML element host\" [does-not-load]\n"},
  };
}

TEST(SbxmlCheck, SaysWhereADocumentFailsToLoad) {
  ExpectFindings("", BrokenDocuments(), "exit 4");
}

TEST(SbxmlCheck, SaysWhichRootRecordIsMissing) {
  ToolFolder folder;
  folder.Write("job.xml", "<Any>\n <Task/>\n</Any>");
  EXPECT_EQ(folder.RunWithSet({"check", "job.xml"}),
            (Said{"exit 4", "",
                  "job.xml:1:1: error: the document element has no child \"Job\", the root record; "
                  "SBXXMLToBinary: -1 SBX_E_NOT_FOUND [does-not-load]\n"
                  "job.xml:2:2: warning: \"Task\" is not the root record: it is ignored [ignored-root]\n"}));
  EXPECT_EQ(folder.Run({"check", "-d", "descriptions.xml", "--root", "Task", "job.xml"}),
            (Said{"exit 4", "",
                  "job.xml:2:2: error: Task: the descriptions have no record \"Task\"; SBXXMLToBinary: -4 "
                  "SBX_E_DESCRIPTION, \"Can't get PDB info for struct Task\" [does-not-load]\n"}));
}

// Loads, but goes no further: such a type can't be written.
TEST(SbxmlCheck, TellsOfARecordThatCanNotBeWrittenAgain) {
  ToolFolder folder;
  folder.Write("job.xml", "<X><Odd><width>1</width><mark>2</mark></Odd></X>");
  EXPECT_EQ(folder.Run({"check", "-d", "descriptions.xml", "--root", "Odd", "job.xml"}),
            (Said{"exit 1", "",
                  "job.xml:1:1: error: loads, but can't be written again; SBXBinaryToXML_Text: -4 "
                  "SBX_E_DESCRIPTION, \"Can't find the PDB info for the struct double\" "
                  "[does-not-survive]\n"}));
}

TEST(SbxmlCheck, TellsOfATextThatComesBackAsNoXml) {
  if (IsWine()) GTEST_SKIP() << "it writes U+FFFD for half of a pair";
  ToolFolder folder;
  folder.Write("job.xml", JobText().With("title", "<title flag=\"binary\">00D8</title>"));
  EXPECT_EQ(folder.RunWithSet({"check", "job.xml"}),
            (Said{"exit 1", "",
                  "job.xml:1:1: error: what comes back is not well formed: half of a surrogate pair "
                  "[does-not-survive]\n"}));
}

TEST(SbxmlCheck, FindsHalfOfASurrogatePair) {
  ToolFolder folder;
  ASSERT_EQ(folder.Run({"convert", "good.xml", "-o", "job.xml", "-e", "utf-16"}).ended, "exit 0");
  std::string bytes = folder.Read("job.xml");
  const std::string title = std::string("G\0r\0", 4);
  bytes.replace(bytes.find(title), 4, std::string("G\0\x00\xD8", 4));
  folder.Write("job.xml", bytes);
  EXPECT_EQ(folder.RunWithSet({"check", "job.xml"}),
            (Said{"exit 4", "", "job.xml:8:9: error: half of a surrogate pair [not-well-formed]\n"}));
}

// Documents that grow: what the library refuses to follow, the command does not follow either.
TEST(SbxmlCheck, RefusesDocumentsThatGrow) {
  ToolFolder folder;
  std::string laughs = "<!DOCTYPE X [<!ENTITY e0 \"" + std::string(100, 'x') + "\">";
  for (int i = 1; i < 12; ++i) {
    const std::string inner = "&e" + std::to_string(i - 1) + ";";
    laughs += "<!ENTITY e" + std::to_string(i) + " \"";
    for (int times = 0; times < 10; ++times) laughs += inner;
    laughs += "\">";
  }
  folder.Write("laughs.xml", laughs + "]><X><Job><title>&e11;</title></Job></X>");
  std::string defaults = "<!DOCTYPE X [<!ATTLIST n a CDATA \"" + std::string(30'000, 'x') + "\">]><X>";
  for (int i = 0; i < 20'000; ++i) defaults += "<n/>";
  folder.Write("defaults.xml", defaults + "</X>");
  folder.Write("outside.xml", "<!DOCTYPE X [<!ENTITY e SYSTEM \"good.xml\">]>\n<X>&e;</X>");
  for (const char* const name : {"laughs.xml", "defaults.xml", "outside.xml"}) {
    SCOPED_TRACE(name);
    const Said said = folder.RunWithSet({"check", name});
    EXPECT_EQ(said.ended, "exit 4");
    EXPECT_THAT(said.errors, ::testing::EndsWith(" [not-well-formed]\n"));
  }
}

// --- files -------------------------------------------------------------------------------------------------

TEST(SbxmlCheck, TellsWhatReadingAFileLoses) {
  const struct {
    const char* why;
    std::string bytes;
    std::string errors;
  } kFiles[] = {
      {"bytes that are no UTF-8", Utf8File(JobText().With("title", "<title>gr\xFC\xDF</title>")),
       "job.xml:1:1: warning: 2 places that are no UTF-8 are read as U+FFFD [broken-encoding]\n"},
      {"a declaration of another encoding",
       "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?>" + JobText().With("title", "<title>\xC3\xBC</title>"),
       std::string("job.xml:1:1: warning: the declared encoding ISO-8859-1 is ignored: the file is read ") +
           (IsNarrowPageUtf8() ? "as UTF-8" : "in the system's code page") + " [declared-encoding]\n"},
      {"text behind a zero", JobText().With("zzz", "") + std::string("\0more", 5),
       "job.xml:1:1: warning: 4 characters behind a zero character are not read [text-after-zero]\n"},
  };
  ToolFolder folder;
  for (const auto& file : kFiles) {
    SCOPED_TRACE(file.why);
    folder.Write("job.xml", file.bytes);
    EXPECT_EQ(folder.RunWithSet({"check", "job.xml"}), (Said{"exit 1", "", file.errors}));
  }
}

TEST(SbxmlCheck, CountsPlacesFromTheFileAndNotFromBehindItsDeclaration) {
  ToolFolder folder;
  folder.Write("job.xml", "<?xml version=\"1.0\"?>\n\n " + JobText().With("tone", "<tone>x</tone>"));
  EXPECT_EQ(folder.RunWithSet({"check", "job.xml"}),
            (Said{"exit 1", "",
                  "job.xml:5:1: warning: Job/tone: \"x\" is no number: 0 is stored (offset 2, uchar) "
                  "[not-a-number]\n"}));
}

TEST(SbxmlCheck, ReadsEachEncodingAndTheLibrarysClosingZero) {
  ToolFolder folder;
  for (const char* const encoding : {"utf-16", "utf-16be", "utf-8", "ansi"}) {
    SCOPED_TRACE(encoding);
    ASSERT_EQ(folder.Run({"convert", "good.xml", "-o", "job.xml", "-e", encoding}), (Said{"exit 0", "", ""}));
    EXPECT_EQ(folder.RunWithSet({"check", "job.xml"}), (Said{"exit 0", "", ""}));
  }
  folder.Write("job.xml", folder.Read("good.xml") + std::string(1, '\0'));
  EXPECT_EQ(folder.RunWithSet({"check", "job.xml"}), (Said{"exit 0", "", ""}));
}

TEST(SbxmlCheck, SaysWhichFilesCanNotBeRead) {
  ToolFolder folder;
  folder.Write("empty.xml", "");
  std::filesystem::create_directory(folder.path() / "folder");
  EXPECT_EQ(folder.RunWithSet({"check", "gone.xml", "good.xml", "empty.xml", "folder"}),
            (Said{"exit 3", "",
                  "gone.xml: error: there is no such file [file-unreadable]\n"
                  "empty.xml: error: is empty [file-unreadable]\n"
                  "folder: error: is a folder [file-unreadable]\n"}));
}

}  // namespace
}  // namespace sbx::testing
