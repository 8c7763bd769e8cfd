#include "sbxml/lint/rule_checks.h"

#include <algorithm>
#include <unordered_set>

#include "desc/primary_types.h"
#include "rules/rule_steps.h"
#include "sbxml/lint/conditions.h"
#include "sbxml/text.h"

namespace sbx::tool::lint {
namespace {

constexpr WideView kPreviousLevel = u"..\\";
constexpr const char* kNeverToXml = "on the way to XML the rule never runs";
constexpr const char* kOldNames =
    "on the way to XML the item keeps its type and shows as many names as were counted last";

bool EndsInPreviousLevel(WideView path) noexcept {
  return path.ends_with(kPreviousLevel);
}

class RuleCheck {
 public:
  RuleCheck(Records& records, const Paths& paths, const Usage& usage, Findings& findings)
      : records_(records),
        paths_(paths),
        usage_(usage),
        findings_(findings),
        conditions_(records, findings) {}

  void Run(const Rule& rule) {
    switch (rule.kind) {
      case RuleKind::kStructArrayPtr:
        CheckStructArrayPtr(rule);
        break;
      case RuleKind::kAlterType:
        CheckAlterType(rule);
        break;
      case RuleKind::kRelocate:
        CheckTarget(rule);
        break;
      case RuleKind::kNameList:
        CheckNameList(rule);
        break;
      case RuleKind::kUnknown:
        return;
    }
    if (rule.kind != RuleKind::kNameList) CheckCondition(rule);
  }

 private:
  void Tell(Id id, const Rule& rule, const std::string& message) {
    findings_.Add(id, rule.position, message, {rule.record, rule.item});
  }

  // --- the kinds -------------------------------------------------------------------------------------------

  void CheckStructArrayPtr(const Rule& rule) {
    if (rule.structname.empty()) {
      Tell(Id::kUnknownRecord, rule,
           "without a structname the type is a bare count: converting to XML fails there");
    } else if (FindPrimaryType(rule.structname) != nullptr) {
      Tell(Id::kCountedNumbers, rule,
           "the way back counts child elements, of which an array of " + Quoted(rule.structname) +
               " has none: a single one comes back");
    } else if (records_.set().FindStruct(rule.structname) == nullptr) {
      Tell(Id::kUnknownRecord, rule,
           "there is no record " + Quoted(rule.structname) +
               ": converting to XML fails there (-4), and the way back passes the item over");
    }
    if (rule.num.empty()) {
      Tell(Id::kMissingAttribute, rule,
           "without num the rule never runs on the way to XML, and the way back has no count to put right");
      return;
    }
    CheckCount(rule, "on the way to XML the rule never runs, and the way back has no count to put right",
               kNeverToXml);
  }

  void CheckAlterType(const Rule& rule) {
    if (rule.alterto.empty()) {
      return Tell(Id::kMissingAttribute, rule, "without alterto the rule changes nothing");
    }
    TypeText composed;
    if (!composed.Compose(rule.alterto)) {
      return Tell(Id::kTypeTooLong, rule, "alterto is longer than 255 characters: the rule changes nothing");
    }
    if (rule.alterto.find(u'%') != WideString::npos) {
      return Tell(Id::kAltertoPercent, rule,
                  "alterto is a message format in which per cent signs have a meaning: the type becomes " +
                      Quoted(composed.view()));
    }
    if (rule.item == nullptr || rule.newType != rule.item->type()) return;
    if (records_.InfoOf(*rule.item).rules.size() > 1) return;
    Tell(Id::kRuleNoEffect, rule, "the item has this type already, and no other rule changes it");
  }

  void CheckNameList(const Rule& rule) {
    if (!rule.num.empty()) CheckCount(rule, kOldNames, kOldNames);
  }

  // --- relocations -----------------------------------------------------------------------------------------

