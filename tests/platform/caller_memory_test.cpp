#include "platform/caller_memory.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "platform/guarded_pages.h"

namespace sbx::platform {
namespace {

constexpr std::uintptr_t kLastAddress = ~std::uintptr_t{0};

std::uintptr_t AddressOf(const void* pointer) {
  return reinterpret_cast<std::uintptr_t>(pointer);
}

void Put(unsigned char* at, WideView text) {
  std::memcpy(at, text.data(), text.size() * sizeof(char16_t));
}

TEST(CallerMemory, LoadsValuesFromAnyAddress) {
  GuardedPages pages(2);
  pages.Fill();
  CallerMemory memory;
  for (const std::size_t offset : {0u, 1u, 8u, 4088u, 4089u, 4095u, 4096u, 8184u}) {
    std::uint64_t expected;
    std::memcpy(&expected, pages.At(offset), sizeof expected);
    EXPECT_EQ(memory.Load<std::uint64_t>(pages.AddressOf(offset)), expected) << offset;
  }
}

TEST(CallerMemory, LoadsNothingThatIsNotAllReadable) {
  GuardedPages pages(1);
  CallerMemory memory;
  EXPECT_TRUE(memory.Load<std::uint64_t>(pages.AddressOf(4088)));
  EXPECT_FALSE(memory.Load<std::uint64_t>(pages.AddressOf(4089)));
  EXPECT_FALSE(memory.Load<std::uint64_t>(pages.AddressOf(0) - 1));
  EXPECT_FALSE(memory.Load<char>(pages.AddressOf(4096)));
}

TEST(CallerMemory, NothingLiesAtAddressesThatNobodyHas) {
  CallerMemory memory;
  for (const std::uintptr_t address : {std::uintptr_t{0}, std::uintptr_t{8}, kLastAddress - 7,
                                       kLastAddress - 1, kLastAddress, std::uintptr_t{1} << 63}) {
    char out[16];
    EXPECT_FALSE(memory.Load<std::uint32_t>(address)) << address;
    EXPECT_FALSE(memory.Read(address, out, sizeof out)) << address;
    EXPECT_FALSE(memory.WideText(address)) << address;
    EXPECT_FALSE(memory.NarrowText(address, 1)) << address;
    EXPECT_FALSE(memory.NarrowText(address, kLastAddress)) << address;
    EXPECT_FALSE(memory.IsReadable(address, 1)) << address;
  }
}

TEST(CallerMemory, NoBytesAreReadableAnywhere) {
  CallerMemory memory;
  for (const std::uintptr_t address : {std::uintptr_t{0}, kLastAddress}) {
    EXPECT_TRUE(memory.IsReadable(address, 0));
    EXPECT_TRUE(memory.Read(address, nullptr, 0));
    EXPECT_EQ(memory.NarrowText(address, 0), "");
  }
}

TEST(CallerMemory, IsReadableAsksEveryPage) {
  GuardedPages pages(5);
  pages.Protect(3, PageAccess::kNone);
  CallerMemory memory;
  EXPECT_TRUE(memory.IsReadable(pages.AddressOf(0), 3 * kPageBytes));
  EXPECT_FALSE(memory.IsReadable(pages.AddressOf(0), 3 * kPageBytes + 1));
  EXPECT_FALSE(memory.IsReadable(pages.AddressOf(0), pages.bytes()));
  EXPECT_TRUE(memory.IsReadable(pages.AddressOf(4 * kPageBytes), kPageBytes));
  EXPECT_FALSE(memory.IsReadable(pages.AddressOf(4 * kPageBytes), kPageBytes + 1));
  EXPECT_TRUE(memory.IsReadable(pages.AddressOf(10), 10));
}

TEST(CallerMemory, RangesThatWrapAreNotReadable) {
  GuardedPages pages(1);
  CallerMemory memory;
  const std::uintptr_t address = pages.AddressOf(16);
  ASSERT_TRUE(memory.IsReadable(address, 16));
  char out[16];
  for (const std::uintptr_t size : {kLastAddress, kLastAddress - 15, kLastAddress - address + 2}) {
    EXPECT_FALSE(memory.IsReadable(address, size)) << size;
    EXPECT_FALSE(memory.Read(address, out, size)) << size << ": refused before anything is copied";
  }
  // The longest ranges that do not wrap end in memory that nobody has.
  EXPECT_FALSE(memory.IsReadable(address, kLastAddress - address + 1));
  EXPECT_FALSE(memory.IsReadable(address, kLastAddress - address));
}

TEST(CallerMemory, AnswersFromTheFirstCopyUntilForgotten) {
  GuardedPages pages(1);
  CallerMemory memory;
  *pages.At(8) = 1;
  EXPECT_EQ(memory.Load<unsigned char>(pages.AddressOf(8)), 1);
  *pages.At(8) = 2;
  EXPECT_EQ(memory.Load<unsigned char>(pages.AddressOf(8)), 1);
  pages.Protect(0, PageAccess::kNone);
  EXPECT_EQ(memory.Load<unsigned char>(pages.AddressOf(8)), 1) << "a page that vanished is still known";
  memory.Forget();
  EXPECT_FALSE(memory.Load<unsigned char>(pages.AddressOf(8)));
  pages.Protect(0, PageAccess::kReadWrite);
  EXPECT_FALSE(memory.Load<unsigned char>(pages.AddressOf(8)))
      << "that it could not be read is known as well";
  memory.Forget();
  EXPECT_EQ(memory.Load<unsigned char>(pages.AddressOf(8)), 2);
}

TEST(CallerMemory, AnswersEndWithALogCallThatBlocked) {
  GuardedPages pages(2);
  CallerMemory memory;
  EXPECT_EQ(memory.Load<unsigned char>(pages.AddressOf(8)), 0);
  EXPECT_EQ(memory.WideText(pages.AddressOf(8)), u"");
  EXPECT_FALSE(memory.IsReadable(pages.AddressOf(0), pages.bytes() + 1));
  pages.Fill();
  NoteBlockedThread();
  EXPECT_EQ(memory.Load<unsigned char>(pages.AddressOf(8)), *pages.At(8));
  pages.Protect(0, PageAccess::kNone);
  NoteBlockedThread();
  EXPECT_FALSE(memory.IsReadable(pages.AddressOf(8), 1));
  EXPECT_TRUE(memory.IsReadable(pages.AddressOf(kPageBytes), 1));
}

TEST(CallerMemory, WideTextEndsAtItsZero) {
  GuardedPages pages(2);
  CallerMemory memory;
  // Texts of all lengths around the block that is searched at once, at even and odd addresses, behind which
  // no zero follows soon, close to the start, to a page's end and across it.
  for (const std::size_t offset : {0u, 1u, 2u, 3u, 4000u, 4001u, 4094u, 4095u, 4096u}) {
    for (std::size_t length = 0; length < 70; ++length) {
      std::memset(pages.At(0), 0x41, pages.bytes());
      WideString text(length, u'\u0100');
      if (length > 2) text[length / 2] = u'\u00FF';
      text += u'\0';
      Put(pages.At(offset), text);
      text.pop_back();
      memory.Forget();
      const auto read = memory.WideText(pages.AddressOf(offset));
      ASSERT_TRUE(read) << offset << " " << length;
      ASSERT_EQ(*read, text) << offset << " " << length;
    }
  }
}

TEST(CallerMemory, WideTextMayEndWithTheLastReadableByte) {
  GuardedPages pages(2);
  CallerMemory memory;
  std::memset(pages.At(0), 0x41, pages.bytes());
  Put(pages.At(pages.bytes() - 2), WideView(u"\0", 1));
  for (const std::size_t before : {2u, 4u, 100u, 4096u, 4098u, 8192u}) {
    EXPECT_EQ(memory.WideText(pages.AddressOf(pages.bytes() - before)),
              WideString(before / 2 - 1, u'\u4141'));
  }
  // At odd addresses the zero unit is not met, and half a unit stays behind the last whole one.
  for (const std::size_t before : {1u, 3u, 5u, 99u, 4097u}) {
    EXPECT_FALSE(memory.WideText(pages.AddressOf(pages.bytes() - before))) << before;
  }
}

TEST(CallerMemory, WideTextWithoutAZeroIsNoText) {
  GuardedPages pages(2);
  CallerMemory memory;
  std::memset(pages.At(0), 0x41, pages.bytes());
  for (const std::size_t offset : {0u, 1u, 4095u, 4096u, 8188u, 8189u, 8190u, 8191u, 8192u}) {
    EXPECT_FALSE(memory.WideText(pages.AddressOf(offset))) << offset;
  }
}

TEST(CallerMemory, WideTextIsReadNoFurtherThanItsLimit) {
  GuardedPages pages(3);
  pages.Protect(2, PageAccess::kNone);
  CallerMemory memory;
  const WideString text(4096, u'\u4141');
  std::memset(pages.At(0), 0x41, 2 * kPageBytes);
  for (const std::size_t offset : {0u, 1u}) {
    for (const std::size_t limit : {0u, 1u, 7u, 2046u, 2047u, 2048u}) {
      memory.Forget();
      EXPECT_EQ(memory.WideText(pages.AddressOf(offset), limit), WideView(text).substr(0, limit))
          << offset << " " << limit;
    }
    EXPECT_FALSE(memory.WideText(pages.AddressOf(offset), 4097)) << "memory ends before";
  }
  Put(pages.At(20), WideView(u"\0", 1));
  memory.Forget();
  for (const std::size_t limit : {9u, 10u, 11u, 5000u}) {
    EXPECT_EQ(memory.WideText(pages.AddressOf(0), limit), WideView(text).substr(0, limit < 10 ? limit : 10));
    EXPECT_EQ(memory.WideText(pages.AddressOf(2), limit), WideView(text).substr(0, 9));
  }
}

TEST(CallerMemory, WideTextOfAnyLength) {
  CallerMemory memory;
  for (const std::size_t offset : {0u, 1u, 2u, 4095u}) {
    WideString text(3000000, u'\0');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char16_t>(i % 60000 + 1);
    std::vector<unsigned char> bytes((text.size() + 1) * 2 + offset);
    Put(bytes.data() + offset, text);
    memory.Forget();
    const auto read = memory.WideText(AddressOf(bytes.data()) + offset);
    ASSERT_TRUE(read) << offset;
    EXPECT_TRUE(*read == text) << offset;
  }
}

TEST(CallerMemory, NarrowTextReadsNoFurtherThanItsLimit) {
  GuardedPages pages(2);
  CallerMemory memory;
  std::memset(pages.At(0), 'a', pages.bytes());
  const std::size_t end = pages.bytes();
  EXPECT_EQ(memory.NarrowText(pages.AddressOf(end - 10), 10), std::string(10, 'a'))
      << "no zero, but the limit";
  EXPECT_FALSE(memory.NarrowText(pages.AddressOf(end - 10), 11)) << "neither zero nor limit";
  EXPECT_EQ(memory.NarrowText(pages.AddressOf(kPageBytes - 3), 7), std::string(7, 'a')) << "across pages";
  EXPECT_EQ(memory.NarrowText(pages.AddressOf(0), end), std::string(end, 'a'));
  *pages.At(end - 1) = 0;
  *pages.At(kPageBytes + 3) = 0;
  memory.Forget();
  EXPECT_EQ(memory.NarrowText(pages.AddressOf(end - 10), 11), std::string(9, 'a'));
  EXPECT_EQ(memory.NarrowText(pages.AddressOf(end - 1), kLastAddress), "");
  EXPECT_EQ(memory.NarrowText(pages.AddressOf(kPageBytes - 3), 100), std::string(6, 'a'));
  EXPECT_EQ(memory.NarrowText(pages.AddressOf(kPageBytes - 3), 6), std::string(6, 'a'));
  EXPECT_EQ(memory.NarrowText(pages.AddressOf(kPageBytes - 3), 5), std::string(5, 'a'));
  EXPECT_EQ(memory.NarrowText(pages.AddressOf(kPageBytes - 3), 3), std::string(3, 'a'));
  EXPECT_EQ(memory.NarrowText(pages.AddressOf(0), 0), "");
}

// Walks that fetch several pages at once give the same answers as single questions.
TEST(CallerMemory, WalksInOrderAndAtRandomAgree) {
  constexpr std::size_t kPages = 300;
  GuardedPages pages(kPages);
  pages.Fill();
  std::mt19937 random(7);
  std::vector<bool> readable(kPages, true);
  for (std::size_t i = 0; i < kPages; i += 1 + random() % 23) {
    readable[i] = false;
    pages.Protect(i, PageAccess::kNone);
  }
  CallerMemory inOrder;
  CallerMemory backwards;
  CallerMemory atRandom;
  for (std::size_t i = 0; i < kPages; ++i) {
    ASSERT_EQ(inOrder.IsReadable(pages.AddressOf(i * kPageBytes), 1), readable[i]) << i;
    const std::size_t other = kPages - 1 - i;
    ASSERT_EQ(backwards.IsReadable(pages.AddressOf(other * kPageBytes), 1), readable[other]) << other;
  }
  for (int i = 0; i < 20000; ++i) {
    const std::size_t offset = random() % pages.bytes();
    const std::size_t size =
        std::min<std::size_t>(random() % 3 * kPageBytes + random() % 50, pages.bytes() - offset);
    bool expected = true;
    for (std::size_t at = offset / kPageBytes; size != 0 && at <= (offset + size - 1) / kPageBytes; ++at) {
      expected = expected && readable[at];
    }
    std::vector<unsigned char> out(size);
    ASSERT_EQ(atRandom.Read(pages.AddressOf(offset), out.data(), size), expected) << offset << " " << size;
    ASSERT_EQ(inOrder.IsReadable(pages.AddressOf(offset), size), expected) << offset << " " << size;
    if (expected) {
      ASSERT_TRUE(std::equal(out.begin(), out.end(), pages.At(offset)));
    }
  }
}

// A page fetched along with the one before it counts as asked at that moment.
TEST(CallerMemory, PagesBehindAreNotAskedAgain) {
  GuardedPages pages(32);
  CallerMemory memory;
  ASSERT_TRUE(memory.IsReadable(pages.AddressOf(0), pages.bytes()));
  pages.Fill();
  for (std::size_t i = 0; i < 32; ++i) {
    EXPECT_EQ(memory.Load<std::uint32_t>(pages.AddressOf(i * kPageBytes)), 0u) << i;
  }
}

TEST(CallerMemory, ForgetsAllWhenItKeepsTooMuch) {
  constexpr std::size_t kPages = CallerMemory::kMostPages + 40;
  GuardedPages pages(kPages);
  CallerMemory memory;
  EXPECT_EQ(memory.Load<unsigned char>(pages.AddressOf(0)), 0);
  *pages.At(0) = 1;
  ASSERT_TRUE(memory.IsReadable(pages.AddressOf(0), (CallerMemory::kMostPages - 20) * kPageBytes));
  EXPECT_EQ(memory.Load<unsigned char>(pages.AddressOf(0)), 0);
  ASSERT_TRUE(memory.IsReadable(pages.AddressOf(0), pages.bytes()));
  EXPECT_EQ(memory.Load<unsigned char>(pages.AddressOf(0)), 1);
  EXPECT_FALSE(memory.IsReadable(pages.AddressOf(0), pages.bytes() + 1));
}

TEST(CallerMemory, CountlessBadAddressesTakeLittle) {
  CallerMemory memory;
  for (std::uintptr_t i = 0; i < 200000; ++i) {
    ASSERT_FALSE(memory.IsReadable((std::uintptr_t{1} << 62) + i * 7 * kPageBytes, 1));
  }
  const std::uint32_t value = 5;
  EXPECT_EQ(memory.Load<std::uint32_t>(AddressOf(&value)), 5u);
}

TEST(CallerMemory, GivesTheMemoryOfALargeConversionBack) {
  constexpr std::size_t kLittle = std::size_t{2} << 20;
  constexpr std::size_t kUnits = std::size_t{4} << 20;
  CallerMemory memory;
  {
    const WideString text(kUnits, u'x');
    ASSERT_TRUE(memory.WideText(AddressOf(text.c_str()))) << "gathered from page to page";
    const std::string narrow(kUnits, 'x');
    ASSERT_TRUE(memory.NarrowText(AddressOf(narrow.c_str()), kUnits));
    GuardedPages pages(10'000);
    ASSERT_TRUE(memory.IsReadable(pages.AddressOf(0), pages.bytes()));
  }
  EXPECT_GT(memory.HeldBytes(), 8 * kLittle);
  memory.Forget();
  EXPECT_LT(memory.HeldBytes(), kLittle);
}

TEST(CallerMemory, ServesOneConversionAfterAnother) {
  GuardedPages pages(2000);
  CallerMemory memory;
  for (unsigned round = 1; round < 5; ++round) {
    std::memset(pages.At(0), static_cast<int>(round), pages.bytes());
    for (std::size_t i = 0; i < 2000; i += 3) {
      ASSERT_EQ(memory.Load<std::uint32_t>(pages.AddressOf(i * kPageBytes + 40)), round * 0x01010101u);
    }
    memory.Forget();
  }
}

}  // namespace
}  // namespace sbx::platform
