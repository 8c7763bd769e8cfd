#include "platform/memory_map_posix.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace sbx::platform {
namespace {

constexpr int kEnd = -1;

// The thread's own entry: the process's is empty once its first thread has ended.
constexpr const char* kListPath = "/proc/thread-self/maps";

int HexDigit(int byte) noexcept {
  if (byte >= '0' && byte <= '9') return byte - '0';
  if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
  return -1;
}

}  // namespace

MappingList::MappingList() noexcept {
  do {
    file_ = open(kListPath, O_RDONLY | O_CLOEXEC | O_NOCTTY);
  } while (file_ < 0 && errno == EINTR);
}

MappingList::~MappingList() {
  if (file_ >= 0) close(file_);
}

// A line reads "<first>-<end> <permissions> ...", with names of any length and content behind.
bool MappingList::Next(Mapping& mapping) noexcept {
  if (!ReadAddress(mapping.first, '-') || !ReadAddress(mapping.end, ' ')) return false;
  if (mapping.first >= mapping.end) return false;
  mapping.readable = NextByte() == 'r';
  mapping.writable = NextByte() == 'w';
  for (int byte = NextByte(); byte != '\n'; byte = NextByte()) {
    if (byte == kEnd) return false;
  }
  return true;
}

int MappingList::NextByte() noexcept {
  if (at_ == filled_) {
    if (file_ < 0) return kEnd;
    ssize_t count;
    do {
      count = read(file_, buffer_, sizeof buffer_);
    } while (count < 0 && errno == EINTR);
    if (count <= 0) return kEnd;
    at_ = 0;
    filled_ = static_cast<std::size_t>(count);
  }
  return static_cast<unsigned char>(buffer_[at_++]);
}

bool MappingList::ReadAddress(std::uintptr_t& address, char behind) noexcept {
  address = 0;
  int byte = NextByte();
  if (HexDigit(byte) < 0) return false;
  for (; HexDigit(byte) >= 0; byte = NextByte()) {
    if (address > UINTPTR_MAX >> 4) return false;
    address = address << 4 | static_cast<std::uintptr_t>(HexDigit(byte));
  }
  return byte == behind;
}

}  // namespace sbx::platform
