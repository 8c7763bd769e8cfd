// Whether a rule's condition means the same in both directions: a number in memory, a text in XML.
#pragma once

#include "sbxml/lint/paths.h"

namespace sbx::tool::lint {

class Conditions {
 public:
  Conditions(Records& records, Findings& findings) : records_(records), findings_(findings) {}

  // `toXml` is where the number is read, `fromXml` where the text stands; both lead somewhere.
  void Check(const Rule& rule, const PathWalk& toXml, const PathWalk& fromXml);

 private:
  void CheckEqual(const Rule& rule, const PathWalk& toXml, const PathWalk& fromXml);
  void CheckBits(const Rule& rule, const PathWalk& toXml, const PathWalk& fromXml);
  void CheckAny(const Rule& rule);
  void Tell(Id id, const Rule& rule, const std::string& message);

  Records& records_;
  Findings& findings_;
};

}  // namespace sbx::tool::lint
