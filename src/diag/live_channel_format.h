// The live message block: a ring of the last 1024 messages of all processes of one executable name.
//
// Little-endian, UTF-16LE, text zero-terminated. Everything is read and written under the channel mutex. The
// writers own the write index, the one reader owns the read index.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "platform/wall_clock.h"

namespace sbx {

inline constexpr std::size_t kLiveSlots = 1024;

struct LOG_SM_HEADER {          // 512 bytes
  std::int64_t readIndex;       //  0  number of the last record taken by the reader, -1 at first
  std::int64_t writeIndex;      //  8  number of the last record written, -1 at first
  unsigned char reserved[496];  // 16  zero
};

struct LOG_SM_RECORD {        // 2592 bytes
  char16_t processName[128];  //   0  the executable's file name in upper case
  char16_t moduleName[128];   // 256  zeros if none
  platform::SystemTime time;  // 512  local time
  std::uint32_t errorCode;    // 528
  std::int32_t level;         // 532
  std::uint32_t processId;    // 536
  std::uint32_t threadId;     // 540
  char16_t message[1024];     // 544
};

// Record number n lies in slot n modulo 1024.
struct LOG_SM_BLOCK {               // 2,654,720 bytes
  LOG_SM_HEADER header;             //   0
  LOG_SM_RECORD slots[kLiveSlots];  // 512
};

static_assert(sizeof(platform::SystemTime) == 16);
static_assert(offsetof(LOG_SM_HEADER, readIndex) == 0 && sizeof(LOG_SM_HEADER::readIndex) == 8);
static_assert(offsetof(LOG_SM_HEADER, writeIndex) == 8 && sizeof(LOG_SM_HEADER::writeIndex) == 8);
static_assert(offsetof(LOG_SM_HEADER, reserved) == 16 && sizeof(LOG_SM_HEADER::reserved) == 496);
static_assert(sizeof(LOG_SM_HEADER) == 512);
static_assert(offsetof(LOG_SM_RECORD, processName) == 0 && sizeof(LOG_SM_RECORD::processName) == 256);
static_assert(offsetof(LOG_SM_RECORD, moduleName) == 256 && sizeof(LOG_SM_RECORD::moduleName) == 256);
static_assert(offsetof(LOG_SM_RECORD, time) == 512 && sizeof(LOG_SM_RECORD::time) == 16);
static_assert(offsetof(LOG_SM_RECORD, errorCode) == 528 && sizeof(LOG_SM_RECORD::errorCode) == 4);
static_assert(offsetof(LOG_SM_RECORD, level) == 532 && sizeof(LOG_SM_RECORD::level) == 4);
static_assert(offsetof(LOG_SM_RECORD, processId) == 536 && sizeof(LOG_SM_RECORD::processId) == 4);
static_assert(offsetof(LOG_SM_RECORD, threadId) == 540 && sizeof(LOG_SM_RECORD::threadId) == 4);
static_assert(offsetof(LOG_SM_RECORD, message) == 544 && sizeof(LOG_SM_RECORD::message) == 2048);
static_assert(sizeof(LOG_SM_RECORD) == 2592 && std::is_trivially_copyable_v<LOG_SM_RECORD>);
static_assert(offsetof(LOG_SM_BLOCK, slots) == 512 && sizeof(LOG_SM_BLOCK) == 2'654'720);

// The slot of a record; 1024 divides 2^64, so any number has one.
constexpr std::size_t SlotOf(std::int64_t number) noexcept {
  return static_cast<std::size_t>(static_cast<std::uint64_t>(number) % kLiveSlots);
}

// The event whose existence turns the channel on, for all processes.
inline constexpr char16_t kLogSwitchName[] = u"Global\\EVENT_9CF42DA4-ACD1-4F3F-8D6F-31023974A079";
// Followed by the executable's file name in upper case.
inline constexpr char16_t kLiveEventName[] = u"Global\\CB6AF056-4138-4342-BE43-B4B37843FE36_EVENT_";
inline constexpr char16_t kLiveMutexName[] = u"Global\\CB6AF056-4138-4342-BE43-B4B37843FE36_MUTEXT_";
inline constexpr char16_t kLiveBlockName[] = u"Global\\CB6AF056-4138-4342-BE43-B4B37843FE36_SM_";
inline constexpr char16_t kLiveLocalBlockName[] = u"Local\\CB6AF056-4138-4342-BE43-B4B37843FE36_SM_";

}  // namespace sbx
