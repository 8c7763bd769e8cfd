#include "x2b/sbxml2bin.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "api/conversion_sets.h"
#include "api/conversion_state.h"
#include "rules/rule_set.h"
#include "support/failing_document.h"
#include "support/host_system.h"
#include "support/recording_log.h"
#include "support/sanitizers.h"

namespace sbx {
namespace {

using testing::IsWine;
using testing::LogLine;
using testing::ScopedLog;

WideString Item(WideView name, WideView type, int size, int offset) {
  WideString text =
      u"<JSStructItem name=\"" + WideString(name) + u"\" type=\"" + WideString(type) + u"\" size=\"";
  const std::string numbers = std::to_string(size) + "\" offset=\"" + std::to_string(offset) + "\"/>";
  return text.append(numbers.begin(), numbers.end());
}

WideString Record(WideView name, int size, std::initializer_list<WideString> items) {
  const std::string numbers =
      std::to_string(size) + "\" numOfItems=\"" + std::to_string(items.size()) + "\">";
  WideString text = u"<JSStruct name=\"" + WideString(name) + u"\" size=\"";
  text.append(numbers.begin(), numbers.end());
  for (const WideString& item : items) text += item;
  return text + u"</JSStruct>";
}

// A conversion over descriptions, rules and a document given as text.
class Rebuild : public ::testing::Test {
 protected:
  Rebuild() { DeleteConversionSets(); }  // those of an export's call before
  ~Rebuild() override { g_conversion = {}; }

  void Describe(std::initializer_list<WideString> records) {
    WideString text = u"<StructureDescription>";
    for (const WideString& record : records) text += record;
    text += u"</StructureDescription>";
    ASSERT_EQ(descriptions_.LoadFromXML(text.c_str()), kOk);
    g_conversion.cachedDescSet = &descriptions_;
    g_conversion.cachedRuleSet = &rules_;
  }
  void Rules(const WideString& rules) {
    ASSERT_EQ(rules_.LoadFromXML((u"<ConvertRuleDesc>" + rules + u"</ConvertRuleDesc>").c_str()), kOk);
  }
  // `records` is what stands in the document element.
  Status Convert(WideView records, WideView root = u"Root") {
    SBXML2Bin converter;
    handle_ = std::make_unique<JSHandle>();
    const WideString text =
        u"<JobScriptXMLDescription>" + WideString(records) + u"</JobScriptXMLDescription>";
    const Status status = converter.ConvertXMLToMemory(text, root, *handle_);
    errorText_ = converter.errorText();
    return status;
  }
  template <class Value>
  Value At(std::size_t offset, const void* record = nullptr) const {
    Value value;
    const void* const base = record == nullptr ? handle_->root : record;
    std::memcpy(&value, static_cast<const std::byte*>(base) + offset, sizeof value);
    return value;
  }
  std::size_t blocks() const { return handle_->blocks.size(); }

  JSPDBMemDesc descriptions_;
  JSConvertRulesDesc rules_;
  std::unique_ptr<JSHandle> handle_;
  WideString errorText_;
};

// --- the document ------------------------------------------------------------------------------------------

TEST_F(Rebuild, TheRootRecordIsTheFirstChildOfItsName) {
  Describe({Record(u"Root", 4, {Item(u"a", u"int", 4, 0)})});
  ASSERT_EQ(Convert(u"<Other><a>9</a></Other>text<Root><a>1</a></Root><Root><a>2</a></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 1);
  EXPECT_EQ(blocks(), 1u);
  EXPECT_EQ(handle_->totalSize, 4u);
}

TEST_F(Rebuild, TheTagOfTheDocumentElementIsNotLookedAt) {
  Describe({Record(u"Root", 4, {Item(u"a", u"int", 4, 0)})});
  SBXML2Bin converter;
  JSHandle handle;
  ASSERT_EQ(converter.ConvertXMLToMemory(u"<any><Root><a>3</a></Root></any>", u"Root", handle), kOk);
  EXPECT_EQ(At<std::int32_t>(0, handle.root), 3);
}

TEST_F(Rebuild, TextThatIsNoXmlFails) {
  Describe({Record(u"Root", 4, {Item(u"a", u"int", 4, 0)})});
  const ScopedLog log;
  EXPECT_EQ(Convert(u"<Root>"), kContent);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{0, u"Failed to load XML."}, {3, u"Load XML from string."}}));
  EXPECT_EQ(handle_->root, nullptr);
  EXPECT_EQ(errorText_, u"");
}

// A document as long as its records are many must not be read anew for each of them.
TEST_F(Rebuild, AConditionOnTheRootRecordIsReadOnceForAllRecords) {
  Describe({Record(u"Root", 44, {Item(u"kind", u"int", 4, 0), Item(u"list", u"Rec[10]", 40, 4)}),
            Record(u"Rec", 4, {Item(u"a", u"int", 4, 0)})});
  Rules(
      u"<Rules name='Rec'><RuleItem name='a' type='AlterType' alterto='uint' ref='Root.kind' refmethod='='"
      u" refvalue='5'/></Rules>");
  WideString list;
  for (int i = 0; i < 10; ++i) list += u"<Rec><a>1</a></Rec>";
  for (int round = 0; round < 2; ++round) {
    testing::ScopedFailures failures;
    ASSERT_EQ(Convert(u"<Root><kind>5</kind><list>" + list + u"</list></Root>"), kOk);
    // As an item, as a condition, and the records' own.
    const bool isKept = !xml::Document::New()->countsReferences();
    EXPECT_EQ(failures.calls(testing::DomCall::kGetText), 1 + (isKept ? 1 : 10) + 10);
    EXPECT_EQ(g_conversion.valueTexts, nullptr);
  }
}

TEST_F(Rebuild, AMissingRootRecordFails) {
  Describe({Record(u"Root", 4, {Item(u"a", u"int", 4, 0)})});
  const ScopedLog log;
  EXPECT_EQ(Convert(u"<root><a>1</a></root>"), kNotFound);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{3, u"Load XML from string."},
                                               {0, u"Invalid root structure in XML. Expected:[Root]"}}));
  EXPECT_EQ(errorText_, u"");
}

