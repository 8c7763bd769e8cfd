// The texts of a log line, alike in files and in what a tool prints of the live channel.
#pragma once

#include <cstdint>

#include "base/format.h"
#include "platform/wall_clock.h"

namespace sbx {

// "year/month/day hour:minute:second:millisecond".
Message TimeText(const platform::SystemTime& time) noexcept;

// What stands before the message; an error code of 0 leaves its place blank.
Message LinePrefix(const platform::SystemTime& time, std::int32_t level, std::uint32_t processId,
                   std::uint32_t threadId, std::uint32_t errorCode) noexcept;

}  // namespace sbx
