// The files behind named objects off Windows, as docs/named-objects.md tells them. Native byte order: the
// processes share one machine.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sbx::platform {

inline constexpr std::uint64_t kObjectMagic = 0x314A424F4C4D5853;  // "SXMLOBJ1"
inline constexpr std::uint32_t kObjectVersion = 1;
inline constexpr std::size_t kObjectHeaderBytes = 4096;  // a block's memory begins behind them
inline constexpr std::size_t kMutexBytes = 64;
inline constexpr std::size_t kMaxNameUnits = 1024;

enum class ObjectKind : std::uint32_t { kMutex = 1, kEvent = 2, kBlock = 3 };

// The first page of an object's file. All but the kind's own state is written before the file gets its name
// and never changes.
struct ObjectHeader {
  std::uint64_t magic;       //    0  kObjectMagic
  std::uint32_t version;     //    8  kObjectVersion
  std::uint32_t kind;        //   12  ObjectKind
  std::uint64_t blockBytes;  //   16  a block's memory behind this page; 0 for the other kinds
  std::uint32_t mutexBytes;  //   24  size of the platform's mutex; 0 for the other kinds
  std::uint32_t eventMode;   //   28  1: manual reset
  std::uint32_t eventState;  //   32  1: signalled; waited for as a futex
  std::uint32_t reserved0[7];
  alignas(64) unsigned char mutex[kMutexBytes];  //   64  a process-shared, robust, recursive pthread mutex
  std::uint32_t nameUnits;                       //  128  length of the name
  std::uint32_t reserved1[31];
  char16_t name[kMaxNameUnits];   //  256  the name, exactly
  unsigned char reserved2[1792];  // 2304
};
static_assert(offsetof(ObjectHeader, kind) == 12 && offsetof(ObjectHeader, blockBytes) == 16 &&
              offsetof(ObjectHeader, mutexBytes) == 24 && offsetof(ObjectHeader, eventMode) == 28 &&
              offsetof(ObjectHeader, eventState) == 32 && offsetof(ObjectHeader, mutex) == 64 &&
              offsetof(ObjectHeader, nameUnits) == 128 && offsetof(ObjectHeader, name) == 256 &&
              offsetof(ObjectHeader, reserved2) == 2304);
static_assert(sizeof(ObjectHeader) == kObjectHeaderBytes);

// The folder's generation file: one counter, added to after each change of the folder.
struct GenerationPage {
  std::uint64_t magic;       // 0  kGenerationMagic
  std::uint32_t generation;  // 8
  std::uint32_t reserved;
};
inline constexpr std::uint64_t kGenerationMagic = 0x314E45474C4D5853;  // "SXMLGEN1"
inline constexpr std::size_t kGenerationBytes = 4096;
static_assert(offsetof(GenerationPage, generation) == 8 && sizeof(GenerationPage) == 16);

}  // namespace sbx::platform
