// Who this program is, by what the kernel says of it.
#include <filesystem>
#include <gtest/gtest.h>

#include "platform/module_identity.h"

namespace sbx::platform {
namespace {

namespace fs = std::filesystem;

TEST(ModuleIdentity, TellsTheModuleAndTheExecutable) {
  EXPECT_EQ(fs::path(ExecutablePath()), fs::read_symlink("/proc/self/exe"));
  EXPECT_EQ(OwnModuleName(), u"libsbxml.so");
  EXPECT_EQ(fs::path(OwnModulePath()), fs::read_symlink("/proc/self/exe")) << "linked into the tests";
}

TEST(ModuleIdentity, ExecutablesHaveNoVersion) {
  EXPECT_EQ(ExecutableFileVersion().ms, 0u);
  EXPECT_EQ(ExecutableFileVersion().ls, 0u);
}

}  // namespace
}  // namespace sbx::platform
