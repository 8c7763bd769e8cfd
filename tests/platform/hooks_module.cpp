// A library of its own with the hooks in it, for module_hooks_posix_test.cpp. It writes down what happens, in
// order, to where the test says.
#include <cstdio>
#include <cstdlib>

#include "platform/module_hooks.h"

namespace {

void Note(const char* event) {
  if (std::FILE* const file = std::fopen(std::getenv("SBXML_TEST_EVENTS"), "a")) {
    std::fputs(event, file);
    std::fclose(file);
  }
}

struct Static {
  Static() { Note("made "); }
  ~Static() { Note("gone "); }
} g_static;

}  // namespace

namespace sbx {

void OnModuleAttach() noexcept {
  Note("attach ");
}
void OnModuleDetach() noexcept {
  Note("detach ");
}

}  // namespace sbx
