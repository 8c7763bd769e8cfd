// What a `restrict` text makes of an item's element.
#include "present/presentation.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "base/numbers.h"
#include "platform/clock.h"
#include "present/element_content.h"
#include "present/name_list.h"
#include "support/failing_document.h"
#include "support/host_system.h"
#include "support/recording_log.h"
#include "support/written_xml.h"

namespace sbx {
namespace {

using testing::DomCall;
using testing::LogLine;
using testing::ScopedFailures;
using testing::ScopedLog;

using Lines = std::vector<LogLine>;

class Collector : public xml::TextSink {
 public:
  bool Append(WideView piece) override {
    text.append(piece);
    return true;
  }
  WideString text;
};

// An output document whose current element is that of an item, and the item.
class ItemElement {
 public:
  ItemElement(WideView restrictText, std::int32_t size, WideView content,
              std::uint64_t unitLimit = kDocumentUnitLimit)
      : output(unitLimit), item(u"item", u"int", size, 0, u"", WideString(restrictText)) {
    EXPECT_EQ(output.CreateDocument(), kOk);
    EXPECT_EQ(output.NewElement(u"item"), kOk);
    EXPECT_EQ(output.SetContent(content), kOk);
  }

  void Apply() { EXPECT_EQ(ApplyItemPresentation(record_, item, 0, output), kOk); }

  // The element's children and text, serialised.
  WideString Inner() {
    Collector sink;
    output.GetXml()->WriteTo(sink);
    sink.text = testing::AsEverywhere(sink.text);
    const WideString front = u"<JobScriptXMLDescription><item>";
    const WideString back = u"</item></JobScriptXMLDescription>";
    if (!sink.text.starts_with(front)) return sink.text == kEmpty ? u"" : u"? " + sink.text;
    return sink.text.substr(front.size(), sink.text.size() - front.size() - back.size());
  }

  XMLDOMHelper output;
  JSStructItemDesc item;

