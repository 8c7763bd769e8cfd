// What the system shows of the library's file: its version and the texts beside it.
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include <windows.h>

namespace sbx {
namespace {

// The version resource of sbxml.dll, read as any program reads it.
class VersionOfTheLibrary : public ::testing::Test {
 protected:
  void SetUp() override {
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeA(SBXML_LIBRARY, &ignored);
    ASSERT_NE(size, 0u) << SBXML_LIBRARY << " has none";
    block_.resize(size);
    ASSERT_NE(GetFileVersionInfoA(SBXML_LIBRARY, 0, size, block_.data()), FALSE);
  }

  // Empty if there is none. The resource is in English, in UTF-16, and says so.
  std::string Text(const std::string& name) {
    void* text = nullptr;
    UINT units = 0;
    const std::string path = "\\StringFileInfo\\040904B0\\" + name;
    return VerQueryValueA(block_.data(), path.c_str(), &text, &units) == FALSE
               ? std::string()
               : std::string(static_cast<const char*>(text));
  }

  std::vector<char> block_;
};

TEST_F(VersionOfTheLibrary, IsThatOfTheProject) {
  void* found = nullptr;
  UINT length = 0;
  ASSERT_NE(VerQueryValueA(block_.data(), "\\", &found, &length), FALSE);
  ASSERT_GE(length, sizeof(VS_FIXEDFILEINFO));
  const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(found);
  EXPECT_EQ(info.dwSignature, 0xFEEF04BDu);
  const DWORD high = SBXML_VERSION_MAJOR << 16 | SBXML_VERSION_MINOR;
  const DWORD low = SBXML_VERSION_PATCH << 16;
  EXPECT_EQ(info.dwFileVersionMS, high);
  EXPECT_EQ(info.dwFileVersionLS, low);
  EXPECT_EQ(info.dwProductVersionMS, high);
  EXPECT_EQ(info.dwProductVersionLS, low);
  EXPECT_EQ(info.dwFileOS, static_cast<DWORD>(VOS_NT_WINDOWS32));
  EXPECT_EQ(info.dwFileType, static_cast<DWORD>(VFT_DLL));
}

TEST_F(VersionOfTheLibrary, IsToldInWordsToo) {
  EXPECT_EQ(Text("FileVersion"), SBXML_VERSION);
  EXPECT_EQ(Text("ProductVersion"), SBXML_VERSION);
  EXPECT_EQ(Text("ProductName"), "SBXML");
  EXPECT_EQ(Text("FileDescription"), SBXML_DESCRIPTION);
  EXPECT_EQ(Text("InternalName"), "sbxml");
  EXPECT_EQ(Text("OriginalFilename"), "sbxml.dll");
}

TEST_F(VersionOfTheLibrary, NamesItsLanguage) {
  void* found = nullptr;
  UINT length = 0;
  ASSERT_NE(VerQueryValueA(block_.data(), "\\VarFileInfo\\Translation", &found, &length), FALSE);
  ASSERT_EQ(length, 2 * sizeof(WORD));
  EXPECT_EQ(static_cast<const WORD*>(found)[0], 0x0409);
  EXPECT_EQ(static_cast<const WORD*>(found)[1], 0x04B0);
}

}  // namespace
}  // namespace sbx
