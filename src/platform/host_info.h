// The machine, as the summary block of a log file tells it.
#pragma once

#include <cstdint>

#include "base/wide_text.h"

namespace sbx::platform {

// The machine's name, at most 127 units; empty if it can't be told.
WideString ComputerName();

struct OsVersion {
  std::int32_t major;  // -1 with minor -1: can't be told
  std::int32_t minor;
};
OsVersion GetOsVersion() noexcept;

// The native processor architecture in the numbering of the log's summary block: 0 is a 32-bit x86, 6 an
// Itanium, 9 an x86-64, 0xFFFF anything else.
std::uint32_t NativeProcessorArchitecture() noexcept;

}  // namespace sbx::platform
