// sbxlog cat: a log file and its numbered siblings as UTF-8, in order.
#include <filesystem>
#include <iostream>

#include "sbxlog/commands.h"
#include "sbxlog/exit_codes.h"
#include "sbxlog/log_line_reader.h"
#include "sbxlog/log_siblings.h"
#include "sbxlog/shown_line.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

namespace fs = std::filesystem;

// A time of the command line in the form that lines have: "2026-11-13T02:24" is "2026/11/13 02:24". Any front
// of a full time will do from the day on.
WideString TimeOf(const std::string& text) {
  constexpr std::string_view kPattern = "0000/00/00 00:00:00:000";
  constexpr std::size_t kDay = 10;
  std::string time = text;
  const bool isFitting = time.size() >= kDay && time.size() <= kPattern.size();
  for (std::size_t i = 0; isFitting && i < time.size(); ++i) {
    const char expected = kPattern[i];
    if (expected == '/' && time[i] == '-') time[i] = '/';
    if (expected == ' ' && time[i] == 'T') time[i] = ' ';
    if (i == kPattern.rfind(':') && time[i] == '.') time[i] = ':';
    const bool isRight = expected == '0' ? time[i] >= '0' && time[i] <= '9' : time[i] == expected;
    if (!isRight) time.clear();
  }
  if (isFitting && !time.empty() && time.back() >= '0' && time.back() <= '9') return ToWide(time);
  throw CommandFailure{
      kExitUsage,
      {.id = Id::kUsage, .message = "not a time: " + text + " (as in 2026-11-13, 2026-11-13T02:24:23.123)"}};
}

class LineFilter {
 public:
  explicit LineFilter(const CatOptions& options) : messages_(options.filter) {
    if (!options.from.empty()) from_ = TimeOf(options.from);
    if (!options.to.empty()) to_ = TimeOf(options.to);
  }

  // Whether any line is left out.
  bool IsActive() const noexcept { return messages_.IsActive() || !from_.empty() || !to_.empty(); }
  bool Admits(const LogLine& line) const {
    if (line.time.substr(0, from_.size()) < WideView(from_)) return false;
    if (!to_.empty() && line.time.substr(0, to_.size()) > WideView(to_)) return false;
    return messages_.Admits(line.level, line.processId, line.message);
  }

 private:
  MessageFilter messages_;
  WideString from_;
  WideString to_;
};

class Cat {
 public:
  Cat(const CatOptions& options, const OutputForm& form) : filter_(options), form_(form) {}

  void PutFile(const fs::path& path) {
    LogLineReader reader(path);
    const std::string name = FromPath(path);
    WideString text;
    // What belongs to no line, such as the head of the summary, is shown if everything is.
    bool isShown = !filter_.IsActive();
    while (reader.Next(text)) {
      const std::optional<LogLine> line = ParseLogLine(text);
      if (line) {
        isShown = filter_.Admits(*line);
        hasLogLine_ = true;
      }
      if (!isShown) continue;
      if (form_.json) {
        PutJson(line ? JsonOf(*line, name) : Json{{"kind", "text"}, {"file", name}, {"text", ToUtf8(text)}});
      } else {
        PutText(line, text);
      }
      if (!std::cout) break;
    }
    FlushOutput();
  }
  bool hasLogLine() const noexcept { return hasLogLine_; }

 private:
  static Json JsonOf(const LogLine& line, const std::string& file) {
    Json json = {{"kind", "line"},
                 {"file", file},
                 {"time", IsoTime(line.time)},
                 {"level", line.level},
                 {"pid", line.processId},
                 {"tid", line.threadId},
                 {"error_code", line.errorCode},
                 {"message", ToUtf8(line.message)}};
    if (!line.tail.empty()) {
      json["process"] = ToUtf8(line.process);
      json["module"] = ToUtf8(line.module);
      json["version"] = ToUtf8(line.version);
    }
    return json;
  }

  void PutText(const std::optional<LogLine>& line, const WideString& text) const {
    if (!line) {
      std::cout << MessageText(text, form_) << '\n';
      return;
    }
    const WideView whole = text;
    const std::size_t prefix = whole.size() - line->message.size() - line->tail.size();
    PutLine({.prefix = MessageText(whole.substr(0, prefix), form_),
             .message = MessageText(line->message, form_),
             .tail = MessageText(line->tail, form_),
             .level = line->level},
            form_);
  }

  LineFilter filter_;
  OutputForm form_;
  bool hasLogLine_ = false;
};

}  // namespace

int RunCat(const CatOptions& options, const OutputForm& form, Diagnostics& diagnostics) {
  Cat cat(options, form);
  const fs::path file = ToPath(options.file);
  for (const fs::path& path : options.isAlone ? std::vector<fs::path>{file} : FilesOfLog(file)) {
    cat.PutFile(path);
  }
  if (cat.hasLogLine()) return kExitFine;
  diagnostics.Report({.id = Id::kNoLogLine, .message = "holds no line of a log", .file = options.file});
  return kExitFindings;
}

}  // namespace sbx::tool
