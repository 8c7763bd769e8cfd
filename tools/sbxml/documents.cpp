#include "sbxml/documents.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <string_view>

#include "desc/structure_description.h"
#include "platform/narrow_text.h"
#include "rules/rule_set.h"
#include "sbxml/log_capture.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

constexpr WideView kNoRules = u"<ConvertRuleDesc/>";

const SBXChar* ToSbx(const WideString& text) noexcept {
  return reinterpret_cast<const SBXChar*>(text.c_str());
}

[[noreturn]] void FailReading(const std::string& name, const std::string& message) {
  throw CommandFailure{kExitNoFile, {.id = Id::kFileUnreadable, .place = {.file = name}, .message = message}};
}

// Standard input as a file, made where it is asked for.
class InputCopy {
 public:
  ~InputCopy() {
    std::error_code ignored;
    if (isOurs_) std::filesystem::remove(ToPath(path_), ignored);
  }

  const std::string& path() {
    if (path_.empty()) Make();
    return path_;
  }
  void Set(std::string path) { path_ = std::move(path); }

 private:
  void Make() {
    path_ = system::MakeTemporaryFile(FromPath(std::filesystem::temp_directory_path() / "sbxml-input-"));
    isOurs_ = !path_.empty();
    std::ofstream out(ToPath(path_), std::ios::binary);
    if (std::cin.peek() != std::char_traits<char>::eof()) out << std::cin.rdbuf();
    if (!isOurs_ || !out.flush()) FailReading("<stdin>", "can't be copied to a temporary file");
  }

  std::string path_;
  bool isOurs_ = false;
};

InputCopy& TheInput() {
  static InputCopy input;
  return input;
}

WideString ReadThroughLibrary(const std::string& path, const std::string& name) {
  const WideString widePath = ToWide(path);
  std::int32_t bytes = 0;
  std::int32_t code = SBXReadXML(ToSbx(widePath), nullptr, &bytes);
  WideString text;
  if (code == SBX_E_BUFFER) {
    text.resize(static_cast<std::size_t>(bytes) / sizeof(char16_t) + 1);
    code = SBXReadXML(ToSbx(widePath), reinterpret_cast<SBXChar*>(text.data()), &bytes);
  }
  if (code != SBX_OK) {
    throw CommandFailure{kExitNoFile,
                         {.id = Id::kFileUnreadable,
                          .place = {.file = name},
                          .message = "can't be read",
                          .function = "SBXReadXML",
                          .code = code}};
  }
  text.resize(text.find(u'\0'));
  return text;
}

std::string ReadBytes(const std::string& path) {
  std::ifstream in(ToPath(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A file's bytes as wide text without its mark: what the library starts from.
struct DecodedFile {
  WideString text;
  bool isNarrow;
};

WideString FromUtf16(std::string_view bytes, bool bigEndian) {
  WideString text;
  text.reserve(bytes.size() / 2);
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    const auto first = static_cast<unsigned char>(bytes[at]);
    const auto second = static_cast<unsigned char>(bytes[at + 1]);
    text.push_back(static_cast<char16_t>(bigEndian ? first << 8 | second : second << 8 | first));
  }
  return text;
}

DecodedFile Decode(std::string_view bytes) {
  if (bytes.starts_with("\xFF\xFE")) return {FromUtf16(bytes.substr(2), false), false};
  if (bytes.starts_with("\xFE\xFF")) return {FromUtf16(bytes.substr(2), true), false};
  const bool hasMark = bytes.starts_with("\xEF\xBB\xBF");
  const auto page = hasMark ? platform::NarrowPage::kUtf8 : platform::NarrowPage::kAnsi;
  return {platform::Widen(bytes.substr(hasMark ? 3 : 0), page).value_or(WideString()), true};
}

SourcePosition PositionBehind(WideView text) {
  SourcePosition position;
  for (const char16_t unit : text) {
    if (unit == u'\n') {
      ++position.line;
      position.column = 1;
    } else {
      ++position.column;
    }
  }
  return position;
}

std::size_t CountOf(std::string_view text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string_view::npos;
       at = text.find(part, at + part.size())) {
    ++count;
  }
  return count;
}

bool IsAscii(std::string_view bytes) noexcept {
  return std::all_of(bytes.begin(), bytes.end(), [](char byte) { return (byte & 0x80) == 0; });
}

// What files without a mark are in; elsewhere than on Windows it always is.
bool IsNarrowPageUtf8() {
  return platform::Widen("\xC3\xBC", platform::NarrowPage::kAnsi) == WideString(u"\u00FC");
}

// The encoding that a declaration names, in upper case; empty if there is none.
std::string DeclaredEncoding(WideView declaration) {
  constexpr WideView kKey = u"encoding";
  const std::size_t key = declaration.find(kKey);
  if (key == WideView::npos) return {};
  const std::size_t open = declaration.find_first_of(u"\"'", key);
  if (open == WideView::npos) return {};
  const std::size_t close = declaration.find(declaration[open], open + 1);
  if (close == WideView::npos) return {};
  WideString name(declaration.substr(open + 1, close - open - 1));
  for (char16_t& unit : name) unit = AsciiUpper(unit);
  return ToUtf8(name);
}

class ReadingCheck {
 public:
  ReadingCheck(SourceFile& source, std::string_view bytes) : source_(source), bytes_(bytes) {}

  void Run() {
    const DecodedFile file = Decode(bytes_);
    const WideView all = file.text;
    const WideView read = all.substr(0, all.find(u'\0'));
    const WideView skipped = read.substr(0, read.size() - std::min(read.size(), source_.text.size()));
    source_.start = PositionBehind(skipped);
    if (file.isNarrow) CheckNarrow(skipped, read);
    // The library's own narrow files end in a zero.
    if (all.size() > read.size() + 1) {
      Tell(Id::kTextAfterZero,
           Counted(all.size() - read.size() - 1, "character") + " behind a zero character are not read");
    }
  }

 private:
  void CheckNarrow(WideView declaration, WideView text) {
    const std::size_t replaced =
        CountOf(ToUtf8(text), "\xEF\xBF\xBD") -
        std::min(CountOf(ToUtf8(text), "\xEF\xBF\xBD"), CountOf(bytes_, "\xEF\xBF\xBD"));
    if (replaced != 0) {
      Tell(Id::kBrokenEncoding, Counted(replaced, "place") + " that are no UTF-8 are read as U+FFFD");
    }
    const std::string encoding = DeclaredEncoding(declaration);
    const bool isUtf8 = bytes_.starts_with("\xEF\xBB\xBF") || IsNarrowPageUtf8();
    if (encoding.empty() || (isUtf8 && encoding == "UTF-8") || IsAscii(bytes_)) return;
    Tell(Id::kDeclaredEncoding, "the declared encoding " + encoding + " is ignored: the file is read " +
                                    (isUtf8 ? "as UTF-8" : "in the system's code page"));
  }

  void Tell(Id id, const std::string& message) {
    source_.findings.push_back({.id = id, .place = {source_.name, 1, 1}, .message = message});
  }

  SourceFile& source_;
  std::string_view bytes_;
};

std::string LastOf(const std::vector<WideString>& lines) {
  if (lines.empty()) return "it does not load";
  std::string text = ToUtf8(lines.back());
  if (text.ends_with('.')) text.pop_back();
  return text;
}

// Loads a set with the core's own loader, and says what that had against it.
template <class Set>
std::unique_ptr<Set> Load(const SourceFile& source, Id id) {
  ParseSource(source, kExitBadSet, id);
  LogCapture log(0);
  auto set = std::make_unique<Set>();
  if (set->LoadFromXML(source.text.c_str()) == kOk) return set;
  throw CommandFailure{kExitBadSet,
                       {.id = id, .place = source.At(source.start), .message = LastOf(log.Take())}};
}

// The library counts a document in 32 bits.
void RequireSize(const SourceFile& source) {
  const std::size_t bytes = source.text.size() * sizeof(char16_t);
  if (bytes > std::numeric_limits<std::uint32_t>::max()) FailReading(source.name, "is too large");
}

}  // namespace

