// What the reader makes of a number's text, and what it drops on the way.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "base/wide_text.h"
#include "desc/primary_types.h"

namespace sbx::tool {

struct NumberReading {
  enum class Loss { kNone, kEmpty, kNoNumber, kBehind, kCut };

  Loss loss = Loss::kNone;
  WideString number;  // the piece that is read
  WideString behind;  // for kBehind: what is dropped, presentation text in parentheses apart
};

// The pieces that the reader cuts an array's text into: blanks part them, and the piece with the first "("
// ends there. Those behind it are pieces like any other.
std::vector<WideView> TokensOf(WideView text);

// `text` is all of an element's text for a scalar, or one token of an array's.
NumberReading ReadNumber(const PrimaryType& type, WideView text);

// The value that the reader stores for a text, as its own text.
std::string StoredValue(const PrimaryType& type, WideView text);

// Whether the reader stores the same bytes for both.
bool StoresTheSame(const PrimaryType& type, WideView a, WideView b);

// A scalar in memory as text; `address` holds as many bytes as the type says.
std::string ValueText(const PrimaryType& type, const std::byte* address);

}  // namespace sbx::tool
