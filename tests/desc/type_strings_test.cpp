#include "desc/type_strings.h"

#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "base/format.h"
#include "support/recording_log.h"

namespace sbx {
namespace {

using testing::LogLine;
using testing::ScopedLog;

// A set with the record "Rec" of 12 bytes, and one item of the type in question.
class TypeStrings : public ::testing::Test {
 protected:
  TypeStrings() {
    set_.AddStruct(u"Rec", 12, u"", u"");
    slots_.descSet = &set_;
  }

  JSStructItemDesc& Item(WideView type) {
    item_ = std::make_unique<JSStructItemDesc>(u"item", WideString(type), 1, 0, u"", u"");
    return *item_;
  }

  // The chain as text: "ptr>array 4>record Rec", or "null".
  static WideString Shape(const JSTypeNode* node) {
    if (node == nullptr) return u"null";
    WideString text;
    for (; node != nullptr; node = node->next) {
      if (!text.empty()) text += u">";
      text += NodeText(*node);
    }
    return text;
  }

  static WideString NodeText(const JSTypeNode& node) {
    switch (node.kind) {
      case JS_TYPE_POINTER:
        return node.name == u"*" ? u"ptr" : u"lone " + WideString(node.name);
      case JS_TYPE_ARRAY:
        return WideString(Message(u"array %d%s", node.count, node.name).view());
      case JS_TYPE_PRIMARY:
        return u"primary " + WideString(node.name);
      case JS_TYPE_PRIMARY | JS_TYPE_STRING:
        return u"string " + WideString(node.name);
      case JS_TYPE_STRUCT:
        return u"record " + WideString(node.name) + (node.structDesc == nullptr ? u" without" : u"");
    }
    return u"?";
  }

