#include "sbxml/lint/paths.h"

#include <algorithm>

#include "rules/value_paths.h"
#include "sbxml/log_capture.h"
#include "sbxml/text.h"

namespace sbx::tool::lint {
namespace {

// An item may have several types, and a path then several ways to go on. Beyond so many it is given up.
constexpr std::size_t kMostWays = 8;

// One walk from some records at once.
class Walker {
 public:
  Walker(Records& records, PathWalk& out) : records_(records), out_(out) {}

  void Run(JSStructDesc* start, WideView path) {
    at_ = {start};
    for (;;) {
      const std::size_t dot = path.find(u'.');
      const bool isLast = dot == WideView::npos;
      if (!FindItems(path.substr(0, dot))) return;
      if (isLast) break;
      path.remove_prefix(dot + 1);
      if (!EnterRecords()) return;
    }
    for (const PathEnd& end : items_) out_.ends.push_back(end);
  }

 private:
  bool FindItems(WideView segment) {
    items_.clear();
    for (JSStructDesc* const record : at_) {
      if (const JSStructItemDesc* const item = record->FindItem(segment)) items_.push_back({record, item});
    }
    if (!items_.empty()) return true;
    out_.trouble = "record " + Quoted(at_.front()->name) + " has no item " + Quoted(segment);
    return false;
  }

  bool EnterRecords() {
    at_.clear();
    for (const PathEnd& way : items_) {
      const std::vector<LiveType>& types = records_.InfoOf(*way.item).types;
      if (types.size() > kMostWays) return GiveUp();
      for (const LiveType& live : types) Enter(*way.item, live);
    }
    if (at_.size() > kMostWays) return GiveUp();
    if (!at_.empty()) return true;
    const JSStructItemDesc& item = *items_.front().item;
    out_.trouble =
        "item " + Quoted(item.name) + " (" + ToUtf8(item.type().substr(0, 60)) + ") leads to no record";
    return false;
  }

  void Enter(const JSStructItemDesc& item, const LiveType& live) {
    if (live.pathRecord == nullptr) return;
    if (std::find(at_.begin(), at_.end(), live.pathRecord) == at_.end()) at_.push_back(live.pathRecord);
    if (live.meaning.isArray) out_.array = &item;
    if (live.meaning.pointerLevel > 1) out_.twoPointers = &item;
  }

  bool GiveUp() {
    out_.isGivenUp = true;
    return false;
  }

  Records& records_;
  PathWalk& out_;
  std::vector<JSStructDesc*> at_;
  std::vector<PathEnd> items_;
};

}  // namespace

bool Paths::MayBeRoot(WideView head) const {
  return root_.empty() ? records_.set().FindStruct(head) != nullptr : head == root_;
}

PathWalk Paths::Walk(JSStructDesc& record, const WideString& ref, bool isToXml) const {
  const LogCapture quiet(-1);
  PathWalk walk;
  const ValuePath valuePath(ref);
  WideView path;
  if (valuePath.Resolve(path) != kOk) {
    walk.overflows = true;
    return walk;
  }
  // On the way back the root's name is looked for in the path as written.
  const WideView written = isToXml ? path : WideView(ref);
  const std::size_t dot = written.find(u'.');
  const WideView head = dot == WideView::npos ? WideView() : written.substr(0, dot);
  const bool isAbsolute = dot != WideView::npos && MayBeRoot(head);
  const bool isRelative = !isAbsolute || (root_.empty() && record.FindItem(head) != nullptr);
  if (isRelative) Walker(records_, walk).Run(&record, path);
  if (!isAbsolute || !walk.ends.empty() || walk.isGivenUp) return walk;
  JSStructDesc* const root = records_.set().FindStruct(head);
  if (root == nullptr) {
    walk.trouble = "there is no record " + Quoted(head);
    return walk;
  }
  PathWalk absolute;
  Walker(records_, absolute).Run(root, path.substr(std::min(dot + 1, path.size())));
  return absolute;
}

PathWalk Paths::ToXml(JSStructDesc& record, const WideString& ref) const {
  return Walk(record, ref, true);
}

PathWalk Paths::FromXml(JSStructDesc& record, const WideString& ref) const {
  return Walk(record, ref, false);
}

}  // namespace sbx::tool::lint
