// The component runtime for a test program: what every caller of the library has to initialise. One thread
// that belongs to the multithreaded apartment brings in all others. It is never left: documents may outlive
// main().
#include <cstdlib>
#include <objbase.h>

namespace {

struct ComponentRuntime {
  ComponentRuntime() {
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) std::abort();
  }
};
const ComponentRuntime g_runtime;

}  // namespace
