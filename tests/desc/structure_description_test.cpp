// The set in memory: lookup, growth, copies, rewriting.
#include "desc/structure_description.h"

#include <gtest/gtest.h>
#include <vector>

#include "desc/type_strings.h"

namespace sbx {
namespace {

std::vector<WideString> ItemNames(const JSStructDesc& record) {
  std::vector<WideString> names;
  for (const JSStructItemDesc& item : record.items()) names.push_back(item.name);
  return names;
}

TEST(StructureDescription, AnEmptySetFindsNothing) {
  JSPDBMemDesc set;
  EXPECT_EQ(set.FindStruct(u"Page"), nullptr);
  EXPECT_EQ(set.FindStruct(WideView()), nullptr);
  EXPECT_TRUE(set.structs().empty());
  JSStructDesc& record = set.AddStruct(u"Page", 8, u"", u"");
  EXPECT_EQ(record.FindItem(u"title"), nullptr);
  EXPECT_EQ(record.FindItem(WideView()), nullptr);
}

TEST(StructureDescription, NamesAreComparedExactly) {
  JSPDBMemDesc set;
  JSStructDesc& upper = set.AddStruct(u"Page", 8, u"", u"");
  JSStructDesc& lower = set.AddStruct(u"page", 8, u"", u"");
  EXPECT_EQ(set.FindStruct(u"Page"), &upper);
  EXPECT_EQ(set.FindStruct(u"page"), &lower);
  EXPECT_EQ(set.FindStruct(u"PAGE"), nullptr);
  EXPECT_EQ(set.FindStruct(u"Page "), nullptr);
  EXPECT_EQ(set.FindStruct(u""), nullptr);
  EXPECT_EQ(set.FindStruct(WideView()), nullptr);
}

TEST(StructureDescription, ItemsKeepTheirOrderAndTheirFields) {
  JSStructDesc record(u"Page", 64, u"a page", u"[r]");
  EXPECT_NE(record.AddItem(u"zeta", u"int", 4, 8, u"last letter", u"[time]"), nullptr);
  EXPECT_NE(record.AddItem(u"alpha", u"char*", 8, 0, WideView(), WideView()), nullptr);
  EXPECT_EQ(ItemNames(record), (std::vector<WideString>{u"zeta", u"alpha"}));
  const JSStructItemDesc* item = record.FindItem(u"zeta");
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->type(), u"int");
  EXPECT_EQ(item->size, 4);
  EXPECT_EQ(item->offset, 8);
  EXPECT_EQ(item->description, u"last letter");
  EXPECT_EQ(item->restrictText(), u"[time]");
  EXPECT_EQ(record.FindItem(u"alpha")->description, u"");
}

struct Refusal {
  WideView name;
  WideView type;
  std::int32_t size;
  std::int32_t offset;
  bool added;
  const char* why;
};

const Refusal kRefusals[] = {
    {u"new", u"int", 1, 0, true, "the smallest item"},
    {u"new", u"int", 2147483647, 2147483647, true, "sizes are not checked against the record"},
    {u"", u"int", 4, 0, false, "no name"},
    {WideView(), u"int", 4, 0, false, "a null name"},
    {u"new", u"", 4, 0, false, "no type"},
    {u"new", WideView(), 4, 0, false, "a null type"},
    {u"new", u"int", 0, 0, false, "no size"},
    {u"new", u"int", -1, 0, false, "a negative size"},
    {u"new", u"int", 4, -1, false, "a negative offset"},
    {u"taken", u"int", 4, 0, false, "a name that the record has"},
    {u"Taken", u"int", 4, 0, true, "names differ in case"},
};

TEST(StructureDescription, AddItemRefusesWhatNoItemCanBe) {
  for (const Refusal& row : kRefusals) {
    SCOPED_TRACE(row.why);
    JSStructDesc record(u"Page", 8, u"", u"");
    ASSERT_NE(record.AddItem(u"taken", u"short", 2, 1, u"", u""), nullptr);
    const JSStructItemDesc* item = record.AddItem(row.name, row.type, row.size, row.offset, u"", u"");
    EXPECT_EQ(item != nullptr, row.added);
    EXPECT_EQ(record.items().size(), row.added ? 2u : 1u);
    if (row.added) {
      EXPECT_EQ(record.FindItem(row.name), item);
    }
    EXPECT_EQ(record.FindItem(u"taken")->size, 2) << "the first one stays";
  }
}

TEST(StructureDescription, ARefusedItemAtHandIsLeftAlone) {
  JSStructDesc record(u"Page", 8, u"", u"");
  JSStructItemDesc item(u"a name that is long enough", u"int", 0, 0, u"", u"");
  EXPECT_EQ(record.AddItem(std::move(item)), nullptr);
  EXPECT_EQ(item.name, u"a name that is long enough");  // NOLINT(bugprone-use-after-move): the promise
}

TEST(StructureDescription, AddressesHoldWhileTheSetGrows) {
  JSPDBMemDesc set;
  JSStructDesc* first = &set.AddStruct(u"first", 1, u"", u"");
  JSStructItemDesc* item = first->AddItem(u"item", u"int", 4, 0, u"", u"");
  for (char16_t letter = u'A'; letter < u'A' + 200; ++letter) {
    set.AddStruct(WideView(&letter, 1), 1, u"", u"");
    first->AddItem(WideView(&letter, 1), u"int", 4, 0, u"", u"");
  }
  EXPECT_EQ(set.FindStruct(u"first"), first);
  EXPECT_EQ(&set.structs().front(), first);
  EXPECT_EQ(first->FindItem(u"item"), item);
  EXPECT_EQ(first->FindItem(u"Q"), &first->items()[1 + (u'Q' - u'A')]);
}

TEST(StructureDescription, TwoRecordsMayHaveItemsOfOneName) {
  JSPDBMemDesc set;
  JSStructItemDesc* one = set.AddStruct(u"A", 4, u"", u"").AddItem(u"id", u"int", 4, 0, u"", u"");
  JSStructItemDesc* two = set.AddStruct(u"B", 4, u"", u"").AddItem(u"id", u"short", 2, 0, u"", u"");
  EXPECT_EQ(set.FindStruct(u"A")->FindItem(u"id"), one);
  EXPECT_EQ(set.FindStruct(u"B")->FindItem(u"id"), two);
}

TEST(StructureDescription, RevisionsGrowWithEachChangeOfText) {
  JSStructDesc record(u"Page", 8, u"", u"");
  JSStructItemDesc& item = *record.AddItem(u"a", u"int", 4, 0, u"", u"");
  record.AddItem(u"b", u"int", 4, 4, u"", u"");
  const std::uint32_t itemBefore = item.revision();
  item.SetType(u"int");
  item.SetRestrict(u"");
  EXPECT_EQ(item.revision(), itemBefore) << "nothing changed";
  item.SetRestrict(u"[time]");
  EXPECT_NE(item.revision(), itemBefore);
  const std::uint32_t itemThen = item.revision();
  item.SetType(u"uint");
  EXPECT_NE(item.revision(), itemThen);
  EXPECT_EQ(item.type(), u"uint");
  EXPECT_EQ(item.restrictText(), u"[time]");
}

TEST(StructureDescription, ARecordCountsWhatComesToBePlainText) {
  JSStructDesc record(u"Page", 16, u"", u"");
  JSStructItemDesc& item = *record.AddItem(u"a", u"char*", 8, 0, u"", u"");
  const std::uint32_t once = record.plainTextRevision();
  EXPECT_NE(once, JSStructDesc(u"Page", 16, u"", u"").plainTextRevision());
  record.AddItem(u"b", u"char**", 8, 8, u"", u"");
  item.SetType(u"char*");
  item.SetType(u"wchar_t*");
  item.SetRestrict(u"char*");
  EXPECT_EQ(record.plainTextRevision(), once) << "nothing came to be it";
  item.SetType(u"char*");
  EXPECT_NE(record.plainTextRevision(), once);
}

TEST(StructureDescription, RewritingKeepsThePlaceInTheList) {
  JSStructDesc record(u"Page", 8, u"", u"");
  record.AddItem(u"a", u"int", 4, 0, u"", u"");
  record.AddItem(u"b", u"int", 4, 4, u"", u"");
  record.FindItem(u"a")->SetType(u"Long type name[17]*");
  EXPECT_EQ(ItemNames(record), (std::vector<WideString>{u"a", u"b"}));
  EXPECT_EQ(record.items().front().type(), u"Long type name[17]*");
}

// Two records with items of all kinds, whose texts are too long to lie inside a string.
std::unique_ptr<JSPDBMemDesc> Sample() {
  auto set = std::make_unique<JSPDBMemDesc>();
  JSStructDesc& page = set->AddStruct(u"PrintedPageOfTheJob", 96, u"a page of the job", u"[some restrict]");
  page.AddItem(u"numberOfThePage", u"unsigned number", 4, 8, u"from one upward", u"[fmt:hex][flag:On(1)]");
  page.AddItem(u"title", u"wchar_t*", 8, 0, u"", u"");
  set->AddStruct(u"Empty", 1, u"", u"");
  return set;
}

TEST(StructureDescription, ACloneHasAllFieldsInOrder) {
  const auto set = Sample();
  const auto copy = set->Clone();
  ASSERT_EQ(copy->structs().size(), set->structs().size());
  for (std::size_t at = 0; at < set->structs().size(); ++at) {
    const JSStructDesc& from = set->structs()[at];
    const JSStructDesc& to = copy->structs()[at];
    EXPECT_EQ(to.name, from.name);
    EXPECT_EQ(to.size, from.size);
    EXPECT_EQ(to.description, from.description);
    EXPECT_EQ(to.restrictText, from.restrictText);
    EXPECT_EQ(copy->FindStruct(from.name), &to);
    ASSERT_EQ(to.items().size(), from.items().size());
    for (std::size_t number = 0; number < from.items().size(); ++number) {
      const JSStructItemDesc& item = from.items()[number];
      const JSStructItemDesc& twin = to.items()[number];
      EXPECT_EQ(twin.name, item.name);
      EXPECT_EQ(twin.type(), item.type());
      EXPECT_EQ(twin.size, item.size);
      EXPECT_EQ(twin.offset, item.offset);
      EXPECT_EQ(twin.description, item.description);
      EXPECT_EQ(twin.restrictText(), item.restrictText());
      EXPECT_EQ(to.FindItem(item.name), &twin);
    }
  }
}

TEST(StructureDescription, RewritingACloneLeavesTheMasterAlone) {
  const auto set = Sample();
  const auto copy = set->Clone();
  JSStructItemDesc* item = copy->FindStruct(u"PrintedPageOfTheJob")->FindItem(u"numberOfThePage");
  item->SetType(u"int");
  item->SetRestrict(u"[namelist]");
  copy->FindStruct(u"Empty")->AddItem(u"new", u"int", 1, 0, u"", u"");
  copy->AddStruct(u"More", 1, u"", u"");
  const JSStructItemDesc* master = set->FindStruct(u"PrintedPageOfTheJob")->FindItem(u"numberOfThePage");
  EXPECT_EQ(master->type(), u"unsigned number");
  EXPECT_EQ(master->restrictText(), u"[fmt:hex][flag:On(1)]");
  EXPECT_TRUE(set->FindStruct(u"Empty")->items().empty());
  EXPECT_EQ(set->FindStruct(u"More"), nullptr);
}

TEST(StructureDescription, ACloneOutlivesItsMaster) {
  auto set = Sample();
  const auto copy = set->Clone();
  set.reset();
  EXPECT_EQ(copy->FindStruct(u"PrintedPageOfTheJob")->FindItem(u"title")->type(), u"wchar_t*");
}

TEST(StructureDescription, ACloneResolvesItsOwnRecords) {
  JSPDBMemDesc set;
  set.AddStruct(u"Rec", 4, u"", u"").AddItem(u"next", u"Rec*", 8, 0, u"", u"");
  ResolvedType type;
  ASSERT_EQ(ResolveItemType(set, *set.FindStruct(u"Rec")->FindItem(u"next"), type), kOk);
  const auto copy = set.Clone();
  ASSERT_EQ(ResolveItemType(*copy, *copy->FindStruct(u"Rec")->FindItem(u"next"), type), kOk);
  EXPECT_EQ(type.record, copy->FindStruct(u"Rec"));
}

TEST(StructureDescription, ACloneOfAnEmptySetIsEmpty) {
  EXPECT_TRUE(JSPDBMemDesc().Clone()->structs().empty());
}

TEST(StructureDescription, ClearEmptiesSetAndIndex) {
  const auto set = Sample();
  set->Clear();
  EXPECT_TRUE(set->structs().empty());
  EXPECT_EQ(set->FindStruct(u"Empty"), nullptr);
  EXPECT_NE(set->AddStruct(u"Empty", 2, u"", u"").AddItem(u"a", u"int", 1, 0, u"", u""), nullptr);
}

}  // namespace
}  // namespace sbx
