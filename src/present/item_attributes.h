// The bracket language of an item's `restrict` text: `[name]` or `[name:text(number),text]`.
#pragma once

#include <cstdint>
#include <vector>

#include "base/wide_text.h"

namespace sbx {

// Texts borrow from the text that was parsed.
struct RestrictParam {
  WideView text = u"";  // NOLINT(readability-redundant-string-init): not null
  std::uint32_t value = 0;
  bool valueMissing = true;
};

struct RestrictCommand {
  WideView name;  // never empty
  std::vector<RestrictParam> params;
};

// Fills `commands` anew, in the order written. Text outside brackets and an unclosed last command are
// ignored; nothing is reported.
void ParseRestrict(WideView text, std::vector<RestrictCommand>& commands);

}  // namespace sbx
