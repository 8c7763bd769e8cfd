// What `sbxml describe` shows of records, their items, types and rules, to the character.
#include <gtest/gtest.h>

#include "sbxml/tool_runner.h"

namespace sbx::testing {
namespace {

TEST(SbxmlDescribe, ShowsARecordItsItemsAndTheRulesOnIt) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"describe", "-d", "descriptions.xml", "-r", "rules.xml", "Job"}),
            (Said{"exit 0", R"(Job, 120 bytes, 17 items: A job
  +0/2      copies     ushort     ushort  [flag:One(1),Two(2)]
  +2/1      tone       uchar      uchar
  +3/1      rush       bool       bool
  +4/4      weight     int        int
  +8/4      scale      float      float
  +12/4     pageCount  uint       uint
  +16/8     title      wchar_t*   text
  +24/8     pages      Page*      pointer to record Page
  +32/12    margins    int[3]     array of 3 int
  +44/4     kind       uint       uint
  +48/16    trays      Tray[2]    array of 2 record Tray
  +64/8     paper      Size*      pointer to record Size
  +72/8     host       char dptr  ! to XML: narrow text; from XML: skipped: the type is refused
  +80/8     owner      void*      ! to XML: pointer shown as null or unknown; from XML: null, and nothing else
  +88/8     id         int64      int64
  +96/8     format     Size       record Size
  +104/8    next       Job*       pointer to record Job
  rule pages: StructArrayPtr structname="Page" num="pageCount"
)",
                  ""}));
}

TEST(SbxmlDescribe, ShowsAllRecordsAndRulesThatLeadToThem) {
  const ToolFolder folder("ruled");
  EXPECT_EQ(folder.Run({"describe", "-d", "descriptions.xml", "-r", "rules.xml"}),
            (Said{"exit 0", R"(Job, 96 bytes, 11 items
  +0/4      n        uint        uint  [flag:One(1),Two(2)]
  +4/4      kind     uint        uint  [fmt:hex]
  +8/8      names    wchar_t*    text
  +16/8     label    wchar_t[4]  array of 4 wchar_t
  +24/8     variant  int64       int64
  +32/4     when     uint        uint  [time]
  +36/2     m        ushort      ushort
  +40/8     leaves   Leaf*       pointer to record Leaf
  +48/8     owner    char*       text
  +56/16    shape    Shape       record Shape
  +72/8     deep     int**       ! to XML: 2 pointers to int; from XML: skipped: the type is refused
  rule names: ConvertNameList num="n"
  rule label: ConvertNameList
  rule leaves: StructArrayPtr structname="Leaf" num="m"
  rule variant: AlterType alterto="wchar_t*" ref="kind" refmethod="=" refvalue="0x00000002"

Leaf, 8 bytes, 1 item
  +0/4      v  int  int
  led to by Job.leaves: StructArrayPtr structname="Leaf" num="m"

Shape, 16 bytes, 1 item
  +0/4      form  int  int
  rule form: RelocateStructName structname="Circle" ref="form" refvalue="1"

Circle, 16 bytes, 2 items
  +0/4      form  int       int
  +8/8      text  wchar_t*  text
  led to by Shape.form: RelocateStructName structname="Circle" ref="form" refvalue="1"
)",
                  ""}));
}

TEST(SbxmlDescribe, AlterTypeLeadsToARecordToo) {
  const ToolFolder folder;
  folder.Write("rules.xml",
               "<ConvertRuleDesc><Rules name=\"Job\"><RuleItem name=\"owner\" type=\"AlterType\" "
               "alterto=\"Size[2]*\"/></Rules></ConvertRuleDesc>");
  EXPECT_EQ(folder.Run({"describe", "-d", "descriptions.xml", "-r", "rules.xml", "Size"}),
            (Said{"exit 0",
                  "Size, 8 bytes, 2 items\n"
                  "  +0/4      w  int  int\n"
                  "  +4/4      h  int  int\n"
                  "  led to by Job.owner: AlterType alterto=\"Size[2]*\"\n",
                  ""}));
}