  void CheckTarget(const Rule& rule) {
    const JSStructDesc* const target = records_.set().FindStruct(rule.structname);
    // Behind another relocation these two take back what that one said.
    const bool isFirst = records_.InfoOf(*rule.record).firstRelocation == &rule;
    if (rule.structname.empty()) {
      if (isFirst) Tell(Id::kMissingAttribute, rule, "without a structname nothing is relocated");
    } else if (target == nullptr) {
      Tell(Id::kUnknownRecord, rule,
           "there is no record " + Quoted(rule.structname) + ": where this rule runs, converting fails (-1)");
    } else if (target == rule.record) {
      if (isFirst) Tell(Id::kRelocationSame, rule, "relocates the record to itself, which does nothing");
    } else if (target->size != rule.record->size && !records_.InfoOf(*target).isBroken &&
               !records_.InfoOf(*rule.record).isBroken) {
      Tell(Id::kRelocationSize, rule,
           Quoted(rule.structname) + " has " + std::to_string(target->size) + " bytes and this record " +
               std::to_string(rule.record->size) + ": where the rule runs, the way back fails");
    }
  }

  // --- conditions ------------------------------------------------------------------------------------------

  void CheckCondition(const Rule& rule) {
    if (!rule.hasCondition()) {
      if (rule.ref.empty() && rule.refvalue.empty() && rule.refmethod.empty()) return;
      return Tell(Id::kHalfCondition, rule,
                  "a condition needs both ref and refvalue: without one of them the rule always runs");
    }
    if (rule.kind == RuleKind::kAlterType && !CheckMethod(rule)) return;
    const PathWalk toXml = paths_.ToXml(*rule.record, rule.ref);
    if (!CheckPath(rule, rule.ref, toXml, "the rule never runs", kNeverToXml)) return;
    const PathWalk fromXml = WalkBack(rule);
    if (!fromXml.trouble.empty() || fromXml.isGivenUp || fromXml.overflows || fromXml.ends.empty()) return;
    if (rule.kind == RuleKind::kRelocate && !usage_.isUsedAlone(*rule.record)) return;
    conditions_.Check(rule, toXml, fromXml);
  }

  bool CheckMethod(const Rule& rule) {
    if (rule.refmethod == u"=" || rule.refmethod == u"&" || rule.refmethod == u"|") return true;
    if (rule.refmethod.empty()) {
      Tell(Id::kOneSidedCondition, rule,
           "without refmethod the rule always runs on the way to XML, and never on the way back");
    } else {
      Tell(Id::kConditionNever, rule,
           "the refmethod " + Quoted(rule.refmethod) + " is none of =, & and |: the rule never runs");
    }
    return false;
  }

  // Where the text to compare stands on the way back. A relocated record's element holds the items of the
  // record that it was relocated to.
  PathWalk WalkBack(const Rule& rule) {
    PathWalk walk = paths_.FromXml(*rule.record, rule.ref);
    JSStructDesc* const target = records_.set().FindStruct(rule.structname);
    if (rule.kind != RuleKind::kRelocate || target == nullptr || !usage_.isUsedAlone(*rule.record))
      return walk;
    PathWalk moved = paths_.FromXml(*target, rule.ref);
    if (moved.trouble.empty() || !walk.trouble.empty() || walk.isGivenUp) return moved;
    Tell(Id::kRelocationLost, rule,
         "the way back looks for " + Quoted(rule.ref) + " among the items of " + Quoted(target->name) +
             ", but " + moved.trouble + ": it does not relocate");
    return moved;
  }

  // --- paths -----------------------------------------------------------------------------------------------

  void CheckCount(const Rule& rule, const std::string& ifNowhere, const std::string& ifUnreadable) {
    CheckPath(rule, rule.num, paths_.ToXml(*rule.record, rule.num), ifNowhere, ifUnreadable);
  }

