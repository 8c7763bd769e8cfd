#include "sbxml/diagnostics.h"

#include <array>
#include <nlohmann/json.hpp>

#include "sbxml.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

constexpr Severity kError = Severity::kError;
constexpr Severity kWarning = Severity::kWarning;
constexpr Severity kNote = Severity::kNote;

constexpr std::array kInfos = {
    IdInfo{"usage", kError},
    IdInfo{"file-unreadable", kError},
    IdInfo{"not-well-formed", kError},
    IdInfo{"does-not-load", kError},
    IdInfo{"does-not-survive", kError},
    IdInfo{"bad-descriptions", kError},
    IdInfo{"bad-rules", kError},
    IdInfo{"output-failed", kError},
    IdInfo{"internal", kError},
    IdInfo{"broken-encoding", kWarning},
    IdInfo{"declared-encoding", kWarning},
    IdInfo{"text-after-zero", kWarning},
    IdInfo{"ignored-root", kWarning},
    IdInfo{"unknown-element", kWarning},
    IdInfo{"missing-item", kWarning},
    IdInfo{"replaced-item", kWarning},
    IdInfo{"ignored-attribute", kWarning},
    IdInfo{"ignored-text", kWarning},
    IdInfo{"ignored-content", kWarning},
    IdInfo{"flag-without-effect", kWarning},
    IdInfo{"bad-byte-string", kWarning},
    IdInfo{"type-refused", kWarning},
    IdInfo{"empty-value", kWarning},
    IdInfo{"not-a-number", kWarning},
    IdInfo{"text-behind-number", kWarning},
    IdInfo{"value-cut", kWarning},
    IdInfo{"text-cut", kWarning},
    IdInfo{"missing-entries", kWarning},
    IdInfo{"surplus-entries", kWarning},
    IdInfo{"revised-count", kWarning},
    IdInfo{"stale-count", kWarning},
    IdInfo{"rule-not-applied", kWarning},
    IdInfo{"presentation-ignored", kWarning},
    IdInfo{"presentation-read", kWarning},
    IdInfo{"changed-value", kWarning},
    IdInfo{"lost-element", kWarning},
    IdInfo{"analysis-ended", kWarning},
    IdInfo{"wrong-root", kError},
    IdInfo{"no-name", kError},
    IdInfo{"no-type", kError},
    IdInfo{"record-size", kError},
    IdInfo{"item-size", kError},
    IdInfo{"item-offset", kError},
    IdInfo{"item-count", kError},
    IdInfo{"duplicate-record", kError},
    IdInfo{"duplicate-rules", kError},
    IdInfo{"duplicate-item", kWarning},
    IdInfo{"number-text", kWarning},
    IdInfo{"nested-element", kWarning},
    IdInfo{"misplaced-element", kWarning},
    IdInfo{"unread-attribute", kWarning},
    IdInfo{"unknown-root", kError},
    IdInfo{"element-name", kError},
    IdInfo{"record-named-type", kWarning},
    IdInfo{"empty-record", kError},
    IdInfo{"endless-record", kError},
    IdInfo{"beyond-record", kError},
    IdInfo{"overlap", kWarning},
    IdInfo{"unknown-type", kError},
    IdInfo{"bad-type", kError},
    IdInfo{"type-size", kError},
    IdInfo{"zero-count", kWarning},
    IdInfo{"out-only", kNote},
    IdInfo{"back-only", kError},
    IdInfo{"narrow-text", kNote},
    IdInfo{"restrict-no-command", kWarning},
    IdInfo{"restrict-unknown", kWarning},
    IdInfo{"restrict-no-effect", kWarning},
    IdInfo{"restrict-never", kWarning},
    IdInfo{"restrict-destroys", kWarning},
    IdInfo{"restrict-saturates", kNote},
    IdInfo{"restrict-first-entry", kWarning},
    IdInfo{"restrict-replaced", kWarning},
    IdInfo{"namelist-without-rule", kWarning},
    IdInfo{"unknown-kind", kWarning},
    IdInfo{"unknown-record", kError},
    IdInfo{"unknown-item", kWarning},
    IdInfo{"never-runs", kWarning},
    IdInfo{"missing-attribute", kWarning},
    IdInfo{"half-condition", kWarning},
    IdInfo{"one-sided-condition", kWarning},
    IdInfo{"condition-text", kWarning},
    IdInfo{"condition-never", kWarning},
    IdInfo{"condition-always", kWarning},
    IdInfo{"path-unresolved", kWarning},
    IdInfo{"path-size", kWarning},
    IdInfo{"path-overflow", kWarning},
    IdInfo{"path-end", kWarning},
    IdInfo{"path-sides-differ", kWarning},
    IdInfo{"path-two-pointers", kWarning},
    IdInfo{"path-first-entry", kNote},
    IdInfo{"alterto-percent", kError},
    IdInfo{"type-too-long", kWarning},
    IdInfo{"rule-overridden", kWarning},
    IdInfo{"rule-no-effect", kWarning},
    IdInfo{"sticky-type", kWarning},
    IdInfo{"counted-numbers", kWarning},
    IdInfo{"name-list-type", kWarning},
    IdInfo{"relocation-same", kWarning},
    IdInfo{"relocation-size", kError},
    IdInfo{"relocation-circle", kError},
    IdInfo{"relocation-lost", kWarning},
    IdInfo{"relocated-once", kNote},
    IdInfo{"root-relocation", kError},
};
static_assert(kInfos.size() == static_cast<std::size_t>(Id::kRootRelocation) + 1);

