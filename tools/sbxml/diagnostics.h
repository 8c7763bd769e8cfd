// What the command has to say about documents: one line each, as text or as a JSON object.
//
//   job.xml:3:14: warning: JobScript/copies: 70000 does not fit: 4464 is stored (offset 70, ushort)
//   [value-cut]
//
// docs/sbxml.md tables the ids and the fields, docs/lint.md the ids of lint; all are relied on by scripts.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace sbx::tool {

enum class Severity { kError, kWarning, kNote };

// Every id, in the order of the tables in docs/sbxml.md and docs/lint.md.
enum class Id {
  kUsage,
  kFileUnreadable,
  kNotWellFormed,
  kDoesNotLoad,
  kDoesNotSurvive,
  kBadDescriptions,
  kBadRules,
  kOutputFailed,
  kInternal,
  kBrokenEncoding,
  kDeclaredEncoding,
  kTextAfterZero,
  kIgnoredRoot,
  kUnknownElement,
  kMissingItem,
  kReplacedItem,
  kIgnoredAttribute,
  kIgnoredText,
  kIgnoredContent,
  kFlagWithoutEffect,
  kBadByteString,
  kTypeRefused,
  kEmptyValue,
  kNotANumber,
  kTextBehindNumber,
  kValueCut,
  kTextCut,
  kMissingEntries,
  kSurplusEntries,
  kRevisedCount,
  kStaleCount,
  kRuleNotApplied,
  kPresentationIgnored,
  kPresentationRead,
  kChangedValue,
  kLostElement,
  kAnalysisEnded,

  // Of descriptions and rules by themselves: lint alone.
  kWrongRoot,
  kNoName,
  kNoType,
  kRecordSize,
  kItemSize,
  kItemOffset,
  kItemCount,
  kDuplicateRecord,
  kDuplicateRules,
  kDuplicateItem,
  kNumberText,
  kNestedElement,
  kMisplacedElement,
  kUnreadAttribute,
  kUnknownRoot,
  kElementName,
  kRecordNamedType,
  kEmptyRecord,
  kEndlessRecord,
  kBeyondRecord,
  kOverlap,
  kUnknownType,
  kBadType,
  kTypeSize,
  kZeroCount,
  kOutOnly,
  kBackOnly,
  kNarrowText,
  kRestrictNoCommand,
  kRestrictUnknown,
  kRestrictNoEffect,
  kRestrictNever,
  kRestrictDestroys,
  kRestrictSaturates,
  kRestrictFirstEntry,
  kRestrictReplaced,
  kNamelistWithoutRule,
  kUnknownKind,
  kUnknownRecord,
  kUnknownItem,
  kNeverRuns,
  kMissingAttribute,
  kHalfCondition,
  kOneSidedCondition,
  kConditionText,
  kConditionNever,
  kConditionAlways,
  kPathUnresolved,
  kPathSize,
  kPathOverflow,
  kPathEnd,
  kPathSidesDiffer,
  kPathTwoPointers,
  kPathFirstEntry,
  kAltertoPercent,
  kTypeTooLong,
  kRuleOverridden,
  kRuleNoEffect,
  kStickyType,
  kCountedNumbers,
  kNameListType,
  kRelocationSame,
  kRelocationSize,
  kRelocationCircle,
  kRelocationLost,
  kRelocatedOnce,
  kRootRelocation,
};

struct IdInfo {
  std::string_view text;
  Severity severity;
};
const IdInfo& InfoOf(Id id) noexcept;

struct Place {
  std::string file = {};
  std::uint32_t line = 0;  // from 1; 0 where no place in the file can be named
  std::uint32_t column = 0;
};

struct Diagnostic {
  Id id = Id::kInternal;
  Place place = {};
  std::string message = {};

  // What it is about; empty where it is about no record or item.
  std::string path = {};  // of records and items, from the root record
  std::string record = {};
  std::string item = {};
  std::string type = {};
  std::optional<std::int32_t> offset = {};  // bytes into the record

  // What the library said of it.
  std::string function = {};
  std::optional<std::int32_t> code = {};
  std::string libraryText = {};
};

enum class Form { kText, kColouredText, kJson };

// Where diagnostics go. Keeps count; past the limit they are counted only.
class Diagnostics {
 public:
  // `limit` 0 shows all.
  Diagnostics(std::ostream& out, Form form, std::uint32_t limit) noexcept
      : out_(out), form_(form), limit_(limit) {}
  Diagnostics(const Diagnostics&) = delete;
  Diagnostics& operator=(const Diagnostics&) = delete;

  void Report(const Diagnostic& diagnostic);

  std::uint32_t told() const noexcept { return told_; }  // the hidden ones included
  // What others told already counts toward the limit.
  void CountAsTold(std::uint32_t told) noexcept { told_ = told; }
  // One last line that says how many were not shown, if any.
  void TellHidden();

 private:
  std::ostream& out_;
  Form form_;
  std::uint32_t limit_;
  std::uint32_t told_ = 0;
};

// Ends a command: the diagnostic is reported by whoever catches it.
struct CommandFailure {
  int exitCode;
  Diagnostic diagnostic;
};

// "SBX_E_CONTENT" for -9, and so on.
std::string_view NameOfCode(std::int32_t code) noexcept;

}  // namespace sbx::tool