  JSPDBMemDesc set_;
  JSTypeSlots slots_;
  std::unique_ptr<JSStructItemDesc> item_;
};

// What both sides make of one text. `status` 0 with raw name, array and level for the memory side.
struct BothSides {
  const char16_t* type;
  Status status;
  const char16_t* rawName;
  std::int32_t arraySize;
  std::int32_t pointerLevel;
  const char16_t* shape;
  const char* why;
};

constexpr BothSides kBothSides[] = {
    {u"int", 0, u"int", -1, -1, u"primary int", "a primary"},
    {u"wchar_t[16]", 0, u"wchar_t", 16, -1, u"array 16>primary wchar_t", "an array"},
    {u"int[2][3]", 0, u"int", 6, -1, u"array 6>primary int", "counts multiply"},
    {u"Rec[4]*", 0, u"Rec", 4, 1, u"ptr>array 4>record Rec", "a pointer to an array"},
    {u"Rec*", 0, u"Rec", -1, 1, u"ptr>record Rec", "a pointer to a record"},
    {u"void", 0, u"void", -1, -1, u"null", "nothing has no chain"},
    {u"void*", 0, u"void", -1, 1, u"lone void*", "an unknown target"},
    {u"char*", 0, u"char", -1, 1, u"string char*", "a narrow string"},
    {u"wchar_t*", 0, u"wchar_t", -1, 1, u"string wchar_t*", "a wide string"},
    {u"int**", 0, u"int", -1, 2, u"null", "two levels are for the memory side only"},
    {u"int*[4]", 0, u"int*", 4, 4, u"null", "the level counts the rest of the text"},
    {u"int dptr", 0, u"int", -1, 1, u"null", "a second word is for the memory side only"},
    {u"int [4]", 0, u"int", 4, -1, u"null", "a blank belongs to the name on the XML side"},
    {u"int[4]x", 0, u"int", 4, -1, u"null", "what follows the brackets"},
    {u"int[]", -4, u"", -1, -1, u"null", "no count"},
    {u"int[-1]", -4, u"", -1, -1, u"null", "a negative count"},
    {u"int[0]", 0, u"int", -1, -1, u"primary int", "a count of 0 is no array"},
    {u"int[0]*", 0, u"int", -1, 1, u"ptr>primary int", "a count of 0 behind a pointer"},
    {u"Rec[1]", 0, u"Rec", 1, -1, u"array 1>record Rec", "a count of 1 is an array"},
    {u"int[1]*", 0, u"int", 1, 1, u"ptr>array 1>primary int", "also behind a pointer"},
    {u"int[2][0]", 0, u"int", 2, -1, u"array 2>primary int", "a later 0 stores nothing"},
    {u"int[0][2]", 0, u"int", -1, -1, u"primary int", "a 0 stays in the product"},
    {u"Rec[x]", 0, u"Rec", -1, -1, u"record Rec", "a count that is no number is 0"},
    {u"int dptr[4]", 0, u"int", 4, 1, u"null", "a second word with brackets"},
    {u"[4]", -4, u"", 4, -1, u"null", "no name; the array size is kept"},
};

TEST_F(TypeStrings, TheTwoDecodersDifferAsTabled) {
  for (const BothSides& row : kBothSides) {
    SCOPED_TRACE(row.why);
    DecodedType decoded;
    EXPECT_EQ(DecodeTypeString(row.type, decoded), row.status);
    EXPECT_EQ(decoded.rawName, row.rawName);
    EXPECT_EQ(decoded.arraySize, row.arraySize);
    EXPECT_EQ(decoded.pointerLevel, row.pointerLevel);
    EXPECT_EQ(Shape(ParseItemType(slots_, Item(row.type))), row.shape);
  }
}

// --- memory to XML -----------------------------------------------------------------------------------------

struct DecodeCase {
  const char16_t* type;
  Status status;
  const char16_t* rawName;
  std::int32_t arraySize;
  std::int32_t pointerLevel;
  const char16_t* line;  // null for none
  const char* why;
};

constexpr DecodeCase kDecodeCases[] = {
    {u"int****", 0, u"int", -1, 4, nullptr, "one level a star"},
    {u"int* const", 0, u"int*", -1, 7, nullptr,
     "the level counts everything behind the star; a blank ends the name"},
    {u"int[4]*", 0, u"int", 4, 1, nullptr, "a star behind the brackets"},
    {u"int** dptr", 0, u"int**", -1, 1, nullptr, "dptr replaces the level"},
    {u"int dptr*", 0, u"int", -1, 1, nullptr, "not the word alone; the star counts"},
    {u"int Dptr", 0, u"int", -1, -1, nullptr, "the word is exact"},
    {u"int  dptr", 0, u"int", -1, -1, nullptr, "the second word begins at the second blank"},
    {u"int dptr ", 0, u"int", -1, -1, nullptr, "a blank belongs to the second word"},
    {u"a[2] dptr", 0, u"a[2]", 2, 1, nullptr, "a bracket before the blank does not end the word"},
    {u"a[2] dptr[3]", 0, u"a[2]", 6, -1, nullptr, "nor does one behind it, when the first lies before"},
    {u" int", -4, u"", -1, -1, u"Invalid PDB info for decoding raw type name(type:  int, raw name: ).",
     "nothing before the blank"},
    {u"*", -4, u"", -1, 1, u"Invalid PDB info for decoding raw type name(type: *, raw name: ).",
     "a star alone"},
    {u"[4]", -4, u"", 4, -1, u"Invalid PDB info for decoding raw type name(type: [4], raw name: ).",
     "no name; the array size stays"},
    {u"int[", -4, u"", -1, -1, u"Invalid PDB info for decoding [](type: int[, raw name: , ptr: -4).",
     "open bracket at 3"},
    {u"int*[", -4, u"", -1, 2, u"Invalid PDB info for decoding [](type: int*[, raw name: , ptr: -5).",
     "the level stays"},
    {u"[", -4, u"", -1, -1, u"Invalid PDB info for decoding [](type: [, raw name: , ptr: -1).", "at 0"},
    {u"int[2]ab[", -4, u"", 2, -1, u"Invalid PDB info for decoding [](type: int[2]ab[, raw name: , ptr: -3).",
     "counted in what remains; the first count stays"},
    {u"int[]", -4, u"", -1, -1, u"Invalid PDB info for decoding [](type: int[], raw name: , ptr: 1).",
     "empty"},
    {u"int[3][]", -4, u"", 3, -1, u"Invalid PDB info for decoding [](type: int[3][], raw name: , ptr: 1).",
     "empty behind a good one"},
    {u"int[-1]", -4, u"", -1, -1,
     u"Invalid PDB info for decoding [](type: int[-1], raw name: , array size: -1).", "negative"},
    {u"int[3][-2]", -4, u"", 3, -1,
     u"Invalid PDB info for decoding [](type: int[3][-2], raw name: , array size: -6).", "negative product"},
    {u"int[-3][-2]", -4, u"", -1, -1,
     u"Invalid PDB info for decoding [](type: int[-3][-2], raw name: , array size: -3).",
     "ends at the first negative product"},
    {u"int[65536][32768]", -4, u"", 65536, -1,
     u"Invalid PDB info for decoding [](type: int[65536][32768], raw name: , array size: -2147483648).",
     "2^31 wraps to the lowest number"},
    {u"int[65536][65536]", 0, u"int", 65536, -1, nullptr, "2^32 wraps to 0, which stores nothing"},
    {u"int[65536][65536][5]", 0, u"int", 65536, -1, nullptr, "and stays 0"},
    {u"int[65537][65536]", 0, u"int", 65536, -1, nullptr, "2^32 + 2^16 wraps to 2^16"},
    {u"int[2147483647]", 0, u"int", 2147483647, -1, nullptr, "the largest count"},
    {u"int[99999999999]", 0, u"int", 2147483647, -1, nullptr, "counts saturate"},
    {u"int[ \t+12abc]", 0, u"int[", 12, -1, nullptr,
     "blanks, a sign, digits, a stop; the blank ends the name"},
    {u"int[+7]", 0, u"int", 7, -1, nullptr, "a sign"},
    {u"int[N]", 0, u"int", -1, -1, nullptr, "no number is 0"},
    {u"]a[4]", 0, u"]a", 16, -1, nullptr, "a bracket that closes first: the count is read twice"},
    {u"]a[4", -4, u"", 4, -1, u"Invalid PDB info for decoding [](type: ]a[4, raw name: , ptr: -2).",
     "read once, then open"},
    {u"][2]", 0, u"]", 4, -1, nullptr, "the distance wraps also when they touch"},
    {u"int[4]]", 0, u"int", 4, -1, nullptr, "a bracket too many"},
    {u"int[[4]]", 0, u"int", -1, -1, nullptr, "a count that begins with a bracket is 0"},
    {u"int[2]x[3]y", 0, u"int", 6, -1, nullptr, "text between and behind the brackets"},
};

TEST_F(TypeStrings, DecodingForTheMemorySide) {
  for (const DecodeCase& row : kDecodeCases) {
    SCOPED_TRACE(row.why);
    const ScopedLog log;
    DecodedType decoded;
    EXPECT_EQ(DecodeTypeString(row.type, decoded), row.status);
    EXPECT_EQ(decoded.rawName, row.rawName);
    EXPECT_EQ(decoded.arraySize, row.arraySize);
    EXPECT_EQ(decoded.pointerLevel, row.pointerLevel);
    std::vector<LogLine> lines;
    if (row.line != nullptr) lines.push_back({0, row.line});
    EXPECT_EQ(log.lines(), lines);
  }
}

// Nobody waits for a description's text: each of a million brackets looks at all the others otherwise.
TEST_F(TypeStrings, BracketsTakeLinearTimeWhereverTheyStand) {
  constexpr std::size_t kMany = 1000000;
  const WideString closing(kMany, u']');
  const WideString blanks(kMany, u' ');
  WideString pairs;
  for (std::size_t i = 0; i < kMany; ++i) pairs += u"[1]";
  for (const WideString& type :
       {closing + u"[1]", closing + u"[" + blanks + u"1]", u"a" + pairs, closing + pairs}) {
    DecodedType decoded;
    EXPECT_EQ(DecodeTypeString(type, decoded), kOk);
    EXPECT_EQ(decoded.arraySize, 1);
    EXPECT_EQ(ParseItemType(slots_, Item(type)), nullptr) << "no such name";
  }
}

TEST_F(TypeStrings, AnEmptyTypeIsRefusedWithTheOutputsAsTheyWere) {
  const ScopedLog log;
  DecodedType decoded{u"before", 5, 6};
  EXPECT_EQ(DecodeTypeString(u"", decoded), kDescription);
  EXPECT_EQ(decoded.rawName, u"before");
  EXPECT_EQ(decoded.arraySize, 5);
  EXPECT_EQ(decoded.pointerLevel, 6);
  EXPECT_EQ(
      log.lines(),
      (std::vector<LogLine>{{0, u"Invalid PDB info for decoding type string(type: , raw name: before)."}}));
}

TEST_F(TypeStrings, EarlierOutputsDoNotShowThrough) {
  DecodedType decoded{u"before", 5, 6};
  EXPECT_EQ(DecodeTypeString(u"int", decoded), kOk);
  EXPECT_EQ(decoded.arraySize, -1);
  EXPECT_EQ(decoded.pointerLevel, -1);
}

// --- what an item's type stands for ------------------------------------------------------------------------

struct ResolveCase {
  const char16_t* type;
  const char16_t* rawName;
  std::int32_t typeSize;
  bool isPrimary;
  const char16_t* record;  // null for none
  const char* why;
};

constexpr ResolveCase kResolveCases[] = {
    {u"int[3]", u"int", 4, true, nullptr, "a primary"},
    {u"void*", u"void", -1, true, nullptr, "nothing there"},
    {u"Rec*", u"Rec", 12, false, u"Rec", "a record"},
    {u"double", u"double", 8, false, nullptr, "has a size and is no primary"},
    {u"byte", u"byte", -2, false, nullptr, "unknown on this side"},
    {u"Other", u"Other", -2, false, nullptr, "unknown"},
};

TEST_F(TypeStrings, ResolvingClassifiesTheRawName) {
  for (const ResolveCase& row : kResolveCases) {
    SCOPED_TRACE(row.why);
    const JSStructItemDesc& item = Item(row.type);
    for (int time = 0; time < 2; ++time) {
      ResolvedType type;
      EXPECT_EQ(ResolveItemType(set_, item, type), kOk);
      EXPECT_EQ(type.rawName, row.rawName);
      EXPECT_EQ(type.typeSize, row.typeSize);
      EXPECT_EQ(type.isPrimary, row.isPrimary);
      EXPECT_EQ(type.record, row.record == nullptr ? nullptr : set_.FindStruct(row.record));
    }
  }
}

TEST_F(TypeStrings, ResolvingFollowsARewrittenType) {
  JSStructItemDesc& item = Item(u"Rec[2]*");
  ResolvedType before;
  ASSERT_EQ(ResolveItemType(set_, item, before), kOk);
  item.SetType(u"wchar_t*");
  ResolvedType after;
  ASSERT_EQ(ResolveItemType(set_, item, after), kOk);
  EXPECT_EQ(after.rawName, u"wchar_t");
  EXPECT_EQ(after.arraySize, -1);
  EXPECT_EQ(after.record, nullptr);
  // What was read before the rewriting still holds.
  EXPECT_EQ(before.rawName, u"Rec");
  EXPECT_EQ(before.arraySize, 2);
}

TEST_F(TypeStrings, ResolvingAsksTheSetAtHand) {
  JSPDBMemDesc other;
  other.AddStruct(u"Rec", 40, u"", u"");
  const JSStructItemDesc& item = Item(u"Rec");
  ResolvedType type;
  ASSERT_EQ(ResolveItemType(set_, item, type), kOk);
  EXPECT_EQ(type.typeSize, 12);
  ASSERT_EQ(ResolveItemType(other, item, type), kOk);
  EXPECT_EQ(type.typeSize, 40);
  EXPECT_EQ(type.record, other.FindStruct(u"Rec"));
}

TEST_F(TypeStrings, ARecordAddedLaterIsFound) {
  const JSStructItemDesc& item = Item(u"Late");
  ResolvedType type;
  ASSERT_EQ(ResolveItemType(set_, item, type), kOk);
  EXPECT_EQ(type.record, nullptr);
  EXPECT_EQ(Shape(ParseItemType(slots_, item)), u"null");
  set_.AddStruct(u"Late", 3, u"", u"");
  ASSERT_EQ(ResolveItemType(set_, item, type), kOk);
  EXPECT_EQ(type.typeSize, 3);
  EXPECT_EQ(Shape(ParseItemType(slots_, item)), u"record Late");
}

TEST_F(TypeStrings, ARefusalOnTheWayBackIsKeptLikeAnyAnswer) {
  // An item may be named by as many elements as a document has, and its type may be of any length.
  JSStructDesc& record = set_.AddStruct(u"Long", 8, u"", u"");
  JSStructItemDesc& item = *record.AddItem(u"a", u"int[2][", 8, 0, u"", u"");
  EXPECT_EQ(ParseItemType(slots_, item), nullptr);
  const ParsedType* const kept = item.xmlNote.Get(&set_, item.revision());
  ASSERT_NE(kept, nullptr);
  EXPECT_EQ(ParseItemType(slots_, item), nullptr);
  EXPECT_EQ(item.xmlNote.Get(&set_, item.revision()), kept);
  item.SetType(u"int[2]");
  EXPECT_EQ(Shape(ParseItemType(slots_, item)), u"array 2>primary int");
}

TEST_F(TypeStrings, EachFailingDecodeIsLogged) {
  const ScopedLog log;
  const JSStructItemDesc& item = Item(u"int[]");
  ResolvedType type;
  EXPECT_EQ(ResolveItemType(set_, item, type), kDescription);
  EXPECT_EQ(ResolveItemType(set_, item, type), kDescription);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>(
                             2, {0, u"Invalid PDB info for decoding [](type: int[], raw name: , ptr: 1)."})));
}

