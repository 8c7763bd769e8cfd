// Records and items: what is checked, logged and reported, in which order.
#include <algorithm>
#include <array>
#include <limits>
#include <thread>

#include "support/sanitizers.h"
#include "walk_fixture.h"

namespace sbx::testing {
namespace {

constexpr std::array<std::int32_t, 8> kNumbers = {1, 2, 3, 4, 5, 6, 7, 8};

using StructWalk = WalkTest;

TEST_F(StructWalk, WritesItemsInDocumentOrderWhateverTheirOffsets) {
  JSStructDesc* record = Describe(u"Job", 8, {{u"B", u"int", 4, 4}, {u"A", u"int", 4, 0}});
  EXPECT_EQ(Convert(record, kNumbers.data()), kOk);
  EXPECT_EQ(Xml(), "<Job><B>2</B><A>1</A></Job>");
  EXPECT_TRUE(walk.errorText.empty());
}

TEST_F(StructWalk, OverlappingItemsEachGetAnElement) {
  JSStructDesc* record = Describe(u"Job", 4, {{u"A", u"int", 4, 0}, {u"B", u"short", 2, 0}});
  EXPECT_EQ(Convert(record, kNumbers.data()), kOk);
  EXPECT_EQ(Xml(), "<Job><A>1</A><B>1</B></Job>");
}

TEST_F(StructWalk, LogsARecordWithItemsAtLevel3) {
  JSStructDesc* record = Describe(u"Job", 4, {{u"A", u"int", 4, 0}});
  EXPECT_EQ(Convert(record, kNumbers.data()), kOk);
  EXPECT_EQ(
      log.lines(),
      (std::vector<LogLine>{{3, Text(u"Job(Size=4 Ptr=0x%p).", AddressArg(AddressOf(kNumbers.data())))}}));
}

TEST_F(StructWalk, ARecordWithoutItemsIsOneEmptyElementAndNoLine) {
  EXPECT_EQ(Convert(Describe(u"Job", 4), kNumbers.data()), kOk);
  EXPECT_EQ(Xml(), "<Job/>");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(StructWalk, ARecordWithoutItemsAndElementAddsNothing) {
  EXPECT_EQ(Convert(Describe(u"Job", 4), kNumbers.data(), Element::kCurrent), kOk);
  EXPECT_EQ(Xml(), "");
}

TEST_F(StructWalk, RefusesNullArguments) {
  JSStructDesc* record = Describe(u"Job", 4);
  XMLDOMHelper* const kept = walk.helper;
  EXPECT_EQ(walk.ConvertStruct(nullptr, 1, Element::kOwn), kParameter);
  EXPECT_EQ(walk.ConvertStruct(record, 0, Element::kOwn), kParameter);
  walk.helper = nullptr;
  EXPECT_EQ(Convert(record, kNumbers.data()), kParameter);
  walk.helper = kept;
  EXPECT_EQ(Lines(), Texts(3, u"Invalid parameters for converting B2X."));
  EXPECT_EQ(walk.errorText, u"Invalid parameters");
  EXPECT_EQ(Xml(), "");
}

TEST_F(StructWalk, RefusesARecordWithoutSize) {
  JSStructDesc* record = Describe(u"Job", 4);
  for (const std::int32_t size : {0, -1}) {
    record->size = size;
    log.Clear();
    EXPECT_EQ(Convert(record, kNumbers.data()), kDescription);
    EXPECT_EQ(Lines(), Texts{Text(u"Invalid PDB info for struct Job(size: %d).", size)});
    EXPECT_EQ(walk.errorText, u"Invalid the PDB info for the struct size Job");
  }
  EXPECT_EQ(Xml(), "");
}

TEST_F(StructWalk, ANameThatXmlRefusesFailsTheRecord) {
  if (testing::IsWine()) GTEST_SKIP() << "Wine's document takes any name";
  EXPECT_EQ(Convert(Describe(u"a b", 4), kNumbers.data()), kDom);
  EXPECT_EQ(Lines(),
            (Texts{u"COM error for creating element(Name: a b).", u"Can't create XML element for a b"}));
  EXPECT_EQ(walk.errorText, u"Can't create XML element for a b");
  EXPECT_EQ(CurrentElement(), "JobScriptXMLDescription");
}

struct PlaceCase {
  std::int32_t size;
  std::int32_t offset;
  const char16_t* log;
  const char* why;
};

TEST_F(StructWalk, AnItemOutsideItsRecordFailsWhenItIsReached) {
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  const PlaceCase cases[] = {
      {0, 0, u"Invalid PDB info for struct item Bad(size:0, offset:0).", "no size"},
      {-4, 0, u"Invalid PDB info for struct item Bad(size:-4, offset:0).", "negative size"},
      {4, -1, u"Invalid PDB info for struct item Bad(size:4, offset:-1).", "negative offset"},
      {4, 5, u"Invalid PDB info for struct item Bad( size(4) + offset(5) > struct size(8) ).",
       "one byte over"},
      {kMost, 4, u"Invalid PDB info for struct item Bad( size(2147483647) + offset(4) > struct size(8) ).",
       "the sum passes 32 bits"},
      {kMost, kMost,
       u"Invalid PDB info for struct item Bad( size(2147483647) + offset(2147483647) > struct size(8) ).",
       "the largest sum"},
  };
  JSStructDesc* record = Describe(u"Job", 8, {{u"Good", u"int", 4, 0}, {u"Bad", u"int", 4, 4}});
  for (const PlaceCase& test : cases) {
    SCOPED_TRACE(test.why);
    record->FindItem(u"Bad")->size = test.size;
    record->FindItem(u"Bad")->offset = test.offset;
    log.Clear();
    walk.errorText.clear();
    EXPECT_EQ(Convert(record, kNumbers.data()), kDescription);
    EXPECT_EQ(Lines(), Texts{test.log});
    EXPECT_EQ(walk.errorText, u"Invalid the PDB info for the struct item Bad");
    EXPECT_EQ(CurrentElement(), "JobScriptXMLDescription");
  }
  EXPECT_EQ(Xml().substr(0, 33), "<Job><Good>1</Good></Job><Job><Go") << "earlier items stay";
}

TEST_F(StructWalk, AnItemThatEndsWithItsRecordConverts) {
  JSStructDesc* record = Describe(u"Job", 8, {{u"Last", u"int", 4, 4}});
  EXPECT_EQ(Convert(record, kNumbers.data()), kOk);
  EXPECT_EQ(Xml(), "<Job><Last>2</Last></Job>");
}

TEST_F(StructWalk, StopsAtTheFirstItemThatFailsAndLogsAPairOfLines) {
  JSStructDesc* record = Describe(
      u"Job", 16, {{u"A", u"int", 4, 0}, {u"B", u"int", 4, 4}, {u"C", u"Gone", 4, 8}, {u"D", u"int", 4, 12}});
  EXPECT_EQ(Convert(record, kNumbers.data()), kDescription);
  EXPECT_EQ(Lines(), (Texts{u"Invalid PDB size info for type Gone(Buffer size: 4, Element size: -2).",
                            Text(u"item failed. name:Job::C, type: Gone, offset:8, size: 4, addr:0x%p, rc:-4",
                                 AddressArg(AddressOf(kNumbers.data()) + 8)),
                            u"Failed to convert item. item:Job::C, offset:8, type:Gone, size:4, rc=-4"}));
  EXPECT_EQ(walk.errorText, u"Invalid size for the type Gone");
  EXPECT_EQ(Xml(), "<Job><A>1</A><B>2</B><C/></Job>");
  EXPECT_EQ(CurrentElement(), "JobScriptXMLDescription");
}

TEST_F(StructWalk, EachLevelAddsItsPairOfLinesInnermostFirst) {
  Describe(u"Inner", 4, {{u"Bad", u"Gone", 4, 0}});
  Describe(u"Middle", 4, {{u"In", u"Inner", 4, 0}});
  JSStructDesc* outer = Describe(u"Outer", 4, {{u"Mid", u"Middle", 4, 0}});
  EXPECT_EQ(Convert(outer, kNumbers.data()), kDescription);
  const FormatArg at = AddressArg(AddressOf(kNumbers.data()));
  EXPECT_EQ(
      Lines(),
      (Texts{u"Invalid PDB size info for type Gone(Buffer size: 4, Element size: -2).",
             Text(u"item failed. name:Inner::Bad, type: Gone, offset:0, size: 4, addr:0x%p, rc:-4", at),
             u"Failed to convert item. item:Inner::Bad, offset:0, type:Gone, size:4, rc=-4",
             Text(u"item failed. name:Middle::In, type: Inner, offset:0, size: 4, addr:0x%p, rc:-4", at),
             u"Failed to convert item. item:Middle::In, offset:0, type:Inner, size:4, rc=-4",
             Text(u"item failed. name:Outer::Mid, type: Middle, offset:0, size: 4, addr:0x%p, rc:-4", at),
             u"Failed to convert item. item:Outer::Mid, offset:0, type:Middle, size:4, rc=-4"}));
  EXPECT_EQ(walk.errorText, u"Invalid size for the type Gone") << "the failing level's";
}

// --- items -------------------------------------------------------------------------------------------------

using ItemWalk = WalkTest;

TEST_F(ItemWalk, RefusesNullArgumentsAndBadPlaces) {
  JSStructDesc* record = Describe(u"Job", 8, {{u"A", u"int", 4, 0}});
  JSStructItemDesc* item = record->FindItem(u"A");
  const std::uintptr_t address = AddressOf(kNumbers.data());
  EXPECT_EQ(walk.ConvertItem(nullptr, item, address), kParameter);
  EXPECT_EQ(walk.ConvertItem(record, nullptr, address), kParameter);
  EXPECT_EQ(walk.ConvertItem(record, item, 0), kParameter);
  item->offset = -1;
  EXPECT_EQ(walk.ConvertItem(record, item, address), kParameter);
  item->offset = 0;
  item->size = 0;
  EXPECT_EQ(walk.ConvertItem(record, item, address), kParameter);
  EXPECT_EQ(Lines(), Texts(5, u"Invalid parameters for converting item."));
  EXPECT_EQ(walk.errorText, u"Invalid parameters");
}

TEST_F(ItemWalk, NeedsADocument) {
  JSStructDesc* record = Describe(u"Job", 8, {{u"A", u"int", 4, 0}});
  walk.helper = nullptr;
  EXPECT_EQ(walk.ConvertItem(record, record->FindItem(u"A"), AddressOf(kNumbers.data())), kState);
  EXPECT_EQ(Lines(), Texts{u"Init error for converting item."});
  EXPECT_EQ(walk.errorText, u"Invalid XMLDOMHelper");
}

TEST_F(ItemWalk, NeedsANameAndAType) {
  JSStructDesc* record = Describe(u"Job", 8, {{u"A", u"int", 4, 0}});
  JSStructItemDesc* item = record->FindItem(u"A");
  item->SetType(u"");
  EXPECT_EQ(walk.ConvertItem(record, item, AddressOf(kNumbers.data())), kDescription);
  EXPECT_EQ(Lines(), Texts{u"Invalid PDB info for struct item A(type: )."});
  EXPECT_EQ(walk.errorText, u"Invalid the PDB info for the struct item A");
  EXPECT_EQ(Xml(), "");

  JSStructItemDesc nameless(u"", u"int", 4, 0, u"", u"");
  log.Clear();
  EXPECT_EQ(walk.ConvertItem(record, &nameless, AddressOf(kNumbers.data())), kDescription);
  EXPECT_EQ(Lines(), Texts{u"Invalid PDB info for struct item (type: int)."});
}

TEST_F(ItemWalk, ANameThatXmlRefusesIsReportedByTheDocumentAlone) {
  if (testing::IsWine()) GTEST_SKIP() << "Wine's document takes any name";
  JSStructDesc* record = Describe(u"Job", 8, {{u"1", u"int", 4, 0}});
  EXPECT_EQ(walk.ConvertItem(record, record->FindItem(u"1"), AddressOf(kNumbers.data())), kDom);
  EXPECT_EQ(Lines(), Texts{u"COM error for creating element(Name: 1)."});
  EXPECT_EQ(walk.errorText, u"Can't create the XML element for the struct item 1");
}

// --- hooks -------------------------------------------------------------------------------------------------

// What the hooks of a test were told; hooks are plain functions.
std::vector<std::string> g_told;

using WalkHooks = WalkTest;

TEST_F(WalkHooks, TheItemHookSeesTheItemsElementAfterTheValue) {
  g_told.clear();
  walk.itemHook = [](const JSStructDesc& record, const JSStructItemDesc& item, std::uintptr_t address,
                     XMLDOMHelper& output) {
    const xml::NodeRef& element = output.currentElement();
    g_told.push_back(Narrow(record.name) + "::" + Narrow(item.name) + "@" +
                     std::to_string(address - AddressOf(kNumbers.data())) + " " +
                     Narrow(*element.document()->TagName(element.get())) + "=" +
                     Narrow(*element.document()->GetText(element.get())));
    return kContent;  // has no effect
  };
  Describe(u"Inner", 4, {{u"X", u"int", 4, 0}});
  JSStructDesc* record = Describe(u"Job", 8, {{u"A", u"int", 4, 0}, {u"In", u"Inner", 4, 4}});
  EXPECT_EQ(Convert(record, kNumbers.data()), kOk);
  EXPECT_EQ(g_told, (std::vector<std::string>{"Job::A@0 A=1", "Inner::X@4 X=2", "Job::In@4 In=2"}));
}

TEST_F(WalkHooks, TheItemHookIsNotCalledForAFailedItem) {
  g_told.clear();
  walk.itemHook = [](const JSStructDesc&, const JSStructItemDesc& item, std::uintptr_t, XMLDOMHelper&) {
    g_told.push_back(Narrow(item.name));
    return kOk;
  };
  EXPECT_EQ(ConvertItem(u"Gone", 4, kNumbers.data()), kDescription);
  EXPECT_TRUE(g_told.empty());
}

TEST_F(WalkHooks, WithoutAnItemHookEveryItemIsLoggedAsFailed) {
  walk.itemHook = nullptr;
  JSStructDesc* record = Describe(u"Job", 4, {{u"A", u"int", 4, 0}});
  EXPECT_EQ(Convert(record, kNumbers.data()), kOk);
  EXPECT_EQ(Lines(), Texts{Text(u"item failed. name:Job::A, type: int, offset:0, size: 4, addr:0x%p, rc:0",
                                AddressArg(AddressOf(kNumbers.data())))});
  EXPECT_EQ(Xml(), "<Job><A>1</A></Job>");
}

TEST_F(WalkHooks, TheStructHooksResultEndsTheConversion) {
  walk.structHook = [](JSPDBMemDesc&, JSStructDesc&, std::uintptr_t, WideString&) { return Status{-77}; };
  EXPECT_EQ(Convert(Describe(u"Job", 4), kNumbers.data()), -77);
  EXPECT_EQ(Lines(), Texts{u"Conversion broken by user callback with error. rc=-77."});
  EXPECT_EQ(walk.errorText, u"Conversion broken by user callback with Error -77");
  EXPECT_EQ(Xml(), "");
}

TEST_F(WalkHooks, TheStructHookSeesTheSetTheRecordTheAddressAndAnEmptyName) {
  g_told.clear();
  walk.structHook = [](JSPDBMemDesc& set, JSStructDesc& record, std::uintptr_t address, WideString& name) {
    g_told.push_back(Narrow(record.name) + "@" + std::to_string(address - AddressOf(kNumbers.data())) +
                     (name.empty() ? "" : " not empty") +
                     (set.FindStruct(record.name) == &record ? "" : "?"));
    return kOk;
  };
  Describe(u"Inner", 4, {{u"X", u"int", 4, 0}});
  JSStructDesc* record = Describe(u"Job", 8, {{u"In", u"Inner", 4, 4}});
  EXPECT_EQ(Convert(record, kNumbers.data()), kOk);
  EXPECT_EQ(g_told, (std::vector<std::string>{"Job@0", "Inner@4"}));
}

// --- relocation --------------------------------------------------------------------------------------------

// Relocates "A" to "B" and "B" to "C"; "Self" to itself; "Lost" to nowhere; "Tick" and "Tock" to each other.
Status RelocateForTest(JSPDBMemDesc&, JSStructDesc& record, std::uintptr_t, WideString& name) {
  g_told.push_back(Narrow(record.name) + (name.empty() ? "" : " not empty"));
  if (record.name == u"A") name = u"B";
  if (record.name == u"B") name = u"C";
  if (record.name == u"Self") name = u"Self";
  if (record.name == u"Lost") name = u"Nowhere";
  if (record.name == u"Tick") name = u"Tock";
  if (record.name == u"Tock") name = u"Tick";
  return kOk;
}

class Relocation : public WalkTest {
 protected:
  Relocation() {
    g_told.clear();
    walk.structHook = RelocateForTest;
  }
};

TEST_F(Relocation, AChainLogsEachStepAndNamesTheElementAfterItsEnd) {
  JSStructDesc* a = Describe(u"A", 4, {{u"InA", u"int", 4, 0}});
  Describe(u"B", 4, {{u"InB", u"int", 4, 0}});
  Describe(u"C", 8, {{u"InC", u"int", 4, 4}});
  EXPECT_EQ(Convert(a, kNumbers.data()), kOk);
  EXPECT_EQ(Xml(), "<C><InC>2</InC></C>") << "the same address, read as C";
  EXPECT_EQ(g_told, (std::vector<std::string>{"A", "B", "C"}));
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{
                             {4, u"{Reloate struct A to B}."},
                             {4, u"{Reloate struct B to C}."},
                             {3, Text(u"C(Size=8 Ptr=0x%p).", AddressArg(AddressOf(kNumbers.data())))}}));
}

TEST_F(Relocation, ToItsOwnNameEndsWithoutALine) {
  EXPECT_EQ(Convert(Describe(u"Self", 4), kNumbers.data()), kOk);
  EXPECT_EQ(Xml(), "<Self/>");
  EXPECT_EQ(g_told, std::vector<std::string>{"Self"});
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Relocation, ToAnUnknownRecordFails) {
  EXPECT_EQ(Convert(Describe(u"Lost", 4), kNumbers.data()), kNotFound);
  EXPECT_EQ(Lines(), Texts{u"Can't find the PDB info for the relocated struct Nowhere."});
  EXPECT_EQ(walk.errorText, u"Can't find the PDB info for the relocated struct Nowhere");
}

TEST_F(Relocation, ACircleEndsAfterTenThousandPasses) {
  JSStructDesc* tick = Describe(u"Tick", 4);
  Describe(u"Tock", 4);
  EXPECT_EQ(Convert(tick, kNumbers.data()), kDescription);
  EXPECT_EQ(g_told.size(), 10000u);
  EXPECT_EQ(Lines(), Texts{u"Relocation without end for struct Tick."}) << "the record that it began with";
  EXPECT_EQ(walk.errorText, u"Relocation without end for struct Tick");
  EXPECT_EQ(Lines(4).size(), 10000u);
  EXPECT_EQ(Xml(), "");
}

TEST_F(Relocation, AChainOfJustUnderTheLimitIsNoCircle) {
  // Each pass moves on by one; the last names nobody.
  walk.structHook = [](JSPDBMemDesc&, JSStructDesc& record, std::uintptr_t, WideString& name) {
    const int number = std::stoi(Narrow(record.name).substr(1));
    if (number < kRelocationPasses - 1) name = Text(u"R%d", number + 1);
    return kOk;
  };
  for (int i = 0; i < kRelocationPasses; ++i) Describe(Text(u"R%d", i), 4);
  EXPECT_EQ(Convert(walk.desc->FindStruct(u"R0"), kNumbers.data()), kOk);
  EXPECT_EQ(Xml(), "<R9999/>");
}

TEST_F(Relocation, TheLimitsOfTheNewRecordCount) {
  JSStructDesc* a = Describe(u"A", 8, {{u"InA", u"int", 4, 4}});
  Describe(u"B", 4, {});
  Describe(u"C", 4, {{u"InC", u"int", 4, 4}});
  EXPECT_EQ(Convert(a, kNumbers.data()), kDescription);
  EXPECT_EQ(Lines(), Texts{u"Invalid PDB info for struct item InC( size(4) + offset(4) > struct size(4) )."});
}

TEST_F(Relocation, ArrayEntriesLieAsFarApartAsTheNamedRecordIsLong) {
  Describe(u"A", 4, {{u"InA", u"int", 4, 0}});
  Describe(u"B", 8, {});
  Describe(u"C", 8, {{u"First", u"int", 4, 0}, {u"Second", u"int", 4, 4}});
  JSStructDesc* root = Describe(u"Root", 8, {{u"List", u"A[2]", 8, 0}});
  EXPECT_EQ(Convert(root, kNumbers.data()), kOk);
  EXPECT_EQ(Xml(),
            "<Root><List><C><First>1</First><Second>2</Second></C>"
            "<C><First>2</First><Second>3</Second></C></List></Root>");
}

// --- rewritten descriptions --------------------------------------------------------------------------------

TEST_F(WalkHooks, ANestedRecordOfTheSameNameRewritesWhatTheOuterHasYetToReach) {
  // The hook turns the last item of "Node" into an array when it sees the inner node; the outer one, which
  // reaches its own last item after that, is written with the new type.
  struct Node {
    const Node* next;
    std::int32_t values[2];
  };
  static const Node inner = {nullptr, {3, 4}};
  static const Node outer = {&inner, {1, 2}};
  walk.structHook = [](JSPDBMemDesc&, JSStructDesc& record, std::uintptr_t address, WideString&) {
    if (address == AddressOf(&inner)) record.FindItem(u"Values")->SetType(u"int[2]");
    return kOk;
  };
  JSStructDesc* node =
      Describe(u"Node", sizeof(Node), {{u"Next", u"Node*", 8, 0}, {u"Values", u"int64", 8, 8}});
  EXPECT_EQ(Convert(node, &outer), kOk);
  EXPECT_EQ(Xml(), "<Node><Next><Next flag=\"null\"/><Values>3 4</Values></Next><Values>1 2</Values></Node>");
}

TEST_F(WalkHooks, ANestedRecordOfTheSameNameRewritesThePresentationOfTheOuterToo) {
  struct Node {
    const Node* next;
    std::int64_t value;
  };
  static const Node inner = {nullptr, 2};
  static const Node outer = {&inner, 1};
  g_told.clear();
  walk.structHook = [](JSPDBMemDesc&, JSStructDesc& record, std::uintptr_t address, WideString&) {
    record.FindItem(u"Value")->SetRestrict(address == AddressOf(&inner) ? u"inner" : u"outer");
    return kOk;
  };
  walk.itemHook = [](const JSStructDesc&, const JSStructItemDesc& item, std::uintptr_t, XMLDOMHelper&) {
    g_told.push_back(Narrow(item.name) + "=" + Narrow(item.restrictText()));
    return kOk;
  };
  JSStructDesc* node =
      Describe(u"Node", sizeof(Node), {{u"Next", u"Node*", 8, 0}, {u"Value", u"int64", 8, 8}});
  EXPECT_EQ(Convert(node, &outer), kOk);
  EXPECT_EQ(g_told, (std::vector<std::string>{"Next=", "Value=inner", "Next=", "Value=inner"}));
}

TEST_F(WalkHooks, AnItemInHandKeepsTheTypeThatItBeganWith) {
  struct Node {
    const Node* next[2];
  };
  static const Node leaf = {{nullptr, nullptr}};
  static const Node root = {{&leaf, nullptr}};
  walk.structHook = [](JSPDBMemDesc&, JSStructDesc& record, std::uintptr_t address, WideString&) {
    if (address == AddressOf(&leaf))
      record.FindItem(u"Next")->SetType(u"a type much longer than the first[9]");
    return kOk;
  };
  JSStructDesc* node = Describe(u"Node", sizeof(Node), {{u"Next", u"Node*", 8, 0}});
  EXPECT_EQ(Convert(node, &root), kDescription);
  const Texts lines = Lines();
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_TRUE(lines[3].starts_with(u"item failed. name:Node::Next, type: a type much longer than"))
      << "as it is now";
}

// --- depth -------------------------------------------------------------------------------------------------

struct Link {
  const Link* next;
};

class Depth : public WalkTest {
 protected:
  Depth() { record_ = Describe(u"Link", sizeof(Link), {{u"Next", u"Link*", 8, 0}}); }

