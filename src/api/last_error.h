// The text of the last reported failure: one slot for the process, where the last writer wins and which
// success does not clear.
//
// Readers take no conversion lock, so the slot is guarded by itself: nobody sees half a text.
#pragma once

#include <cstdint>

#include "base/format.h"
#include "base/result_codes.h"
#include "base/wide_text.h"

namespace sbx {

// Puts text into the slot as it stands, cut to its size; an empty text empties the slot.
void StoreLastErrorText(WideView text) noexcept;

// Formats into the slot; a null format does nothing. The code is accepted and ignored.
template <class... Args>
void SetLastErrorText(Status /*code*/, WideView format, const Args&... args) noexcept {
  if (format.data() != nullptr) StoreLastErrorText(Message(format, args...).view());
}

// Around a fork: holds the slot still, so that the child finds it whole.
void HoldLastErrorText() noexcept;
void ReleaseLastErrorText() noexcept;

// Copies the slot, its zero included. `out` holds kLastErrorUnits units. Returns the units before the zero.
std::size_t CopyLastErrorText(char16_t* out) noexcept;

}  // namespace sbx
