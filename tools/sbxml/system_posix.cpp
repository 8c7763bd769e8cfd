#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sbxml/system.h"

namespace sbx::tool::system {
namespace {

constexpr const char* kOwnProgram = "/proc/self/exe";

bool Receive(int pipe, Progress& progress) noexcept {
  ssize_t got = 0;
  do {
    got = read(pipe, &progress, sizeof progress);
  } while (got < 0 && errno == EINTR);
  return got == static_cast<ssize_t>(sizeof progress);
}

// Starts this program; below 1 if it can't be started.
pid_t Start(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "sbxml");
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  pid_t child = -1;
  return posix_spawn(&child, kOwnProgram, nullptr, nullptr, argv.data(), environ) == 0 ? child : -1;
}

bool EndedByItself(pid_t child) noexcept {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return false;
  }
  return WIFEXITED(status);
}

}  // namespace

void Begin() noexcept {}

bool RunSelf(const std::vector<std::string>& arguments,
             const std::function<void(const Progress&)>& onProgress) {
  int ends[2];
  if (pipe(ends) != 0) return false;
  fcntl(ends[0], F_SETFD, FD_CLOEXEC);
  std::vector<std::string> all = arguments;
  all.insert(all.begin() + 1, "--channel=" + std::to_string(ends[1]));
  const pid_t child = Start(all);
  close(ends[1]);
  Progress progress = {};
  while (child > 0 && Receive(ends[0], progress)) onProgress(progress);
  close(ends[0]);
  return child > 0 && EndedByItself(child);
}

// One message is far below the size up to which a pipe keeps a write whole.
void TellParent(Channel channel, const Progress& progress) noexcept {
  while (write(static_cast<int>(channel), &progress, sizeof progress) < 0 && errno == EINTR) {
  }
}

struct DocumentModule::State {
  std::vector<SBXModuleResource> resources;
  SBXModuleResources module;
};

DocumentModule::DocumentModule(std::span<const Document> documents) : state_(std::make_unique<State>()) {
  for (const Document& document : documents) {
    const auto bytes = static_cast<std::uint32_t>(document.text.size() * sizeof(char16_t));
    state_->resources.push_back({"XML", document.id, bytes, document.text.data()});
  }
  state_->module = {static_cast<std::uint32_t>(state_->resources.size()), state_->resources.data()};
}

DocumentModule::~DocumentModule() = default;

SBXModule DocumentModule::get() const noexcept {
  return &state_->module;
}

std::string MakeTemporaryFile(const std::string& prefix) {
  std::string path = prefix + "XXXXXX";
  const int file = mkstemp(path.data());
  if (file < 0) return {};
  close(file);
  return path;
}

unsigned NewFileMode() noexcept {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666U & ~mask;
}

}  // namespace sbx::tool::system
