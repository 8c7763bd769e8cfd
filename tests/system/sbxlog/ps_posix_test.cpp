// sbxlog ps where no process but the test's is met, and the folder of named objects.
#include "sbxlog/log_tool.h"
#include "sbxlog/own_block.h"

namespace sbx::testing {
namespace {

class SbxlogPsHere : public ::testing::Test {
 protected:
  LogSandbox sandbox_;
};

TEST_F(SbxlogPsHere, ListsNothingWhereNothingLogs) {
  EXPECT_EQ(RunSbxlog({"ps"}), (Said{"exit 0", "", ""}));
  EXPECT_EQ(RunSbxlog({"ps", "--json"}), (Said{"exit 0", "", ""}));
}

TEST_F(SbxlogPsHere, AlignsItsColumns) {
  const LogHost host(sandbox_, "printer");
  const std::string id = host.Id();
  const std::string blanks(id.size() > 3 ? id.size() - 3 : 0, ' ');
  const std::string log = (sandbox_.logs() / "libsbxml.so.Log").string();
  EXPECT_EQ(RunSbxlog({"ps"}), (Said{"exit 0",
                                     "PID" + blanks + "  EXECUTABLE  MODULE       LEVEL  FIXED  PATH\n" + id +
                                         "  printer     libsbxml.so  -      -      " + log + "\n",
                                     ""}));
}

TEST_F(SbxlogPsHere, SkipsAFileThatIsNoObject) {
  const OwnBlock block;
  for (const auto& entry : std::filesystem::directory_iterator(sandbox_.runtime())) {
    if (entry.path().filename().string().find("LOGCFG_MUTEX") == std::string::npos) continue;
    std::filesystem::resize_file(entry.path(), 10);
  }
  const std::string id = std::to_string(platform::CurrentProcessId());
  EXPECT_EQ(RunSbxlog({"ps"}), (Said{"exit 1", "",
                                     "sbxlog: warning: the configuration block of process " + id +
                                         " or its mutex is none [process-skipped]\n"}));
}

TEST_F(SbxlogPsHere, RefusesAFolderThatIsSomebodyElses) {
  std::filesystem::create_directories(sandbox_.root() / "other");
  std::filesystem::create_symlink("other", sandbox_.runtime());
  EXPECT_EQ(RunSbxlog({"ps"}),
            (Said{"exit 5", "", "sbxlog: error: the system refuses the use of shared objects [refused]\n"}));
}

}  // namespace
}  // namespace sbx::testing
