#include "console/console.h"

#include <cstdlib>

namespace sbx::tool::console {

bool WantsColour(Colour colour, Stream stream) {
  switch (colour) {
    case Colour::kAlways:
      return true;
    case Colour::kNever:
      return false;
    case Colour::kAuto:
      break;
  }
  const char* const noColour = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): one thread so far
  const bool isRefused = noColour != nullptr && *noColour != '\0';
  return !isRefused && TakesColours(stream);
}

}  // namespace sbx::tool::console