// --- documents that fail -----------------------------------------------------------------------------------

using testing::DomCall;

struct FailingCall {
  DomCall call;
  int nth;  // of the conversion's calls of that kind
  Status code;
  const char16_t* log;  // its one line at level 0; null for none
  std::int32_t value;   // of the item where the conversion went on
  const char* why;
};

TEST_F(Rebuild, EachQuestionToTheDocumentMayFail) {
  const FailingCall rows[] = {
      {DomCall::kNew, 1, kDom, u"COM error for creating XML Document instance.", 0, "no document"},
      {DomCall::kPreserveWhiteSpace, 1, kDom, u"COM error for put_preserveWhiteSpace.", 0, "no blanks kept"},
      {DomCall::kLoadXml, 1, kContent, u"Failed to load XML.", 0, "not loaded"},
      {DomCall::kDocumentElement, 1, kNotFound, u"Invalid root element in XML.", 0, "no document element"},
      {DomCall::kSelectChildElement, 1, kNotFound, u"Invalid root structure in XML. Expected:[Root]", 0,
       "no root record"},
      {DomCall::kTagName, 1, kDescription, u"No PDB info for struct .", 0, "a root without a name"},
      {DomCall::kHasChildNodes, 1, kContent, u"No child info in XML for struct Root.", 0, "no answer is no"},
      {DomCall::kSelectChildElements, 1, kOk, nullptr, 0, "no list is an empty one"},
      {DomCall::kTagName, 2, kOk, nullptr, 0, "a child without a name has no item"},
      {DomCall::kGetAttribute, 1, kOk, nullptr, 7, "no flag"},
      {DomCall::kGetText, 1, kOk, nullptr, 0, "no text is an empty one"},
  };
  Describe({Record(u"Root", 4, {Item(u"a", u"int", 4, 0)})});
  for (const FailingCall& row : rows) {
    SCOPED_TRACE(row.why);
    testing::ScopedFailures failures;
    failures.Fail(row.call, row.nth);
    const ScopedLog log(0);
    EXPECT_EQ(Convert(u"<Root><a>7</a></Root>"), row.code);
    EXPECT_EQ(log.lines(),
              row.log == nullptr ? std::vector<LogLine>{} : std::vector<LogLine>({LogLine{0, row.log}}));
    EXPECT_EQ(errorText_,
              row.call == DomCall::kTagName && row.nth == 1 ? u"Can't get PDB info for struct " : u"");
    EXPECT_EQ(handle_->root == nullptr, row.code != kOk);
    if (row.code == kOk) {
      EXPECT_EQ(At<std::int32_t>(0), row.value);
    }
  }
}

TEST_F(Rebuild, TheEndOfLoadingIsLoggedWhetherItWorkedOrNot) {
  Describe({Record(u"Root", 4, {Item(u"a", u"int", 4, 0)})});
  for (const DomCall call : {DomCall::kNew, DomCall::kPreserveWhiteSpace, DomCall::kLoadXml}) {
    testing::ScopedFailures failures;
    failures.Fail(call);
    const ScopedLog log;
    Convert(u"<Root><a>7</a></Root>");
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(log.lines()[1], (LogLine{3, u"Load XML from string."}));
  }
}

TEST_F(Rebuild, AnObjectServesOneConversion) {
  const ScopedLog log;
  SBXML2Bin converter;
  JSHandle handle;
  EXPECT_NE(converter.ConvertXMLToMemory(u"<a/>", u"Root", handle), kMemory);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{0, u"Invalid parameters for convert initializtion."}}));
}

