#include "sbxml/lint/presentation.h"

#include <algorithm>
#include <cstdint>
#include <unordered_set>
#include <vector>

#include "present/item_attributes.h"
#include "sbxml/text.h"

namespace sbx::tool::lint {
namespace {

constexpr std::int64_t kMostSigned = 0x7FFFFFFF;

bool IsKnown(WideView name) noexcept {
  return name == u"fmt" || name == u"time" || name == u"flag" || name == u"enum" || name == u"namelist";
}

bool IsBlank(WideView text) noexcept {
  return text.find_first_not_of(u' ') == WideView::npos;
}

std::string Bracketed(WideView name) {
  return "[" + ToUtf8(name.substr(0, 40)) + "]";
}

// Whether anything but commands stands in a `restrict` text.
bool HasTextOutside(WideView text) noexcept {
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t open = std::min(text.find(u'[', at), text.size());
    if (!IsBlank(text.substr(at, open - at))) return true;
    const std::size_t close = text.find(u']', open);
    if (close == WideView::npos) return open < text.size();
    at = close + 1;
  }
  return false;
}

// The numbers that the presentation sees of a value: decimal text read with 32 signed bits, which saturate.
struct SeenRange {
  std::int64_t least;
  std::int64_t most;

  bool Holds(std::uint32_t number) const noexcept {
    const std::int64_t asSigned = static_cast<std::int32_t>(number);
    return asSigned >= least && asSigned <= most;
  }
};

SeenRange RangeOf(const TypeMeaning& type) noexcept {
  if (type.isFloat || type.width >= 4) return {type.isUnsigned ? 0 : -kMostSigned - 1, kMostSigned};
  const std::int64_t values = std::int64_t{1} << (8 * type.width);
  if (type.isUnsigned) return {0, values - 1};
  return {-values / 2, values / 2 - 1};
}

// One item under one of its types.
class PresentationCheck {
 public:
  PresentationCheck(const JSStructDesc& record, const JSStructItemDesc& item, SourcePosition position,
                    const std::vector<RestrictCommand>& commands, Findings& findings)
      : record_(record), item_(item), position_(position), commands_(commands), findings_(findings) {}

  void Run(const TypeMeaning& type) {
    switch (type.shown) {
      case Shown::kUnknown:
        return;
      case Shown::kNothing:
        return Tell(Id::kRestrictNoEffect, "a pointer that is not followed has no value to show");
      case Shown::kElements:
        return Tell(Id::kRestrictDestroys,
                    "the record's elements are replaced by their text: nothing of it comes back");
      case Shown::kText:
        return CheckText();
      case Shown::kNumbers:
        return CheckNumbers(type);
      case Shown::kNumber:
        return CheckNumber(type);
    }
  }

 private:
  void Tell(Id id, const std::string& message) { findings_.Add(id, position_, message, {&record_, &item_}); }

  const RestrictCommand* Find(WideView name) const noexcept {
    const auto found = std::find_if(commands_.begin(), commands_.end(),
                                    [name](const RestrictCommand& command) { return command.name == name; });
    return found == commands_.end() ? nullptr : &*found;
  }

  static bool IsHex(const RestrictCommand& fmt) noexcept {
    return !fmt.params.empty() && fmt.params.front().text == u"hex";
  }

  void CheckText() {
    if (Find(u"fmt") != nullptr) {
      return Tell(Id::kRestrictDestroys, "[fmt] empties a text: an empty one comes back");
    }
    if (Find(u"namelist") != nullptr) {
      return Tell(Id::kRestrictDestroys, "[namelist] takes the text for numbers: it is lost");
    }
    Tell(Id::kRestrictDestroys, "a text comes back with what is added behind it, a blank at least");
  }

  void CheckNumbers(const TypeMeaning& type) {
    if (Find(u"namelist") != nullptr) {
      return Tell(Id::kNamelistWithoutRule,
                  "names are shown, and no ConvertNameList rule makes them numbers again: zeros come back");
    }
    if (Find(u"fmt") != nullptr) {
      return Tell(Id::kRestrictDestroys, "[fmt] leaves one number of the array at most: the others are lost");
    }
    if (Find(u"time") != nullptr) CheckTime(true);
    for (const WideView name : {WideView(u"flag"), WideView(u"enum")}) {
      const RestrictCommand* const command = Find(name);
      if (command == nullptr) continue;
      Tell(Id::kRestrictFirstEntry, Bracketed(name) + " looks at the first entry of the array alone");
      CheckNames(*command, type);
    }
  }

  void CheckNumber(const TypeMeaning& type) {
    if (Find(u"namelist") != nullptr) {
      return Tell(Id::kRestrictDestroys, "[namelist] shows the number as a character: it is lost");
    }
    if (const RestrictCommand* const fmt = Find(u"fmt")) CheckFmt(*fmt, type);
    if (Find(u"time") != nullptr) CheckTime(false);
    for (const WideView name : {WideView(u"flag"), WideView(u"enum")}) {
      if (const RestrictCommand* const command = Find(name)) CheckNames(*command, type);
    }
  }

  void CheckFmt(const RestrictCommand& fmt, const TypeMeaning& type) {
    if (!IsHex(fmt)) {
      return Tell(Id::kRestrictDestroys, "[fmt] knows hex alone: the number is removed and 0 comes back");
    }
    if (item_.size != 1 && item_.size != 2 && item_.size != 4) {
      return Tell(Id::kRestrictDestroys, "[fmt:hex] removes a number of " +
                                             Counted(static_cast<std::uint64_t>(item_.size), "byte") +
                                             (type.isPointer ? " (a pointer's)" : "") + ": 0 comes back");
    }
    if (type.isFloat) {
      return Tell(Id::kRestrictDestroys, "[fmt:hex] shows the whole part of a float: the fraction is lost");
    }
    if (type.isUnsigned && item_.size == 4) {
      Tell(Id::kRestrictSaturates,
           "[fmt:hex] shows 0x7FFFFFFF for every number above it, and that comes back; a signed type shows "
           "all "
           "32 bits");
    }
  }

