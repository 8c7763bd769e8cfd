// How the command ends. Scripts rely on the numbers: docs/sbxlog.md lists them, and they never change
// meaning. 0 to 3, 6 and 70 mean the same for sbxml.
#pragma once

namespace sbx::tool {

inline constexpr int kExitFine = 0;
inline constexpr int kExitFindings = 1;    // the work was done, and there is something to tell
inline constexpr int kExitUsage = 2;       // the command line
inline constexpr int kExitNotFound = 3;    // a file, process, module, breakpoint or hit isn't there
inline constexpr int kExitBadInput = 4;    // a shared block is damaged
inline constexpr int kExitRefused = 5;     // the system refuses a shared object, or its holder keeps it
inline constexpr int kExitNoOutput = 6;    // the output can't be written
inline constexpr int kExitTaken = 7;       // another reader has the name, or there is no room for one more
inline constexpr int kExitNotRunning = 8;  // no `break add` runs
inline constexpr int kExitInternal = 70;   // a fault of the command itself

}  // namespace sbx::tool
