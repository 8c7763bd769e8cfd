#include "xml/xml_dom_helper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <vector>

#include "support/failing_document.h"
#include "support/host_system.h"
#include "support/recording_log.h"
#include "support/string_sink.h"

namespace sbx {
namespace {

using testing::DomCall;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::LogLine;
using testing::ScopedFailures;
using testing::ScopedLog;

class TheHelper : public ::testing::Test {
 protected:
  WideString Text() { return testing::TextOf(*helper_.GetXml()); }

  ScopedFailures failures_;
  ScopedLog log_;
  XMLDOMHelper helper_;
};

TEST_F(TheHelper, OpensTheDocumentWithItsRoot) {
  EXPECT_FALSE(helper_.isOpen());
  EXPECT_EQ(helper_.GetXml(), nullptr);
  EXPECT_EQ(helper_.CreateDocument(), kOk);
  EXPECT_TRUE(helper_.isOpen());
  EXPECT_EQ(Text(), u"<JobScriptXMLDescription/>");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(TheHelper, OpensOnce) {
  ASSERT_EQ(helper_.CreateDocument(), kOk);
  ASSERT_EQ(helper_.NewElement(u"a"), kOk);
  EXPECT_EQ(helper_.CreateDocument(), kState);
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{0, u"Init error for creating new document."}));
  EXPECT_EQ(Text(), u"<JobScriptXMLDescription><a/></JobScriptXMLDescription>");
}

struct CreateCase {
  DomCall call;
  const char16_t* line;
};

TEST_F(TheHelper, ReportsADocumentThatCannotBeMade) {
  const CreateCase cases[] = {
      {DomCall::kNew, u"COM error for creating new document."},
      {DomCall::kLoadXml,
       u"COM error for creating new document when loading XML(Root: "
       u"<JobScriptXMLDescription></JobScriptXMLDescription>)."},
      {DomCall::kDocumentElement,
       u"COM error for creating new document when getting root element(Root: "
       u"<JobScriptXMLDescription></JobScriptXMLDescription>)."},
  };
  for (const CreateCase& c : cases) {
    XMLDOMHelper helper;
    log_.Clear();
    failures_.Fail(c.call);
    EXPECT_EQ(helper.CreateDocument(), kDom);
    EXPECT_FALSE(helper.isOpen());
    EXPECT_FALSE(helper.currentElement());
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{0, c.line}));
    EXPECT_EQ(helper.CreateDocument(), kOk) << "the document was released, so a second try is a first one";
  }
}

