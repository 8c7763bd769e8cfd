// Every export with its first, second, third... allocation refused, until it gets through: -3 each time, no
// leak, no lock held, nothing left behind that harms the next call.
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <thread>

#include "api/conversion_lock.h"
#include "export_fixture.h"
#include "platform/module_hooks.h"
#include "starved_allocator.h"
#include "support/scratch_folder.h"

namespace sbx::testing {
namespace {

// Remembers the last lines without being starved itself.
class FedOutput : public RecordingOutput {
 public:
  FedOutput() : RecordingOutput(4) {}
  void LogW(std::int32_t level, std::int32_t errorCode, const char16_t* text) override {
    const Fed fed;
    RecordingOutput::LogW(level, errorCode, text);
  }
};

// Takes the place of the log while it lives.
class FedLog {
 public:
  FedLog() : before_(g_DBGLog) {
    g_DBGLog = DBGLogFacade{};
    g_DBGLog.fileOutput = &output_;
  }
  ~FedLog() { g_DBGLog = before_; }
  FedLog(const FedLog&) = delete;
  FedLog& operator=(const FedLog&) = delete;

  // The level 0 lines that tell of memory. What else stands there is the walk's pair of lines for each level.
  std::set<std::string> MemoryLines() const {
    std::set<std::string> found;
    for (const LogLine& line : output_.lines()) {
      const bool isPair =
          line.text.starts_with(u"item failed.") || line.text.starts_with(u"Failed to convert");
      if (line.level == 0 && !isPair) found.emplace(line.text.begin(), line.text.end());
    }
    return found;
  }
  // Whether the last two lines are an end message and the empty one.
  bool EndsWith(const WideString& end) const {
    const auto lines = output_.lines();
    const std::size_t count = lines.size();
    return count >= 2 && lines[count - 2] == LogLine{3, end} && lines[count - 1] == LogLine{3, u""};
  }

 private:
  FedOutput output_;
  DBGLogFacade before_;
};

// Descriptions that use everything: pointers, arrays, records in records, texts of both kinds, presentation.
constexpr const char16_t* kDescriptions =
    u"<StructureDescription>"
    u"<JSStruct name=\"Root\" size=\"72\" numOfItems=\"9\">"
    u"<JSStructItem name=\"Count\" type=\"int\" size=\"4\" offset=\"0\" restrict=\"[flag:Two(2)][time]\"/>"
    u"<JSStructItem name=\"Kind\" type=\"int\" size=\"4\" offset=\"4\" restrict=\"[enum:A(1),B(2)]\"/>"
    u"<JSStructItem name=\"Leaves\" type=\"Leaf*\" size=\"8\" offset=\"8\"/>"
    u"<JSStructItem name=\"Names\" type=\"wchar_t*\" size=\"8\" offset=\"16\" restrict=\"[namelist:2]\"/>"
    u"<JSStructItem name=\"Variant\" type=\"int64\" size=\"8\" offset=\"24\"/>"
    u"<JSStructItem name=\"Wide\" type=\"wchar_t*\" size=\"8\" offset=\"32\"/>"
    u"<JSStructItem name=\"Digits\" type=\"wchar_t*\" size=\"8\" offset=\"40\"/>"
    u"<JSStructItem name=\"Numbers\" type=\"int[4]\" size=\"16\" offset=\"48\"/>"
    u"<JSStructItem name=\"Inner\" type=\"Leaf*\" size=\"8\" offset=\"64\"/>"
    u"</JSStruct>"
    u"<JSStruct name=\"Leaf\" size=\"8\" numOfItems=\"1\">"
    u"<JSStructItem name=\"Value\" type=\"int\" size=\"4\" offset=\"0\" restrict=\"[fmt:hex]\"/></JSStruct>"
    u"<JSStruct name=\"Other\" size=\"8\" numOfItems=\"1\">"
    u"<JSStructItem name=\"Other\" type=\"uint64\" size=\"8\" offset=\"0\"/></JSStruct>"
    u"</StructureDescription>";
constexpr const char16_t* kRules =
    u"<ConvertRuleDesc>"
    u"<Rules name=\"Root\">"
    u"<RuleItem name=\"Leaves\" type=\"StructArrayPtr\" structname=\"Leaf\" num=\"Count\"/>"
    u"<RuleItem name=\"Names\" type=\"ConvertNameList\" num=\"Count\"/>"
    u"<RuleItem name=\"Variant\" type=\"AlterType\" alterto=\"uint64\" ref=\"Kind\" refmethod=\"=\" "
    u"refvalue=\"3\"/>"
    u"</Rules>"
    u"<Rules name=\"Leaf\">"
    u"<RuleItem name=\"x\" type=\"RelocateStructName\" structname=\"Other\" ref=\"Value\" refvalue=\"9\"/>"
    u"</Rules></ConvertRuleDesc>";

struct Leaf {
  std::int32_t value;
  std::int32_t reserved;
};
const Leaf kLeaves[2] = {{1, 0}, {9, 0}};
const char16_t kNames[] = u"Hi\0A\0";

struct Root {
  std::int32_t count = 2;
  std::int32_t kind = 3;
  const Leaf* leaves = kLeaves;
  const char16_t* names = kNames;
  std::int64_t variant = -1;
  const char16_t* wide = u"A text that is longer than any string keeps within itself & more";
  const char16_t* digits = u"\u0001 and some more that are written as digits";
  std::int32_t numbers[4] = {1, 2, 3, 4};
  const Leaf* inner = kLeaves;
};
static_assert(sizeof(Root) == 72);

class RefusedMemory : public ::testing::Test {
 protected:
  using Call = std::function<std::int32_t()>;
  // What must hold after each call to which memory was refused.
  using Check = std::function<bool(const FedLog&)>;

