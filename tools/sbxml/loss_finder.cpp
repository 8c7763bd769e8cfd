#include "sbxml/loss_finder.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "sbxml/number_reading.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

unsigned DigitOf(char16_t digit) noexcept {
  return digit <= u'9' ? digit - u'0' : (digit | 0x20) - u'a' + 10;
}

// The bytes of an even number of digits.
std::string BytesOf(WideView digits) {
  std::string bytes;
  for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
    bytes.push_back(static_cast<char>(DigitOf(digits[at]) << 4 | DigitOf(digits[at + 1])));
  }
  return bytes;
}

// Where the first unit of zeros begins, or the end.
std::size_t ZeroUnitOf(std::string_view bytes, std::size_t unit) noexcept {
  std::size_t at = 0;
  while (at < bytes.size() && bytes.substr(at, unit).find_first_not_of('\0') != std::string_view::npos) {
    at += unit;
  }
  return at;
}

bool IsByteStringFlag(WideView flag) noexcept {
  return flag == u"binary" || flag == u"bin_utf8";
}

std::string IgnoredAttribute(const SourceAttribute& attribute) {
  return "the attribute " + Quoted(attribute.name) + " is ignored";
}

std::size_t DigitsOf(WideView text) noexcept {
  return std::min(text.find_first_not_of(u"0123456789abcdefABCDEF"), text.size());
}

// The steps from the root record down to an item or entry.
std::string PathOf(const SourceTree& source, const ElementNotes& notes, std::size_t element) {
  std::vector<std::size_t> steps;
  for (; source.nodes()[element].parent != element; element = source.nodes()[element].parent) {
    steps.push_back(element);
  }
  std::reverse(steps.begin(), steps.end());
  std::string path;
  for (const std::size_t step : steps) {
    if (notes[step].entry) {
      path += "[" + std::to_string(*notes[step].entry) + "]";
    } else {
      path += (path.empty() ? "" : "/") + ToUtf8(source.nodes()[step].text);
    }
  }
  return ShownPath(path);
}

}  // namespace

void DescribeItem(const SourceTree& source, const ElementNotes& notes, std::size_t element,
                  Diagnostic& finding) {
  const ElementNote& note = notes[element];
  if (note.item.empty() && !note.entry) return;
  finding.path = PathOf(source, notes, element);
  finding.record = note.record;
  finding.item = note.item;
  finding.type = note.type;
  finding.offset = note.offset;
}

std::vector<Diagnostic> LossFinder::TakeFindings() {
  std::stable_sort(findings_.begin(), findings_.end(), [](const Diagnostic& a, const Diagnostic& b) {
    return std::tie(a.place.line, a.place.column) < std::tie(b.place.line, b.place.column);
  });
  return std::exchange(findings_, {});
}

Diagnostic& LossFinder::Tell(Id id, std::size_t element, std::string message) {
  Diagnostic& finding = findings_.emplace_back();
  finding.id = id;
  finding.place = file_.At(source_.nodes()[element].position);
  finding.message = std::move(message);
  return finding;
}

void LossFinder::Tell(Id id, const ItemPlace& place, std::string message) {
  notes_[place.element].isExplained = true;
  Remark(id, place, std::move(message));
}

void LossFinder::Remark(Id id, const ItemPlace& place, std::string message) {
  Diagnostic& finding = Tell(id, place.element, std::move(message));
  finding.path = ShownPath(place.path);
  finding.record = ToUtf8(place.record.name);
  finding.item = ToUtf8(place.item.name);
  finding.type = ToUtf8(place.item.type());
  finding.offset = place.item.offset;
}

// --- records -----------------------------------------------------------------------------------------------

void LossFinder::EnterDocument(std::size_t element) {
  for (const SourceAttribute& attribute : source_.nodes()[element].attributes) {
    Tell(Id::kIgnoredAttribute, element, IgnoredAttribute(attribute));
  }
  if (source_.HasOwnText(element)) {
    Tell(Id::kIgnoredText, element, "text beside the root record is ignored");
  }
}

void LossFinder::EnterRecord(const RecordPlace& place) {
  if (notes_[place.element].item.empty()) CheckOwnElement(place);
  if (!source_.HasOwnText(place.element)) return;
  Diagnostic& finding =
      Tell(Id::kIgnoredText, place.element, "text between the items of a record is ignored");
  finding.path = ShownPath(place.path);
  finding.record = ToUtf8(place.record.name);
}

