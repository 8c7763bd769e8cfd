// The hash of all tables of names.
//
// Names come from documents of anyone's making. The hash is keyed with numbers that differ from one process
// to the next, so that nobody can write names that all meet in one place of a table.
#pragma once

#include <cstdint>

#include "base/wide_text.h"

namespace sbx {

// The same for equal names throughout the process. Any number of threads may ask.
std::uint64_t HashName(WideView name) noexcept;

}  // namespace sbx
