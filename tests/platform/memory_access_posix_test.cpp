#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/guarded_pages.h"
#include "platform/memory_access.h"
#include "support/child_process.h"
#include "support/end_child.h"
#include "support/sanitizers.h"

namespace sbx::platform {
namespace {

// A file of one page and a byte, mapped over four pages: the last two have no file behind them.
class MappedFile {
 public:
  MappedFile() {
    char name[] = "/tmp/sbxml_mapped_XXXXXX";
    file_ = mkstemp(name);
    unlink(name);
    EXPECT_EQ(ftruncate(file_, kPageBytes + 1), 0);
    bytes_ = static_cast<unsigned char*>(
        mmap(nullptr, 4 * kPageBytes, PROT_READ | PROT_WRITE, MAP_SHARED, file_, 0));
    EXPECT_NE(static_cast<void*>(bytes_), MAP_FAILED);
  }
  ~MappedFile() {
    munmap(bytes_, 4 * kPageBytes);
    close(file_);
  }
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  unsigned char* bytes() const { return bytes_; }
  std::uintptr_t address() const { return reinterpret_cast<std::uintptr_t>(bytes_); }

 private:
  int file_;
  unsigned char* bytes_;
};

TEST(MemoryAccessPosix, PagesBeyondTheEndOfAMappedFile) {
  const MappedFile file;
  file.bytes()[kPageBytes] = 0x77;
  std::vector<unsigned char> out(4 * kPageBytes);
  EXPECT_EQ(ReadMemory(file.address(), out.data(), out.size()), 2 * kPageBytes);
  EXPECT_EQ(out[kPageBytes], 0x77);
  EXPECT_TRUE(IsWritable(file.bytes(), 2 * kPageBytes));
  EXPECT_FALSE(IsWritable(file.bytes(), 2 * kPageBytes + 1));
  EXPECT_FALSE(IsWritable(file.bytes() + 2 * kPageBytes, 1));
  EXPECT_TRUE(WriteMemory(file.bytes(), out.data(), 2 * kPageBytes));
  EXPECT_FALSE(WriteMemory(file.bytes(), out.data(), 3 * kPageBytes));
}

TEST(MemoryAccessPosix, KeepsTheErrorNumber) {
  char out[8];
  errno = EPROTO;
  ReadMemory(0, out, sizeof out);
  EXPECT_EQ(errno, EPROTO);
  WriteMemory(nullptr, out, sizeof out);
  EXPECT_EQ(errno, EPROTO);
  (void)IsWritable(nullptr, sizeof out);
  EXPECT_EQ(errno, EPROTO);
  (void)IsWritable(out, sizeof out);
  EXPECT_EQ(errno, EPROTO);
}

std::size_t ResidentBytes() {
  std::size_t all = 0;
  std::size_t resident = 0;
  std::ifstream("/proc/self/statm") >> all >> resident;
  return resident * kPageBytes;
}

TEST(MemoryAccessPosix, AskingForALargeBufferTakesNoMemoryForIt) {
  constexpr std::size_t kSize = std::size_t{256} << 20;
  void* const buffer =
      mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(buffer, MAP_FAILED);
  EXPECT_EQ(madvise(buffer, kSize, MADV_NOHUGEPAGE), 0);
  const std::size_t before = ResidentBytes();
  EXPECT_TRUE(IsWritable(buffer, kSize));
  EXPECT_LT(ResidentBytes(), before + kSize / 8);
  munmap(buffer, kSize);
}

// Another thread takes the page away and brings it back all the time.
TEST(MemoryAccessPosix, SurvivesPagesThatVanishMeanwhile) {
  GuardedPages pages(3);
  std::memset(pages.At(0), 0x11, pages.bytes());
  std::atomic<bool> stop{false};
  std::thread vanisher([&] {
    while (!stop) {
      pages.Protect(1, PageAccess::kNone);
      void* const page = pages.PageAt(1);
      mmap(page, kPageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
    }
  });
  std::vector<unsigned char> out(pages.bytes());
  const std::vector<unsigned char> bytes(pages.bytes(), 0x11);
  for (int i = 0; i < 3000; ++i) {
    const std::size_t read = ReadMemory(pages.AddressOf(0), out.data(), out.size());
    ASSERT_TRUE(read == kPageBytes || read == out.size()) << read;
    ASSERT_EQ(out[kPageBytes - 1], 0x11);
    (void)WriteMemory(pages.At(0), bytes.data(), bytes.size());
    (void)IsWritable(pages.At(0), pages.bytes());
  }
  stop = true;
  vanisher.join();
}

// Refuses the direct calls as some sandboxes do.
void RefuseDirectCalls(int error) {
  const auto number = static_cast<unsigned>(offsetof(seccomp_data, nr));
  const auto refuse = SECCOMP_RET_ERRNO | static_cast<unsigned>(error);
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, number),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_process_vm_readv, 1, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_process_vm_writev, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, refuse),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program = {std::size(filter), filter};
  Require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0);
  Require(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0);
  char byte = 0;
  const iovec piece = {&byte, 1};
  Require(process_vm_readv(getpid(), &piece, 1, &piece, 1, 0) == -1 && errno == error);
}

