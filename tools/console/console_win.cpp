#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <windows.h>
// What needs the types of the one before.
#include <shellapi.h>

#include "console/console.h"
#include "platform/narrow_text.h"

namespace sbx::tool::console {
namespace {

HANDLE HandleOf(Stream stream) noexcept {
  return GetStdHandle(stream == Stream::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

// Colours are asked of the console once; one that refuses them shows none.
void AskForColours(Stream stream) noexcept {
  DWORD mode = 0;
  if (GetConsoleMode(HandleOf(stream), &mode) != FALSE) {
    SetConsoleMode(HandleOf(stream), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
  }
}

std::string Utf8(std::wstring_view text) {
  return platform::Narrow(WideString(text.begin(), text.end()), platform::NarrowPage::kUtf8).value_or("");
}

}  // namespace

std::vector<std::string> Begin(int argc, char** argv) {
  for (std::FILE* const stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
  AskForColours(Stream::kOutput);
  AskForColours(Stream::kErrors);
  int count = 0;
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wide == nullptr || count < 1) return {argv, argv + argc};
  std::vector<std::string> arguments;
  arguments.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) arguments.push_back(Utf8(wide[i]));
  LocalFree(wide);
  return arguments;
}

bool IsTerminal(Stream stream) noexcept {
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != FALSE;
}

bool TakesColours(Stream stream) noexcept {
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != FALSE && (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

}  // namespace sbx::tool::console
