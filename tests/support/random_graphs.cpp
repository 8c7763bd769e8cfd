#include "support/random_graphs.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace sbx::testing {
namespace {

struct Scalar {
  const char16_t* name;
  std::size_t size;
};
// What both directions know; "double" and "byte" are not written.
constexpr Scalar kScalars[] = {{u"char", 1},   {u"uchar", 1}, {u"wchar_t", 2}, {u"bool", 1},  {u"short", 2},
                               {u"ushort", 2}, {u"int", 4},   {u"uint", 4},    {u"int64", 8}, {u"uint64", 8},
                               {u"long", 4},   {u"ulong", 4}, {u"float", 4}};

WideString Number(std::size_t number) {
  const std::string digits = std::to_string(number);
  return WideString(digits.begin(), digits.end());
}

std::string Narrow(WideView text) {
  std::string narrow;
  for (const char16_t unit : text) narrow += unit < 0x80 ? static_cast<char>(unit) : '?';
  return narrow;
}

template <class T>
T Load(const std::byte* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}
template <class T>
void Store(std::byte* at, T value) {
  std::memcpy(at, &value, sizeof value);
}

WideString Attribute(WideView name, WideView value) {
  WideString text = u" ";
  text.append(name).append(u"=\"").append(value).append(u"\"");
  return text;
}

}  // namespace

std::uint64_t Dice::Bits() {
  std::uint64_t bits = state_ += 0x9E3779B97F4A7C15u;
  bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9u;
  bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBu;
  return bits ^ (bits >> 31);
}

// --- descriptions ------------------------------------------------------------------------------------------

// Records lead to later ones, and to themselves through their last item: what follows an item that leads to
// its own record would be read by the rules of the inner one.
RandomGraph::RandomGraph(std::uint64_t seed) : dice_(seed) {
  records_.resize(2 + dice_.Roll(6));
  for (std::size_t index = 0; index < records_.size(); ++index) records_[index].name = u"R" + Number(index);
  for (std::size_t index = records_.size(); index-- > 0;) MakeRecord(index);
  memory_ = NewBlock(records_[0].size);
  Fill(0, memory_);
}

void RandomGraph::MakeRecord(std::size_t index) {
  Record& record = records_[index];
  const std::size_t items = 1 + dice_.Roll(8);
  if (dice_.OneIn(3)) {
    Add(record, u"uint", {Shape::Kind::kScalar, u"uint", 4}).role = Item::Role::kKind;
  }
  for (std::size_t i = 0; i < items; ++i) {
    if (dice_.OneIn(3)) {
      AddRuled(record, index);
    } else {
      AddPlain(record, index);
    }
  }
  if (dice_.OneIn(5)) {
    Add(record, record.name + u"*", {Shape::Kind::kRecord, record.name, 0, index, 1, true});
  }
  if (dice_.OneIn(2)) LayOut(record);
  record.size = (record.size + 7) / 8 * 8 + (dice_.OneIn(4) ? 8 : 0);
  for (Item& item : record.items) {
    if (item.shape.kind == Shape::Kind::kRecord && item.shape.record == index) item.shape.size = record.size;
  }
  if (index != 0 && record.items[0].role == Item::Role::kKind) MakeRelocation(index);
}

// Gives the items behind the first one places in another order than theirs, with gaps, some of them packed.
void RandomGraph::LayOut(Record& record) {
  std::vector<std::size_t> order;
  for (std::size_t at = 1; at < record.items.size(); ++at) order.push_back(at);
  for (std::size_t at = order.size(); at > 1; --at) std::swap(order[at - 1], order[dice_.Roll(at)]);
  record.size = record.items[0].size;
  for (const std::size_t at : order) {
    Item& item = record.items[at];
    const std::size_t alignment = dice_.OneIn(4) || item.size % 4 != 0 ? 1 : item.size % 8 == 0 ? 8 : 4;
    const std::size_t start = record.size + (dice_.OneIn(6) ? dice_.Roll(9) : 0);
    item.offset = (start + alignment - 1) / alignment * alignment;
    record.size = item.offset + item.size;
  }
}

const Item* RandomGraph::FindItem(WideView name) const {
  for (const Record& record : records_) {
    for (const Item& item : record.items) {
      if (item.name == name) return &item;
    }
  }
  return nullptr;
}

