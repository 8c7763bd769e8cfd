// The exports' arguments, which are hostile until checked. An argument whose memory can't be read, or that is
// to be written and can't be, counts as a null pointer.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/format.h"
#include "base/wide_text.h"
#include "platform/memory_access.h"
#include "sbxml.h"

namespace sbx {

// SBXChar to the core's character type: the one place where the two meet.
inline const char16_t* ToWide(const SBXChar* text) noexcept {
  return reinterpret_cast<const char16_t*>(text);
}

// A zero-terminated text. Used where it lies, but for one at an odd address, which is copied.
class TextArgument {
 public:
  // May throw std::bad_alloc.
  explicit TextArgument(const SBXChar* text);
  TextArgument(const TextArgument&) = delete;
  TextArgument& operator=(const TextArgument&) = delete;

  bool isNullOrEmpty() const noexcept { return units_ == 0; }
  // Empty for a null argument.
  WideView view() const noexcept { return {text_ == nullptr ? u"" : text_, units_}; }
  // Zero-terminated; null for a null argument.
  const char16_t* c_str() const noexcept { return text_; }
  // As an argument of a message, which prints "(null)" for a null one.
  FormatArg forMessage() const noexcept { return text_ == nullptr ? FormatArg(text_) : FormatArg(view()); }

 private:
  WideString copy_;
  const char16_t* text_ = nullptr;
  std::size_t units_ = 0;
};

// Stores a result where the caller wants it: nothing, not even a part, if the argument is null or can't be
// written.
template <class Value>
void StoreResult(Value* argument, const Value& value) noexcept {
  if (argument == nullptr || !platform::IsWritable(argument, sizeof value)) return;
  platform::WriteMemory(argument, &value, sizeof value);
}

// A 32-bit number in and out.
class IntArgument {
 public:
  explicit IntArgument(std::int32_t* number) noexcept;

  bool isNull() const noexcept { return number_ == nullptr; }
  // As it was when the argument was taken.
  std::int32_t value() const noexcept { return value_; }
  void Store(std::int32_t value) const noexcept;

 private:
  std::int32_t* number_ = nullptr;
  std::int32_t value_ = 0;
};

}  // namespace sbx
