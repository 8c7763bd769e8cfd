// Who is logging: the library, the executable, the process and the thread.
#pragma once

#include <cstdint>

#include "base/wide_text.h"

namespace sbx::platform {

// What separates folders in a file path here: `/`, or the backslash on Windows.
extern const char16_t kPathSeparator;

// The four numbers of a file version.
struct FileVersion {
  std::uint32_t ms;  // major in the high half, minor in the low half
  std::uint32_t ls;  // the third and the fourth number likewise
};

// The full real path of the module that holds this code, or of the executable if that can't be told. Empty
// if neither can.
WideString OwnModulePath();
// The file name that the module goes by in logs and configuration. Off Windows always "libsbxml.so",
// whatever the numbered file behind it is called.
WideString OwnModuleName();
// The file version of the own module; zeros if it has none.
FileVersion OwnFileVersion() noexcept;

// The full path of the process's executable; empty if that can't be told.
WideString ExecutablePath();
// The file version of the executable. Zeros if it has none, as always off Windows.
FileVersion ExecutableFileVersion() noexcept;

std::uint32_t CurrentProcessId() noexcept;
std::uint32_t CurrentThreadId() noexcept;

}  // namespace sbx::platform