Item& RandomGraph::Add(Record& record, WideString type, Shape shape) {
  Item item;
  item.name = u"i" + record.name.substr(1) + u"_" + Number(record.items.size());
  item.type = std::move(type);
  item.size = shape.isPointer || shape.kind == Shape::Kind::kText || shape.kind == Shape::Kind::kNull
                  ? 8
                  : shape.size * shape.count;
  const std::size_t alignment = item.size % 8 == 0 ? 8 : item.size % 4 == 0 ? 4 : item.size % 2 == 0 ? 2 : 1;
  item.offset = (record.size + alignment - 1) / alignment * alignment;
  item.shape = std::move(shape);
  record.size = item.offset + item.size;
  record.items.push_back(std::move(item));
  return record.items.back();
}

Shape RandomGraph::RandomScalar() {
  const Scalar& scalar = kScalars[dice_.Roll(std::size(kScalars))];
  return {Shape::Kind::kScalar, scalar.name, scalar.size};
}

void RandomGraph::AddPlain(Record& record, std::size_t index) {
  switch (dice_.Roll(6)) {
    case 0:
      return AddScalar(record);
    case 1:
      return AddScalars(record);
    case 2:
      return AddPointer(record);
    case 3:
      return AddRecords(record, index, false);
    default:
      return AddRecords(record, index, true);
  }
}

void RandomGraph::AddScalar(Record& record) {
  const Shape shape = RandomScalar();
  const bool isShown = shape.type != u"float" && shape.size <= 4;
  Item& item = Add(record, shape.type + (dice_.OneIn(8) ? u"[0]" : u""), shape);
  static const std::vector<WideString> kForms = {u"", u"[fmt:hex]", u"[time]", u"[flag:One(1),Two(2)]",
                                                 u"[enum:A(1),B(2),C(4)]"};
  if (isShown) item.restrictText = dice_.Of(kForms);
  // Numbers past 2^31 are not shown whole.
  const bool isCut = item.restrictText == u"[fmt:hex]" && (shape.type == u"uint" || shape.type == u"ulong");
  if (isCut) item.restrictText.clear();
}

void RandomGraph::AddScalars(Record& record) {
  Shape shape = RandomScalar();
  const std::size_t rows = 1 + dice_.Roll(5);
  const std::size_t columns = 1 + dice_.Roll(3);
  const bool isTwofold = dice_.OneIn(3);
  shape.count = isTwofold ? rows * columns : rows;
  shape.isPointer = dice_.OneIn(3);
  WideString type = shape.type + u"[" + Number(rows) + u"]";
  if (isTwofold) type += u"[" + Number(columns) + u"]";
  if (shape.isPointer) type += u"*";
  Add(record, std::move(type), std::move(shape));
}

void RandomGraph::AddPointer(Record& record) {
  switch (dice_.Roll(4)) {
    case 0: {
      Shape shape = RandomScalar();
      // These two names with a star are texts.
      if (shape.type == u"char" || shape.type == u"wchar_t") shape = {Shape::Kind::kScalar, u"int", 4};
      shape.isPointer = true;
      const WideString type = shape.type + (dice_.OneIn(4) ? u"[0]*" : u"*");
      Add(record, type, std::move(shape));
      return;
    }
    case 1:
      Add(record, u"void*", {Shape::Kind::kNull, u"", 8});
      return;
    case 2:
      Add(record, u"char*", {Shape::Kind::kText, u"", 8});
      return;
    default:
      Add(record, u"wchar_t*", {Shape::Kind::kText, u"", 8});
  }
}

void RandomGraph::AddRecords(Record& record, std::size_t index, bool isPointer) {
  if (index + 1 >= records_.size()) return AddScalar(record);
  const std::size_t other = index + 1 + dice_.Roll(records_.size() - index - 1);
  Shape shape = {Shape::Kind::kRecord, records_[other].name, records_[other].size, other, 1, isPointer};
  WideString type = shape.type;
  if (dice_.OneIn(2)) {
    shape.count = 1 + dice_.Roll(3);
    type += u"[" + Number(shape.count) + u"]";
  }
  if (!isPointer && shape.size * shape.count > 4096) return AddScalar(record);
  if (isPointer) type += u"*";
  Add(record, std::move(type), std::move(shape));
}

