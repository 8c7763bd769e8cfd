// Memory that varies, under descriptions and rules that vary too: pointers to anywhere are read softly.
//
// The memory lies on pages of its own with nothing behind them. A word of it whose upper half is the mark
// leads into these pages, or a little beyond; any other is a pointer to wherever its number says.
#include <algorithm>
#include <cstring>
#include <sys/mman.h>

#include "fuzz_case.h"

using namespace sbx;
using namespace sbx::fuzz;

namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kMemory = 4 * kPage;
constexpr std::uint64_t kMark = 0x52545050;  // "PPTR" in memory order

std::uint8_t* Pages() {
  void* const pages =
      mmap(nullptr, kMemory + kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) Finding("no pages");
  auto* const first = static_cast<std::uint8_t*>(pages);
  if (mprotect(first + kMemory, kPage, PROT_NONE) != 0) Finding("no end of memory");
  return first;
}

// Pointers into the pages are known by their mark only, so that an input means the same in each process.
void Link(std::uint8_t* memory) {
  for (std::size_t at = 0; at < kMemory; at += sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    std::memcpy(&word, memory + at, sizeof word);
    if (word >> 32 != kMark) continue;
    word = reinterpret_cast<std::uintptr_t>(memory) + (word & 0xFFFFFFFF) % (kMemory + 64);
    std::memcpy(memory + at, &word, sizeof word);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  QuietLog();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  BeginCase({data, size});
  static std::uint8_t* const memory = Pages();
  const auto parts = Split({data, size}, 4);
  const std::size_t given = std::min(parts[3].size(), kMemory);
  std::memset(memory, 0, kMemory);
  std::copy_n(parts[3].begin(), given, memory);
  Link(memory);

  const Module module(Widen(parts[1]), Widen(parts[2]));
  const WideString root = Widen(parts[0]);
  module.ToMemory(root, u"<a/>");  // reads the descriptions
  const std::size_t bytes = RecordSize(root);
  const auto xml = module.ToXml(root, memory, bytes);
  if (xml) module.ToMemory(root, *xml);
  EndOfCase();
  return 0;
}
