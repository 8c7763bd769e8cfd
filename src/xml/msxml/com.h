// The few things of COM that the realisation needs: counted pointers and owned strings.
#pragma once

#include <cstddef>
#include <new>
#include <objbase.h>
#include <oleauto.h>
#include <utility>

#include "base/wide_text.h"

namespace sbx::xml::msxml {

static_assert(sizeof(wchar_t) == sizeof(char16_t), "the component's text is UTF-16");

// Whether a call succeeded; memory refused is no failure of its own but std::bad_alloc, as everywhere.
inline bool Succeeded(HRESULT result) {
  if (result == E_OUTOFMEMORY) throw std::bad_alloc();
  return SUCCEEDED(result);
}

// One reference, released once.
template <class Interface>
class ComPtr {
 public:
  ComPtr() noexcept = default;
  explicit ComPtr(Interface* counted) noexcept : pointer_(counted) {}
  ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }
  ~ComPtr() {
    if (pointer_ != nullptr) pointer_->Release();
  }

  explicit operator bool() const noexcept { return pointer_ != nullptr; }
  Interface* operator->() const noexcept { return pointer_; }
  Interface* get() const noexcept { return pointer_; }
  Interface* Detach() noexcept { return std::exchange(pointer_, nullptr); }
  // For a call that stores a counted reference; what was held is released first.
  Interface** Out() noexcept {
    if (pointer_ != nullptr) std::exchange(pointer_, nullptr)->Release();
    return &pointer_;
  }
  void** OutVoid() noexcept { return reinterpret_cast<void**>(Out()); }

 private:
  Interface* pointer_ = nullptr;
};

// A string of the component, freed once.
class Bstr {
 public:
  Bstr() noexcept = default;
  explicit Bstr(WideView text) : string_(Allocate(text)) {}
  Bstr(Bstr&& other) noexcept : string_(std::exchange(other.string_, nullptr)) {}
  Bstr& operator=(Bstr other) noexcept {
    std::swap(string_, other.string_);
    return *this;
  }
  ~Bstr() { SysFreeString(string_); }

  explicit operator bool() const noexcept { return string_ != nullptr; }
  BSTR get() const noexcept { return string_; }
  BSTR Detach() noexcept { return std::exchange(string_, nullptr); }
  WideView view() const noexcept {
    return {reinterpret_cast<const char16_t*>(string_), SysStringLen(string_)};
  }
  BSTR* Out() noexcept {
    SysFreeString(std::exchange(string_, nullptr));
    return &string_;
  }

 private:
  static BSTR Allocate(WideView text) {
    if (text.size() > kMostUnits) throw std::bad_alloc();
    const auto* const units = reinterpret_cast<const wchar_t*>(text.data());
    const BSTR string = SysAllocStringLen(text.empty() ? L"" : units, static_cast<UINT>(text.size()));
    if (string == nullptr) throw std::bad_alloc();
    return string;
  }

  // A string's byte count with its frame stays within 31 bits.
  static constexpr std::size_t kMostUnits = 0x3FFFFFF0;
  BSTR string_ = nullptr;
};

// A variant that holds a string, or nothing yet.
class Variant {
 public:
  Variant() noexcept { VariantInit(&value_); }
  explicit Variant(WideView text) : Variant() {
    V_BSTR(&value_) = Bstr(text).Detach();
    V_VT(&value_) = VT_BSTR;
  }
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  ~Variant() { VariantClear(&value_); }

  const VARIANT& value() const noexcept { return value_; }
  VARIANT* Out() noexcept {
    VariantClear(&value_);
    return &value_;
  }
  bool HoldsString() const noexcept { return V_VT(&value_) == VT_BSTR && V_BSTR(&value_) != nullptr; }
  WideView view() const noexcept {
    return {reinterpret_cast<const char16_t*>(V_BSTR(&value_)), SysStringLen(V_BSTR(&value_))};
  }

 private:
  VARIANT value_;
};

}  // namespace sbx::xml::msxml