  // False if nothing more can be said of where the path leads.
  bool CheckPath(const Rule& rule, const WideString& ref, const PathWalk& toXml, const std::string& ifNowhere,
                 const std::string& ifUnreadable) {
    const std::string path = "the path " + Quoted(ref);
    if (toXml.overflows) {
      if (EndsInPreviousLevel(ref)) {
        Tell(Id::kPathEnd, rule,
             path + " ends in \"..\\\", behind which nothing is left: " + OverflowEffect());
      } else {
        Tell(Id::kPathOverflow, rule, path + " goes up further than its own segments: " + OverflowEffect());
      }
      return false;
    }
    if (toXml.isGivenUp) return false;
    if (!toXml.trouble.empty()) {
      Tell(Id::kPathUnresolved, rule, path + " leads nowhere: " + toXml.trouble + ": " + ifNowhere);
      return false;
    }
    TellWay(rule, path, toXml);
    CheckWayBack(rule, path, ref, toXml);
    return CheckReadable(rule, path, toXml, ifUnreadable);
  }

  static std::string OverflowEffect() {
    return "the number that the rule read last is used on the way to XML, an empty text on the way back";
  }

  void TellWay(const Rule& rule, const std::string& path, const PathWalk& walk) {
    if (walk.twoPointers != nullptr) {
      Tell(Id::kPathTwoPointers, rule,
           path + " leads through " + Quoted(walk.twoPointers->name) +
               ", a pointer to a pointer, of which only one is followed: what is read is no value of the "
               "item");
    }
    if (walk.array != nullptr) {
      Tell(Id::kPathFirstEntry, rule,
           path + " leads through the array " + Quoted(walk.array->name) +
               ": only its first entry is looked at");
    }
  }

  void CheckWayBack(const Rule& rule, const std::string& path, const WideString& ref, const PathWalk& toXml) {
    if (ref.find(kPreviousLevel) == WideString::npos) return;
    const PathWalk back = paths_.FromXml(*rule.record, ref);
    if (back.isGivenUp || back.overflows) return;
    const auto isSame = [](const PathEnd& a, const PathEnd& b) { return a.item == b.item; };
    if (std::equal(toXml.ends.begin(), toXml.ends.end(), back.ends.begin(), back.ends.end(), isSame)) return;
    Tell(Id::kPathSidesDiffer, rule,
         path +
             " leads elsewhere on the way back, where the root's name is looked for before \"..\\\" is "
             "worked out");
  }

  bool CheckReadable(const Rule& rule, const std::string& path, const PathWalk& walk,
                     const std::string& effect) {
    const auto isReadable = [](const PathEnd& end) { return end.item->size == 2 || end.item->size == 4; };
    if (std::any_of(walk.ends.begin(), walk.ends.end(), isReadable)) return true;
    const JSStructItemDesc& item = *walk.ends.front().item;
    if (records_.InfoOf(item).isBroken) return false;
    Tell(Id::kPathSize, rule,
         path + " leads to " + Quoted(item.name) + " of " +
             Counted(static_cast<std::uint64_t>(item.size), "byte") +
             ", and only 2 or 4 can be read: " + effect);
    return false;
  }

  Records& records_;
  const Paths& paths_;
  const Usage& usage_;
  Findings& findings_;
  Conditions conditions_;
};

// What two rules of one item, or two relocations of one record, have to share for the later one to take the
// earlier one's place.
WideString KeyOf(const Rule& rule) {
  WideString key = rule.kind == RuleKind::kRelocate ? u"R" : u"T";
  for (const WideString* const part : {&rule.name, &rule.ref, &rule.refmethod, &rule.refvalue}) {
    if (rule.kind != RuleKind::kRelocate || part != &rule.name) key.append(*part).append(1, u'\0');
  }
  return key;
}

// Rules of one record that come to nothing because of later ones.
class RuleOrder {
 public:
  explicit RuleOrder(Findings& findings) : findings_(findings) {}

  void Run(const std::vector<const Rule*>& rules) {
    for (std::size_t at = rules.size(); at-- > 0;) Look(*rules[at]);
  }

