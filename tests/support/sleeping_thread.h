// Waits until a thread of this or another process has gone to sleep, as the system tells.
#pragma once

#if defined(_WIN32)
#include "support/sleeping_thread_win.h"
#else
#include "support/sleeping_thread_posix.h"
#endif
