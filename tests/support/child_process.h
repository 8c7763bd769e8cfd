// Runs a piece of a test in a process of its own, for what would change or end the tests' process.
#pragma once

#if defined(_WIN32)
#include "support/child_process_win.h"
#else
#include "support/child_process_posix.h"
#endif
