#include "rules/value_paths.h"

#include <limits>

#include "rules/rule_fixture.h"
#include "support/edge_of_memory.h"

namespace sbx {
namespace {

using ::sbx::testing::Bytes;
using ::sbx::testing::EdgeOfMemory;
using ::sbx::testing::LogLine;
using ::sbx::testing::RuleTest;
using ::sbx::testing::ScopedLog;

using Lines = std::vector<LogLine>;

// --- the text of a path ------------------------------------------------------------------------------------

struct ResolveCase {
  WideView ref;
  WideView path;
  const char* why;
};

constexpr ResolveCase kResolved[] = {
    {u"", u"", "an empty path"},
    {u"a", u"a", "one segment"},
    {u"a.b", u"a.b", "no prefix: unchanged"},
    {u"a[1].b", u"a[1].b", "brackets stay without a prefix"},
    {u"..\\a.b", u"a.a.b", "the tail keeps its own head in front of it"},
    {u"..\\a.b.c", u"a.b.a.b.c", "one level is one segment less"},
    {u"..\\..\\a.b.c", u"a.a.b.c", "two levels are two"},
    {u"x..\\a.b", u"a.a.b", "what stands before a prefix is dropped, whatever it is"},
    {u"q.r..\\x.y..\\a.b.c", u"a.a.b.c", "between two prefixes too"},
    {u"..\\a[1].b", u"a.a.b", "brackets go"},
    {u"..\\a[1].b[2]", u"a.a.b", "all of them"},
    {u"..\\a[[1].b", u"a.a.b", "from the first opening one to the first closing one"},
    {u"..\\a[1]].b", u"a].a[1]].b", "a closing one before any opening one ends the search"},
    {u"..\\a.b[", u"a.a.b[", "an opening one alone stays"},
    {u"..\\a.b]", u"a.a.b]", "a closing one alone stays"},
    {u"..\\.a", u"..a", "segments may be empty"},
    {u"...\\a.b", u"a.a.b", "a prefix is found anywhere in the text"},
    {u"..a.b", u"..a.b", "dots alone are no prefix"},
    {u"../a.b", u"../a.b", "nor with a slash"},
};

TEST(ValuePathText, PrefixesAreWorkedOutInTheText) {
  for (const ResolveCase& row : kResolved) {
    const ScopedLog log;
    const ValuePath path{WideString(row.ref)};
    WideView resolved;
    EXPECT_EQ(path.Resolve(resolved), kOk) << row.why;
    EXPECT_EQ(resolved, row.path) << row.why;
    EXPECT_EQ(path.ref(), row.ref);
    EXPECT_EQ(log.lines(), Lines{});
  }
}

constexpr ResolveCase kOverflows[] = {
    {u"..\\a", u"", "one segment can't be shortened"},
    {u"..\\..\\a.b", u"", "two levels need three segments"},
    {u"..\\..\\", u"", "nothing behind the prefixes"},
    {u"..\\", u"", "a prefix alone would turn for ever"},
    {u"a..\\", u"", "also behind other text"},
    {u"a.b.c..\\", u"", "whatever that is"},
};

TEST(ValuePathText, GoingUpTooFarOverflowsWithALineEachTime) {
  for (const ResolveCase& row : kOverflows) {
    const ScopedLog log;
    const ValuePath path{WideString(row.ref)};
    WideView resolved = u"kept";
    EXPECT_EQ(path.Resolve(resolved), kAddress) << row.why;
    EXPECT_EQ(path.Resolve(resolved), kAddress) << row.why;
    EXPECT_EQ(resolved, u"kept") << row.why;
    const LogLine line{
        2, u"Get value from binary: Previous level of path overflow(path=" + WideString(row.ref) + u")"};
    EXPECT_EQ(log.lines(), (Lines{line, line})) << row.why;
  }
}

struct SplitCase {
  WideView text;
  Status status;
  WideView name;
  std::int32_t index;
};

constexpr SplitCase kSplits[] = {
    {u"", kParameter, u"", 0},      {u"Job*", kNotFound, u"", 0},
    {u"Job", kNotFound, u"", 0},    {u"a[]", kNotFound, u"", 0},
    {u"a]1[", kNotFound, u"", 0},   {u"a[1", kNotFound, u"", 0},
    {u"a1]", kNotFound, u"", 0},    {u"Job[4]*", kOk, u"Job", 4},
    {u"Job[4][5]", kOk, u"Job", 4}, {u"[7]", kOk, u"", 7},
    {u"a[x]", kOk, u"a", 0},        {u"a[-2]", kOk, u"a", -2},
    {u"a[ 12b]", kOk, u"a", 12},    {u"a[99999999999]", kOk, u"a", std::numeric_limits<std::int32_t>::max()},
    {u"a[[3]]", kOk, u"a", 0},
};

TEST(SplitIndexedName, TakesTheFirstNumberInBrackets) {
  for (const SplitCase& row : kSplits) {
    WideView name;
    std::int32_t index = 0;
    const std::string shown(row.text.begin(), row.text.end());
    EXPECT_EQ(SplitIndexedName(row.text, name, index), row.status) << shown;
    EXPECT_EQ(name, row.name) << shown;
    EXPECT_EQ(index, row.index) << shown;
  }
}

// --- the walk through memory -------------------------------------------------------------------------------

constexpr std::uint32_t kUntouched = 77;

class MemoryWalkTest : public RuleTest {
 protected:
  MemoryWalkTest() {
    rec_ = &AddRecord(u"Rec", 64,
                      {{u"n", u"int", 4, 0},
                       {u"s", u"short", 2, 4},
                       {u"byte", u"char", 1, 6},
                       {u"wide", u"__int64", 8, 8},
                       {u"job", u"Job*", 8, 16},
                       {u"inner", u"Job", 8, 24},
                       {u"jobs", u"Job[4]*", 8, 32},
                       {u"row", u"Job[2]", 16, 40},
                       {u"text", u"wchar_t*", 8, 16},
                       {u"ptr", u"int*", 4, 16},
                       {u"far", u"Job**", 8, 16}});
    AddRecord(u"Job", 8, {{u"id", u"int", 4, 0}, {u"size", u"int", 4, 4}, {u"self", u"Job*", 8, 0}});
  }