const std::string& StandardInputFile() {
  return TheInput().path();
}

void SetStandardInputFile(std::string path) {
  TheInput().Set(std::move(path));
}

SourceFile ReadSource(const std::string& path) {
  const bool isInput = path == kStandardStream;
  SourceFile source;
  source.name = isInput ? "<stdin>" : path;
  const std::string& file = isInput ? StandardInputFile() : path;
  std::error_code error;
  const std::filesystem::path place = ToPath(file);
  const std::filesystem::file_status status = std::filesystem::status(place, error);
  if (!std::filesystem::exists(status)) FailReading(source.name, "there is no such file");
  if (std::filesystem::is_directory(status)) FailReading(source.name, "is a folder");
  if (std::filesystem::is_regular_file(status) && std::filesystem::file_size(place, error) == 0) {
    FailReading(source.name, "is empty");
  }
  source.text = ReadThroughLibrary(file, source.name);
  ReadingCheck(source, ReadBytes(file)).Run();
  return source;
}

SourceTree ParseSource(const SourceFile& source, int exitCode, Id id) {
  SourceTree tree(source.text, source.start);
  if (!tree.failure()) return tree;
  const ParseFailure& failure = *tree.failure();
  throw CommandFailure{exitCode,
                       {.id = id, .place = source.At(failure.position), .message = failure.message}};
}

DocumentSet::DocumentSet(const SetOptions& options) : root_(ToWide(options.root)) {
  descriptionSource_ = ReadSource(options.descriptions);
  if (options.rules.empty()) {
    ruleSource_ = {"<no rules>", WideString(kNoRules), {}, {}};
  } else {
    ruleSource_ = ReadSource(options.rules);
  }
  descriptions_ = Load<JSPDBMemDesc>(descriptionSource_, Id::kBadDescriptions);
  rules_ = Load<JSConvertRulesDesc>(ruleSource_, Id::kBadRules);
  RequireSize(descriptionSource_);
  RequireSize(ruleSource_);
  const system::DocumentModule::Document documents[] = {{kDescriptionsId, descriptionSource_.text},
                                                        {kRulesId, ruleSource_.text}};
  module_ = std::make_unique<system::DocumentModule>(documents);
}

DocumentSet::~DocumentSet() = default;

int TellOfSet(const DocumentSet& set, Diagnostics& diagnostics) {
  int exitCode = kExitFine;
  for (const SourceFile* const source : {&set.descriptionSource(), &set.ruleSource()}) {
    for (const Diagnostic& finding : source->findings) {
      diagnostics.Report(finding);
      exitCode = kExitFindings;
    }
  }
  return exitCode;
}

}  // namespace sbx::tool
