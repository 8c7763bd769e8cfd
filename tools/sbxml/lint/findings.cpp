#include "sbxml/lint/findings.h"

#include <algorithm>
#include <utility>

#include "sbxml/text.h"

namespace sbx::tool::lint {
namespace {

// One long name must not make each of many findings long.
std::string Shortened(WideView text) {
  constexpr std::size_t kShownUnits = 200;
  return ToUtf8(text.substr(0, kShownUnits)) + (text.size() > kShownUnits ? "..." : "");
}

}  // namespace

void Findings::Add(Id id, SourcePosition position, std::string message, const Subject& subject) {
  Diagnostic finding;
  finding.id = id;
  finding.place = source_.At(position);
  finding.message = std::move(message);
  if (subject.record != nullptr) {
    finding.record = Shortened(subject.record->name);
    finding.path = finding.record;
  }
  if (subject.item != nullptr) {
    finding.item = Shortened(subject.item->name);
    finding.type = Shortened(subject.item->type());
    finding.offset = subject.item->offset;
  } else {
    finding.item = Shortened(subject.itemName);
  }
  if (!finding.item.empty()) finding.path += "/" + finding.item;
  found_.push_back(std::move(finding));
}

std::vector<Diagnostic> Findings::Take() {
  std::stable_sort(found_.begin(), found_.end(), [](const Diagnostic& a, const Diagnostic& b) {
    return std::pair(a.place.line, a.place.column) < std::pair(b.place.line, b.place.column);
  });
  return std::exchange(found_, {});
}

}  // namespace sbx::tool::lint
