#include "base/name_hash.h"

#include <atomic>
#include <cstddef>
#include <cstring>
#include <random>

namespace sbx {
namespace {

__extension__ using Product = unsigned __int128;

constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;  // any large odd number

struct HashKey {
  std::uint64_t start;
  std::uint64_t word;  // combined with each word of a name
};

HashKey DrawKey() noexcept {
  try {
    std::random_device device;
    const auto draw = [&device] { return std::uint64_t{device()} << 32 | device(); };
    return {draw(), draw()};
  } catch (...) {
    static const char anchor = 0;  // lies where the system happened to load the code
    const std::uint64_t chance = reinterpret_cast<std::uintptr_t>(&anchor) * kMultiplier;
    return {chance, ~chance * kMultiplier};
  }
}

// 0 until drawn. Of several threads that draw at once the first one's numbers stand; a static object's guard
// leaves handles behind with each unloading, in some run time libraries.
constinit std::atomic<std::uint64_t> g_start = 0;
constinit std::atomic<std::uint64_t> g_word = 0;

std::uint64_t Settle(std::atomic<std::uint64_t>& cell, std::uint64_t drawn) noexcept {
  std::uint64_t known = 0;
  const std::uint64_t offered = drawn == 0 ? 1 : drawn;
  return cell.compare_exchange_strong(known, offered, std::memory_order_relaxed) ? offered : known;
}

HashKey ProcessKey() noexcept {
  const HashKey key = {g_start.load(std::memory_order_relaxed), g_word.load(std::memory_order_relaxed)};
  if (key.start != 0 && key.word != 0) return key;
  const HashKey drawn = DrawKey();
  return {Settle(g_start, drawn.start), Settle(g_word, drawn.word)};
}

// Both halves of a product, folded, of two factors that each hold a part of the key. The lower half alone, or
// a factor that is known, would not do: some bits of a word then change the hash in a way that does not
// depend on the key, a next word cancels it, and from such pairs names that meet can be made without end.
std::uint64_t Mix(std::uint64_t hash, std::uint64_t word, const HashKey& key) noexcept {
  const Product product = Product{hash} * (word ^ key.word);
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

}  // namespace

std::uint64_t HashName(WideView name) noexcept {
  const HashKey key = ProcessKey();
  std::uint64_t hash = key.start;
  // Four units at a time, then the rest with the length.
  const std::uint64_t length = std::uint64_t{name.size()} << 48;
  std::uint64_t word = 0;
  constexpr std::size_t kStep = sizeof word / sizeof(char16_t);
  for (; name.size() >= kStep; name.remove_prefix(kStep)) {
    std::memcpy(&word, name.data(), sizeof word);
    hash = Mix(hash, word, key);
  }
  word = 0;
  for (const char16_t unit : name) word = word << 16 | unit;
  return Mix(Mix(hash, length | word, key), kMultiplier, key);
}

}  // namespace sbx