TEST_F(TheHelper, BuildsElements) {
  ASSERT_EQ(helper_.CreateDocument(), kOk);
  EXPECT_EQ(helper_.NewElement(u"a"), kOk);
  EXPECT_EQ(helper_.NewElement(u"b"), kOk);
  EXPECT_EQ(helper_.SetContent(u"1&2"), kOk);
  helper_.BackToParent();
  EXPECT_EQ(helper_.NewElement(u"c"), kOk);
  EXPECT_EQ(helper_.SetFlagAttribute(u"null"), kOk);
  helper_.BackToParent();
  helper_.BackToParent();
  EXPECT_EQ(helper_.NewElement(u"d"), kOk);
  EXPECT_EQ(
      Text(),
      u"<JobScriptXMLDescription><a><b>1&amp;2</b><c flag=\"null\"/></a><d/></JobScriptXMLDescription>");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(TheHelper, NeverLeavesTheRoot) {
  helper_.BackToParent();  // without a document
  ASSERT_EQ(helper_.CreateDocument(), kOk);
  const int before = failures_.calls(DomCall::kParentNode);
  for (int i = 0; i < 3; ++i) helper_.BackToParent();
  EXPECT_EQ(failures_.calls(DomCall::kParentNode), before);
  ASSERT_EQ(helper_.NewElement(u"a"), kOk);
  for (int i = 0; i < 3; ++i) helper_.BackToParent();
  ASSERT_EQ(helper_.NewElement(u"b"), kOk);
  EXPECT_EQ(Text(), u"<JobScriptXMLDescription><a/><b/></JobScriptXMLDescription>");
}

TEST_F(TheHelper, StaysWhereItIsWhenTheParentCannotBeHad) {
  for (const DomCall call : {DomCall::kParentNode, DomCall::kAsElement}) {
    XMLDOMHelper helper;
    ASSERT_EQ(helper.CreateDocument(), kOk);
    ASSERT_EQ(helper.NewElement(u"a"), kOk);
    failures_.Fail(call);
    helper.BackToParent();
    ASSERT_EQ(helper.NewElement(u"b"), kOk);
    EXPECT_EQ(testing::TextOf(*helper.GetXml()),
              u"<JobScriptXMLDescription><a><b/></a></JobScriptXMLDescription>");
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(TheHelper, RefusesStepsWithoutADocument) {
  EXPECT_EQ(helper_.NewElement(u"a"), kState);
  EXPECT_EQ(helper_.NewElement(WideView()), kState) << "asked before the name";
  EXPECT_EQ(helper_.SetFlagAttribute(nullptr), kState) << "asked before the value";
  EXPECT_EQ(helper_.SetContent(WideView()), kState) << "asked before the text";
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{0, u"Init error for creating new element(document)."},
                                        LogLine{0, u"Init error for creating new element(document)."},
                                        LogLine{0, u"Init error for setting element attribute."},
                                        LogLine{0, u"Init error for setting element content."}));
}

TEST_F(TheHelper, RefusesNothingGiven) {
  ASSERT_EQ(helper_.CreateDocument(), kOk);
  EXPECT_EQ(helper_.NewElement(WideView()), kParameter);
  EXPECT_EQ(helper_.NewElement(u""), kParameter);
  EXPECT_EQ(helper_.SetFlagAttribute(nullptr), kParameter);
  EXPECT_EQ(helper_.SetContent(WideView()), kParameter);
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{0, u"Invalid parameters for creating new element."},
                                        LogLine{0, u"Invalid parameters for creating new element."},
                                        LogLine{0, u"Invalid parameters for setting element attribute."},
                                        LogLine{0, u"Invalid parameters for setting element content."}));
}

TEST_F(TheHelper, RefusesNamesThatXmlRefuses) {
  if (testing::IsWine()) GTEST_SKIP() << "Wine's document takes any name";
  ASSERT_EQ(helper_.CreateDocument(), kOk);
  EXPECT_EQ(helper_.NewElement(u"a b"), kDom);
  EXPECT_EQ(helper_.NewElement(u"1"), kDom);
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{0, u"COM error for creating element(Name: a b)."},
                                        LogLine{0, u"COM error for creating element(Name: 1)."}));
  EXPECT_EQ(Text(), u"<JobScriptXMLDescription/>");
}

TEST_F(TheHelper, KeepsItsPlaceWhenAnElementFails) {
  ASSERT_EQ(helper_.CreateDocument(), kOk);
  ASSERT_EQ(helper_.NewElement(u"a"), kOk);
  failures_.Fail(DomCall::kCreateElement);
  EXPECT_EQ(helper_.NewElement(u"b"), kDom);
  failures_.Fail(DomCall::kAppendChild);
  EXPECT_EQ(helper_.NewElement(u"c"), kDom);
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{0, u"COM error for creating element(Name: b)."},
                                        LogLine{0, u"COM error for appending element(Name: c)."}));
  ASSERT_EQ(helper_.NewElement(u"d"), kOk);
  EXPECT_EQ(Text(), u"<JobScriptXMLDescription><a><d/></a></JobScriptXMLDescription>");
  EXPECT_EQ(helper_.countedUnits(), Text().size());
}

TEST_F(TheHelper, ReportsAFlagThatCannotBeSet) {
  ASSERT_EQ(helper_.CreateDocument(), kOk);
  failures_.Fail(DomCall::kSetAttribute);
  EXPECT_EQ(helper_.SetFlagAttribute(u"null"), kContent);
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{0,
                                                u"Invalid XML info for setting element attribute(Name: "
                                                u"flag, Value: null)."}));
  EXPECT_EQ(Text(), u"<JobScriptXMLDescription/>");
}

