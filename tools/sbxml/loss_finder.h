// Tells what the reader keeps silent about, item by item, while a walk goes through a document; and notes
// what the comparison with the document that comes back has to know of each element.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sbxml/diagnostics.h"
#include "sbxml/documents.h"
#include "sbxml/reader_walk.h"

namespace sbx::tool {

// What is known of one element after the walk.
struct ElementNote {
  enum class Content : std::uint8_t { kText, kNumbers, kEntries };

  Content content = Content::kText;
  bool isPassedOver = false;             // it and all in it is of no effect
  bool isExplained = false;              // its own value has been told of
  const PrimaryType* primary = nullptr;  // of numbers
  std::optional<std::size_t> entry;      // the place in an array of records
  // Of items, as in a diagnostic. The path is worked out where it is needed: it grows with the depth.
  std::string record;
  std::string item;
  std::string type;
  std::optional<std::int32_t> offset;
};

using ElementNotes = std::vector<ElementNote>;  // by index in the source tree

// Fills in what the notes know of an element that is an item.
void DescribeItem(const SourceTree& source, const ElementNotes& notes, std::size_t element,
                  Diagnostic& finding);

class LossFinder final : public WalkListener {
 public:
  LossFinder(const SourceFile& file, const SourceTree& source)
      : file_(file), source_(source), notes_(source.nodes().size()) {}

  // In the order of the file's places.
  std::vector<Diagnostic> TakeFindings();
  const ElementNotes& notes() const noexcept { return notes_; }

  void EnterDocument(std::size_t element) override;
  void EnterRecord(const RecordPlace& place) override;
  void LeaveRecord(const RecordPlace& place, std::span<const JSStructItemDesc* const> missing) override;
  void NullItem(const ItemPlace& place) override;
  void RefusedItem(const ItemPlace& place) override;
  void EnterItem(const ItemPlace& place) override;
  void LeaveItem(const ItemPlace& place, std::span<const std::size_t> entries) override;
  void UnknownElement(const RecordPlace& place, std::size_t element) override;
  void IgnoredRoot(std::size_t element) override;
  void RuleTrouble(const RecordPlace& place, const WideString& line) override;
  void RevisedText(std::size_t element, const WideString& before, const WideString& after,
                   bool isLate) override;

 private:
  void NoteItem(const ItemPlace& place);
  void NumberEntries(std::size_t array);
  Diagnostic& Tell(Id id, std::size_t element, std::string message);
  void Tell(Id id, const ItemPlace& place, std::string message);
  // The same for what leaves the value as it is.
  void Remark(Id id, const ItemPlace& place, std::string message);
  void CheckOwnElement(const RecordPlace& place);
  void CheckAttributes(const ItemPlace& place);
  void CheckFlag(const ItemPlace& place);
  void CheckNames(const ItemPlace& place);
  void CheckFate(const ItemPlace& place);
  void CheckByteString(const ItemPlace& place);
  void CheckElements(const ItemPlace& place);
  void CheckScalar(const ItemPlace& place);
  void CheckNumbers(const ItemPlace& place);
  void CheckNumber(const ItemPlace& place, WideView text, const std::string& entry);
  bool CheckPresentation(const ItemPlace& place, const std::vector<WideView>& tokens, std::size_t before);
  void CheckCount(const ItemPlace& place, std::size_t there);
  void CheckNameList(const ItemPlace& place, const std::vector<WideView>& tokens);

  const SourceFile& file_;
  const SourceTree& source_;
  ElementNotes notes_;
  std::vector<Diagnostic> findings_;
};

}  // namespace sbx::tool
