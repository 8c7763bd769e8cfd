#include "sbxlog/output.h"

#include <algorithm>
#include <iostream>

#include "sbxlog/diagnostics.h"
#include "sbxlog/exit_codes.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

bool IsControl(char16_t unit) noexcept {
  return unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
}

std::size_t Characters(const std::string& text) noexcept {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

}  // namespace

std::string MessageText(WideView text, const OutputForm& form) {
  if (!form.toTerminal) return ToUtf8(text);
  WideString shown(text);
  for (char16_t& unit : shown) {
    if (IsControl(unit) && unit != u'\n' && unit != u'\t') unit = u'.';
  }
  return ToUtf8(shown);
}

std::string PlainText(WideView text) {
  WideString shown(text);
  std::replace_if(shown.begin(), shown.end(), &IsControl, u'.');
  return ToUtf8(shown);
}

void PutJson(const Json& json) {
  std::cout << json.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
}

void PutTable(const std::vector<std::vector<std::string>>& rows) {
  constexpr std::string_view kBetween = "  ";
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Characters(row[i]));
  }
  for (const auto& row : rows) {
    for (std::size_t i = 0; i + 1 < row.size(); ++i) std::cout << Padded(row[i], widths[i]) << kBetween;
    std::cout << (row.empty() ? "" : row.back()) << '\n';
  }
}

void FlushOutput() {
  if (std::cout.flush()) return;
  throw CommandFailure{kExitNoOutput,
                       {.id = Id::kOutputFailed, .message = "standard output can't be written"}};
}

}  // namespace sbx::tool