TEST_F(TheHelper, SetsContentAsTextOrDigits) {
  ASSERT_EQ(helper_.CreateDocument(), kOk);
  ASSERT_EQ(helper_.NewElement(u"a"), kOk);
  EXPECT_EQ(helper_.SetContent(u"\t\n\r"), kOk);
  helper_.BackToParent();
  ASSERT_EQ(helper_.NewElement(u"b"), kOk);
  EXPECT_EQ(helper_.SetContent(u"\u00E9\x01"), kOk);
  helper_.BackToParent();
  ASSERT_EQ(helper_.NewElement(u"c"), kOk);
  EXPECT_EQ(helper_.SetContent(u""), kOk);
  EXPECT_EQ(Text(),
            u"<JobScriptXMLDescription><a>\t\n&#13;</a><b flag=\"binary\">59000100</b><c/>"
            u"</JobScriptXMLDescription>");
  EXPECT_EQ(failures_.calls(DomCall::kPutText), 3) << "an empty text is content";
}

TEST_F(TheHelper, PutsNumbersAsTheyStand) {
  EXPECT_EQ(helper_.SetPlainContent(u"1"), kState);
  ASSERT_EQ(helper_.CreateDocument(), kOk);
  EXPECT_EQ(helper_.SetPlainContent(WideView()), kParameter);
  ASSERT_EQ(helper_.NewElement(u"a"), kOk);
  EXPECT_EQ(helper_.SetPlainContent(u"-1 2.500000"), kOk);
  EXPECT_EQ(Text(), u"<JobScriptXMLDescription><a>-1 2.500000</a></JobScriptXMLDescription>");
  EXPECT_EQ(helper_.countedUnits(), Text().size());
  failures_.Fail(DomCall::kPutText);
  EXPECT_EQ(helper_.SetPlainContent(u"1"), kContent);
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{0, u"Init error for setting element content."},
                                        LogLine{0, u"Invalid parameters for setting element content."},
                                        LogLine{0, u"Invalid XML info for setting element content xx."}));
}

TEST_F(TheHelper, ReportsContentThatCannotBeSet) {
  ASSERT_EQ(helper_.CreateDocument(), kOk);
  failures_.Fail(DomCall::kPutText);
  EXPECT_EQ(helper_.SetContent(u"x"), kContent);
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{0, u"Invalid XML info for setting element content xx."}));
  log_.Clear();
  failures_.Fail(DomCall::kPutText);
  EXPECT_EQ(helper_.SetContent(u"\x01"), kContent);
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{0, u"Invalid XML info for setting element content xx."}));
}

TEST_F(TheHelper, GoesOnWithContentWhenItsFlagFails) {
  ASSERT_EQ(helper_.CreateDocument(), kOk);
  failures_.Fail(DomCall::kSetAttribute);
  EXPECT_EQ(helper_.SetContent(u"\x01"), kOk);
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{0,
                                                u"Invalid XML info for setting element attribute(Name: "
                                                u"flag, Value: binary)."}));
  EXPECT_EQ(Text(), u"<JobScriptXMLDescription>0100</JobScriptXMLDescription>");
}

enum class Step { kElement, kBack, kText, kFlag };
struct CountStep {
  Step step;
  WideView text;
};

void Take(XMLDOMHelper& helper, const CountStep& step) {
  switch (step.step) {
    case Step::kElement:
      EXPECT_EQ(helper.NewElement(step.text), kOk);
      return;
    case Step::kBack:
      helper.BackToParent();
      return;
    case Step::kText:
      EXPECT_EQ(helper.SetContent(step.text), kOk);
      return;
    case Step::kFlag:
      EXPECT_EQ(helper.SetFlagAttribute(WideString(step.text).c_str()), kOk);
      return;
  }
}

constexpr CountStep kCountSteps[] = {
    {Step::kElement, u"first"}, {Step::kElement, u"a"},       {Step::kText, u"<&>\r\"x"},
    {Step::kBack, u""},         {Step::kElement, u"b"},       {Step::kText, u"\x01\x02"},
    {Step::kBack, u""},         {Step::kElement, u"c"},       {Step::kText, u""},
    {Step::kBack, u""},         {Step::kElement, u"d"},       {Step::kText, u"1"},
    {Step::kText, u"22"},       {Step::kText, u""},           {Step::kText, u"333"},
    {Step::kFlag, u"null"},     {Step::kFlag, u"\"\t<x>&\""}, {Step::kFlag, u""},
    {Step::kBack, u""},         {Step::kBack, u""},           {Step::kBack, u""},
    {Step::kElement, u"e"},     {Step::kElement, u"f"},       {Step::kElement, u"g"},
};

