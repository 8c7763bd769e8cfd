#include "sbxlog/shown_line.h"

#include <iostream>

#include "sbxml/text.h"

namespace sbx::tool {
namespace {

constexpr std::string_view kFaint = "\033[2m";
constexpr std::string_view kPlain = "\033[0m";

// Errors red, problems yellow, progress green, detail and beyond faint.
std::string_view ColourOf(std::int32_t level) noexcept {
  if (level <= 0) return "\033[1;31m";
  if (level <= 2) return "\033[33m";
  return level == 3 ? "\033[32m" : kFaint;
}

}  // namespace

void PutLine(const ShownLine& line, const OutputForm& form) {
  if (!form.colour) {
    std::cout << line.prefix << line.message << line.tail << '\n';
    return;
  }
  std::cout << ColourOf(line.level) << line.prefix << kPlain << line.message;
  if (!line.tail.empty()) std::cout << kFaint << line.tail << kPlain;
  std::cout << '\n';
}

std::string IsoTime(WideView time) {
  std::string text = ToUtf8(time);
  constexpr std::string_view kForm = "0000-00-00T00:00:00.000";
  for (std::size_t i = 0; i < text.size() && i < kForm.size(); ++i) {
    if (kForm[i] != '0') text[i] = kForm[i];
  }
  return text;
}

}  // namespace sbx::tool
