#include "platform/registry_export.h"

#include <algorithm>

#include "platform/narrow_text.h"

namespace sbx::platform {
namespace {

constexpr WideView kHeader = u"Windows Registry Editor Version 5.00";

// UTF-16 by its mark, or by the zero that one half of an ASCII letter is.
std::optional<WideString> Decode(std::string_view bytes) {
  const auto at = [&bytes](std::size_t i) {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 1u;
  };
  const bool hasMark = (at(0) == 0xFF && at(1) == 0xFE) || (at(0) == 0xFE && at(1) == 0xFF);
  const bool isBigEndian = (at(0) == 0xFE && at(1) == 0xFF) || at(0) == 0;
  if (hasMark || at(0) == 0 || at(1) == 0) {
    WideString text;
    for (std::size_t i = hasMark ? 2 : 0; i + 1 < bytes.size(); i += 2) {
      text.push_back(static_cast<char16_t>(isBigEndian ? at(i) << 8 | at(i + 1) : at(i + 1) << 8 | at(i)));
    }
    return text;
  }
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  return Widen(bytes, NarrowPage::kUtf8);
}

constexpr bool IsBlank(char16_t unit) noexcept {
  return unit == u' ' || unit == u'\t';
}

// Reads forward through an export's text.
class Reader {
 public:
  explicit Reader(WideView text) : text_(text) {}

  RegistryKeys ReadKeys() {
    while (!text_.empty()) ReadLine();
    return std::move(keys_);
  }

  bool SkipHeader() {
    SkipBlanks();
    return TakeLine().starts_with(kHeader);
  }

 private:
  void ReadLine() {
    SkipBlanks();
    if (text_.empty()) return;
    switch (text_.front()) {
      case u'[':
        ReadKey(TakeLine());
        break;
      case u'"':
      case u'@':
        ReadValue();
        break;
      default:
        TakeLine();
    }
  }

  void ReadKey(WideView line) {
    values_ = nullptr;
    const std::size_t end = line.rfind(u']');
    if (end == WideView::npos) return;
    WideView path = line.substr(1, end - 1);
    if (path.starts_with(u'-')) {
      RemoveKey(RegistryUpper(path.substr(1)));
      return;
    }
    const WideString upper = RegistryUpper(path);
    for (std::size_t at = upper.find(u'\\'); at != WideString::npos; at = upper.find(u'\\', at + 1)) {
      keys_[upper.substr(0, at)];
    }
    values_ = &keys_[upper];
  }

  void RemoveKey(const WideString& path) {
    const WideString below = path + u'\\';
    std::erase_if(keys_, [&](const auto& key) { return key.first == path || key.first.starts_with(below); });
  }

  void ReadValue() {
    WideString name;
    if (text_.front() == u'@') {
      text_.remove_prefix(1);
    } else if (!TakeQuoted(name)) {
      return;
    }
    SkipBlanks();
    if (!text_.starts_with(u'=')) {
      TakeLine();
      return;
    }
    text_.remove_prefix(1);
    SkipBlanks();
    std::optional<RegistryBytes> bytes = ReadData();
    if (values_ == nullptr) return;
    const WideString upper = RegistryUpper(name);
    if (bytes) {
      (*values_)[upper] = std::move(*bytes);
    } else if (isRemoval_) {
      values_->erase(upper);
    }
  }

  std::optional<RegistryBytes> ReadData() {
    isRemoval_ = false;
    if (text_.starts_with(u'"')) {
      WideString string;
      if (!TakeQuoted(string)) return {};
      TakeLine();
      return BytesOf(string);
    }
    const WideString line = TakeContinuedLine();
    isRemoval_ = WideView(line).starts_with(u'-');
    const std::size_t colon = line.find(u':');
    if (colon == WideString::npos) return {};
    const WideString kind = RegistryUpper(WideView(line).substr(0, colon));
    const WideView data = WideView(line).substr(colon + 1);
    if (kind == u"DWORD") return Dword(data);
    if (kind == u"HEX" || (kind.starts_with(u"HEX(") && kind.ends_with(u')'))) return Hex(data);
    return {};
  }