void RandomGraph::AddRuled(Record& record, std::size_t index) {
  switch (dice_.Roll(4)) {
    case 0:
      return AddCounted(record, index);
    case 1:
      return AddVariant(record, index);
    case 2:
      return AddNames(record);
    default:
      return AddLabel(record);
  }
}

void RandomGraph::AddCounted(Record& record, std::size_t index) {
  if (index + 1 >= records_.size()) return AddNames(record);
  const std::size_t other = index + 1 + dice_.Roll(records_.size() - index - 1);
  // Value paths read numbers of 2 and 4 bytes.
  static const std::vector<Shape> kCounts = {{Shape::Kind::kScalar, u"int", 4},
                                             {Shape::Kind::kScalar, u"ushort", 2}};
  const Shape& count = dice_.Of(kCounts);
  Add(record, count.type, count).role = Item::Role::kCount;
  const std::size_t partner = record.items.size() - 1;
  Shape shape = {Shape::Kind::kRecord, records_[other].name, records_[other].size, other, 1, true};
  Item& item = Add(record, shape.type + u"*", shape);
  item.role = Item::Role::kCounted;
  item.partner = partner;
}

void RandomGraph::AddVariant(Record& record, std::size_t index) {
  Add(record, u"uint", {Shape::Kind::kScalar, u"uint", 4}).role = Item::Role::kKind;
  const std::size_t partner = record.items.size() - 1;
  Item& item = Add(record, u"int64", {Shape::Kind::kScalar, u"int64", 8});
  item.role = Item::Role::kVariant;
  item.partner = partner;
  item.variants = {{Shape::Kind::kScalar, u"uint64", 8},
                   {Shape::Kind::kScalar, u"short", 2, 0, 4, false},
                   {Shape::Kind::kScalar, u"int", 4, 0, 3, true},
                   {Shape::Kind::kText, u"wchar_t*", 8}};
  if (index + 1 < records_.size()) {
    const Record& last = records_.back();
    item.variants.push_back({Shape::Kind::kRecord, last.name, last.size, records_.size() - 1, 1, true});
  }
}

void RandomGraph::AddNames(Record& record) {
  Add(record, u"uint", {Shape::Kind::kScalar, u"uint", 4}).role = Item::Role::kCount;
  const std::size_t partner = record.items.size() - 1;
  Item& item = Add(record, u"wchar_t*", {Shape::Kind::kText, u"", 8});
  item.role = Item::Role::kNames;
  item.partner = partner;
}

void RandomGraph::AddLabel(Record& record) {
  const std::size_t units = 1 + dice_.Roll(12);
  Item& item =
      Add(record, u"wchar_t[" + Number(units) + u"]", {Shape::Kind::kScalar, u"wchar_t", 2, 0, units, false});
  item.role = Item::Role::kLabel;
}

// A copy of the record under another name and with other items behind the kind: plain ones, since the way
// back does not run the rules of a record that it was led to.
void RandomGraph::MakeRelocation(std::size_t from) {
  Record target;
  target.name = records_[from].name + u"Other";
  Add(target, u"uint", {Shape::Kind::kScalar, u"uint", 4}).role = Item::Role::kKind;
  // Where the other record is found, its condition still is.
  target.items[0].name = records_[from].items[0].name;
  while (target.size + 8 <= records_[from].size) {
    switch (dice_.Roll(3)) {
      case 0:
        Add(target, u"wchar_t*", {Shape::Kind::kText, u"", 8});
        break;
      case 1:
        Add(target, u"short[4]", {Shape::Kind::kScalar, u"short", 2, 0, 4, false});
        break;
      default:
        Add(target, u"int64", {Shape::Kind::kScalar, u"int64", 8});
    }
    if (target.size > records_[from].size) return;  // aligned past the end
    // A name of its own: on the way back the first record's rules look at the element before it is left.
    target.items.back().name[0] = u'o';
  }
  target.size = records_[from].size;
  records_[from].relocatesTo = records_.size();
  records_.push_back(std::move(target));
}