void LossFinder::LeaveRecord(const RecordPlace& place, std::span<const JSStructItemDesc* const> missing) {
  for (const JSStructItemDesc* const item : missing) {
    Diagnostic& finding = Tell(Id::kMissingItem, place.element,
                               place.isOnTop ? "no element for this item here: an earlier one stands"
                                             : "no element for this item: it stays zero");
    finding.path = ShownPath(place.path + "/" + ToUtf8(item->name));
    finding.record = ToUtf8(place.record.name);
    finding.item = ToUtf8(item->name);
    finding.type = ToUtf8(item->type());
    finding.offset = item->offset;
  }
}

void LossFinder::UnknownElement(const RecordPlace& place, std::size_t element) {
  notes_[element].isPassedOver = true;
  Diagnostic& finding = Tell(Id::kUnknownElement, element,
                             Quoted(source_.nodes()[element].text) + " names no item of record " +
                                 Quoted(place.record.name) + ": it is ignored");
  finding.path = ShownPath(place.path);
  finding.record = ToUtf8(place.record.name);
}

void LossFinder::IgnoredRoot(std::size_t element) {
  notes_[element].isPassedOver = true;
  Tell(Id::kIgnoredRoot, element,
       Quoted(source_.nodes()[element].text) + " is not the root record: it is ignored");
}

// The element of the root record or of an array's entry, which is that of no item.
void LossFinder::CheckOwnElement(const RecordPlace& place) {
  for (const SourceAttribute& attribute : source_.nodes()[place.element].attributes) {
    const bool isFlag = attribute.name == kFlagAttribute;
    Diagnostic& finding =
        isFlag ? Tell(Id::kFlagWithoutEffect, place.element,
                      "the flag " + Quoted(attribute.value) + " has no effect on the element of a record")
               : Tell(Id::kIgnoredAttribute, place.element, IgnoredAttribute(attribute));
    finding.path = ShownPath(place.path);
    finding.record = ToUtf8(place.record.name);
  }
}

// --- items -------------------------------------------------------------------------------------------------

void LossFinder::NoteItem(const ItemPlace& place) {
  ElementNote& note = notes_[place.element];
  note.record = ToUtf8(place.record.name);
  note.item = ToUtf8(place.item.name);
  note.type = ToUtf8(place.item.type());
  note.offset = place.item.offset;
}

void LossFinder::NullItem(const ItemPlace& place) {
  NoteItem(place);
  CheckAttributes(place);
  CheckFate(place);
  if (source_.HasElements(place.element) || source_.HasOwnText(place.element)) {
    Tell(Id::kIgnoredContent, place, "the item is flagged null: its content is ignored");
    notes_[place.element].isPassedOver = true;
  }
}

void LossFinder::RefusedItem(const ItemPlace& place) {
  notes_[place.element].isPassedOver = true;
  CheckAttributes(place);
  const bool isNothing = source_.nodes()[place.element].end == place.element + 1 && place.flag == u"null";
  if (isNothing) return;
  Tell(Id::kTypeRefused, place, "an item of this type can't come back: it stays zero");
}

void LossFinder::EnterItem(const ItemPlace& place) {
  NoteItem(place);
  ElementNote& note = notes_[place.element];
  // A counted list of names is one behind a pointer; a single name's text is all that its element holds.
  const bool isNames = place.isRewritten && place.type.isPointer && source_.HasElements(place.element);
  if (place.type.isRecordArray()) {
    note.content = ElementNote::Content::kEntries;
    NumberEntries(place.element);
  } else if (isNames) {
    note.content = ElementNote::Content::kEntries;
    CheckNames(place);
  } else if (place.type.primary != nullptr && !place.type.isString && !place.isRewritten) {
    note.content = ElementNote::Content::kNumbers;
    note.primary = place.type.primary;
  }
  CheckAttributes(place);
  CheckFate(place);
  CheckFlag(place);
}

void LossFinder::NumberEntries(std::size_t array) {
  std::size_t next = 0;
  source_.ForEachChild(array, [&](std::size_t child) {
    if (source_.nodes()[child].kind == SourceNode::Kind::kElement) notes_[child].entry = next++;
  });
}

