#include "sbxlog/message_filter.h"

#include <algorithm>

#include "sbxml/text.h"

namespace sbx::tool {

MessageFilter::MessageFilter(const FilterOptions& options)
    : level_(options.level), processIds_(options.processIds) {
  for (const std::string& text : options.texts) texts_.push_back(ToWide(text));
}

bool MessageFilter::Admits(std::int32_t level, std::uint32_t processId, WideView text) const {
  if (level_ && level > *level_) return false;
  const bool isOfProcess = processIds_.empty() ||
                           std::find(processIds_.begin(), processIds_.end(), processId) != processIds_.end();
  return isOfProcess && (texts_.empty() || std::any_of(texts_.begin(), texts_.end(), [&](const auto& each) {
                           return text.find(each) != WideView::npos;
                         }));
}

}  // namespace sbx::tool
