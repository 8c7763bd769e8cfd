#include <csignal>
#include <unistd.h>

#include "console/console.h"

namespace sbx::tool::console {

std::vector<std::string> Begin(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  if (argc < 1) return {""};  // the name of the command, which nobody reads
  return {argv, argv + argc};
}

bool IsTerminal(Stream stream) noexcept {
  return isatty(stream == Stream::kOutput ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

bool TakesColours(Stream stream) noexcept {
  return IsTerminal(stream);
}

}  // namespace sbx::tool::console