void LossFinder::LeaveItem(const ItemPlace& place, std::span<const std::size_t> entries) {
  if (place.fate == Fate::kWithoutEffect) return;
  if (place.type.isRecordArray()) {
    const auto count = static_cast<std::size_t>(place.type.count);
    for (std::size_t at = count; at < entries.size(); ++at) notes_[entries[at]].isPassedOver = true;
    CheckCount(place, entries.size());
    if (source_.HasOwnText(place.element)) {
      Tell(Id::kIgnoredText, place, "text between the entries of an array is ignored");
    }
    return;
  }
  if (place.type.record != nullptr) return;
  CheckByteString(place);
  CheckElements(place);
  if (place.type.isString) return;
  if (place.type.isArray()) {
    CheckNumbers(place);
  } else if (!place.isRewritten) {
    CheckScalar(place);
  }
}

void LossFinder::CheckAttributes(const ItemPlace& place) {
  for (const SourceAttribute& attribute : source_.nodes()[place.element].attributes) {
    if (attribute.name == kFlagAttribute) continue;
    Remark(Id::kIgnoredAttribute, place, IgnoredAttribute(attribute));
  }
}

// The elements of a name list: whatever they are called, each is a name.
void LossFinder::CheckNames(const ItemPlace& place) {
  source_.ForEachChild(place.element, [&](std::size_t child) {
    for (const SourceAttribute& attribute : source_.nodes()[child].attributes) {
      if (attribute.name == kFlagAttribute) continue;
      Tell(Id::kIgnoredAttribute, child, IgnoredAttribute(attribute)).path = ShownPath(place.path);
    }
  });
  if (source_.HasOwnText(place.element)) {
    Remark(Id::kIgnoredText, place, "text between the names of a list is ignored");
  }
}

void LossFinder::CheckFate(const ItemPlace& place) {
  switch (place.fate) {
    case Fate::kStands:
      return;
    case Fate::kReplaced:
      Tell(Id::kReplacedItem, place, "a later element for the same item replaces this one");
      break;
    case Fate::kPartlyReplaced:
      Tell(Id::kReplacedItem, place, "a later element for the same item replaces parts of this one");
      break;
    case Fate::kWithoutEffect:
      Tell(Id::kReplacedItem, place, "this element stores nothing: an earlier one for the same item stands");
      break;
  }
  notes_[place.element].isPassedOver = true;
}

void LossFinder::CheckFlag(const ItemPlace& place) {
  if (place.flag.empty()) return;
  const bool isRead = place.type.record == nullptr && IsByteStringFlag(place.flag);
  if (isRead) return;
  const std::string flag = "the flag " + Quoted(place.flag);
  if (place.flag == u"null") {
    Tell(Id::kFlagWithoutEffect, place, flag + " has no effect on an item that is no pointer");
  } else {
    Tell(Id::kFlagWithoutEffect, place, flag + " has no effect here");
  }
}

void LossFinder::CheckByteString(const ItemPlace& place) {
  if (!IsByteStringFlag(place.flag) || place.isRewritten) return;
  const WideString digits = source_.TextOf(place.element);
  if (DigitsOf(digits) < digits.size()) {
    return Tell(Id::kBadByteString, place,
                "the byte string holds more than digits: it is read as an empty text");
  }
  if (digits.size() % 4 != 0) {
    Tell(Id::kBadByteString, place, "the byte string's length is no multiple of four: the rest is ignored");
  }
  const std::string bytes = BytesOf(WideView(digits).substr(0, digits.size() / 4 * 4));
  const std::size_t unit = place.flag == u"binary" ? 2 : 1;
  const std::size_t end = ZeroUnitOf(bytes, unit);
  if (bytes.find_first_not_of('\0', end) != std::string::npos) {
    Tell(Id::kBadByteString, place, "the byte string's text ends at a zero: the rest is ignored");
  }
  if (unit == 1 && ToUtf8(ToWide(bytes.substr(0, end))) != bytes.substr(0, end)) {
    Tell(Id::kBadByteString, place, "the byte string is no UTF-8: U+FFFD stands for what is none");
  }
}

void LossFinder::CheckElements(const ItemPlace& place) {
  if (place.isRewritten || !source_.HasElements(place.element)) return;
  Tell(Id::kIgnoredContent, place, "the elements in a text are ignored, and their texts run together");
}

void LossFinder::CheckScalar(const ItemPlace& place) {
  CheckNumber(place, place.text, {});
}

