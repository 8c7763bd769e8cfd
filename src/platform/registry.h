// The machine's configuration: keys under HKEY_LOCAL_MACHINE, read only.
//
// Off Windows they stand in a text file in the registry editor's export form, `$SBXML_REGISTRY` or else
// /etc/vaultmere/registry.reg, which is read afresh at each opening of a key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/wide_text.h"

namespace sbx::platform {

// Status numbers, in the numbering of the Windows build everywhere.
inline constexpr std::uint32_t kStatusSuccess = 0;
inline constexpr std::uint32_t kStatusFileNotFound = 2;  // no such key or value
inline constexpr std::uint32_t kStatusNotEnoughMemory = 8;
inline constexpr std::uint32_t kStatusInvalidParameter = 87;
inline constexpr std::uint32_t kStatusInsufficientBuffer = 122;
inline constexpr std::uint32_t kStatusMoreData = 234;
inline constexpr std::uint32_t kStatusNotFound = 1168;

// An open key. Not thread-safe.
class RegistryKey {
 public:
  RegistryKey() noexcept;
  ~RegistryKey();
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;

  // Opens a key by its path, separated by backslashes, ignoring case. May throw std::bad_alloc.
  std::uint32_t Open(const WideString& path);
  void Close() noexcept;

  // Reads a value's bytes, whatever its type; names ignore case. `*size` holds the room on entry and the
  // stored byte count on success and on kStatusMoreData, when `out` holds nothing of use. A null `out` asks
  // for the count alone. No terminator is added.
  std::uint32_t Query(const WideString& value, void* out, std::size_t* size) noexcept;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace sbx::platform
