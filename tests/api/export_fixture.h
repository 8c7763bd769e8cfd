// A module of documents written in the test, and the verbs of calling the exports with it.
#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "api/conversion_state.h"
#include "api/last_error.h"
#include "base/format.h"
#include "base/wide_text.h"
#include "support/carried_documents.h"
#include "support/exports.h"
#include "support/recording_log.h"

namespace sbx::testing {

inline constexpr std::uint32_t kPdbId = 101;
inline constexpr std::uint32_t kRuleId = 102;

// A module that carries two documents; both may be changed between calls.
class TestModule {
 public:
  explicit TestModule(WideString descriptions, WideString rules = u"<ConvertRuleDesc/>")
      : descriptions_(std::move(descriptions)), rules_(std::move(rules)) {}

  void SetDescriptions(WideString text) {
    carried_.reset();
    descriptions_ = std::move(text);
  }
  void SetRules(WideString text) {
    carried_.reset();
    rules_ = std::move(text);
  }

  SBXModule handle() {
    if (carried_ == nullptr) {
      carried_ = std::make_unique<CarriedDocuments>(descriptions_, rules_, std::uint16_t{kPdbId},
                                                    std::uint16_t{kRuleId});
    }
    return carried_->handle();
  }

 private:
  WideString descriptions_;
  WideString rules_;
  std::unique_ptr<CarriedDocuments> carried_;
};

// The first items of a record "Job": an int "Number" and a text "Name".
struct Job {
  std::int32_t number = 7;
  std::int32_t reserved = 0;
  const char16_t* name = u"Poster";
};

inline constexpr const char16_t* kJobDescriptions =
    u"<StructureDescription>"
    u"<JSStruct name=\"Job\" size=\"16\" numOfItems=\"2\">"
    u"<JSStructItem name=\"Number\" type=\"int\" size=\"4\" offset=\"0\"/>"
    u"<JSStructItem name=\"Name\" type=\"wchar_t*\" size=\"8\" offset=\"8\"/>"
    u"</JSStruct>"
    u"<JSStruct name=\"Empty\" size=\"4\" numOfItems=\"0\"/>"
    u"</StructureDescription>";

inline constexpr const char16_t* kJobXml =
    u"<JobScriptXMLDescription><Job><Number>7</Number><Name>Poster</Name></Job></JobScriptXMLDescription>";

template <class... Args>
WideString Text(WideView format, const Args&... args) {
  return WideString(Message(format, args...).view());
}

inline WideString LastError() {
  char16_t text[4096];
  SBXGetLastError(text, 4096);
  return text;
}

// An address where no memory is.
template <class Pointer>
Pointer Nowhere() {
  return reinterpret_cast<Pointer>(0x30);  // NOLINT(performance-no-int-to-ptr)
}

class ExportTest : public ::testing::Test {
 protected:
  ExportTest() { StoreLastErrorText(u"(nothing set)"); }

  std::vector<LogLine> Lines() { return log.lines(); }
  // The lines of one level.
  std::vector<WideString> Lines(std::int32_t level) {
    std::vector<WideString> lines;
    for (const LogLine& line : log.lines()) {
      if (line.level == level) lines.push_back(line.text);
    }
    return lines;
  }
  using Texts = std::vector<WideString>;
  using Log = std::vector<LogLine>;

  ScopedLog log;
  TestModule module{kJobDescriptions};
  Job job;
};

}  // namespace sbx::testing
