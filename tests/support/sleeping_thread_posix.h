// The state of a thread as /proc shows it.
#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

namespace sbx::testing {

inline void AwaitSleep(std::uint32_t thread) {
  for (;;) {
    std::ifstream stat("/proc/" + std::to_string(thread) + "/stat");
    const std::string text{std::istreambuf_iterator<char>(stat), {}};
    if (text.find(") S ") != std::string::npos) return;
    std::this_thread::yield();
  }
}

}  // namespace sbx::testing
