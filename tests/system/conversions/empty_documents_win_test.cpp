// Documents without bytes, which this program itself carries (empty_documents_win.rc).
#include <gtest/gtest.h>
#include <windows.h>

#include "sbxml.h"

namespace sbx {
namespace {

enum : std::uint32_t { kDescriptions = 5, kRules = 6, kEmpty = 7 };

std::int32_t Verify(std::uint32_t descriptions, std::uint32_t rules) {
  return SBXVerifyStructSize(GetModuleHandleW(nullptr), descriptions, rules, L"Record", 8, nullptr);
}

TEST(EmptyDocuments, AreRefused) {
  const HMODULE self = GetModuleHandleW(nullptr);
  const HRSRC empty = FindResourceW(self, MAKEINTRESOURCEW(kEmpty), L"XML");
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(SizeofResource(self, empty), 0u);

  EXPECT_EQ(Verify(kDescriptions, kRules), SBX_OK);
  EXPECT_EQ(Verify(kEmpty, kRules), SBX_E_RESOURCE);
  EXPECT_EQ(Verify(kDescriptions, kEmpty), SBX_E_RESOURCE);
}

}  // namespace
}  // namespace sbx
