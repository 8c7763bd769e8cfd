#include "sbxml/lint/layout.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "sbxml/log_capture.h"
#include "sbxml/text.h"

namespace sbx::tool::lint {
namespace {

std::int64_t EndOf(const JSStructItemDesc& item) noexcept {
  return std::int64_t{item.offset} + item.size;
}

class RecordLayout {
 public:
  RecordLayout(Records& records, const JSStructDesc& record, Findings& findings)
      : records_(records), record_(record), findings_(findings) {}

  void Run() {
    for (const JSStructItemDesc& item : record_.items()) {
      if (records_.InfoOf(item).isBroken) continue;
      items_.push_back(&item);
      if (!records_.InfoOf(record_).isBroken && EndOf(item) > record_.size) TellBeyond(item);
    }
    TellOverlaps();
  }

 private:
  void TellBeyond(const JSStructItemDesc& item) {
    findings_.Add(Id::kBeyondRecord, records_.InfoOf(item).position,
                  "the item ends at byte " + std::to_string(EndOf(item)) + " of a record of " +
                      std::to_string(record_.size) + ": converting fails there in both directions (-4)",
                  {&record_, &item});
  }

  // Of all items that begin before one, the furthest reaching decides.
  void TellOverlaps() {
    std::stable_sort(items_.begin(), items_.end(), [](const JSStructItemDesc* a, const JSStructItemDesc* b) {
      return a->offset < b->offset;
    });
    const JSStructItemDesc* furthest = nullptr;
    for (const JSStructItemDesc* const item : items_) {
      if (furthest != nullptr && EndOf(*furthest) > item->offset) {
        findings_.Add(Id::kOverlap, records_.InfoOf(*item).position,
                      "shares bytes with " + Quoted(furthest->name) +
                          ": both are shown, and the one that is read last decides what they hold",
                      {&record_, item});
      }
      if (furthest == nullptr || EndOf(*item) > EndOf(*furthest)) furthest = item;
    }
  }

  Records& records_;
  const JSStructDesc& record_;
  Findings& findings_;
  std::vector<const JSStructItemDesc*> items_;
};

// Records that lie inside each other, by items and not by pointers: a walk that comes back to a record that
// it has not left would never end.
class Embedding {
 public:
  Embedding(Records& records, Findings& findings) : records_(records), findings_(findings) {}

  void Run() {
    for (JSStructDesc& record : records_.set().structs()) {
      if (state_[&record] == State::kNew) Walk(record);
    }
  }

 private:
  enum class State { kNew, kOpen, kDone };
  struct Step {
    JSStructDesc* record;
    std::size_t next = 0;  // the item to look at
  };

  void Walk(JSStructDesc& start) {
    std::vector<Step> steps = {{&start}};
    state_[&start] = State::kOpen;
    while (!steps.empty()) {
      Step& step = steps.back();
      if (step.next == step.record->items().size()) {
        state_[step.record] = State::kDone;
        steps.pop_back();
        continue;
      }
      const JSStructItemDesc& item = step.record->items()[step.next++];
      JSStructDesc* const inner = EmbeddedIn(item);
      if (inner == nullptr) continue;
      if (state_[inner] == State::kOpen) {
        findings_.Add(Id::kEndlessRecord, records_.InfoOf(item).position,
                      "record " + Quoted(inner->name) +
                          " lies inside itself: converting to XML ends when the stack is used up (-3)",
                      {step.record, &item});
      } else if (state_[inner] == State::kNew) {
        state_[inner] = State::kOpen;
        steps.push_back({inner});
      }
    }
  }

  JSStructDesc* EmbeddedIn(const JSStructItemDesc& item) {
    if (records_.InfoOf(item).isBroken) return nullptr;
    const TypeMeaning meaning = MeaningOf(records_.set(), item.type());
    return meaning.isPointer ? nullptr : meaning.record;
  }

  Records& records_;
  Findings& findings_;
  std::unordered_map<const JSStructDesc*, State> state_;
};

}  // namespace

void CheckLayout(Records& records, Findings& findings) {
  const LogCapture quiet(-1);
  for (const JSStructDesc& record : records.set().structs()) RecordLayout(records, record, findings).Run();
  Embedding(records, findings).Run();
}

}  // namespace sbx::tool::lint
