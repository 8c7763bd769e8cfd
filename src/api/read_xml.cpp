// SBXReadXML.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string_view>

#include "api/arguments.h"
#include "api/guarded_call.h"
#include "diag/dbg_log_facade.h"
#include "platform/files.h"
#include "platform/memory_access.h"
#include "platform/narrow_text.h"

namespace sbx {
namespace {

constexpr std::size_t kLongestMark = 3;
// What a caller's signed size can tell, in bytes.
constexpr std::uint64_t kLargestNeed = std::numeric_limits<std::int32_t>::max();

constexpr WideView kDeclaration = u"<?xml";
constexpr WideView kBlanks = u" \t\n\r";

Status Fail(Status code, WideView text) {
  g_DBGLog.Printf(0, text);
  return code;
}

// A file's bytes, followed by zeros that end its text in every encoding and at odd sizes too.
class FileBytes {
 public:
  Status ReadFrom(const TextArgument& path) {
    platform::TextFile file;
    const WideString name(path.view());
    if (!file.OpenForReading(name)) {
      return FailWithNumber(u"Create file %s failed(ErrCode = %d).", path);
    }
    size_ = file.Size();
    if (size_ == 0) return FailWithNumber(u"Get size of file %s failed (ErrCode = %d).", path);
    bytes_.reset(static_cast<unsigned char*>(std::calloc(std::size_t{size_} + kZeros, 1)));
    if (bytes_ == nullptr) return Fail(kMemory, u"No enough memory for reading XML.");
    // A file that has become shorter meanwhile reads as zeros from there.
    const std::size_t head = std::min<std::size_t>(size_, kLongestMark);
    if (!file.Read(bytes_.get(), head)) return FailToRead(path);
    if (IsUtf16() && size_ > kLargestNeed) return kMemory;  // no need to read it all for that
    if (!file.Read(bytes_.get() + head, size_ - head)) return FailToRead(path);
    return kOk;
  }

  std::uint32_t size() const noexcept { return size_; }
  bool BeginsWith(std::string_view mark) const noexcept {
    return size_ >= mark.size() && std::memcmp(bytes_.get(), mark.data(), mark.size()) == 0;
  }
  bool IsUtf16() const noexcept { return BeginsWith("\xFF\xFE") || BeginsWith("\xFE\xFF"); }
  // The bytes before the first zero, from an offset on.
  std::string_view NarrowText(std::size_t offset) const noexcept {
    return reinterpret_cast<const char*>(bytes_.get()) + offset;
  }
  void SwapUnits() noexcept {
    for (std::uint32_t at = 0; at + 1 < size_; at += 2) std::swap(bytes_[at], bytes_[at + 1]);
  }
  // All that follows the first unit, the zeros included.
  WideView UnitsAfterMark() const noexcept {
    return {reinterpret_cast<const char16_t*>(bytes_.get()) + 1, (size_ + kZeros) / sizeof(char16_t) - 1};
  }

 private:
  static constexpr std::size_t kZeros = 4;

  static Status FailToRead(const TextArgument& path) {
    return FailWithNumber(u"Read file %s failed(ErrCode = %d).", path);
  }
  static Status FailWithNumber(WideView format, const TextArgument& path) {
    const std::uint32_t error = platform::LastErrorNumber();
    g_DBGLog.Printf(0, format, path.view(), error);
    return kFile;
  }