  // How many links the walk got into, by the pairs of lines that it left.
  void ExpectExhaustedStack(const void* first) {
    EXPECT_EQ(Convert(record_, first), kMemory);
    EXPECT_EQ(walk.errorText, u"Stack exhausted for converting struct Link");
    const Texts lines = Lines();
    ASSERT_GT(lines.size(), 100u);
    EXPECT_EQ(lines.front(), u"Stack exhausted for converting struct Link.");
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         u"Failed to convert item. item:Link::Next, offset:0, type:Link*, size:8, rc=-3"),
              static_cast<std::ptrdiff_t>(lines.size() / 2));
    EXPECT_EQ(CurrentElement(), "JobScriptXMLDescription");
  }

  JSStructDesc* record_;
};

TEST_F(Depth, ACycleEndsInACode) {
  if (kThreadSanitized) GTEST_SKIP() << "the sanitizer's own limit";
  Link ring[2] = {{&ring[1]}, {&ring[0]}};
  ExpectExhaustedStack(ring);
}

TEST_F(Depth, ARecordThatPointsToItselfEndsInACode) {
  if (kThreadSanitized) GTEST_SKIP() << "the sanitizer's own limit";
  Link self = {&self};
  ExpectExhaustedStack(&self);
}

TEST_F(Depth, AChainOfAHundredThousandEndsInACode) {
  if (kThreadSanitized) GTEST_SKIP() << "the sanitizer's own limit";
  std::vector<Link> chain(100'000);
  for (std::size_t i = 0; i + 1 < chain.size(); ++i) chain[i].next = &chain[i + 1];
  ExpectExhaustedStack(chain.data());
}

TEST_F(Depth, AChainOfAThousandConverts) {
  std::vector<Link> chain(1000);
  for (std::size_t i = 0; i + 1 < chain.size(); ++i) chain[i].next = &chain[i + 1];
  EXPECT_EQ(Convert(record_, chain.data()), kOk);
}

TEST_F(Depth, ARecordThatDescribesItselfInlineEndsInACode) {
  if (kThreadSanitized) GTEST_SKIP() << "the sanitizer's own limit";
  JSStructDesc* matryoshka = Describe(u"Doll", 8, {{u"Inner", u"Doll", 8, 0}});
  EXPECT_EQ(Convert(matryoshka, kNumbers.data()), kMemory);
  EXPECT_EQ(walk.errorText, u"Stack exhausted for converting struct Doll");
}

}  // namespace
}  // namespace sbx::testing
