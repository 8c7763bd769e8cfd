// Unique identifiers, in the byte layout of the breakpoint block.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "base/wide_text.h"

namespace sbx::platform {

// The first three groups of the text form are little-endian numbers in memory, the rest plain bytes.
struct Uuid {
  std::array<std::uint8_t, 16> bytes;

  bool IsNil() const noexcept { return *this == Uuid{}; }
  bool operator==(const Uuid&) const noexcept = default;
};
static_assert(sizeof(Uuid) == 16);

// A new random identifier, never nil. Nothing if the system has no randomness to give.
std::optional<Uuid> NewUuid() noexcept;

// 36 characters in lower case, without braces.
WideString UuidToText(const Uuid& id);

}  // namespace sbx::platform
