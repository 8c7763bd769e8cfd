#include "present/item_attributes.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "rules/number_text.h"

namespace sbx {
namespace {

constexpr std::size_t kNone = WideView::npos;

// The units from first to last, both included, without blanks at the ends; a `last` of -1 is kNone. Both ends
// step at once, so an odd run of nothing but blanks leaves the one in its middle.
WideView TrimRange(WideView text, std::size_t first, std::size_t last) noexcept {
  if (last >= text.size()) return u"";
  while (first < last && (text[first] == u' ' || text[last] == u' ')) {
    const bool blankFirst = text[first] == u' ';
    const bool blankLast = text[last] == u' ';
    if (blankFirst) ++first;
    if (blankLast) --last;
  }
  return first <= last ? text.substr(first, last - first + 1) : WideView(u"");
}

// The first colon from start to end, both included.
std::size_t FindColon(WideView text, std::size_t start, std::size_t end) noexcept {
  if (start >= end || end >= text.size()) return kNone;
  const std::size_t colon = text.substr(start, end - start + 1).find(u':');
  return colon == kNone ? kNone : start + colon;
}

RestrictParam ParseParam(WideView token) noexcept {
  RestrictParam param;
  const std::size_t open = token.find(u'(');
  if (open == kNone) {
    param.text = TrimRange(token, 0, token.size() - 1);
    return param;
  }
  param.text = TrimRange(token, 0, open - 1);
  const std::size_t close = token.find(u')', open);
  if (close == kNone) return param;
  if (const WideView number = TrimRange(token, open + 1, close - 1); !number.empty()) {
    param.value = ParseNumberText(number);
    param.valueMissing = false;
  }
  return param;
}

// A parameter of a single unit is dropped, whatever it is.
void ParseParams(WideView body, std::vector<RestrictParam>& params) {
  for (std::size_t at = 0; at < body.size();) {
    const std::size_t comma = std::min(body.find(u',', at), body.size());
    const WideView token = TrimRange(body, at, comma - 1);
    if (token.size() >= 2) params.push_back(ParseParam(token));
    at = comma + 1;
  }
}

}  // namespace

void ParseRestrict(WideView text, std::vector<RestrictCommand>& commands) {
  commands.clear();
  for (std::size_t open = text.find(u'['); open != kNone;) {
    const std::size_t close = text.find(u']', open);
    if (close == kNone) return;
    const std::size_t colon = FindColon(text, open, close);
    const std::size_t nameEnd = colon == kNone ? close : colon;
    RestrictCommand command;
    command.name = TrimRange(text, open + 1, nameEnd - 1);
    if (!command.name.empty()) {
      if (colon != kNone) ParseParams(TrimRange(text, colon + 1, close - 1), command.params);
      commands.push_back(std::move(command));
    }
    open = text.find(u'[', close);
  }
}

}  // namespace sbx