WideString RandomGraph::Descriptions() const {
  WideString text = u"<StructureDescription>";
  for (const Record& record : records_) {
    text += u"<JSStruct" + Attribute(u"name", record.name) + Attribute(u"size", Number(record.size)) +
            Attribute(u"numOfItems", Number(record.items.size())) + u">";
    for (const Item& item : record.items) {
      text += u"<JSStructItem" + Attribute(u"name", item.name) + Attribute(u"type", item.type) +
              Attribute(u"size", Number(item.size)) + Attribute(u"offset", Number(item.offset)) +
              Attribute(u"restrict", item.restrictText) + u"/>";
    }
    text += u"</JSStruct>";
  }
  return text + u"</StructureDescription>";
}

namespace {

WideString TypeText(const Shape& shape) {
  if (shape.kind == Shape::Kind::kText) return u"wchar_t*";
  WideString text = shape.type;
  if (shape.count > 1) text += u"[" + Number(shape.count) + u"]";
  return shape.isPointer ? text + u"*" : text;
}

WideString RuleItem(const Item& item, WideView kind, const WideString& more) {
  return u"<RuleItem" + Attribute(u"name", item.name) + Attribute(u"type", kind) + more + u"/>";
}

WideString AlterTypeRules(const Record& record, const Item& item) {
  const WideString condition = Attribute(u"ref", record.items[item.partner].name);
  WideString text = RuleItem(item, u"AlterType", Attribute(u"alterto", item.type));
  for (std::size_t i = 0; i < item.variants.size(); ++i) {
    text += RuleItem(item, u"AlterType",
                     Attribute(u"alterto", TypeText(item.variants[i])) + condition +
                         Attribute(u"refmethod", u"=") + Attribute(u"refvalue", Number(i + 1)));
  }
  return text;
}

WideString RulesOf(const Record& record, const Item& item) {
  const WideString count = Attribute(u"num", record.items[item.partner].name);
  switch (item.role) {
    case Item::Role::kCounted:
      return RuleItem(item, u"StructArrayPtr", Attribute(u"structname", item.shape.type) + count);
    case Item::Role::kVariant:
      return AlterTypeRules(record, item);
    case Item::Role::kNames:
      return RuleItem(item, u"ConvertNameList", count);
    case Item::Role::kLabel:
      return RuleItem(item, u"ConvertNameList", u"");
    case Item::Role::kPlain:
    case Item::Role::kKind:
    case Item::Role::kCount:
      break;
  }
  return u"";
}

}  // namespace

WideString RandomGraph::Rules() const {
  WideString text = u"<ConvertRuleDesc>";
  for (const Record& record : records_) {
    text += u"<Rules" + Attribute(u"name", record.name) + u">";
    for (const Item& item : record.items) text += RulesOf(record, item);
    if (record.relocatesTo) {
      text +=
          RuleItem(record.items[0], u"RelocateStructName",
                   Attribute(u"structname", records_[*record.relocatesTo].name) +
                       Attribute(u"ref", record.items[0].name) + Attribute(u"refvalue", Number(kRelocates)));
    }
    text += u"</Rules>";
  }
  return text + u"</ConvertRuleDesc>";
}

// --- memory ------------------------------------------------------------------------------------------------

std::byte* RandomGraph::NewBlock(std::size_t bytes) {
  blocks_.push_back(std::make_unique<std::uint64_t[]>(bytes / 8 + 1));
  return reinterpret_cast<std::byte*>(blocks_.back().get());
}

void RandomGraph::Fill(std::size_t index, std::byte* at) {
  --budget_;
  if (records_[index].relocatesTo && dice_.OneIn(2)) {
    const Record& other = records_[*records_[index].relocatesTo];
    for (const Item& item : other.items) FillItem(other, item, at);
    return Store(at, kRelocates);
  }
  const Record& record = records_[index];
  for (const Item& item : record.items) FillItem(record, item, at);
}

void RandomGraph::FillItem(const Record& record, const Item& item, std::byte* at) {
  switch (item.role) {
    case Item::Role::kPlain:
      return FillShape(item.shape, at + item.offset);
    case Item::Role::kKind:
    case Item::Role::kCount:
      // With the item that they speak of; a record's own kind is one that relocates nothing.
      return;
    case Item::Role::kCounted:
    case Item::Role::kVariant:
    case Item::Role::kNames:
    case Item::Role::kLabel:
      return FillRuled(record, item, at);
  }
}