// --- XML to memory -----------------------------------------------------------------------------------------

struct ParseCase {
  const char16_t* type;
  const char16_t* shape;
  const char* why;
};

constexpr ParseCase kParseCases[] = {
    {u"byte", u"primary byte", "a primary on this side only"},
    {u"double", u"primary double", "likewise"},
    {u"char**", u"null", "two levels"},
    {u"char*[3]", u"null", "a star before the brackets"},
    {u"char*[3]*", u"null", "and behind them"},
    {u"char[3]*", u"ptr>array 3>primary char", "a pointer to an array"},
    {u"void[3]", u"null", "void is no base"},
    {u"void[3]*", u"null", "nor behind a pointer"},
    {u"void ", u"null", "only the exact word; no such record"},
    {u"", u"null", "an empty name"},
    {u"*", u"null", "an empty name behind a pointer"},
    {u"[4]", u"null", "an empty name before brackets"},
    {u"Rec[2][0]", u"array 2>record Rec", "a later 0 stores nothing"},
    {u"Rec[2]**", u"null", "more than one star behind the brackets"},
    {u"Rec[2]* ", u"null", "the star is not the last unit"},
    {u"Rec[2] *", u"null", "a blank before it"},
    {u"Rec[2]]", u"array 2>record Rec", "what follows the last closing bracket counts"},
    {u"Rec[2]x]", u"array 2>record Rec", "what lies before it is not looked at"},
    {u"Rec[2]x]*", u"ptr>array 2>record Rec", "likewise with a star"},
    {u"Rec[2]*[3]", u"array 6>record Rec", "a star between brackets has no meaning"},
    {u"Rec[2", u"null", "open"},
    {u"Rec[2][", u"null", "open behind a good one"},
    {u"Rec[][2]", u"null", "empty"},
    {u"Rec[-2]", u"null", "negative"},
    {u"Rec[65536][32768]", u"null", "2^31 wraps to a negative product"},
    {u"Rec[65536][65536]", u"array 65536>record Rec", "2^32 wraps to 0, which stores nothing"},
    {u"]a[4]", u"null", "no such name"},
    {u"rec", u"null", "names are exact"},
    {u"Rec ", u"null", "blanks belong to the name"},
    {u" Rec", u"null", "likewise in front"},
    {u"Rec *", u"null", "likewise before a star"},
};