  // A text value with its terminating zero, as it is stored.
  static RegistryBytes BytesOf(const WideString& string) {
    RegistryBytes bytes;
    bytes.reserve(string.size() * 2 + 2);
    for (const char16_t unit : string) {
      bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
      bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    bytes.insert(bytes.end(), 2, 0);
    return bytes;
  }

  static int Digit(char16_t unit) noexcept {
    if (unit >= u'0' && unit <= u'9') return unit - u'0';
    const char16_t upper = AsciiUpper(unit);
    return upper >= u'A' && upper <= u'F' ? upper - u'A' + 10 : -1;
  }

  static std::optional<RegistryBytes> Dword(WideView data) {
    std::uint64_t number = 0;
    std::size_t digits = 0;
    while (digits < data.size() && Digit(data[digits]) >= 0) {
      number = number << 4 | static_cast<unsigned>(Digit(data[digits++]));
      if (number > 0xFFFFFFFF) return {};
    }
    if (digits == 0) return {};
    RegistryBytes bytes;
    for (int shift = 0; shift < 32; shift += 8)
      bytes.push_back(static_cast<std::uint8_t>(number >> shift & 0xFF));
    return bytes;
  }

  static std::optional<RegistryBytes> Hex(WideView data) {
    RegistryBytes bytes;
    std::size_t at = 0;
    while (at < data.size()) {
      if (IsBlank(data[at]) || data[at] == u',') {
        ++at;
        continue;
      }
      int byte = 0;
      int digits = 0;
      for (; at < data.size() && Digit(data[at]) >= 0; ++at, ++digits)
        byte = (byte << 4 | Digit(data[at])) & 0xFFF;
      if (digits == 0 || digits > 2) return {};
      bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    return bytes;
  }

  // The text between two quotes, where a backslash stands before a quote or another backslash. Line breaks
  // belong to it. False, with a line taken, if it has no end.
  bool TakeQuoted(WideString& out) {
    out.clear();
    for (std::size_t i = 1; i < text_.size(); ++i) {
      if (text_[i] == u'"') {
        text_.remove_prefix(i + 1);
        return true;
      }
      if (text_[i] == u'\\' && i + 1 < text_.size()) ++i;
      out.push_back(text_[i]);
    }
    TakeLine();
    return false;
  }

  WideView TakeLine() {
    const std::size_t end = std::min(text_.find_first_of(u"\r\n"), text_.size());
    const WideView line = text_.substr(0, end);
    text_.remove_prefix(end);
    while (!text_.empty() && (text_.front() == u'\r' || text_.front() == u'\n')) text_.remove_prefix(1);
    return line;
  }

  // A line and those that a backslash at the end joins to it.
  WideString TakeContinuedLine() {
    WideString joined;
    for (;;) {
      WideView line = TakeLine();
      while (!line.empty() && IsBlank(line.back())) line.remove_suffix(1);
      const bool goesOn = line.ends_with(u'\\');
      if (goesOn) line.remove_suffix(1);
      joined += line;
      if (!goesOn || text_.empty()) return joined;
    }
  }

  void SkipBlanks() {
    while (!text_.empty() && (IsBlank(text_.front()) || text_.front() == u'\r' || text_.front() == u'\n')) {
      text_.remove_prefix(1);
    }
  }

  WideView text_;
  RegistryKeys keys_;
  RegistryValues* values_ = nullptr;  // of the key under way; null: none
  bool isRemoval_ = false;            // the data read last asks for the value's removal
};

}  // namespace

WideString RegistryUpper(WideView text) {
  WideString upper(text);
  std::transform(upper.begin(), upper.end(), upper.begin(), AsciiUpper);
  return upper;
}

std::optional<RegistryKeys> ReadRegistryExport(std::string_view bytes) {
  const std::optional<WideString> text = Decode(bytes);
  if (!text) return {};
  Reader reader(*text);
  if (!reader.SkipHeader()) return {};
  return reader.ReadKeys();
}

}  // namespace sbx::platform
