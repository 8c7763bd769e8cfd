#include "rules/rule_steps.h"

#include <charconv>
#include <iterator>

#include "api/conversion_state.h"
#include "base/format.h"
#include "base/numbers.h"
#include "diag/dbg_log_facade.h"

namespace sbx {
namespace {

// Whether the element can be told from all others by its address.
bool LivesAsLongAsItsDocument(const XMLElementRef& element) noexcept {
  return !element.element().document()->countsReferences();
}

}  // namespace

bool TypeText::Compose(WideView format) noexcept {
  bool complete = false;
  units_ = FormatTo(text_, std::size(text_), format, {}, &complete);
  return complete;
}

bool TypeText::Compose(WideView before, std::int32_t number, WideView after) noexcept {
  char digits[12];
  const char* const end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
  const std::size_t length = before.size() + static_cast<std::size_t>(end - digits) + after.size();
  if (length >= std::size(text_)) return false;
  char16_t* to = std::copy(before.begin(), before.end(), text_);
  to = std::copy(static_cast<const char*>(digits), end, to);
  std::copy(after.begin(), after.end(), to);
  units_ = length;
  return true;
}

Status ReadValueText(JSPDBMemDesc& set, JSStructDesc& record, const XMLElementRef& element,
                     const ValuePath& ref, ValueText& text) {
  XMLElementRef found;
  const Status status = GetValueFromXML(set, &record, element, ref, found);
  if (status != kOk) return status;
  WideString own;
  if (!found) {
    text = ValueText();
  } else if (g_conversion.valueTexts != nullptr && LeadsFromRoot(ref) && LivesAsLongAsItsDocument(found)) {
    text = ValueText(g_conversion.valueTexts->Of(found));
  } else {
    ReadContent(found, own);
    text = ValueText(std::move(own));
  }
  return kOk;
}

std::int32_t CountChildren(const XMLElementRef& element) {
  const std::optional<XMLChildEnum> children = EnumChildren(element);
  return children ? CountOf(children->Length()) : 0;
}

void ReviseCount(JSPDBMemDesc& set, JSStructDesc& record, const XMLElementRef& element, const ValuePath& num,
                 std::int32_t count) {
  ValueText text;
  if (ReadValueText(set, record, element, num, text) != kOk) return;
  const WideString before(text.text());
  WideString after;
  AppendInt(after, count);
  if (SetValueInXML(set, &record, element, num, after) != kOk) return;
  g_DBGLog.Printf(4, u"{Revise value of %s from %s to %s}", num.ref(), before, after);
}

}  // namespace sbx
