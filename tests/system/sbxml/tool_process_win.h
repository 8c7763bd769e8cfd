// By CreateProcessW, with files as streams.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>
#include <windows.h>

#include "sbxml/tool_process.h"
#include "support/start_process_win.h"

namespace sbx::testing {

using ToolProcess = HANDLE;

inline std::wstring WideOf(const std::string& text) {
  if (text.empty()) return {};
  const int bytes = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');
  const int units = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), bytes);
  wide.resize(static_cast<std::size_t>(units));
  return wide;
}

// As a program's runtime takes it apart: backslashes count as themselves but in front of a quote.
inline void AppendQuoted(std::wstring& line, const std::wstring& argument) {
  line += L" \"";
  std::size_t backslashes = 0;
  for (const wchar_t unit : argument) {
    if (unit == L'"') line.append(backslashes + 1, L'\\');
    backslashes = unit == L'\\' ? backslashes + 1 : 0;
    line += unit;
  }
  line.append(backslashes, L'\\');
  line += L'"';
}

// A stream that the process inherits.
inline HANDLE OpenStream(const std::filesystem::path& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  const HANDLE file = CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                  disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    std::fprintf(stderr, "a stream can't be opened: error %lu\n", GetLastError());
    std::abort();
  }
  return file;
}

// Variables of the environment for a while.
class ScopedVariables {
 public:
  explicit ScopedVariables(const std::vector<std::pair<std::string, std::string>>& variables) {
    for (const auto& [name, value] : variables) {
      const std::wstring wide = WideOf(name);
      const DWORD size = GetEnvironmentVariableW(wide.c_str(), nullptr, 0);
      std::wstring before(size, L'\0');
      if (size != 0) GetEnvironmentVariableW(wide.c_str(), before.data(), size);
      before_.emplace_back(wide, before);
      SetEnvironmentVariableW(wide.c_str(), WideOf(value).c_str());
    }
  }
  ~ScopedVariables() {
    for (const auto& [name, value] : before_) {
      SetEnvironmentVariableW(name.c_str(), value.empty() ? nullptr : value.c_str());
    }
  }
  ScopedVariables(const ScopedVariables&) = delete;
  ScopedVariables& operator=(const ScopedVariables&) = delete;

 private:
  std::vector<std::pair<std::wstring, std::wstring>> before_;
};

inline ToolProcess StartTool(const ToolStart& start) {
  std::wstring line = L"\"" + start.program.wstring() + L"\"";
  for (const std::string& argument : start.arguments) AppendQuoted(line, WideOf(argument));
  const std::wstring folder = start.folder.wstring();
  ProcessStart process = {.inheritsHandles = TRUE,
                          .flags = start.hasOwnConsole ? DWORD{CREATE_NO_WINDOW} : 0,
                          .folder = folder.c_str()};
  process.startup.dwFlags = STARTF_USESTDHANDLES;
  process.startup.hStdInput = OpenStream(start.input, GENERIC_READ, OPEN_EXISTING);
  process.startup.hStdOutput = OpenStream(start.output, GENERIC_WRITE, CREATE_ALWAYS);
  process.startup.hStdError = OpenStream(start.errors, GENERIC_WRITE, CREATE_ALWAYS);
  const ScopedVariables variables(start.variables);
  const ToolProcess tool = StartProcess(start.program.wstring(), line, process).handle;
  for (const HANDLE stream :
       {process.startup.hStdInput, process.startup.hStdOutput, process.startup.hStdError}) {
    CloseHandle(stream);
  }
  return tool;
}

// Waits for it: "exit <code>".
inline std::string EndOfTool(ToolProcess process) {
  DWORD code = 0xFFFFFFFF;
  WaitForSingleObject(process, INFINITE);
  GetExitCodeProcess(process, &code);
  CloseHandle(process);
  return "exit " + std::to_string(code);
}

}  // namespace sbx::testing
