// How much stack a log call takes. Wine gives no thread less than a megabyte, so what was used is measured.
#include <cstring>
#include <thread>

#include "diag/live_channel_format.h"
#include "log_lifecycle_fixture.h"

namespace sbx {
namespace {

constexpr std::size_t kRoom = 256 * 1024;
constexpr char kPaint = 0x5A;

// Fills the stack below the caller.
[[gnu::noinline]] void PaintStack() {
  char room[kRoom];
  std::memset(room, kPaint, kRoom);
  asm volatile("" : : "r"(room) : "memory");
}

// How much of it was written over since then.
[[gnu::noinline]] std::size_t UsedStack() {
  char room[kRoom];
  const char* first = room;
  asm volatile("" : "+r"(first) : : "memory");
  std::size_t untouched = 1024;  // the two frames may lie some bytes apart
  while (untouched < kRoom && first[untouched] == kPaint) ++untouched;
  return kRoom - untouched;
}

// The first message opens everything and writes the summary, and needs the most stack.
TEST_F(LogLifecycle, ACallNeedsFarLessThan64KiBOfStack) {
  StartLog();
  platform::NamedEvent gate;
  ASSERT_TRUE(platform::IsOpened(gate.Create(kLogSwitchName, platform::EventReset::kManual)));
  std::size_t used = 0;
  std::thread([&used] {
    PaintStack();
    g_DBGLog.Printf(0, u"little %s", u"room");
    used = UsedStack();
  }).join();
  StopLog();
  EXPECT_EQ(Messages(), std::vector<std::string>{"little room"});
  EXPECT_GT(used, 4096u) << "the call has buffers of some thousand bytes";
  EXPECT_LT(used, 48u * 1024);
  RecordProperty("used", static_cast<int>(used));
}

}  // namespace
}  // namespace sbx