TEST_F(TheHelper, CountsTheUnitsOfTheSerialisedDocument) {
  ASSERT_EQ(helper_.CreateDocument(), kOk);
  EXPECT_EQ(helper_.countedUnits(), Text().size());
  for (const CountStep& step : kCountSteps) {
    Take(helper_, step);
    EXPECT_EQ(helper_.countedUnits(), Text().size()) << &step - kCountSteps;
  }
}

struct LimitCase {
  std::vector<CountStep> before;
  CountStep last;
  std::uint64_t units;  // of the document with the last step
};

// -3 as each step has it.
Status Refuse(XMLDOMHelper& helper, const CountStep& step) {
  try {
    switch (step.step) {
      case Step::kElement:
        return helper.NewElement(step.text);
      case Step::kText:
        return helper.SetContent(step.text);
      case Step::kFlag:
        return helper.SetFlagAttribute(WideString(step.text).c_str());
      case Step::kBack:
        break;
    }
  } catch (const std::bad_alloc&) {
    return kMemory;
  }
  return kOk;
}

TEST_F(TheHelper, EndsAtItsLimitExactly) {
  const std::uint64_t root = 2 * 23 + 5;
  const LimitCase cases[] = {
      {{}, {Step::kElement, u"ab"}, root + 5},
      {{{Step::kElement, u"ab"}, {Step::kBack, u""}}, {Step::kElement, u"c"}, root + 9},
      {{{Step::kElement, u"ab"}}, {Step::kElement, u"c"}, root + 13},
      {{{Step::kElement, u"ab"}}, {Step::kText, u"x"}, root + 10},
      {{{Step::kElement, u"ab"}}, {Step::kText, u"x\r"}, root + 15},
      {{{Step::kElement, u"ab"}}, {Step::kText, u"\x01"}, root + 13 + 14},
      {{{Step::kElement, u"ab"}, {Step::kText, u"x"}}, {Step::kText, u"yz"}, root + 11},
      {{{Step::kElement, u"ab"}}, {Step::kFlag, u"\"\n"}, root + 5 + 8 + 11},
      {{{Step::kElement, u"ab"}, {Step::kFlag, u"x"}}, {Step::kFlag, u"yz"}, root + 5 + 10},
  };
  for (const LimitCase& c : cases) {
    for (const bool fits : {true, false}) {
      XMLDOMHelper helper(fits ? c.units : c.units - 1);
      ASSERT_EQ(helper.CreateDocument(), kOk);
      for (const CountStep& step : c.before) Take(helper, step);
      log_.Clear();
      EXPECT_EQ(Refuse(helper, c.last), fits ? kOk : kMemory) << &c - cases;
      EXPECT_THAT(log_.lines(), IsEmpty());
      const auto text = testing::TextOf(*helper.GetXml());
      EXPECT_EQ(helper.countedUnits(), text.size()) << &c - cases;
      if (fits) {
        EXPECT_EQ(text.size(), c.units) << &c - cases;
      } else {
        EXPECT_LT(text.size(), c.units) << &c - cases;
      }
    }
  }
}

TEST_F(TheHelper, DigitsPastTheLimitAreNeverMade) {
  XMLDOMHelper helper(1000);
  ASSERT_EQ(helper.CreateDocument(), kOk);
  EXPECT_EQ(helper.SetContent(WideString(300, 1)), kMemory);
  EXPECT_EQ(testing::TextOf(*helper.GetXml()), u"<JobScriptXMLDescription/>");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(TheHelper, CountsWhatOthersAnnounce) {
  XMLDOMHelper helper(100);
  ASSERT_EQ(helper.CreateDocument(), kOk);
  EXPECT_TRUE(helper.CountUnits(70));
  EXPECT_EQ(helper.countedUnits(), 96U);
  EXPECT_FALSE(helper.CountUnits(5));
  EXPECT_FALSE(helper.CountUnits(~std::uint64_t{0}));
  EXPECT_TRUE(helper.CountUnits(4));
  EXPECT_EQ(helper.NewElement(u"a"), kMemory);
}

}  // namespace
}  // namespace sbx
