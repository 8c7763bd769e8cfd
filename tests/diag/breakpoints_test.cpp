#include "diag/breakpoints.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

#include "diag/live_channel_format.h"
#include "diag/sm_output.h"
#include "platform/module_identity.h"
#include "support/killable_process.h"
#include "support/log_sandbox.h"
#include "support/mutex_holder.h"
#include "support/sleeping_thread.h"

namespace sbx {
namespace {

using testing::HoldMutex;
using testing::KillableProcess;

WideString ReleaseName(const platform::Uuid& hit) {
  WideString id = platform::UuidToText(hit);
  std::transform(id.begin(), id.end(), id.begin(), AsciiUpper);
  return kBreakpointReleaseName + id;
}

// A tool with its block, mutex and signal.
class Breakpoints : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!KillableProcess::IsParent()) return;  // a child needs no tool of its own
    ASSERT_EQ(mutex_.Create(kBreakpointMutexName), platform::ObjectStatus::kOk);
    ASSERT_EQ(mapping_.Create(kBreakpointBlockName, sizeof(BREAKPOINT_BLOCK)), platform::ObjectStatus::kOk);
    ASSERT_EQ(signal_.Create(kBreakpointSignalName, platform::EventReset::kAuto),
              platform::ObjectStatus::kOk);
    block_ = static_cast<BREAKPOINT_BLOCK*>(mapping_.Map(sizeof(BREAKPOINT_BLOCK)));
    ASSERT_TRUE(handles_.Open());
  }
  BREAKPOINT_ENTRY& Add(std::size_t index, WideView process, WideView text) {
    BREAKPOINT_ENTRY& entry = block_->entries[index];
    entry.id.bytes.fill(static_cast<std::uint8_t>(index + 1));
    entry.enabled = 1;
    CopyTruncated(entry.processName, 260, process);
    CopyTruncated(entry.text, 1024, text);
    block_->count = 1;
    return entry;
  }
  bool Check(WideView process, std::uint32_t pid, std::uint32_t tid, WideView text) {
    return CheckBreakpoint(handles_, process, pid, tid, text, &hit_);
  }
  testing::LogSandbox sandbox_;
  platform::NamedMutex mutex_;
  platform::SharedBlock mapping_;
  platform::NamedEvent signal_;
  BREAKPOINT_BLOCK* block_ = nullptr;
  BreakpointHandles handles_;
  platform::Uuid hit_{};
};

TEST_F(Breakpoints, AHitIsRecorded) {
  Add(0, u"host.exe", u"stop here");
  ASSERT_TRUE(Check(u"HOST.exe", 11, 22, u"now stop here please"));
  const BREAKPOINT_HIT& hit = block_->hits[0];
  EXPECT_EQ(hit.breakpointId, block_->entries[0].id);
  EXPECT_EQ(hit.hitId, hit_);
  EXPECT_FALSE(hit_.IsNil());
  EXPECT_EQ(hit.processId, 11u);
  EXPECT_EQ(hit.threadId, 22u);
  ASSERT_TRUE(Check(u"host.exe", 11, 22, u"stop here"));
  EXPECT_NE(block_->hits[1].hitId, block_->hits[0].hitId) << "a new id for each hit";
}

