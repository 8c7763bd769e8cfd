// SBXXMLToBinary, SBXHandleToBuffer and SBXFreeJSHandle as a caller sees them.
#include <atomic>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "api/handle_table.h"
#include "api/last_error.h"
#include "base/wide_text.h"
#include "support/carried_documents.h"
#include "support/exports.h"
#include "support/failing_document.h"
#include "support/recording_log.h"

namespace sbx {
namespace {

using testing::LogLine;
using testing::ScopedLog;

constexpr WideView kDescriptions =
    u"<StructureDescription><JSStruct name=\"Root\" size=\"16\" numOfItems=\"3\">"
    u"<JSStructItem name=\"a\" type=\"int\" size=\"4\" offset=\"0\"/>"
    u"<JSStructItem name=\"bad\" type=\"int**\" size=\"4\" offset=\"4\"/>"
    u"<JSStructItem name=\"s\" type=\"wchar_t*\" size=\"8\" offset=\"8\"/>"
    u"</JSStruct></StructureDescription>";
constexpr WideView kRules = u"<ConvertRuleDesc/>";

class XmlToBinary : public ::testing::Test {
 protected:
  void SetUp() override { FreeAllHandles(); }
  void TearDown() override { FreeAllHandles(); }

  std::int32_t Convert(const char16_t* xml, JSHandle** handle, const char16_t* root = u"Root",
                       std::uint32_t pdb = 1, std::uint32_t rules = 2) {
    return SBXXMLToBinary(module_->handle(), pdb, rules, root, xml, handle);
  }
  static WideString LastError() {
    char16_t text[4096];
    SBXGetLastError(text, 4096);
    return text;
  }
  std::unique_ptr<testing::CarriedDocuments> module_ =
      std::make_unique<testing::CarriedDocuments>(kDescriptions, kRules);
};

constexpr const char16_t* kGood = u"<J><Root><a>7</a><s>abc</s></Root></J>";

TEST_F(XmlToBinary, GivesAHandleOnTheRebuiltGraph) {
  const ScopedLog log;
  JSHandle* handle = nullptr;
  ASSERT_EQ(Convert(kGood, &handle), SBX_OK);
  ASSERT_NE(handle, nullptr);
  void* root = nullptr;
  std::uint32_t size = 0;
  ASSERT_EQ(SBXHandleToBuffer(handle, &root, &size), SBX_OK);
  EXPECT_EQ(size, 16u + 8u);
  std::int32_t a = 0;
  std::memcpy(&a, root, sizeof a);
  EXPECT_EQ(a, 7);
  const auto lines = log.lines();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines.front(), (LogLine{3, u"Convert from XML to binary begin.(Root structure: Root)"}));
  EXPECT_EQ(lines[lines.size() - 2], (LogLine{3, u"Convert from XML to binary end.(ret: 0)"}));
  EXPECT_EQ(lines.back(), (LogLine{3, u""}));
  EXPECT_EQ(SBXFreeJSHandle(handle), SBX_OK);
}

TEST_F(XmlToBinary, ALeadingByteOrderMarkIsSkipped) {
  const testing::ScopedFailures failures;
  JSHandle* handle = nullptr;
  EXPECT_EQ(Convert((u"\uFEFF" + WideString(kGood)).c_str(), &handle), SBX_OK);
  EXPECT_EQ(failures.loaded, kGood) << "before the parser sees it, which may know of no such mark";
  EXPECT_EQ(Convert(kGood, nullptr), SBX_OK);
  EXPECT_EQ(failures.loaded, kGood);
}

TEST_F(XmlToBinary, WithoutAPlaceForTheHandleItIsACheck) {
  EXPECT_EQ(Convert(kGood, nullptr), SBX_OK);
  EXPECT_EQ(HandleCount(), 0);
  EXPECT_EQ(Convert(u"<J><Root/></J>", nullptr), SBX_E_CONTENT);
  EXPECT_EQ(HandleCount(), 1) << "a failed conversion uses an entry up for good";
}

TEST_F(XmlToBinary, AnUnwritablePlaceCountsAsNone) {
  EXPECT_EQ(Convert(kGood, reinterpret_cast<JSHandle**>(8)), SBX_OK);
  EXPECT_EQ(HandleCount(), 0);
}

struct BadCall {
  const char16_t* root;
  const char16_t* xml;
  std::uint32_t pdb;
  std::uint32_t rules;
  std::int32_t code;
  const char16_t* log;  // the line before the end message
  const char* why;
};

TEST_F(XmlToBinary, BadArgumentsEndWithTheEndMessageToo) {
  const BadCall rows[] = {
      {nullptr, kGood, 1, 2, SBX_E_PARAMETER, u"Invalid root structure name.", "no name"},
      {u"", kGood, 1, 2, SBX_E_PARAMETER, u"Invalid root structure name.", "an empty name"},
      {reinterpret_cast<const char16_t*>(16), kGood, 1, 2, SBX_E_PARAMETER, u"Invalid root structure name.",
       "an unreadable name"},
      {u"Root", nullptr, 1, 2, SBX_E_PARAMETER, u"Invalid XML.", "no text"},
      {u"Root", u"", 1, 2, SBX_E_PARAMETER, u"Invalid XML.", "an empty text"},
      {nullptr, nullptr, 1, 2, SBX_E_PARAMETER, u"Invalid root structure name.",
       "the name is looked at first"},
      {u"Root", kGood, 0, 2, SBX_E_PARAMETER, u"Invalid PDB resouce ID.", "no description id"},
      {u"Root", kGood, 1, 0, SBX_E_PARAMETER, u"Invalid rule resouce ID.", "no rule id"},
      {u"Root", kGood, 3, 2, SBX_E_RESOURCE, u"Find PDB resource failed.", "no such description"},
      {u"Root", kGood, 1, 3, SBX_E_RESOURCE, u"Find rule resource failed.", "no such rules"},
  };
  for (const BadCall& row : rows) {
    SCOPED_TRACE(row.why);
    const ScopedLog log;
    JSHandle* handle = nullptr;
    EXPECT_EQ(Convert(row.xml, &handle, row.root, row.pdb, row.rules), row.code);
    EXPECT_EQ(handle, nullptr);
    const auto lines = log.lines();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[lines.size() - 3], (LogLine{0, row.log}));
    EXPECT_EQ(lines[lines.size() - 2].text,
              WideString(Message(u"Convert from XML to binary end.(ret: %d)", row.code).view()));
    EXPECT_EQ(HandleCount(), 0);
  }
}

