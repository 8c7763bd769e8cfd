#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <linux/futex.h>
#include <map>
#include <set>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/named_object_format.h"
#include "workers.h"

extern char** environ;

namespace sbx::testing {
namespace {

namespace fs = std::filesystem;

std::map<Worker, pid_t>& Processes() {
  static std::map<Worker, pid_t> processes;
  return processes;
}

std::set<pid_t> ThreadsOf(pid_t pid) {
  std::set<pid_t> threads;
  for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(pid) + "/task"))
    threads.insert(std::stoi(entry.path().filename()));
  return threads;
}

// The thread that owns the mutex in the file, 0 if there is none or it isn't that of a log file.
pid_t OwnerOfLogMutex(const fs::path& path) {
  std::string name = path.filename();
  if (!name.ends_with(".LOG")) return 0;
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  platform::ObjectHeader header = {};
  const bool isRead = ::pread(file, &header, sizeof header, 0) == static_cast<ssize_t>(sizeof header);
  ::close(file);
  if (!isRead || header.kind != static_cast<std::uint32_t>(platform::ObjectKind::kMutex)) return 0;
  return static_cast<pid_t>(
      static_cast<std::uint32_t>(reinterpret_cast<pthread_mutex_t*>(header.mutex)->__data.__lock) &
      FUTEX_TID_MASK);
}

}  // namespace

WideString WorkerProgram() {
  return fs::path(SBXML_LOG_WORKER).filename().u16string();
}

Worker StartWorker(const std::string& command, const fs::path& folder,
                   const std::vector<std::string>& arguments) {
  static Worker last = 0;
  const Worker worker = ++last;
  std::vector<std::string> words = {SBXML_LOG_WORKER, command, folder, std::to_string(worker)};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  pid_t pid = -1;
  EXPECT_EQ(::posix_spawn(&pid, SBXML_LOG_WORKER, nullptr, nullptr, pointers.data(), environ), 0);
  Processes()[worker] = pid;
  return worker;
}

std::uint32_t ProcessOf(Worker worker) {
  return static_cast<std::uint32_t>(Processes().at(worker));
}

int WaitForWorker(Worker worker) {
  static_assert(kWasKilled == -SIGKILL);
  int status = 0;
  ::waitpid(Processes().at(worker), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void KillWorker(Worker worker) {
  ::kill(Processes().at(worker), SIGKILL);
}

int KillAndCountAbandoned(Worker worker, const LogSandbox& sandbox) {
  const pid_t pid = Processes().at(worker);
  int status = 0;
  ::kill(pid, SIGSTOP);
  EXPECT_EQ(::waitpid(pid, &status, WUNTRACED), pid);
  EXPECT_TRUE(WIFSTOPPED(status));
  const std::set<pid_t> threads = ThreadsOf(pid);
  int abandoned = 0;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(sandbox.runtime(), ignored)) {
    if (threads.contains(OwnerOfLogMutex(entry.path()))) ++abandoned;
  }
  KillWorker(worker);
  EXPECT_EQ(WaitForWorker(worker), kWasKilled);
  return abandoned;
}

}  // namespace sbx::testing
