// Reads the conversion rules into lint's model, with every reason for which the library would refuse them.
#include <algorithm>
#include <array>
#include <unordered_set>

#include "rules/rule_steps.h"
#include "sbxml/lint/elements.h"
#include "sbxml/lint/model.h"
#include "sbxml/text.h"

namespace sbx::tool::lint {
namespace {

constexpr WideView kRulesElement = u"Rules";
constexpr WideView kRuleElement = u"RuleItem";

struct KindInfo {
  WideView name;
  RuleKind kind;
  std::initializer_list<WideView> attributes;
};

constexpr std::initializer_list<WideView> kOfStructArrayPtr = {u"name", u"type", u"structname",
                                                               u"num",  u"ref",  u"refvalue"};
constexpr std::initializer_list<WideView> kOfAlterType = {u"name", u"type",      u"alterto",
                                                          u"ref",  u"refmethod", u"refvalue"};
constexpr std::initializer_list<WideView> kOfRelocate = {u"name", u"type", u"structname", u"ref",
                                                         u"refvalue"};
constexpr std::initializer_list<WideView> kOfNameList = {u"name", u"type", u"num"};

constexpr std::array kKinds = {
    KindInfo{u"StructArrayPtr", RuleKind::kStructArrayPtr, kOfStructArrayPtr},
    KindInfo{u"AlterType", RuleKind::kAlterType, kOfAlterType},
    KindInfo{u"RelocateStructName", RuleKind::kRelocate, kOfRelocate},
    KindInfo{u"ConvertNameList", RuleKind::kNameList, kOfNameList},
};

// The type that a rule writes, or empty.
WideString NewTypeOf(const Rule& rule) {
  TypeText text;
  bool isComposed = false;
  if (rule.kind == RuleKind::kAlterType) {
    isComposed = text.Compose(rule.alterto);
  } else if (rule.kind == RuleKind::kStructArrayPtr) {
    isComposed = !rule.num.empty() && text.Compose(rule.structname + u"[", 1, u"]*");
  } else if (rule.kind == RuleKind::kNameList) {
    isComposed = !rule.num.empty() && text.Compose(u"wchar_t[", 1, u"]*");
  }
  return isComposed ? WideString(text.view()) : WideString();
}

}  // namespace

class RulesReader {
 public:
  RulesReader(const SourceTree& tree, Rules& rules, Records& records, Findings& findings)
      : tree_(tree), rules_(rules), records_(records), findings_(findings), open_(tree) {}

  void Read() {
    if (!CheckRoot(tree_, u"ConvertRuleDesc", findings_)) {
      rules_.loads_ = false;
      return;
    }
    recordOf_.resize(tree_.nodes().size());
    for (const std::size_t node : tree_.elements()) {
      open_.MoveTo(node);
      const WideString& name = tree_.nodes()[node].text;
      if (name == kRulesElement) {
        ReadRules(node);
      } else if (name == kRuleElement) {
        ReadRule(node);
      } else if (name == u"JSStruct" || name == u"JSStructItem") {
        findings_.Add(Id::kMisplacedElement, At(node),
                      "records are not read from a rule document: the element is passed over");
      } else {
        CheckCase(tree_, node, {kRulesElement, kRuleElement}, findings_);
      }
    }
  }

 private:
  SourcePosition At(std::size_t node) const { return tree_.nodes()[node].position; }

  void Refuse(Id id, std::size_t node, const std::string& what) {
    findings_.Add(id, At(node), what + ": the document does not load");
    rules_.loads_ = false;
  }

  void ReadRules(std::size_t node) {
    if (!open_.empty()) {
      findings_.Add(Id::kNestedElement, At(node),
                    "rules inside those of another record: they count for the outer one too");
    }
    open_.Open(node);
    CheckAttributes(tree_, node, {u"name"}, findings_);
    WideString name(tree_.AttributeOf(node, u"name"));
    if (name.empty()) return Refuse(Id::kNoName, node, "rules without a record's name");
    JSStructDesc* const record = records_.set().FindStruct(name);
    if (!seen_.insert(name).second) {
      return Refuse(Id::kDuplicateRules, node, "there are rules for " + Quoted(name) + " already");
    }
    if (record == nullptr) {
      findings_.Add(Id::kNeverRuns, At(node),
                    "there is no record " + Quoted(name) + ": these rules never run");
    }
    recordOf_[node] = record;
  }

  void ReadRule(std::size_t node) {
    if (open_.empty()) {
      findings_.Add(Id::kMisplacedElement, At(node), "a rule outside of any Rules is passed over");
      return;
    }
    Rule rule;
    rule.position = At(node);
    rule.name = tree_.AttributeOf(node, u"name");
    rule.type = tree_.AttributeOf(node, u"type");
    if (rule.name.empty()) Refuse(Id::kNoName, node, "a rule without a name");
    if (rule.type.empty()) Refuse(Id::kNoType, node, "a rule without a type");
    if (!rule.type.empty()) ReadKind(node, rule);
    if (rule.kind == RuleKind::kUnknown || rule.name.empty()) return;
    for (const std::size_t outer : open_.kept()) {
      if (recordOf_[outer] != nullptr) Add(*recordOf_[outer], rule);
    }
  }

  void ReadKind(std::size_t node, Rule& rule) {
    for (const KindInfo& info : kKinds) {
      if (info.name != rule.type) continue;
      rule.kind = info.kind;
      CheckAttributes(tree_, node, info.attributes, findings_);
      const auto read = [&](WideView name) {
        const bool isRead =
            std::find(info.attributes.begin(), info.attributes.end(), name) != info.attributes.end();
        return WideString(isRead ? tree_.AttributeOf(node, name) : WideView());
      };
      rule.structname = read(u"structname");
      rule.num = read(u"num");
      rule.ref = read(u"ref");
      rule.refmethod = read(u"refmethod");
      rule.refvalue = read(u"refvalue");
      rule.alterto = read(u"alterto");
      rule.newType = NewTypeOf(rule);
      return;
    }
    findings_.Add(Id::kUnknownKind, At(node), Quoted(rule.type) + " is no kind of rule: it does nothing");
  }

  void Add(JSStructDesc& record, const Rule& read) {
    Rule& rule = rules_.rules_.emplace_back(read);
    rule.record = &record;
    RecordInfo& info = records_.InfoOf(record);
    info.rules.push_back(&rule);
    if (rule.kind == RuleKind::kRelocate) {
      if (info.firstRelocation == nullptr) info.firstRelocation = &rule;
      return;
    }
    rule.item = record.FindItem(rule.name);
    if (rule.item != nullptr) {
      records_.InfoOf(*rule.item).rules.push_back(&rule);
    } else {
      findings_.Add(Id::kUnknownItem, rule.position,
                    "the record has no item " + Quoted(rule.name) + ": the rule does nothing", {&record});
    }
  }

  const SourceTree& tree_;
  Rules& rules_;
  Records& records_;
  Findings& findings_;
  OpenElements open_;
  std::vector<JSStructDesc*> recordOf_;  // by node; null for an unknown record
  std::unordered_set<WideString, KeyedHash> seen_;
};

Rules::Rules(const SourceTree& tree, Records& records, Findings& findings) {
  RulesReader(tree, *this, records, findings).Read();
}

}  // namespace sbx::tool::lint
