#include "desc/name_index.h"

#include <deque>
#include <gtest/gtest.h>

#include "base/numbers.h"

namespace sbx {
namespace {

struct Named {
  WideString name;
};

TEST(NameIndex, FindsNothingWhileEmpty) {
  const NameIndex<Named> index;
  EXPECT_EQ(index.Find(u"a"), nullptr);
  EXPECT_EQ(index.Find(u""), nullptr);
  EXPECT_EQ(index.Find(WideView()), nullptr);
}

TEST(NameIndex, NamesAreExact) {
  Named lower{u"item"};
  Named upper{u"Item"};
  NameIndex<Named> index;
  index.Add(lower);
  index.Add(upper);
  EXPECT_EQ(index.Find(u"item"), &lower);
  EXPECT_EQ(index.Find(u"Item"), &upper);
  EXPECT_EQ(index.Find(u"ITEM"), nullptr);
  EXPECT_EQ(index.Find(u"item "), nullptr);
  EXPECT_EQ(index.Find(u"ite"), nullptr);
}

TEST(NameIndex, TheFirstOfTwoEqualNamesIsFoundAlsoAfterGrowth) {
  std::deque<Named> entries;
  NameIndex<Named> index;
  for (const char16_t* name : {u"twice", u"twice"}) index.Add(entries.emplace_back(Named{name}));
  EXPECT_EQ(index.Find(u"twice"), &entries[0]);
  for (int number = 0; number < 100; ++number) {
    WideString name;
    AppendInt(name, number);
    index.Add(entries.emplace_back(Named{name}));
    ASSERT_EQ(index.Find(u"twice"), &entries[0]) << "after " << number;
  }
}

TEST(NameIndex, HoldsManyNames) {
  std::deque<Named> entries;
  NameIndex<Named> index;
  for (int number = 0; number < 5000; ++number) {
    WideString name = u"item";
    AppendInt(name, number);
    index.Add(entries.emplace_back(Named{name}));
  }
  for (Named& entry : entries) ASSERT_EQ(index.Find(entry.name), &entry);
  EXPECT_EQ(index.Find(u"item5000"), nullptr);
  index.Clear();
  EXPECT_EQ(index.Find(u"item0"), nullptr);
}

}  // namespace
}  // namespace sbx
