#include "xml/native/arena.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace sbx::xml::native {
namespace {

constexpr std::size_t kPieceBytes = 1000;

// Fills an arena with pieces that hold a mark, and says whether all still hold it at the end.
class MarkedArena {
 public:
  MarkedArena(unsigned char mark, std::size_t pieces) : mark_(mark) {
    for (std::size_t i = 0; i < pieces; ++i) {
      pieces_.push_back(static_cast<unsigned char*>(arena_.Allocate(kPieceBytes)));
      std::memset(pieces_.back(), mark_, kPieceBytes);
    }
  }
  bool HoldsItsMark() const {
    const std::vector<unsigned char> expected(kPieceBytes, mark_);
    for (const unsigned char* piece : pieces_) {
      if (std::memcmp(piece, expected.data(), kPieceBytes) != 0) return false;
    }
    return true;
  }

 private:
  Arena arena_;
  std::vector<unsigned char*> pieces_;
  unsigned char mark_;
};

TEST(Arena, GivesAlignedMemoryOfAnySize) {
  Arena arena;
  for (const std::size_t bytes : {1U, 7U, 8U, 9U, 4096U, 16384U, 5'000'000U}) {
    auto* const memory = static_cast<unsigned char*>(arena.Allocate(bytes));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % 8, 0U) << bytes;
    std::memset(memory, 0xA5, bytes);
  }
}

TEST(Arena, RefusesWhatNoMemoryHolds) {
  Arena arena;
  EXPECT_THROW(arena.Allocate(SIZE_MAX), std::bad_alloc);
  EXPECT_THROW(arena.Allocate(SIZE_MAX - 16), std::bad_alloc);
  EXPECT_NE(arena.Allocate(8), nullptr);
}

// Chunks pass from an arena that is gone to the next one, never to one that lives beside another.
TEST(Arena, SharesNothingWithAnotherThatLives) {
  for (int round = 0; round < 3; ++round) {
    const MarkedArena first(1, 5000);
    { const MarkedArena gone(2, 9000); }
    const MarkedArena second(3, 9000);
    const MarkedArena third(4, 100);
    EXPECT_TRUE(first.HoldsItsMark());
    EXPECT_TRUE(second.HoldsItsMark());
    EXPECT_TRUE(third.HoldsItsMark());
  }
}

TEST(Arena, SharesNothingAcrossThreads) {
  std::vector<std::thread> threads;
  for (unsigned char mark = 1; mark <= 4; ++mark) {
    threads.emplace_back([mark] {
      for (std::size_t round = 0; round < 100; ++round) {
        const MarkedArena arena(mark, 20 + round * 7);
        EXPECT_TRUE(arena.HoldsItsMark());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace sbx::xml::native
