// Value paths, walked through descriptions alone: where can a path lead, whatever a job script holds?
#pragma once

#include <string>
#include <vector>

#include "sbxml/lint/model.h"

namespace sbx::tool::lint {

struct PathEnd {
  const JSStructDesc* record;
  const JSStructItemDesc* item;
};

struct PathWalk {
  bool overflows = false;  // it goes up further than its own segments
  bool isGivenUp = false;  // too many ways to go on: nothing is known of it
  std::string trouble;     // why it leads nowhere, in words; empty where it leads somewhere
  std::vector<PathEnd> ends;
  // Items on the way, null for none.
  const JSStructItemDesc* array = nullptr;        // only its first entry is looked at
  const JSStructItemDesc* twoPointers = nullptr;  // only one of its pointers is followed
};

class Paths {
 public:
  // `root` is the root record's name; empty where it is not known, and any record may be the root.
  Paths(Records& records, WideString root) : records_(records), root_(std::move(root)) {}

  // From a record in hand, on the way to XML and on the way back. They differ for some paths with "..\".
  PathWalk ToXml(JSStructDesc& record, const WideString& ref) const;
  PathWalk FromXml(JSStructDesc& record, const WideString& ref) const;

 private:
  PathWalk Walk(JSStructDesc& record, const WideString& ref, bool isToXml) const;
  bool MayBeRoot(WideView head) const;

  Records& records_;
  WideString root_;
};

}  // namespace sbx::tool::lint
