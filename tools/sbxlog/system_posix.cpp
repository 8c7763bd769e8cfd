#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <filesystem>
#include <unistd.h>

#include "platform/narrow_text.h"
#include "sbxlog/system.h"

namespace sbx::tool::system {
namespace {

std::atomic<bool> g_isStopRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free);  // written by a signal handler

// The number that a folder of /proc is named after; 0 for the other names there.
std::uint32_t NumberOf(const std::string& name) noexcept {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  return error == std::errc() && end == name.data() + name.size() ? number : 0;
}

}  // namespace

void CatchStopRequests() noexcept {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    action.sa_handler = [](int) { g_isStopRequested.store(true); };
    sigaction(signal, &action, nullptr);
  }
}

bool IsStopRequested() noexcept {
  return g_isStopRequested.load();
}

std::vector<std::uint32_t> ProcessIds() {
  std::vector<std::uint32_t> ids;
  std::error_code error;
  std::filesystem::directory_iterator entries("/proc", error);
  for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
    if (const std::uint32_t id = NumberOf(entries->path().filename().string()); id != 0) ids.push_back(id);
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

bool IsProcessAlive(std::uint32_t processId) noexcept {
  return processId != 0 && processId <= INT_MAX &&
         (kill(static_cast<pid_t>(processId), 0) == 0 || errno == EPERM);
}

WideString ExecutableOf(std::uint32_t processId) {
  std::array<char, PATH_MAX> path;
  const std::string link = "/proc/" + std::to_string(processId) + "/exe";
  const ssize_t length = readlink(link.c_str(), path.data(), path.size());
  if (length <= 0) return {};
  return platform::Widen({path.data(), static_cast<std::size_t>(length)}, platform::NarrowPage::kUtf8)
      .value_or(WideString());
}

}  // namespace sbx::tool::system
