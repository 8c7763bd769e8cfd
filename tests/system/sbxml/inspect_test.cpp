// What `sbxml inspect` shows of the graph that a document becomes, to the character.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sbxml/tool_runner.h"

namespace sbx::testing {
namespace {

using ::testing::HasSubstr;

TEST(SbxmlInspect, ShowsRecordsItemsAndBlocks) {
  const ToolFolder folder;
  EXPECT_EQ(folder.RunWithSet({"inspect", "good.xml"}),
            (Said{"exit 0",
                  "Job (120 bytes, block 0)\n"
                  "  copies     ushort     +0/2      2\n"
                  "  tone       uchar      +2/1      200\n"
                  "  rush       bool       +3/1      1\n"
                  "  weight     int        +4/4      -5\n"
                  "  scale      float      +8/4      1.500000\n"
                  "  pageCount  uint       +12/4     2\n"
                  "  title      wchar_t*   +16/8     -> block 1 (12 bytes) \"Gr\xC3\xB6\xC3\x9F\x65\"\n"
                  "  pages      Page[2]*   +24/8     -> block 2 (16 bytes)\n"
                  "    [0] Page\n"
                  "      number  int    +0/4      1\n"
                  "      angle   short  +4/2      90\n"
                  "    [1] Page\n"
                  "      number  int    +0/4      2\n"
                  "      angle   short  +4/2      -90\n"
                  "  margins    int[3]     +32/12    1 2 3\n"
                  "  kind       uint       +44/4     16\n"
                  "  trays      Tray[2]    +48/16\n"
                  "    [0] Tray\n"
                  "      number  short       +0/2      1\n"
                  "      label   wchar_t[3]  +2/6      97 98 0\n"
                  "    [1] Tray\n"
                  "      number  short       +0/2      2\n"
                  "      label   wchar_t[3]  +2/6      99 0 0\n"
                  "  paper      Size*      +64/8     -> block 3 (8 bytes)\n"
                  "    w  int  +0/4      210\n"
                  "    h  int  +4/4      297\n"
                  "  host       char dptr  +72/8     zero (the type can't come back)\n"
                  "  owner      void*      +80/8     null\n"
                  "  id         int64      +88/8     -9223372036854775808\n"
                  "  format     Size       +96/8\n"
                  "    w  int  +0/4      1\n"
                  "    h  int  +4/4      2\n"
                  "  next       Job*       +104/8    null\n",
                  ""}));
}

TEST(SbxmlInspect, ListsBlocksWithTheirTotal) {
  const ToolFolder folder;
  EXPECT_EQ(folder.RunWithSet({"inspect", "--blocks", "good.xml"}), (Said{"exit 0",
                                                                          "block 0  120 bytes  Job\n"
                                                                          "block 1  12 bytes  Job/title\n"
                                                                          "block 2  16 bytes  Job/pages\n"
                                                                          "block 3  8 bytes  Job/paper\n"
                                                                          "total  4 blocks, 156 bytes\n",
                                                                          ""}));
  EXPECT_EQ(folder.RunWithSet({"inspect", "--blocks", "--json", "good.xml"}),
            (Said{"exit 0",
                  R"({"kind":"block","block":0,"size":120,"path":"Job"})"
                  "\n"
                  R"({"kind":"block","block":1,"size":12,"path":"Job/title"})"
                  "\n"
                  R"({"kind":"block","block":2,"size":16,"path":"Job/pages"})"
                  "\n"
                  R"({"kind":"block","block":3,"size":8,"path":"Job/paper"})"
                  "\n"
                  R"({"kind":"total","blocks":4,"size":156})"
                  "\n",
                  ""}));
}

// A document's own small description.
constexpr const char* kSmall =
    "<StructureDescription>"
    "<JSStruct name=\"R\" size=\"72\" numOfItems=\"9\">"
    "<JSStructItem name=\"f\" type=\"float\" size=\"4\" offset=\"0\"/>"
    "<JSStructItem name=\"m\" type=\"byte[3]\" size=\"3\" offset=\"4\"/>"
    "<JSStructItem name=\"d\" type=\"double\" size=\"8\" offset=\"8\"/>"
    "<JSStructItem name=\"s\" type=\"wchar_t*\" size=\"8\" offset=\"16\"/>"
    "<JSStructItem name=\"p\" type=\"int*\" size=\"8\" offset=\"24\"/>"
    "<JSStructItem name=\"a\" type=\"short[2]*\" size=\"8\" offset=\"32\"/>"
    "<JSStructItem name=\"l\" type=\"L[2]\" size=\"8\" offset=\"40\"/>"
    "<JSStructItem name=\"q\" type=\"L*\" size=\"8\" offset=\"48\"/>"
    "<JSStructItem name=\"z\" type=\"int**\" size=\"8\" offset=\"56\"/></JSStruct>"
    "<JSStruct name=\"L\" size=\"4\" numOfItems=\"1\">"
    "<JSStructItem name=\"v\" type=\"ushort\" size=\"2\" offset=\"2\"/></JSStruct>"
    "</StructureDescription>";
constexpr const char* kSmallDocument =
    "<X><R><f>inf</f><m>1 2 255</m><d>0.5</d><s>a\"\n</s><p>-1</p><a>1 -2</a><l><L><v>1</v></L></l>"
    "<q flag=\"null\"/><z>1</z></R></X>";

class SbxmlInspectSmall : public ::testing::Test {
 protected:
  SbxmlInspectSmall() { folder_.Write("d.xml", kSmall); }
  Said Inspect(std::vector<std::string> options, const std::string& document = kSmallDocument) {
    folder_.Write("job.xml", document);
    std::vector<std::string> arguments = {"inspect", "-d", "d.xml", "--root", "R", "job.xml"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return folder_.Run(arguments);
  }
  ToolFolder folder_;
};

TEST_F(SbxmlInspectSmall, HexShowsTheBytesOfNumbers) {
  EXPECT_EQ(Inspect({"--hex"}), (Said{"exit 0",
                                      "R (72 bytes, block 0)\n"
                                      "  f  float      +0/4      inf\n"
                                      "    00 00 80 7f\n"
                                      "  m  byte[3]    +4/3      1 2 255\n"
                                      "    01 02 ff\n"
                                      "  d  double     +8/8      0.500000\n"
                                      "    00 00 00 00 00 00 e0 3f\n"
                                      "  s  wchar_t*   +16/8     -> block 1 (8 bytes) \"a\".\"\n"
                                      "  p  int*       +24/8     -> block 2 (4 bytes) -1\n"
                                      "    ff ff ff ff\n"
                                      "  a  short[2]*  +32/8     -> block 3 (4 bytes) 1 -2\n"
                                      "    01 00 fe ff\n"
                                      "  l  L[2]       +40/8\n"
                                      "    [0] L\n"
                                      "      v  ushort  +2/2      1\n"
                                      "        01 00\n"
                                      "  q  L*         +48/8     null\n"
                                      "  z  int**      +56/8     zero (the type can't come back)\n",
                                      ""}));
}

TEST_F(SbxmlInspectSmall, JsonHasAllFields) {
  EXPECT_EQ(
      Inspect({"--json", "--hex"}),
      (Said{
          "exit 0",
          R"({"kind":"record","path":"R","record":"R","size":72,"block":0,"block_offset":0})"
          "\n"
          R"({"kind":"item","path":"R/f","record":"R","item":"f","type":"float","offset":0,"size":4,"state":"set","block":0,"block_offset":0,"value":"inf","hex":"00 00 80 7f"})"
          "\n"
          R"({"kind":"item","path":"R/m","record":"R","item":"m","type":"byte[3]","offset":4,"size":3,"state":"set","block":0,"block_offset":4,"value":[1,2,255],"hex":"01 02 ff"})"
          "\n"
          R"({"kind":"item","path":"R/d","record":"R","item":"d","type":"double","offset":8,"size":8,"state":"set","block":0,"block_offset":8,"value":0.5,"hex":"00 00 00 00 00 00 e0 3f"})"
          "\n"
          R"({"kind":"item","path":"R/s","record":"R","item":"s","type":"wchar_t*","offset":16,"size":8,"state":"set","block":0,"block_offset":16,"target_block":1,"target_size":8,"value":"a\"\n"})"
          "\n"
          R"({"kind":"item","path":"R/p","record":"R","item":"p","type":"int*","offset":24,"size":8,"state":"set","block":0,"block_offset":24,"target_block":2,"target_size":4,"value":-1,"hex":"ff ff ff ff"})"
          "\n"
          R"({"kind":"item","path":"R/a","record":"R","item":"a","type":"short[2]*","offset":32,"size":8,"state":"set","block":0,"block_offset":32,"target_block":3,"target_size":4,"value":[1,-2],"hex":"01 00 fe ff"})"
          "\n"
          R"({"kind":"item","path":"R/l","record":"R","item":"l","type":"L[2]","offset":40,"size":8,"state":"set","block":0,"block_offset":40})"
          "\n"
          R"({"kind":"record","path":"R/l[0]","record":"L","size":4,"block":0,"block_offset":40})"
          "\n"
          R"({"kind":"item","path":"R/l[0]/v","record":"L","item":"v","type":"ushort","offset":2,"size":2,"state":"set","block":0,"block_offset":42,"value":1,"hex":"01 00"})"
          "\n"
          R"({"kind":"item","path":"R/q","record":"R","item":"q","type":"L*","offset":48,"size":8,"state":"null","block":0,"block_offset":48})"
          "\n"
          R"({"kind":"item","path":"R/z","record":"R","item":"z","type":"int**","offset":56,"size":8,"state":"refused","block":0,"block_offset":56})"
          "\n",
          ""}));
}

TEST_F(SbxmlInspectSmall, SaysWhichElementsAndItemsAreNotThere) {
  EXPECT_EQ(Inspect({}, "<X><R><p>1</p><p>2</p><p flag=\"null\"/><f>1</f><f/><m>1 2 3</m><m>9</m></R></X>"),
            (Said{"exit 0",
                  "R (72 bytes, block 0)\n"
                  "  p  int*       +24/8     -> block 1 (4 bytes) replaced by a later element\n"
                  "  p  int*       +24/8     -> block 2 (4 bytes) 2\n"
                  "  p  int*       +24/8     ignored: an earlier element stands\n"
                  "  f  float      +0/4      1.000000\n"
                  "  f  float      +0/4      ignored: an earlier element stands\n"
                  "  m  byte[3]    +4/3      replaced by a later element\n"
                  "  m  byte[3]    +4/3      9 2 3\n"
                  "  d  double     +8/8      zero (no element)\n"
                  "  s  wchar_t*   +16/8     zero (no element)\n"
                  "  a  short[2]*  +32/8     zero (no element)\n"
                  "  l  L[2]       +40/8     zero (no element)\n"
                  "  q  L*         +48/8     zero (no element)\n"
                  "  z  int**      +56/8     zero (no element)\n",
                  ""}));
}

TEST(SbxmlInspect, ShowsTypesAsTheRulesLeaveThem) {
  const ToolFolder folder("ruled");
  const Said said = folder.RunWithSet({"inspect", "good.xml"});
  EXPECT_EQ(said.ended, "exit 0");
  for (const char* const line :
       {"  names    wchar_t[5]*  +8/8      -> block 1 (10 bytes) 97 98 0 99 0\n",
        "  variant  wchar_t*     +24/8     -> block 2 (20 bytes) \"some text\"\n",
        "  leaves   Leaf[3]*     +40/8     -> block 3 (24 bytes)\n",
        "  owner    wchar_t*     +48/8     -> block 4 (6 bytes) \"me\"\n",
        "  shape    Shape        +56/16\n    read as Circle\n    form  int       +0/4      1\n"}) {
    EXPECT_THAT(said.output, HasSubstr(line));
  }
}

TEST(SbxmlInspect, ADocumentThatDoesNotLoadEndsWithFourAndShowsNothing) {
  const ToolFolder folder;
  folder.Write("job.xml", JobText().With("paper", "<paper/>"));
  EXPECT_EQ(
      folder.RunWithSet({"inspect", "job.xml"}),
      (Said{"exit 4", "",
            "job.xml:13:1: error: Job/paper: the element of a record must not be empty; SBXXMLToBinary: "
            "-9 SBX_E_CONTENT [does-not-load]\n"}));
}

}  // namespace
}  // namespace sbx::testing