TEST_F(TypeStrings, ParsingForTheXmlSideIsSilent) {
  const ScopedLog log;
  for (const ParseCase& row : kParseCases) {
    SCOPED_TRACE(row.why);
    EXPECT_EQ(Shape(ParseItemType(slots_, Item(row.type))), row.shape);
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(TypeStrings, AClosingBracketInFrontIsCountedTwiceHereToo) {
  set_.AddStruct(u"]a", 4, u"", u"");
  EXPECT_EQ(Shape(ParseItemType(slots_, Item(u"]a[4]"))), u"array 16>record ]a");
}

TEST_F(TypeStrings, ARecordMayHaveTheNameOfNothing) {
  set_.AddStruct(u"void", 4, u"", u"");
  EXPECT_EQ(Shape(ParseItemType(slots_, Item(u"void"))), u"null") << "the exact word comes first";
  EXPECT_EQ(Shape(ParseItemType(slots_, Item(u"void[2]"))), u"array 2>record void");
}

TEST_F(TypeStrings, ChainsHaveTheirFields) {
  const JSTypeNode* head = ParseItemType(slots_, Item(u"Rec[4]*"));
  ASSERT_EQ(head, &slots_.pointerNode);
  EXPECT_EQ(head->kind, 1u);
  EXPECT_EQ(head->name, u"*");
  EXPECT_EQ(head->count, 0);
  ASSERT_EQ(head->next, &slots_.arrayNode);
  EXPECT_EQ(head->next->kind, 4u);
  EXPECT_EQ(head->next->name, u"");
  EXPECT_EQ(head->next->count, 4);
  ASSERT_EQ(head->next->next, &slots_.baseNode);
  EXPECT_EQ(slots_.baseNode.kind, 8u);
  EXPECT_EQ(slots_.baseNode.structDesc, set_.FindStruct(u"Rec"));
  EXPECT_EQ(slots_.baseNode.next, nullptr);

  head = ParseItemType(slots_, Item(u"char*"));
  EXPECT_EQ(head->kind, 18u);
  EXPECT_EQ(head->structDesc, nullptr);
  head = ParseItemType(slots_, Item(u"void*"));
  EXPECT_EQ(head->kind, 1u);
  EXPECT_EQ(head->name, u"void*");
  EXPECT_EQ(head->next, nullptr);
}

TEST_F(TypeStrings, ASecondParseOverwritesTheNodes) {
  const JSTypeNode* first = ParseItemType(slots_, Item(u"Rec[2]*"));
  const JSTypeNode* second = ParseItemType(slots_, Item(u"int[5]*"));
  EXPECT_EQ(first, second);
  EXPECT_EQ(Shape(first), u"ptr>array 5>primary int");
}

TEST_F(TypeStrings, ParsingAgainFollowsARewrittenType) {
  JSStructItemDesc& item = Item(u"Rec*");
  EXPECT_EQ(Shape(ParseItemType(slots_, item)), u"ptr>record Rec");
  EXPECT_EQ(Shape(ParseItemType(slots_, item)), u"ptr>record Rec");
  item.SetType(u"Rec[3]*");
  EXPECT_EQ(Shape(ParseItemType(slots_, item)), u"ptr>array 3>record Rec");
  item.SetType(u"Rec[]*");
  EXPECT_EQ(Shape(ParseItemType(slots_, item)), u"null");
}

TEST_F(TypeStrings, WithoutASetThereAreNoRecords) {
  slots_.descSet = nullptr;
  EXPECT_EQ(Shape(ParseItemType(slots_, Item(u"Rec"))), u"null");
  EXPECT_EQ(Shape(ParseItemType(slots_, Item(u"int"))), u"primary int");
}

struct SizeCase {
  const char16_t* type;
  std::int64_t size;
  const char* why;
};

constexpr SizeCase kSizeCases[] = {
    {u"int", 4, "a primary"},
    {u"char*", 8, "a string"},
    {u"void*", 8, "a lone pointer"},
    {u"Rec[4]*", 8, "a pointer"},
    {u"Rec[4]", 48, "an array of records"},
    {u"wchar_t[16]", 32, "an array of primaries"},
    {u"Rec", 12, "a record"},
    {u"Rec[2147483647]", 25769803764, "more than 32 bits hold"},
};

TEST_F(TypeStrings, SizesOfChains) {
  for (const SizeCase& row : kSizeCases) {
    SCOPED_TRACE(row.why);
    EXPECT_EQ(TypeChainSize(ParseItemType(slots_, Item(row.type))), row.size);
  }
  EXPECT_EQ(TypeChainSize(ParseItemType(slots_, Item(u"Rec[4]*"))->next), 48) << "what is pointed at";
}

TEST_F(TypeStrings, AnUnknownPrimaryMeasuresNothing) {
  JSTypeNode node;
  node.kind = JS_TYPE_PRIMARY;
  EXPECT_EQ(TypeChainSize(&node), 0);
  node.name = u"void";
  EXPECT_EQ(TypeChainSize(&node), 0);
}

// --- generated texts against a second reading --------------------------------------------------------------

// Both decoders once more, unit by unit and without anything of the library, for texts that are made at
// random.
namespace second {

// The decimal number at the front of a text, saturating.
long long Number(const std::u16string& text) {
  std::size_t at = 0;
  while (at < text.size() && (text[at] == u' ' || (text[at] >= 9 && text[at] <= 13))) ++at;
  bool minus = false;
  if (at < text.size() && (text[at] == u'-' || text[at] == u'+')) minus = text[at++] == u'-';
  long long value = 0;
  for (; at < text.size() && text[at] >= u'0' && text[at] <= u'9'; ++at) {
    value = value * 10 + (text[at] - u'0');
    if (value > 2147483648LL) value = 2147483648LL;
  }
  if (minus) return -value;
  return value > 2147483647LL ? 2147483647LL : value;
}

int IndexOf(const std::u16string& text, char16_t unit) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == unit) return static_cast<int>(at);
  }
  return -1;
}

