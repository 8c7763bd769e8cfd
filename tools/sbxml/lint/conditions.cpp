#include "sbxml/lint/conditions.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>

#include "b2x/js_bin2xml.h"
#include "present/item_attributes.h"
#include "present/presentation.h"
#include "rules/number_text.h"
#include "sbxml/log_capture.h"
#include "sbxml/text.h"

namespace sbx::tool::lint {
namespace {

// What is longer or more is not tried out.
constexpr std::size_t kRestrictTried = 2000;
constexpr std::size_t kTypeTried = 200;
constexpr std::size_t kTypesTried = 4;

// The bits that a path reads of an item.
std::uint32_t BitsRead(const JSStructItemDesc& item) noexcept {
  return item.size == 2 ? 0xFFFF : 0xFFFFFFFF;
}

bool IsReadable(const JSStructItemDesc& item) noexcept {
  return item.size == 2 || item.size == 4;
}

// The text that the writer itself makes of a number in an item of this type; nothing where it can't be told.
std::optional<WideString> ShownText(const JSStructItemDesc& item, const LiveType& live,
                                    std::uint32_t number) {
  const bool isSimple = live.meaning.shown == Shown::kNumber || live.meaning.shown == Shown::kNumbers;
  if (!isSimple || live.meaning.isPointer || !IsReadable(item)) return std::nullopt;
  if (live.type.size() > kTypeTried || item.restrictText().size() > kRestrictTried) return std::nullopt;
  JSStructDesc record(u"record", item.size, {}, {});
  JSStructItemDesc* const shown = record.AddItem(u"item", live.type, item.size, 0, {}, item.restrictText());
  if (shown == nullptr) return std::nullopt;
  std::array<std::byte, sizeof number> bytes;
  std::memcpy(bytes.data(), &number, sizeof number);

  platform::CallerMemory memory;
  XMLDOMHelper output;
  JSBin2XML writer;
  writer.desc = std::make_unique<JSPDBMemDesc>();
  writer.helper = &output;
  writer.memory = &memory;
  writer.itemHook = ApplyItemPresentation;
  if (output.CreateDocument() != kOk) return std::nullopt;
  const auto address = reinterpret_cast<std::uintptr_t>(bytes.data());
  if (writer.ConvertItem(&record, shown, address) != kOk) return std::nullopt;
  const xml::NodeRef& root = output.currentElement();
  return WideString(root.document()->GetText(root.get()).value_or(WideView()));
}

bool ShowsTime(const JSStructItemDesc& item) {
  std::vector<RestrictCommand> commands;
  ParseRestrict(item.restrictText(), commands);
  return item.size == 4 && std::any_of(commands.begin(), commands.end(), [](const RestrictCommand& command) {
           return command.name == u"time";
         });
}

// Calls `visit` with what each end of a path shows for a number, until one is satisfied. False if all were
// asked in vain; true also where it can't be told of one.
template <class Visit>
bool AnyShown(const Records& records, const PathWalk& walk, std::uint32_t number, const Visit& visit) {
  for (const PathEnd& end : walk.ends) {
    const std::vector<LiveType>& types = records.InfoOf(*end.item).types;
    if (types.size() > kTypesTried) return true;
    for (const LiveType& live : types) {
      const std::optional<WideString> text = ShownText(*end.item, live, number);
      if (!text || visit(*text, *end.item)) return true;
    }
  }
  return false;
}

}  // namespace

void Conditions::Tell(Id id, const Rule& rule, const std::string& message) {
  findings_.Add(id, rule.position, message, {rule.record, rule.item});
}

void Conditions::Check(const Rule& rule, const PathWalk& toXml, const PathWalk& fromXml) {
  const LogCapture quiet(-1);
  if (rule.kind != RuleKind::kAlterType || rule.refmethod == u"=") {
    CheckEqual(rule, toXml, fromXml);
  } else if (rule.refmethod == u"&") {
    CheckBits(rule, toXml, fromXml);
  } else if (rule.refmethod == u"|") {
    CheckAny(rule);
  }
}

void Conditions::CheckEqual(const Rule& rule, const PathWalk& toXml, const PathWalk& fromXml) {
  const std::uint32_t number = ParseNumberText(rule.refvalue);
  const bool isMet = std::any_of(toXml.ends.begin(), toXml.ends.end(),
                                 [&](const PathEnd& end) { return (number & ~BitsRead(*end.item)) == 0; });
  if (!isMet) {
    return Tell(Id::kConditionNever, rule,
                "2 bytes are read as 0 to 65535, which " + Quoted(rule.refvalue) + " (" +
                    std::to_string(number) + ") is not: on the way to XML the rule never runs");
  }
  WideString shown;
  const bool canMatch =
      AnyShown(records_, fromXml, number, [&](const WideString& text, const JSStructItemDesc& item) {
        shown = text;
        // A date is local time: what it shows here is not what it shows elsewhere.
        return text == rule.refvalue && (number == 0 || !ShowsTime(item));
      });
  if (canMatch) return;
  Tell(Id::kConditionText, rule,
       "the number " + std::to_string(number) + " shows as " + Quoted(shown) + " in XML, which the text " +
           Quoted(rule.refvalue) + " does not match: on the way back the rule does not run");
}

void Conditions::CheckBits(const Rule& rule, const PathWalk& toXml, const PathWalk& fromXml) {
  const std::uint32_t number = ParseNumberText(rule.refvalue);
  std::uint32_t readBits = 0;
  for (const PathEnd& end : toXml.ends) readBits |= BitsRead(*end.item);
  const std::uint32_t bits = number & readBits;
  if (bits == 0) {
    return Tell(
        Id::kConditionNever, rule,
        Quoted(rule.refvalue) + " has none of the bits that are read: on the way to XML the rule never runs");
  }
  for (const std::uint32_t bit : {std::bit_floor(bits), bits & (0 - bits)}) {
    WideString shown;
    const auto holds = [&](const WideString& text, const JSStructItemDesc&) {
      shown = text;
      return (ParseNumberText(text) & number) != 0;
    };
    if (AnyShown(records_, fromXml, bit, holds)) continue;
    return Tell(Id::kConditionText, rule,
                "the number " + std::to_string(bit) + " shows as " + Quoted(shown) +
                    " in XML, whose number has no bit of " + Quoted(rule.refvalue) +
                    ": on the way back the rule does not run");
  }
}

void Conditions::CheckAny(const Rule& rule) {
  if (ParseNumberText(rule.refvalue) == 0) return;
  Tell(Id::kConditionAlways, rule,
       "\"|\" with " + Quoted(rule.refvalue) + ", which is not 0, holds for every value");
}

}  // namespace sbx::tool::lint
