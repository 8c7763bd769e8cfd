#include <array>
#include <climits>
#include <dlfcn.h>
#include <memory>
#include <stdlib.h>
#include <unistd.h>

#include "platform/module_identity.h"
#include "platform/narrow_text.h"

namespace sbx::platform {
namespace {

WideString RealPath(const char* path) {
  const auto release = [](char* text) { ::free(text); };
  const std::unique_ptr<char, decltype(release)> real(::realpath(path, nullptr), release);
  return real == nullptr ? WideString() : Widen(real.get(), NarrowPage::kUtf8).value_or(WideString());
}

}  // namespace

const char16_t kPathSeparator = u'/';

WideString OwnModulePath() {
  static const char marker = 0;
  Dl_info info = {};
  if (dladdr(&marker, &info) != 0 && info.dli_fname != nullptr) {
    WideString path = RealPath(info.dli_fname);
    if (!path.empty()) return path;
  }
  return ExecutablePath();
}

WideString OwnModuleName() {
  return u"libsbxml.so";
}

FileVersion OwnFileVersion() noexcept {
  return {static_cast<std::uint32_t>(SBXML_VERSION_MAJOR) << 16 | SBXML_VERSION_MINOR,
          static_cast<std::uint32_t>(SBXML_VERSION_PATCH) << 16 | SBXML_VERSION_TWEAK};
}

WideString ExecutablePath() {
  std::array<char, PATH_MAX> path;
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0) return {};
  return Widen({path.data(), static_cast<std::size_t>(length)}, NarrowPage::kUtf8).value_or(WideString());
}

FileVersion ExecutableFileVersion() noexcept {
  return {0, 0};
}

std::uint32_t CurrentProcessId() noexcept {
  return static_cast<std::uint32_t>(::getpid());
}

std::uint32_t CurrentThreadId() noexcept {
  return static_cast<std::uint32_t>(::gettid());
}

}  // namespace sbx::platform
