#include "fuzz_case.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <utility>

#include "api/conversion_state.h"
#include "api/handle_table.h"
#include "desc/structure_description.h"
#include "diag/dbg_log_facade.h"

// A block that is larger than this is refused, so that a description of huge records ends in a code and not
// at the fuzzer's limit. Short call stacks of allocations are kept faster.
extern "C" const char* __asan_default_options();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=256:malloc_context_size=4";
}

namespace sbx::fuzz {
namespace {

constexpr std::uint32_t kDescriptionsId = 1;
constexpr std::uint32_t kRulesId = 2;

// Units of a text that are had by one call; a longer one takes the usual two.
constexpr std::int32_t kFirstTry = 512;

// Whose documents the library's sets are; null for nobody's.
const Module* g_loaded = nullptr;

// Reads each line to its end, as a real output would, and shows it where SBXML_FUZZ_LOG is set.
class ReadingOutput : public IDBGLogOutput {
 public:
  void LogA(std::int32_t, std::int32_t, const char*) override {}
  void LogW(std::int32_t level, std::int32_t, const char16_t* text) override {
    const WideView line(text);
    if (line.size() > kMessageUnits) Finding("a log line beyond the limit of lines");
    if (isShown_) Show(level, line);
  }
  std::int32_t GetLogLevel() override { return level_; }
  void SetLevel(std::int32_t level) { level_ = level; }

 private:
  static void Show(std::int32_t level, WideView line) {
    std::fprintf(stderr, "%d ", static_cast<int>(level));
    for (const char16_t unit : line) std::fputc(unit < 0x80 ? unit : '?', stderr);
    std::fputc('\n', stderr);
  }
  const bool isShown_ = std::getenv("SBXML_FUZZ_LOG") != nullptr;
  std::int32_t level_ = 4;
};

ReadingOutput& Log() {
  static ReadingOutput output;
  return output;
}

std::uint32_t SizeInBytes(const WideString& text) {
  return static_cast<std::uint32_t>(text.size() * sizeof(char16_t));
}

// The continuation bytes that a lead byte asks for, 0 for any other byte.
std::size_t Continuations(std::uint8_t lead) {
  if (lead >= 0xC0 && lead < 0xE0) return 1;
  return lead >= 0xE0 && lead < 0xF0 ? 2 : 0;
}

// A terminated text cannot hold a zero.
std::optional<const SBXChar*> AsArgument(const WideString& text) {
  if (text.find(u'\0') != WideString::npos) return std::nullopt;
  return text.c_str();
}

}  // namespace

std::vector<Bytes> Split(Bytes input, std::size_t count) {
  std::vector<Bytes> parts;
  while (parts.size() + 1 < count) {
    const auto end = std::find(input.begin(), input.end(), kSeparator);
    const auto length = static_cast<std::size_t>(end - input.begin());
    parts.push_back(input.first(length));
    input = input.subspan(std::min(length + 1, input.size()));
  }
  parts.push_back(input);
  return parts;
}

WideString Widen(Bytes text) {
  WideString wide;
  wide.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::uint32_t unit = text[i];
    const std::size_t more = Continuations(text[i]);
    if (more != 0 && i + more < text.size()) {
      unit &= more == 1 ? 0x1Fu : 0x0Fu;
      for (std::size_t k = 0; k < more; ++k) unit = (unit << 6) | (text[++i] & 0x3Fu);
    }
    wide.push_back(static_cast<char16_t>(unit));
  }
  return wide;
}

WideString Document(const char* name) {
  std::ifstream file(std::string(SBXML_FUZZ_DOCUMENTS "/") + name, std::ios::binary);
  if (!file) Finding("a document of the targets is missing");
  const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
  return Widen(bytes);
}

Module::Module(WideString descriptions, WideString rules)
    : descriptions_(std::move(descriptions)),
      rules_(std::move(rules)),
      resources_{{"XML", kDescriptionsId, SizeInBytes(descriptions_), descriptions_.data()},
                 {"XML", kRulesId, SizeInBytes(rules_), rules_.data()}},
      table_{2, resources_} {}

Module::~Module() {
  if (g_loaded == this) g_loaded = nullptr;
}

Module::Documents Module::DocumentsToLoad() const {
  const bool areLoaded = g_conversion.cachedDescSet != nullptr && g_conversion.cachedRuleSet != nullptr;
  if (g_loaded == this && areLoaded) return {nullptr, 0, 0};
  g_loaded = this;
  return {&table_, kDescriptionsId, kRulesId};
}

const void* Module::ToMemory(const WideString& root, const WideString& xml) const {
  const auto rootArgument = AsArgument(root);
  const auto xmlArgument = AsArgument(xml);
  if (!rootArgument || !xmlArgument) return nullptr;
  JSHandle* handle = nullptr;
  const auto [module, descriptions, rules] = DocumentsToLoad();
  const std::int32_t rc = SBXXMLToBinary(module, descriptions, rules, *rootArgument, *xmlArgument, &handle);
  if ((rc == SBX_OK) != (handle != nullptr)) Finding("a handle after a failure, or none after success");
  void* memory = nullptr;
  if (rc == SBX_OK && SBXHandleToBuffer(handle, &memory, nullptr) != SBX_OK) Finding("an unknown handle");
  return memory;
}

std::optional<WideString> Module::ToXml(const WideString& root, const void* memory, std::size_t size) const {
  const auto rootArgument = AsArgument(root);
  if (!rootArgument) return std::nullopt;
  const auto convert = [&](WideString& text, std::int32_t& units) {
    const auto [module, descriptions, rules] = DocumentsToLoad();
    return SBXBinaryToXML_Text(module, descriptions, rules, *rootArgument, memory,
                               static_cast<std::int32_t>(size), text.data(), &units, 0);
  };
  WideString text(kFirstTry, u'?');
  std::int32_t units = kFirstTry;
  std::int32_t rc = convert(text, units);
  if (rc == SBX_E_BUFFER) {
    text.assign(static_cast<std::size_t>(units), u'?');
    rc = convert(text, units);
    // Rules that fit one side only may lead behind a block, where the need changes from call to call.
    if (rc != SBX_OK && rc != SBX_E_BUFFER) Finding("a measured text ends in another code");
    if (rc == SBX_OK && text.find(u'\0') == WideString::npos) Finding("a text without an end");
  }
  if (rc != SBX_OK) return std::nullopt;
  text.resize(text.find(u'\0'));
  return text;
}

void Module::Circle(const WideString& root, const WideString& xml) const {
  const void* const memory = ToMemory(root, xml);
  if (memory == nullptr) return;
  const auto written = ToXml(root, memory, RecordSize(root));
  if (written) ToMemory(root, *written);
}

std::size_t RecordSize(const WideString& name) {
  if (g_conversion.cachedDescSet == nullptr) return 0;
  const JSStructDesc* const record = g_conversion.cachedDescSet->FindStruct(name);
  return record == nullptr ? 0 : static_cast<std::size_t>(record->size);
}

void QuietLog() {
  g_DBGLog = DBGLogFacade{};
  g_DBGLog.fileOutput = &Log();
}

void BeginCase(Bytes input) {
  Log().SetLevel(input.size() % 4 == 0 ? 4 : 0);
}

void EndOfCase() {
  FreeAllHandles();
}

void Finding(const char* words) {
  std::fprintf(stderr, "finding: %s\n", words);
  std::abort();
}

}  // namespace sbx::fuzz