 private:
  static constexpr const char16_t* kEmpty = u"<JobScriptXMLDescription><item/></JobScriptXMLDescription>";
  JSStructDesc record_{u"Rec", 100, u"", u""};
};

WideString Present(WideView restrictText, std::int32_t size, WideView content) {
  ItemElement element(restrictText, size, content);
  element.Apply();
  return element.Inner();
}

class Presentation : public ::testing::Test {
 protected:
  ScopedLog log_;
};

// A table's text with "{seconds}" replaced by that date and time in the host's zone.
WideString WithDate(WideString text) {
  const std::size_t open = text.find(u'{');
  if (open == WideString::npos) return text;
  const std::size_t close = text.find(u'}');
  const auto time = platform::ToLocalTime(ScanInt64(WideView(text).substr(open + 1)));
  EXPECT_TRUE(time.has_value());
  std::ostringstream date;
  const auto two = [&date](char before, int number) { date << before << std::setw(2) << number; };
  date << std::setfill('0') << std::setw(4) << time->year;
  two('-', time->month);
  two('-', time->day);
  two(' ', time->hour);
  two(':', time->minute);
  two(':', time->second);
  const std::string narrow = date.str();
  return text.replace(open, close - open + 1, WideString(narrow.begin(), narrow.end()));
}

struct Case {
  const char16_t* restrictText;
  std::int32_t size;
  const char16_t* content;
  const char16_t* shown;
  const char* why;
};

constexpr Case kCases[] = {
    {u"", 4, u"5", u"5", "nothing asked"},
    {u"no command", 4, u"5", u"5", "nothing in brackets"},
    {u"[foo]", 4, u"5", u"5 ", "an unknown command leaves the blank"},
    {u"[Time]", 4, u"1600000000", u"1600000000 ", "names are exact"},
    {u"[foo]", 4, u"", u" ", "also on nothing"},

    {u"[fmt:hex]", 1, u"255", u"0xFF", "one byte"},
    {u"[fmt:hex]", 1, u"10", u"0x0A", "two digits"},
    {u"[fmt:hex]", 1, u"-1", u"0xFF", "a signed byte through the mask"},
    {u"[fmt:hex]", 2, u"255", u"0x00FF", "two bytes"},
    {u"[fmt:hex]", 2, u"-1", u"0xFFFF", "signed"},
    {u"[fmt:hex]", 4, u"255", u"0x000000FF", "four bytes"},
    {u"[fmt:hex]", 4, u"-1", u"0xFFFFFFFF", "signed"},
    {u"[fmt:hex]", 4, u"4294967295", u"0x7FFFFFFF", "saturated"},
    {u"[fmt:hex]", 4, u"2147483648", u"0x7FFFFFFF", "from here on"},
    {u"[fmt:hex]", 4, u"-3000000000", u"0x80000000", "and below"},
    {u"[fmt:hex]", 8, u"255", u"", "eight bytes empty the element"},
    {u"[fmt:hex]", 3, u"255", u"", "so do three"},
    {u"[fmt:dec]", 4, u"255", u"", "and another form"},
    {u"[fmt:HEX]", 4, u"255", u"", "the form is exact"},
    {u"[fmt]", 4, u"255", u"", "and no form"},
    {u"[fmt:dec,hex]", 4, u"255", u"", "only the first parameter is read"},
    {u"[fmt:hex(3)]", 4, u"255", u"0x000000FF", "its number has no meaning"},
    {u"[fmt:hex]", 4, u"", u"", "no content"},
    {u"[fmt:hex]", 4, u"abc", u"0x00000000", "no number is 0"},
    {u"[fmt:dec][fmt:hex]", 4, u"255", u"", "the first of two counts"},

    {u"[time]", 4, u"1600000000", u"1600000000  ({1600000000})", "two blanks"},
    {u"[time]", 4, u"1000000", u"1000000  ({1000000})", "every part has its width"},
    {u"[time]", 4, u"2147483647", u"2147483647  ({2147483647})", "the last second"},
    {u"[time]", 4, u"4000000000", u"4000000000  ({2147483647})", "saturated"},
    {u"[time]", 4, u"0", u"0 ", "no date for 0"},
    {u"[time]", 4, u"-5", u"-5 ", "none below 0"},
    {u"[time]", 2, u"1600", u"1600 ", "none for two bytes"},
    {u"[time]", 8, u"1600000000", u"1600000000 ", "none for eight"},
    {u"[time]", 4, u"", u" ", "none without content"},
    {u"[time:xx]", 4, u"1", u"1  ({1})", "parameters have no meaning"},

    {u"[flag:On(1)]", 4, u"1", u"1  (On)", "equal"},
    {u"[flag:On(1)]", 4, u"2", u"2 ", "not equal"},
    {u"[flag:On(1)]", 4, u"3", u"3 ", "bits do not count"},
    {u"[flag:On]", 4, u"0", u"0 ", "without a number nothing matches"},
    {u"[flag:Off(0)]", 4, u"0", u"0  (Off)", "0 does"},
    {u"[flag:A(1),B(1)]", 1, u"1", u"1  (A)", "the first"},
    {u"[flag:All(0xFFFFFFFF)]", 4, u"-1", u"-1  (All)", "as 32-bit numbers"},
    {u"[flag:All(0xFFFFFFFF)]", 4, u"4294967295", u"4294967295 ", "which saturate"},
    {u"[flag:(1)]", 4, u"1", u"1  ()", "a name may be empty"},
    {u"[flag]", 4, u"1", u"1 ", "no parameters"},
    {u"[flag:Off(0)]", 4, u"", u" ", "no content"},
    {u"[flag:A&lt;(1)]", 4, u"1", u"1  (A&amp;lt;)", "names are text"},

    {u"[enum:A(1),B(2),C(4)]", 4, u"5", u"5  (A|C)", "bits"},
    {u"[enum:A(1),B(2),C(4)]", 4, u"7", u"7  (A|B|C)", "all"},
    {u"[enum:A(1)]", 4, u"0", u"0 ", "0 has no bits"},
    {u"[enum:A(1)]", 4, u"8", u"8 ", "a bit without a name"},
    {u"[enum:None(0),A(1)]", 4, u"1", u"1  (A)", "a name for 0 never shows"},
    {u"[enum:RW(3),Re(1),Xx]", 4, u"1", u"1  (RW|Re)", "in the order written; without a number nothing"},
    {u"[enum:A(1)]", 4, u"", u" ", "no content"},
    {u"[enum]", 4, u"1", u"1 ", "no parameters"},

    {u"[fmt:hex][time]", 4, u"1600000000", u"0x5F5E1000 ({1600000000})", "with fmt one blank"},
    {u"[fmt:hex][flag:On(1)]", 4, u"1", u"0x00000001 (On)", "number and name"},
    {u"[flag:On(1)][fmt:hex]", 4, u"1", u"0x00000001 (On)", "the order in the text has no meaning"},
    {u"[fmt][flag:On(1)]", 4, u"1", u" (On)", "the name without the number"},
    {u"[enum:Bit(1)][flag:One(1)][time]", 4, u"1", u"1  ({1}) (One) (Bit)", "in fixed order"},
    {u"[flag:A(1)][flag:B(2)]", 4, u"2", u"2 ", "only the first of a name runs"},
};

TEST_F(Presentation, EachCommand) {
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.why);
    EXPECT_EQ(Present(row.restrictText, row.size, row.content), WithDate(row.shown));
  }
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Presentation, DatesHaveTheirWidths) {
  const WideString shown = Present(u"[time]", 4, u"1600000000");
  ASSERT_EQ(shown.size(), WideView(u"1600000000  (2020-09-13 12:26:40)").size());
  // The zone of the host moves the hour, and by no more than a day.
  EXPECT_TRUE(shown.starts_with(u"1600000000  (2020-09-1"));
  EXPECT_TRUE(shown.ends_with(u":40)"));
}