// The product of two 32-bit numbers, its bits above 32 cut off.
long long Wrapped(long long a, long long b) {
  long long product = (a * b) % 4294967296LL;
  if (product < 0) product += 4294967296LL;
  return product >= 2147483648LL ? product - 4294967296LL : product;
}

struct Brackets {
  bool good = true;
  int count = -1;
};

Brackets Read(std::u16string rest) {
  Brackets result;
  long long product = 1;
  while (IndexOf(rest, u'[') >= 0) {
    const int open = IndexOf(rest, u'[');
    const int close = IndexOf(rest, u']');
    if (close < 0 || close == open + 1) {
      result.good = false;
      return result;
    }
    std::u16string count;
    for (int at = open + 1; at < static_cast<int>(rest.size()) && (close < open || at < close); ++at) {
      count += rest[static_cast<std::size_t>(at)];
    }
    product = Wrapped(product, Number(count));
    if (product < 0) {
      result.good = false;
      return result;
    }
    rest.erase(0, static_cast<std::size_t>(close) + 1);
    if (product > 0) result.count = static_cast<int>(product);
  }
  return result;
}

struct Decoded {
  int status = 0;
  std::u16string rawName;
  int arraySize = -1;
  int pointerLevel = -1;
};

Decoded Decode(const std::u16string& type) {
  Decoded out;
  const int length = static_cast<int>(type.size());
  const int star = IndexOf(type, u'*');
  const int blank = IndexOf(type, u' ');
  const int bracket = IndexOf(type, u'[');
  if (star >= 0) out.pointerLevel = length - star;
  if (blank >= 0) {
    std::u16string word;
    for (int at = blank + 1; at < length && !(at == bracket && bracket > blank); ++at) {
      word += type[static_cast<std::size_t>(at)];
    }
    if (word == u"dptr") out.pointerLevel = 1;
  }
  const Brackets brackets = Read(type);
  out.arraySize = brackets.count;
  if (!brackets.good) {
    out.status = -4;
    return out;
  }
  const int end = blank >= 0 ? blank : bracket >= 0 ? bracket : star >= 0 ? star : length;
  out.rawName = type.substr(0, static_cast<std::size_t>(end));
  if (out.rawName.empty()) out.status = -4;
  return out;
}

