#include "diag/dbg_log_facade.h"

#include <gtest/gtest.h>

#include "support/recording_log.h"

namespace sbx {
namespace {

using Lines = std::vector<testing::LogLine>;

class Facade : public ::testing::Test {
 protected:
  void SetUp() override {
    log_.fileOutput = &file_;
    log_.smOutput = &live_;
  }
  DBGLogFacade log_;
  testing::RecordingOutput file_{2};
  testing::RecordingOutput live_{0};
};

TEST_F(Facade, AMessageReachesBothOutputsEachOfWhichDecides) {
  EXPECT_EQ(log_.Printf(2, u"two"), 1);
  EXPECT_EQ(log_.Printf(0, u"zero"), 1);
  EXPECT_EQ(log_.Printf(3, u"three"), 1);
  EXPECT_EQ(file_.lines(), (Lines{{2, u"two"}, {0, u"zero"}}));
  EXPECT_EQ(live_.lines(), (Lines{{0, u"zero"}}));
}

TEST_F(Facade, TheLiveChannelAloneIsEnough) {
  testing::RecordingOutput all(9999);
  log_.smOutput = &all;
  log_.Printf(4, u"four");
  EXPECT_EQ(all.lines(), (Lines{{4, u"four"}}));
  EXPECT_EQ(file_.lines(), Lines{});
}

TEST_F(Facade, LevelsAreSigned) {
  log_.Printf(-5, u"below");
  EXPECT_EQ(file_.lines(), (Lines{{-5, u"below"}}));
}

TEST_F(Facade, WithoutAFileOutputNothingIsLookedAt) {
  log_.fileOutput = nullptr;
  EXPECT_EQ(log_.Printf(0, u"lost"), 1);
  EXPECT_EQ(live_.lines(), Lines{});
}

TEST_F(Facade, LineFeedsAtBothEndsGo) {
  struct Case {
    const char16_t* text;
    const char16_t* expected;
    const char* why;
  };
  const Case cases[] = {
      {u"\n\na\n\n", u"a", "both ends"},
      {u"a\nb", u"a\nb", "inside they stay"},
      {u"a\r\n", u"a\r", "a carriage return stays at the end"},
      {u"\r\na", u"\r\na", "and stops the search at the start"},
      {u"\n\n", u"", "nothing else"},
      {u"", u"", "an empty text"},
      {u"\na\n\r\n", u"a\n\r", "the walk stops at the carriage return"},
  };
  for (const Case& c : cases) {
    file_.Clear();
    log_.Printf(0, u"%s", c.text);
    EXPECT_EQ(file_.lines(), (Lines{{0, c.expected}})) << c.why;
  }
}

TEST_F(Facade, TextIsCutAt1023Units) {
  log_.Printf(0, u"%s", WideString(1023, u'a'));
  log_.Printf(0, u"%s", WideString(1024, u'b'));
  log_.Printf(0, u"\n%s", WideString(1023, u'c'));
  EXPECT_EQ(file_.lines(),
            (Lines{{0, WideString(1023, u'a')}, {0, WideString(1023, u'b')}, {0, WideString(1022, u'c')}}));
}

TEST_F(Facade, CallsUnderWayAreCounted) {
  EXPECT_TRUE(LogCallUnderWay::IsNone());
  {
    const LogCallUnderWay call;
    EXPECT_FALSE(LogCallUnderWay::IsNone());
  }
  EXPECT_TRUE(LogCallUnderWay::IsNone());
}

TEST(Trace, Traces) {
  DBGTrace(u"[%d:%d] nothing happens\r\n", 1, 2);
}

}  // namespace
}  // namespace sbx