  // Calls until nothing is refused any more; the call must then end with `code`.
  void Sweep(std::int32_t code, const Call& call, const Check& check) {
    for (const Refuse refuse : {Refuse::kOnce, Refuse::kFromThenOn}) {
      for (std::size_t nth = 1; SweepStep(code, call, check, nth, refuse); ++nth) {
        ASSERT_LT(nth, 100'000u) << "never gets through";
      }
    }
  }

  // Whether memory was refused, and all was as it must be.
  bool SweepStep(std::int32_t code, const Call& call, const Check& check, std::size_t nth, Refuse refuse) {
    OnModuleDetach();  // nothing is kept from the call before
    StoreLastErrorText(u"old");
    std::ptrdiff_t live = LiveAllocations();
    bool refused = false;
    bool asItMustBe = true;
    {
      const FedLog log;
      StarveAt(nth, refuse);
      const std::int32_t rc = call();
      refused = StopStarving();
      asItMustBe = rc == (refused ? SBX_E_MEMORY : code) && (!refused || check(log)) && LockIsFree();
      const std::ptrdiff_t before = LiveAllocations();
      if (refused) said_.merge(log.MemoryLines());
      live += LiveAllocations() - before;  // what is remembered here is no leak
      EXPECT_TRUE(asItMustBe) << "allocation " << nth << ", code " << rc;
    }
    OnModuleDetach();
    const std::ptrdiff_t leaked = LiveAllocations() - live;
    EXPECT_EQ(leaked, 0) << "allocation " << nth;
    return refused && asItMustBe && leaked == 0;
  }

  // Without a text of its own the slot comes out empty, and the end message is logged last.
  static Check EmptySlotAndEnd(WideString end) {
    return [end](const FedLog& log) { return LastError().empty() && log.EndsWith(end); };
  }
  // On the way back a refusal before the conversion leaves the slot, and one in it empties it.
  static Check OldOrEmptySlotAndEnd(WideString end) {
    return [end](const FedLog& log) {
      return (LastError() == u"old" || LastError().empty()) && log.EndsWith(end);
    };
  }
  static Check OldSlot() {
    return [](const FedLog&) { return LastError() == u"old"; };
  }
  static bool LockIsFree() {
    bool free = false;
    std::thread([&free] {
      free = ConversionMutex().try_lock();
      if (free) ConversionMutex().unlock();
    }).join();
    return free;
  }

  TestModule module_{kDescriptions, kRules};
  Root root_;
  // The lines that refused calls logged beside the ends of their conversions: a step that has words of its
  // own for that says them, and nobody else says anything.
  std::set<std::string> said_;
  using Said = std::set<std::string>;

  ScratchFolder folder_;
  WideString path_ = folder_.Path(u"file.xml");
};

TEST_F(RefusedMemory, TextExport) {
  const SBXModule module = module_.handle();
  char16_t out[4000];
  Sweep(
      SBX_OK,
      [&] {
        std::int32_t size = 4000;
        return SBXBinaryToXML_Text(module, kPdbId, kRuleId, u"Root", &root_, 72, out, &size, 1);
      },
      EmptySlotAndEnd(u"Convert from binary to XML text end.(ret: -3)"));
  EXPECT_NE(WideView(out).find(u"<Name>Hi</Name><Name>A</Name>"), WideView::npos) << "every rule ran";
  EXPECT_NE(WideView(out).find(u"18446744073709551615"), WideView::npos);
  EXPECT_NE(WideView(out).find(u"<Other><Other>9</Other></Other>"), WideView::npos);
  EXPECT_EQ(said_, (Said{"No enough memory for initializtion.",
                         "No enough memory for converting buffer to byte string."}));
}

TEST_F(RefusedMemory, TextExportWithoutABuffer) {
  const SBXModule module = module_.handle();
  Sweep(
      SBX_OK,
      [&] {
        std::int32_t size = 4000;
        return SBXBinaryToXML_Text(module, kPdbId, kRuleId, u"Root", &root_, 72, nullptr, &size, 0);
      },
      EmptySlotAndEnd(u"Convert from binary to XML text end.(ret: -3)"));
}

TEST_F(RefusedMemory, AFailingTextExport) {
  const SBXModule module = module_.handle();
  root_.wide = Nowhere<const char16_t*>();
  Sweep(
      SBX_E_ADDRESS,
      [&] {
        std::int32_t size = 4000;
        return SBXBinaryToXML_Text(module, kPdbId, kRuleId, u"Root", &root_, 72, nullptr, &size, 0);
      },
      EmptySlotAndEnd(u"Convert from binary to XML text end.(ret: -3)"));
}

TEST_F(RefusedMemory, FileExport) {
  const SBXModule module = module_.handle();
  Sweep(
      SBX_OK,
      [&] { return SBXBinaryToXML_File(module, kPdbId, kRuleId, u"Root", &root_, 72, path_.c_str()); },
      EmptySlotAndEnd(u"Convert from binary to XML file end.(ret: -3)"));
}

TEST_F(RefusedMemory, Verification) {
  const SBXModule module = module_.handle();
  Sweep(
      SBX_OK, [&] { return SBXVerifyStructSize(module, kPdbId, kRuleId, u"Root", 72, nullptr); }, OldSlot());
  EXPECT_EQ(said_, Said{});
}

TEST_F(RefusedMemory, AnArgumentAtAnOddAddress) {
  const SBXModule module = module_.handle();
  unsigned char name[64] = {};
  const WideString longName = u"NotARecord_____________";
  std::memcpy(name + 1, longName.c_str(), longName.size() * 2);
  Sweep(
      SBX_E_DESCRIPTION,
      [&] {
        std::int32_t size = 4000;
        return SBXBinaryToXML_Text(module, kPdbId, kRuleId, reinterpret_cast<const char16_t*>(name + 1),
                                   &root_, 72, nullptr, &size, 0);
      },
      EmptySlotAndEnd(u"Convert from binary to XML text end.(ret: -3)"));
}

TEST_F(RefusedMemory, XmlToBinary) {
  const SBXModule module = module_.handle();
  char16_t xml[4000];
  std::int32_t size = 4000;
  ASSERT_EQ(SBXBinaryToXML_Text(module, kPdbId, kRuleId, u"Root", &root_, 72, xml, &size, 0), SBX_OK);
  JSHandle* handle = nullptr;
  Sweep(
      SBX_OK, [&] { return SBXXMLToBinary(module, kPdbId, kRuleId, u"Root", xml, &handle); },
      OldOrEmptySlotAndEnd(u"Convert from XML to binary end.(ret: -3)"));
  Sweep(
      SBX_OK, [&] { return SBXXMLToBinary(module, kPdbId, kRuleId, u"Root", xml, nullptr); },
      OldOrEmptySlotAndEnd(u"Convert from XML to binary end.(ret: -3)"));
  EXPECT_EQ(said_, Said{"No enough memory for struct Root."});
}

TEST_F(RefusedMemory, TheFunctionsThatCannotFailForItTakeNone) {
  JSHandle* handle = nullptr;
  ASSERT_EQ(SBXXMLToBinary(module_.handle(), kPdbId, kRuleId, u"Leaf", u"<J><Leaf> </Leaf></J>", &handle),
            SBX_OK);
  void* root = nullptr;
  std::uint32_t size = 0;
  char16_t text[10];
  StarveAt(1, Refuse::kFromThenOn);
  const std::int32_t queried = SBXHandleToBuffer(handle, &root, &size);
  SBXGetLastError(text, 10);
  const std::int32_t freed = SBXFreeJSHandle(handle);
  const std::int32_t unknown = SBXHandleToBuffer(handle, &root, &size);
  EXPECT_FALSE(StopStarving());
  EXPECT_EQ(queried, SBX_OK);
  EXPECT_EQ(freed, SBX_OK);
  EXPECT_EQ(unknown, SBX_E_PARAMETER);
}

TEST_F(RefusedMemory, ReadingAndWritingFiles) {
  const WideString text =
      u"<?xml version=\"1.0\"?><a>some text that is longer than a string keeps within itself</a>";
  for (const std::uint32_t encoding : {0u, 1u, 2u, 3u}) {
    SCOPED_TRACE(encoding);
    said_.clear();
    Sweep(
        SBX_OK, [&] { return SBXWriteXML(path_.c_str(), text.c_str(), encoding); }, OldSlot());
    EXPECT_EQ(said_, encoding < 2 ? Said{} : Said{"No enough memory for processing UTF-8 encoding."})
        << "the same words for the narrow page";
    said_.clear();
    Sweep(
        SBX_OK,
        [&] {
          char16_t buffer[400];
          std::int32_t size = sizeof buffer;
          return SBXReadXML(path_.c_str(), buffer, &size);
        },
        OldSlot());
    Said expected = {"No enough memory for reading XML."};
    if (encoding == 2) expected.insert("No enough memory for processing UTF-8 encoding.");
    if (encoding == 3) expected.insert("No enough memory for processing ANSI encoding.");
    EXPECT_EQ(said_, expected);
  }
}

TEST_F(RefusedMemory, ACallAfterARefusedOneWorksOnWhatItFinds) {
  const SBXModule module = module_.handle();
  for (std::size_t nth = 1;; ++nth) {
    std::int32_t size = 4000;
    StarveAt(nth, Refuse::kOnce);
    SBXBinaryToXML_Text(module, kPdbId, kRuleId, u"Root", &root_, 72, nullptr, &size, 0);
    const bool refused = StopStarving();
    // The sets are both there or the call is refused: nothing half made is worked on.
    size = 4000;
    const std::int32_t rc = SBXBinaryToXML_Text(nullptr, 0, 0, u"Root", &root_, 72, nullptr, &size, 0);
    ASSERT_TRUE(rc == SBX_OK || rc == SBX_E_PARAMETER) << rc;
    size = 4000;
    ASSERT_EQ(SBXBinaryToXML_Text(module, kPdbId, kRuleId, u"Root", &root_, 72, nullptr, &size, 0), SBX_OK);
    if (!refused) break;
  }
}

}  // namespace
}  // namespace sbx::testing
