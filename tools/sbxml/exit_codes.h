// How the command ends. Scripts rely on the numbers: docs/sbxml.md lists them, and they never change meaning.
#pragma once

#include <algorithm>

namespace sbx::tool {

inline constexpr int kExitFine = 0;
inline constexpr int kExitFindings = 1;   // the work was done, and there is something to tell
inline constexpr int kExitUsage = 2;      // the command line or the project file
inline constexpr int kExitNoFile = 3;     // a file is missing or can't be read
inline constexpr int kExitBadInput = 4;   // a document is not well formed or does not load
inline constexpr int kExitBadSet = 5;     // the description or rule document
inline constexpr int kExitNoOutput = 6;   // the output can't be written
inline constexpr int kExitInternal = 70;  // a fault of the command itself

// Of several files the worst one decides.
constexpr int Worse(int a, int b) noexcept {
  return std::max(a, b);
}

}  // namespace sbx::tool
