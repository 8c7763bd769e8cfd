// A place of its own for what the log writes: named objects, log files, registry.
#pragma once

#if defined(_WIN32)
#include "support/log_sandbox_win.h"
#else
#include "support/log_sandbox_posix.h"
#endif
