// What a running command is told from outside.
#pragma once

#if defined(_WIN32)
#include "sbxlog/tool_steering_win.h"
#else
#include "sbxlog/tool_steering_posix.h"
#endif