  struct Free {
    void operator()(unsigned char* bytes) const noexcept { std::free(bytes); }
  };
  std::unique_ptr<unsigned char[], Free> bytes_;
  std::uint32_t size_ = 0;
};

// A file's text in memory. `units` holds more than the text: its zero and what follows that.
struct FileText {
  WideView encoding;
  WideView units;
  std::uint64_t need = 0;  // bytes that the caller's buffer must hold
  WideString widened;      // what `units` looks at where the file was narrow
};

Status Widen(std::string_view bytes, platform::NarrowPage page, FileText& text) {
  std::optional<WideString> wide;
  try {
    wide = platform::Widen(bytes, page);
    if (wide) {
      text.widened = std::move(*wide);
      text.widened.append(2, u'\0');
    }
  } catch (const std::bad_alloc&) {
    return Fail(kMemory, page == platform::NarrowPage::kUtf8
                             ? WideView(u"No enough memory for processing UTF-8 encoding.")
                             : WideView(u"No enough memory for processing ANSI encoding."));
  }
  if (!wide) return Fail(kContent, u"Convert UTF-8 XML file failed.");  // the same words for both
  text.units = text.widened;
  text.need = text.widened.size() * sizeof(char16_t);
  return kOk;
}

// Only the first bytes tell the encoding. A file without a mark is narrow text, whatever it says of itself.
Status Decode(FileBytes& bytes, FileText& text) {
  if (bytes.IsUtf16()) {
    text.encoding = bytes.BeginsWith("\xFF\xFE") ? u"UNICODE" : u"UNICODE_BE";
    if (bytes.BeginsWith("\xFE\xFF")) bytes.SwapUnits();
    text.units = bytes.UnitsAfterMark();
    text.need = bytes.size();
    return kOk;
  }
  if (bytes.BeginsWith("\xEF\xBB\xBF")) {
    text.encoding = u"UTF-8";
    return Widen(bytes.NarrowText(3), platform::NarrowPage::kUtf8, text);
  }
  text.encoding = u"ANSI";
  return Widen(bytes.NarrowText(0), platform::NarrowPage::kAnsi, text);
}

// The text behind a leading declaration and the blanks that follow it. The search for the declaration's end
// begins two units behind its first word and stops at the next zero, which may lie behind the text's own.
WideView SkipDeclaration(WideView units) {
  constexpr std::size_t kSearchStart = kDeclaration.size() + 1;
  if (units.size() <= kSearchStart || !units.starts_with(kDeclaration)) return units;
  const std::size_t stop = units.find_first_of(WideView(u">\0", 2), kSearchStart);
  if (stop == WideView::npos || units[stop] != u'>') return units;
  const std::size_t start = units.find_first_not_of(kBlanks, stop + 1);
  return start == WideView::npos ? WideView() : units.substr(start);
}

// Fills the whole buffer: the text, and zeros behind it.
bool FillBuffer(SBXChar* buffer, std::size_t bytes, WideView text) noexcept {
  const std::size_t textBytes = std::min(text.size() * sizeof(char16_t), bytes);
  if (!platform::WriteMemory(buffer, text.data(), textBytes)) return false;
  static constexpr unsigned char kZeros[platform::kPageBytes] = {};
  unsigned char* const target = reinterpret_cast<unsigned char*>(buffer);
  for (std::size_t at = textBytes; at < bytes;) {
    const std::size_t piece = std::min(bytes - at, sizeof kZeros);
    if (!platform::WriteMemory(target + at, kZeros, piece)) return false;
    at += piece;
  }
  return true;
}

Status ReadXml(const TextArgument& path, SBXChar* buffer, const IntArgument& fileSize) {
  if (path.isNullOrEmpty() || fileSize.isNull()) {
    return Fail(kParameter, u"Invalid parameters for reading XML..");
  }
  FileBytes bytes;
  if (const Status rc = bytes.ReadFrom(path); rc != kOk) return rc;
  FileText text;
  if (const Status rc = Decode(bytes, text); rc != kOk) return rc;
  if (text.need > kLargestNeed) return kMemory;

  const WideView shown = SkipDeclaration(text.units);
  const auto need = static_cast<std::int32_t>(text.need);
  if (buffer == nullptr || fileSize.value() < need) {
    fileSize.Store(need);
    // The labels are the wrong way round, and stay so: the need comes first, then the file's size.
    g_DBGLog.Printf(2, u"Need more buffers for XML(Size: %d, Need: %d).", need, bytes.size());
    return kBuffer;
  }
  const auto capacity = static_cast<std::size_t>(fileSize.value());
  if (!platform::IsWritable(buffer, capacity)) {
    g_DBGLog.Printf(0, u"XML Binary unwritable.(Ptr: 0x%p, Size: %d)", FormatArg(static_cast<void*>(buffer)),
                    fileSize.value());
    return kAddress;
  }
  if (!FillBuffer(buffer, capacity, shown.substr(0, shown.find(u'\0')))) {
    return Fail(kAddress, u"Copy XML to buffer failed.");
  }
  g_DBGLog.Printf(3, u"Read XML successfully(%s).", text.encoding);
  return kOk;
}

}  // namespace
}  // namespace sbx

extern "C" std::int32_t SBXReadXML(const SBXChar* filePath, SBXChar* fileBuffer, std::int32_t* fileSize) {
  return sbx::GuardedCall([&] {
    const sbx::TextArgument path(filePath);
    const sbx::IntArgument size(fileSize);
    return sbx::ReadXml(path, fileBuffer, size);
  });
}
