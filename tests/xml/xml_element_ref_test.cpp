#include "xml/xml_element_ref.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/failing_document.h"
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

class AnElement : public ::testing::Test {
 protected:
  XMLElementRef Load(WideView text) {
    EXPECT_TRUE(document_->LoadXml(text));
    return XMLElementRef(document_->DocumentElement());
  }
  WideString Content(const XMLElementRef& ref) {
    WideString out = u"left over";
    ReadContent(ref, out);
    return out;
  }
  WideString Name(const XMLElementRef& ref) {
    return ref ? WideString(document_->TagName(ref.element().get()).value()) : u"(null)";
  }

  ScopedFailures failures_;
  ScopedLog log_;
  std::unique_ptr<xml::Document> document_ = xml::Document::New();
};

struct ReadCase {
  const char16_t* text;
  const char16_t* content;
  const char* why;
};

TEST_F(AnElement, ReadsContentAsItsFlagSays) {
  const ReadCase cases[] = {
      {u"<a/>", u"", "empty"},
      {u"<a> x </a>", testing::kIsMsxml ? u"x" : u" x ", "untouched, but by MSXML at both ends"},
      {u"<a>1<b>2</b></a>", u"12", "the whole text"},
      {u"<a flag='binary'>0100</a>", u"\x01", "digits"},
      {u"<a flag='binary'>01004</a>", u"\x01", "remainder ignored"},
      {u"<a flag='binary'>/000</a>", u"", "no digit"},
      {u"<a flag='binary'/>", u"", "no digits"},
      {u"<a flag='bin_utf8'>4142434445</a>", u"ABCD", "bytes"},
      {u"<a flag='null'>0100</a>", u"0100", "other flag"},
      {u"<a flag=''>0100</a>", u"0100", "empty flag"},
      {u"<a Flag='binary'>0100</a>", u"0100", "other attribute"},
      {u"<a flag='binary'><b>01</b>00</a>", u"\x01", "digits run together"},
  };
  for (const ReadCase& c : cases) EXPECT_EQ(Content(Load(c.text)), c.content) << c.why;
  EXPECT_EQ(Content(XMLElementRef()), u"") << "no element";
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AnElement, ReadsNothingWhenTheTextCannotBeHad) {
  const XMLElementRef root = Load(u"<a flag='binary'>4100</a>");
  failures_.Fail(DomCall::kGetText);
  EXPECT_EQ(Content(root), u"");
  failures_.Fail(DomCall::kGetAttribute);
  EXPECT_EQ(Content(root), u"4100") << "a flag that can't be read is none";
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AnElement, TakesContentAsTextOrDigits) {
  const XMLElementRef root = Load(u"<a>x</a>");
  EXPECT_EQ(WriteContent(root, u"1<2\r"), kOk);
  EXPECT_EQ(testing::TextOf(*document_), u"<a>1&lt;2&#13;</a>");
  EXPECT_EQ(WriteContent(root, u"\x01"), kOk);
  EXPECT_EQ(testing::TextOf(*document_), u"<a flag=\"binary\">0100</a>");
  EXPECT_EQ(Content(root), u"\x01");
  EXPECT_EQ(WriteContent(root, u"5"), kOk);
  EXPECT_EQ(testing::TextOf(*document_), u"<a flag=\"binary\">5</a>") << "the flag stays";
  EXPECT_EQ(WriteContent(root, u""), kOk);
  EXPECT_EQ(testing::TextOf(*document_), u"<a flag=\"binary\"/>");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AnElement, ReportsContentThatItCannotTake) {
  const XMLElementRef root = Load(u"<a>x</a>");
  EXPECT_EQ(WriteContent(root, WideView()), kParameter);
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{0, u"Invalid parameters for setting content."}));
  log_.Clear();
  failures_.Fail(DomCall::kPutText);
  EXPECT_EQ(WriteContent(root, u"y"), kContent);
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{0, u"Invalid XML info for setting element content."}));
  EXPECT_EQ(testing::TextOf(*document_), u"<a>x</a>");
}

TEST_F(AnElement, LogsAFlagThatFailsAndGoesOn) {
  const XMLElementRef root = Load(u"<a>x</a>");
  failures_.Fail(DomCall::kSetAttribute);
  EXPECT_EQ(WriteContent(root, u"\x02"), kOk);
  EXPECT_EQ(testing::TextOf(*document_), u"<a>0200</a>");
  failures_.Fail(DomCall::kSetAttribute);
  failures_.Fail(DomCall::kPutText);
  EXPECT_EQ(WriteContent(root, u"\x03"), kContent);
  const LogLine flag = {0, u"Invalid XML info for setting element attribute(Name: flag, Value: binary)."};
  EXPECT_THAT(log_.lines(),
              ElementsAre(flag, flag, LogLine{0, u"Invalid XML info for setting element content."}));
}

TEST_F(AnElement, GivesItsFirstChildOfAName) {
  const XMLElementRef root = Load(u"<r><a>1</a><b/><a>2</a></r>");
  EXPECT_EQ(Content(ChildByName(root, u"a")), u"1");
  EXPECT_FALSE(ChildByName(root, u"c"));
  EXPECT_FALSE(ChildByName(root, WideView()));
  EXPECT_FALSE(ChildByName(XMLElementRef(), u"a"));
  failures_.Fail(DomCall::kSelectChildElement);
  EXPECT_FALSE(ChildByName(root, u"a"));
  failures_.Fail(DomCall::kAsElement);
  EXPECT_FALSE(ChildByName(root, u"a"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AnElement, EnumeratesElementChildrenInOrder) {
  const XMLElementRef root = Load(u"<r>t<a/><!--c--><b/><?p?><c/>t</r>");
  std::optional<XMLChildEnum> children = EnumChildren(root);
  ASSERT_TRUE(children);
  EXPECT_FALSE(children->current());
  EXPECT_EQ(children->Length(), 3U);
  for (const WideView name : {u"a", u"b", u"c"}) {
    EXPECT_TRUE(children->Next());
    EXPECT_EQ(Name(children->current()), name);
  }
  EXPECT_FALSE(children->Next());
  EXPECT_FALSE(children->current());
  EXPECT_FALSE(children->Next());
}

TEST_F(AnElement, EnumeratesNothingWithoutAnElement) {
  EXPECT_FALSE(EnumChildren(XMLElementRef()));
  EXPECT_THAT(log_.lines(),
              ElementsAre(LogLine{0, u"Invalid XML parent element when enumerating the child elements."}));
}

TEST_F(AnElement, AFailedQueryHasNoChildren) {
  const XMLElementRef root = Load(u"<r><a/></r>");
  failures_.Fail(DomCall::kSelectChildElements);
  std::optional<XMLChildEnum> children = EnumChildren(root);
  ASSERT_TRUE(children);
  EXPECT_EQ(children->Length(), 0U);
  EXPECT_FALSE(children->Next());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AnElement, AFailingStepLeavesNoCurrentChild) {
  const XMLElementRef root = Load(u"<r><a/><b/><c/></r>");
  std::optional<XMLChildEnum> children = EnumChildren(root);
  ASSERT_TRUE(children->Next());
  failures_.Fail(DomCall::kListNext);
  EXPECT_FALSE(children->Next());
  EXPECT_FALSE(children->current());
  failures_.Fail(DomCall::kAsElement);
  EXPECT_FALSE(children->Next());
  EXPECT_FALSE(children->current());
}

}  // namespace
}  // namespace sbx