std::u16string Decimal(int number) {
  std::u16string text;
  for (const char digit : std::to_string(number)) text += static_cast<char16_t>(digit);
  return text;
}

std::u16string Shape(const std::u16string& type) {
  if (type == u"void") return u"null";
  if (type == u"void*") return u"lone void*";
  if (type == u"char*" || type == u"wchar_t*") return u"string " + type;
  std::u16string base = type;
  bool pointer = false;
  int count = -1;
  if (IndexOf(type, u'[') >= 0) {
    const Brackets brackets = Read(type);
    if (!brackets.good) return u"null";
    count = brackets.count;
    base = type.substr(0, static_cast<std::size_t>(IndexOf(type, u'[')));
    std::u16string tail;
    for (std::size_t at = type.size(); at > 0 && type[at - 1] != u']'; --at) tail.insert(0, 1, type[at - 1]);
    if (!tail.empty() && tail != u"*") return u"null";
    pointer = !tail.empty();
  } else if (!type.empty() && type[type.size() - 1] == u'*') {
    base = type.substr(0, type.size() - 1);
    pointer = true;
  }
  if (IndexOf(base, u'*') >= 0) return u"null";
  std::u16string shape;
  if (base == u"int" || base == u"char" || base == u"wchar_t") {
    shape = u"primary " + base;
  } else if (base == u"Rec" || base == u"]") {
    shape = u"record " + base;
  } else {
    return u"null";
  }
  if (count > 0) shape = u"array " + Decimal(count) + u">" + shape;
  return pointer ? u"ptr>" + shape : shape;
}

}  // namespace second