TEST_F(XmlToBinary, ANullModuleWithoutIdsWorksOnTheSetsOfTheCallBefore) {
  ASSERT_EQ(Convert(kGood, nullptr), SBX_OK);
  JSHandle* handle = nullptr;
  EXPECT_EQ(SBXXMLToBinary(nullptr, 0, 0, u"Root", kGood, &handle), SBX_OK);
  EXPECT_NE(handle, nullptr);
  EXPECT_EQ(SBXXMLToBinary(nullptr, 0, 2, u"Root", kGood, nullptr), SBX_E_PARAMETER);
  EXPECT_EQ(SBXXMLToBinary(nullptr, 0, 0, u"Root", kGood, nullptr), SBX_E_PARAMETER) << "dropped";
}

TEST_F(XmlToBinary, AFailedLoadSetsItsTextAndBadParametersLeaveTheSlot) {
  Convert(kGood, nullptr, u"Root", 9, 2);
  EXPECT_EQ(LastError(), u"The JSPDBMemDesc needs to be initialized");
  EXPECT_EQ(Convert(nullptr, nullptr), SBX_E_PARAMETER);
  EXPECT_EQ(LastError(), u"The JSPDBMemDesc needs to be initialized");
  EXPECT_EQ(Convert(kGood, nullptr), SBX_OK);
  EXPECT_EQ(LastError(), u"The JSPDBMemDesc needs to be initialized") << "success does not clear it";
  EXPECT_EQ(Convert(u"no xml", nullptr), SBX_E_CONTENT);
  EXPECT_EQ(LastError(), u"") << "a failed conversion without a text empties it";
}

