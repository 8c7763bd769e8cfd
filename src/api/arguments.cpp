#include "api/arguments.h"

#include <algorithm>
#include <optional>

namespace sbx {
namespace {

// The units before the zero of the text at an address, at whatever alignment; nothing if memory ends first.
std::optional<std::size_t> MeasureText(std::uintptr_t address) noexcept {
  char16_t window[platform::kPageBytes / sizeof(char16_t)];
  for (std::size_t units = 0;;) {
    // Up to the next page: what lies behind the text's zero need not be readable. One unit may cross.
    const std::uintptr_t at = address + units * sizeof(char16_t);
    const std::size_t inPage = platform::kPageBytes - at % platform::kPageBytes;
    const std::size_t bytes = std::max(inPage & ~std::size_t{1}, sizeof(char16_t));
    if (platform::ReadMemory(at, window, bytes) != bytes) return std::nullopt;
    const char16_t* const end = window + bytes / sizeof(char16_t);
    const char16_t* const zero = std::find<const char16_t*>(window, end, u'\0');
    units += static_cast<std::size_t>(zero - window);
    if (zero != end) return units;
  }
}

}  // namespace

TextArgument::TextArgument(const SBXChar* text) {
  const auto address = reinterpret_cast<std::uintptr_t>(text);
  if (text == nullptr) return;
  const auto units = MeasureText(address);
  if (!units) return;
  if (address % alignof(char16_t) == 0) {
    text_ = ToWide(text);
  } else {
    copy_.resize(*units);
    const std::size_t bytes = *units * sizeof(char16_t);
    if (platform::ReadMemory(address, copy_.data(), bytes) != bytes) return;
    text_ = copy_.c_str();
  }
  units_ = *units;
}

IntArgument::IntArgument(std::int32_t* number) noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(number);
  if (number == nullptr || platform::ReadMemory(address, &value_, sizeof value_) != sizeof value_) return;
  if (platform::IsWritable(number, sizeof *number)) number_ = number;
}

void IntArgument::Store(std::int32_t value) const noexcept {
  platform::WriteMemory(number_, &value, sizeof value);
}

}  // namespace sbx