TEST_F(Rebuild, AnUndescribedRootRecordFails) {
  Describe({Record(u"Root", 4, {Item(u"a", u"int", 4, 0)})});
  const ScopedLog log(0);
  EXPECT_EQ(Convert(u"<Job><a>1</a></Job>", u"Job"), kDescription);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{0, u"No PDB info for struct Job."}}));
  EXPECT_EQ(errorText_, u"Can't get PDB info for struct Job");
  EXPECT_EQ(blocks(), 0u);
}

// --- records and items -------------------------------------------------------------------------------------

TEST_F(Rebuild, ChildrenMayComeInAnyOrder) {
  Describe({Record(u"Root", 8, {Item(u"a", u"int", 4, 0), Item(u"b", u"int", 4, 4)})});
  ASSERT_EQ(Convert(u"<Root><b>2</b><a>1</a></Root>"), kOk);
  EXPECT_EQ(At<std::int64_t>(0), (std::int64_t{2} << 32) + 1);
}

TEST_F(Rebuild, AChildWithoutAnItemIsSkippedAndAnItemWithoutAChildStaysZero) {
  Describe(
      {Record(u"Root", 12, {Item(u"a", u"int", 4, 0), Item(u"b", u"int", 4, 4), Item(u"c", u"int", 4, 8)})});
  const ScopedLog log(0);
  ASSERT_EQ(Convert(u"<Root>x<A>9</A><a>1</a>y<zz><a>8</a></zz><c>3</c></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 1);
  EXPECT_EQ(At<std::int32_t>(4), 0);
  EXPECT_EQ(At<std::int32_t>(8), 3);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Rebuild, OfTwoChildrenOfOneItemTheLaterWins) {
  Describe({Record(u"Root", 16, {Item(u"a", u"int", 4, 0), Item(u"p", u"int*", 8, 8)})});
  ASSERT_EQ(Convert(u"<Root><a>1</a><p>5</p><a>2</a><p>6</p></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 2);
  EXPECT_EQ(At<std::int32_t>(0, At<void*>(8)), 6);
  EXPECT_EQ(blocks(), 3u) << "the first target stays owned";
}

TEST_F(Rebuild, AnEmptyElementLeavesWhatWasThereAndBlanksStoreZero) {
  Describe({Record(u"Root", 8, {Item(u"a", u"int", 4, 0), Item(u"b", u"int", 4, 4)})});
  ASSERT_EQ(Convert(u"<Root><a>1</a><b>1</b><a/><b> </b></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 1);
  EXPECT_EQ(At<std::int32_t>(4), 0);
}

TEST_F(Rebuild, ARecordElementWithoutChildNodesFails) {
  Describe({Record(u"Root", 16, {Item(u"a", u"int", 4, 0)})});
  const ScopedLog log(0);
  EXPECT_EQ(Convert(u"<Root/>"), kContent);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{0, u"No child info in XML for struct Root."}}));
  EXPECT_EQ(errorText_, u"");
  EXPECT_EQ(blocks(), 1u) << "the block stays in the handle";
  EXPECT_EQ(handle_->root, nullptr);
}

TEST_F(Rebuild, AnyChildNodeOfARecordWillDo) {
  Describe({Record(u"Root", 4, {Item(u"a", u"int", 4, 0)})});
  EXPECT_EQ(Convert(u"<Root> </Root>"), kOk) << "blanks are kept on load";
  EXPECT_EQ(Convert(u"<Root><!-- none --></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 0);
}

TEST_F(Rebuild, LogsEachRecordAndItemAtLevel3) {
  Describe({Record(u"Root", 4, {Item(u"a", u"int", 4, 0)})});
  const ScopedLog log(3);
  ASSERT_EQ(Convert(u"<Root><a>1</a></Root>"), kOk);
  const auto lines = log.lines();
  ASSERT_EQ(lines.size(), 3u);
  const Message record(u"Root(Size=4 Buffer_size=4 Ptr=0x%p).", handle_->root);
  EXPECT_EQ(lines[1], (LogLine{3, WideString(record.view())}));
  const Message item(u"a(Size=4 Offset=0 Type=int Ptr=0x%p).", handle_->root);
  EXPECT_EQ(lines[2], (LogLine{3, WideString(item.view())}));
}

TEST_F(Rebuild, TextAndPresentationAreShed) {
  Describe({Record(u"Root", 8, {Item(u"a", u"int", 4, 0), Item(u"b", u"uint", 4, 4)})});
  ASSERT_EQ(Convert(u"<Root><a>3  (Ready)</a><b>0x0000001F</b></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 3);
  EXPECT_EQ(At<std::uint32_t>(4), 31u);
}

TEST_F(Rebuild, TheWholeTextOfAnElementCounts) {
  Describe({Record(u"Root", 4, {Item(u"a", u"int", 4, 0)})});
  ASSERT_EQ(Convert(u"<Root><a>1<x>2</x><![CDATA[3]]><!--4--></a></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 123);
}

// --- checks of the description -----------------------------------------------------------------------------

struct BadItem {
  const char16_t* type;
  int size;
  int offset;
  const char* why;
};

TEST_F(Rebuild, AnItemThatContradictsItsDescriptionFails) {
  const BadItem rows[] = {
      {u"wchar_t[16]", 30, 0, "the chain measures 32"},
      {u"int", 2, 0, "size 4 described as 2"},
      {u"int*", 4, 0, "a pointer is 8 bytes"},
      {u"int64", 8, 60, "ends behind the record"},
      {u"int", 4, 2147483647, "offset plus size passes 32 bits"},
      {u"int[1073741825]", 4, 0, "count times size passes 32 bits"},
      {u"int[1073741824][2]", 4, 0, "the product of the counts turns negative"},
  };
  for (const BadItem& row : rows) {
    SCOPED_TRACE(row.why);
    descriptions_.LoadFromXML(u"<StructureDescription/>");
    Describe({Record(u"Root", 64, {Item(u"a", row.type, row.size, row.offset)})});
    const ScopedLog log(0);
    const Status status = Convert(u"<Root><a>1</a></Root>");
    if (WideView(row.type).ends_with(u"[2]")) {
      EXPECT_EQ(status, kOk) << "a refused type string skips the item";
      EXPECT_EQ(errorText_, u"Invalid type string null type in XML element a");
      continue;
    }
    EXPECT_EQ(status, kDescription);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{0, u"Invalid PDB info for the item a in struct Root."}}));
    EXPECT_EQ(errorText_, u"Invalid PDB info for the item a in struct Root");
  }
}

TEST_F(Rebuild, AnItemMayEndWithItsRecord) {
  Describe({Record(u"Root", 16, {Item(u"a", u"int64", 8, 8)})});
  ASSERT_EQ(Convert(u"<Root><a>-1</a></Root>"), kOk);
  EXPECT_EQ(At<std::int64_t>(8), -1);
}

TEST_F(Rebuild, ARefusedTypeStringSkipsTheItemAndItsTextStays) {
  Describe(
      {Record(u"Root", 24, {Item(u"v", u"int**", 8, 0), Item(u"a", u"int", 4, 8), Item(u"r", u"Sub", 4, 12)}),
       Record(u"Sub", 4, {Item(u"x", u"int", 4, 0)})});
  const ScopedLog log(0);
  ASSERT_EQ(Convert(u"<Root><v>1</v><a>2</a></Root>"), kOk);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{0, u"Invalid type string null type in XML element v."}}));
  EXPECT_EQ(At<std::int32_t>(8), 2);
  EXPECT_EQ(errorText_, u"Invalid type string null type in XML element v");

  EXPECT_EQ(Convert(u"<Root><v>1</v><r/></Root>"), kContent);
  EXPECT_EQ(errorText_, u"Invalid type string null type in XML element v")
      << "the later failure sets no text";
}

// --- pointers, strings, flags ------------------------------------------------------------------------------

TEST_F(Rebuild, AStringGetsABlockUnlessItIsNull) {
  Describe({Record(
      u"Root", 24,
      {Item(u"s", u"wchar_t*", 8, 0), Item(u"n", u"wchar_t*", 8, 8), Item(u"e", u"wchar_t*", 8, 16)})});
  ASSERT_EQ(Convert(u"<Root><s> a&amp;b </s><n flag=\"null\">x</n><e/></Root>"), kOk);
  EXPECT_EQ(WideString(At<const char16_t*>(0)), u" a&b ");
  EXPECT_EQ(At<void*>(8), nullptr);
  EXPECT_EQ(*At<const char16_t*>(16), u'\0');
  EXPECT_EQ(blocks(), 3u);
  EXPECT_EQ(handle_->totalSize, 24u + 12u + 2u);
}

TEST_F(Rebuild, ANarrowStringIsRebuiltAsAWideOne) {
  Describe({Record(u"Root", 8, {Item(u"s", u"char*", 8, 0)})});
  ASSERT_EQ(Convert(u"<Root><s>abc</s></Root>"), kOk);
  EXPECT_EQ(WideString(At<const char16_t*>(0)), u"abc") << "the rule pass turned the item into a wide string";
}

TEST_F(Rebuild, FlaggedContentIsDecoded) {
  Describe({Record(u"Root", 16, {Item(u"s", u"wchar_t*", 8, 0), Item(u"t", u"wchar_t*", 8, 8)})});
  ASSERT_EQ(Convert(u"<Root><s flag=\"binary\">41000100</s><t flag=\"other\">4100</t></Root>"), kOk);
  EXPECT_EQ(WideString(At<const char16_t*>(0)), u"A\x01");
  EXPECT_EQ(WideString(At<const char16_t*>(8)), u"4100") << "any other flag means plain text";
}

TEST_F(Rebuild, FlaggedContentOfNumbersAndArraysIsDecodedToo) {
  Describe({Record(u"Root", 24,
                   {Item(u"n", u"int", 4, 0), Item(u"a", u"short[2]", 4, 4), Item(u"p", u"int*", 8, 8),
                    Item(u"s", u"wchar_t*", 8, 16)})});
  ASSERT_EQ(Convert(u"<Root><n flag=\"binary\">37000000</n><a flag=\"bin_utf8\">3120203332</a>"
                    u"<p flag=\"binary\">38003900</p><s flag=\"bin_utf8\">C3A9C3A9</s></Root>"),
            kOk);
  EXPECT_EQ(At<std::int32_t>(0), 7);
  EXPECT_EQ(At<std::int16_t>(4), 1);
  EXPECT_EQ(At<std::int16_t>(6), 3) << "ten digits give four bytes";
  EXPECT_EQ(At<std::int32_t>(0, At<void*>(8)), 89);
  EXPECT_EQ(WideString(At<const char16_t*>(16)), u"\u00E9\u00E9");
}

TEST_F(Rebuild, DigitsThatAreNoneGiveAnEmptyText) {
  Describe({Record(u"Root", 16, {Item(u"n", u"int", 4, 0), Item(u"s", u"wchar_t*", 8, 8)})});
  ASSERT_EQ(Convert(u"<Root><n>5</n><n flag=\"binary\">xx00</n><s flag=\"binary\">410G</s></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 5) << "which leaves a number as it was";
  EXPECT_EQ(WideString(At<const char16_t*>(8)), u"");
}

TEST_F(Rebuild, APointerGetsItsBlockEvenWithoutContent) {
  Describe({Record(u"Root", 16, {Item(u"p", u"int*", 8, 0), Item(u"q", u"int*", 8, 8)})});
  ASSERT_EQ(Convert(u"<Root><p/><q flag=\"null\">3</q></Root>"), kOk);
  ASSERT_NE(At<void*>(0), nullptr);
  EXPECT_EQ(At<std::int32_t>(0, At<void*>(0)), 0);
  EXPECT_EQ(At<void*>(8), nullptr);
  EXPECT_EQ(handle_->totalSize, 20u);
}

TEST_F(Rebuild, TheNullFlagMeansNothingOnOtherItems) {
  Describe({Record(u"Root", 4, {Item(u"a", u"int", 4, 0)})});
  ASSERT_EQ(Convert(u"<Root><a flag=\"null\">3</a></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 3);
  ASSERT_EQ(Convert(u"<Root><a FLAG=\"null\" other=\"1\">4</a></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 4);
}

TEST_F(Rebuild, AVoidPointerComesBackAsNullOnly) {
  Describe({Record(u"Root", 8, {Item(u"v", u"void*", 8, 0)})});
  ASSERT_EQ(Convert(u"<Root><v flag=\"null\"/></Root>"), kOk);
  EXPECT_EQ(At<void*>(0), nullptr);
  const ScopedLog log(0);
  EXPECT_EQ(Convert(u"<Root><v flag=\"unknown\"/></Root>"), kDescription);
  EXPECT_EQ(log.lines(),
            (std::vector<LogLine>{{0, u"Failed to parse item type of void* in XML element v."}}));
  EXPECT_EQ(errorText_, u"Failed to parse item type in XML element v");
}

TEST_F(Rebuild, AnEmptyElementBehindARecordPointerGetsItsBlockAndFails) {
  Describe({Record(u"Root", 8, {Item(u"p", u"Sub*", 8, 0)}), Record(u"Sub", 4, {Item(u"x", u"int", 4, 0)})});
  EXPECT_EQ(Convert(u"<Root><p/></Root>"), kContent);
  EXPECT_EQ(blocks(), 2u);
  EXPECT_EQ(handle_->root, nullptr);
}

TEST_F(Rebuild, RecordsInsideAndBehindItemsAreFilled) {
  Describe({Record(u"Root", 24,
                   {Item(u"in", u"Sub", 8, 0), Item(u"at", u"Sub*", 8, 8), Item(u"z", u"int", 4, 16)}),
            Record(u"Sub", 8, {Item(u"x", u"int", 4, 0), Item(u"y", u"int", 4, 4)})});
  ASSERT_EQ(Convert(u"<Root><in><x>1</x><y>2</y></in><at><y>4</y></at><z>5</z></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 1);
  EXPECT_EQ(At<std::int32_t>(4), 2);
  EXPECT_EQ(At<std::int32_t>(4, At<void*>(8)), 4);
  EXPECT_EQ(At<std::int32_t>(16), 5);
  EXPECT_EQ(handle_->totalSize, 32u);
}

TEST_F(Rebuild, ATargetOfMoreThan31BitsIsRefused) {
  Describe({Record(u"Root", 8, {Item(u"p", u"int64[268435456]*", 8, 0)})});
  const ScopedLog log(0);
  EXPECT_EQ(Convert(u"<Root><p>1</p></Root>"), kContent);
  EXPECT_EQ(log.lines(),
            (std::vector<LogLine>{{0, u"Invalid size of type  in XML element p(Size: -2147483648)."}}));
  EXPECT_EQ(errorText_, u"Invalid size of type  in XML element p(Size: -2147483648)");
  EXPECT_EQ(blocks(), 1u) << "nothing was made for it";
}

// --- arrays of records -------------------------------------------------------------------------------------

class RecordArrays : public Rebuild {
 protected:
  void SetUp() override {
    Describe({Record(u"Root", 16, {Item(u"list", u"Sub[2]", 8, 0), Item(u"far", u"Sub[2]*", 8, 8)}),
              Record(u"Sub", 4, {Item(u"x", u"int", 4, 0)}), Record(u"Alt", 4, {Item(u"h", u"short", 2, 2)}),
              Record(u"Big", 8, {Item(u"x", u"int", 4, 4)})});
  }
};

TEST_F(RecordArrays, TakeOneChildForEachEntry) {
  ASSERT_EQ(Convert(u"<Root><list> <Sub><x>1</x></Sub> <Sub><x>2</x></Sub> </list>"
                    u"<far><Sub><x>3</x></Sub></far></Root>"),
            kOk);
  EXPECT_EQ(At<std::int32_t>(0), 1);
  EXPECT_EQ(At<std::int32_t>(4), 2);
  EXPECT_EQ(At<std::int32_t>(0, At<void*>(8)), 3);
  EXPECT_EQ(At<std::int32_t>(4, At<void*>(8)), 0) << "fewer children leave zeros";
}

TEST_F(RecordArrays, IgnoreSurplusChildren) {
  ASSERT_EQ(Convert(u"<Root><list><Sub><x>1</x></Sub><Sub><x>2</x></Sub><Sub/><Nope/></list></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(4), 2);
}

TEST_F(RecordArrays, WithoutChildNodesStayZero) {
  ASSERT_EQ(Convert(u"<Root><list/><far> </far></Root>"), kOk);
  EXPECT_EQ(At<std::int64_t>(0), 0);
  EXPECT_NE(At<void*>(8), nullptr);
}

TEST_F(RecordArrays, AcceptAnotherRecordOfTheSameSize) {
  ASSERT_EQ(Convert(u"<Root><list><Alt><h>7</h></Alt><Sub><x>2</x></Sub></list></Root>"), kOk);
  EXPECT_EQ(At<std::int16_t>(2), 7);
  EXPECT_EQ(At<std::int32_t>(4), 2);
}

TEST_F(RecordArrays, RefuseUnknownRecordsAndOtherSizes) {
  for (const WideView tag : {u"Big", u"Nope"}) {
    const ScopedLog log(0);
    const WideString element = u"<" + WideString(tag) + u"><x>1</x></" + WideString(tag) + u">";
    EXPECT_EQ(Convert(u"<Root><list>" + element + u"</list></Root>"), kContent);
    const WideString text = u"Invalid struct when reading array of struct " + WideString(tag);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{0, text + u"."}}));
    EXPECT_EQ(errorText_, text);
  }
}

TEST_F(RecordArrays, AnEmptyEntryFails) {
  EXPECT_EQ(Convert(u"<Root><list><Sub/></list></Root>"), kContent);
}

// --- arrays of primaries -----------------------------------------------------------------------------------

struct ArrayCase {
  const char16_t* text;
  std::int32_t values[4];
  const char* why;
};

TEST_F(Rebuild, ArraysOfPrimariesAreOneTextOfValues) {
  const ArrayCase rows[] = {
      {u"1 2 3 4", {1, 2, 3, 4}, "one blank between"},
      {u"  1   2 3 4  ", {1, 2, 3, 4}, "runs of blanks count as one"},
      {u"1 2", {1, 2, 0, 0}, "fewer leave zeros"},
      {u"1 2 3 4 5 6", {1, 2, 3, 4}, "more are ignored"},
      {u"0x10  20", {16, 20, 0, 0}, "hexadecimal among decimals"},
      {u"1 2 3 (x)", {1, 2, 3, 0}, "presentation text stores 0"},
      {u"1 (x y) 7", {1, 0, 0, 7}, "tokens behind it are still cut"},
      {u"1 2(x 3", {1, 2, 3, 0}, "it may begin inside a token"},
      {u"(1 2", {0, 2, 0, 0}, "or at the start"},
      {u"1\t2 3", {1, 3, 0, 0}, "a tab does not separate"},
      {u"1\n 2", {1, 2, 0, 0}, "nor does a line end, which stays in its token"},
      {u"   ", {0, 0, 0, 0}, "blanks alone"},
      {u"", {0, 0, 0, 0}, "nothing at all"},
  };
  Describe({Record(u"Root", 16, {Item(u"a", u"int[4]", 16, 0)})});
  for (const ArrayCase& row : rows) {
    SCOPED_TRACE(row.why);
    ASSERT_EQ(Convert(u"<Root><a>" + WideString(row.text) + u"</a></Root>"), kOk);
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(At<std::int32_t>(i * 4), row.values[i]) << i;
  }
}

TEST_F(Rebuild, AnEmptyTokenStoresZeroOverWhatWasThere) {
  Describe({Record(u"Root", 8, {Item(u"a", u"int[2]", 8, 0)})});
  ASSERT_EQ(Convert(u"<Root><a>5 6</a><a>7 (x)</a></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 7);
  EXPECT_EQ(At<std::int32_t>(4), 0);
}

TEST_F(Rebuild, AnArrayBehindAPointerIsOneBlock) {
  Describe({Record(u"Root", 8, {Item(u"a", u"short[3]*", 8, 0)})});
  ASSERT_EQ(Convert(u"<Root><a>1 -2 3</a></Root>"), kOk);
  EXPECT_EQ(At<std::int16_t>(2, At<void*>(0)), -2);
  EXPECT_EQ(handle_->totalSize, 14u);
}

TEST_F(Rebuild, AnArrayIsLoggedWhenItHasText) {
  Describe({Record(u"Root", 8, {Item(u"a", u"int[2]", 8, 0)})});
  const ScopedLog log(3);
  ASSERT_EQ(Convert(u"<Root><a>1</a><a/></Root>"), kOk);
  int seen = 0;
  for (const LogLine& line : log.lines()) seen += line == LogLine{3, u"Array[2](Buffer_size=8)."} ? 1 : 0;
  EXPECT_EQ(seen, 1);
}

// --- relocation --------------------------------------------------------------------------------------------

WideString Relocation(WideView record, WideView to) {
  return u"<Rules name=\"" + WideString(record) +
         u"\"><RuleItem name=\"r\" type=\"RelocateStructName\" structname=\"" + WideString(to) +
         u"\"/></Rules>";
}

class Relocations : public Rebuild {
 protected:
  void SetUp() override {
    Describe({Record(u"Root", 16, {Item(u"in", u"Sub", 4, 0), Item(u"list", u"Sub[2]", 8, 4)}),
              Record(u"Sub", 4, {Item(u"x", u"int", 4, 0)}), Record(u"Same", 4, {Item(u"h", u"short", 2, 2)}),
              Record(u"Small", 2, {Item(u"h", u"short", 2, 0)}),
              Record(u"Big", 8, {Item(u"x", u"int", 4, 4)}),
              Record(u"Root2", 16, {Item(u"z", u"int", 4, 0)})});
  }
};

TEST_F(Relocations, AnEmbeddedRecordIsReadUnderTheOther) {
  Rules(Relocation(u"Sub", u"Same"));
  const ScopedLog log(4);
  ASSERT_EQ(Convert(u"<Root><in><x>1</x><h>7</h></in></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 7 << 16);
  bool told = false;
  for (const LogLine& line : log.lines()) told |= line == LogLine{4, u"{Reloate struct Sub to Same}."};
  EXPECT_TRUE(told);
}

TEST_F(Relocations, ItIsOneStepAndRunsNoFurtherRules) {
  Rules(Relocation(u"Sub", u"Same") + Relocation(u"Same", u"Small"));
  ASSERT_EQ(Convert(u"<Root><in><h>7</h></in></Root>"), kOk);
  EXPECT_EQ(At<std::int16_t>(2), 7);
}

TEST_F(Relocations, AnotherSizeFails) {
  Rules(Relocation(u"Sub", u"Big"));
  const ScopedLog log(0);
  EXPECT_EQ(Convert(u"<Root><in><x>1</x></in></Root>"), kDescription);
  EXPECT_EQ(log.lines(),
            (std::vector<LogLine>{{0, u"PDB info error for struct Big(size: 8, buffer size: 4)."}}));
}

TEST_F(Relocations, AnUnknownRecordIsMinusOneWithItsText) {
  Rules(Relocation(u"Sub", u"Nope"));
  for (const WideView records :
       {u"<Root><in><x>1</x></in></Root>", u"<Root><list><Sub><x>1</x></Sub></list></Root>"}) {
    const ScopedLog log(0);
    EXPECT_EQ(Convert(records), kNotFound);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{0, u"No PDB info for the relocated struct Nope."}}));
    EXPECT_EQ(errorText_, u"Can't find the PDB info for the relocated struct Nope");
  }
}

TEST_F(Relocations, TheRootIsFilledByItsTagAndOnlyItsSizeChanges) {
  Rules(Relocation(u"Root", u"Root2"));
  ASSERT_EQ(Convert(u"<Root><z>1</z><in><x>5</x></in></Root>"), kOk);
  EXPECT_EQ(At<std::int32_t>(0), 5) << "the description of the tag, not the relocated one";

  Rules(Relocation(u"Root", u"Sub"));
  const ScopedLog log(0);
  EXPECT_EQ(Convert(u"<Root><in><x>5</x></in></Root>"), kDescription);
  EXPECT_EQ(log.lines(),
            (std::vector<LogLine>{{0, u"PDB info error for struct Root(size: 16, buffer size: 4)."}}));
}

TEST_F(Relocations, OfAnEntryHoldsForAllLaterEntries) {
  Rules(Relocation(u"Sub", u"Same"));
  ASSERT_EQ(Convert(u"<Root><list><Sub><h>1</h></Sub><Same><h>2</h></Same></list></Root>"), kOk);
  EXPECT_EQ(At<std::int16_t>(6), 1);
  EXPECT_EQ(At<std::int16_t>(10), 2);
}

TEST_F(Relocations, OfAnEntryMakesTheArraysOwnRecordAnother) {
  Rules(Relocation(u"Sub", u"Same"));
  const ScopedLog log(4);
  // The second entry's tag is no longer that of the record in hand: its rules run all the same, but it is
  // filled by the description of its tag.
  ASSERT_EQ(Convert(u"<Root><list><Sub><h>1</h></Sub><Sub><x>5</x><h>9</h></Sub></list></Root>"), kOk);
  EXPECT_EQ(At<std::int16_t>(6), 1);
  EXPECT_EQ(At<std::int32_t>(8), 5);
  const auto lines = log.lines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), LogLine{4, u"{Reloate struct Sub to Same}."}), 2);
}

TEST_F(Relocations, OfAnEntryOfAnotherNameMustKeepItsSize) {
  Rules(Relocation(u"Same", u"Small"));
  const ScopedLog log(0);
  EXPECT_EQ(Convert(u"<Root><list><Same><h>1</h></Same></list></Root>"), kDescription);
  EXPECT_EQ(log.lines(),
            (std::vector<LogLine>{{0, u"PDB info error for struct Same(size: 4, buffer size: 2)."}}));
}

TEST_F(Relocations, OfAnEntryToASmallerRecordMovesTheNextOneUp) {
  Rules(Relocation(u"Sub", u"Small"));
  ASSERT_EQ(Convert(u"<Root><list><Sub><h>1</h></Sub><Small><h>2</h></Small></list></Root>"), kOk);
  EXPECT_EQ(At<std::int16_t>(4), 1);
  EXPECT_EQ(At<std::int16_t>(6), 2) << "entries lie as close as the record that they are read under";
}

TEST_F(Relocations, AnEntryLargerThanTheRestIsNotWritten) {
  Rules(Relocation(u"Sub", u"Big"));
  ASSERT_EQ(Convert(u"<Root><list><Sub><x>1</x></Sub></list></Root>"), kOk) << "8 bytes fit once";
  EXPECT_EQ(At<std::int32_t>(8), 1);
  const ScopedLog log(0);
  EXPECT_EQ(Convert(u"<Root><list><Sub><x>1</x></Sub><Big><x>2</x></Big></list></Root>"), kDescription);
  EXPECT_EQ(log.lines(),
            (std::vector<LogLine>{{0, u"PDB info error for struct Big(size: 8, buffer size: 0)."}}));
}

TEST_F(Rebuild, ARelocatedRecordsNarrowStringsStayNarrow) {
  Describe({Record(u"Root", 8, {Item(u"in", u"Sub", 8, 0)}), Record(u"Sub", 8, {Item(u"x", u"int64", 8, 0)}),
            Record(u"Text", 8, {Item(u"s", u"char*", 8, 0)})});
  Rules(Relocation(u"Sub", u"Text"));
  ASSERT_EQ(Convert(u"<Root><in><s>abc</s></in></Root>"), kOk);
  EXPECT_STREQ(At<const char*>(0), "abc");
  EXPECT_EQ(handle_->totalSize, 24u);
}

// --- hostile documents -------------------------------------------------------------------------------------

TEST_F(Rebuild, AVeryDeepDocumentEndsInACode) {
  if (IsWine()) GTEST_SKIP() << "Wine loads 256 levels only";
  if (testing::kThreadSanitized)
    GTEST_SKIP() << "ThreadSanitizer ends programs that nest their calls so deep";
  Describe({Record(u"Root", 16, {Item(u"n", u"Root*", 8, 0), Item(u"v", u"int", 4, 8)})});
  constexpr std::size_t kDepth = 100000;
  WideString text;
  for (std::size_t i = 0; i < kDepth; ++i) text += u"<n>";
  text += u"<v>1</v>";
  for (std::size_t i = 0; i < kDepth; ++i) text += u"</n>";
  const ScopedLog log(0);
  const Status status = Convert(u"<Root>" + text + u"</Root>");
  if (status == kOk) {
    EXPECT_EQ(blocks(), kDepth + 1);
    return;
  }
  EXPECT_EQ(status, kMemory);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{0, u"Stack exhausted for converting struct Root."}}));
  EXPECT_EQ(errorText_, u"Stack exhausted for converting struct Root");
}

}  // namespace
}  // namespace sbx