void LossFinder::CheckNumber(const ItemPlace& place, WideView text, const std::string& entry) {
  const PrimaryType& type = *place.type.primary;
  const NumberReading reading = ReadNumber(type, text);
  const std::string stored = StoredValue(type, text);
  switch (reading.loss) {
    case NumberReading::Loss::kNone:
      return;
    case NumberReading::Loss::kEmpty:
      return Tell(Id::kEmptyValue, place, entry + "empty: it is left at zero");
    case NumberReading::Loss::kNoNumber:
      return Tell(Id::kNotANumber, place, entry + Quoted(text) + " is no number: " + stored + " is stored");
    case NumberReading::Loss::kBehind:
      return Tell(Id::kTextBehindNumber, place,
                  entry + Quoted(reading.behind) + " behind the number is ignored: " + stored + " is stored");
    case NumberReading::Loss::kCut:
      return Tell(Id::kValueCut, place,
                  entry + Shown(reading.number) + " does not fit: " + stored + " is stored");
  }
}

void LossFinder::CheckNumbers(const ItemPlace& place) {
  const std::vector<WideView> tokens = TokensOf(place.text);
  if (place.isRewritten) return CheckNameList(place, tokens);
  const auto count = static_cast<std::size_t>(place.type.count);
  const std::size_t before = TokensOf(WideView(place.text).substr(0, place.text.find(u'('))).size();
  if (!CheckPresentation(place, tokens, before)) CheckCount(place, before);
  for (std::size_t at = 0; at < std::min(count, before); ++at) {
    CheckNumber(place, tokens[at], "entry " + std::to_string(at) + ": ");
  }
}

// Text in parentheses is shed, but for the pieces of it that fill entries. True if one says more than zero.
bool LossFinder::CheckPresentation(const ItemPlace& place, const std::vector<WideView>& tokens,
                                   std::size_t before) {
  const PrimaryType& type = *place.type.primary;
  const std::size_t end = std::min(tokens.size(), static_cast<std::size_t>(place.type.count));
  bool isRead = false;
  for (std::size_t at = before; at < end; ++at) {
    if (StoresTheSame(type, tokens[at], u"0")) continue;
    isRead = true;
    Tell(Id::kPresentationRead, place,
         "entry " + std::to_string(at) + ": " + Quoted(tokens[at]) +
             " behind a parenthesis is read: " + StoredValue(type, tokens[at]) + " is stored");
  }
  return isRead;
}

void LossFinder::CheckCount(const ItemPlace& place, std::size_t there) {
  const auto count = static_cast<std::size_t>(place.type.count);
  const std::string entries = Counted(there, "entry") + " for an array of " + std::to_string(count);
  if (there > count) {
    Tell(Id::kSurplusEntries, place, entries + ": the surplus is ignored");
  } else if (there < count) {
    const bool isZero = place.type.isPointer || !place.isOnTop;
    Tell(Id::kMissingEntries, place,
         entries + (isZero ? ": the rest stays zero" : ": the rest stays as an earlier element has set it"));
  }
}

// The rule fills a name that is too short with zeros, and more of them than needed.
void LossFinder::CheckNameList(const ItemPlace& place, const std::vector<WideView>& tokens) {
  const auto count = static_cast<std::size_t>(place.type.count);
  for (std::size_t at = 0; at < std::min(count, tokens.size()); ++at) {
    CheckNumber(place, tokens[at], "entry " + std::to_string(at) + ": ");
  }
  if (tokens.size() <= count) return;
  const bool isCut = std::any_of(tokens.begin() + place.type.count, tokens.end(),
                                 [](WideView token) { return token != u"0"; });
  if (isCut) {
    Tell(Id::kTextCut, place,
         "the name is longer than the " + Counted(count, "character") + " of its field: it is cut");
  }
}

// --- rules -------------------------------------------------------------------------------------------------

void LossFinder::RuleTrouble(const RecordPlace& place, const WideString& line) {
  Diagnostic& finding = Tell(Id::kRuleNotApplied, place.element, "a rule is not applied: " + ToUtf8(line));
  finding.path = ShownPath(place.path);
  finding.record = ToUtf8(place.record.name);
}

void LossFinder::RevisedText(std::size_t element, const WideString& before, const WideString& after,
                             bool isLate) {
  const PrimaryType* const type = notes_[element].primary;
  if (type != nullptr && StoresTheSame(*type, before, after)) return;
  notes_[element].isExplained = true;
  Diagnostic& finding =
      isLate ? Tell(Id::kStaleCount, element,
                    Quoted(before) + " was read before a rule revised it to " + Quoted(after) +
                        ": memory holds the old count")
             : Tell(Id::kRevisedCount, element, "a rule revises " + Quoted(before) + " to " + Quoted(after));
  DescribeItem(source_, notes_, element, finding);
}

}  // namespace sbx::tool
