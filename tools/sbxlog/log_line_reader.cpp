#include "sbxlog/log_line_reader.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include "platform/narrow_text.h"
#include "sbxlog/diagnostics.h"
#include "sbxlog/exit_codes.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

constexpr std::size_t kBufferBytes = 1 << 16;

[[noreturn]] void FailUnreadable(const std::filesystem::path& path, const std::string& why) {
  throw CommandFailure{kExitNotFound, {.id = Id::kFileUnreadable, .message = why, .file = FromPath(path)}};
}

// Takes a prefix apart from its front.
class Scanner {
 public:
  explicit Scanner(WideView text) noexcept : rest_(text) {}

  WideView rest() const noexcept { return rest_; }
  bool Skip(WideView expected) noexcept {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(expected.size());
    return true;
  }
  // A digit where the pattern has a 0, else the pattern's own character. The year may be padded by blanks.
  bool Match(WideView pattern) noexcept {
    if (rest_.size() < pattern.size()) return false;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
      if (pattern[i] == u'0' ? !IsDigit(rest_[i]) : rest_[i] != pattern[i]) return false;
    }
    rest_.remove_prefix(pattern.size());
    return true;
  }
  bool Number(std::int64_t& number) noexcept {
    const bool isNegative = Skip(u"-");
    std::size_t digits = 0;
    number = 0;
    for (; digits < rest_.size() && digits < kMostDigits && IsDigit(rest_[digits]); ++digits) {
      number = number * 10 + (rest_[digits] - u'0');
    }
    rest_.remove_prefix(digits);
    if (isNegative) number = -number;
    return digits != 0;
  }
  bool HexNumber(std::uint32_t& number) noexcept {
    number = 0;
    for (std::size_t i = 0; i < 8; ++i) {
      const int digit = rest_.empty() ? -1 : HexDigit(rest_.front());
      if (digit < 0) return false;
      number = number << 4 | static_cast<std::uint32_t>(digit);
      rest_.remove_prefix(1);
    }
    return true;
  }

 private:
  static constexpr std::size_t kMostDigits = 10;

  static bool IsDigit(char16_t unit) noexcept { return unit >= u'0' && unit <= u'9'; }
  static int HexDigit(char16_t unit) noexcept {
    if (IsDigit(unit)) return unit - u'0';
    const char16_t upper = AsciiUpper(unit);
    return upper >= u'A' && upper <= u'F' ? upper - u'A' + 10 : -1;
  }

  WideView rest_;
};

// "   {host::module(1.2)}" at the end of the message, if it is there.
void SplitTail(LogLine& line) noexcept {
  const std::size_t begin = line.message.rfind(u"   {");
  if (begin == WideView::npos || !line.message.ends_with(u")}")) return;
  const WideView inner = line.message.substr(begin + 4, line.message.size() - begin - 6);
  const std::size_t colons = inner.find(u"::");
  const std::size_t bracket = inner.rfind(u'(');
  if (colons == WideView::npos || bracket == WideView::npos || bracket < colons + 2) return;
  line.tail = line.message.substr(begin);
  line.message = line.message.substr(0, begin);
  line.process = inner.substr(0, colons);
  line.module = inner.substr(colons + 2, bracket - colons - 2);
  line.version = inner.substr(bracket + 1);
}

}  // namespace

LogLineReader::LogLineReader(const std::filesystem::path& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (!std::filesystem::exists(status)) FailUnreadable(path, "there is no such file");
  if (!std::filesystem::is_regular_file(status)) FailUnreadable(path, "it is no plain file");
  in_.open(path, std::ios::binary);
  if (!in_) FailUnreadable(path, std::generic_category().message(errno));
  if (!Fill()) return;
  isWide_ = buffer_.size() >= 2 && buffer_[0] == '\xFF' && buffer_[1] == '\xFE';
  if (isWide_) at_ = 2;
  if (std::string_view(buffer_.data(), buffer_.size()).starts_with("\xEF\xBB\xBF")) at_ = 3;
}

bool LogLineReader::Fill() {
  buffer_.resize(kBufferBytes);
  in_.read(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
  buffer_.resize(static_cast<std::size_t>(in_.gcount()));
  at_ = 0;
  return !buffer_.empty();
}

bool LogLineReader::Next(WideString& line) {
  line.clear();
  return isWide_ ? NextWide(line) : NextNarrow(line);
}

// A half unit at the end of the file counts as a unit of unknown content.
std::optional<char16_t> LogLineReader::NextUnit() {
  if (at_ == buffer_.size() && !Fill()) return {};
  const auto low = static_cast<unsigned char>(buffer_[at_++]);
  if (at_ == buffer_.size() && !Fill()) return u'\uFFFD';
  const auto high = static_cast<unsigned char>(buffer_[at_++]);
  return static_cast<char16_t>(high << 8 | low);
}

bool LogLineReader::NextWide(WideString& line) {
  bool hasAny = false;
  while (line.size() < kLongestLine) {
    const std::optional<char16_t> unit = NextUnit();
    if (!unit) break;
    hasAny = true;
    if (*unit == u'\n') break;
    line.push_back(*unit);
  }
  if (line.ends_with(u'\r')) line.pop_back();
  return hasAny;
}

bool LogLineReader::NextNarrow(WideString& line) {
  std::string bytes;
  bool hasAny = false;
  while (bytes.size() < kLongestLine) {
    if (at_ == buffer_.size() && !Fill()) break;
    hasAny = true;
    const char* const begin = buffer_.data() + at_;
    const std::size_t room = std::min(buffer_.size() - at_, kLongestLine - bytes.size());
    const void* const end = std::memchr(begin, '\n', room);
    const std::size_t length =
        end == nullptr ? room : static_cast<std::size_t>(static_cast<const char*>(end) - begin);
    bytes.append(begin, length);
    at_ += length;
    if (end == nullptr) continue;
    ++at_;
    break;
  }
  if (bytes.ends_with('\r')) bytes.pop_back();
  line = platform::Widen(bytes, platform::NarrowPage::kAnsi).value_or(WideString());
  return hasAny;
}

std::optional<LogLine> ParseLogLine(WideView line) noexcept {
  constexpr WideView kTimePattern = u"0000/00/00 00:00:00:000";
  constexpr WideView kBetween = u"   ";
  Scanner scanner(line);
  LogLine parts = {};
  std::int64_t level = 0;
  std::int64_t process = 0;
  std::int64_t thread = 0;
  if (!scanner.Skip(u"[") || !scanner.Match(kTimePattern)) return {};
  parts.time = line.substr(1, kTimePattern.size());
  if (!scanner.Skip(kBetween) || !scanner.Number(level) || !scanner.Skip(kBetween) ||
      !scanner.Number(process) || !scanner.Skip(kBetween) || !scanner.Number(thread)) {
    return {};
  }
  const bool hasError = scanner.Skip(u"   0X");
  if (hasError ? !scanner.HexNumber(parts.errorCode) : !scanner.Skip(u"             ")) return {};
  if (!scanner.Skip(u"] ")) return {};
  parts.level = static_cast<std::int32_t>(level);
  parts.processId = static_cast<std::uint32_t>(process);
  parts.threadId = static_cast<std::uint32_t>(thread);
  parts.message = scanner.rest();
  SplitTail(parts);
  return parts;
}

}  // namespace sbx::tool
