// A second process, for tests of what processes do to one another.
#pragma once

#if defined(_WIN32)
#include "support/killable_process_win.h"
#else
#include "support/killable_process_posix.h"
#endif
