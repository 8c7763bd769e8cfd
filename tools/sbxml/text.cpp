#include "sbxml/text.h"

#include <algorithm>

#include "platform/narrow_text.h"

namespace sbx::tool {
namespace {

constexpr std::size_t kShownUnits = 60;
constexpr std::size_t kPathEnds = 200;  // characters kept at either end of a long path

bool IsInsideCharacter(char byte) noexcept {
  return (byte & 0xC0) == 0x80;
}

}  // namespace

std::string ToUtf8(WideView text) {
  return platform::Narrow(text, platform::NarrowPage::kUtf8).value_or(std::string());
}

WideString ToWide(std::string_view text) {
  return platform::Widen(text, platform::NarrowPage::kUtf8).value_or(WideString());
}

std::filesystem::path ToPath(std::string_view path) {
  return std::u8string(path.begin(), path.end());
}

std::string FromPath(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::string Shown(WideView text) {
  WideString shown(text.substr(0, kShownUnits));
  for (char16_t& unit : shown) {
    if (unit < 0x20 || unit == 0x7F) unit = u'.';
  }
  return ToUtf8(shown) + (text.size() > kShownUnits ? "..." : "");
}

std::string Quoted(WideView text) {
  return '"' + Shown(text) + '"';
}

std::string Counted(std::uint64_t count, std::string_view noun) {
  std::string out = std::to_string(count);
  out.append(" ").append(noun);
  // "entry" is the one noun of ours with a plural of its own.
  if (count == 1) return out;
  if (out.ends_with("entry")) return out.replace(out.size() - 1, 1, "ies");
  return out + "s";
}

std::string ShownPath(std::string_view path) {
  if (path.size() <= 2 * kPathEnds + 3) return std::string(path);
  std::size_t front = kPathEnds;
  std::size_t back = path.size() - kPathEnds;
  while (IsInsideCharacter(path[front])) --front;
  while (back < path.size() && IsInsideCharacter(path[back])) ++back;
  return std::string(path.substr(0, front)).append("...").append(path.substr(back));
}

std::string Padded(std::string text, std::size_t width) {
  const auto characters = static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return !IsInsideCharacter(byte); }));
  if (characters < width) text.append(width - characters, ' ');
  return text;
}

}  // namespace sbx::tool
