#include "base/wide_text.h"

#include <algorithm>

namespace sbx {

bool EqualsIgnoringCase(WideView a, WideView b) noexcept {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char16_t x, char16_t y) {
           return AsciiUpper(x) == AsciiUpper(y);
         });
}

void CopyTruncated(char16_t* out, std::size_t capacity, WideView text) noexcept {
  if (capacity == 0) return;
  const std::size_t count = std::min(text.size(), capacity - 1);
  std::copy_n(text.data(), count, out);
  out[count] = u'\0';
}

}  // namespace sbx