struct ListCase {
  const char16_t* restrictText;
  const char16_t* content;
  const char16_t* shown;
  const char* why;
};

constexpr ListCase kLists[] = {
    {u"[namelist]", u"72 105 0 0", u"Hi", "up to the first 0"},
    {u"[namelist]", u"72 105", u"Hi", "or the end"},
    {u"[namelist]", u"72 105 0 65 0", u"Hi", "what follows is not shown"},
    {u"[namelist]", u"0 0", u" ", "nothing is a blank"},
    {u"[namelist]", u"0 65", u" ", "also before something"},
    {u"[namelist]", u"0", u"", "a last 0 is a code: the text ends before it"},
    {u"[namelist]", u"", u"", "as is a last code without digits"},
    {u"[namelist]", u"72 0", u"H", "a last 0 behind something"},
    {u"[namelist]", u"-1 65536 65", u"\uFFFF", "the low 16 bits; a code of 0 in them ends the text"},
    {u"[namelist]", u"65601 66", u"AB", "the low 16 bits of 65601 are A"},
    {u"[namelist]", u"00 65", u"", "only the exact 0 ends the scan, and yet the text ends there"},
    {u"[namelist]", u"55357 56832", u"\U0001F600", "surrogates"},
    {u"[namelist]", u"60 38", u"&lt;&amp;", "markup is text"},
    {u"[time][namelist]", u"72 105", u"Hi", "what other commands made is not shown"},
    {u"[fmt][namelist]", u"72 105", u"Hi", "nor is another form of the number"},

    {u"[namelist:2]", u"72 105 0 65 0 0", u"<Name>Hi</Name><Name>A</Name>", "two names"},
    {u"[namelist:1]", u"72 105 0 65 0 0", u"<Name>Hi</Name>", "only as many as counted"},
    {u"[namelist:1]", u"72 105 0", u"<Name>Hi</Name>", "one that ends the codes"},
    {u"[namelist:2]", u"72 105 0", u"<Name>Hi</Name><Name>Hi</Name>", "the last one again"},
    {u"[namelist:3]", u"72 0 65 0", u"<Name>H</Name><Name>A</Name><Name>A</Name>", "and again"},
    {u"[namelist:3]", u"72 0 65 0 0", u"72 0 65 0 0 ", "a single 0 is no name: the codes stay"},
    {u"[namelist:2]", u"72 0 ", u"<Name>H</Name><Name>H</Name>", "a last one with a blank behind it, again"},
    {u"[namelist:2]", u"72 0 6", u"72 0 6 ", "one unit more is a next one, and not ended"},
    {u"[namelist:1]", u"72 105", u"72 105 ", "no 0: the codes stay"},
    {u"[namelist:1]", u"0", u"0 ", "too short"},
    {u"[namelist:1]", u"", u"<Name/>", "no codes to put back: the name that was begun stays"},
    {u"[namelist:1]", u"0 0", u"<Name/>", "a name that begins with 0"},
    {u"[namelist:2]", u"0 0 65 0", u"<Name/><Name>A</Name>", "and one behind it"},
    {u"[namelist:1]", u"72 05 65 0", u"<Name>H</Name>", "a blank and a 0 end a name, whatever follows"},
    {u"[namelist:2]", u"72 05 65 0", u"<Name>H</Name><Name/>",
     "the unit behind them is left out; the next name begins with a code of 0"},
    {u"[namelist:0]", u"72 105 0", u"72 105 0 ", "a count of 0 changes nothing"},
    {u"[namelist:x]", u"72 105 0", u"72 105 0 ", "nor does one without digits"},
    {u"[namelist:-1]", u"72 105 0", u"", "a negative one empties the element"},
    {u"[namelist:1000001]", u"72 105 0", u"72 105 0 ", "more names than any list holds"},
    {u"[namelist:99999999999]", u"72 105 0", u"72 105 0 ", "likewise"},
    {u"[namelist: 2 ]", u"72 0 65 0", u"<Name>H</Name><Name>A</Name>", "blanks around the count"},
    {u"[namelist][flag:H(72)]", u"72 105 0", u"72 105 0  (H)", "a colon anywhere makes a count, here of 0"},
    {u"[flag:2][namelist]", u"72 0 65 0", u"<Name>H</Name><Name>A</Name>", "or of 2"},
    {u"x:2 [namelist]", u"72 0 65 0", u"<Name>H</Name><Name>A</Name>", "even outside brackets"},
    {u"[namelist]:2", u"72 0 65 0", u"<Name>H</Name><Name>A</Name>", "or behind them"},
    {u"[fmt:hex][namelist]", u"72 105", u"0x00000048", "also that of fmt"},
    {u"[fmt:hex][namelist:1]", u"72 105", u"0x00000048", "the first colon is that of fmt, a count of 0"},
    {u"[namelist:1][fmt:hex]", u"72 105", u"0x00000048", "codes put back give way to the number"},
};