std::string_view NameOf(Severity severity) noexcept {
  switch (severity) {
    case Severity::kError:
      return "error";
    case Severity::kWarning:
      return "warning";
    case Severity::kNote:
      return "note";
  }
  return {};
}

constexpr std::string_view kBold = "\033[1m";
constexpr std::string_view kRed = "\033[1;31m";
constexpr std::string_view kMagenta = "\033[1;35m";
constexpr std::string_view kCyan = "\033[1;36m";
constexpr std::string_view kPlain = "\033[0m";

std::string_view ColourOf(Severity severity) noexcept {
  if (severity == Severity::kError) return kRed;
  return severity == Severity::kWarning ? kMagenta : kCyan;
}

std::string LibraryPart(const Diagnostic& d) {
  if (!d.code) return {};
  std::string out = "; " + d.function + ": " + std::to_string(*d.code) + " ";
  out += NameOfCode(*d.code);
  if (!d.libraryText.empty()) out += ", \"" + d.libraryText + '"';
  return out;
}

std::string ItemPart(const Diagnostic& d) {
  if (!d.offset) return {};
  return " (offset " + std::to_string(*d.offset) + ", " + d.type + ")";
}

std::string PlacePart(const Place& place) {
  std::string out = place.file.empty() ? "sbxml" : place.file;
  if (place.line != 0) out += ":" + std::to_string(place.line) + ":" + std::to_string(place.column);
  return out + ": ";
}

void WriteText(std::ostream& out, const Diagnostic& d, bool coloured) {
  const IdInfo& info = InfoOf(d.id);
  const std::string_view place = coloured ? kBold : "";
  const std::string_view severity = coloured ? ColourOf(info.severity) : "";
  const std::string_view plain = coloured ? kPlain : "";
  out << place << PlacePart(d.place) << plain << severity << NameOf(info.severity) << ": " << plain;
  if (!d.path.empty()) out << d.path << ": ";
  out << d.message << LibraryPart(d) << ItemPart(d) << " [" << info.text << "]\n";
}

void PutText(nlohmann::ordered_json& json, const char* key, const std::string& text) {
  if (!text.empty()) json[key] = text;
}

void WriteJson(std::ostream& out, const Diagnostic& d) {
  const IdInfo& info = InfoOf(d.id);
  nlohmann::ordered_json json;
  json["kind"] = "diagnostic";
  PutText(json, "file", d.place.file);
  if (d.place.line != 0) {
    json["line"] = d.place.line;
    json["column"] = d.place.column;
  }
  json["severity"] = NameOf(info.severity);
  json["id"] = info.text;
  json["message"] = d.message;
  PutText(json, "path", d.path);
  PutText(json, "record", d.record);
  PutText(json, "item", d.item);
  PutText(json, "type", d.type);
  if (d.offset) json["offset"] = *d.offset;
  PutText(json, "function", d.function);
  if (d.code) {
    json["code"] = *d.code;
    json["library_text"] = d.libraryText;
  }
  // Names of files need not be UTF-8.
  out << json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
}

}  // namespace

const IdInfo& InfoOf(Id id) noexcept {
  return kInfos[static_cast<std::size_t>(id)];
}

void Diagnostics::Report(const Diagnostic& diagnostic) {
  ++told_;
  if (limit_ != 0 && told_ > limit_) return;
  if (form_ == Form::kJson) {
    WriteJson(out_, diagnostic);
  } else {
    WriteText(out_, diagnostic, form_ == Form::kColouredText);
  }
}

void Diagnostics::TellHidden() {
  if (limit_ == 0 || told_ <= limit_) return;
  const std::uint32_t hidden = told_ - limit_;
  if (form_ == Form::kJson) {
    out_ << nlohmann::ordered_json{{"kind", "hidden"}, {"count", hidden}}.dump() << '\n';
  } else {
    out_ << "sbxml: " << Counted(hidden, "diagnostic") << " more not shown (--max-errors)\n";
  }
}

std::string_view NameOfCode(std::int32_t code) noexcept {
  switch (code) {
    case SBX_E_NOT_FOUND:
      return "SBX_E_NOT_FOUND";
    case SBX_E_PARAMETER:
      return "SBX_E_PARAMETER";
    case SBX_E_MEMORY:
      return "SBX_E_MEMORY";
    case SBX_E_DESCRIPTION:
      return "SBX_E_DESCRIPTION";
    case SBX_E_STATE:
      return "SBX_E_STATE";
    case SBX_E_DOM:
      return "SBX_E_DOM";
    case SBX_E_RESOURCE:
      return "SBX_E_RESOURCE";
    case SBX_E_CONTENT:
      return "SBX_E_CONTENT";
    case SBX_E_BUFFER:
      return "SBX_E_BUFFER";
    case SBX_E_FILE:
      return "SBX_E_FILE";
    case SBX_E_ADDRESS:
      return "SBX_E_ADDRESS";
    default:
      return "unknown code";
  }
}

}  // namespace sbx::tool
