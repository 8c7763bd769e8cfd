#include <gtest/gtest.h>
#include <windows.h>

#include "platform/named_objects.h"

namespace sbx::platform {
namespace {

// Another program may have made the block in any way that the system knows.
TEST(SharedBlockWin, MemoryThatIsOnlyReservedIsRefused) {
  const HANDLE made = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE | SEC_RESERVE, 0,
                                         65536, L"sbxml_test_reserved");
  ASSERT_NE(made, nullptr);
  SharedBlock block;
  ASSERT_EQ(block.Open(u"sbxml_test_reserved"), ObjectStatus::kOk);
  EXPECT_EQ(block.Map(64), nullptr);
  CloseHandle(made);
}

TEST(SharedBlockWin, MemoryThatIsReservedBehindItsFrontIsRefused) {
  const HANDLE made = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE | SEC_RESERVE, 0,
                                         65536, L"sbxml_test_half");
  ASSERT_NE(made, nullptr);
  void* const view = MapViewOfFile(made, FILE_MAP_ALL_ACCESS, 0, 0, 0);
  ASSERT_NE(VirtualAlloc(view, 4096, MEM_COMMIT, PAGE_READWRITE), nullptr);
  SharedBlock block;
  ASSERT_EQ(block.Open(u"sbxml_test_half"), ObjectStatus::kOk);
  EXPECT_EQ(block.Map(4097), nullptr);
  EXPECT_NE(block.Map(4096), nullptr) << "what is there can be used";
  UnmapViewOfFile(view);
  CloseHandle(made);
}

// Wine maps it for writing all the same.
TEST(SharedBlockWin, MemoryThatIsMappedCanBeWritten) {
  const HANDLE made =
      CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READONLY, 0, 65536, L"sbxml_test_read_only");
  ASSERT_NE(made, nullptr);
  SharedBlock block;
  auto* const bytes =
      static_cast<char*>(block.Open(u"sbxml_test_read_only") == ObjectStatus::kOk ? block.Map(64) : nullptr);
  EXPECT_TRUE(bytes == nullptr || (bytes[0] = 'x') == 'x');
  CloseHandle(made);
}

}  // namespace
}  // namespace sbx::platform
