#include <cstring>
#include <gtest/gtest.h>
#include <windows.h>

#include "platform/memory_access.h"

namespace sbx::platform {
namespace {

// A page of one of the system's kinds.
class Page {
 public:
  explicit Page(DWORD protection)
      : bytes_(static_cast<char*>(VirtualAlloc(nullptr, 4096, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE))) {
    std::memcpy(bytes_, "content", 8);
    DWORD before = 0;
    EXPECT_TRUE(VirtualProtect(bytes_, 4096, protection, &before));
  }
  ~Page() { VirtualFree(bytes_, 0, MEM_RELEASE); }
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

  char* bytes() const { return bytes_; }
  DWORD Protection() const {
    MEMORY_BASIC_INFORMATION info = {};
    VirtualQuery(bytes_, &info, sizeof info);
    return info.Protect;
  }

 private:
  char* bytes_;
};

struct Kind {
  DWORD protection;
  bool isReadable;
  bool isWritable;
};

TEST(PagesOfEveryKind, AreReadAndWrittenAsTheyAllow) {
  const Kind kinds[] = {
      {PAGE_NOACCESS, false, false},
      {PAGE_READONLY, true, false},
      {PAGE_READWRITE, true, true},
      {PAGE_EXECUTE, true, false},
      {PAGE_EXECUTE_READ, true, false},
      {PAGE_EXECUTE_READWRITE, true, true},
      {PAGE_READWRITE | PAGE_GUARD, false, false},
      {PAGE_READONLY | PAGE_GUARD, false, false},
  };
  for (const Kind& kind : kinds) {
    const Page page(kind.protection);
    char text[8] = {};
    EXPECT_EQ(ReadMemory(reinterpret_cast<std::uintptr_t>(page.bytes()), text, 8), kind.isReadable ? 8u : 0u)
        << kind.protection;
    EXPECT_STREQ(text, kind.isReadable ? "content" : "") << kind.protection;
    EXPECT_EQ(IsWritable(page.bytes(), 8), kind.isWritable) << kind.protection;
    EXPECT_EQ(WriteMemory(page.bytes(), "written", 8), kind.isWritable) << kind.protection;
    EXPECT_EQ(page.Protection(), kind.protection) << "nothing may change it";
    if (kind.isWritable) {
      EXPECT_STREQ(page.bytes(), "written");
    }
  }
}

}  // namespace
}  // namespace sbx::platform
