#include "sbxlog/diagnostics.h"

#include <array>
#include <iostream>
#include <nlohmann/json.hpp>

namespace sbx::tool {
namespace {

enum class Severity { kError, kWarning, kNote };

struct IdInfo {
  std::string_view text;
  Severity severity;
};

constexpr std::array kInfos = {
    IdInfo{"usage", Severity::kError},
    IdInfo{"file-unreadable", Severity::kError},
    IdInfo{"no-such-process", Severity::kError},
    IdInfo{"no-such-module", Severity::kError},
    IdInfo{"no-such-breakpoint", Severity::kError},
    IdInfo{"no-such-hit", Severity::kError},
    IdInfo{"damaged-block", Severity::kError},
    IdInfo{"refused", Severity::kError},
    IdInfo{"name-taken", Severity::kError},
    IdInfo{"no-room", Severity::kError},
    IdInfo{"not-running", Severity::kError},
    IdInfo{"output-failed", Severity::kError},
    IdInfo{"internal", Severity::kError},
    IdInfo{"process-skipped", Severity::kWarning},
    IdInfo{"name-skipped", Severity::kWarning},
    IdInfo{"no-log-line", Severity::kWarning},
    IdInfo{"text-not-seen", Severity::kWarning},
    IdInfo{"waiting", Severity::kNote},
};
static_assert(kInfos.size() == static_cast<std::size_t>(Id::kWaiting) + 1);

struct SeverityInfo {
  std::string_view name;
  std::string_view colour;
};
constexpr std::array kSeverities = {SeverityInfo{"error", "\033[1;31m"},
                                    SeverityInfo{"warning", "\033[1;35m"},
                                    SeverityInfo{"note", "\033[1;36m"}};

}  // namespace

void Diagnostics::Report(const Diagnostic& diagnostic) {
  const IdInfo& info = kInfos[static_cast<std::size_t>(diagnostic.id)];
  const SeverityInfo& severity = kSeverities[static_cast<std::size_t>(info.severity)];
  std::cout.flush();  // what was shown before stays before it
  if (form_ == Form::kJson) {
    nlohmann::ordered_json json = {{"kind", "diagnostic"}};
    if (!diagnostic.file.empty()) json["file"] = diagnostic.file;
    json["severity"] = severity.name;
    json["id"] = info.text;
    json["message"] = diagnostic.message;
    // Names of files need not be UTF-8.
    std::cerr << json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
    return;
  }
  const bool isColoured = form_ == Form::kColouredText;
  std::cerr << (isColoured ? "\033[1m" : "") << (diagnostic.file.empty() ? "sbxlog" : diagnostic.file) << ": "
            << (isColoured ? severity.colour : "") << severity.name << ": " << (isColoured ? "\033[0m" : "")
            << diagnostic.message << " [" << info.text << "]\n";
}

}  // namespace sbx::tool
