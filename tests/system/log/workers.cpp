#include "workers.h"

#include <algorithm>
#include <cstdlib>

#include "support/sanitizers.h"

namespace sbx::testing {

bool IsReleaseRun() {
  return std::getenv("SBXML_LOG_KILLS") != nullptr;
}

int KillsAsked(int usual) {
  if (const char* asked = std::getenv("SBXML_LOG_KILLS")) return std::max(1, std::atoi(asked));
  return kSanitized ? usual / 5 : usual;
}

}  // namespace sbx::testing
