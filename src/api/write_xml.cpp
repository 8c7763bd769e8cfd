// SBXWriteXML, and the file of the file export.
#include <algorithm>
#include <array>
#include <bit>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "api/guarded_call.h"
#include "api/last_error.h"
#include "api/text_files.h"
#include "diag/dbg_log_facade.h"
#include "platform/files.h"
#include "platform/narrow_text.h"

namespace sbx {
namespace {

static_assert(std::endian::native == std::endian::little,
              "bodies of UTF-16 are written as they lie in memory");

// The exports' numbers of the encodings.
constexpr std::uint32_t kUtf16 = 0;
constexpr std::uint32_t kUtf16Swapped = 1;
constexpr std::uint32_t kUtf8 = 2;
constexpr std::uint32_t kAnsi = 3;

constexpr std::string_view kUtf16Mark = "\xFF\xFE";
constexpr std::string_view kUtf16SwappedMark = "\xFE\xFF";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

Status Fail(Status code, WideView text) {
  g_DBGLog.Printf(0, text);
  return code;
}

// Creates the file anew: from here on an existing one has lost its content.
Status Create(platform::TextFile& file, const TextArgument& path) {
  const WideString name(path.view());
  if (file.CreateForWriting(name)) return kOk;
  const std::uint32_t error = platform::LastErrorNumber();
  g_DBGLog.Printf(0, u"Create file %s failed(ErrCode = %d).", path.view(), error);
  return kFile;
}

Status FailToWrite(const TextArgument& path) {
  const std::uint32_t error = platform::LastErrorNumber();
  g_DBGLog.Printf(0, u"Failed to write file %s (ErrCode = %d).", path.view(), error);
  SetLastErrorText(kFile, u"Failed to write file %s (ErrCode = %d)", path.view(), error);
  return kFile;
}

bool WriteUnits(platform::TextFile& file, WideView units) noexcept {
  return file.Write(units.data(), units.size() * sizeof(char16_t));
}

// Writes a document's pieces as they come, which is in large ones.
class FileSink final : public xml::TextSink {
 public:
  explicit FileSink(platform::TextFile& file) noexcept : file_(file) {}
  bool Append(WideView piece) override { return WriteUnits(file_, piece); }

 private:
  platform::TextFile& file_;
};

bool WriteSwapped(platform::TextFile& file, WideView text) noexcept {
  std::array<char16_t, 2048> block;
  for (; !text.empty(); text.remove_prefix(std::min(text.size(), block.size()))) {
    const WideView piece = text.substr(0, block.size());
    std::transform(piece.begin(), piece.end(), block.begin(),
                   [](char16_t unit) { return static_cast<char16_t>(unit << 8 | unit >> 8); });
    if (!WriteUnits(file, {block.data(), piece.size()})) return false;
  }
  return true;
}

// The narrow bodies end in a zero byte, unlike the wide ones.
Status WriteNarrow(platform::TextFile& file, const TextArgument& path, WideView text, std::string_view mark,
                   platform::NarrowPage page) {
  std::optional<std::string> body;
  try {
    body = platform::Narrow(text, page);
  } catch (const std::bad_alloc&) {
    return Fail(kMemory, u"No enough memory for processing UTF-8 encoding.");
  }
  if (!body) return Fail(kMemory, u"Convert UTF-8 XML file failed.");
  const bool written = file.Write(mark.data(), mark.size()) && file.Write(body->c_str(), body->size() + 1);
  return written ? kOk : FailToWrite(path);
}

Status WriteXml(const TextArgument& path, const TextArgument& text, std::uint32_t encoding) {
  if (path.isNullOrEmpty() || text.isNullOrEmpty()) {
    return Fail(kParameter, u"Invalid parameters for writing XML.");
  }
  platform::TextFile file;
  if (const Status rc = Create(file, path); rc != kOk) return rc;
  bool written = false;
  switch (encoding) {
    case kUtf16:
      written = file.Write(kUtf16Mark.data(), kUtf16Mark.size()) && WriteUnits(file, text.view());
      break;
    case kUtf16Swapped:
      written =
          file.Write(kUtf16SwappedMark.data(), kUtf16SwappedMark.size()) && WriteSwapped(file, text.view());
      break;
    case kUtf8:
      return WriteNarrow(file, path, text.view(), kUtf8Mark, platform::NarrowPage::kUtf8);
    case kAnsi:
      return WriteNarrow(file, path, text.view(), {}, platform::NarrowPage::kAnsi);
    default:  // the file stays behind, created and empty
      g_DBGLog.Printf(0, u"Invalid encoding(%d).", encoding);
      return kParameter;
  }
  return written ? kOk : FailToWrite(path);
}

}  // namespace

Status WriteDocumentFile(const TextArgument& path, const xml::SerializedText* text) {
  if (path.isNullOrEmpty() || text == nullptr || text->Units() == 0) {
    return Fail(kParameter, u"Invalid parameters for writing XML.");
  }
  platform::TextFile file;
  FileSink sink(file);
  if (const Status rc = Create(file, path); rc != kOk) return rc;
  const bool written = file.Write(kUtf16Mark.data(), kUtf16Mark.size()) && text->WriteTo(sink);
  return written ? kOk : FailToWrite(path);
}

}  // namespace sbx

extern "C" std::int32_t SBXWriteXML(const SBXChar* filePath, const SBXChar* xmlText, std::uint32_t encoding) {
  return sbx::GuardedCall([&] {
    const sbx::TextArgument path(filePath);
    const sbx::TextArgument text(xmlText);
    return sbx::WriteXml(path, text, encoding);
  });
}
