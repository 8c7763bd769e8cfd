// The breakpoint block: which messages hold their thread, and which threads were held.
//
// Little-endian, UTF-16LE, text zero-terminated. Everything is read and written under the breakpoint mutex.
// A tool owns the entries and empties the hits; the logging processes fill hits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "platform/uuid.h"

namespace sbx {

inline constexpr std::size_t kBreakpointEntries = 100;
inline constexpr std::size_t kBreakpointHits = 10'000;

struct BREAKPOINT_ENTRY {      // 2612 bytes
  platform::Uuid id;           //   0  all zero: the entry is free
  unsigned char reserved[16];  //  16  the tool's
  std::uint32_t processId;     //  32  0: any
  std::uint32_t threadId;      //  36  0: any
  std::uint32_t enabled;       //  40  0: ignored
  char16_t processName[260];   //  44  the executable's file name, in any case
  char16_t text[1024];         // 564  looked for in the message
};

struct BREAKPOINT_HIT {         // 40 bytes
  platform::Uuid breakpointId;  //  0  all zero: the slot is free
  platform::Uuid hitId;         // 16
  std::uint32_t processId;      // 32
  std::uint32_t threadId;       // 36
};

struct BREAKPOINT_BLOCK {                        // 661,204 bytes
  std::uint32_t count;                           //       0  0: no breakpoints; otherwise all entries count
  BREAKPOINT_ENTRY entries[kBreakpointEntries];  //       4
  BREAKPOINT_HIT hits[kBreakpointHits];          // 261,204
};

static_assert(offsetof(BREAKPOINT_ENTRY, id) == 0 && sizeof(BREAKPOINT_ENTRY::id) == 16);
static_assert(offsetof(BREAKPOINT_ENTRY, reserved) == 16 && sizeof(BREAKPOINT_ENTRY::reserved) == 16);
static_assert(offsetof(BREAKPOINT_ENTRY, processId) == 32 && sizeof(BREAKPOINT_ENTRY::processId) == 4);
static_assert(offsetof(BREAKPOINT_ENTRY, threadId) == 36 && sizeof(BREAKPOINT_ENTRY::threadId) == 4);
static_assert(offsetof(BREAKPOINT_ENTRY, enabled) == 40 && sizeof(BREAKPOINT_ENTRY::enabled) == 4);
static_assert(offsetof(BREAKPOINT_ENTRY, processName) == 44 && sizeof(BREAKPOINT_ENTRY::processName) == 520);
static_assert(offsetof(BREAKPOINT_ENTRY, text) == 564 && sizeof(BREAKPOINT_ENTRY::text) == 2048);
static_assert(sizeof(BREAKPOINT_ENTRY) == 2612 && std::is_trivially_copyable_v<BREAKPOINT_ENTRY>);
static_assert(offsetof(BREAKPOINT_HIT, breakpointId) == 0 && offsetof(BREAKPOINT_HIT, hitId) == 16 &&
              offsetof(BREAKPOINT_HIT, processId) == 32 && offsetof(BREAKPOINT_HIT, threadId) == 36);
static_assert(sizeof(BREAKPOINT_HIT) == 40 && std::is_trivially_copyable_v<BREAKPOINT_HIT>);
static_assert(offsetof(BREAKPOINT_BLOCK, count) == 0 && offsetof(BREAKPOINT_BLOCK, entries) == 4 &&
              offsetof(BREAKPOINT_BLOCK, hits) == 261'204);
static_assert(sizeof(BREAKPOINT_BLOCK) == 661'204);

inline constexpr char16_t kBreakpointMutexName[] =
    u"Global\\3B66FDF6-4FBE-45F5-8A86-8915C3184D5B_MU_BREAKPOINTS";
inline constexpr char16_t kBreakpointBlockName[] =
    u"Global\\3B66FDF6-4FBE-45F5-8A86-8915C3184D5B_SM_BREAKPOINTS";
inline constexpr char16_t kBreakpointLocalBlockName[] =
    u"Local\\3B66FDF6-4FBE-45F5-8A86-8915C3184D5B_SM_BREAKPOINTS";
inline constexpr char16_t kBreakpointSignalName[] = u"Global\\3B66FDF6-4FBE-45F5-8A86-8915C3184D5B_EVENT";
// Followed by the hit's id in upper case.
inline constexpr char16_t kBreakpointReleaseName[] = u"Global\\BPHIT_EVENT_";

}  // namespace sbx
