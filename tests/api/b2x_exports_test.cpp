// SBXBinaryToXML_Text and SBXBinaryToXML_File as a caller sees them: order of checks, codes, texts, log
// lines.
#include "api/b2x_exports.h"

#include <cstring>
#include <limits>
#include <thread>

#include "api/conversion_lock.h"
#include "api/conversion_sets.h"
#include "export_fixture.h"
#include "support/edge_of_memory.h"
#include "support/failing_document.h"
#include "support/host_system.h"
#include "support/scratch_folder.h"
#include "support/written_xml.h"

namespace sbx::testing {
namespace {

constexpr std::int32_t kJobUnits = static_cast<std::int32_t>(WideView(kJobXml).size());
// What the size protocol needs, which counts what the system adds: see AsEverywhere().
const WideString& WrittenJob();
std::int32_t JobNeed() {
  return static_cast<std::int32_t>(WrittenJob().size()) + 1;
}

const WideString kTextBegin = u"Convert from binary to XML text begin.(Root structure: Job)";

std::size_t SizeOf(std::int32_t units) {
  return 2 * static_cast<std::size_t>(units);
}

class B2XExportTest : public ExportTest {
 protected:
  static void SetUpTestSuite() { EXPECT_EQ(AsEverywhere(WrittenJob()), kJobXml); }
  std::int32_t ToText(char16_t* out, std::int32_t* size, std::int32_t addBom = 0,
                      const char16_t* root = u"Job", std::int32_t binarySize = sizeof(Job)) {
    return SBXBinaryToXML_Text(module.handle(), kPdbId, kRuleId, root, &job, binarySize, out, size, addBom);
  }
  std::int32_t ToFile(const char16_t* path, const char16_t* root = u"Job",
                      std::int32_t binarySize = sizeof(Job)) {
    return SBXBinaryToXML_File(module.handle(), kPdbId, kRuleId, root, &job, binarySize, path);
  }
  // The whole text of a conversion that must succeed.
  WideString Convert(const char16_t* root = u"Job") {
    std::vector<char16_t> out(10000, u'?');
    std::int32_t size = 10000;
    EXPECT_EQ(ToText(out.data(), &size, 0, root), SBX_OK);
    EXPECT_EQ(out[static_cast<std::size_t>(size) - 1], u'\0');
    written_ = out.data();
    return AsEverywhere(written_);
  }
  WideString written_;  // what Convert() got, as the system wrote it
  // The end of a conversion's log.
  Log TextEnd(std::int32_t rc) {
    return {{3, Text(u"Convert from binary to XML text end.(ret: %d)", rc)}, {3, u""}};
  }
  Log FileEnd(std::int32_t rc) {
    return {{3, Text(u"Convert from binary to XML file end.(ret: %d)", rc)}, {3, u""}};
  }
  Log LastTwo() {
    const Log lines = Lines();
    return lines.size() < 2 ? lines : Log(lines.end() - 2, lines.end());
  }
};

const WideString& WrittenJob() {
  static const WideString text = [] {
    const ScopedLog quiet;
    TestModule module{kJobDescriptions};
    const Job job;
    std::vector<char16_t> out(10000);
    std::int32_t size = 10000;
    SBXBinaryToXML_Text(module.handle(), kPdbId, kRuleId, u"Job", &job, sizeof job, out.data(), &size, 0);
    return WideString(out.data());
  }();
  return text;
}

// --- the text export: success and the size protocol
// ---------------------------------------------------------

using TextExport = B2XExportTest;

TEST_F(TextExport, WritesTheTextAndItsZeroAndStoresTheNeed) {
  std::vector<char16_t> out(static_cast<std::size_t>(JobNeed() + 10), u'?');
  std::int32_t size = JobNeed() + 10;
  EXPECT_EQ(ToText(out.data(), &size), SBX_OK);
  EXPECT_EQ(size, JobNeed());
  EXPECT_EQ(WideString(out.data()), WrittenJob());
  EXPECT_EQ(out[static_cast<std::size_t>(JobNeed())], u'?') << "nothing behind the zero is written";
  EXPECT_EQ(LastError(), u"(nothing set)") << "success does not touch the slot";
}

TEST_F(TextExport, LogsItsCourse) {
  std::int32_t size = 1000;
  EXPECT_EQ(ToText(nullptr, &size), SBX_OK);
  EXPECT_EQ(Lines(), (Log{{3, kTextBegin},
                          {3, u"PDB XML Loaded"},
                          {3, u"Rule XML Loaded"},
                          {3, Text(u"Job(Size=16 Ptr=0x%p).", FormatArg(static_cast<const void*>(&job)))},
                          {3, u"Convert from binary to XML text end.(ret: 0)"},
                          {3, u""}}));
}

TEST_F(TextExport, ASizeEqualToTheNeedDoesAndOneLessDoesNot) {
  std::vector<char16_t> out(static_cast<std::size_t>(JobNeed()), u'?');
  std::int32_t size = JobNeed() - 1;
  EXPECT_EQ(ToText(out.data(), &size), SBX_E_BUFFER);
  EXPECT_EQ(size, JobNeed());
  EXPECT_EQ(out, std::vector<char16_t>(static_cast<std::size_t>(JobNeed()), u'?')) << "not written";
  EXPECT_EQ(LastError(), u"Need more buffers for the job script XML");
  EXPECT_EQ(Lines(2), Texts{Text(u"Need more buffers for the job script XML(Size: %d, Need: %d).",
                                 JobNeed() - 1, JobNeed())});
  EXPECT_EQ(LastTwo(), TextEnd(SBX_E_BUFFER));

  EXPECT_EQ(ToText(out.data(), &size), SBX_OK);
  EXPECT_EQ(WideString(out.data()), WrittenJob());
  EXPECT_EQ(LastError(), u"Need more buffers for the job script XML") << "the second call leaves the text";
}

TEST_F(TextExport, ANegativeOrZeroSizeAsksForTheNeed) {
  for (std::int32_t given : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
    std::int32_t size = given;
    EXPECT_EQ(ToText(nullptr, &size), SBX_E_BUFFER);
    EXPECT_EQ(size, JobNeed());
  }
}

TEST_F(TextExport, WithoutABufferALargeEnoughSizeStoresTheNeed) {
  std::int32_t size = 5000;
  EXPECT_EQ(ToText(nullptr, &size), SBX_OK);
  EXPECT_EQ(size, JobNeed());
}

TEST_F(TextExport, AByteOrderMarkTakesOneUnitMore) {
  std::vector<char16_t> out(static_cast<std::size_t>(JobNeed() + 1), u'?');
  std::int32_t size = JobNeed();
  EXPECT_EQ(ToText(out.data(), &size, 1), SBX_E_BUFFER);
  EXPECT_EQ(size, JobNeed() + 1);
  EXPECT_EQ(ToText(out.data(), &size, -5), SBX_OK) << "anything but 0 asks for it";
  EXPECT_EQ(WideString(out.data()), u"\uFEFF" + WrittenJob());
}

TEST_F(TextExport, ABufferAtAnOddAddressIsWritten) {
  std::vector<unsigned char> bytes(SizeOf(JobNeed()) + 1, 0x7F);
  std::int32_t size = JobNeed();
  EXPECT_EQ(ToText(reinterpret_cast<char16_t*>(bytes.data() + 1), &size), SBX_OK);
  EXPECT_EQ(std::memcmp(bytes.data() + 1, WrittenJob().c_str(), SizeOf(JobNeed())), 0);
}

TEST_F(TextExport, ABufferThatEndsWithMemoryIsFilled) {
  const EdgeOfMemory edge(SizeOf(JobNeed()));
  std::int32_t size = JobNeed();
  EXPECT_EQ(ToText(reinterpret_cast<char16_t*>(edge.data()), &size), SBX_OK);
  EXPECT_EQ(std::memcmp(edge.data(), WrittenJob().c_str(), SizeOf(JobNeed())), 0);
}

TEST_F(TextExport, ABufferThatCannotBeWrittenFailsAfterTheNeedIsStored) {
  const EdgeOfMemory edge(SizeOf(JobNeed()) - 1);
  for (char16_t* out : {Nowhere<char16_t*>(), reinterpret_cast<char16_t*>(edge.data())}) {
    StoreLastErrorText(u"old");
    std::int32_t size = 5000;
    EXPECT_EQ(ToText(out, &size), SBX_E_ADDRESS);
    EXPECT_EQ(size, JobNeed());
    EXPECT_EQ(LastError(), u"");
    EXPECT_EQ(LastTwo(), TextEnd(SBX_E_ADDRESS));
  }
}

TEST_F(TextExport, ADocumentLongerThanAnyBlockArrivesWhole) {
  const WideString longName(100'000, u'n');
  job.name = longName.c_str();
  std::vector<char16_t> out(101'000);
  std::int32_t size = 101'000;
  EXPECT_EQ(ToText(out.data(), &size, 1), SBX_OK);
  WideString expected = u"\uFEFF" + WrittenJob();
  expected.replace(expected.find(u"Poster"), 6, longName);
  EXPECT_EQ(WideString(out.data()), expected);
}

// --- failures, in the order of the checks
// -------------------------------------------------------------------

TEST_F(TextExport, BadParametersEndEarlyAndWithoutAnEndMessage) {
  std::int32_t size = 1000;
  const auto call = [&](const void* binary, std::int32_t binarySize, std::int32_t* xmlSize) {
    log.Clear();
    StoreLastErrorText(u"");
    // Neither module nor ids are looked at yet.
    EXPECT_EQ(SBXBinaryToXML_Text(nullptr, 0, 0, u"Job", binary, binarySize, nullptr, xmlSize, 0),
              SBX_E_PARAMETER);
    EXPECT_EQ(Lines(), (Log{{3, kTextBegin}, {0, u"Invalid parameters for converting to text."}}));
    EXPECT_EQ(LastError(), u"Invalid parameters");
  };
  call(nullptr, 16, &size);
  call(&job, 0, &size);
  call(&job, -1, &size);
  call(&job, 16, nullptr);
  call(&job, 16, Nowhere<std::int32_t*>());
  EXPECT_EQ(size, 1000);
}

TEST_F(TextExport, ASizeThatCanBeReadButNotWrittenCountsAsNull) {
  static const std::int32_t kReadOnly = 1000;
  EXPECT_EQ(ToText(nullptr, const_cast<std::int32_t*>(&kReadOnly)), SBX_E_PARAMETER);
  EXPECT_EQ(LastError(), u"Invalid parameters");
}

TEST_F(TextExport, AFailedLoadEndsEarlyAndWithoutAnEndMessage) {
  std::int32_t size = 1000;
  module.SetDescriptions(u"<Wrong/>");
  EXPECT_EQ(ToText(nullptr, &size), SBX_E_RESOURCE);
  EXPECT_EQ(Lines().back(), (LogLine{0, u"Load PDB resource from XML failed."}));
  EXPECT_EQ(LastError(), u"The JSPDBMemDesc needs to be initialized");
  EXPECT_EQ(SBXBinaryToXML_Text(nullptr, 1, 1, u"Job", &job, 16, nullptr, &size, 0), SBX_E_PARAMETER);
  EXPECT_EQ(Lines().back(), (LogLine{0, u"Invalid module handle."}));
}

TEST_F(TextExport, ARootNameIsNeeded) {
  for (const char16_t* root : {static_cast<const char16_t*>(nullptr), u"", Nowhere<const char16_t*>()}) {
    StoreLastErrorText(u"old");
    std::int32_t size = 1000;
    EXPECT_EQ(ToText(nullptr, &size, 0, root), SBX_E_PARAMETER);
    EXPECT_EQ(Lines(0), Texts{u"Invalid parameters for converting."});
    EXPECT_EQ(LastError(), u"") << "a failure without a text empties the slot";
    EXPECT_EQ(LastTwo(), TextEnd(SBX_E_PARAMETER));
    EXPECT_EQ(size, 1000);
    log.Clear();
  }
}

TEST_F(TextExport, AnUnknownRootHasItsText) {
  std::int32_t size = 1000;
  EXPECT_EQ(ToText(nullptr, &size, 0, u"job"), SBX_E_DESCRIPTION) << "case counts";
  EXPECT_EQ(Lines(0), Texts{u"No PDB info for struct job."});
  EXPECT_EQ(LastError(), u"Can't find the PDB info for the struct job");
  EXPECT_EQ(LastTwo(), TextEnd(SBX_E_DESCRIPTION));
}

TEST_F(TextExport, ABufferSmallerThanTheRootEmptiesTheSlot) {
  std::int32_t size = 1000;
  EXPECT_EQ(ToText(nullptr, &size, 0, u"Job", 16), SBX_OK);
  StoreLastErrorText(u"old");
  EXPECT_EQ(ToText(nullptr, &size, 0, u"Job", 15), SBX_E_DESCRIPTION);
  EXPECT_EQ(Lines(0), Texts{u"Invalid PDB info for struct Job(size: 16, buffer size: 15)."});
  EXPECT_EQ(LastError(), u"");
  EXPECT_EQ(LastTwo(), TextEnd(SBX_E_DESCRIPTION));
}

TEST_F(TextExport, AFailedWalkHandsUpItsCodeAndText) {
  module.SetDescriptions(
      u"<StructureDescription><JSStruct name=\"Job\" size=\"16\" numOfItems=\"1\">"
      u"<JSStructItem name=\"X\" type=\"Gone*\" size=\"8\" offset=\"8\"/></JSStruct></StructureDescription>");
  std::int32_t size = 1000;
  EXPECT_EQ(ToText(nullptr, &size), SBX_E_DESCRIPTION);
  EXPECT_EQ(LastError(), u"Invalid size for the type Gone");
  EXPECT_EQ(LastTwo(), TextEnd(SBX_E_DESCRIPTION));
  EXPECT_EQ(size, 1000);
}

TEST_F(TextExport, UnreadableRecordsSetNoText) {
  StoreLastErrorText(u"old");
  std::int32_t size = 1000;
  EXPECT_EQ(SBXBinaryToXML_Text(module.handle(), kPdbId, kRuleId, u"Job", Nowhere<const void*>(), 16, nullptr,
                                &size, 0),
            SBX_E_ADDRESS);
  EXPECT_EQ(LastError(), u"");
  job.name = Nowhere<const char16_t*>();
  EXPECT_EQ(ToText(nullptr, &size), SBX_E_ADDRESS);
  EXPECT_EQ(LastError(), u"");
}

TEST_F(TextExport, MemoryIsLookedAtAnewInEachConversion) {
  EXPECT_EQ(Convert(), kJobXml);
  job.number = 8;
  job.name = u"Flyer";
  EXPECT_EQ(
      Convert(),
      u"<JobScriptXMLDescription><Job><Number>8</Number><Name>Flyer</Name></Job></JobScriptXMLDescription>");
}

TEST_F(TextExport, ANullModuleWithoutIdsWorksOnTheSetsOfTheCallBefore) {
  EXPECT_EQ(Convert(), kJobXml);
  std::int32_t size = 1000;
  EXPECT_EQ(SBXBinaryToXML_Text(nullptr, 0, 0, u"Job", &job, 16, nullptr, &size, 0), SBX_OK);
  EXPECT_EQ(size, JobNeed());
}

TEST_F(TextExport, RulesDoNotReachTheMasterSet) {
  module.SetRules(
      u"<ConvertRuleDesc><Rules name=\"Job\"><RuleItem name=\"Number\" type=\"AlterType\" alterto=\"uint\" "
      u"ref=\"Number\" refmethod=\"=\" refvalue=\"-1\"/></Rules></ConvertRuleDesc>");
  job.number = -1;
  EXPECT_NE(Convert().find(u"<Number>4294967295</Number>"), WideString::npos) << "the rule fires";
  std::int32_t size = 1000;
  job.number = 1;
  EXPECT_EQ(SBXBinaryToXML_Text(nullptr, 0, 0, u"Job", &job, 16, nullptr, &size, 0), SBX_OK);
  job.number = -2;
  std::vector<char16_t> out(1000);
  size = 1000;
  EXPECT_EQ(SBXBinaryToXML_Text(nullptr, 0, 0, u"Job", &job, 16, out.data(), &size, 0), SBX_OK);
  EXPECT_NE(WideString(out.data()).find(u"<Number>-2</Number>"), WideString::npos) << "and leaves no trace";
}

TEST_F(TextExport, PresentationIsPluggedIn) {
  module.SetDescriptions(
      u"<StructureDescription><JSStruct name=\"Job\" size=\"16\" numOfItems=\"1\">"
      u"<JSStructItem name=\"N\" type=\"int\" size=\"4\" offset=\"0\" "
      u"restrict=\"[fmt:hex]\"/></JSStruct></StructureDescription>");
  EXPECT_EQ(Convert(), u"<JobScriptXMLDescription><Job><N>0x00000007</N></Job></JobScriptXMLDescription>");
}

// --- documents that fail
// ------------------------------------------------------------------------------------

TEST_F(TextExport, ADocumentThatCannotBeMade) {
  ScopedFailures failures;
  failures.Fail(DomCall::kNew, 3);  // after those of the two documents
  std::int32_t size = 1000;
  EXPECT_EQ(ToText(nullptr, &size), SBX_E_DOM);
  EXPECT_EQ(Lines(0), Texts{u"COM error for creating new document."});
  EXPECT_EQ(LastError(), u"Can't create XML for job script");
  EXPECT_EQ(LastTwo(), TextEnd(SBX_E_DOM));
}

TEST_F(TextExport, ATextThatCannotBeHadCountsAsEmpty) {
  ScopedFailures failures;
  failures.Fail(DomCall::kGetXml, 1, -1);
  char16_t out[2] = u"?";
  std::int32_t size = 1;
  EXPECT_EQ(ToText(out, &size), SBX_OK);
  EXPECT_EQ(size, 1);
  EXPECT_EQ(out[0], u'\0');
  EXPECT_EQ(Lines(0), Texts{u"COM error for getting XML content."});
  size = 1;
  EXPECT_EQ(ToText(out, &size, 1), SBX_E_BUFFER);
  EXPECT_EQ(size, 2);
  EXPECT_EQ(ToText(out, &size, 1), SBX_OK);
  EXPECT_EQ(WideString(out, 2), WideString(u"\uFEFF\0", 2));
}

// --- the limit of a document
// --------------------------------------------------------------------------------

class UnitLimit : public B2XExportTest {
 protected:
  ~UnitLimit() override { g_exportUnitLimit = kDocumentUnitLimit; }
  static constexpr std::uint64_t kDocumentUnitLimit = 0x7FFFFFFE;
};

TEST_F(UnitLimit, ADocumentOfJustThatLengthConverts) {
  g_exportUnitLimit = WrittenJob().size();
  EXPECT_EQ(Convert(), kJobXml);
}

TEST_F(UnitLimit, OneUnitMoreIsRefusedByBothExports) {
  g_exportUnitLimit = WrittenJob().size() - 1;
  std::int32_t size = 1000;
  EXPECT_EQ(ToText(nullptr, &size), SBX_E_MEMORY);
  EXPECT_EQ(LastError(), u"");
  EXPECT_EQ(size, 1000);
  EXPECT_EQ(LastTwo(), TextEnd(SBX_E_MEMORY));
  const ScratchFolder folder;
  StoreLastErrorText(u"old");
  EXPECT_EQ(ToFile(folder.Path(u"job.xml").c_str()), SBX_E_MEMORY);
  EXPECT_EQ(LastError(), u"");
  EXPECT_FALSE(folder.Exists("job.xml")) << "nothing is created";
  EXPECT_EQ(LastTwo(), FileEnd(SBX_E_MEMORY));
}

TEST_F(UnitLimit, CountsWhatPresentationAdds) {
  module.SetDescriptions(
      u"<StructureDescription><JSStruct name=\"Job\" size=\"16\" numOfItems=\"1\">"
      u"<JSStructItem name=\"N\" type=\"int\" size=\"4\" offset=\"0\" "
      u"restrict=\"[flag:Seven(7)]\"/></JSStruct></StructureDescription>");
  const WideString whole = Convert();
  EXPECT_NE(whole.find(u"(Seven)"), WideString::npos);
  g_exportUnitLimit = written_.size();
  EXPECT_EQ(Convert(), whole);
  g_exportUnitLimit = written_.size() - 1;
  std::int32_t size = 1000;
  EXPECT_EQ(ToText(nullptr, &size), SBX_E_MEMORY);
  EXPECT_EQ(LastTwo(), TextEnd(SBX_E_MEMORY));
}

// A text of a length that no test can write out.
class LongText : public xml::SerializedText {
 public:
  std::uint64_t Units() const noexcept override { return units; }
  bool WriteTo(xml::TextSink&) const override { return false; }
  static inline std::uint64_t units = 0;
};

class LongDocument : public FailingDocument {
 public:
  using FailingDocument::FailingDocument;
  std::unique_ptr<xml::SerializedText> GetXml() override { return std::make_unique<LongText>(); }
  static std::unique_ptr<xml::Document> Make() {
    static DomFailures none;
    return std::make_unique<LongDocument>(xml::CreatePlatformDocument(), none);
  }
};

class LongestText : public B2XExportTest {
 protected:
  LongestText() { xml::SetDocumentFactory(&LongDocument::Make); }
  ~LongestText() override { xml::SetDocumentFactory(nullptr); }
  static constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
};

TEST_F(LongestText, IsWhatASignedSizeCanTellWithItsZero) {
  LongText::units = 0x7FFFFFFE;
  std::int32_t size = kMost;
  EXPECT_EQ(ToText(nullptr, &size), SBX_OK);
  EXPECT_EQ(size, kMost);
  size = kMost - 1;
  EXPECT_EQ(ToText(nullptr, &size), SBX_E_BUFFER);
  EXPECT_EQ(size, kMost);
}

TEST_F(LongestText, WithAByteOrderMarkIsOneUnitShorter) {
  LongText::units = 0x7FFFFFFD;
  std::int32_t size = 0;
  EXPECT_EQ(ToText(nullptr, &size, 1), SBX_E_BUFFER);
  EXPECT_EQ(size, kMost);
  LongText::units = 0x7FFFFFFE;
  size = 77;
  StoreLastErrorText(u"old");
  EXPECT_EQ(ToText(nullptr, &size, 1), SBX_E_MEMORY);
  EXPECT_EQ(size, 77);
  EXPECT_EQ(LastError(), u"");
  EXPECT_EQ(LastTwo(), TextEnd(SBX_E_MEMORY));
}

TEST_F(LongestText, OfMoreIsRefusedByBothExports) {
  const ScratchFolder folder;
  for (const std::uint64_t units : {std::uint64_t{0x7FFFFFFF}, std::uint64_t{1} << 32, UINT64_MAX}) {
    LongText::units = units;
    std::int32_t size = kMost;
    EXPECT_EQ(ToText(nullptr, &size), SBX_E_MEMORY);
    EXPECT_EQ(LastTwo(), TextEnd(SBX_E_MEMORY));
    EXPECT_EQ(ToFile(folder.Path(u"job.xml").c_str()), SBX_E_MEMORY);
    EXPECT_EQ(LastTwo(), FileEnd(SBX_E_MEMORY));
  }
  EXPECT_FALSE(folder.Exists("job.xml"));
}

// --- the file export
// ----------------------------------------------------------------------------------------

class FileExport : public B2XExportTest {
 protected:
  ScratchFolder folder;
  WideString path = folder.Path(u"job.xml");
  // The file's text, after its mark.
  WideString FileText() {
    const std::string bytes = folder.Read("job.xml");
    EXPECT_EQ(bytes.substr(0, 2), "\xFF\xFE");
    WideString text((bytes.size() - 2) / 2, u'\0');
    std::memcpy(text.data(), bytes.data() + 2, text.size() * 2);
    return AsEverywhere(text);
  }
  LogLine Begin() {
    return {3, u"Convert from binary to XML file begin.(Root structure: Job, XML: " + path + u")"};
  }
};

TEST_F(FileExport, WritesUtf16WithItsMarkAndNoZero) {
  EXPECT_EQ(ToFile(path.c_str()), SBX_OK);
  EXPECT_EQ(FileText(), kJobXml);
  EXPECT_EQ(Lines(), (Log{Begin(),
                          {3, u"PDB XML Loaded"},
                          {3, u"Rule XML Loaded"},
                          {3, Text(u"Job(Size=16 Ptr=0x%p).", FormatArg(static_cast<const void*>(&job)))},
                          {3, u"Convert from binary to XML file end.(ret: 0)"},
                          {3, u""}}));
  EXPECT_EQ(LastError(), u"(nothing set)");
}

TEST_F(FileExport, ALongDocumentArrivesWhole) {
  const WideString longName(100'000, u'n');
  job.name = longName.c_str();
  EXPECT_EQ(ToFile(path.c_str()), SBX_OK);
  EXPECT_EQ(FileText().size(), static_cast<std::size_t>(kJobUnits) + 100'000 - 6);
}

TEST_F(FileExport, BadParametersEndEarlyAndDoNotLookAtThePath) {
  const auto call = [&](const void* binary, std::int32_t binarySize) {
    log.Clear();
    EXPECT_EQ(SBXBinaryToXML_File(nullptr, 0, 0, u"Job", binary, binarySize, nullptr), SBX_E_PARAMETER);
    EXPECT_EQ(Lines(), (Log{{3, u"Convert from binary to XML file begin.(Root structure: Job, XML: (null))"},
                            {0, u"Invalid parameters for converting to file."}}));
    EXPECT_EQ(LastError(), u"Invalid parameters");
  };
  call(nullptr, 16);
  call(&job, 0);
}

TEST_F(FileExport, ABadPathFailsAfterTheWalkAndEmptiesTheSlot) {
  for (const char16_t* bad : {static_cast<const char16_t*>(nullptr), u"", Nowhere<const char16_t*>()}) {
    StoreLastErrorText(u"old");
    log.Clear();
    EXPECT_EQ(ToFile(bad), SBX_E_PARAMETER);
    EXPECT_EQ(Lines(0), Texts{u"Invalid parameters for writing XML."});
    EXPECT_EQ(LastError(), u"");
    EXPECT_EQ(LastTwo(), FileEnd(SBX_E_PARAMETER));
  }
}

TEST_F(FileExport, AFileThatCannotBeCreated) {
  const WideString bad = folder.Path(u"gone/job.xml");
  StoreLastErrorText(u"old");
  EXPECT_EQ(ToFile(bad.c_str()), SBX_E_FILE);
  EXPECT_EQ(Lines(0), Texts{u"Create file " + bad + Text(u" failed(ErrCode = %d).", kNoSuchFolder)});
  EXPECT_EQ(LastError(), u"");
  EXPECT_EQ(LastTwo(), FileEnd(SBX_E_FILE));
}

TEST_F(FileExport, TheTextOfAFailedWriteDoesNotSurvive) {
  if (kIsWindows) GTEST_SKIP() << "no device there is always full";
  StoreLastErrorText(u"old");
  EXPECT_EQ(ToFile(u"/dev/full"), SBX_E_FILE);
  EXPECT_EQ(Lines(0), Texts{u"Failed to write file /dev/full (ErrCode = 28)."});
  EXPECT_EQ(LastError(), u"");
  EXPECT_EQ(LastTwo(), FileEnd(SBX_E_FILE));
}

TEST_F(FileExport, AnUnreadableDocumentTextIsRefusedByTheFile) {
  ScopedFailures failures;
  failures.Fail(DomCall::kGetXml, 1, -1);
  StoreLastErrorText(u"old");
  EXPECT_EQ(ToFile(path.c_str()), SBX_E_PARAMETER);
  EXPECT_EQ(Lines(0), (Texts{u"COM error for getting XML content.", u"Invalid parameters for writing XML."}));
  EXPECT_EQ(LastError(), u"");
  EXPECT_FALSE(folder.Exists("job.xml"));
}

TEST_F(FileExport, FailsLikeTheTextExport) {
  EXPECT_EQ(ToFile(path.c_str(), u"Gone"), SBX_E_DESCRIPTION);
  EXPECT_EQ(LastError(), u"Can't find the PDB info for the struct Gone");
  EXPECT_EQ(ToFile(path.c_str(), nullptr), SBX_E_PARAMETER);
  EXPECT_EQ(LastError(), u"");
  EXPECT_EQ(ToFile(path.c_str(), u"Job", 15), SBX_E_DESCRIPTION);
  EXPECT_EQ(LastTwo(), FileEnd(SBX_E_DESCRIPTION));
  module.SetRules(u"<Wrong/>");
  EXPECT_EQ(ToFile(path.c_str()), SBX_E_RESOURCE);
  EXPECT_EQ(Lines().back(), (LogLine{0, u"Load rule resource from XML failed."}));
  EXPECT_FALSE(folder.Exists("job.xml"));
}

// --- form of the document
// -----------------------------------------------------------------------------------

using DocumentForm = B2XExportTest;

TEST_F(DocumentForm, ARootWithoutItemsIsOneEmptyElement) {
  EXPECT_EQ(Convert(u"Empty"), u"<JobScriptXMLDescription><Empty/></JobScriptXMLDescription>");
}

TEST_F(DocumentForm, MarkupAndLineEndsInTextAreEscaped) {
  const bool keepsReturns = !kIsMsxml || IsWine();
  job.name = u"a&b<c>\"d'\r\n\t";
  EXPECT_NE(Convert().find(keepsReturns ? u"<Name>a&amp;b&lt;c&gt;\"d'&#13;\n\t</Name>"
                                        : u"<Name>a&amp;b&lt;c&gt;\"d'\n\t</Name>"),
            WideString::npos);
}

TEST_F(DocumentForm, TextThatXmlCannotCarryIsDigits) {
  job.name = u"\u0001\u00E9";
  EXPECT_NE(Convert().find(u"<Name flag=\"binary\">01005900</Name>"), WideString::npos);
}

TEST_F(DocumentForm, SurrogatesAndNonCharactersAreWrittenAsTheyAre) {
  if (IsWine()) GTEST_SKIP() << "Wine's document replaces them";
  const char16_t name[] = {0xD800, u'x', 0xFFFE, 0xFFFF, 0xDC00, 0};
  job.name = name;
  EXPECT_NE(Convert().find(u"<Name>" + WideString(name) + u"</Name>"), WideString::npos);
}

TEST_F(DocumentForm, ANarrowPointerOfTheExactTypeIsReadAsWideText) {
  WideString descriptions = kJobDescriptions;
  descriptions.replace(descriptions.find(u"wchar_t*"), 8, u"char*");
  module.SetDescriptions(descriptions);
  EXPECT_EQ(Convert(), kJobXml);
}

// --- threads
// ------------------------------------------------------------------------------------------------

TEST_F(B2XExportTest, ThreadsConvertOneAtATime) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([i] {
      TestModule own{kJobDescriptions};
      const SBXModule handle = own.handle();
      Job mine;
      mine.number = i;
      for (int round = 0; round < 25; ++round) {
        char16_t out[200];
        std::int32_t size = 200;
        EXPECT_EQ(SBXBinaryToXML_Text(handle, kPdbId, kRuleId, u"Job", &mine, 16, out, &size, 0), SBX_OK);
        WideString expected = kJobXml;
        expected.replace(expected.find(u'7'), 1, Text(u"%d", i));
        EXPECT_EQ(AsEverywhere(WideString(out)), expected);
        EXPECT_EQ(SBXVerifyStructSize(handle, kPdbId, kRuleId, u"Job", 16, nullptr), SBX_OK);
        LastError();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(B2XExportTest, TheLockIsLeftOnEveryPath) {
  std::int32_t size = 1000;
  ToText(nullptr, &size);
  ToText(nullptr, nullptr);
  ToText(nullptr, &size, 0, u"Gone");
  ToFile(nullptr);
  module.SetDescriptions(u" ");
  ToText(nullptr, &size);
  bool free = false;
  std::thread([&free] {
    free = ConversionMutex().try_lock();
    if (free) ConversionMutex().unlock();
  }).join();
  EXPECT_TRUE(free);
  EXPECT_EQ(g_conversion.callerMemory, nullptr) << "and so is the view of memory";
}

}  // namespace
}  // namespace sbx::testing
