// What the command has to say beside its data: one line each on standard error, as text or as a JSON object.
//
//   sbxlog: error: no process 4711 that logs [no-such-process]
//
// docs/sbxlog.md tables the ids; scripts rely on them.
#pragma once

#include <string>
#include <string_view>

namespace sbx::tool {

// Every id, in the order of the table in docs/sbxlog.md.
enum class Id {
  kUsage,
  kFileUnreadable,
  kNoSuchProcess,
  kNoSuchModule,
  kNoSuchBreakpoint,
  kNoSuchHit,
  kDamagedBlock,
  kRefused,
  kNameTaken,
  kNoRoom,
  kNotRunning,
  kOutputFailed,
  kInternal,
  kProcessSkipped,
  kNameSkipped,
  kNoLogLine,
  kTextNotSeen,
  kWaiting,
};

struct Diagnostic {
  Id id = Id::kInternal;
  std::string message = {};
  std::string file = {};  // what it is about; empty for no file
};

enum class Form { kText, kColouredText, kJson };

// Writes to standard error. One thread at a time.
class Diagnostics {
 public:
  explicit Diagnostics(Form form) noexcept : form_(form) {}
  void Report(const Diagnostic& diagnostic);

 private:
  Form form_;
};

// Ends a command: the diagnostic is reported by whoever catches it.
struct CommandFailure {
  int exitCode;
  Diagnostic diagnostic;
};

}  // namespace sbx::tool
