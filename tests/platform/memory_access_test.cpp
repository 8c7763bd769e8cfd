#include "platform/memory_access.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "platform/guarded_pages.h"

namespace sbx::platform {
namespace {

constexpr std::uintptr_t kLastAddress = ~std::uintptr_t{0};

// Addresses that no process can read.
constexpr std::uintptr_t kBadAddresses[] = {
    0,
    1,
    8,
    kPageBytes - 1,
    0x7FFFFFFFFFFFFFFF,
    0x8000000000000000,
    0x0000DEAD00000000ull << 16,
    1ull << 63,
    ~0ull << 47,
    ~0ull << 32,
    kLastAddress - kPageBytes,
    kLastAddress - 1,
    kLastAddress,
};

TEST(ReadMemory, CopiesRangesOfAnyPlaceAndSize) {
  GuardedPages pages(3);
  pages.Fill();
  for (const std::size_t offset : {0u, 1u, 7u, 4094u, 4095u, 4096u, 5000u, 12287u}) {
    for (const std::size_t size : {0u, 1u, 2u, 8u, 4095u, 4096u, 4097u, 8192u, 12288u}) {
      if (offset + size > pages.bytes()) continue;
      std::vector<unsigned char> out(size + 1, 0xEE);
      ASSERT_EQ(ReadMemory(pages.AddressOf(offset), out.data(), size), size) << offset << " " << size;
      ASSERT_EQ(std::memcmp(out.data(), pages.At(offset), size), 0) << offset << " " << size;
      ASSERT_EQ(out[size], 0xEE);
    }
  }
}

TEST(ReadMemory, StopsAtTheFirstPageThatCannotBeRead) {
  GuardedPages pages(4);
  pages.Fill();
  pages.Protect(2, PageAccess::kNone);
  std::vector<unsigned char> out(pages.bytes());
  EXPECT_EQ(ReadMemory(pages.AddressOf(0), out.data(), out.size()), 2 * kPageBytes);
  EXPECT_EQ(std::memcmp(out.data(), pages.At(0), 2 * kPageBytes), 0);
  EXPECT_EQ(ReadMemory(pages.AddressOf(100), out.data(), 3 * kPageBytes), 2 * kPageBytes - 100);
  EXPECT_EQ(ReadMemory(pages.AddressOf(2 * kPageBytes - 1), out.data(), 2), 1u);
  EXPECT_EQ(ReadMemory(pages.AddressOf(2 * kPageBytes), out.data(), 1), 0u);
  EXPECT_EQ(ReadMemory(pages.AddressOf(3 * kPageBytes), out.data(), 2 * kPageBytes), kPageBytes);
}

TEST(ReadMemory, LongRangesStopWhereMemoryDoes) {
  GuardedPages pages(1100);
  pages.Fill();
  std::vector<unsigned char> out(pages.bytes() + kPageBytes);
  EXPECT_EQ(ReadMemory(pages.AddressOf(0), out.data(), pages.bytes()), pages.bytes());
  EXPECT_EQ(std::memcmp(out.data(), pages.At(0), pages.bytes()), 0);
  EXPECT_EQ(ReadMemory(pages.AddressOf(0), out.data(), out.size()), pages.bytes());
  for (const std::size_t hole : {255u, 256u, 257u, 512u, 1023u, 1099u}) {
    pages.Protect(hole, PageAccess::kNone);
    EXPECT_EQ(ReadMemory(pages.AddressOf(3), out.data(), pages.bytes() - 3), hole * kPageBytes - 3);
    pages.Protect(hole, PageAccess::kReadWrite);
  }
}

TEST(ReadMemory, SurvivesAddressesThatNobodyHas) {
  unsigned char out[64];
  for (const std::uintptr_t address : kBadAddresses) {
    for (const std::size_t size : {1u, 2u, 64u}) EXPECT_EQ(ReadMemory(address, out, size), 0u) << address;
    EXPECT_EQ(ReadMemory(address, out, 0), 0u);
  }
}

TEST(ReadMemory, SurvivesSizesThatWrap) {
  GuardedPages pages(1);
  pages.Fill();
  std::vector<unsigned char> out(kPageBytes);
  // Nothing lies behind the page, so no more than the page is ever copied.
  EXPECT_EQ(ReadMemory(pages.AddressOf(0), out.data(), kLastAddress), kPageBytes);
  EXPECT_EQ(ReadMemory(pages.AddressOf(kPageBytes - 4), out.data(), kLastAddress - 2), 4u);
  EXPECT_EQ(std::memcmp(out.data(), pages.At(kPageBytes - 4), 4), 0);
}

TEST(ReadMemory, ReadsReadOnlyMemory) {
  GuardedPages pages(1);
  pages.Fill();
  pages.Protect(0, PageAccess::kReadOnly);
  unsigned char out[4];
  EXPECT_EQ(ReadMemory(pages.AddressOf(8), out, sizeof out), sizeof out);
  EXPECT_EQ(std::memcmp(out, pages.At(8), sizeof out), 0);
}

TEST(WriteMemory, CopiesRangesOfAnyPlaceAndSize) {
  GuardedPages pages(3);
  for (const std::size_t offset : {0u, 1u, 4094u, 4095u, 4096u, 12287u}) {
    for (const std::size_t size : {0u, 1u, 2u, 8u, 4096u, 4097u, 8192u}) {
      if (offset + size > pages.bytes()) continue;
      pages.Fill();
      std::vector<unsigned char> expected(pages.At(0), pages.At(0) + pages.bytes());
      std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(offset), size,
                  static_cast<unsigned char>(0xA5));
      const std::vector<unsigned char> bytes(size + 1, 0xA5);
      ASSERT_TRUE(WriteMemory(pages.At(offset), bytes.data(), size));
      ASSERT_EQ(std::memcmp(pages.At(0), expected.data(), expected.size()), 0) << offset << " " << size;
    }
  }
}

TEST(WriteMemory, LongRanges) {
  GuardedPages pages(600);
  const std::vector<unsigned char> bytes(pages.bytes(), 0x5A);
  EXPECT_TRUE(WriteMemory(pages.At(0), bytes.data(), bytes.size()));
  EXPECT_EQ(std::memcmp(pages.At(0), bytes.data(), bytes.size()), 0);
  EXPECT_FALSE(WriteMemory(pages.At(1), bytes.data(), bytes.size()));
}

TEST(WriteMemory, FailsWhereMemoryCannotBeWritten) {
  GuardedPages pages(3);
  pages.Protect(1, PageAccess::kReadOnly);
  const std::vector<unsigned char> bytes(2 * kPageBytes, 1);
  EXPECT_FALSE(WriteMemory(pages.PageAt(1), bytes.data(), 1));
  EXPECT_FALSE(WriteMemory(pages.PageAt(0), bytes.data(), kPageBytes + 1));
  EXPECT_EQ(*pages.PageAt(1), 0);
  pages.Protect(1, PageAccess::kNone);
  EXPECT_FALSE(WriteMemory(pages.PageAt(1), bytes.data(), 1));
  EXPECT_TRUE(WriteMemory(pages.PageAt(1), bytes.data(), 0));
  for (const std::uintptr_t address : kBadAddresses) {
    EXPECT_FALSE(WriteMemory(reinterpret_cast<void*>(address), bytes.data(), 8)) << address;
  }
}

TEST(IsWritable, AsksEveryPage) {
  GuardedPages pages(40);
  pages.Fill();
  const std::vector<unsigned char> before(pages.At(0), pages.At(0) + pages.bytes());
  EXPECT_TRUE(IsWritable(pages.At(0), 1));
  EXPECT_TRUE(IsWritable(pages.At(0), pages.bytes()));
  EXPECT_TRUE(IsWritable(pages.At(kPageBytes - 1), 2));
  EXPECT_FALSE(IsWritable(pages.At(0), pages.bytes() + 1));
  EXPECT_FALSE(IsWritable(pages.At(pages.bytes() - 1), 2));
  for (const PageAccess access : {PageAccess::kReadOnly, PageAccess::kNone}) {
    pages.Protect(20, access);
    EXPECT_FALSE(IsWritable(pages.PageAt(20), 1));
    EXPECT_FALSE(IsWritable(pages.PageAt(20) - 1, 2));
    EXPECT_TRUE(IsWritable(pages.PageAt(20) - 1, 1));
    EXPECT_TRUE(IsWritable(pages.PageAt(21), 1));
    EXPECT_FALSE(IsWritable(pages.At(0), pages.bytes()));
    EXPECT_TRUE(IsWritable(pages.At(0), 20 * kPageBytes));
  }
  pages.Protect(20, PageAccess::kReadWrite);
  EXPECT_EQ(std::memcmp(pages.At(0), before.data(), before.size()), 0) << "asking writes nothing";
}

TEST(IsWritable, NoBytesAreWritableAnywhere) {
  for (const std::uintptr_t address : kBadAddresses) {
    EXPECT_TRUE(IsWritable(reinterpret_cast<void*>(address), 0));
    EXPECT_FALSE(IsWritable(reinterpret_cast<void*>(address), 1)) << address;
    EXPECT_FALSE(IsWritable(reinterpret_cast<void*>(address), kLastAddress)) << address;
  }
}

TEST(IsWritable, ConstantsAndCodeAreNot) {
  static const char text[] = "constant";
  EXPECT_FALSE(IsWritable(text, sizeof text));
  EXPECT_FALSE(IsWritable(reinterpret_cast<const void*>(&IsWritable), 1));
  char local = 0;
  EXPECT_TRUE(IsWritable(&local, sizeof local));
}

}  // namespace
}  // namespace sbx::platform
