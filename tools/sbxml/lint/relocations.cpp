#include "sbxml/lint/relocations.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>

#include "rules/number_text.h"
#include "sbxml/text.h"

namespace sbx::tool::lint {
namespace {

// What a condition says of the record's bytes, where it compares an item of the record itself.
struct Demand {
  std::int32_t offset;
  std::int32_t size;
  std::uint32_t number;
};

std::optional<Demand> DemandOf(const Rule& rule) {
  if (!rule.hasCondition()) return std::nullopt;
  const JSStructItemDesc* const item = rule.record->FindItem(rule.ref);
  if (item == nullptr || item->type().find(u'*') != WideString::npos) return std::nullopt;
  return Demand{item->offset, item->size, ParseNumberText(rule.refvalue)};
}

bool Contradict(const Demand& a, const Demand& b) noexcept {
  return a.offset == b.offset && a.size == b.size && a.number != b.number;
}

// A relocation that may take place: not taken back by a later one without a condition.
struct Move {
  const Rule* rule;
  JSStructDesc* target;
  std::optional<Demand> demand;
};

std::vector<Move> MovesOf(Records& records, const JSStructDesc& record) {
  std::vector<Move> moves;
  for (const Rule* const rule : records.InfoOf(record).rules) {
    if (rule->kind != RuleKind::kRelocate) continue;
    if (!rule->hasCondition()) moves.clear();
    JSStructDesc* const target = records.set().FindStruct(rule->structname);
    if (target != nullptr && target != &record) moves.push_back({rule, target, DemandOf(*rule)});
  }
  return moves;
}

// Looks for circles that a record can go through without its bytes changing. The search is exact as far as it
// goes; its length is bounded, since the ways through many relocations multiply.
class CircleSearch {
 public:
  CircleSearch(Records& records, Findings& findings) : records_(records), findings_(findings) {
    for (const JSStructDesc& record : records.set().structs()) {
      std::vector<Move> moves = MovesOf(records, record);
      if (!moves.empty()) moves_.emplace(&record, std::move(moves));
    }
  }

  void Run() {
    for (const JSStructDesc& record : records_.set().structs()) {
      if (moves_.count(&record) == 0 || isTold_.count(&record) != 0) continue;
      steps_ = 0;
      start_ = &record;
      way_.clear();
      if (GoOn(record)) TellCircle();
    }
  }

 private:
  static constexpr std::size_t kLongestWay = 12;
  static constexpr std::size_t kMostSteps = 200;

  // True if the start comes up again. No deeper than kLongestWay.
  bool GoOn(const JSStructDesc& at) {
    const auto found = moves_.find(&at);
    if (found == moves_.end() || way_.size() == kLongestWay) return false;
    for (const Move& move : found->second) {
      if (++steps_ > kMostSteps) return false;
      if (!IsPossible(move)) continue;
      way_.push_back(move);
      if (move.target == start_ || GoOn(*move.target)) return true;
      way_.pop_back();
    }
    return false;
  }

  bool IsPossible(const Move& move) const {
    if (!move.demand) return true;
    return std::none_of(way_.begin(), way_.end(), [&](const Move& earlier) {
      return earlier.demand && Contradict(*earlier.demand, *move.demand);
    });
  }

  void TellCircle() {
    std::string names = ToUtf8(start_->name.substr(0, 60));
    for (const Move& move : way_) {
      names += " -> " + ToUtf8(move.target->name.substr(0, 60));
      isTold_[move.target] = true;
    }
    const Rule& last = *way_.back().rule;
    findings_.Add(Id::kRelocationCircle, last.position,
                  "relocations go round in a circle, " + names + ": converting to XML fails there (-4)",
                  {last.record});
  }

  Records& records_;
  Findings& findings_;
  std::unordered_map<const JSStructDesc*, std::vector<Move>> moves_;
  std::unordered_map<const JSStructDesc*, bool> isTold_;
  const JSStructDesc* start_ = nullptr;
  std::vector<Move> way_;
  std::size_t steps_ = 0;
};

// What the way back leaves undone for a record that another was relocated to.
struct LeftUndone {
  const JSStructDesc* target;
  const char* what;
};

// For each record, the first one that it may be relocated to and that a pass would have changed.
using LeftUndoneByRecord = std::unordered_map<const JSStructDesc*, LeftUndone>;

const char* WhatPassDoes(const Records& records, const JSStructDesc& record) {
  if (!records.InfoOf(record).rules.empty()) return "the rules of that record don't run";
  const auto isPlain = [](const JSStructItemDesc& item) { return item.type() == u"char*"; };
  const bool hasPlain = std::any_of(record.items().begin(), record.items().end(), isPlain);
  return hasPlain ? "its items of type char* come back as narrow text" : nullptr;
}

LeftUndoneByRecord FindLeftUndone(Records& records) {
  std::unordered_map<const JSStructDesc*, const char*> passes;
  for (const JSStructDesc& record : records.set().structs()) passes[&record] = WhatPassDoes(records, record);
  LeftUndoneByRecord undone;
  for (const JSStructDesc& record : records.set().structs()) {
    for (const Move& move : MovesOf(records, record)) {
      if (passes[move.target] != nullptr)
        undone.try_emplace(&record, LeftUndone{move.target, passes[move.target]});
    }
  }
  return undone;
}

}  // namespace

void CheckRelocations(Records& records, const Usage& usage, const JSStructDesc* root, Findings& descriptions,
                      Findings& rules) {
  CircleSearch(records, rules).Run();
  const LeftUndoneByRecord undone = FindLeftUndone(records);
  for (const SingleUse& use : usage.singleUses()) {
    const auto found = undone.find(use.record);
    if (found == undone.end()) continue;
    const bool isOfRule = use.origin != nullptr;
    (isOfRule ? rules : descriptions)
        .Add(Id::kRelocatedOnce, isOfRule ? use.origin->position : records.InfoOf(*use.item).position,
             "the way back relocates a single " + Quoted(use.record->name) + " once: relocated to " +
                 Quoted(found->second.target->name) + ", " + found->second.what,
             {use.owner, use.item});
  }
  if (root == nullptr) return;
  for (const Move& move : MovesOf(records, *root)) {
    rules.Add(Id::kRootRelocation, move.rule->position,
              "the root's element is then named " + Quoted(move.target->name) +
                  ", and the way back finds no root record",
              {move.rule->record});
  }
}

}  // namespace sbx::tool::lint
