// The built library loaded, unloaded and ended under hosts that go on logging.
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

#include "support/killable_process.h"
#include "support/log_files.h"
#include "support/log_sandbox.h"
#include "support/sanitizers.h"

namespace {

bool isLeakCheckOff = false;

}  // namespace

// Asked by LeakSanitizer at the end of a process.
extern "C" int __lsan_is_turned_off() {  // NOLINT(bugprone-reserved-identifier)
  return isLeakCheckOff ? 1 : 0;
}

namespace sbx {
namespace {

namespace fs = std::filesystem;
using testing::KillableProcess;

// Logs at level 0, for its arguments are bad.
using WriteXml = std::int32_t (*)(const char16_t*, const char16_t*, std::uint32_t);

void* Load() {
  return ::dlopen(SBXML_LIBRARY, RTLD_NOW | RTLD_LOCAL);
}

std::size_t Descriptors() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator("/proc/self/fd")) ++count;
  return count;
}

std::size_t Mappings() {
  std::ifstream maps("/proc/self/maps");
  std::size_t count = 0;
  for (std::string line; std::getline(maps, line);) ++count;
  return count;
}

class Unloading : public ::testing::Test {
 protected:
  fs::path Log() const { return sandbox_.logs() / "libsbxml.so.Log"; }
  testing::LogSandbox sandbox_;
};

TEST_F(Unloading, LeavesNothingOpenMappedOrLyingAbout) {
  KillableProcess host([this] {
    std::size_t descriptors = 0;
    std::size_t mappings = 0;
    for (int round = 0; round < 12; ++round) {
      void* library = Load();
      if (library == nullptr) return 2;
      const auto write = reinterpret_cast<WriteXml>(::dlsym(library, "SBXWriteXML"));
      if (write == nullptr) return 3;
      write(nullptr, nullptr, 0);
      ::dlclose(library);
      if (round == 3) {  // the C library itself has settled
        descriptors = Descriptors();
        mappings = Mappings();
      }
    }
    std::size_t objects = 0;
    for (const auto& entry : fs::directory_iterator(sandbox_.runtime())) {
      if (entry.path().filename() != ".generation") ++objects;
    }
    if (objects != 0) return 4;
    if (Descriptors() != descriptors) return 5;
    if (!testing::kSanitized && Mappings() > mappings + 1) return 6;  // a sanitizer keeps its own
    // A fork after unloading finds no hooks of the library.
    KillableProcess child([] { return 0; });
    return child.Wait();
  });
  EXPECT_EQ(host.Wait(), 0);
  EXPECT_EQ(testing::MessagesOf(Log()).size(), 12u);
}

TEST_F(Unloading, AtTheEndOfTheProcessOtherThreadsMayBeLogging) {
  for (int round = 0; round < 10; ++round) {
    KillableProcess host([] {
      isLeakCheckOff =
          true;  // it takes a loaded library's thread-local storage for what it is not, and faults
      void* library = Load();
      if (library == nullptr) return 2;
      const auto write = reinterpret_cast<WriteXml>(::dlsym(library, "SBXWriteXML"));
      for (int i = 0; i < 4; ++i) {
        std::thread([write] {
          for (;;) write(nullptr, nullptr, 0);
        }).detach();
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      ::exit(0);
    });
    EXPECT_EQ(host.Wait(), 0);
  }
  for (const std::string& line : testing::ReadLogLines(Log())) EXPECT_TRUE(line.starts_with("["));
}

}  // namespace
}  // namespace sbx