TEST_F(Presentation, NameLists) {
  for (const ListCase& row : kLists) {
    SCOPED_TRACE(row.why);
    if (testing::IsWine() && WideView(row.shown).find(u'\uFFFF') != WideView::npos)
      continue;  // it can't keep it
    EXPECT_EQ(Present(row.restrictText, 4, row.content), row.shown);
  }
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Presentation, AListMayHoldAMillionNames) {
  ItemElement element(u"[namelist:1000000]", 4, u"72 0");
  element.Apply();
  EXPECT_EQ(element.Inner().size(), 1'000'000u * WideView(u"<Name>H</Name>").size());
}

TEST_F(Presentation, TextOfChildrenIsTakenTogetherAndReplacesThem) {
  ItemElement element(u"[foo]", 4, u"");
  ASSERT_EQ(element.output.NewElement(u"a"), kOk);
  ASSERT_EQ(element.output.SetContent(u"1"), kOk);
  element.output.BackToParent();
  ASSERT_EQ(element.output.NewElement(u"b"), kOk);
  ASSERT_EQ(element.output.SetContent(u"2"), kOk);
  element.output.BackToParent();
  element.Apply();
  EXPECT_EQ(element.Inner(), u"12 ");
}

TEST_F(Presentation, ATextWithoutCommandsIsWrittenBackToo) {
  ItemElement element(u"text", 4, u"");
  ASSERT_EQ(element.output.NewElement(u"a"), kOk);
  ASSERT_EQ(element.output.SetContent(u"1"), kOk);
  element.output.BackToParent();
  element.Apply();
  EXPECT_EQ(element.Inner(), u"1");
}

