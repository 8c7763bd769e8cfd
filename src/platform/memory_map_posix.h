// The process's memory mappings, for the POSIX twins of this room.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sbx::platform {

struct Mapping {
  std::uintptr_t first;  // address of its first byte
  std::uintptr_t end;    // address behind its last byte
  bool readable;
  bool writable;
};

// Reads the system's list of mappings, in ascending order, piece by piece and without allocating. A list
// that changes while it is read comes out with each line whole.
class MappingList {
 public:
  MappingList() noexcept;
  ~MappingList();
  MappingList(const MappingList&) = delete;
  MappingList& operator=(const MappingList&) = delete;

  // Whether the system lets the list be read at all.
  bool isOpen() const noexcept { return file_ >= 0; }
  // Fetches the next mapping; false at the end of the list, and from a line that can't be understood on.
  bool Next(Mapping& mapping) noexcept;

 private:
  int NextByte() noexcept;
  bool ReadAddress(std::uintptr_t& address, char behind) noexcept;

  int file_;
  std::size_t at_ = 0;
  std::size_t filled_ = 0;
  char buffer_[2048];
};

}  // namespace sbx::platform