  Status Walk(const WideString& ref, std::uintptr_t binary) {
    memory_.Forget();
    log_.Clear();
    value_ = kUntouched;
    return GetValueFromBinary(set_, rec_, binary, ValuePath(ref), value_);
  }
  // The number at a path, or the status of a failure, which leaves the number alone.
  std::int64_t Value(const WideString& ref, const Bytes& bytes) {
    const Status status = Walk(ref, bytes.address());
    if (status == kOk) return value_;
    EXPECT_EQ(value_, kUntouched);
    return status;
  }
  void ExpectLine(WideView text) { EXPECT_EQ(log_.lines(), (Lines{{2, WideString(text)}})); }

  JSStructDesc* rec_ = nullptr;
  std::uint32_t value_ = 0;
};

TEST_F(MemoryWalkTest, NumbersOfTwoAndFourBytesAreZeroExtended) {
  Bytes bytes(64);
  bytes.Put<std::int32_t>(0, -1).Put<std::int16_t>(4, -1);
  EXPECT_EQ(Value(u"n", bytes), 4294967295);
  EXPECT_EQ(Value(u"s", bytes), 65535);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(MemoryWalkTest, NumbersOfOtherSizesAreRefused) {
  const Bytes bytes(64);
  EXPECT_EQ(Value(u"byte", bytes), kDescription);
  ExpectLine(u"Get value from binary: item size error.(Struct=Rec, path=byte, size=1)");
  EXPECT_EQ(Value(u"wide", bytes), kDescription);
  ExpectLine(u"Get value from binary: item size error.(Struct=Rec, path=wide, size=8)");
}

TEST_F(MemoryWalkTest, SegmentsLeadThroughInlineRecordsAndPointersToFirstEntries) {
  Bytes bytes(64);
  Bytes job(64);
  job.Put<std::uint32_t>(0, 10).Put<std::uint32_t>(4, 11);
  bytes.Point(16, job).Put<std::uint32_t>(24, 20).Put<std::uint32_t>(28, 21);
  bytes.Point(32, job).Put<std::uint32_t>(40, 30).Put<std::uint32_t>(44, 31);
  EXPECT_EQ(Value(u"job.size", bytes), 11);
  EXPECT_EQ(Value(u"inner.size", bytes), 21);
  EXPECT_EQ(Value(u"jobs.size", bytes), 11) << "an array behind a pointer is entered at its first entry";
  EXPECT_EQ(Value(u"row.size", bytes), 31) << "an inline one likewise";
  EXPECT_EQ(Value(u"far.size", bytes), 11) << "one load, however many pointers";
}

TEST_F(MemoryWalkTest, ALastSegmentThatIsAPointerIsReadWhereItLeads) {
  Bytes bytes(64);
  Bytes target(64);
  target.Put<std::uint32_t>(0, 5);
  bytes.Point(16, target);
  EXPECT_EQ(Value(u"ptr", bytes), 5);
  EXPECT_EQ(Value(u"text", bytes), kDescription);
  ExpectLine(u"Get value from binary: item size error.(Struct=Rec, path=text, size=8)");
  EXPECT_EQ(Value(u"job", Bytes(64)), kAddress) << "followed first";
  ExpectLine(u"Get value from binary: NULL ptr for binary.(Struct=Rec, path=job)");
}

TEST_F(MemoryWalkTest, ThePathFollowsTypesAsTheyAreNow) {
  AddRecord(u"Other", 8, {{u"size", u"int", 4, 0}});
  Bytes bytes(64);
  bytes.Put<std::uint32_t>(24, 20).Put<std::uint32_t>(28, 21);
  rec_->FindItem(u"inner")->SetType(u"Other");
  EXPECT_EQ(Value(u"inner.size", bytes), 20);
}

TEST_F(MemoryWalkTest, ARootNameBeforeADotMovesToTheRootRecord) {
  AddRecord(u"Root", 8, {{u"id", u"int", 4, 0}, {u"Root", u"int", 4, 4}});
  rec_->AddItem(u"Root", u"int", 4, 0, {}, {});
  Bytes root(16);
  root.Put<std::uint32_t>(0, 1).Put<std::uint32_t>(4, 2);
  Bytes bytes(64);
  bytes.Put<std::uint32_t>(0, 3);
  NameRoot(u"Root", root.address());
  EXPECT_EQ(Value(u"Root.id", bytes), 1);
  EXPECT_EQ(Value(u"Root.Root", bytes), 2) << "only the first segment moves";
  EXPECT_EQ(Value(u"Root", bytes), 3) << "a path of one segment starts at the record in hand";
  EXPECT_EQ(Value(u"root.id", bytes), kDescription) << "names are exact";
}

TEST_F(MemoryWalkTest, TheRootNameIsLookedForInThePathWithoutItsPrefixes) {
  AddRecord(u"Root", 8, {{u"Root", u"Job", 8, 0}, {u"id", u"int", 4, 0}});
  Bytes root(16);
  root.Put<std::uint32_t>(0, 1).Put<std::uint32_t>(4, 2);
  NameRoot(u"Root", root.address());
  EXPECT_EQ(Value(u"..\\Root.size", Bytes(64)), 2) << "Root.Root.size";
}

TEST_F(MemoryWalkTest, ARootThatIsUnknownOrNullIsAnInvalidParameter) {
  NameRoot(u"Root", 4096);
  EXPECT_EQ(Value(u"Root.id", Bytes(64)), kParameter) << "no such record";
  ExpectLine(u"Get value from binary: Invalid parameters(Struct=Rec path=Root.id)");
  AddRecord(u"Root", 8, {{u"id", u"int", 4, 0}});
  NameRoot(u"Root", 0);
  EXPECT_EQ(Value(u"Root.id", Bytes(64)), kParameter) << "no such address";
}

TEST_F(MemoryWalkTest, ANullRecordOrAddressIsAnInvalidParameter) {
  EXPECT_EQ(Walk(u"n", 0), kParameter);
  ExpectLine(u"Get value from binary: Invalid parameters(Struct=Rec path=n)");
  rec_ = nullptr;
  EXPECT_EQ(Value(u"n", Bytes(64)), kParameter);
  ExpectLine(u"Get value from binary: Invalid parameters(Struct=(null) path=n)");
}

TEST_F(MemoryWalkTest, ASegmentThatLeadsToNoRecordIsAMismatch) {
  EXPECT_EQ(Value(u"n.x", Bytes(64)), kDescription);
  ExpectLine(u"Get value from binary: Struct mismatch between rule and pdb(Struct=Rec path=n.x)");
}

TEST_F(MemoryWalkTest, AnUnknownItemIsAMismatch) {
  for (const WideView ref : {u"", u"x", u"inner.x", u"N", u"row[1].size", u".n", u"inner."}) {
    EXPECT_EQ(Value(WideString(ref), Bytes(64)), kDescription);
    ExpectLine(u"Get value from binary: Struct item mismatch between rule and pdb(Struct=Rec path=" +
               WideString(ref) + u")");
  }
}

TEST_F(MemoryWalkTest, BracketsInAPathWithAPrefixHaveNoEffect) {
  AddRecord(u"Node", 8, {{u"row", u"Node", 8, 0}, {u"size", u"int", 4, 4}});
  rec_->FindItem(u"row")->SetType(u"Node[2]");
  Bytes bytes(64);
  bytes.Put<std::uint32_t>(44, 31);
  EXPECT_EQ(Value(u"..\\row[1].size", bytes), 31) << "row.row.size";
}

TEST_F(MemoryWalkTest, ANullPointerIsWalkedOnFromAndReportedAtTheEnd) {
  EXPECT_EQ(Value(u"job.id", Bytes(64)), kAddress);
  ExpectLine(u"Get value from binary: NULL ptr for binary.(Struct=Rec, path=job.id)");
  EXPECT_EQ(Value(u"job.size", Bytes(64)), kAddress);
  ExpectLine(u"Get value from binary: Binary unreadable.(Struct=Rec, path=job.size)");
  EXPECT_EQ(Value(u"job.self", Bytes(64)), kAddress) << "nothing is loaded through a null";
  ExpectLine(u"Get value from binary: NULL ptr for binary.(Struct=Rec, path=job.self)");
}

TEST_F(MemoryWalkTest, AnUnreadableSlotStandsAsItIsAndIsReportedAtTheEnd) {
  Bytes bytes(64);
  bytes.Put<std::uint64_t>(16, 8);
  EXPECT_EQ(Value(u"job.self.size", bytes), kAddress);
  ExpectLine(u"Get value from binary: Binary unreadable.(Struct=Rec, path=job.self.size)");
}

TEST_F(MemoryWalkTest, AddressesWrap) {
  Bytes bytes(64);
  bytes.Put<std::uint64_t>(16, ~std::uint64_t{0} - 3);
  EXPECT_EQ(Value(u"job.size", bytes), kAddress) << "the wrapped sum is null";
  ExpectLine(u"Get value from binary: NULL ptr for binary.(Struct=Rec, path=job.size)");
}

TEST_F(MemoryWalkTest, EightBytesMustBeReadableWhateverIsRead) {
  const EdgeOfMemory edge(64);
  edge.data()[56] = 9;
  JSStructItemDesc* const last = rec_->AddItem(u"last", u"int", 4, 56, {}, {});
  EXPECT_EQ(Walk(u"last", edge.address()), kOk);
  EXPECT_EQ(value_, 9u);
  last->offset = 57;
  EXPECT_EQ(Walk(u"last", edge.address()), kAddress);
  EXPECT_EQ(value_, kUntouched);
  ExpectLine(u"Get value from binary: Binary unreadable.(Struct=Rec, path=last)");
}

TEST_F(MemoryWalkTest, APointerInTheLastBytesIsLoadedOnlyWhole) {
  const EdgeOfMemory edge(64);
  JSStructItemDesc* const last = rec_->AddItem(u"last", u"int*", 4, 56, {}, {});
  const Bytes target(16);
  const std::uint64_t address = target.address();
  std::memcpy(edge.data() + 56, &address, sizeof address);
  EXPECT_EQ(Walk(u"last", edge.address()), kOk);
  last->offset = 60;
  EXPECT_EQ(Walk(u"last", edge.address()), kAddress);
}

TEST_F(MemoryWalkTest, AnOverflowReportsSuccessWithTheValueLeftAlone) {
  EXPECT_EQ(Walk(u"..\\n", Bytes(64).address()), kOk);
  EXPECT_EQ(value_, kUntouched);
  ExpectLine(u"Get value from binary: Previous level of path overflow(path=..\\n)");
}

// --- the walk through a document ---------------------------------------------------------------------------

class XmlWalkTest : public RuleTest {
 protected:
  XmlWalkTest() {
    rec_ = &AddRecord(u"Rec", 64,
                      {{u"n", u"int", 4, 0},
                       {u"inner", u"Job", 8, 8},
                       {u"job", u"Job*", 8, 16},
                       {u"jobs", u"Job[2]*", 8, 24},
                       {u"none", u"Job[0]", 8, 32},
                       {u"one", u"Job[1]", 8, 32},
                       {u"text", u"wchar_t[4]", 8, 40}});
    AddRecord(u"Job", 8, {{u"id", u"int", 4, 0}, {u"next", u"Job*", 8, 8}, {u"all", u"Job[3]", 8, 8}});
  }

  // "none" for no element, the status for a failure, else the element's text between bars.
  WideString Find(const WideString& ref) {
    log_.Clear();
    XMLElementRef found;
    const Status status = GetValueFromXML(set_, rec_, Element({u"Rec"}), ValuePath(ref), found);
    if (status != kOk) {
      EXPECT_FALSE(found);
      return status == kParameter     ? u"-2"
             : status == kDescription ? u"-4"
             : status == kContent     ? u"-9"
                                      : u"?";
    }
    if (!found) return u"none";
    WideString text;
    ReadContent(found, text);
    return u"|" + text + u"|";
  }
  void ExpectLine(WideView text) { EXPECT_EQ(log_.lines(), (Lines{{2, WideString(text)}})); }

  JSStructDesc* rec_ = nullptr;
};

TEST_F(XmlWalkTest, SegmentsLeadThroughChildElements) {
  LoadXml(u"<Rec><n> 5 </n><inner><id>6</id></inner><job><id>7</id><next><id>8</id></next></job></Rec>");
  EXPECT_EQ(Find(u"n"), u"| 5 |");
  EXPECT_EQ(Find(u"inner.id"), u"|6|");
  EXPECT_EQ(Find(u"job.id"), u"|7|") << "a pointer needs no step of its own";
  EXPECT_EQ(Find(u"job.next.id"), u"|8|");
  EXPECT_EQ(Find(u"job"), u"|78|") << "any element may be the last";
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(XmlWalkTest, ArraysAreEnteredAtTheirFirstElement) {
  LoadXml(
      u"<Rec><jobs>blank<Job><id>1</id><all><Job><id>2</id></Job></all></Job><Job><id>3</id></Job></jobs>"
      u"<none><Job><id>4</id></Job><id>5</id></none><one><Job><id>6</id></Job></one></Rec>");
  EXPECT_EQ(Find(u"one.id"), u"|6|") << "an array of one is an array";
  EXPECT_EQ(Find(u"jobs.id"), u"|1|");
  EXPECT_EQ(Find(u"jobs.all.id"), u"|2|");
  EXPECT_EQ(Find(u"jobs"), u"|12|") << "the last segment too";
  EXPECT_EQ(Find(u"none.id"), u"|5|") << "a count of 0 is no array";
}

TEST_F(XmlWalkTest, AnArrayWithoutChildElementsIsStayedOn) {
  LoadXml(u"<Rec><text>65 66</text><jobs/></Rec>");
  EXPECT_EQ(Find(u"text"), u"|65 66|");
  EXPECT_EQ(Find(u"jobs.id"), u"none");
}

TEST_F(XmlWalkTest, AMissingLastElementIsNoFailure) {
  LoadXml(u"<Rec><inner/></Rec>");
  EXPECT_EQ(Find(u"n"), u"none");
  EXPECT_EQ(Find(u"inner.id"), u"none");
  EXPECT_EQ(Find(u"jobs"), u"none");
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(XmlWalkTest, AMissingElementBeforeTheLastIsAMismatch) {
  LoadXml(u"<Rec/>");
  EXPECT_EQ(Find(u"inner.id"), u"-9");
  ExpectLine(u"Get value from xml: Struct mismatch between rule and xml(Struct=Rec path=inner.id)");
  EXPECT_EQ(Find(u"jobs.id"), u"-9");
  EXPECT_EQ(Find(u"inner.x"), u"-4") << "the item is looked for before the element";
}

TEST_F(XmlWalkTest, ASegmentThatLeadsToNoRecordIsAMismatch) {
  LoadXml(u"<Rec><n><x>1</x></n></Rec>");
  EXPECT_EQ(Find(u"n.x"), u"-4");
  ExpectLine(u"Get value from xml: Struct mismatch between rule and pdb(Struct=Rec path=n.x)");
}

TEST_F(XmlWalkTest, AnUnknownItemIsAMismatchThoughThereIsAnElement) {
  LoadXml(u"<Rec><x>1</x></Rec>");
  for (const WideView ref : {u"", u"x", u"jobs[1].id"}) {
    EXPECT_EQ(Find(WideString(ref)), u"-4");
    ExpectLine(u"Get value from xml: Struct item mismatch between rule and pdb(Struct=Rec path=" +
               WideString(ref) + u")");
  }
}

TEST_F(XmlWalkTest, ARootNameBeforeADotMovesToTheRootRecordsElement) {
  AddRecord(u"Root", 8, {{u"id", u"int", 4, 0}});
  LoadXml(u"<Root><id>1</id></Root><Rec><n>2</n></Rec>");
  EXPECT_EQ(Find(u"Root.id"), u"|1|");
  EXPECT_EQ(Find(u"Root"), u"-4") << "a path of one segment starts at the record in hand";
}

TEST_F(XmlWalkTest, ARootThatIsMissingIsAnInvalidParameter) {
  LoadXml(u"<Rec/><Root><id>1</id></Root>");
  EXPECT_EQ(Find(u"Root.id"), u"-2") << "no such record";
  ExpectLine(u"Get value from xml: Invalid parameters(Struct=Rec path=Root.id)");
  AddRecord(u"Root", 8, {{u"id", u"int", 4, 0}});
  EXPECT_EQ(Find(u"Root.id"), u"|1|");
  LoadXml(u"<Rec/>");
  EXPECT_EQ(Find(u"Root.id"), u"-2") << "no such element";
  g_conversion.rootElement = nullptr;
  EXPECT_EQ(Find(u"Root.id"), u"-2") << "no document at all";
}

TEST_F(XmlWalkTest, ANullElementOrRecordIsAnInvalidParameter) {
  LoadXml(u"<Other/>");
  EXPECT_EQ(Find(u"n"), u"-2");
  ExpectLine(u"Get value from xml: Invalid parameters(Struct=Rec path=n)");
  LoadXml(u"<Rec/>");
  rec_ = nullptr;
  EXPECT_EQ(Find(u"n"), u"-2");
  ExpectLine(u"Get value from xml: Invalid parameters(Struct=(null) path=n)");
}

TEST_F(XmlWalkTest, TheRootNameIsLookedForInThePathAsWritten) {
  AddRecord(u"Root", 8, {{u"inner", u"Job", 8, 0}, {u"id", u"int", 4, 0}});
  LoadXml(u"<Root><id>1</id></Root><Rec><inner><id>2</id></inner></Rec>");
  rec_->AddItem(u"Root", u"Job", 8, 48, {}, {});
  EXPECT_EQ(Find(u"..\\Root.id"), u"-4")
      << "the memory side finds the root in Root.Root.id; here the written path begins with a dot";
  EXPECT_EQ(Find(u"Root..\\inner.id.x"), u"-4")
      << "inner.id.inner.id.x less the five characters of the written head and its dot";
  ExpectLine(
      u"Get value from xml: Struct item mismatch between rule and pdb(Struct=Rec path=Root..\\inner.id.x)");
}

TEST_F(XmlWalkTest, AWrittenHeadThatIsTheRootLeavesTheRestOfThePathBehindIt) {
  NameRoot(u"R", 0);
  AddRecord(u"R", 8, {{u"a", u"Job", 8, 0}});
  LoadXml(u"<R><a><id>1</id></a></R><Rec/>");
  EXPECT_EQ(Find(u"R..\\a.id"), u"|1|") << "a.a.id less two characters, from the root";
}

TEST_F(XmlWalkTest, AWrittenHeadLongerThanThePathLeavesNothingToWalk) {
  NameRoot(u"RatherLongRoot", 0);
  AddRecord(u"RatherLongRoot", 8, {{u"id", u"int", 4, 0}});
  LoadXml(u"<RatherLongRoot><id>1</id></RatherLongRoot><Rec/>");
  EXPECT_EQ(Find(u"RatherLongRoot..\\a.b"), u"-4");
  ExpectLine(
      u"Get value from xml: Struct item mismatch between rule and pdb(Struct=Rec "
      u"path=RatherLongRoot..\\a.b)");
}

TEST_F(XmlWalkTest, AnOverflowReportsSuccessAndFindsNothing) {
  LoadXml(u"<Rec><n>1</n></Rec>");
  EXPECT_EQ(Find(u"..\\n"), u"none");
  ExpectLine(u"Get value from binary: Previous level of path overflow(path=..\\n)");
}

TEST_F(XmlWalkTest, ContentWithAFlagIsReadDecoded) {
  LoadXml(u"<Rec><n flag='binary'>35003600</n></Rec>");
  EXPECT_EQ(Find(u"n"), u"|56|");
}

TEST_F(XmlWalkTest, WritingReplacesTheFoundElementsContent) {
  LoadXml(u"<Rec><n>1</n><inner><id>2</id></inner><jobs><Job><id>3</id></Job></jobs></Rec>");
  const XMLElementRef rec = Element({u"Rec"});
  EXPECT_EQ(SetValueInXML(set_, rec_, rec, ValuePath(u"n"), u"10"), kOk);
  EXPECT_EQ(SetValueInXML(set_, rec_, rec, ValuePath(u"inner.id"), u""), kOk);
  EXPECT_EQ(SetValueInXML(set_, rec_, rec, ValuePath(u"jobs"), u"30"), kOk);
  EXPECT_EQ(Xml(), u"<Rec><n>10</n><inner><id/></inner><jobs><Job>30</Job></jobs></Rec>");
}

TEST_F(XmlWalkTest, WritingWhereThereIsNoElementWritesNothing) {
  LoadXml(u"<Rec/>");
  EXPECT_EQ(SetValueInXML(set_, rec_, Element({u"Rec"}), ValuePath(u"n"), u"10"), kOk);
  EXPECT_EQ(SetValueInXML(set_, rec_, Element({u"Rec"}), ValuePath(u"..\\n"), u"10"), kOk);
  EXPECT_EQ(SetValueInXML(set_, rec_, Element({u"Rec"}), ValuePath(u"x"), u"10"), kDescription);
  EXPECT_EQ(SetValueInXML(set_, rec_, Element({u"Rec"}), ValuePath(u"inner.id"), u"10"), kContent);
  EXPECT_EQ(Xml(), u"<Rec/>");
}

}  // namespace
}  // namespace sbx
