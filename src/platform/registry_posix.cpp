#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdlib.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/registry.h"
#include "platform/registry_export.h"

namespace sbx::platform {
namespace {

constexpr char kDefaultFile[] = "/etc/vaultmere/registry.reg";
// A real one has a few hundred bytes; what is larger than this is no configuration.
constexpr off_t kLargestFile = 16 << 20;

std::string ReadFile(const char* path) {
  // Without O_NONBLOCK a pipe in the file's place would stop the host.
  const int file = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (file < 0) return {};
  struct Closer {
    int file;
    ~Closer() { ::close(file); }
  } const closer{file};
  struct stat status;
  if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > kLargestFile) return {};
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = ::read(file, bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  bytes.resize(done);
  return bytes;
}

}  // namespace

struct RegistryKey::State {
  RegistryValues values;
};

RegistryKey::RegistryKey() noexcept = default;
RegistryKey::~RegistryKey() = default;

std::uint32_t RegistryKey::Open(const WideString& path) {
  Close();
  const char* named = ::secure_getenv("SBXML_REGISTRY");
  std::optional<RegistryKeys> keys = ReadRegistryExport(ReadFile(named != nullptr ? named : kDefaultFile));
  if (!keys) return kStatusFileNotFound;
  const auto found = keys->find(RegistryUpper(u"HKEY_LOCAL_MACHINE\\" + path));
  if (found == keys->end()) return kStatusFileNotFound;
  state_ = std::make_unique<State>(State{std::move(found->second)});
  return kStatusSuccess;
}

void RegistryKey::Close() noexcept {
  state_.reset();
}

std::uint32_t RegistryKey::Query(const WideString& value, void* out, std::size_t* size) noexcept {
  if (state_ == nullptr) return kStatusFileNotFound;
  const RegistryBytes* bytes = nullptr;
  for (const auto& [name, stored] : state_->values) {
    if (EqualsIgnoringCase(name, value)) bytes = &stored;
  }
  if (bytes == nullptr) return kStatusFileNotFound;
  const std::size_t room = *size;
  *size = bytes->size();
  if (out == nullptr) return kStatusSuccess;
  if (room < bytes->size()) return kStatusMoreData;
  if (!bytes->empty()) std::memcpy(out, bytes->data(), bytes->size());
  return kStatusSuccess;
}

}  // namespace sbx::platform
