// The built library loaded, unloaded and ended under hosts that go on logging.
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>
#include <vector>
#include <windows.h>

#include "base/format.h"
#include "diag/log_config_format.h"
#include "platform/named_objects.h"
#include "support/killable_process.h"
#include "support/log_files.h"
#include "support/log_sandbox.h"

namespace sbx {
namespace {

namespace fs = std::filesystem;
using testing::KillableProcess;

// Logs at level 0, for its arguments are bad.
using WriteXml = std::int32_t (*)(const char16_t*, const char16_t*, std::uint32_t);

HMODULE Load() {
  return LoadLibraryW(L"sbxml.dll");
}
WriteXml Find(HMODULE library) {
  return reinterpret_cast<WriteXml>(reinterpret_cast<void*>(GetProcAddress(library, "SBXWriteXML")));
}

// The handles of this process, asked one by one: Wine doesn't tell their number.
std::size_t Handles() {
  std::size_t count = 0;
  for (std::uintptr_t value = 4; value < 0x4000; value += 4) {
    DWORD flags = 0;
    if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++count;
  }
  return count;
}

// The regions of memory that are in use.
std::size_t Regions() {
  std::size_t count = 0;
  MEMORY_BASIC_INFORMATION info = {};
  for (const char* at = nullptr; VirtualQuery(at, &info, sizeof info) != 0;
       at = static_cast<const char*>(info.BaseAddress) + info.RegionSize) {
    if (info.State != MEM_FREE && info.Type == MEM_MAPPED) ++count;
  }
  return count;
}

class Unloading : public ::testing::Test {
 protected:
  fs::path Log() const { return sandbox_.logs() / "sbxml.dll.Log"; }
  testing::LogSandbox sandbox_;
};

TEST_F(Unloading, LeavesNothingOpenMappedOrLyingAbout) {
  KillableProcess host([this] {
    std::size_t handles = 0;
    std::size_t regions = 0;
    for (int round = 0; round < 12; ++round) {
      const HMODULE library = Load();
      if (library == nullptr) return 2;
      const WriteXml write = Find(library);
      if (write == nullptr) return 3;
      write(nullptr, nullptr, 0);
      std::thread([write] { write(nullptr, nullptr, 0); }).join();
      if (!FreeLibrary(library)) return 4;
      if (GetModuleHandleW(L"sbxml.dll") != nullptr) return 5;
      if (round == 3) {  // the system itself has settled
        handles = Handles();
        regions = Regions();
      }
    }
    const Message block(kLogConfigBlockName, static_cast<std::uint32_t>(GetCurrentProcessId()));
    const Message mutex(kLogConfigMutexName, static_cast<std::uint32_t>(GetCurrentProcessId()));
    platform::SharedBlock leftBlock;
    platform::NamedMutex leftMutex;
    if (leftBlock.Open(block.view()) != platform::ObjectStatus::kNotFound) return 6;
    if (leftMutex.Open(mutex.view()) != platform::ObjectStatus::kNotFound) return 7;
    if (handles == 0 || Handles() != handles) return 8;
    if (Regions() > regions) return 9;
    const fs::path moved = Log().string() + ".moved";  // nobody has the file open
    std::error_code refused;
    fs::rename(Log(), moved, refused);
    if (refused) return 10;
    fs::rename(moved, Log());
    return 0;
  });
  EXPECT_EQ(host.Wait(), 0);
  EXPECT_EQ(testing::MessagesOf(Log()).size(), 24u);
}

// Loaded and unloaded over and over, each time with threads that log up to the end; the last one out unloads.
TEST_F(Unloading, WithThreadsThatLoggedUpToTheEndLosesNothing) {
  constexpr int kRounds = 20;
  KillableProcess host([] {
    for (int round = 0; round < kRounds; ++round) {
      std::vector<std::thread> threads;
      for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
          const HMODULE library = Load();
          if (library == nullptr) std::_Exit(2);
          const WriteXml write = Find(library);
          for (int i = 0; i < 5; ++i) write(nullptr, nullptr, 0);
          if (!FreeLibrary(library)) std::_Exit(3);
        });
      }
      for (std::thread& thread : threads) thread.join();
      if (GetModuleHandleW(L"sbxml.dll") != nullptr) return 4;
    }
    return 0;
  });
  EXPECT_EQ(host.Wait(), 0);
  EXPECT_EQ(testing::MessagesOf(Log()).size(), kRounds * 4u * 5u);
}

TEST_F(Unloading, AtTheEndOfTheProcessOtherThreadsMayBeLogging) {
  std::size_t lines = 0;
  for (int round = 0; round < 10; ++round) {
    KillableProcess host([] {
      const HMODULE library = Load();
      if (library == nullptr) return 2;
      const WriteXml write = Find(library);
      for (int i = 0; i < 4; ++i) {
        std::thread([write] {
          for (;;) write(nullptr, nullptr, 0);
        }).detach();
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      ::exit(0);
    });
    EXPECT_EQ(host.Wait(), 0);
    lines = testing::ReadLogLines(Log()).size();
  }
  EXPECT_GT(lines, 10u);
  // A process may end in the middle of a line; the next one ends it before its own.
  for (const std::string& line : testing::ReadLogLines(Log())) EXPECT_TRUE(line.starts_with("[")) << line;
}

}  // namespace
}  // namespace sbx