struct TypeRow {
  const char* type;
  int size;
  const char* reading;  // in the words of the listing
};
const TypeRow kTypes[] = {
    {"int", 4, "int"},
    {"int", 3, "fails: the size contradicts the type"},
    {"double", 8,
     "! to XML: fails: \"double\" is no record and no type that can be written; from XML: double"},
    {"byte", 1, "! to XML: fails: \"byte\" is no record and no type that can be written; from XML: byte"},
    {"Gone", 8,
     "! to XML: fails: \"Gone\" is no record and no type that can be written; from XML: skipped: the type is "
     "refused"},
    {"int[2][3]", 24, "array of 6 int"},
    {"int[3]", 14, "! to XML: array of 3 int; from XML: fails: the size contradicts the type"},
    {"int[0]", 4, "int"},
    {"int[]", 4, "! to XML: fails: the type can't be read; from XML: skipped: the type is refused"},
    {"int[3]*", 8, "pointer to array of 3 int"},
    {"int*", 4, "! to XML: pointer to int; from XML: fails: the size contradicts the type"},
    {"int**", 8, "! to XML: 2 pointers to int; from XML: skipped: the type is refused"},
    {"int dptr", 8, "! to XML: pointer to int; from XML: skipped: the type is refused"},
    {"char*", 8, "text"},
    {"wchar_t*", 8, "text"},
    {"wchar_t**", 8, "! to XML: pointer to text; from XML: skipped: the type is refused"},
    {"char dptr", 8, "! to XML: narrow text; from XML: skipped: the type is refused"},
    {"void*", 8, "! to XML: pointer shown as null or unknown; from XML: null, and nothing else"},
    {"Leaf", 8, "record Leaf"},
    {"Leaf*", 8, "pointer to record Leaf"},
    {"Leaf[2]", 16, "array of 2 record Leaf"},
    {"int[20]", 80, "fails: the item lies beyond its record"},
};

TEST(SbxmlDescribe, SaysWhatEachDirectionMakesOfAType) {
  const ToolFolder folder;
  for (const TypeRow& row : kTypes) {
    SCOPED_TRACE(row.type);
    folder.Write(
        "d.xml",
        "<StructureDescription><JSStruct name=\"R\" size=\"64\" numOfItems=\"1\"><JSStructItem name=\"a\" "
        "type=\"" +
            std::string(row.type) + "\" size=\"" + std::to_string(row.size) +
            "\" offset=\"0\"/></JSStruct><JSStruct name=\"Leaf\" size=\"8\" numOfItems=\"1\">"
            "<JSStructItem name=\"v\" type=\"int\" size=\"4\" offset=\"0\"/></JSStruct>"
            "</StructureDescription>");
    const std::string place = "+0/" + std::to_string(row.size);
    EXPECT_EQ(folder.Run({"describe", "-d", "d.xml", "R"}),
              (Said{"exit 0",
                    "R, 64 bytes, 1 item\n  " + place + std::string(10 - place.size(), ' ') + "a  " +
                        row.type + "  " + row.reading + "\n",
                    ""}));
  }
}

TEST(SbxmlDescribe, JsonHasAllFields) {
  const ToolFolder folder;
  EXPECT_EQ(
      folder.Run({"describe", "--json", "-d", "descriptions.xml", "-r", "rules.xml", "Odd"}),
      (Said{
          "exit 0",
          R"({"kind":"record","record":"Odd","size":16,"description":"Nothing here can be written again"})"
          "\n"
          R"({"kind":"item","record":"Odd","item":"width","type":"double","offset":0,"size":8,)"
          R"("description":"","restrict":"","to_xml":"fails: \"double\" is no record and no type that can be )"
          R"(written","from_xml":"double","agrees":false})"
          "\n"
          R"({"kind":"item","record":"Odd","item":"mark","type":"byte","offset":8,"size":1,"description":"",)"
          R"("restrict":"","to_xml":"fails: \"byte\" is no record and no type that can be written",)"
          R"("from_xml":"byte","agrees":false})"
          "\n",
          ""}));
  EXPECT_EQ(folder.Run({"describe", "--json", "-d", "descriptions.xml", "-r", "rules.xml", "Page"}),
            (Said{"exit 0",
                  R"({"kind":"record","record":"Page","size":8,"description":""})"
                  "\n"
                  R"({"kind":"item","record":"Page","item":"number","type":"int","offset":0,"size":4,)"
                  R"("description":"","restrict":"","to_xml":"int","from_xml":"int","agrees":true})"
                  "\n"
                  R"({"kind":"item","record":"Page","item":"angle","type":"short","offset":4,"size":2,)"
                  R"("description":"","restrict":"","to_xml":"short","from_xml":"short","agrees":true})"
                  "\n"
                  R"({"kind":"led-to-by","record":"Page","of":"Job","item":"pages","rule":"StructArrayPtr",)"
                  R"("attributes":{"structname":"Page","num":"pageCount"}})"
                  "\n",
                  ""}));
}

}  // namespace
}  // namespace sbx::testing