TEST_F(Presentation, WithoutARestrictTextTheElementIsNotTouched) {
  ScopedFailures failures;
  ItemElement element(u"", 4, u"5");
  const int gets = failures.calls(DomCall::kGetText);
  const int puts = failures.calls(DomCall::kPutText);
  element.Apply();
  EXPECT_EQ(failures.calls(DomCall::kGetText), gets);
  EXPECT_EQ(failures.calls(DomCall::kPutText), puts);
}

TEST_F(Presentation, ADigitStringIsReadAsItStands) {
  ItemElement element(u"[flag:On(1)]", 4, u"\u0001");
  element.Apply();
  Collector sink;
  element.output.GetXml()->WriteTo(sink);
  EXPECT_EQ(testing::AsEverywhere(sink.text),
            u"<JobScriptXMLDescription><item flag=\"binary\">0100 </item></JobScriptXMLDescription>");
}

TEST_F(Presentation, ARewrittenTextIsFollowed) {
  ItemElement element(u"[flag:On(1)]", 4, u"1");
  element.Apply();
  EXPECT_EQ(element.Inner(), u"1  (On)");
  element.item.SetRestrict(u"[flag:Yes(1)]");
  ASSERT_EQ(element.output.SetContent(u"1"), kOk);
  element.Apply();
  EXPECT_EQ(element.Inner(), u"1  (Yes)");
  element.item.SetRestrict(u"");
  element.Apply();
  EXPECT_EQ(element.Inner(), u"1  (Yes)");
}

TEST_F(Presentation, AValueBehindAnotherShowsNothingOfIt) {
  ItemElement element(u"[fmt:hex][flag:Long name of the first(1)]", 4, u"1");
  element.Apply();
  ASSERT_EQ(element.output.SetContent(u"2"), kOk);
  element.Apply();
  EXPECT_EQ(element.Inner(), u"0x00000002");
}

// --- failures: a line at level 0 at most, and the earlier content ------------------------------------------

constexpr const char16_t* kNotSet = u"Invalid XML info for setting element content.";

TEST_F(Presentation, WithoutAnElementThereIsALine) {
  XMLDOMHelper output;
  const JSStructDesc record(u"Rec", 4, u"", u"");
  const JSStructItemDesc item(u"item", u"int", 4, 0, u"", u"");
  EXPECT_EQ(ApplyItemPresentation(record, item, 0, output), kOk);
  EXPECT_EQ(log_.lines(), (Lines{{0, u"Invalid parameters for getting element content."}}));
}

TEST_F(Presentation, NothingCanBePutWhereThereIsNoElement) {
  ItemElement element(u"", 4, u"1");
  ElementContent content(element.output, 0);
  EXPECT_FALSE(content.Put(xml::NodeRef(), u"2"));
  EXPECT_EQ(element.Inner(), u"1");
  EXPECT_EQ(log_.lines(), (Lines{{0, u"Invalid parameters for setting element content."}}));
}

struct FailureCase {
  const char16_t* restrictText;
  DomCall call;
  int nth;
  const char16_t* shown;
  Lines lines;
  const char* why;
};

