// Who this program is, by what the system says of its process and by the resource that it was built with.
#include <cwctype>
#include <gtest/gtest.h>
#include <string>
#include <windows.h>

#include "platform/module_identity.h"

namespace sbx::platform {
namespace {

std::wstring PathOfProcess() {
  wchar_t path[MAX_PATH];
  DWORD units = MAX_PATH;
  if (QueryFullProcessImageNameW(GetCurrentProcess(), 0, path, &units) == FALSE) return {};
  return {path, units};
}

std::wstring LowerCase(std::wstring text) {
  for (wchar_t& unit : text) unit = static_cast<wchar_t>(std::towlower(unit));
  return text;
}
std::wstring LowerCase(const WideString& text) {
  return LowerCase(std::wstring(text.begin(), text.end()));
}

TEST(ModuleIdentity, TellsTheModuleAndTheExecutable) {
  ASSERT_FALSE(PathOfProcess().empty());
  EXPECT_EQ(LowerCase(ExecutablePath()), LowerCase(PathOfProcess()));
  EXPECT_EQ(LowerCase(OwnModulePath()), LowerCase(PathOfProcess())) << "linked into the tests";
  EXPECT_EQ(OwnModuleName(), u"platform_log_tests.exe");
}

TEST(ModuleIdentity, TellsTheVersionsOfTheResource) {
  for (const FileVersion& version : {OwnFileVersion(), ExecutableFileVersion()}) {
    EXPECT_EQ(version.ms, 0x7001'0203u);
    EXPECT_EQ(version.ls, 0x0405'0607u);
  }
}

}  // namespace
}  // namespace sbx::platform
