#include "diag/log_share_memory.h"

#include <gtest/gtest.h>

#include "base/format.h"
#include "platform/module_identity.h"
#include "support/killable_process.h"
#include "support/log_sandbox.h"

namespace sbx {
namespace {

using testing::KillableProcess;

class LiveRing : public ::testing::Test {
 protected:
  // What a tool does first.
  void MakeEvent(WideView name = u"HOST.EXE") {
    ASSERT_EQ(event_.Create(WideString(kLiveEventName).append(name), platform::EventReset::kAuto),
              platform::ObjectStatus::kOk);
  }
  LOG_SM_BLOCK& Block() {
    if (!tool_.IsOpen()) {
      EXPECT_EQ(tool_.Open(WideString(kLiveBlockName) + u"HOST.EXE"), platform::ObjectStatus::kOk);
    }
    return *static_cast<LOG_SM_BLOCK*>(tool_.Map(sizeof(LOG_SM_BLOCK)));
  }
  // The texts that a reader takes now.
  static std::vector<WideString> Take(CLogShareMemory& reader, int* result = nullptr) {
    std::vector<CLogMessage*> messages;
    const int read = reader.Read(messages);
    if (result != nullptr) *result = read;
    std::vector<WideString> texts;
    for (CLogMessage* message : messages) {
      texts.push_back(message->GetText());
      message->Release();
    }
    return texts;
  }
  testing::LogSandbox sandbox_;
  platform::NamedEvent event_;
  platform::SharedBlock tool_;
};

using Texts = std::vector<WideString>;

TEST_F(LiveRing, WithoutAReadersEventNothingIsMade) {
  CLogShareMemory writer(u"host.exe");
  EXPECT_EQ(writer.Create(), 0);
  platform::NamedMutex mutex;
  EXPECT_EQ(mutex.Open(WideString(kLiveMutexName) + u"HOST.EXE"), platform::ObjectStatus::kNotFound);
  EXPECT_EQ(tool_.Open(WideString(kLiveBlockName) + u"HOST.EXE"), platform::ObjectStatus::kNotFound);
}

TEST_F(LiveRing, AFreshRingHasNoRecords) {
  MakeEvent();
  CLogShareMemory writer(u"host.exe");
  EXPECT_EQ(writer.Create(), 1);
  EXPECT_EQ(Block().header.readIndex, -1);
  EXPECT_EQ(Block().header.writeIndex, -1);
  EXPECT_EQ(writer.Create(), 1) << "open already";
}

TEST_F(LiveRing, TheFirstRecordLandsInSlot0) {
  MakeEvent();
  CLogShareMemory writer(u"Host.exe");
  ASSERT_EQ(writer.Create(), 1);
  EXPECT_EQ(writer.Write(3, 0x11, u"mod.dll", u"hello"), 1);
  EXPECT_EQ(event_.Wait(0), platform::WaitResult::kObtained);
  EXPECT_EQ(Block().header.writeIndex, 0);
  const auto* record = reinterpret_cast<const LOG_SM_RECORD*>(reinterpret_cast<const char*>(&Block()) + 512);
  EXPECT_EQ(WideView(record->processName), u"HOST.EXE");
  EXPECT_EQ(WideView(record->moduleName), u"mod.dll");
  EXPECT_EQ(WideView(record->message), u"hello");
  EXPECT_EQ(record->errorCode, 0x11u);
  EXPECT_EQ(record->level, 3);
  EXPECT_EQ(record->processId, platform::CurrentProcessId());
  EXPECT_EQ(record->threadId, platform::CurrentThreadId());
  EXPECT_GE(record->time.year, 2020);
}

TEST_F(LiveRing, Record1024LandsInSlot0Again) {
  MakeEvent();
  CLogShareMemory writer(u"host.exe");
  ASSERT_EQ(writer.Create(), 1);
  for (int i = 0; i <= 1024; ++i) writer.Write(0, 0, u"", Message(u"%d", i).view());
  EXPECT_EQ(Block().header.writeIndex, 1024);
  EXPECT_EQ(WideView(Block().slots[0].message), u"1024");
  EXPECT_EQ(WideView(Block().slots[1].message), u"1");
  EXPECT_EQ(WideView(Block().slots[1023].message), u"1023");
}

TEST_F(LiveRing, AMessageOf1023UnitsFitsAndALongerOneIsCut) {
  MakeEvent();
  CLogShareMemory writer(u"host.exe");
  ASSERT_EQ(writer.Create(), 1);
  writer.Write(0, 0, u"", WideString(1023, u'a'));
  writer.Write(0, 0, u"", WideString(1024, u'b'));
  EXPECT_EQ(WideView(Block().slots[0].message), WideString(1023, u'a'));
  EXPECT_EQ(WideView(Block().slots[1].message), WideString(1023, u'b'));
}

TEST_F(LiveRing, AnEmptyMessageAddsNothingAndSignalsNothing) {
  MakeEvent();
  CLogShareMemory writer(u"host.exe");
  ASSERT_EQ(writer.Create(), 1);
  EXPECT_EQ(writer.Write(0, 0, u"m", u""), 0);
  EXPECT_EQ(Block().header.writeIndex, -1);
  EXPECT_EQ(event_.Wait(0), platform::WaitResult::kTimeout);
}

TEST_F(LiveRing, ALongProcessNameIsCutInTheRecordAndWholeInTheObjectsNames) {
  const WideString name(130, u'P');
  MakeEvent(name);
  CLogShareMemory writer(WideString(130, u'p'));
  ASSERT_EQ(writer.Create(), 1);
  writer.Write(0, 0, WideString(130, u'm'), u"x");
  ASSERT_EQ(tool_.Open(WideString(kLiveBlockName) + name), platform::ObjectStatus::kOk);
  const auto& record = static_cast<LOG_SM_BLOCK*>(tool_.Map(sizeof(LOG_SM_BLOCK)))->slots[0];
  EXPECT_EQ(WideView(record.processName), WideString(127, u'P'));
  EXPECT_EQ(WideView(record.moduleName), WideString(127, u'm'));
}

TEST_F(LiveRing, NamesThatDifferInCaseShareOneRing) {
  MakeEvent();
  CLogShareMemory first(u"host.exe");
  CLogShareMemory second(u"HOST.exe");
  ASSERT_EQ(first.Create(), 1);
  ASSERT_EQ(second.Create(), 1);
  first.Write(0, 0, u"", u"one");
  second.Write(0, 0, u"", u"two");
  EXPECT_EQ(Block().header.writeIndex, 1);
}

TEST_F(LiveRing, AReaderTakesWhatIsNew) {
  MakeEvent();
  CLogShareMemory reader(u"host.exe");
  reader.Attach();
  EXPECT_FALSE(reader.IsAttached()) << "nothing to attach to yet";
  int result = 9;
  EXPECT_EQ(Take(reader, &result), Texts{});
  EXPECT_EQ(result, 0);
  CLogShareMemory writer(u"host.exe");
  ASSERT_EQ(writer.Create(), 1);
  reader.Attach();
  EXPECT_TRUE(reader.IsAttached());
  EXPECT_EQ(Take(reader, &result), Texts{});
  EXPECT_EQ(result, 0) << "no record yet";
  writer.Write(0, 0, u"", u"one");
  writer.Write(0, 0, u"", u"two");
  EXPECT_EQ(Take(reader, &result), (Texts{u"one", u"two"}));
  EXPECT_EQ(result, 1);
  EXPECT_EQ(Block().header.readIndex, 1);
  EXPECT_EQ(Take(reader, &result), Texts{});
  EXPECT_EQ(result, 1) << "read, and nothing new";
  writer.Write(0, 0, u"", u"three");
  EXPECT_EQ(Take(reader), Texts{u"three"});
}

TEST_F(LiveRing, AReaderThatFellBehindGetsSlotsMoreThanOnce) {
  MakeEvent();
  CLogShareMemory writer(u"host.exe");
  CLogShareMemory reader(u"host.exe");
  ASSERT_EQ(writer.Create(), 1);
  reader.Attach();
  for (int i = 0; i < 3000; ++i) writer.Write(0, 0, u"", Message(u"%d", i).view());
  const Texts texts = Take(reader);
  ASSERT_EQ(texts.size(), 3000u);
  EXPECT_EQ(texts[0], u"2048") << "the slot's present content";
  EXPECT_EQ(texts[2999], u"2999");
  std::int64_t readIndex = 0;
  std::int64_t writeIndex = 0;
  EXPECT_TRUE(reader.ReadIndices(&readIndex, &writeIndex));
  EXPECT_EQ(readIndex, 2999);
  EXPECT_EQ(writeIndex, 2999);
}

TEST_F(LiveRing, AToolGetsEachRecordOnceAndCountsTheLost) {
  MakeEvent();
  CLogShareMemory writer(u"host.exe");
  CLogShareMemory reader(u"host.exe");
  std::vector<LOG_SM_RECORD> records;
  std::uint64_t lost = 7;
  EXPECT_FALSE(reader.ReadNew(records, &lost)) << "not attached";
  ASSERT_EQ(writer.Create(), 1);
  reader.Attach();
  const struct {
    int written;
    std::size_t taken;
    std::uint64_t lost;
  } rounds[] = {{0, 0, 0}, {1, 1, 0}, {1024, 1024, 0}, {1025, 1024, 1}, {3000, 1024, 1976}, {0, 0, 0}};
  int number = 0;
  for (const auto& round : rounds) {
    for (int i = 0; i < round.written; ++i) writer.Write(0, 0, u"", Message(u"%d", number++).view());
    ASSERT_TRUE(reader.ReadNew(records, &lost));
    EXPECT_EQ(records.size(), round.taken) << round.written;
    EXPECT_EQ(lost, round.lost) << round.written;
    for (std::size_t i = 0; i < records.size(); ++i) {
      EXPECT_EQ(WideString(records[i].message),
                Message(u"%d", number - static_cast<int>(records.size() - i)).view());
    }
  }
}

TEST_F(LiveRing, AToolPutsDamagedIndicesRight) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
  MakeEvent();
  CLogShareMemory writer(u"host.exe");
  CLogShareMemory reader(u"host.exe");
  ASSERT_EQ(writer.Create(), 1);
  reader.Attach();
  const struct {
    std::int64_t read, write;
    std::size_t taken;
    std::uint64_t lost;
  } cases[] = {
      {10, 3, 0, 0}, {kMax, kMin, 0, 0}, {-1, -5, 0, 0}, {kMin, kMax, 1024, ~std::uint64_t{0} - 1024}};
  for (const auto& c : cases) {
    Block().header.readIndex = c.read;
    Block().header.writeIndex = c.write;
    std::vector<LOG_SM_RECORD> records;
    std::uint64_t lost = 7;
    ASSERT_TRUE(reader.ReadNew(records, &lost));
    EXPECT_EQ(records.size(), c.taken) << c.read;
    EXPECT_EQ(lost, c.lost) << c.read;
    EXPECT_EQ(Block().header.readIndex, c.write);
  }
}

TEST_F(LiveRing, DamagedIndicesHarmNobody) {
  struct Case {
    std::int64_t read, write;
    std::size_t expected;
    const char* why;
  };
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
  const Case cases[] = {{10, 3, 0, "the reader is ahead"},
                        {-1, kMax, 65536, "further behind than can be"},
                        {kMin, kMax, 65536, "the whole range"},
                        {kMax, kMax, 0, "the reader has everything, and the next number wraps"},
                        {-5, -2, 3, "negative numbers have slots too"},
                        {-1, 65535, 65536, "at the limit"}};
  MakeEvent();
  CLogShareMemory writer(u"host.exe");
  CLogShareMemory reader(u"host.exe");
  ASSERT_EQ(writer.Create(), 1);
  reader.Attach();
  for (const Case& c : cases) {
    Block().header.readIndex = c.read;
    Block().header.writeIndex = c.write;
    int result = 0;
    EXPECT_EQ(Take(reader, &result).size(), c.expected) << c.why;
    EXPECT_EQ(result, 1) << c.why;
    EXPECT_EQ(Block().header.readIndex, c.write) << c.why;
    EXPECT_EQ(writer.Write(0, 0, u"", u"x"), 1) << c.why;
  }
}

TEST_F(LiveRing, RecordsStayAfterTheWritersAsLongAsSomeoneHoldsTheBlock) {
  MakeEvent();
  CLogShareMemory reader(u"host.exe");
  {
    CLogShareMemory writer(u"host.exe");
    ASSERT_EQ(writer.Create(), 1);
    reader.Attach();
    writer.Write(0, 0, u"", u"left");
  }
  EXPECT_EQ(Take(reader), Texts{u"left"});
  CLogShareMemory next(u"host.exe");
  ASSERT_EQ(next.Create(), 1);
  next.Write(0, 0, u"", u"more");
  EXPECT_EQ(Take(reader), Texts{u"more"});
}

TEST_F(LiveRing, AnAbandonedChannelMutexCountsAsObtained) {
  MakeEvent();
  CLogShareMemory writer(u"host.exe");
  ASSERT_EQ(writer.Create(), 1);
  KillableProcess other([] {
    platform::NamedMutex mutex;
    mutex.Open(WideString(kLiveMutexName) + u"HOST.EXE");
    mutex.Wait(0);
    KillableProcess::Say();
    return KillableProcess::Sleep();
  });
  ASSERT_TRUE(other.Await());
  other.Kill();
  EXPECT_EQ(writer.Write(0, 0, u"", u"kept"), 1);
  EXPECT_EQ(WideView(Block().slots[0].message), u"kept");
}

TEST_F(LiveRing, AClosedSideWritesAndReadsNothing) {
  MakeEvent();
  CLogShareMemory both(u"host.exe");
  ASSERT_EQ(both.Create(), 1);
  both.Close();
  EXPECT_EQ(both.Write(0, 0, u"", u"x"), 0);
  int result = 9;
  Take(both, &result);
  EXPECT_EQ(result, 0);
}

TEST_F(LiveRing, ABlockOfTheWrongSizeIsNotTouched) {
  MakeEvent();
  platform::SharedBlock small;
  ASSERT_EQ(small.Create(WideString(kLiveBlockName) + u"HOST.EXE", 100), platform::ObjectStatus::kOk);
  CLogShareMemory writer(u"host.exe");
  EXPECT_EQ(writer.Create(), 1) << "it exists";
  EXPECT_EQ(writer.Write(0, 0, u"", u"x"), 0);
}

// --- Messages
// ------------------------------------------------------------------------------------------------

LOG_SM_RECORD SampleRecord() {
  LOG_SM_RECORD record = {};
  CopyTruncated(record.processName, 128, u"HOST.EXE");
  CopyTruncated(record.moduleName, 128, u"mod.dll");
  CopyTruncated(record.message, 1024, u"the message");
  record.time = {2026, 11, 5, 13, 2, 24, 23, 7};
  record.level = 3;
  record.processId = 1234;
  record.threadId = 567890;
  return record;
}

TEST(LogMessages, ThePrefixIsThatOfALogLine) {
  LOG_SM_RECORD record = SampleRecord();
  CLogMessage plain(record);
  EXPECT_EQ(plain.FormatPrefix(), u"[2026/11/13 02:24:23:007   03   01234   567890             ] ");
  record.errorCode = 0xABC;
  CLogMessage failed(record);
  EXPECT_EQ(failed.FormatPrefix(), u"[2026/11/13 02:24:23:007   03   01234   567890   0X00000abc] ");
}

TEST(LogMessages, TellTheirFields) {
  LOG_SM_RECORD record = SampleRecord();
  record.errorCode = 9;
  CLogMessage message(record);
  record.level = 0;  // a copy is held
  EXPECT_EQ(message.GetProcessName(), u"HOST.EXE");
  EXPECT_EQ(message.GetModuleName(), u"mod.dll");
  EXPECT_EQ(message.GetText(), u"the message");
  EXPECT_EQ(message.GetProcessId(), 1234u);
  EXPECT_EQ(message.GetThreadId(), 567890u);
  EXPECT_EQ(message.GetErrorCode(), 9u);
  EXPECT_EQ(message.GetLevel(), 3);
  EXPECT_EQ(message.GetTime().milliseconds, 7);
}

TEST(LogMessages, TextsWithoutAnEndAreReadNoFurtherThanTheirField) {
  LOG_SM_RECORD record;
  std::fill(std::begin(record.message), std::end(record.message), u'm');
  std::fill(std::begin(record.processName), std::end(record.processName), u'p');
  CLogMessage message(record);
  EXPECT_EQ(message.GetText().size(), 1024u);
  EXPECT_EQ(message.GetProcessName().size(), 128u);
}

TEST(LogMessages, AreDeletedByTheLastRelease) {
  struct Counted : CLogMessage {
    explicit Counted(int* deleted) : CLogMessage(SampleRecord()), deleted_(deleted) {}
    ~Counted() override { ++*deleted_; }
    int* deleted_;
  };
  int deleted = 0;
  auto* message = new Counted(&deleted);
  message->AddRef();
  message->Release();
  EXPECT_EQ(deleted, 0);
  message->Release();
  EXPECT_EQ(deleted, 1);
}

}  // namespace
}  // namespace sbx
