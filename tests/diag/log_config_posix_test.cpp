// The configuration's places that environment variables turn aside.
#include <cstdlib>
#include <fstream>

#include "log_config_fixture.h"

namespace sbx {
namespace {

TEST_F(LogConfig, WithoutAFolderForNamedObjectsNothingIsAnswered) {
  std::ofstream(sandbox_.runtime()) << "in the way";
  config_->RegisterModule(u"a.dll");
  EXPECT_EQ(config_->GetModuleLevel(u"a.dll"), -1);
  EXPECT_EQ(Path(u"a.dll"), u"unchanged");
  std::filesystem::remove(sandbox_.runtime());
  config_->RegisterModule(u"a.dll");
  EXPECT_EQ(Path(u"a.dll"), Default("a.dll.Log")) << "tried again at the next call";
}

TEST_F(LogFolder, TheEnvironmentDecidesFirst) {
  ::setenv("SBXML_LOG_DIR", "/some/where", 1);
  EXPECT_EQ(Folder(), "/some/where/");
  ::setenv("SBXML_LOG_DIR", "/some/where/", 1);
  EXPECT_EQ(Folder(), "/some/where/");
  ::setenv("SBXML_LOG_DIR", "", 1);
  EXPECT_EQ(Folder(), ExecutableFolder() / "Logs" / "");
}

}  // namespace
}  // namespace sbx
