#include "platform/module_hooks.h"

namespace sbx {
namespace {

// An object of the attaching function rather than a function marked as a destructor: such objects end in the
// reverse order of their making, together with all other static objects, so the detach hook comes before the
// end of everything that existed when the library was attached. Marked destructors come after all of them.
// Either way it runs once: at unload or at the end of the process. (std::atexit would do the same, but for
// ThreadSanitizer, whose version forgets that the function belongs to a library that may be unloaded.)
struct Attached {
  Attached() { OnModuleAttach(); }
  ~Attached() { OnModuleDetach(); }
};

// This file is the last of the library's list, so that all static objects exist by now.
__attribute__((constructor)) void Attach() {
  static const Attached attached;
}

}  // namespace
}  // namespace sbx