void RandomGraph::FillRuled(const Record& record, const Item& item, std::byte* at) {
  const Item& partner = record.items[item.partner];
  if (item.role == Item::Role::kLabel) {
    WideString name = RandomName();
    name.resize(std::min(name.size(), item.shape.count));
    std::memcpy(at + item.offset, name.data(), name.size() * 2);
    return;
  }
  if (item.role == Item::Role::kVariant) {
    const std::size_t kind = dice_.Roll(item.variants.size() + 1);
    Store(at + partner.offset, static_cast<std::uint32_t>(kind));
    return FillShape(kind == 0 ? item.shape : item.variants[kind - 1], at + item.offset);
  }
  // A count beside a null pointer comes back as 0, so it is 0 here.
  const auto count = static_cast<std::uint32_t>(budget_ > 0 ? dice_.Roll(4) : 0);
  std::memcpy(at + partner.offset, &count, std::min(partner.size, sizeof count));
  if (count == 0) return;
  if (item.role == Item::Role::kNames) return FillNames(count, at + item.offset);
  std::byte* const target = NewBlock(item.shape.size * count);
  Store(at + item.offset, target);
  for (std::size_t i = 0; i < count; ++i) Fill(item.shape.record, target + i * item.shape.size);
}

void RandomGraph::FillShape(const Shape& shape, std::byte* at) {
  if (shape.kind == Shape::Kind::kNull) return;
  if (shape.kind == Shape::Kind::kText) return FillText(at);
  std::byte* target = at;
  if (shape.isPointer) {
    if (dice_.OneIn(3) || budget_ <= 0) return;
    target = NewBlock(shape.size * shape.count);
    Store(at, target);
  }
  for (std::size_t i = 0; i < shape.count; ++i) {
    if (shape.kind == Shape::Kind::kRecord) {
      Fill(shape.record, target + i * shape.size);
    } else {
      FillScalar(shape, target + i * shape.size);
    }
  }
}

void RandomGraph::FillScalar(const Shape& shape, std::byte* at) {
  std::uint64_t bits = dice_.Bits();
  if (dice_.OneIn(3)) bits = dice_.OneIn(2) ? 0 : std::uint64_t{1} << (8 * shape.size - 1);
  if (dice_.OneIn(6)) bits = ~std::uint64_t{0};
  if (shape.type == u"bool") bits &= 1;  // any other comes back as 1
  if (shape.type == u"float") {
    // Sixty-fourths have six decimals.
    float value = static_cast<float>(static_cast<std::int32_t>(bits % 2'000'001) - 1'000'000) / 64.0F;
    if (dice_.OneIn(12)) value = std::numeric_limits<float>::infinity() * (dice_.OneIn(2) ? 1.0F : -1.0F);
    if (dice_.OneIn(12)) value = -0.0F;
    return Store(at, value);
  }
  std::memcpy(at, &bits, shape.size);
}

void RandomGraph::FillText(std::byte* at) {
  if (dice_.OneIn(4)) return;
  const WideString text = RandomText();
  std::byte* const copy = NewBlock((text.size() + 1) * 2);
  std::memcpy(copy, text.data(), text.size() * 2);
  Store(at, copy);
}

// Text with control characters travels as digits, which hold only bytes below 0x80.
WideString RandomGraph::RandomText() {
  static const WideString kAny = u"ab <>&\"'\t\n\r()[]%s\u00E9\u4E2D\uFFFD\u0080\u2028;#x";
  static const WideString kPlain = u"ab\u0001\u0007\u001F <&\u0141\u7F7F\t";
  WideString text;
  const bool withControls = dice_.OneIn(4);
  for (std::size_t length = dice_.Roll(40); length > 0; --length) {
    if (!withControls && dice_.OneIn(12)) {
      text += u"\U0001F5A8";
    } else {
      const WideString& units = withControls ? kPlain : kAny;
      text += units[dice_.Roll(units.size())];
    }
  }
  return text;
}

WideString RandomGraph::RandomName() {
  static const WideString kUnits = u"abc <>&'(%\u00E9\u4E2D";
  WideString name;
  for (std::size_t length = 1 + dice_.Roll(10); length > 0; --length)
    name += kUnits[dice_.Roll(kUnits.size())];
  return name;
}

