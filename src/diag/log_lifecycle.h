// Start and stop of the log, called by the library's load and unload hooks.
//
// In a forked child the log goes on as that of a new process: with its own configuration block and live
// handles, at the levels that the parent had read from the registry.
#pragma once

namespace sbx {

// Builds the configuration, then the file output, then the live channel's output. No file is touched and no
// channel opened yet. Never fails: without memory the log stays silent. Does nothing if the log runs.
void StartLog() noexcept;

// Takes the outputs away, so that later calls write nothing, waits a moment for calls under way, then closes
// outputs, tables and configuration in this order. Should a call not end in time (a thread held at a
// breakpoint at the end of the process), what it uses is left to the system. Other threads may go on logging.
void StopLog() noexcept;

}  // namespace sbx
