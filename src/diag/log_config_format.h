// The LOGCFG block: levels and log paths of a running process, which tools read and write.
//
// Little-endian, UTF-16LE, text zero-terminated. Read and written under the block's mutex; levels and flags
// may be read without it. Only a tool clears a flag or writes the global level.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace sbx {

inline constexpr std::uint32_t kLogConfigMagic = 0xE6E6;
inline constexpr std::size_t kLogConfigModules = 1024;
inline constexpr std::int32_t kNoLogLevel = -1;

struct LOGCFG_MODULE {  // 1160 bytes
  char16_t name[64];    //    0  empty: the record is free, and so are all behind it
  char16_t path[512];   //  128
  std::int32_t level;   // 1152  -1: none
  std::uint32_t flags;  // 1156
};
inline constexpr std::uint32_t kLogPathNotFixed = 1;   // global path and default apply
inline constexpr std::uint32_t kLogLevelNotFixed = 2;  // the global level applies
inline constexpr std::uint32_t kFreshRecordFlags = 1;
inline constexpr std::uint32_t kClaimedRecordFlags = 0xFFFF;

struct LOGCFG_BLOCK {                        // 1,188,876 bytes
  std::uint32_t headMagic;                   //         0
  char16_t globalPath[512];                  //         4  empty: none
  std::int32_t globalLevel;                  //      1028  -1: none
  LOGCFG_MODULE modules[kLogConfigModules];  //      1032
  std::uint32_t tailMagic;                   // 1,188,872
};

static_assert(offsetof(LOGCFG_MODULE, name) == 0 && sizeof(LOGCFG_MODULE::name) == 128);
static_assert(offsetof(LOGCFG_MODULE, path) == 128 && sizeof(LOGCFG_MODULE::path) == 1024);
static_assert(offsetof(LOGCFG_MODULE, level) == 1152 && sizeof(LOGCFG_MODULE::level) == 4);
static_assert(offsetof(LOGCFG_MODULE, flags) == 1156 && sizeof(LOGCFG_MODULE::flags) == 4);
static_assert(sizeof(LOGCFG_MODULE) == 1160 && std::is_trivially_copyable_v<LOGCFG_MODULE>);
static_assert(offsetof(LOGCFG_BLOCK, headMagic) == 0 && sizeof(LOGCFG_BLOCK::headMagic) == 4);
static_assert(offsetof(LOGCFG_BLOCK, globalPath) == 4 && sizeof(LOGCFG_BLOCK::globalPath) == 1024);
static_assert(offsetof(LOGCFG_BLOCK, globalLevel) == 1028 && sizeof(LOGCFG_BLOCK::globalLevel) == 4);
static_assert(offsetof(LOGCFG_BLOCK, modules) == 1032 && sizeof(LOGCFG_BLOCK::modules) == 1'187'840);
static_assert(offsetof(LOGCFG_BLOCK, tailMagic) == 1'188'872 && sizeof(LOGCFG_BLOCK::tailMagic) == 4);
static_assert(sizeof(LOGCFG_BLOCK) == 1'188'876 && std::is_trivially_copyable_v<LOGCFG_BLOCK>);

// Names of the objects of one process; %d takes its id.
inline constexpr char16_t kLogConfigMutexName[] =
    u"Global\\LOGCFG_MUTEX_NAME_C8AAE32A-9619-4685-B766-F003823BEEE3_%d";
inline constexpr char16_t kLogConfigBlockName[] =
    u"Global\\LOGCFG_SM_NAME_C8AAE32A-9619-4685-B766-F003823BEEE3_%d";
inline constexpr char16_t kLogConfigLocalBlockName[] =
    u"Local\\LOGCFG_SM_NAME_C8AAE32A-9619-4685-B766-F003823BEEE3_%d";

}  // namespace sbx