void RequireEverythingWorks() {
  GuardedPages pages(6);
  pages.Fill();
  pages.Protect(4, PageAccess::kReadOnly);
  pages.Protect(5, PageAccess::kNone);
  std::vector<unsigned char> out(pages.bytes());
  Require(ReadMemory(pages.AddressOf(0), out.data(), out.size()) == 5 * kPageBytes);
  Require(std::memcmp(out.data(), pages.At(0), 5 * kPageBytes) == 0);
  Require(ReadMemory(pages.AddressOf(kPageBytes - 1), out.data(), 2) == 2);
  Require(ReadMemory(pages.AddressOf(5 * kPageBytes), out.data(), 1) == 0);
  Require(ReadMemory(0, out.data(), 8) == 0);
  Require(ReadMemory(~std::uintptr_t{0} - 8, out.data(), 64) == 0);
  Require(IsWritable(pages.At(0), 4 * kPageBytes));
  Require(!IsWritable(pages.At(0), 4 * kPageBytes + 1));
  Require(!IsWritable(nullptr, 1));
  std::memset(out.data(), 0xC3, out.size());
  Require(WriteMemory(pages.At(1), out.data(), 4 * kPageBytes - 1));
  Require(std::memcmp(pages.At(1), out.data(), 4 * kPageBytes - 1) == 0);
  Require(!WriteMemory(pages.PageAt(4), out.data(), 1));
  const MappedFile file;
  Require(ReadMemory(file.address(), out.data(), 4 * kPageBytes) == 2 * kPageBytes);
  Require(!IsWritable(file.bytes(), 3 * kPageBytes));
}

int OpenDescriptors() {
  int count = 0;
  for (int file = 0; file < 256; ++file) count += fcntl(file, F_GETFD) >= 0 ? 1 : 0;
  return count;
}

TEST(MemoryAccessPosix, WorksWhereTheDirectCallsAreRefused) {
  for (const int error : {EPERM, ENOSYS}) {
    EXPECT_EQ(InChild([error] {
                const int before = OpenDescriptors();
                RefuseDirectCalls(error);
                RequireEverythingWorks();
                Require(OpenDescriptors() == before);
              }),
              "exit 0");
  }
}

TEST(MemoryAccessPosix, WorksInAChildProcess) {
  EXPECT_EQ(InChild(RequireEverythingWorks), "exit 0");
}

TEST(MemoryAccessPosix, WorksAfterTheFirstThreadHasEnded) {
  if (testing::kThreadSanitized) GTEST_SKIP() << "ThreadSanitizer does not know a thread that ends alone";
  EXPECT_EQ(InChild([] {
              std::thread([first = pthread_self()] {
                pthread_join(first, nullptr);
                RequireEverythingWorks();
                testing::EndChild(0);
              }).detach();
              syscall(SYS_exit, 1);  // ends this thread alone, without unwinding the test
            }),
            "exit 0");
}

}  // namespace
}  // namespace sbx::platform
