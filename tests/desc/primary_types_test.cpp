#include "desc/primary_types.h"

#include <gtest/gtest.h>
#include <vector>

#include "support/recording_log.h"

namespace sbx {
namespace {

using testing::LogLine;
using testing::ScopedLog;

struct Row {
  const char16_t* name;
  std::int32_t tableSize;  // 0 for a name that the table lacks
  bool isPrimary;
  std::int32_t typeSize;  // without a set; -2 for a name that goes to the record lookup
};

// The three lists beside each other, in the table's order.
constexpr Row kRows[] = {
    {u"char", 1, true, 1},       {u"uchar", 1, true, 1},      {u"wchar_t", 2, true, 2},
    {u"bool", 1, true, 1},       {u"byte", 1, false, -2},     {u"short", 2, true, 2},
    {u"ushort", 2, true, 2},     {u"int", 4, true, 4},        {u"uint", 4, true, 4},
    {u"int64", 8, true, 8},      {u"uint64", 8, true, 8},     {u"long", 4, true, 4},
    {u"ulong", 4, true, 4},      {u"float", 4, true, 4},      {u"double", 8, false, 8},
    {u"char*", 8, false, -2},    {u"wchar_t*", 8, false, -2}, {u"void", 0, true, -1},
    {u"Int", 0, false, -2},      {u"int ", 0, false, -2},     {u"", 0, false, -2},
    {u"unsigned", 0, false, -2},
};

TEST(PrimaryTypes, TheThreeListsAreAsTabled) {
  const JSPDBMemDesc set;
  const ScopedLog log;
  for (const Row& row : kRows) {
    SCOPED_TRACE(::testing::PrintToString(std::u16string(row.name)));
    EXPECT_EQ(PrimaryTypeSize(row.name), row.tableSize);
    EXPECT_EQ(FindPrimaryType(row.name) != nullptr, row.tableSize != 0);
    EXPECT_EQ(IsPrimaryTypeName(row.name), row.isPrimary);
    EXPECT_EQ(GetTypeSize(set, row.name), row.typeSize);
    EXPECT_EQ(KeptPrimaryName(row.name), row.isPrimary ? row.name : u"");
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST(PrimaryTypes, TheTableHasSeventeenRowsInOrder) {
  const auto table = PrimaryTypeTable();
  ASSERT_EQ(table.size(), 17u);
  for (std::size_t index = 0; index < table.size(); ++index) EXPECT_EQ(table[index].name, kRows[index].name);
}

TEST(PrimaryTypes, NamesThatNoListHoldsAreRecords) {
  JSPDBMemDesc set;
  set.AddStruct(u"byte", 30, u"", u"");
  set.AddStruct(u"int", 50, u"", u"");
  set.AddStruct(u"void", 60, u"", u"");
  set.AddStruct(u"double", 70, u"", u"");
  set.AddStruct(u"char*", 80, u"", u"");
  EXPECT_EQ(GetTypeSize(set, u"byte"), 30);
  EXPECT_EQ(GetTypeSize(set, u"char*"), 80);
  EXPECT_EQ(GetTypeSize(set, u"int"), 4) << "a primary comes first";
  EXPECT_EQ(GetTypeSize(set, u"void"), -1);
  EXPECT_EQ(GetTypeSize(set, u"double"), 8);
  EXPECT_EQ(GetTypeSize(set, u"Byte"), -2);
}

TEST(PrimaryTypes, ANullNameIsNoPrimaryAndLoggedWhereASizeIsAsked) {
  const JSPDBMemDesc set;
  const ScopedLog log;
  EXPECT_FALSE(IsPrimaryTypeName(WideView()));
  EXPECT_EQ(PrimaryTypeSize(WideView()), 0);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(GetTypeSize(set, WideView()), -2);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{0, u"Invalid parameters for getting size from type."}}));
}

}  // namespace
}  // namespace sbx