void RandomGraph::FillNames(std::uint32_t count, std::byte* at) {
  WideString run;
  for (; count > 0; --count) run += RandomName() + u'\0';
  std::byte* const block = NewBlock(run.size() * 2);
  std::memcpy(block, run.data(), run.size() * 2);
  Store(at, block);
}

// --- comparing ---------------------------------------------------------------------------------------------

const Record& RandomGraph::Effective(std::size_t index, const std::byte* at) const {
  const Record& record = records_[index];
  const bool relocates = record.relocatesTo && Load<std::uint32_t>(at) == kRelocates;
  return relocates ? records_[*record.relocatesTo] : record;
}

Shape RandomGraph::EffectiveShape(const Record& record, const Item& item, const std::byte* recordAt) const {
  const Item& partner = record.items[item.partner];
  std::uint64_t value = 0;
  std::memcpy(&value, recordAt + partner.offset, std::min<std::size_t>(partner.size, sizeof value));
  Shape shape = item.shape;
  if (item.role == Item::Role::kVariant && value != 0) shape = item.variants[value - 1];
  if (item.role == Item::Role::kCounted) shape.count = static_cast<std::size_t>(value);
  if (item.role == Item::Role::kNames) {
    shape.kind = Shape::Kind::kNames;
    shape.count = static_cast<std::size_t>(value);
  }
  return shape;
}

std::string RandomGraph::Difference(const std::byte* rebuilt) const {
  return DifferenceOfRecord(0, memory_, rebuilt);
}

// Bytes of no item are zero in both; the slots of pointers are compared by what they lead to.
std::string RandomGraph::DifferenceOfRecord(std::size_t index, const std::byte* a, const std::byte* b) const {
  const Record& record = Effective(index, a);
  std::vector<std::byte> ofA(a, a + record.size);
  std::vector<std::byte> ofB(b, b + record.size);
  for (const Item& item : record.items) {
    const std::string inside =
        DifferenceOfShape(EffectiveShape(record, item, a), a + item.offset, b + item.offset);
    if (!inside.empty()) return Narrow(record.name + u"." + item.name) + " " + inside;
    std::fill_n(ofA.begin() + static_cast<std::ptrdiff_t>(item.offset), item.size, std::byte());
    std::fill_n(ofB.begin() + static_cast<std::ptrdiff_t>(item.offset), item.size, std::byte());
  }
  return ofA == ofB ? "" : Narrow(record.name) + ": bytes between the items";
}

namespace {

std::size_t UnitsOfNames(const std::byte* run, std::size_t names) {
  const auto* const units = reinterpret_cast<const char16_t*>(run);
  std::size_t length = 0;
  for (; names > 0; --names) length += WideView(units + length).size() + 1;
  return length;
}

}  // namespace

std::string RandomGraph::DifferenceOfShape(const Shape& shape, const std::byte* a, const std::byte* b) const {
  const bool isPointer = shape.isPointer || shape.kind == Shape::Kind::kText ||
                         shape.kind == Shape::Kind::kNull || shape.kind == Shape::Kind::kNames;
  if (isPointer) {
    a = Load<const std::byte*>(a);
    b = Load<const std::byte*>(b);
    if ((a == nullptr) != (b == nullptr)) return a == nullptr ? ": not null" : ": null";
    if (a == nullptr) return "";
    if (a == b) return ": the very same memory";
  }
  if (shape.kind == Shape::Kind::kText) {
    const bool isSame =
        WideView(reinterpret_cast<const char16_t*>(a)) == WideView(reinterpret_cast<const char16_t*>(b));
    return isSame ? "" : ": another text";
  }
  if (shape.kind == Shape::Kind::kNames) {
    return std::memcmp(a, b, UnitsOfNames(a, shape.count) * 2) == 0 ? "" : ": other names";
  }
  for (std::size_t i = 0; i < shape.count; ++i, a += shape.size, b += shape.size) {
    if (shape.kind == Shape::Kind::kRecord) {
      std::string inside = DifferenceOfRecord(shape.record, a, b);
      if (!inside.empty()) return inside;
    } else if (std::memcmp(a, b, shape.size) != 0) {
      return "[" + std::to_string(i) + "] of " + Narrow(shape.type) + ": another value";
    }
  }
  return "";
}

}  // namespace sbx::testing
