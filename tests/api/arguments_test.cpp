// The exports' arguments at any address: odd ones, ones that leave memory half way, ones that can be read but
// not written.
#include "api/arguments.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>

#include "api/handle_table.h"
#include "export_fixture.h"
#include "platform/guarded_pages.h"
#include "support/edge_of_memory.h"
#include "support/scratch_folder.h"

namespace sbx::testing {
namespace {

// --- texts -------------------------------------------------------------------------------------------------

const SBXChar* TextAt(const unsigned char* bytes) {
  return reinterpret_cast<const SBXChar*>(bytes);
}

TEST(TextArgument, NullAndEmptyTextsDiffer) {
  const TextArgument null(nullptr);
  EXPECT_TRUE(null.isNullOrEmpty());
  EXPECT_EQ(null.c_str(), nullptr);
  EXPECT_EQ(Text(u"%s", null.forMessage()), u"(null)");
  const TextArgument empty(SBX_TEXT(""));
  EXPECT_TRUE(empty.isNullOrEmpty());
  EXPECT_NE(empty.c_str(), nullptr);
  EXPECT_EQ(Text(u"%s", empty.forMessage()), u"");
}

TEST(TextArgument, IsUsedWhereItLiesButForAnOddAddress) {
  const char16_t text[] = u"abc";
  EXPECT_EQ(TextArgument(reinterpret_cast<const SBXChar*>(text)).c_str(), text);
  alignas(2) unsigned char bytes[9] = {};
  std::memcpy(bytes + 1, text, sizeof text);
  const TextArgument copied(TextAt(bytes + 1));
  EXPECT_EQ(copied.view(), u"abc");
  EXPECT_NE(static_cast<const void*>(copied.c_str()), bytes + 1);
}

TEST(TextArgument, MayEndWithMemoryAtAnyAddress) {
  for (std::size_t units = 1; units < 40; ++units) {
    for (const bool odd : {false, true}) {
      SCOPED_TRACE(std::to_string(units) + (odd ? " odd" : ""));
      const std::size_t behind = odd ? 1 : 0;  // the zero ends a byte before memory does
      const EdgeOfMemory edge(units * 2 + behind);
      const WideString text(units - 1, u'x');
      std::memcpy(edge.data(), text.c_str(), units * 2);
      EXPECT_EQ(TextArgument(TextAt(edge.data())).view(), text);
      std::memset(edge.data(), 'x', units * 2 + behind);
      EXPECT_TRUE(TextArgument(TextAt(edge.data())).isNullOrEmpty()) << "without a zero it is none";
    }
  }
}

TEST(TextArgument, MayBeLongerThanAnyPageAtAnyAddress) {
  const WideString text(10'000, u'\u0100');  // its bytes are no zero unit at an odd address either
  std::vector<unsigned char> bytes(std::size_t{3} * 4096 + text.size() * 2 + 2);
  for (std::size_t offset = 0; offset < 4100; offset += 41) {
    std::memcpy(bytes.data() + offset, text.c_str(), text.size() * 2 + 2);
    const TextArgument argument(TextAt(bytes.data() + offset));
    ASSERT_EQ(argument.view().size(), text.size()) << offset;
    ASSERT_TRUE(argument.view() == text) << offset;
  }
}

TEST(TextArgument, AtTheTopOfTheAddressSpaceCountsAsNull) {
  for (std::uintptr_t back = 0; back < 5; ++back) {
    const std::uintptr_t address = UINTPTR_MAX - back;
    const SBXChar* text = nullptr;
    std::memcpy(&text, &address, sizeof text);
    EXPECT_TRUE(TextArgument(text).isNullOrEmpty());
  }
}

// --- numbers and results -----------------------------------------------------------------------------------

// A call that stores its result of `bytes` at any address; tells whether the call did what it does.
struct OutArgument {
  const char* what;
  std::size_t bytes;
  std::function<std::int32_t(void*)> call;
  std::int32_t stored;     // the code where the result can be stored
  std::int32_t notStored;  // and where it can't
};

class OutArguments : public ExportTest {
 protected:
  OutArguments() {
    EXPECT_EQ(SBXXMLToBinary(module.handle(), kPdbId, kRuleId, u"Job", kJobXml, &handle_), SBX_OK);
    EXPECT_EQ(SBXWriteXML(path_.c_str(), u"<a/>", 0), SBX_OK);
  }
  ~OutArguments() override { FreeAllHandles(); }

  std::vector<OutArgument> All() {
    const SBXModule carrier = module.handle();
    return {
        {"actualSize", 8,
         [=](void* at) {
           return SBXVerifyStructSize(carrier, kPdbId, kRuleId, u"Job", 16, static_cast<std::int64_t*>(at));
         },
         SBX_OK, SBX_OK},
        {"bufferOut", 8,
         [this](void* at) { return SBXHandleToBuffer(handle_, static_cast<void**>(at), nullptr); }, SBX_OK,
         SBX_OK},
        {"sizeOut", 4,
         [this](void* at) { return SBXHandleToBuffer(handle_, nullptr, static_cast<std::uint32_t*>(at)); },
         SBX_OK, SBX_OK},
        {"handleOut", 8,
         [=](void* at) {
           return SBXXMLToBinary(carrier, kPdbId, kRuleId, u"Job", kJobXml, static_cast<JSHandle**>(at));
         },
         SBX_OK, SBX_OK},
        {"xmlSize", 4,
         [this, carrier](void* at) {
           return SBXBinaryToXML_Text(carrier, kPdbId, kRuleId, u"Job", &job, 16, nullptr,
                                      static_cast<std::int32_t*>(at), 0);
         },
         SBX_E_BUFFER, SBX_E_PARAMETER},
        {"fileSize", 4,
         [this](void* at) { return SBXReadXML(path_.c_str(), nullptr, static_cast<std::int32_t*>(at)); },
         SBX_E_BUFFER, SBX_E_PARAMETER},
    };
  }

  JSHandle* handle_ = nullptr;
  ScratchFolder folder_;
  WideString path_ = folder_.Path(u"file.xml");
};

TEST_F(OutArguments, AreStoredWholeAtAnyAddress) {
  for (const OutArgument& argument : All()) {
    for (std::size_t offset = 0; offset < 9; ++offset) {
      SCOPED_TRACE(argument.what + std::string(" at ") + std::to_string(offset));
      alignas(16) unsigned char bytes[24];
      std::memset(bytes, 0, sizeof bytes);
      std::memset(bytes + offset + argument.bytes, 0x7F, sizeof bytes - offset - argument.bytes);
      EXPECT_EQ(argument.call(bytes + offset), argument.stored);
      const unsigned char* const first = bytes + offset;
      const unsigned char* const end = first + argument.bytes;
      const unsigned char* const last = std::end(bytes);
      EXPECT_TRUE(std::any_of(first, end, [](unsigned char byte) { return byte != 0; }));
      EXPECT_EQ(std::count(end, last, 0x7F), last - end) << "nothing behind it is touched";
    }
  }
}

TEST_F(OutArguments, MayEndWithMemory) {
  for (const OutArgument& argument : All()) {
    SCOPED_TRACE(argument.what);
    const EdgeOfMemory edge(argument.bytes);
    EXPECT_EQ(argument.call(edge.data()), argument.stored);
    EXPECT_TRUE(
        std::any_of(edge.data(), edge.data() + argument.bytes, [](unsigned char byte) { return byte != 0; }));
  }
}

TEST_F(OutArguments, ThatLeaveMemoryHalfWayCountAsNullAndNoPartIsStored) {
  for (const OutArgument& argument : All()) {
    for (std::size_t there = 0; there < argument.bytes; ++there) {
      SCOPED_TRACE(argument.what + std::string(" with ") + std::to_string(there));
      const EdgeOfMemory edge(there);
      EXPECT_EQ(argument.call(edge.data()), argument.notStored);
      EXPECT_EQ(std::count(edge.data(), edge.data() + there, 0), static_cast<std::ptrdiff_t>(there));
    }
  }
}

TEST_F(OutArguments, ThatCanBeReadButNotWrittenCountAsNull) {
  static const std::int64_t kReadOnly[2] = {0, 0};
  for (const OutArgument& argument : All()) {
    SCOPED_TRACE(argument.what);
    EXPECT_EQ(argument.call(const_cast<std::int64_t*>(kReadOnly)), argument.notStored);
    EXPECT_EQ(kReadOnly[0], 0);
  }
}

TEST_F(OutArguments, AHandleThatCannotBeStoredIsNotKept) {
  const std::int32_t before = HandleCount();
  const EdgeOfMemory edge(7);
  EXPECT_EQ(SBXXMLToBinary(module.handle(), kPdbId, kRuleId, u"Job", kJobXml,
                           reinterpret_cast<JSHandle**>(edge.data())),
            SBX_OK);
  EXPECT_EQ(HandleCount(), before);
}

// Makes a page read-only with the first line that a conversion logs once it has looked at its arguments.
class PageTaker : public IDBGLogOutput {
 public:
  explicit PageTaker(platform::GuardedPages& pages) : pages_(pages), before_(g_DBGLog) {
    g_DBGLog = DBGLogFacade{};
    g_DBGLog.fileOutput = this;
  }
  ~PageTaker() { g_DBGLog = before_; }
  PageTaker(const PageTaker&) = delete;
  PageTaker& operator=(const PageTaker&) = delete;

  void LogA(std::int32_t, std::int32_t, const char*) override {}
  void LogW(std::int32_t, std::int32_t, const char16_t* text) override {
    if (!WideView(text).starts_with(u"Convert from XML to binary begin"))
      pages_.Protect(0, platform::PageAccess::kReadOnly);
  }
  std::int32_t GetLogLevel() override { return 4; }

 private:
  platform::GuardedPages& pages_;
  DBGLogFacade before_;
};

// Nobody could free what nobody was told of.
TEST_F(OutArguments, AHandleWhosePlaceTurnsReadOnlyMeanwhileIsNotKept) {
  const std::int32_t before = HandleCount();
  platform::GuardedPages pages(1);
  auto** const place = reinterpret_cast<JSHandle**>(pages.PageAt(0));
  {
    const PageTaker taker(pages);
    EXPECT_EQ(SBXXMLToBinary(module.handle(), kPdbId, kRuleId, u"Job", kJobXml, place), SBX_OK);
  }
  EXPECT_EQ(*place, nullptr);
  EXPECT_EQ(HandleCount(), before);
}

}  // namespace
}  // namespace sbx::testing