TEST_F(XmlToBinary, TheTextOfASkippedItemShowsOnALaterFailure) {
  EXPECT_EQ(Convert(u"<J><Root><bad>1</bad></Root></J>", nullptr), SBX_OK);
  EXPECT_EQ(Convert(u"<J><Other/></J>", nullptr), SBX_E_NOT_FOUND);
  EXPECT_EQ(LastError(), u"") << "each conversion begins with an empty text";
}

TEST_F(XmlToBinary, AConversionsTextServesAsAFormatAndReadsNoArguments) {
  constexpr WideView kOdd =
      u"<ConvertRuleDesc><Rules name=\"Root\"><RuleItem name=\"r\" type=\"RelocateStructName\" "
      u"structname=\"[%s%d%n%%d%p%5i%\"/></Rules></ConvertRuleDesc>";
  module_ = std::make_unique<testing::CarriedDocuments>(kDescriptions, kOdd);
  const ScopedLog log(0);
  EXPECT_EQ(Convert(kGood, nullptr), SBX_E_NOT_FOUND);
  EXPECT_EQ(log.lines(),
            (std::vector<LogLine>{{0, u"No PDB info for the relocated struct [%s%d%n%%d%p%5i%."}}));
  EXPECT_EQ(LastError(), u"Can't find the PDB info for the relocated struct [0n%d0000000000000000    0");
}

TEST_F(XmlToBinary, TheHundredAndFirstHandleIsRefused) {
  std::vector<JSHandle*> handles(100);
  for (JSHandle*& handle : handles) ASSERT_EQ(Convert(kGood, &handle), SBX_OK);
  const ScopedLog log;
  JSHandle* refused = nullptr;
  StoreLastErrorText(u"old");
  EXPECT_EQ(Convert(kGood, &refused), SBX_E_MEMORY);
  EXPECT_EQ(refused, nullptr);
  EXPECT_EQ(HandleCount(), 100);
  EXPECT_EQ(LastError(), u"old");
  const auto lines = log.lines();
  EXPECT_EQ(lines[lines.size() - 3], (LogLine{0, u"No enough memory for JSBuffer."}));
  EXPECT_EQ(SBXFreeJSHandle(handles[50]), SBX_OK);
  EXPECT_EQ(Convert(kGood, &refused), SBX_OK);
}

TEST_F(XmlToBinary, AHundredFailuresUseTheTableUp) {
  for (int i = 0; i < 100; ++i) ASSERT_EQ(Convert(u"<J/>", nullptr), SBX_E_NOT_FOUND);
  EXPECT_EQ(Convert(kGood, nullptr), SBX_E_MEMORY);
}

TEST_F(XmlToBinary, AFreedHandleIsUnknown) {
  const ScopedLog log;
  JSHandle* handle = nullptr;
  ASSERT_EQ(Convert(kGood, &handle), SBX_OK);
  EXPECT_EQ(SBXFreeJSHandle(handle), SBX_OK);
  EXPECT_EQ(SBXFreeJSHandle(handle), SBX_OK);
  EXPECT_EQ(SBXFreeJSHandle(nullptr), SBX_OK);
  void* root = &handle;
  EXPECT_EQ(SBXHandleToBuffer(handle, &root, nullptr), SBX_E_PARAMETER);
  EXPECT_EQ(root, &handle) << "nothing is stored";
  EXPECT_EQ(log.lines().back(), (LogLine{0, u"Invalid parameters for converting handle to buffer."}));
  EXPECT_EQ(SBXHandleToBuffer(nullptr, nullptr, nullptr), SBX_E_PARAMETER);
}

