// What sbxlog leaves in the folder of named objects.
#include "sbxlog/log_tool.h"

namespace sbx::testing {
namespace {

TEST(SbxlogUsage, LeavesNoNamedObject) {
  const LogSandbox sandbox;
  RunSbxlog({"ps"});
  EXPECT_FALSE(std::filesystem::exists(sandbox.runtime()));
}

}  // namespace
}  // namespace sbx::testing
