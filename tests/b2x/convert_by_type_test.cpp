// Values by their types: what each form leads to, and every way in which it can fail.
#include <array>
#include <cstring>
#include <limits>

#include "support/edge_of_memory.h"
#include "support/failing_document.h"
#include "walk_fixture.h"

namespace sbx::testing {
namespace {

constexpr std::array<std::int32_t, 8> kNumbers = {1, 2, 3, 4, 5, 6, 7, 8};

// Where no memory is.
const void* const kNowhere = reinterpret_cast<const void*>(0x10);  // NOLINT(performance-no-int-to-ptr)

class ConvertByType : public WalkTest {
 protected:
  // The value of one item of this type, as the item's element shows it.
  std::string Value(WideView type, std::int32_t size, const void* address) {
    EXPECT_EQ(ConvertItem(type, size, address), kOk);
    return Xml();
  }

  // The lines that a failure leaves before the one that the item's level adds.
  Texts OwnLines() const {
    Texts lines = Lines();
    if (!lines.empty() && lines.back().starts_with(u"item failed.")) lines.pop_back();
    return lines;
  }
};

// --- what the forms give -----------------------------------------------------------------------------------

struct ScalarCase {
  const char16_t* type;
  std::int32_t size;
  std::uint64_t bits;
  const char* value;
};

class Scalars : public ConvertByType, public ::testing::WithParamInterface<ScalarCase> {};

TEST_P(Scalars, InlineAndBehindAPointer) {
  const ScalarCase& test = GetParam();
  const std::uint64_t bits = test.bits;
  const void* const pointer = &bits;
  const WideString type = test.type;
  JSStructDesc* record =
      Describe(u"Root", 100, {{u"Inline", type, test.size, 0}, {u"Pointed", type + u"*", 8, 0}});
  EXPECT_EQ(ConvertItemOf(record, u"Inline", &bits), kOk);
  EXPECT_EQ(ConvertItemOf(record, u"Pointed", &pointer), kOk);
  const std::string value = test.value;
  // A pointer to "char" or "wchar_t" is a text, not a number.
  const bool isText = type == u"char" || type == u"wchar_t";
  const std::string inlineOnly = "<Inline>" + value + "</Inline>";
  if (isText) {
    EXPECT_TRUE(Xml().starts_with(inlineOnly)) << Xml();
  } else {
    EXPECT_EQ(Xml(), inlineOnly + "<Pointed>" + value + "</Pointed>");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Types, Scalars,
    ::testing::Values(ScalarCase{u"char", 1, 0xFF, "-1"},    //
                      ScalarCase{u"uchar", 1, 0xFF, "255"},  //
                      ScalarCase{u"wchar_t", 2, 0xFFFF, "-1"}, ScalarCase{u"bool", 1, 1, "1"},
                      ScalarCase{u"short", 2, 0x8000, "-32768"}, ScalarCase{u"ushort", 2, 0x8000, "32768"},
                      ScalarCase{u"int", 4, 0xFFFFFFFF, "-1"},
                      ScalarCase{u"uint", 4, 0xFFFFFFFF, "4294967295"},
                      ScalarCase{u"long", 4, 0x80000000, "-2147483648"},
                      ScalarCase{u"ulong", 4, 0x80000000, "2147483648"},
                      ScalarCase{u"int64", 8, 0xFFFFFFFFFFFFFFFF, "-1"},
                      ScalarCase{u"uint64", 8, 0xFFFFFFFFFFFFFFFF, "18446744073709551615"},
                      ScalarCase{u"float", 4, 0x3FC00000, "1.500000"}));

TEST_F(ConvertByType, AnArrayOfPrimariesIsItsValuesJoinedByBlanks) {
  EXPECT_EQ(Value(u"int[3]", 12, kNumbers.data()), "<Item>1 2 3</Item>");
  EXPECT_EQ(Lines(3), Texts{u"Array[3]"});
}

TEST_F(ConvertByType, ACharacterArrayIsNumbersAndAZeroStopsNothing) {
  const char narrow[8] = {'H', 'i', 0, 'x', 0, 0, 0, 'y'};
  EXPECT_EQ(Value(u"char[8]", 8, narrow), "<Item>72 105 0 120 0 0 0 121</Item>");
  const char16_t wide[3] = {u'H', 0, u'i'};
  JSStructDesc* record = Describe(u"Other", 6, {{u"Wide", u"wchar_t[3]", 6, 0}});
  EXPECT_EQ(ConvertItemOf(record, u"Wide", wide), kOk);
  EXPECT_TRUE(Xml().ends_with("<Wide>72 0 105</Wide>"));
}

TEST_F(ConvertByType, BracketCountsMultiply) {
  EXPECT_EQ(Value(u"int[2][3]", 24, kNumbers.data()), "<Item>1 2 3 4 5 6</Item>");
}

TEST_F(ConvertByType, AnInlineArraysRemainderIsDropped) {
  EXPECT_EQ(Value(u"int[3]", 14, kNumbers.data()), "<Item>1 2 3</Item>");
}

TEST_F(ConvertByType, APointerToAnArrayIsReadOnce) {
  const void* const pointer = kNumbers.data();
  EXPECT_EQ(Value(u"int[4]*", 8, &pointer), "<Item>1 2 3 4</Item>");
}

TEST_F(ConvertByType, APointerOfSizeFourIsReadAtFullWidth) {
  const void* const pointer = kNumbers.data();
  EXPECT_EQ(Value(u"int*", 4, &pointer), "<Item>1</Item>");
}

TEST_F(ConvertByType, PointersOfSeveralLevelsAreFollowed) {
  const void* const first = kNumbers.data();
  const void* const second = &first;
  EXPECT_EQ(Value(u"int**", 8, &second), "<Item>1</Item>");
}

TEST_F(ConvertByType, TheWordDptrIsAPointer) {
  const void* const pointer = kNumbers.data();
  EXPECT_EQ(Value(u"int dptr", 8, &pointer), "<Item>1</Item>");
}

TEST_F(ConvertByType, AnyNullPointerFlagsTheElement) {
  const void* const null = nullptr;
  const void* const toNull = &null;
  JSStructDesc* record = Describe(u"Root", 8,
                                  {{u"A", u"int*", 8, 0},
                                   {u"B", u"wchar_t*", 8, 0},
                                   {u"C", u"Unknown*", 8, 0},
                                   {u"D", u"Unknown[3]*", 8, 0},
                                   {u"E", u"void*", 8, 0}});
  EXPECT_EQ(Convert(record, &null), kOk);
  EXPECT_EQ(Xml(),
            "<Root><A flag=\"null\"/><B flag=\"null\"/><C flag=\"null\"/><D flag=\"null\"/><E "
            "flag=\"null\"/></Root>");
  JSStructDesc* deep = Describe(u"Deep", 8, {{u"A", u"int**", 8, 0}});
  EXPECT_EQ(Convert(deep, &toNull), kOk);
  EXPECT_TRUE(Xml().ends_with("<Deep><A flag=\"null\"/></Deep>"));
}

TEST_F(ConvertByType, APointerToVoidIsUnknownAndItsTargetIsNotRead) {
  const void* const pointer = kNowhere;
  EXPECT_EQ(Value(u"void*", 8, &pointer), "<Item flag=\"unknown\"/>");
}

TEST_F(ConvertByType, AWideTextIsTakenWhereItLies) {
  const char16_t* const text = u"a<b> & \u00E9";
  EXPECT_EQ(Value(u"wchar_t*", 8, &text), "<Item>a&lt;b&gt; &amp; ?</Item>");
}

TEST_F(ConvertByType, AnEmptyTextIsNoNull) {
  const char16_t* const text = u"";
  const char* const narrow = "";
  JSStructDesc* record = Describe(u"Root", 16, {{u"W", u"wchar_t*", 8, 0}, {u"N", u"char*", 8, 8}});
  const void* const pointers[] = {text, narrow};
  EXPECT_EQ(Convert(record, pointers), kOk);
  EXPECT_EQ(Xml().find("flag"), std::string::npos);
}

TEST_F(ConvertByType, TextThatXmlCannotCarryIsWrittenAsDigits) {
  const char16_t* const text = u"\u0001";
  EXPECT_EQ(Value(u"wchar_t*", 8, &text), "<Item flag=\"binary\">0100</Item>");
}

TEST_F(ConvertByType, ANarrowTextIsWidened) {
  const char* const text = "Sheet \xC3\xA9";
  EXPECT_EQ(Value(u"char*", 8, &text),
            testing::kIsWindows ? "<Item>Sheet ?\?</Item>" : "<Item>Sheet ?</Item>")
      << "by the narrow page, which is Windows-1252 where the tests run on Windows";
}

TEST_F(ConvertByType, ANarrowTextBehindTwoPointersIsText) {
  const char* const text = "Hi";
  const void* const pointer = &text;
  EXPECT_EQ(Value(u"char**", 8, &pointer), "<Item>Hi</Item>");
}

TEST_F(ConvertByType, ARecordWritesItsItemsIntoTheItemsElement) {
  Describe(u"Inner", 8, {{u"X", u"int", 4, 0}, {u"Y", u"int", 4, 4}});
  Describe(u"Empty", 4);
  const void* const pointer = kNumbers.data();
  struct {
    std::int32_t values[3];
    std::int32_t padding;
    const void* pointer;
  } const root = {{1, 2, 3}, 0, pointer};
  JSStructDesc* record =
      Describe(u"Root", 24, {{u"In", u"Inner", 8, 0}, {u"Ptr", u"Inner*", 8, 16}, {u"None", u"Empty", 4, 8}});
  EXPECT_EQ(Convert(record, &root), kOk);
  EXPECT_EQ(Xml(), "<Root><In><X>1</X><Y>2</Y></In><Ptr><X>1</X><Y>2</Y></Ptr><None/></Root>");
}

TEST_F(ConvertByType, AnArrayOfRecordsHasOneElementPerEntry) {
  Describe(u"Inner", 4, {{u"X", u"int", 4, 0}});
  const void* const pointer = kNumbers.data();
  JSStructDesc* record = Describe(u"Root", 8, {{u"List", u"Inner[2]", 8, 0}, {u"Far", u"Inner[2]*", 8, 0}});
  EXPECT_EQ(ConvertItemOf(record, u"List", kNumbers.data()), kOk);
  EXPECT_EQ(ConvertItemOf(record, u"Far", &pointer), kOk);
  EXPECT_EQ(Xml(),
            "<List><Inner><X>1</X></Inner><Inner><X>2</X></Inner></List>"
            "<Far><Inner><X>1</X></Inner><Inner><X>2</X></Inner></Far>");
}

TEST_F(ConvertByType, EntriesLieAsFarApartAsTheirRecordIsLong) {
  Describe(u"Inner", 12, {{u"X", u"short", 2, 0}, {u"Y", u"wchar_t[2]", 4, 4}});
  JSStructDesc* record = Describe(u"Root", 24, {{u"List", u"Inner[2]", 24, 0}});
  EXPECT_EQ(Convert(record, kNumbers.data()), kOk);
  EXPECT_EQ(Xml(),
            "<Root><List><Inner><X>1</X><Y>2 0</Y></Inner><Inner><X>4</X><Y>5 0</Y></Inner></List></Root>");
}

TEST_F(ConvertByType, ARecordMayHaveTheNameOfATypeThatIsNoPrimaryHere) {
  Describe(u"double", 8, {{u"X", u"int", 4, 4}});
  Describe(u"byte", 1, {{u"X", u"uchar", 1, 0}});
  JSStructDesc* record = Describe(u"Root", 8, {{u"D", u"double", 8, 0}, {u"B", u"byte", 1, 0}});
  EXPECT_EQ(Convert(record, kNumbers.data()), kOk);
  EXPECT_EQ(Xml(), "<Root><D><X>2</X></D><B><X>1</X></B></Root>");
}

TEST_F(ConvertByType, ReadsValuesAtAnyAlignment) {
  alignas(8) unsigned char bytes[32] = {};
  const std::int64_t value = 0x0102030405060708;
  const char16_t text[] = u"odd";
  std::memcpy(bytes + 1, &value, sizeof value);
  std::memcpy(bytes + 17, text, sizeof text);
  const void* const pointer = bytes + 17;
  std::memcpy(bytes + 9, &pointer, sizeof pointer);
  JSStructDesc* record = Describe(u"Root", 16, {{u"N", u"int64", 8, 0}, {u"T", u"wchar_t*", 8, 8}});
  EXPECT_EQ(Convert(record, bytes + 1), kOk);
  EXPECT_EQ(Xml(), "<Root><N>72623859790382856</N><T>odd</T></Root>");
}

// --- what fails before memory is read
// -----------------------------------------------------------------------

struct RefusedCase {
  const char16_t* type;
  std::int32_t size;
  Status code;
  const char16_t* log;
  const char16_t* text;
  const char* why;
};

class RefusedTypes : public ConvertByType, public ::testing::WithParamInterface<RefusedCase> {};

TEST_P(RefusedTypes, AreReported) {
  const RefusedCase& test = GetParam();
  SCOPED_TRACE(test.why);
  Describe(u"Rec", 4, {{u"X", u"int", 4, 0}});
  const void* const pointer = &pointer;  // a pointer at any level
  EXPECT_EQ(ConvertItem(test.type, test.size, &pointer), test.code);
  EXPECT_EQ(OwnLines(), Texts{test.log});
  EXPECT_EQ(walk.errorText, test.text);
  EXPECT_EQ(Xml(), "<Item/>");
  EXPECT_EQ(CurrentElement(), "JobScriptXMLDescription");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedTypes,
    ::testing::Values(
        RefusedCase{u"int[", 4, kDescription,
                    u"Invalid PDB info for decoding [](type: int[, raw name: , ptr: -4).",
                    u"Can't parse the type int[", "a type that can't be decoded"},
        RefusedCase{u"int*", 2, kDescription, u"Invalid PDB info for type int*(ptr size: 2).",
                    u"Invalid size 2 for the type int*", "a pointer's size is 4 or 8"},
        RefusedCase{u"int*", 16, kDescription, u"Invalid PDB info for type int*(ptr size: 16).",
                    u"Invalid size 16 for the type int*", "likewise"},
        RefusedCase{
            u"int[3]", 11, kDescription,
            u"Invalid PDB size info for type int[3](Buffer size: 11, Array size: 3, Element size: 4).",
            u"Invalid size 11 for the type int[3]", "11 / 3 is 3"},
        RefusedCase{u"int[3]", 2, kDescription,
                    u"Invalid PDB size info for type int[3](Buffer size: 2, Array size: 3, Element size: 4).",
                    u"Invalid size 2 for the type int[3]", "2 / 3 is 0"},
        RefusedCase{
            u"void[3]", 12, kDescription,
            u"Invalid PDB size info for type void[3](Buffer size: 12, Array size: 3, Element size: -1).",
            u"Invalid size 12 for the type void[3]", "nothing has no size"},
        RefusedCase{
            u"Gone[3]", 12, kDescription,
            u"Invalid PDB size info for type Gone[3](Buffer size: 12, Array size: 3, Element size: -2).",
            u"Invalid size 12 for the type Gone[3]", "an unknown name has none"},
        RefusedCase{u"void[3]*", 8, kDescription,
                    u"Invalid PDB size info for type void[3]*(Element size: -1).",
                    u"Invalid array element size -1 for the type void[3]*", "behind a pointer"},
        RefusedCase{u"Gone[3]*", 8, kDescription,
                    u"Invalid PDB size info for type Gone[3]*(Element size: -2).",
                    u"Invalid array element size -2 for the type Gone[3]*", "behind a pointer"},
        RefusedCase{u"int*[4]", 8, kDescription, u"Invalid PDB size info for type int*[4](Element size: -2).",
                    u"Invalid array element size -2 for the type int*[4]",
                    "four pointers, then no type of that name"},
        RefusedCase{u"double[1]", 8, kDescription, u"Invalid PDB info for type double.",
                    u"Can't find the PDB info for the struct double", "sized, but no primary and no record"},
        RefusedCase{u"double", 8, kDescription, u"Invalid PDB info for type double.",
                    u"Can't find the PDB info for the struct double", "likewise"},
        RefusedCase{u"double*", 8, kDescription, u"Invalid PDB info for type double.",
                    u"Can't find the PDB info for the struct double", "likewise"},
        RefusedCase{u"byte", 1, kDescription,
                    u"Invalid PDB size info for type byte(Buffer size: 1, Element size: -2).",
                    u"Invalid size for the type byte", "fails by its size already"},
        RefusedCase{u"Gone*", 8, kDescription, u"Invalid PDB info for type Gone(Element size: -2).",
                    u"Invalid size for the type Gone", "an unknown name behind a pointer"},
        RefusedCase{u"void", 4, kDescription,
                    u"Invalid PDB size info for type void(Buffer size: 4, Element size: -1).",
                    u"Invalid size for the type void", "void by itself"},
        RefusedCase{u"int", 8, kDescription,
                    u"Invalid PDB size info for type int(Buffer size: 8, Element size: 4).",
                    u"Invalid size for the type int", "too much room"},
        RefusedCase{u"float", 8, kDescription,
                    u"Invalid PDB size info for type float(Buffer size: 8, Element size: 4).",
                    u"Invalid size for the type float", "too much room"},
        RefusedCase{u"Rec", 3, kDescription,
                    u"Invalid PDB size info for type Rec(Buffer size: 3, Element size: 4).",
                    u"Invalid size for the type Rec", "too little room"}));

TEST_F(ConvertByType, ARecordWithoutASizeIsRefusedInEveryForm) {
  Describe(u"Rec", 4)->size = 0;
  const void* const pointer = &pointer;
  struct {
    const char16_t* type;
    std::int32_t size;
    const char16_t* log;
    const char16_t* text;
  } const cases[] = {
      {u"Rec", 4, u"Invalid PDB size info for type Rec(Buffer size: 4, Element size: 0).",
       u"Invalid size for the type Rec"},
      {u"Rec*", 8, u"Invalid PDB size info for type Rec(Buffer size: 8, Element size: 0).",
       u"Invalid size for the type Rec"},
      {u"Rec[2]*", 8, u"Invalid PDB size info for type Rec[2]*(Element size: 0).",
       u"Invalid array element size 0 for the type Rec[2]*"},
      {u"Rec[8]", 7, u"Invalid PDB size info for type Rec[8](Element size: 0).",
       u"Invalid array element size 0 for the type Rec[8]"},
  };
  JSStructDesc* record = Describe(u"Root", 8, {{u"Item", u"int", 4, 0}});
  for (const auto& test : cases) {
    log.Clear();
    record->FindItem(u"Item")->SetType(test.type);
    record->FindItem(u"Item")->size = test.size;
    EXPECT_EQ(ConvertItemOf(record, u"Item", &pointer), kDescription);
    EXPECT_EQ(OwnLines(), Texts{test.log});
    EXPECT_EQ(walk.errorText, test.text);
  }
}

TEST_F(ConvertByType, NeedsAnAddressAndASize) {
  JSStructItemDesc item(u"Item", u"int", 4, 0, u"", u"");
  EXPECT_EQ(walk.ConvertByType(item, 0), kParameter);
  item.size = 0;
  EXPECT_EQ(walk.ConvertByType(item, AddressOf(kNumbers.data())), kParameter);
  EXPECT_EQ(Lines(), Texts(2, u"Invalid parameters for converting by type."));
  EXPECT_EQ(walk.errorText, u"Invalid parameters");
}

// --- memory that can't be read
// ------------------------------------------------------------------------------

using Unreadable = ConvertByType;

TEST_F(Unreadable, APointerThatCannotBeReadSetsNoText) {
  EXPECT_EQ(ConvertItem(u"int*", 8, kNowhere), kAddress);
  EXPECT_EQ(OwnLines(), Texts{u"Binary not readable.(Type: int*, ptr size: 8)"});
  EXPECT_TRUE(walk.errorText.empty());
}

TEST_F(Unreadable, ASecondLevelThatCannotBeRead) {
  const void* const pointer = kNowhere;
  EXPECT_EQ(ConvertItem(u"int**", 4, &pointer), kAddress);
  EXPECT_EQ(OwnLines(), Texts{u"Binary not readable.(Type: int**, ptr size: 4)"});
}

TEST_F(Unreadable, APointerOfSizeFourNeedsEightBytes) {
  const EdgeOfMemory edge(7);
  EXPECT_EQ(ConvertItem(u"int*", 4, edge.data()), kAddress);
  EXPECT_EQ(OwnLines(), Texts{u"Binary not readable.(Type: int*, ptr size: 4)"});
}

TEST_F(Unreadable, AScalarInlineOrBehindAPointer) {
  EXPECT_EQ(ConvertItem(u"int", 4, kNowhere), kAddress);
  EXPECT_EQ(OwnLines(), Texts{u"Binary not readable.(Type: int, Size: 4, Content: )"});
  EXPECT_TRUE(walk.errorText.empty());
}

TEST_F(Unreadable, AScalarThatIsCutByTheEndOfMemory) {
  const EdgeOfMemory edge(3);
  const void* const pointer = edge.data();
  EXPECT_EQ(ConvertItem(u"uint*", 8, &pointer), kAddress);
  EXPECT_EQ(OwnLines(), Texts{u"Binary not readable.(Type: uint, Size: 4, Content: )"});
}

TEST_F(Unreadable, AnArrayWhoseThirdElementCannotBeReadLeavesItsElementEmpty) {
  const EdgeOfMemory edge(8);
  EXPECT_EQ(ConvertItem(u"int[3]", 12, edge.data()), kAddress);
  EXPECT_EQ(OwnLines(), Texts{u"Binary not readable.(Type: int, Size: 4, Content: )"});
  EXPECT_EQ(Lines(3), Texts{u"Array[3]"});
  EXPECT_TRUE(walk.errorText.empty());
  EXPECT_EQ(Xml(), "<Item/>");
}

TEST_F(Unreadable, AnArrayThatEndsWithMemoryConverts) {
  const EdgeOfMemory edge(12);
  EXPECT_EQ(ConvertItem(u"int[3]", 12, edge.data()), kOk);
}

TEST_F(Unreadable, AHugeArrayBehindAPointerEndsWithMemory) {
  const EdgeOfMemory edge(64);
  const void* const pointer = edge.data();
  EXPECT_EQ(ConvertItem(u"int64[2147483647]*", 8, &pointer), kAddress);
  EXPECT_EQ(Lines(3), Texts{u"Array[2147483647]"});
}

TEST_F(Unreadable, TheFirstCharacterOfANarrowText) {
  const void* const pointer = kNowhere;
  EXPECT_EQ(ConvertItem(u"char*", 8, &pointer), kAddress);
  EXPECT_EQ(OwnLines(), Texts{u"Binary not readable.(Type: char, size: 1)"});
  EXPECT_TRUE(walk.errorText.empty());
}

TEST_F(Unreadable, ANarrowTextThatLeavesMemoryBeforeItsEnd) {
  const EdgeOfMemory edge(4);
  std::memcpy(edge.data(), "abcd", 4);
  const void* const pointer = edge.data();
  EXPECT_EQ(ConvertItem(u"char*", 8, &pointer), kAddress);
  EXPECT_EQ(OwnLines(), Texts{u"Binary not readable.(Type: char, size: 1)"});
}

TEST_F(Unreadable, ANarrowTextThatEndsWithMemoryConverts) {
  const EdgeOfMemory edge(4);
  std::memcpy(edge.data(), "abc", 4);
  const void* const pointer = edge.data();
  EXPECT_EQ(Value(u"char*", 8, &pointer), "<Item>abc</Item>");
}

TEST_F(Unreadable, TheFirstCharacterOfAWideText) {
  const void* const pointer = kNowhere;
  EXPECT_EQ(ConvertItem(u"wchar_t*", 8, &pointer), kAddress);
  EXPECT_EQ(OwnLines(),
            Texts{Text(u"Binary not readable.(Type: wchar_t, Size: 2) bin:0x%p", FormatArg(kNowhere))});
  EXPECT_TRUE(walk.errorText.empty());
}

TEST_F(Unreadable, AWideTextThatLeavesMemoryBeforeItsEnd) {
  const EdgeOfMemory edge(4);
  std::memcpy(edge.data(), u"ab", 4);
  const void* const pointer = edge.data();
  EXPECT_EQ(ConvertItem(u"wchar_t*", 8, &pointer), kAddress);
  EXPECT_EQ(OwnLines(),
            Texts{Text(u"Binary not readable.(Type: wchar_t, Size: 2) bin:0x%p", FormatArg(pointer))});
  EXPECT_EQ(Xml(), "<Item/>");
}

TEST_F(Unreadable, AWideTextThatEndsWithMemoryConverts) {
  const EdgeOfMemory edge(6);
  std::memcpy(edge.data(), u"ab", 6);
  const void* const pointer = edge.data();
  EXPECT_EQ(Value(u"wchar_t*", 8, &pointer), "<Item>ab</Item>");
}

TEST_F(Unreadable, AnEntryOfAnArrayOfRecordsStopsIt) {
  Describe(u"Inner", 4, {{u"X", u"int", 4, 0}});
  const EdgeOfMemory edge(4);
  const void* const pointer = edge.data();
  EXPECT_EQ(ConvertItem(u"Inner[3]*", 8, &pointer), kAddress);
  EXPECT_EQ(Xml(), "<Item><Inner><X>0</X></Inner><Inner><X/></Inner></Item>");
  EXPECT_EQ(CurrentElement(), "JobScriptXMLDescription");
}

TEST_F(Unreadable, ARecordAtTheTopOfTheAddressSpace) {
  Describe(u"Inner", 0x7FFFFFFF, {{u"X", u"int", 4, 0x7FFFFFF0}});
  const void* const pointer =
      reinterpret_cast<const void*>(UINTPTR_MAX);  // NOLINT(performance-no-int-to-ptr)
  EXPECT_EQ(ConvertItem(u"Inner[3]*", 8, &pointer), kAddress) << "the item's address wraps";
}

// --- narrow texts that are too long
// -------------------------------------------------------------------------

using NarrowLimit = ConvertByType;

struct NarrowCase {
  std::string text;
  bool fits;
  const char* why;
};

TEST_F(NarrowLimit, IsSixtyThreeUnits) {
  const std::string accented = "\xC3\xA9";      // one unit, two bytes
  const std::string euro = "\xE2\x82\xAC";      // one unit, three bytes
  const std::string face = "\xF0\x9F\x98\x80";  // two units, four bytes
  const std::string broken = "\xE2\x82";        // one unit, two bytes
  const auto times = [](const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
  };
  const NarrowCase cases[] = {
      {times("a", 63), true, "63 bytes"},
      {times("a", 64), false, "64 bytes"},
      {times("a", 5000), false, "longer than anything that is read"},
      {times(accented, 63), true, "units count, not bytes"},
      {times(accented, 64), false, "units count, not bytes"},
      {times(euro, 63), true, "the most bytes that fit"},
      {times(euro, 64), false, "one more"},
      {times(face, 31) + "a", true, "31 pairs and one"},
      {times(face, 32), false, "32 pairs"},
      {times(broken, 63), true, "broken sequences are a unit each"},
      {times(broken, 64), false, "broken sequences are a unit each"},
  };
  for (const NarrowCase& test : cases) {
    if (testing::kIsWindows && test.text[0] != 'a') continue;  // each byte is a unit in the page of the tests
    SCOPED_TRACE(test.why);
    log.Clear();
    memory.Forget();
    const char* const pointer = test.text.c_str();
    JSStructItemDesc item(u"Item", u"char*", 8, 0, u"", u"");
    EXPECT_EQ(walk.ConvertByType(item, AddressOf(&pointer)), test.fits ? kOk : kContent);
    EXPECT_EQ(Lines(), test.fits
                           ? Texts{}
                           : Texts{u"Narrow text too long for converting by type.(Type: char*, Limit: 63)"});
    EXPECT_TRUE(walk.errorText.empty());
  }
}

TEST_F(NarrowLimit, TheWholeTypeStringIsNamed) {
  const std::string text(64, 'a');
  const char* const pointer = text.c_str();
  const void* const second = &pointer;
  EXPECT_EQ(ConvertItem(u"char**", 8, &second), kContent);
  EXPECT_EQ(OwnLines(), Texts{u"Narrow text too long for converting by type.(Type: char**, Limit: 63)"});
}

// --- documents that refuse
// ----------------------------------------------------------------------------------

// A document with room for the element of one item, but not for its flag or content.
class FullDocument : public ConvertByType {
 protected:
  FullDocument() {
    EXPECT_EQ(full.CreateDocument(), kOk);
    walk.helper = &full;
  }
  XMLDOMHelper full{WideView(u"<JobScriptXMLDescription><Item/></JobScriptXMLDescription>").size()};
  const void* const null = nullptr;
};

TEST_F(FullDocument, HasNoRoomForAValue) {
  EXPECT_EQ(ConvertItem(u"int64", 8, &null), kMemory);
  EXPECT_TRUE(walk.errorText.empty());
}

TEST_F(FullDocument, HasNoRoomForAnArray) {
  EXPECT_EQ(ConvertItem(u"int[2]", 8, &null), kMemory);
}

// Descriptions and data may tell of more text than any memory holds, so what the document has no room for is
// not gathered: what lies further on is not read any more.
TEST_F(FullDocument, AnArrayIsReadNoFurtherThanItHasRoom) {
  const EdgeOfMemory edge(64);
  const void* const pointer = edge.data();
  EXPECT_EQ(ConvertItem(u"uchar[2147483647]*", 8, &pointer), kMemory);
  EXPECT_EQ(Lines(3), Texts{u"Array[2147483647]"});
  EXPECT_TRUE(walk.errorText.empty());
}

TEST_F(FullDocument, ATextIsReadNoFurtherThanItHasRoom) {
  const EdgeOfMemory edge(4096);
  std::memset(edge.data(), 'x', 4096);
  const void* const pointer = edge.data();
  EXPECT_EQ(ConvertItem(u"wchar_t*", 8, &pointer), kMemory) << "and not what the end of memory gives";
}

TEST_F(FullDocument, HasNoRoomForAFlag) {
  EXPECT_THROW(ConvertItem(u"int*", 8, &null), std::bad_alloc) << "though the flag's result is ignored";
}

TEST_F(FullDocument, HasNoRoomForAnotherElement) {
  Describe(u"Empty", 8);
  EXPECT_EQ(ConvertItem(u"Empty", 8, &null), kOk);
  JSStructDesc* more = Describe(u"More", 8, {{u"Item", u"Empty", 8, 0}});
  EXPECT_EQ(ConvertItemOf(more, u"Item", &null), kMemory);
  EXPECT_EQ(walk.errorText, u"Can't create the XML element for the struct item Item");
  EXPECT_EQ(Convert(more, &null), kMemory);
  EXPECT_EQ(walk.errorText, u"Can't create XML element for More");
}

// --- documents that fail
// ------------------------------------------------------------------------------------

class FailingDocument : public ConvertByType {
 protected:
  // A document of its own, whose calls fail from here on as `failures` says.
  FailingDocument() {
    EXPECT_EQ(failing.CreateDocument(), kOk);
    walk.helper = &failing;
  }
  ScopedFailures failures;
  XMLDOMHelper failing;
};

TEST_F(FailingDocument, AFlagThatCannotBeSetIsIgnored) {
  const void* const null = nullptr;
  const void* const pointer = kNowhere;
  failures.Fail(DomCall::kSetAttribute, 1, -1);
  JSStructDesc* record = Describe(u"Root", 8, {{u"Item", u"int*", 8, 0}});
  EXPECT_EQ(ConvertItemOf(record, u"Item", &null), kOk);
  record->FindItem(u"Item")->SetType(u"void*");
  EXPECT_EQ(ConvertItemOf(record, u"Item", &pointer), kOk);
  EXPECT_EQ(Lines().size(), 2u) << "the document's own lines";
}

TEST_F(FailingDocument, ContentThatCannotBeSetFailsTheItemWithoutAText) {
  const char16_t* const wide = u"text";
  const char* const narrow = "text";
  struct {
    const char16_t* type;
    std::int32_t size;
    const void* address;
  } const cases[] = {{u"int", 4, kNumbers.data()},
                     {u"int[2]", 8, kNumbers.data()},
                     {u"wchar_t*", 8, &wide},
                     {u"char*", 8, &narrow}};
  failures.Fail(DomCall::kPutText, 1, -1);
  JSStructDesc* record = Describe(u"Root", 8, {{u"Item", u"int", 4, 0}});
  for (const auto& test : cases) {
    log.Clear();
    record->FindItem(u"Item")->SetType(test.type);
    record->FindItem(u"Item")->size = test.size;
    EXPECT_EQ(ConvertItemOf(record, u"Item", test.address), kContent);
    EXPECT_EQ(OwnLines(), Texts{u"Invalid XML info for setting element content xx."});
    EXPECT_TRUE(walk.errorText.empty());
  }
}

}  // namespace
}  // namespace sbx::testing