TEST_F(XmlToBinary, AForeignPointerIsNoHandleAndIsNotFollowed) {
  JSHandle* good = nullptr;
  ASSERT_EQ(Convert(kGood, &good), SBX_OK);
  const ScopedLog log;
  int foreign = 0;
  for (JSHandle* handle : {reinterpret_cast<JSHandle*>(&foreign), reinterpret_cast<JSHandle*>(1),
                           reinterpret_cast<JSHandle*>(UINTPTR_MAX)}) {
    EXPECT_EQ(SBXFreeJSHandle(handle), SBX_OK);
    EXPECT_EQ(SBXHandleToBuffer(handle, nullptr, nullptr), SBX_E_PARAMETER);
  }
  EXPECT_EQ(log.lines(),
            (std::vector<LogLine>(3, {0, u"Invalid parameters for converting handle to buffer."})))
      << "freeing logs nothing";
  EXPECT_EQ(HandleCount(), 1);
}

TEST_F(XmlToBinary, TheFunctionsOfAHandleLeaveTheErrorSlotAlone) {
  JSHandle* handle = nullptr;
  ASSERT_EQ(Convert(kGood, &handle), SBX_OK);
  StoreLastErrorText(u"old");
  EXPECT_EQ(SBXHandleToBuffer(handle, nullptr, nullptr), SBX_OK);
  EXPECT_EQ(SBXFreeJSHandle(handle), SBX_OK);
  EXPECT_EQ(SBXHandleToBuffer(handle, nullptr, nullptr), SBX_E_PARAMETER);
  EXPECT_EQ(SBXFreeJSHandle(handle), SBX_OK);
  EXPECT_EQ(LastError(), u"old");
}

TEST_F(XmlToBinary, AFailedConversionStoresNoHandleAndNobodyFindsItsEntry) {
  JSHandle* handle = reinterpret_cast<JSHandle*>(this);
  EXPECT_EQ(Convert(u"<J><Root/></J>", &handle), SBX_E_CONTENT);
  EXPECT_EQ(handle, reinterpret_cast<JSHandle*>(this)) << "the caller's place is left alone";
  EXPECT_EQ(HandleCount(), 1);
}

TEST_F(XmlToBinary, ATextOfNothingButAByteOrderMarkIsNoXml) {
  const ScopedLog log(0);
  EXPECT_EQ(Convert(u"\uFEFF", nullptr), SBX_E_CONTENT);
  EXPECT_EQ(log.lines(), (std::vector<LogLine>{{0, u"Failed to load XML."}}));
}

TEST_F(XmlToBinary, EitherResultOfAHandleMayBeLeftOut) {
  JSHandle* handle = nullptr;
  ASSERT_EQ(Convert(kGood, &handle), SBX_OK);
  std::uint32_t size = 0;
  EXPECT_EQ(SBXHandleToBuffer(handle, nullptr, &size), SBX_OK);
  EXPECT_EQ(size, 24u);
  EXPECT_EQ(SBXHandleToBuffer(handle, nullptr, nullptr), SBX_OK);
}

TEST_F(XmlToBinary, OthersMayFreeAndQueryWhileOneConverts) {
  std::atomic<JSHandle*> latest{nullptr};
  std::atomic<bool> stop{false};
  std::vector<std::thread> others;
  for (int i = 0; i < 2; ++i) {
    others.emplace_back([&] {
      while (!stop) {
        void* root = nullptr;
        SBXHandleToBuffer(latest, &root, nullptr);
        SBXFreeJSHandle(latest);
      }
    });
  }
  for (int i = 0; i < 300; ++i) {
    JSHandle* handle = nullptr;
    EXPECT_EQ(Convert(kGood, &handle), SBX_OK);
    latest = handle;
    SBXFreeJSHandle(handle);  // whether or not one of the others was faster
  }
  stop = true;
  for (std::thread& other : others) other.join();
  EXPECT_LE(HandleCount(), 100);
}

}  // namespace
}  // namespace sbx
