// The structure description document, read into a set.
#include "desc/description_loader.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "base/format.h"
#include "base/numbers.h"
#include "support/failing_document.h"
#include "support/recording_log.h"

namespace sbx {
namespace {

using testing::DomCall;
using testing::LogLine;
using testing::ScopedFailures;
using testing::ScopedLog;

using Lines = std::vector<LogLine>;

WideString Document(const WideString& records) {
  return u"<StructureDescription>" + records + u"</StructureDescription>";
}

// One record with the given attributes and children.
WideString Record(const WideString& attributes, const WideString& items = u"") {
  return u"<JSStruct " + attributes + u">" + items + u"</JSStruct>";
}

WideString Item(const WideString& attributes) {
  return u"<JSStructItem " + attributes + u"/>";
}

// A document of one record "Page" with one item, which loads.
WideString OnePage() {
  return Document(Record(u"name='Page' size='8' numOfItems='1'", Item(u"name='id' type='int' size='4'")));
}

class Loading : public ::testing::Test {
 protected:
  // The set holds a record before each load.
  Loading() { set_.AddStruct(u"Before", 4, u"", u""); }

  Status Load(const WideString& text) { return set_.LoadFromXML(text.c_str()); }

  ScopedLog log_;
  JSPDBMemDesc set_;
};

TEST_F(Loading, AllAttributesArrive) {
  ASSERT_EQ(Load(Document(Record(u"name='Page' size='64' description='a &lt;page&gt;' restrict='[r]' "
                                 u"numOfItems='2'",
                                 Item(u"name='id' type='uint' size='4' offset='12' description='number' "
                                      u"restrict='[fmt:hex]'") +
                                     Item(u"name='title' type='wchar_t*' size='8'")))),
            kOk);
  ASSERT_EQ(set_.structs().size(), 1u) << "what was there before is gone";
  const JSStructDesc& page = set_.structs().front();
  EXPECT_EQ(page.name, u"Page");
  EXPECT_EQ(page.size, 64);
  EXPECT_EQ(page.description, u"a <page>");
  EXPECT_EQ(page.restrictText, u"[r]");
  ASSERT_EQ(page.items().size(), 2u);
  const JSStructItemDesc& id = page.items()[0];
  EXPECT_EQ(id.name, u"id");
  EXPECT_EQ(id.type(), u"uint");
  EXPECT_EQ(id.size, 4);
  EXPECT_EQ(id.offset, 12);
  EXPECT_EQ(id.description, u"number");
  EXPECT_EQ(id.restrictText(), u"[fmt:hex]");
  const JSStructItemDesc& title = page.items()[1];
  EXPECT_EQ(title.offset, 0);
  EXPECT_EQ(title.description, u"");
  EXPECT_EQ(title.restrictText(), u"");
  EXPECT_EQ(set_.FindStruct(u"Page")->FindItem(u"title"), &title);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Loading, ANullTextLeavesTheSetAsItWas) {
  EXPECT_EQ(set_.LoadFromXML(nullptr), kParameter);
  EXPECT_NE(set_.FindStruct(u"Before"), nullptr);
  EXPECT_EQ(log_.lines(), (Lines{{0, u"Invalid parameters for loading from XML."}}));
}

TEST_F(Loading, ARootAloneIsAnEmptySet) {
  EXPECT_EQ(Load(u"<StructureDescription other='ignored'><Else/></StructureDescription>"), kOk);
  EXPECT_TRUE(set_.structs().empty());
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Loading, ALoadedSetCanBeLoadedAgain) {
  ASSERT_EQ(Load(OnePage()), kOk);
  ASSERT_EQ(Load(OnePage()), kOk);
  EXPECT_EQ(set_.structs().size(), 1u);
}

struct GoodCase {
  WideString records;
  std::vector<WideString> names;  // of the records, with the number of their items
  const char* why;
};

std::vector<WideString> Names(const JSPDBMemDesc& set) {
  std::vector<WideString> names;
  for (const JSStructDesc& record : set.structs()) {
    names.emplace_back(Message(u"%s:%d", record.name, record.items().size()).view());
  }
  return names;
}

TEST_F(Loading, WhatIsAccepted) {
  const WideString id = Item(u"name='id' type='int' size='4'");
  const GoodCase cases[] = {
      {Record(u"name='A' size='1' numOfItems='0'"), {u"A:0"}, "a record without items"},
      {Record(u"name='A' size='1'"), {u"A:0"}, "an absent count is 0"},
      {Record(u"name='A' size='1'") + Record(u"name='a' size='1'"), {u"A:0", u"a:0"}, "names differ in case"},
      {u"<Group><Deep>" + Record(u"name='A' size='1'") + u"</Deep></Group>" + Record(u"name='B' size='1'"),
       {u"A:0", u"B:0"},
       "records at any depth, in document order"},
      {Record(u"name='A' size='4' numOfItems='1'", u"<Group>" + id + u"</Group>"),
       {u"A:1"},
       "items at any depth"},
      {Record(u"name='A' size='4' numOfItems='2'", id + Record(u"name='B' size='4' numOfItems='1'", id)),
       {u"A:1", u"B:1"},
       "a nested record is one of its own, and its items count for both; the second id is a duplicate"},
      {Record(u"name='A' size='4' numOfItems='2'",
              id + Record(u"name='B' size='4' numOfItems='1'", Item(u"name='x' type='int' size='4'"))),
       {u"A:2", u"B:1"},
       "and belong to both"},
      {Record(u"name='A' size='4' numOfItems='2'", id + Item(u"name='id' type='char' size='1'")),
       {u"A:1"},
       "a second item of one name is dropped, and counted"},
      {Record(u"name='A' size='4' numOfItems='1'", id) + Record(u"name='B' size='4' numOfItems='1'", id),
       {u"A:1", u"B:1"},
       "two records with an item of one name"},
      {Record(u"name='A' size='4' numOfItems='1'", Item(u"name='id' type='int' size='40' offset='999'")),
       {u"A:1"},
       "an item beyond its record"},
      {Record(u"name='A' size='4' numOfItems='2'", id + Item(u"name='too' type='int' size='4' offset='2'")),
       {u"A:2"},
       "items that overlap"},
      {Record(u"name='A' size=' +12abc' numOfItems='-0'"), {u"A:0"}, "white space, a sign, a stop"},
      {Record(u"name='A' size='99999999999' numOfItems=''"),
       {u"A:0"},
       "a size that saturates; an empty count"},
      {Record(u"name='A' size='4' numOfItems='1'", Item(u"name='id' type='][*' size='4' offset='x'")),
       {u"A:1"},
       "types are not looked at; an offset without digits is 0"},
      {Record(u"name='A' size='4' numOfItems='1'", u"<jsstructitem/><JSStructItems/>" + id),
       {u"A:1"},
       "other elements are ignored"},
  };
  for (const GoodCase& row : cases) {
    SCOPED_TRACE(row.why);
    EXPECT_EQ(Load(Document(row.records)), kOk);
    EXPECT_EQ(Names(set_), row.names);
  }
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Loading, TheFirstOfTwoItemsOfOneNameStands) {
  ASSERT_EQ(Load(Document(Record(u"name='A' size='4' numOfItems='2'",
                                 Item(u"name='id' type='int' size='4'") +
                                     Item(u"name='id' type='char' size='1' offset='3'")))),
            kOk);
  EXPECT_EQ(set_.FindStruct(u"A")->FindItem(u"id")->type(), u"int");
}

struct BadCase {
  WideString text;
  Status status;
  const char16_t* line;
  const char* why;
};

TEST_F(Loading, WhatIsRefusedLeavesAnEmptySet) {
  const WideString good = Record(u"name='Good' size='1'");
  const WideString id = Item(u"name='id' type='int' size='4'");
  const auto oneItem = [](const WideString& attributes) {
    return Document(Record(u"name='A' size='4' numOfItems='1'", Item(attributes)));
  };
  const BadCase cases[] = {
      {u"", -9, u"Invalid XML info for loading PDB XML.", "no document"},
      {u"<StructureDescription>", -9, u"Invalid XML info for loading PDB XML.", "not well-formed"},
      {u"<structuredescription/>", -9,
       u"Invalid XML info for getting root element from PDB XML(Root name: structuredescription).",
       "the root's name is exact"},
      {u"<Else>" + good + u"</Else>", -9,
       u"Invalid XML info for getting root element from PDB XML(Root name: Else).", "another root"},
      {Document(good + Record(u"name='A'")), -9,
       u"Invalid XML info for struct(Name: A, Size: 0, numOfItems: 0, realNumOfItems: 0).", "no size"},
      {Document(good + Record(u"name='A' size='0'")), -9,
       u"Invalid XML info for struct(Name: A, Size: 0, numOfItems: 0, realNumOfItems: 0).", "a size of 0"},
      {Document(good + Record(u"name='A' size='-1'")), -9,
       u"Invalid XML info for struct(Name: A, Size: -1, numOfItems: 0, realNumOfItems: 0).", "below it"},
      {Document(good + Record(u"name='A' size='0x10'")), -9,
       u"Invalid XML info for struct(Name: A, Size: 0, numOfItems: 0, realNumOfItems: 0).", "no hexadecimal"},
      {Document(good + Record(u"name='A' size='4' numOfItems='-1'")), -9,
       u"Invalid XML info for struct(Name: A, Size: 4, numOfItems: -1, realNumOfItems: 0).",
       "a negative count"},
      {Document(good + Record(u"name='A' size='4' numOfItems='2'", id)), -9,
       u"Invalid XML info for struct(Name: A, Size: 4, numOfItems: 2, realNumOfItems: 1).",
       "too high a count"},
      {Document(good + Record(u"name='A' size='4' numOfItems='1'", Item(u"") + Item(u""))), -9,
       u"Invalid XML info for struct(Name: A, Size: 4, numOfItems: 1, realNumOfItems: 2).",
       "too low, whatever the items hold"},
      {Document(good + Record(u"name='' size='0' numOfItems='5'")), -9,
       u"Invalid XML info for struct(Name: , Size: 0, numOfItems: 5, realNumOfItems: 0).",
       "sizes and counts come before the name"},
      {Document(good + Record(u"size='4'")), -9, u"Invalid XML info for struct(Name: ).", "no name"},
      {Document(good + Record(u"name='Good' size='4'")), -9, u"Invalid XML info for struct(Name: Good).",
       "a name that is taken"},
      {oneItem(u"type='int' size='4'"), -9,
       u"Invalid XML info for PDB struct item(Name: , Type: int, Size: 4, Offset: 0).",
       "an item without name"},
      {oneItem(u"name='id' size='4'"), -9,
       u"Invalid XML info for PDB struct item(Name: id, Type: , Size: 4, Offset: 0).", "without type"},
      {oneItem(u"name='id' type='int'"), -9,
       u"Invalid XML info for PDB struct item(Name: id, Type: int, Size: 0, Offset: 0).", "without size"},
      {oneItem(u"name='id' type='int' size='0x10'"), -9,
       u"Invalid XML info for PDB struct item(Name: id, Type: int, Size: 0, Offset: 0).", "no hexadecimal"},
      {oneItem(u"name='id' type='int' size='4' offset='-1'"), -9,
       u"Invalid XML info for PDB struct item(Name: id, Type: int, Size: 4, Offset: -1).",
       "a negative offset"},
      {Document(Record(u"name='A' size='4' numOfItems='2'", id + Item(u"name='id' type='int' size='0'"))), -9,
       u"Invalid XML info for PDB struct item(Name: id, Type: int, Size: 0, Offset: 0).",
       "a duplicate is judged before it is dropped"},
  };
  for (const BadCase& row : cases) {
    SCOPED_TRACE(row.why);
    ASSERT_EQ(Load(OnePage()), kOk);
    log_.Clear();
    EXPECT_EQ(Load(row.text), row.status);
    EXPECT_TRUE(set_.structs().empty());
    EXPECT_EQ(set_.FindStruct(u"Page"), nullptr);
    EXPECT_EQ(set_.FindStruct(u"Good"), nullptr);
    EXPECT_EQ(log_.lines(), (Lines{{0, row.line}}));
  }
}

struct DomCase {
  DomCall call;
  int nth;
  Status status;
  const char16_t* line;
  const char* why;
};

constexpr DomCase kDomCases[] = {
    {DomCall::kNew, 1, -6, u"COM error for loading PDB XML.", "no document can be made"},
    {DomCall::kLoadXml, 1, -9, u"Invalid XML info for loading PDB XML.", "loading fails"},
    {DomCall::kDocumentElement, 1, -9, u"Invalid XML info for getting root element from PDB XML.", "no root"},
    {DomCall::kTagName, 1, -9, u"Invalid XML info for getting root element from PDB XML(Root name: ).",
     "no tag name"},
    {DomCall::kGetElementsByTagName, 1, -9,
     u"Invalid XML info for getting struct from PDB XML(Struct name: JSStruct).", "the search for records"},
    {DomCall::kAsElement, 1, -6, u"COM error for getting struct from PDB XML.", "a record is no element"},
    {DomCall::kGetElementsByTagName, 2, -9,
     u"Invalid XML info for getting struct from PDB XML(Struct name: JSStructItem).", "the search for items"},
    {DomCall::kAsElement, 2, -6, u"COM error for loading PDB struct item desc from XML.",
     "an item is no element"},
    {DomCall::kGetAttribute, 1, -9, u"Invalid XML info for struct(Name: ).",
     "the first is the record's name"},
    {DomCall::kGetAttribute, 2, -9,
     u"Invalid XML info for struct(Name: Page, Size: 0, numOfItems: 1, realNumOfItems: 1).",
     "then its size: an attribute that can't be fetched is absent"},
};

TEST_F(Loading, FailuresOfTheDocument) {
  for (const DomCase& row : kDomCases) {
    SCOPED_TRACE(row.why);
    ScopedFailures failures;
    failures.Fail(row.call, row.nth);
    log_.Clear();
    EXPECT_EQ(Load(OnePage()), row.status);
    EXPECT_TRUE(set_.structs().empty());
    EXPECT_EQ(log_.lines(), (Lines{{0, row.line}}));
  }
}

TEST_F(Loading, AnItemThatCannotBeFetchedEndsTheRecordSilently) {
  ScopedFailures failures;
  failures.Fail(DomCall::kListItem, 2);
  const WideString item = u"' type='int' size='4'";
  EXPECT_EQ(
      Load(Document(Record(u"name='A' size='4' numOfItems='3'",
                           Item(u"name='a" + item) + Item(u"name='b" + item) + Item(u"name='c" + item)) +
                    Record(u"name='B' size='4'"))),
      kOk);
  EXPECT_EQ(Names(set_), (std::vector<WideString>{u"A:1", u"B:0"}));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Loading, ARecordThatCannotBeFetchedEndsTheLoadWell) {
  ScopedFailures failures;
  failures.Fail(DomCall::kListNext, 2);
  EXPECT_EQ(Load(Document(Record(u"name='A' size='4'") + Record(u"name='B' size='4'"))), kOk);
  EXPECT_EQ(Names(set_), (std::vector<WideString>{u"A:0"}));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Loading, NullNodesAreBadParameters) {
  DescriptionLoader loader(set_);
  EXPECT_EQ(loader.LoadStructFromXML({}), kParameter);
  EXPECT_EQ(loader.LoadStructItemFromXML(set_.FindStruct(u"Before"), {}), kParameter);
  const auto document = xml::Document::New();
  ASSERT_TRUE(document->LoadXml(u"<JSStructItem name='id' type='int' size='4'/>"));
  const xml::NodeRef item = document->DocumentElement();
  EXPECT_EQ(loader.LoadStructItemFromXML(nullptr, item), kParameter);
  EXPECT_EQ(log_.lines(), (Lines{
                              {0, u"Invalid parameters for loading struct desc from XML."},
                              {0, u"Invalid parameters for loading PDB struct item desc from XML."},
                              {0, u"Invalid parameters for loading PDB struct item desc from XML."},
                          }));
  EXPECT_EQ(loader.LoadStructItemFromXML(set_.FindStruct(u"Before"), item), kOk);
  EXPECT_NE(set_.FindStruct(u"Before")->FindItem(u"id"), nullptr);
}

TEST_F(Loading, AnAttributeOfANullElementCountsAsAbsent) {
  EXPECT_EQ(DescriptionAttribute({}, u"name"), u"");
  EXPECT_EQ(log_.lines(), (Lines{{0, u"Invalid parameters for getting XML element attribute."}}));
}

TEST_F(Loading, ARecordStaysWhereItsItemFailsUntilTheLoadEndsIt) {
  const auto document = xml::Document::New();
  ASSERT_TRUE(document->LoadXml(Record(u"name='A' size='4' numOfItems='1'", Item(u""))));
  EXPECT_EQ(DescriptionLoader(set_).LoadStructFromXML(document->DocumentElement()), kContent);
  EXPECT_EQ(Names(set_), (std::vector<WideString>{u"Before:0", u"A:0"}));
}

TEST_F(Loading, ManyRecordsAndItems) {
  WideString records;
  for (int number = 0; number < 300; ++number) {
    WideString digits;
    AppendInt(digits, number);
    WideString items;
    for (int item = 0; item < 20; ++item) {
      WideString name = u"item";
      AppendInt(name, item);
      items += Item(u"name='" + name + u"' type='int' size='4'");
    }
    records += Record(u"name='Record" + digits + u"' size='80' numOfItems='20'", items);
  }
  ASSERT_EQ(Load(Document(records)), kOk);
  ASSERT_EQ(set_.structs().size(), 300u);
  EXPECT_EQ(set_.FindStruct(u"Record299"), &set_.structs().back());
  EXPECT_EQ(set_.FindStruct(u"Record150")->FindItem(u"item19"),
            &set_.FindStruct(u"Record150")->items().back());
}

}  // namespace
}  // namespace sbx
