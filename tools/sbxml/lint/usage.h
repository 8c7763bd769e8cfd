// Who leads to which record: by an item, an array, a relocation.
#pragma once

#include <unordered_map>
#include <vector>

#include "sbxml/lint/model.h"

namespace sbx::tool::lint {

// An item that leads to one record by itself, not to an array of them.
struct SingleUse {
  const JSStructDesc* owner;
  const JSStructItemDesc* item;
  const JSStructDesc* record;
  const Rule* origin;  // the rule that gave the item its type; null for the description
};

class Usage {
 public:
  // `root` is null where it is not known.
  Usage(Records& records, const JSStructDesc* root);

  // Whether an element of the item's own name may hold the record, so that the way back has to find out what
  // it was. Also true for a record that nothing leads to.
  bool isUsedAlone(const JSStructDesc& record) const;
  // Whether one job script may hold several records of this name.
  bool mayRepeat(const JSStructDesc& record) const { return NodeOf(record).mayRepeat; }
  // Always true where the root is not known.
  bool isReached(const JSStructDesc& record) const { return !hasRoot_ || NodeOf(record).isReached; }
  const std::vector<SingleUse>& singleUses() const noexcept { return singleUses_; }

 private:
  struct Node {
    std::size_t uses = 0;
    bool isAlone = false;
    bool isInArray = false;
    bool mayRepeat = false;
    bool isReached = false;
    std::vector<const JSStructDesc*> leadsTo;
    std::vector<const JSStructDesc*> relocatesTo;
  };

  const Node& NodeOf(const JSStructDesc& record) const { return nodes_.at(&record); }
  void AddItem(Records& records, const JSStructDesc& record, const JSStructItemDesc& item);
  void AddRelocations(Records& records, const JSStructDesc& record);
  void SpreadAlone(Records& records);
  void SpreadRepeating(Records& records);
  void SpreadReached(const JSStructDesc& root);

  std::unordered_map<const JSStructDesc*, Node> nodes_;
  std::vector<SingleUse> singleUses_;
  bool hasRoot_;
};

}  // namespace sbx::tool::lint
