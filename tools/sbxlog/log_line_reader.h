// The lines of a log file, one by one, whatever the file's size and whatever is in it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "base/wide_text.h"

namespace sbx::tool {

// A file with the mark FF FE is read as UTF-16LE, any other in the narrow code page, which is UTF-8 off
// Windows.
class LogLineReader {
 public:
  // Throws CommandFailure with kExitNotFound if the file can't be read.
  explicit LogLineReader(const std::filesystem::path& path);
  // The next line without its end (LF or CR LF). A line of more than kLongestLine units or bytes comes in
  // pieces. False at the end of the file.
  bool Next(WideString& line);

  static constexpr std::size_t kLongestLine = 1 << 20;

 private:
  std::optional<char16_t> NextUnit();
  bool Fill();
  bool NextWide(WideString& line);
  bool NextNarrow(WideString& line);

  std::ifstream in_;
  std::vector<char> buffer_;
  std::size_t at_ = 0;
  bool isWide_ = false;
};

// A line of a log taken apart: prefix, message, tail.
struct LogLine {
  WideView time;  // "2026/11/13 02:24:23:123"
  std::int32_t level;
  std::uint32_t processId;
  std::uint32_t threadId;
  std::uint32_t errorCode;
  WideView message;
  WideView tail;     // with its blanks and braces; empty if the line has none, as in the summary
  WideView process;  // out of the tail, as is what follows
  WideView module;
  WideView version;
};

// Nothing if the line doesn't begin as a log line does. Borrows from the line.
std::optional<LogLine> ParseLogLine(WideView line) noexcept;

}  // namespace sbx::tool
