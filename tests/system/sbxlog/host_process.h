// A logging process under an executable's name of its own, steered by commands: sbxlog's host.
#pragma once

#if defined(_WIN32)
#include "sbxlog/host_process_win.h"
#else
#include "sbxlog/host_process_posix.h"
#endif