TEST_F(TypeStrings, GeneratedTextsReadTheSameASecondTime) {
  set_.AddStruct(u"]", 7, u"", u"");
  const std::u16string pieces[] = {u"int", u"char", u"Rec", u"void", u"*",    u"*",      u"[",
                                   u"]",   u"[2]",  u"[3]", u"[0]",  u"[-1]", u"65536",  u"[65536]",
                                   u" ",   u"dptr", u"x",   u"7",    u"-2",   u"wchar_t"};
  std::uint32_t state = 20260;
  const auto random = [&state](std::uint32_t below) {
    state = state * 1664525 + 1013904223;
    return (state >> 8) % below;
  };
  int decoded = 0;
  int parsed = 0;
  for (int round = 0; round < 200000; ++round) {
    std::u16string type;
    for (std::uint32_t left = 1 + random(6); left > 0; --left) type += pieces[random(std::size(pieces))];
    const second::Decoded expected = second::Decode(type);
    DecodedType out;
    ASSERT_EQ(DecodeTypeString(type, out), expected.status) << second::Number(type);
    ASSERT_EQ(out.rawName, expected.rawName);
    ASSERT_EQ(out.arraySize, expected.arraySize);
    ASSERT_EQ(out.pointerLevel, expected.pointerLevel);
    const WideString shape = Shape(ParseItemType(slots_, Item(type)));
    ASSERT_EQ(shape, second::Shape(type));
    decoded += expected.status == 0 ? 1 : 0;
    parsed += shape != u"null" ? 1 : 0;
  }
  EXPECT_GT(decoded, 50000);
  EXPECT_GT(parsed, 5000);
}

}  // namespace
}  // namespace sbx