 private:
  void Look(const Rule& rule) {
    const bool isRelocation = rule.kind == RuleKind::kRelocate;
    if (!isRelocation && (rule.item == nullptr || rule.newType.empty())) return;
    const void* const subject = isRelocation ? nullptr : static_cast<const void*>(rule.item);
    if (always_.count(subject) != 0) {
      Tell(rule, isRelocation ? "a later relocation without a condition always takes its place"
                              : "a later rule without a condition always gives the item another type");
    } else if (!conditions_.insert(KeyOf(rule)).second && rule.hasCondition()) {
      Tell(rule, "a later rule with the same condition takes its place");
    }
    if (!rule.hasCondition()) always_.insert(subject);
  }

  void Tell(const Rule& rule, const std::string& message) {
    findings_.Add(Id::kRuleOverridden, rule.position, message + ": this one has no effect",
                  {rule.record, rule.item});
  }

  Findings& findings_;
  std::unordered_set<const void*> always_;
  std::unordered_set<WideString, KeyedHash> conditions_;
};

// Without a count, names are shown of an array of numbers alone.
void CheckPlainNames(const Records& records, const JSStructDesc& record, const JSStructItemDesc& item,
                     Findings& findings) {
  const ItemInfo& info = records.InfoOf(item);
  const auto rule = std::find_if(info.rules.begin(), info.rules.end(), [](const Rule* other) {
    return other->kind == RuleKind::kNameList && other->num.empty();
  });
  if (rule == info.rules.end()) return;
  const auto wrong = std::find_if(info.types.begin(), info.types.end(), [](const LiveType& live) {
    return live.meaning.shown != Shown::kNumbers && live.meaning.shown != Shown::kUnknown;
  });
  if (wrong == info.types.end()) return;
  findings.Add(Id::kNameListType, (*rule)->position,
               "without num the item must be an array of characters, not " + Quoted(wrong->type) +
                   ": its value is lost",
               {&record, &item});
}

// A type that a rule wrote under a condition stays for all later records of that name.
void CheckSticky(const Records& records, const Usage& usage, const JSStructDesc& record,
                 const JSStructItemDesc& item, Findings& findings) {
  const Rule* first = nullptr;
  for (const Rule* const rule : records.InfoOf(item).rules) {
    if (rule->alwaysRewrites()) return;
    if (rule->newType.empty() || rule->newType == item.type()) continue;
    // Several rules on one value may well have one for each value that occurs.
    if (first != nullptr) return;
    first = rule;
  }
  if (first == nullptr || !usage.mayRepeat(record)) return;
  findings.Add(
      Id::kStickyType, first->position,
      "once this rule has run, the item keeps its type in all later records of the conversion, also where "
      "the condition does not hold: a rule without a condition before it would put it back",
      {&record, &item});
}

void CheckReached(const Records& records, const Usage& usage, const JSStructDesc& record,
                  Findings& findings) {
  const std::vector<const Rule*>& rules = records.InfoOf(record).rules;
  if (rules.empty() || usage.isReached(record)) return;
  findings.Add(Id::kNeverRuns, rules.front()->position,
               "nothing that begins with the root record leads to this one: its rules never run", {&record});
}

}  // namespace

void CheckRules(Records& records, const Rules& rules, const Paths& paths, const Usage& usage,
                Findings& findings) {
  RuleCheck check(records, paths, usage, findings);
  for (const Rule& rule : rules.all()) check.Run(rule);
  for (const JSStructDesc& record : records.set().structs()) {
    RuleOrder(findings).Run(records.InfoOf(record).rules);
    CheckReached(records, usage, record, findings);
    for (const JSStructItemDesc& item : record.items()) {
      if (records.InfoOf(item).isBroken) continue;
      CheckPlainNames(records, record, item, findings);
      CheckSticky(records, usage, record, item, findings);
    }
  }
}

}  // namespace sbx::tool::lint
