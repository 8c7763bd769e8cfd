// A held element and the enumeration of its children, as the reading code and the rules pass them around.
#pragma once

#include <optional>
#include <utility>

#include "base/result_codes.h"
#include "base/wide_text.h"
#include "xml/document.h"

namespace sbx {

// Where an element's "flag" attribute matters to a reader.
inline constexpr WideView kFlagAttribute = u"flag";

class XMLElementRef {
 public:
  XMLElementRef() noexcept = default;
  explicit XMLElementRef(xml::NodeRef element) noexcept : element_(std::move(element)) {}

  explicit operator bool() const noexcept { return static_cast<bool>(element_); }
  const xml::NodeRef& element() const noexcept { return element_; }

 private:
  xml::NodeRef element_;
};

// The first child element of a name; an empty reference if there is none, or the name is null.
XMLElementRef ChildByName(const XMLElementRef& ref, WideView name);

// The element's text with its "flag" undone; empty where it can't be read.
void ReadContent(const XMLElementRef& ref, WideString& out);

// Sets the element's content, in byte-string form where XML can't carry the text. `ref` must hold an element.
Status WriteContent(const XMLElementRef& ref, WideView text);

class XMLChildEnum {
 public:
  // Null list: the query failed, and there is no child.
  explicit XMLChildEnum(xml::NodeList list) noexcept : list_(std::move(list)) {}

  // Moves to the next child element; false, with no current child left, at the end.
  bool Next();
  const XMLElementRef& current() const noexcept { return current_; }
  std::size_t Length() const { return list_.Length(); }

 private:
  xml::NodeList list_;
  XMLElementRef current_;
};

// Nothing, with a log line, for an empty reference.
std::optional<XMLChildEnum> EnumChildren(const XMLElementRef& ref);

}  // namespace sbx
