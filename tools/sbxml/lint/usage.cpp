#include "sbxml/lint/usage.h"

#include <algorithm>
#include <utility>

namespace sbx::tool::lint {

Usage::Usage(Records& records, const JSStructDesc* root) : hasRoot_(root != nullptr) {
  for (const JSStructDesc& record : records.set().structs()) nodes_[&record];
  for (const JSStructDesc& record : records.set().structs()) {
    for (const JSStructItemDesc& item : record.items()) {
      if (!records.InfoOf(item).isBroken) AddItem(records, record, item);
    }
    AddRelocations(records, record);
  }
  if (root != nullptr) ++nodes_[root].uses;
  SpreadAlone(records);
  SpreadRepeating(records);
  if (root != nullptr) SpreadReached(*root);
}

bool Usage::isUsedAlone(const JSStructDesc& record) const {
  const Node& node = NodeOf(record);
  return node.isAlone || !node.isInArray;
}

void Usage::AddItem(Records& records, const JSStructDesc& record, const JSStructItemDesc& item) {
  std::vector<const JSStructDesc*> met;
  for (const LiveType& live : records.InfoOf(item).types) {
    const TypeMeaning& meaning = live.meaning;
    if (meaning.record == nullptr) continue;
    Node& target = nodes_[meaning.record];
    // Of the types of one item only one counts at a time.
    constexpr std::size_t kMostLookedAt = 8;
    const auto end = met.begin() + static_cast<std::ptrdiff_t>(std::min(met.size(), kMostLookedAt));
    if (std::find(met.begin(), end, meaning.record) == end) ++target.uses;
    met.push_back(meaning.record);
    nodes_[&record].leadsTo.push_back(meaning.record);
    const bool isArray =
        meaning.isArray || (live.origin != nullptr && live.origin->kind == RuleKind::kStructArrayPtr);
    (isArray ? target.isInArray : target.isAlone) = true;
    if (!isArray) singleUses_.push_back({&record, &item, meaning.record, live.origin});
  }
}

void Usage::AddRelocations(Records& records, const JSStructDesc& record) {
  for (const Rule* const rule : records.InfoOf(record).rules) {
    if (rule->kind != RuleKind::kRelocate) continue;
    const JSStructDesc* const target = records.set().FindStruct(rule->structname);
    if (target != nullptr && target != &record) nodes_[&record].relocatesTo.push_back(target);
  }
}

// A record that another is relocated to stands where that one stood.
void Usage::SpreadAlone(Records& records) {
  for (bool Node::*const mark : {&Node::isAlone, &Node::isInArray}) {
    std::vector<const JSStructDesc*> open;
    for (const JSStructDesc& record : records.set().structs()) {
      if (NodeOf(record).*mark) open.push_back(&record);
    }
    while (!open.empty()) {
      const Node& node = NodeOf(*open.back());
      open.pop_back();
      for (const JSStructDesc* const target : node.relocatesTo) {
        if (std::exchange(nodes_[target].*mark, true)) continue;
        open.push_back(target);
      }
    }
  }
}

void Usage::SpreadRepeating(Records& records) {
  std::vector<const JSStructDesc*> open;
  for (const JSStructDesc& record : records.set().structs()) {
    Node& node = nodes_[&record];
    node.mayRepeat = node.isInArray || node.uses > 1;
    if (node.mayRepeat) open.push_back(&record);
  }
  while (!open.empty()) {
    const Node& node = NodeOf(*open.back());
    open.pop_back();
    for (const auto* const targets : {&node.leadsTo, &node.relocatesTo}) {
      for (const JSStructDesc* const target : *targets) {
        if (!std::exchange(nodes_[target].mayRepeat, true)) open.push_back(target);
      }
    }
  }
}

void Usage::SpreadReached(const JSStructDesc& root) {
  std::vector<const JSStructDesc*> open = {&root};
  nodes_[&root].isReached = true;
  while (!open.empty()) {
    const Node& node = NodeOf(*open.back());
    open.pop_back();
    for (const auto* const targets : {&node.leadsTo, &node.relocatesTo}) {
      for (const JSStructDesc* const target : *targets) {
        if (!std::exchange(nodes_[target].isReached, true)) open.push_back(target);
      }
    }
  }
}

}  // namespace sbx::tool::lint
