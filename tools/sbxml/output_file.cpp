#include "sbxml/output_file.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>
#include <utility>

#include "platform/narrow_text.h"
#include "sbxml/documents.h"
#include "sbxml/system.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const std::string& name, const std::string& reason) {
  throw CommandFailure{
      kExitNoOutput,
      {.id = Id::kOutputFailed, .place = {.file = name}, .message = "can't be written: " + reason}};
}

void WriteStandardOutput(std::string_view bytes) {
  std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!std::cout.flush()) Fail("<stdout>", "the stream is closed or full");
}

bool WriteBytes(const std::string& path, std::string_view bytes) {
  std::ofstream out(ToPath(path), std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  return !out.fail();
}

// A file under a name of its own; gone unless it was renamed.
class TemporaryFile {
 public:
  explicit TemporaryFile(const fs::path& target) : path_(system::MakeTemporaryFile(FromPath(target) + ".")) {}
  ~TemporaryFile() {
    if (path_.empty()) return;
    // It may have the rights of a read-only target already, which keep it where files have such a mark.
    std::error_code ignored;
    fs::permissions(ToPath(path_), fs::perms::owner_write, fs::perm_options::add, ignored);
    fs::remove(ToPath(path_), ignored);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& path() const noexcept { return path_; }
  std::error_code RenameTo(const fs::path& target) {
    std::error_code error;
    fs::rename(ToPath(path_), target, error);
    if (!error) path_.clear();
    return error;
  }

 private:
  std::string path_;
};

void ReplaceFile(const std::string& name, const fs::path& target, std::string_view bytes) {
  std::error_code error;
  const fs::file_status before = fs::status(target, error);
  const fs::perms rights =
      fs::exists(before) ? before.permissions() : static_cast<fs::perms>(system::NewFileMode());
  TemporaryFile file(target);
  if (file.path().empty()) Fail(name, std::generic_category().message(errno));
  if (!WriteBytes(file.path(), bytes)) Fail(name, "the disk is full or failed");
  fs::permissions(ToPath(file.path()), rights, error);
  if (const std::error_code failed = file.RenameTo(target)) Fail(name, failed.message());
}

void AppendUtf16(std::string& out, WideView text, bool bigEndian) {
  for (const char16_t unit : text) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    out.push_back(bigEndian ? high : low);
    out.push_back(bigEndian ? low : high);
  }
}

std::string Narrow(WideView text, platform::NarrowPage page, bool& isWhole) {
  if (text.empty()) return {};
  std::string bytes = platform::Narrow(text, page).value_or(std::string());
  isWhole = isWhole && platform::Widen(bytes, page).value_or(WideString()) == text;
  return bytes;
}

}  // namespace

std::string Encode(WideView text, Encoding encoding, bool& isWhole) {
  std::string out;
  switch (encoding) {
    case Encoding::kUtf16:
      out = "\xFF\xFE";
      AppendUtf16(out, text, false);
      break;
    case Encoding::kUtf16BigEndian:
      out = "\xFE\xFF";
      AppendUtf16(out, text, true);
      break;
    case Encoding::kUtf8:
      out = "\xEF\xBB\xBF" + Narrow(text, platform::NarrowPage::kUtf8, isWhole);
      break;
    case Encoding::kAnsi:
      out = Narrow(text, platform::NarrowPage::kAnsi, isWhole);
      break;
  }
  return out;
}

void WriteOutput(const std::string& path, std::string_view bytes) {
  if (path == kStandardStream) return WriteStandardOutput(bytes);
  std::error_code error;
  // A link stays one: what it leads to is replaced.
  const fs::path named = ToPath(path);
  const fs::path target = fs::is_symlink(named, error) ? fs::weakly_canonical(named, error) : named;
  const fs::file_status status = fs::status(target, error);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    if (fs::is_directory(status)) Fail(path, "it is a folder");
    if (!WriteBytes(path, bytes)) Fail(path, "the device refused it");
    return;
  }
  ReplaceFile(path, target, bytes);
}

}  // namespace sbx::tool