  void CheckTime(bool isArray) {
    if (item_.size != 4) {
      Tell(Id::kRestrictNoEffect, "[time] shows numbers of 4 bytes alone: nothing but a blank is added");
    } else if (isArray) {
      Tell(Id::kRestrictFirstEntry, "[time] looks at the first entry of the array alone");
    }
  }

  void CheckNames(const RestrictCommand& command, const TypeMeaning& type) {
    if (command.params.empty()) {
      return Tell(Id::kRestrictNoEffect, Bracketed(command.name) + " names nothing: only a blank is added");
    }
    const bool isFlag = command.name == u"flag";
    const SeenRange range = RangeOf(type);
    std::unordered_set<std::uint32_t> seen;
    for (const RestrictParam& param : command.params) {
      const std::string why = isFlag ? WhyNoFlag(param, range, seen) : WhyNoBit(param, range);
      if (!why.empty()) Tell(Id::kRestrictNever, Quoted(param.text) + " is never shown: " + why);
    }
  }

  static std::string WhyNoFlag(const RestrictParam& param, const SeenRange& range,
                               std::unordered_set<std::uint32_t>& seen) {
    if (param.valueMissing) return "it has no number";
    if (!range.Holds(param.value)) return "no value of the item reads as its number";
    return seen.insert(param.value).second ? "" : "an earlier name has its number";
  }

  static std::string WhyNoBit(const RestrictParam& param, const SeenRange& range) {
    if (param.valueMissing) return "it has no number";
    if (param.value == 0) return "0 has no bits";
    // Negative numbers have all upper bits.
    const bool hasBit = range.least < 0 || (param.value & static_cast<std::uint32_t>(range.most)) != 0;
    return hasBit ? "" : "no value of the item has its bits";
  }

  const JSStructDesc& record_;
  const JSStructItemDesc& item_;
  SourcePosition position_;
  const std::vector<RestrictCommand>& commands_;
  Findings& findings_;
};

// What can be said of the text itself, whatever the type. False where nothing of it is left to run.
bool CheckCommands(const JSStructItemDesc& item, const std::vector<RestrictCommand>& commands,
                   SourcePosition position, const Subject& subject, Findings& findings) {
  if (commands.empty()) {
    findings.Add(Id::kRestrictNoCommand, position,
                 Quoted(item.restrictText()) + " holds no command: the value is shown as it is", subject);
    return false;
  }
  if (HasTextOutside(item.restrictText())) {
    findings.Add(Id::kRestrictNoCommand, position,
                 "text outside of brackets, or in brackets that are not closed, is passed over", subject);
  }
  std::unordered_set<WideView, KeyedHash> seen;
  for (const RestrictCommand& command : commands) {
    if (!IsKnown(command.name)) {
      findings.Add(Id::kRestrictUnknown, position,
                   Bracketed(command.name) + " is no command: only a blank is added", subject);
    } else if (!seen.insert(command.name).second) {
      findings.Add(Id::kRestrictNoEffect, position,
                   "a second " + Bracketed(command.name) + " is not looked at", subject);
    }
  }
  return !seen.empty();
}

bool IsNameListOnly(const std::vector<RestrictCommand>& commands) {
  return std::all_of(commands.begin(), commands.end(),
                     [](const RestrictCommand& command) { return command.name == u"namelist"; });
}

bool ShowsAlike(const TypeMeaning& a, const TypeMeaning& b) noexcept {
  return a.shown == b.shown && a.isFloat == b.isFloat && a.isUnsigned == b.isUnsigned && a.width == b.width;
}

void CheckItem(Records& records, const JSStructDesc& record, const JSStructItemDesc& item,
               Findings& findings) {
  const ItemInfo& info = records.InfoOf(item);
  std::vector<RestrictCommand> commands;
  ParseRestrict(item.restrictText(), commands);
  const bool isNameList = std::any_of(info.rules.begin(), info.rules.end(),
                                      [](const Rule* rule) { return rule->kind == RuleKind::kNameList; });
  if (isNameList) {
    if (IsNameListOnly(commands)) return;
    findings.Add(Id::kRestrictReplaced, info.position,
                 "the ConvertNameList rule on this item writes a restrict of its own: this one is never used",
                 {&record, &item});
    return;
  }
  if (!CheckCommands(item, commands, info.position, {&record, &item}, findings)) return;
  // The same is not told again for each of many types that show alike.
  std::vector<TypeMeaning> done;
  constexpr std::size_t kMeaningsTold = 4;
  for (const LiveType& live : info.types) {
    const TypeMeaning& meaning = live.meaning;
    // A variant that nothing was chosen for shows nothing.
    if (done.size() == kMeaningsTold || (meaning.shown == Shown::kNothing && info.types.size() > 1)) continue;
    const auto isLike = [&](const TypeMeaning& other) { return ShowsAlike(meaning, other); };
    if (std::any_of(done.begin(), done.end(), isLike)) continue;
    done.push_back(meaning);
    PresentationCheck(record, item, info.position, commands, findings).Run(meaning);
  }
}

}  // namespace

void CheckPresentation(Records& records, Findings& findings) {
  for (const JSStructDesc& record : records.set().structs()) {
    for (const JSStructItemDesc& item : record.items()) {
      if (item.restrictText().empty() || records.InfoOf(item).isBroken) continue;
      CheckItem(records, record, item, findings);
    }
  }
}

}  // namespace sbx::tool::lint