TEST_F(Breakpoints, WhatMatches) {
  struct Case {
    void (*change)(BREAKPOINT_BLOCK&, BREAKPOINT_ENTRY&);
    const char16_t* process;
    const char16_t* text;
    bool expected;
    const char* why;
  };
  using Block = BREAKPOINT_BLOCK;
  using Entry = BREAKPOINT_ENTRY;
  const Case cases[] = {
      {[](Block&, Entry&) {}, u"host", u"the text", true, "any process and thread"},
      {[](Block& b, Entry&) { b.count = 0; }, u"host", u"the text", false, "count zero"},
      {[](Block& b, Entry&) { b.count = 0xFFFFFFFF; }, u"host", u"the text", true, "any other count"},
      {[](Block&, Entry& e) { e.id = {}; }, u"host", u"the text", false, "an id of zeros, though enabled"},
      {[](Block&, Entry& e) { e.enabled = 0; }, u"host", u"the text", false, "not enabled"},
      {[](Block&, Entry& e) { e.enabled = 7; }, u"host", u"the text", true, "enabled by any number"},
      {[](Block&, Entry& e) { e.processId = 11; }, u"host", u"the text", true, "this process"},
      {[](Block&, Entry& e) { e.processId = 12; }, u"host", u"the text", false, "another process"},
      {[](Block&, Entry& e) { e.threadId = 22; }, u"host", u"the text", true, "this thread"},
      {[](Block&, Entry& e) { e.threadId = 23; }, u"host", u"the text", false, "another thread"},
      {[](Block&, Entry&) {}, u"HOST", u"the text", true, "the name in any case"},
      {[](Block&, Entry&) {}, u"hosts", u"the text", false, "another name"},
      {[](Block&, Entry&) {}, u"host", u"THE TEXT", false, "case of the text counts"},
      {[](Block&, Entry&) {}, u"host", u"the tex", false, "not in it"},
      {[](Block&, Entry& e) { e.text[0] = 0; }, u"host", u"", true, "an empty text is in every message"},
  };
  for (const Case& c : cases) {
    std::fill_n(reinterpret_cast<char*>(block_), sizeof *block_, '\0');
    Entry& entry = Add(99, u"host", u"the text");
    c.change(*block_, entry);
    EXPECT_EQ(Check(c.process, 11, 22, c.text), c.expected) << c.why;
    EXPECT_EQ(!block_->hits[0].breakpointId.IsNil(), c.expected) << c.why;
  }
}

TEST_F(Breakpoints, OfTwoThatMatchTheFirstGetsTheHit) {
  Add(7, u"h", u"b");
  Add(3, u"h", u"a");
  ASSERT_TRUE(Check(u"h", 1, 1, u"ab"));
  EXPECT_EQ(block_->hits[0].breakpointId, block_->entries[3].id);
  EXPECT_TRUE(block_->hits[1].breakpointId.IsNil());
}

TEST_F(Breakpoints, AFullTableOfHitsStopsNobody) {
  Add(0, u"h", u"a");
  for (BREAKPOINT_HIT& hit : block_->hits) hit.breakpointId.bytes[5] = 1;
  block_->hits[9999].breakpointId = {};
  EXPECT_TRUE(Check(u"h", 1, 1, u"a"));
  EXPECT_FALSE(block_->hits[9999].breakpointId.IsNil());
  EXPECT_FALSE(Check(u"h", 1, 1, u"a"));
}

TEST_F(Breakpoints, TextsWithoutAnEndAreReadNoFurtherThanTheirField) {
  BREAKPOINT_ENTRY& entry = Add(0, u"h", u"a");
  std::fill(std::begin(entry.text), std::end(entry.text), u't');
  EXPECT_FALSE(Check(u"h", 1, 1, u"ttt"));
  std::fill(std::begin(entry.processName), std::end(entry.processName), u'p');
  EXPECT_FALSE(Check(u"h", 1, 1, u"ttt"));
}

TEST_F(Breakpoints, AnyMissingObjectMeansNoBreakpoints) {
  handles_.Close();
  signal_.Close();
  EXPECT_FALSE(handles_.Open());
  EXPECT_FALSE(handles_.mutex.IsOpen());
  ASSERT_TRUE(platform::IsOpened(signal_.Create(kBreakpointSignalName, platform::EventReset::kAuto)));
  mapping_.Close();
  EXPECT_FALSE(handles_.Open());
  EXPECT_FALSE(handles_.event.IsOpen()) << "what was opened is closed";
  EXPECT_FALSE(Check(u"h", 1, 1, u"a"));
}

TEST_F(Breakpoints, TheLocalBlockIsTheSecondChoice) {
  handles_.Close();
  mapping_.Close();
  ASSERT_TRUE(platform::IsOpened(mapping_.Create(kBreakpointLocalBlockName, sizeof(BREAKPOINT_BLOCK))));
  EXPECT_TRUE(handles_.Open());
}

TEST_F(Breakpoints, ABlockThatIsTooSmallIsNotTouched) {
  handles_.Close();
  mapping_.Close();
  ASSERT_TRUE(platform::IsOpened(mapping_.Create(kBreakpointBlockName, 100)));
  ASSERT_TRUE(handles_.Open());
  EXPECT_FALSE(Check(u"h", 1, 1, u"a"));
}

