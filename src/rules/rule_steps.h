// Steps that several kinds of rules share.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "base/result_codes.h"
#include "base/wide_text.h"
#include "desc/structure_description.h"
#include "rules/number_text.h"
#include "rules/value_paths.h"
#include "rules/value_texts.h"
#include "xml/xml_element_ref.h"

namespace sbx {

// The text about to be written into an item, at most 255 characters. Both ways to compose one return false if
// it does not fit; a rule then stops and rewrites nothing.
class TypeText {
 public:
  // From a format without arguments.
  [[nodiscard]] bool Compose(WideView format) noexcept;
  // A number between two texts.
  [[nodiscard]] bool Compose(WideView before, std::int32_t number, WideView after) noexcept;

  WideView view() const noexcept { return {text_, units_}; }

 private:
  std::size_t units_ = 0;
  char16_t text_[256];  // the last one for a terminator
};

// A value as the document has it. Holds until the content of an element changes.
class ValueText {
 public:
  ValueText() noexcept = default;
  explicit ValueText(WideString text) noexcept : own_(std::move(text)) {}
  explicit ValueText(const KeptText& kept) noexcept : kept_(&kept) {}

  WideView text() const noexcept { return kept_ == nullptr ? own_ : kept_->text; }
  std::uint32_t Number() const noexcept { return kept_ == nullptr ? ParseNumberText(own_) : kept_->number; }

 private:
  WideString own_;
  const KeptText* kept_ = nullptr;
};

// The text of the element that a path leads to; empty where there is none. The status is that of the walk,
// and `text` is set on success only.
Status ReadValueText(JSPDBMemDesc& set, JSStructDesc& record, const XMLElementRef& element,
                     const ValuePath& ref, ValueText& text);

// The number of child elements of an element; 0 if they can't be had.
std::int32_t CountChildren(const XMLElementRef& element);

// A number of things counted in a document as the 32 bits that type texts and counts have; it stays at their
// end.
constexpr std::int32_t CountOf(std::size_t things) noexcept {
  return static_cast<std::int32_t>(std::min<std::size_t>(things, std::numeric_limits<std::int32_t>::max()));
}

// Brings the count that `num` leads to in line with what was counted, so that a document edited by hand is
// rebuilt consistently. Nothing is written if the walk fails.
void ReviseCount(JSPDBMemDesc& set, JSStructDesc& record, const XMLElementRef& element, const ValuePath& num,
                 std::int32_t count);

}  // namespace sbx