TEST_F(Presentation, FailuresOfTheDocument) {
  const WideString codes = u"72 105 0 65 0 0";
  const FailureCase cases[] = {
      {u"[foo]",
       DomCall::kGetText,
       1,
       u"72 105 0 65 0 0",
       {{0, u"Invalid XML info for getting element content."}},
       "reading"},
      {u"[foo]", DomCall::kPutText, 1, u"72 105 0 65 0 0", {{0, kNotSet}}, "writing back"},
      {u"[namelist]", DomCall::kPutText, 1, u"72 105 0 65 0 0", {{0, kNotSet}}, "a plain list"},
      {u"[namelist:2]", DomCall::kCreateElement, 1, u"72 105 0 65 0 0 ", {}, "the first name"},
      {u"[namelist:2]",
       DomCall::kCreateElement,
       2,
       u"72 105 0 65 0 0 ",
       {},
       "the second: the first gives way to the codes"},
      {u"[namelist:2]", DomCall::kAppendChild, 1, u"72 105 0 65 0 0 ", {}, "appending it"},
      {u"[namelist:2]", DomCall::kPutText, 2, u"72 105 0 65 0 0 ", {{0, kNotSet}}, "the text of the first"},
      {u"[namelist:2]", DomCall::kPutText, 3, u"72 105 0 65 0 0 ", {{0, kNotSet}}, "of the second"},
      {u"[namelist:2]",
       DomCall::kPutText,
       1,
       u"72 105 0 65 0 0<Name>Hi</Name><Name>A</Name>",
       {{0, kNotSet}},
       "emptying the element: the names come all the same"},
      {u"[namelist:-2]",
       DomCall::kPutText,
       1,
       u"72 105 0 65 0 0",
       {{0, kNotSet}},
       "emptying it for a negative count"},
  };
  for (const FailureCase& row : cases) {
    SCOPED_TRACE(row.why);
    ScopedFailures failures;
    ItemElement element(row.restrictText, 4, codes);
    failures.Fail(row.call, row.nth);
    log_.Clear();
    element.Apply();
    EXPECT_EQ(element.Inner(), row.shown);
    EXPECT_EQ(log_.lines(), row.lines);
  }
}

TEST_F(Presentation, NamesStayWhereTheCodesCannotBePutBack) {
  ScopedFailures failures;
  ItemElement element(u"[namelist:2]", 4, u"72 0 65");
  failures.Fail(DomCall::kPutText, 3);
  element.Apply();
  EXPECT_EQ(element.Inner(), u"<Name>H</Name><Name/>");
  EXPECT_EQ(log_.lines(), (Lines{{0, kNotSet}}));
}

// --- the limit of the document -----------------------------------------------------------------------------

TEST_F(Presentation, WhatIsAddedCountsTowardTheLimitOfTheDocument) {
  const auto used = [](WideView content) {
    const ItemElement element(u"", 4, content);
    return element.output.countedUnits();
  };
  const std::uint64_t full = used(u"1") + WideView(u"  (On)").size();
  ItemElement fits(u"[flag:On(1)]", 4, u"1", full);
  fits.Apply();
  EXPECT_EQ(fits.Inner(), u"1  (On)");
  ItemElement tooLong(u"[flag:On(1)]", 4, u"1", full - 1);
  EXPECT_THROW(tooLong.Apply(), std::bad_alloc);
}

TEST_F(Presentation, WhatTakesThePlaceOfContentIsNotCountedTwice) {
  ItemElement element(u"[fmt:hex]", 1, u"65535", 200);
  const std::uint64_t before = element.output.countedUnits();
  element.Apply();
  EXPECT_EQ(element.Inner(), u"0xFF");
  EXPECT_EQ(element.output.countedUnits(), before);
}

TEST_F(Presentation, NamesWithoutTextCountToo) {
  ItemElement element(u"[namelist:1000000]", 4, u"0 0", 5000);
  EXPECT_THROW(element.Apply(), std::bad_alloc);
}

TEST_F(Presentation, NamesThatComeAgainEndAtTheLimit) {
  ItemElement element(u"[namelist:1000000]", 4, u"72 105 72 105 0", 5000);
  EXPECT_THROW(element.Apply(), std::bad_alloc);
}

}  // namespace
}  // namespace sbx