TEST_F(Breakpoints, AnAbandonedMutexCountsAsObtained) {
  KillableProcess tool([] { return HoldMutex(kBreakpointMutexName); });
  ASSERT_TRUE(tool.Await());
  tool.Kill();
  Add(0, u"h", u"a");
  EXPECT_TRUE(Check(u"h", 1, 1, u"a"));
}

// --- Holding
// -------------------------------------------------------------------------------------------------

class Holding : public Breakpoints {
 protected:
  void SetUp() override {
    Breakpoints::SetUp();
    if (!KillableProcess::IsParent()) return;
    const WideString path = platform::ExecutablePath();
    executable_ = FileNameOf(path);
    WideString ring = executable_;
    std::transform(ring.begin(), ring.end(), ring.begin(), AsciiUpper);
    ASSERT_TRUE(platform::IsOpened(listen_.Create(kLiveEventName + ring, platform::EventReset::kAuto)));
    ASSERT_TRUE(platform::IsOpened(switch_.Create(kLogSwitchName, platform::EventReset::kManual)));
  }
  // Waits for the next signal and opens the release event of the hit in a slot.
  void AwaitHit(std::size_t slot, platform::NamedEvent& release) {
    ASSERT_EQ(signal_.Wait(20'000), platform::WaitResult::kObtained);
    ASSERT_EQ(release.Open(ReleaseName(block_->hits[slot].hitId)), platform::ObjectStatus::kOk)
        << "the release event exists before the signal";
  }
  WideString executable_;
  platform::NamedEvent listen_;
  platform::NamedEvent switch_;
  NSDBG::CSMOutput output_;
};

TEST_F(Holding, AThreadStopsUntilItIsReleased) {
  Add(0, executable_, u"stop");
  std::atomic<bool> isThrough = false;
  std::thread thread([&] {
    output_.LogW(4, 0, u"stop");
    isThrough = true;
  });
  platform::NamedEvent release;
  AwaitHit(0, release);
  EXPECT_FALSE(isThrough);
  EXPECT_EQ(listen_.Wait(0), platform::WaitResult::kObtained) << "the message is in the ring already";
  output_.LogW(4, 0, u"go on");  // other threads log on
  EXPECT_FALSE(isThrough);
  release.Set();
  thread.join();
  EXPECT_FALSE(block_->hits[0].breakpointId.IsNil()) << "the slot stays filled";
  const WideString name = ReleaseName(block_->hits[0].hitId);
  release.Close();
  EXPECT_FALSE(platform::EventExists(name));
}

TEST_F(Holding, SeveralThreadsStopEachWithItsOwnHit) {
  Add(0, executable_, u"stop");
  std::atomic<int> through = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      output_.LogW(4, 0, u"stop");
      ++through;
    });
  }
  while (block_->hits[2].breakpointId.IsNil()) std::this_thread::yield();
  for (int i = 0; i < 3; ++i) {
    EXPECT_LE(through.load(), i);
    platform::NamedEvent release;
    while (!platform::IsOpened(release.Open(ReleaseName(block_->hits[i].hitId)))) std::this_thread::yield();
    release.Set();
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(through.load(), 3);
}

TEST_F(Holding, WithdrawingTheSwitchLetsAThreadGo) {
  Add(0, executable_, u"stop");
  std::thread thread([&] { output_.LogW(4, 0, u"stop"); });
  platform::NamedEvent release;
  AwaitHit(0, release);
  testing::AwaitSleep(block_->hits[0].threadId);
  switch_.Close();
  thread.join();  // within about five seconds
}

TEST_F(Holding, AThreadIsNotHeldWithoutTheSwitch) {
  switch_.Close();
  platform::Uuid id{};
  id.bytes[0] = 1;
  HoldAtBreakpoint(signal_, id);
  EXPECT_EQ(signal_.Wait(0), platform::WaitResult::kObtained) << "the signal is given before";
}

TEST_F(Holding, AKilledToolLetsItsThreadsGo) {
  switch_.Close();
  KillableProcess tool([] {
    platform::NamedEvent gate;
    gate.Create(kLogSwitchName, platform::EventReset::kManual);
    KillableProcess::Say();
    return KillableProcess::Sleep();
  });
  ASSERT_TRUE(tool.Await());
  Add(0, executable_, u"stop");
  std::thread thread([&] { output_.LogW(4, 0, u"stop"); });
  platform::NamedEvent release;
  AwaitHit(0, release);
  tool.Kill();
  thread.join();
}

}  // namespace
}  // namespace sbx
