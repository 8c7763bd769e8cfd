#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <objbase.h>
#include <random>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>

#include "resource_module/resource_module.h"
#include "sbxml/system.h"
#include "sbxml/text.h"

namespace sbx::tool::system {
namespace {

constexpr DWORD kFirstFault = 0x80000000;  // from here on exit codes are those of exceptions
constexpr DWORD kLongestPath = 32768;      // in units

class Handle {
 public:
  explicit Handle(HANDLE handle = nullptr) noexcept : handle_(handle) {}
  ~Handle() { Close(); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  HANDLE get() const noexcept { return handle_; }
  HANDLE* out() noexcept { return &handle_; }
  void Close() noexcept {
    if (handle_ != nullptr) CloseHandle(handle_);
    handle_ = nullptr;
  }

 private:
  HANDLE handle_;
};

std::wstring Wide(std::string_view text) {
  const WideString wide = ToWide(text);
  return {wide.begin(), wide.end()};
}

// An argument as CommandLineToArgvW undoes it: backslashes count as themselves but in front of a quote.
void AppendArgument(std::wstring& line, const std::wstring& argument) {
  if (!line.empty()) line.push_back(L' ');
  line.push_back(L'"');
  std::size_t backslashes = 0;
  for (const wchar_t unit : argument) {
    if (unit == L'"') line.append(backslashes + 1, L'\\');
    backslashes = unit == L'\\' ? backslashes + 1 : 0;
    line.push_back(unit);
  }
  line.append(backslashes, L'\\');
  line.push_back(L'"');
}

std::wstring CommandLineOf(const std::vector<std::string>& arguments) {
  std::wstring line;
  AppendArgument(line, L"sbxml");
  for (const std::string& argument : arguments) AppendArgument(line, Wide(argument));
  return line;
}

HANDLE InheritedStream(DWORD stream) noexcept {
  const HANDLE handle = GetStdHandle(stream);
  SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  return handle;
}

// Starts this program; null if it can't be started.
HANDLE Start(const std::vector<std::string>& arguments) {
  std::wstring program(kLongestPath, L'\0');
  const DWORD length = GetModuleFileNameW(nullptr, program.data(), kLongestPath);
  if (length == 0 || length == kLongestPath) return nullptr;
  std::wstring line = CommandLineOf(arguments);
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = InheritedStream(STD_INPUT_HANDLE);
  startup.hStdOutput = InheritedStream(STD_OUTPUT_HANDLE);
  startup.hStdError = InheritedStream(STD_ERROR_HANDLE);
  PROCESS_INFORMATION child = {};
  if (CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                     &child) == FALSE) {
    return nullptr;
  }
  CloseHandle(child.hThread);
  return child.hProcess;
}

bool Receive(HANDLE pipe, Progress& progress) noexcept {
  DWORD got = 0;
  return ReadFile(pipe, &progress, sizeof progress, &got, nullptr) != FALSE && got == sizeof progress;
}

bool EndedByItself(HANDLE child) noexcept {
  DWORD code = 0;
  return WaitForSingleObject(child, INFINITE) == WAIT_OBJECT_0 && GetExitCodeProcess(child, &code) != FALSE &&
         code < kFirstFault;
}

std::string WithRandomEnd(const std::string& prefix) {
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz0123456789";
  std::random_device random;
  std::string path = prefix;
  for (int i = 0; i < 10; ++i) path.push_back(kLetters[random() % kLetters.size()]);
  return path;
}

}  // namespace

void Begin() noexcept {
  // A child's fault is told by its parent, not by a window that somebody has to close.
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  // The documents are the system's. It is never left: they may outlive main. Without it the loads tell.
  static_cast<void>(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
}

bool RunSelf(const std::vector<std::string>& arguments,
             const std::function<void(const Progress&)>& onProgress) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  Handle ours;
  Handle theirs;
  if (CreatePipe(ours.out(), theirs.out(), &inherited, 0) == FALSE) return false;
  SetHandleInformation(ours.get(), HANDLE_FLAG_INHERIT, 0);
  std::vector<std::string> all = arguments;
  all.insert(all.begin() + 1, "--channel=" + std::to_string(reinterpret_cast<std::uintptr_t>(theirs.get())));
  const Handle child(Start(all));
  theirs.Close();
  Progress progress = {};
  while (child.get() != nullptr && Receive(ours.get(), progress)) onProgress(progress);
  ours.Close();
  return child.get() != nullptr && EndedByItself(child.get());
}

void TellParent(Channel channel, const Progress& progress) noexcept {
  DWORD written = 0;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): no address
  const HANDLE pipe = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(channel));
  WriteFile(pipe, &progress, sizeof progress, &written, nullptr);
}

struct DocumentModule::State {
  explicit State(std::span<const ResourceModule::Document> documents) : module(documents) {}
  ResourceModule module;
};

DocumentModule::DocumentModule(std::span<const Document> documents) {
  std::vector<ResourceModule::Document> resources;
  for (const Document& document : documents) {
    resources.push_back({.id = static_cast<std::uint16_t>(document.id),
                         .bytes = document.text.data(),
                         .size = document.text.size() * sizeof(char16_t)});
  }
  state_ = std::make_unique<State>(resources);
}

DocumentModule::~DocumentModule() = default;

SBXModule DocumentModule::get() const noexcept {
  return state_->module.get();
}

// Its rights are those of its folder: the user's own for temporary files, and for an output those that it
// keeps.
std::string MakeTemporaryFile(const std::string& prefix) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::string path = WithRandomEnd(prefix);
    int file = -1;
    if (_wsopen_s(&file, Wide(path).c_str(), _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY, _SH_DENYNO,
                  _S_IREAD | _S_IWRITE) == 0) {
      _close(file);
      return path;
    }
    if (errno != EEXIST) return {};
  }
  return {};
}

// The system knows no mask: only "read-only" counts of these rights.
unsigned NewFileMode() noexcept {
  return 0666;
}

}  // namespace sbx::tool::system
