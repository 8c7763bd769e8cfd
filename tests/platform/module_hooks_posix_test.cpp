#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

#include "support/child_process.h"
#include "support/scratch_folder.h"

namespace sbx::platform {
namespace {

// Runs the body in a child and returns what the library with the hooks wrote down.
template <class Body>
std::string EventsOf(Body body) {
  const sbx::testing::ScratchFolder folder;
  const std::string events = (folder.path() / "events").string();
  EXPECT_EQ(InChild([&] {
              setenv("SBXML_TEST_EVENTS", events.c_str(), 1);
              body();
            }),
            "exit 0");
  std::ifstream file(events);
  return {std::istreambuf_iterator<char>(file), {}};
}

void* Load() {
  void* const module = dlopen(SBXML_HOOKS_MODULE, RTLD_NOW | RTLD_LOCAL);
  Require(module != nullptr);
  return module;
}

TEST(ModuleHooks, RunOnceAtLoadAndUnloadInsideTheLifeOfStaticObjects) {
  EXPECT_EQ(EventsOf([] { Require(dlclose(Load()) == 0); }), "made attach detach gone ");
}

TEST(ModuleHooks, RunAgainWhenLoadedAgain) {
  EXPECT_EQ(EventsOf([] {
              dlclose(Load());
              dlclose(Load());
            }),
            "made attach detach gone made attach detach gone ");
}

TEST(ModuleHooks, SecondLoadsOfALoadedLibraryDoNothing) {
  EXPECT_EQ(EventsOf([] {
              void* const first = Load();
              dlclose(Load());
              dlclose(first);
            }),
            "made attach detach gone ");
}

TEST(ModuleHooks, RunOnceAtTheEndOfTheProcess) {
  EXPECT_EQ(EventsOf([] {
              Load();
              std::exit(0);
            }),
            "made attach detach gone ");
}

TEST(ModuleHooks, AProcessThatEndsAtOnceRunsNone) {
  EXPECT_EQ(EventsOf([] {
              Load();
              _exit(0);
            }),
            "made attach ");
}

}  // namespace
}  // namespace sbx::platform
