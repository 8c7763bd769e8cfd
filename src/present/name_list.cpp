#include "present/name_list.h"

#include <cstddef>
#include <utility>

#include "base/numbers.h"

namespace sbx {
namespace {

constexpr std::size_t kNone = WideView::npos;
constexpr WideView kNameElement = u"Name";
constexpr std::size_t kNameElementUnits = 13;  // <Name></Name>

void AppendCode(WideString& text, WideView token) {
  text.push_back(static_cast<char16_t>(ReadLong(token)));
}

// The plain form: a code of 0 ends the text. The last code counts also when it is 0.
WideString TextOf(WideView numbers) {
  WideString text;
  while (true) {
    const std::size_t blank = numbers.find(u' ');
    const WideView token = numbers.substr(0, blank);
    if (blank != kNone && token == u"0") break;
    AppendCode(text, token);
    if (blank == kNone) break;
    numbers.remove_prefix(blank + 1);
  }
  return text;
}

// The codes that have a blank behind them.
void ReadName(WideView numbers, WideString& name) {
  name.clear();
  for (std::size_t blank = numbers.find(u' '); blank != kNone; blank = numbers.find(u' ')) {
    AppendCode(name, numbers.substr(0, blank));
    numbers.remove_prefix(blank + 1);
  }
}

// Walks the names in a run of codes. The last one stays in hand: asked again, it comes again.
class NameCursor {
 public:
  explicit NameCursor(WideView numbers) : rest_(numbers) {}

  // False where no code of 0 ends a name.
  bool Next() {
    if (isLast_) return true;
    const std::size_t end = rest_.find(u" 0");
    if (rest_.size() < 2 || end == kNone) return false;
    isLast_ = end + 3 >= rest_.size();
    ReadName(isLast_ ? rest_ : rest_.substr(0, end + 1), name_);
    if (!isLast_) rest_.remove_prefix(end + 3);
    return true;
  }
  const WideString& name() const noexcept { return name_; }

 private:
  WideView rest_;
  WideString name_;
  bool isLast_ = false;
};

// False at the first step that fails; the names appended until then stay.
bool AppendNames(std::int32_t count, WideView numbers, const xml::NodeRef& element, ElementContent& written) {
  xml::Document& document = *element.document();
  NameCursor names(numbers);
  for (std::int32_t done = 0; done < count; ++done) {
    written.Count(kNameElementUnits);
    const xml::NodeRef child = document.CreateElement(kNameElement);
    if (!child || !document.AppendChild(element.get(), child.get())) return false;
    if (!names.Next() || !written.Put(child, names.name())) return false;
  }
  return true;
}

void RenderCounted(std::int32_t count, WideString& content, const xml::NodeRef& element,
                   ElementContent& written) {
  if (count == 0 || count > kNameLimit) return;
  WideString numbers = std::exchange(content, WideString());
  written.Put(element, u"");
  if (count < 0) return;
  if (!AppendNames(count, numbers, element, written)) content = std::move(numbers);
}

void RenderPlain(WideString& content, const xml::NodeRef& element, ElementContent& written) {
  WideString text = TextOf(content);
  content.clear();
  if (text.empty()) text = u" ";  // the element is not to be empty
  written.Put(element, text);
}

}  // namespace

void RenderNameList(WideString& content, const JSStructItemDesc& item, const xml::NodeRef& element,
                    ElementContent& written) {
  if (!element) return;
  const WideView restrictText = item.restrictText();
  const std::size_t colon = restrictText.find(u':');
  if (colon != kNone && restrictText.find(u']') != kNone) {
    RenderCounted(ReadLong(restrictText.substr(colon + 1)), content, element, written);
  } else {
    RenderPlain(content, element, written);
  }
}

}  // namespace sbx
