// What stands in a log file.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace sbx::testing {

inline std::string ReadBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The file's text: of a wide file one byte for each unit, `?` for what is no ASCII, without the mark.
inline std::string ReadLogText(const std::filesystem::path& path) {
  const std::string bytes = ReadBytes(path);
  if (!bytes.starts_with("\xFF\xFE")) return bytes;
  std::string text;
  for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
    const bool isAscii = bytes[i + 1] == 0 && static_cast<unsigned char>(bytes[i]) < 0x80;
    text.push_back(isAscii ? bytes[i] : '?');
  }
  return text;
}

// The lines, cut at CR LF. What follows the last line end is a line only if it is not empty.
inline std::vector<std::string> ReadLogLines(const std::filesystem::path& path) {
  const std::string text = ReadLogText(path);
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find("\r\n", at), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end + 2;
  }
  return lines;
}

inline std::string JoinLines(const std::vector<std::string>& lines) {
  std::string joined;
  for (const std::string& line : lines) joined += line + "\n";
  return joined;
}

// The message of a whole line, or nothing: "[...] message   {host::module(a.b)}".
inline bool MessageOfLine(const std::string& line, std::string* message) {
  const std::size_t begin = line.find("] ");
  const std::size_t end = line.rfind("   {");
  if (!line.starts_with("[") || !line.ends_with("}") || begin == std::string::npos ||
      end == std::string::npos || end < begin + 2) {
    return false;
  }
  *message = line.substr(begin + 2, end - begin - 2);
  return true;
}

// Whether the line is the n-th (from 0) of the summary that a new file begins with.
inline bool IsSummaryLine(const std::string& line, std::size_t n) {
  static constexpr const char* kTexts[] = {
      "[   Date        Time      Level  PID     TID   ErrCode    ] .......",
      "] ================ SUMMARY LOG =======================",
      "] Product Info: [Torvane Ltd] [torvane Vaultmere] Ver[r",
      "] OS      Info: Computer Name[",
      "] Log level of each module can be controlled by registry key:",
      "] [HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvane\\Vaultmere\\Engine\\Debug\\ModuleName:DWORD]",
      "] =====================================================",
  };
  return n < std::size(kTexts) && line.find(kTexts[n]) != std::string::npos;
}

// The messages of all lines that have a tail, so without the summary.
inline std::vector<std::string> MessagesOf(const std::filesystem::path& path) {
  std::vector<std::string> messages;
  std::string message;
  for (const std::string& line : ReadLogLines(path)) {
    if (MessageOfLine(line, &message)) messages.push_back(message);
  }
  return messages;
}

}  // namespace sbx::testing
