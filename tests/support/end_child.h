// How a forked child of a test ends: at once, without the exit handlers that are its parent's. POSIX only.
#pragma once

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

// There in builds that measure coverage: writes what this process has run so far.
extern "C" [[gnu::weak]] int __llvm_profile_write_file();  // NOLINT(bugprone-reserved-identifier)

namespace sbx::testing {

[[noreturn]] inline void EndChild(int code) {
  if (__llvm_profile_write_file != nullptr) {
    const rlimit none = {RLIM_INFINITY, RLIM_INFINITY};  // the test may have set one
    ::setrlimit(RLIMIT_FSIZE, &none);
    ::signal(SIGXFSZ, SIG_IGN);
    __llvm_profile_write_file();
  }
  ::_exit(code);
}

}  // namespace sbx::testing
