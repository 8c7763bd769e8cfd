// What the log asks of the machine: which products of the family are installed, under which of them this
// module lies, which version they have.
//
// All answers come afresh from the registry or the system. Safe on any thread. May throw std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/wide_text.h"
#include "platform/host_info.h"
#include "platform/registry.h"

namespace sbx {

// A kind of product. In the install flags these are bits; there, update manager means that either product is
// installed.
inline constexpr std::uint32_t PRODUCT_NONE = 0;
inline constexpr std::uint32_t PRODUCT_ENGINE = 1;
inline constexpr std::uint32_t PRODUCT_MANAGEMENT = 2;
inline constexpr std::uint32_t PRODUCT_UPDATE_MANAGER = 4;
inline constexpr std::uint32_t PRODUCT_WINPE = 8;  // a pre-installation environment

// Units of a path with its zero.
inline constexpr std::size_t kLogPathUnits = 512;

namespace LOGUTILS {

// A registry key for the length of one access.
class CRegistry {
 public:
  virtual ~CRegistry() = default;
  platform::RegistryKey key;
};

// The machine's description; the summary block shows the architecture.
class CSysInfo {
 public:
  CSysInfo() noexcept : processorArchitecture(platform::NativeProcessorArchitecture()) {}
  virtual ~CSysInfo() = default;
  std::uint32_t processorArchitecture;
};

// The system's version, -1.-1 if it isn't valid.
class CWinVer {
 public:
  CWinVer() noexcept : version(platform::GetOsVersion()), valid(version.major >= 0) {}
  virtual ~CWinVer() = default;
  platform::OsVersion version;
  bool valid;
};

}  // namespace LOGUTILS

// 1 or 0.
int IsPreInstallEnvironment();

// The install flags: 0, 5, 6, 7 or 8.
std::uint32_t DetectInstall();

// The kind under whose root the own module lies, 8 in a pre-installation environment, or 0. A root that is a
// mere prefix of the folder's name counts.
std::uint32_t GetProductKind();

// The product's key. 0; 87 for a kind without a key; 122 if the text doesn't fit into `units` with its zero.
std::uint32_t GetProductKeyPath(std::uint32_t kind, char16_t* buffer, std::size_t units);

// The product's folder; empty if there is none or it has 512 units or more.
WideString GetProductRoot(std::uint32_t kind);

// 0, 1168 if no version was found, or the status of the key's opening. A number that isn't found stays as it
// was.
std::uint32_t GetProductVersion(std::uint32_t kind, std::int32_t* major, std::int32_t* minor,
                                std::int32_t* update);

// The full path of the module that holds this code, at most 511 units.
WideString GetOwnModulePath();
// The module's file name. A name of `units` or more leaves the buffer as it was.
void GetOwnModuleName(char16_t* buffer, std::size_t units);

// Reads a value under HKEY_LOCAL_MACHINE, whatever its type. On failure the status comes back and `*out`
// stays.
std::uint32_t ReadRegistryDword(const WideString& key, const WideString& value, std::uint32_t* out);
std::uint32_t ReadRegistryString(const WideString& key, const WideString& value, WideString* out);

// Cut at each separator, without the empty pieces in front of one. What follows the last separator is the
// last piece, empty or not.
std::vector<WideString> SplitOnSpaces(WideView text);
std::vector<WideString> SplitOnDots(WideView text);

// What follows the last separator of a path; the whole if there is none.
WideView FileNameOf(WideView path) noexcept;
// Whether the text begins with the prefix, ignoring case.
bool BeginsWithIgnoringCase(WideView text, WideView prefix) noexcept;

}  // namespace sbx
