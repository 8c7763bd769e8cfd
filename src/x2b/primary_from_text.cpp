#include "x2b/primary_from_text.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "base/numbers.h"
#include "diag/dbg_log_facade.h"
#include "platform/narrow_text.h"

namespace sbx {
namespace {

// Units of a number that are looked at; a longer one is cut without a report.
constexpr std::size_t kNumberUnits = 127;

template <class Value>
void Store(std::byte* target, Value value) noexcept {
  std::memcpy(target, &value, sizeof value);
}

Status StoreBlock(JSHandle& handle, std::uint64_t size, const void* bytes, std::size_t count,
                  std::byte* target) noexcept {
  void* const block = AddBlock(handle, size);
  if (block == nullptr) return kMemory;
  if (count != 0) std::memcpy(block, bytes, count);
  Store(target, block);
  return kOk;
}

// A copy ends at the first zero, as the block's own text does.
WideView UpToZero(WideView text) noexcept {
  return text.substr(0, text.find(u'\0'));
}

Status StoreWideString(WideView text, std::byte* target, JSHandle& handle) noexcept {
  const WideView copied = UpToZero(text);
  return StoreBlock(handle, std::uint64_t{text.size()} * 2 + 2, copied.data(),
                    copied.size() * sizeof(char16_t), target);
}

// Four bytes a unit are room for any narrow page. A text that the page refuses leaves an empty string.
Status StoreNarrowString(WideView text, std::byte* target, JSHandle& handle) {
  const std::string narrow =
      platform::Narrow(UpToZero(text), platform::NarrowPage::kAnsi).value_or(std::string());
  const std::uint64_t size = std::uint64_t{text.size()} * 4 + 4;
  return StoreBlock(handle, size, narrow.data(), std::min<std::uint64_t>(narrow.size(), size - 1), target);
}

// The number's own units: leading blanks and tabs go, and all from the first blank, tab or "(" on.
WideView NumberText(WideView text) noexcept {
  text.remove_prefix(std::min(text.find_first_not_of(u" \t"), text.size()));
  text = text.substr(0, kNumberUnits);
  return text.substr(0, text.find_first_of(WideView(u" \t(\0", 4)));
}

std::uint64_t ReadInteger(WideView number) noexcept {
  if (number.size() >= 2 && number[0] == u'0' && (number[1] == u'x' || number[1] == u'X')) {
    return ScanHex64(number.substr(2));
  }
  if (!number.empty() && number[0] == u'-') return 0 - ScanUint64(number.substr(1));
  return static_cast<std::uint64_t>(ScanInt64(number));
}

}  // namespace

void StoreScalar(const PrimaryType& type, WideView text, std::byte* target) {
  const WideView number = NumberText(text);
  if (type.name == u"float") return Store(target, static_cast<float>(ReadDouble(number)));
  if (type.name == u"double") return Store(target, ReadDouble(number));
  const std::uint64_t value = ReadInteger(number);
  if (type.name == u"bool") return Store(target, static_cast<std::uint8_t>(value != 0 ? 1 : 0));
  switch (type.size) {
    case 1:
      return Store(target, static_cast<std::uint8_t>(value));
    case 2:
      return Store(target, static_cast<std::uint16_t>(value));
    case 4:
      return Store(target, static_cast<std::uint32_t>(value));
    default:
      return Store(target, value);
  }
}

Status PrimaryFromText(WideView typeName, WideView text, std::byte* target, std::int64_t size,
                       JSHandle& handle) {
  const PrimaryType* const type = FindPrimaryType(typeName);
  if (size < 1 || type == nullptr || type->size != size) {
    g_DBGLog.Printf(0, u"Invalid parameters for serialing primary to buffer.");
    return kParameter;
  }
  if (type->name == u"wchar_t*") return StoreWideString(text, target, handle);
  if (type->name == u"char*") return StoreNarrowString(text, target, handle);
  if (!text.empty()) StoreScalar(*type, text, target);
  return kOk;
}

}  // namespace sbx
