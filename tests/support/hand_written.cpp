#include "support/hand_written.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>

namespace sbx::testing {
namespace {

struct Element {
  WideString tag;
  WideString attributes;  // as written, with the blank before them
  WideString text;        // as written; of elements without children
  std::vector<Element> children;
};

// Reads the library's own layout: no blanks, no comments, text and children never mixed.
class Reader {
 public:
  explicit Reader(WideView xml) : xml_(xml) {}

  Element Read() {
    Element element;
    ++at_;  // <
    element.tag = Until(u" />");
    if (xml_[at_] == u' ') element.attributes = Until(u"/>");
    if (xml_[at_] == u'/') {
      at_ += 2;
      return element;
    }
    ++at_;  // >
    element.text = Until(u"<");
    while (xml_[at_ + 1] != u'/') element.children.push_back(Read());
    at_ = xml_.find(u'>', at_) + 1;
    return element;
  }

 private:
  // Attribute values of the library's hold none of these.
  WideString Until(WideView ends) {
    const std::size_t first = at_;
    at_ = std::min(xml_.find_first_of(ends, at_), xml_.size());
    return WideString(xml_.substr(first, at_ - first));
  }

  WideView xml_;
  std::size_t at_ = 0;
};

std::string Narrow(WideView text) {
  return {text.begin(), text.end()};
}
WideString Wide(const std::string& text) {
  return {text.begin(), text.end()};
}

class Writer {
 public:
  Writer(const RandomGraph& graph, Dice& dice) : graph_(graph), dice_(dice) {}

  WideString Document(const Element& document) {
    WideString out =
        dice_.OneIn(3) ? u"<!-- by hand -->\n<Script version=\"2\">" : u"<JobScriptXMLDescription>";
    const WideString end = out.ends_with(u"2\">") ? u"</Script>" : u"</JobScriptXMLDescription>";
    if (dice_.OneIn(3)) out += u"<Before/> ";
    Write(document.children.front(), out);
    if (dice_.OneIn(3)) out += u"\n<R0><second>1</second></R0>";
    return out + end;
  }

 private:
  static bool IsItem(const Element& element) { return element.tag[0] == u'i' || element.tag[0] == u'o'; }

  void Write(const Element& element, WideString& out) {
    out += u"<" + element.tag + element.attributes;
    if (dice_.OneIn(12)) out += u" note=\"x &gt; y\"";
    out += u">";
    if (element.children.empty()) {
      WriteLeaf(element, out);
    } else {
      WriteChildren(element, out);
    }
    out += u"</" + element.tag + u">";
  }

  // Items may stand in any order. What an item leads to that is a record of the very same name must stay
  // behind the others: its rules would speak for them. Entries and names keep their order.
  void WriteChildren(const Element& element, WideString& out) {
    std::vector<const Element*> children;
    for (const Element& child : element.children) children.push_back(&child);
    const bool isRecord = IsItem(element.children.front());
    if (isRecord) {
      for (std::size_t at = children.size() - 1; at > 1; --at)
        std::swap(children[at - 1], children[dice_.Roll(at)]);
    }
    for (const Element* const child : children) {
      Between(isRecord, out);
      Write(*child, out);
    }
    Between(isRecord, out);
  }

  void Between(bool isRecord, WideString& out) {
    if (dice_.OneIn(2)) out += u"\n  ";
    if (dice_.OneIn(10)) out += u"<!-- <i0>7</i0> -->";
    if (dice_.OneIn(20)) out += u"<?layout none?>";
    if (isRecord && dice_.OneIn(20)) out += u" words ";
    if (isRecord && dice_.OneIn(12)) out += u"<unknown flag=\"null\"><i0>7</i0></unknown>";
  }

  void WriteLeaf(const Element& element, WideString& out) {
    const Item* const item = element.attributes.empty() ? graph_.FindItem(element.tag) : nullptr;
    const bool isNumber = item != nullptr && IsWholeNumber(*item) && IsDecimal(element.text);
    const bool isArray = item != nullptr && IsArrayOfNumbers(*item) && !element.text.empty();
    const bool hasNote = !element.text.empty() && dice_.OneIn(8);
    if (hasNote) out += u"<!--5-->";
    if (isNumber && dice_.OneIn(2)) {
      out += NumberInAnotherForm(element.text);
    } else if (isArray && dice_.OneIn(2)) {
      out += ArrayInAnotherForm(element.text);
    } else {
      out += element.text;
    }
    if (hasNote) out += u"<![CDATA[]]>";
  }

  static bool IsPlainNumbers(const Item& item) {
    return item.role == Item::Role::kPlain && item.shape.kind == Shape::Kind::kScalar &&
           item.shape.type != u"float";
  }
  // One value in brackets is an array, none is not.
  static bool IsArray(const Item& item) {
    return item.type.find(u'[') != WideString::npos && item.type.find(u"[0]") == WideString::npos;
  }
  static bool IsWholeNumber(const Item& item) { return IsPlainNumbers(item) && !IsArray(item); }
  static bool IsArrayOfNumbers(const Item& item) { return IsPlainNumbers(item) && IsArray(item); }
  // What the library shows with words behind it counts too.
  static bool IsDecimal(WideView text) {
    const std::size_t end = text.find_first_not_of(u"-0123456789");
    return !text.empty() && end != 0 && (end == WideView::npos || text[end] == u' ');
  }

  WideString NumberInAnotherForm(WideView text) {
    const std::string digits = Narrow(text.substr(0, text.find(u' ')));
    const bool isNegative = digits[0] == '-';
    const std::uint64_t value = isNegative
                                    ? static_cast<std::uint64_t>(std::strtoll(digits.c_str(), nullptr, 10))
                                    : std::strtoull(digits.c_str(), nullptr, 10);
    switch (dice_.Roll(7)) {
      case 0:
        return u"0x" + Hex(value, u"0123456789ABCDEF");
      case 1:
        return u"\t 0X" + Hex(value, u"0123456789abcdef");
      case 2:
        return Wide(isNegative ? "-000" + digits.substr(1) : "+" + digits);
      case 3:
        return Wide("  " + digits + "\t(words) 9");
      case 4:
        return Wide(digits + "(words)");
      case 5:
        return Wide(digits) + u" \u4E2D";
      default:
        return Wide(isNegative ? digits + " " : "00" + digits);
    }
  }

  static WideString Hex(std::uint64_t value, WideView digits) {
    WideString text;
    do {
      text.insert(text.begin(), digits[value & 0xF]);
      value >>= 4;
    } while (value != 0);
    return text;
  }

  WideString ArrayInAnotherForm(WideView text) {
    WideString out = dice_.OneIn(3) ? u"  " : u"";
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t end = std::min(text.find(u' ', at), text.size());
      if (at != 0) out += dice_.OneIn(3) ? u"   " : u" ";
      const WideString number = NumberInAnotherForm(text.substr(at, end - at));
      // Blanks and words would part the number or end the array.
      const bool fits = number.find_first_of(u" \t(") == WideString::npos;
      out += fits ? number : WideString(text.substr(at, end - at));
      at = end + 1;
    }
    return out + (dice_.OneIn(3) ? u" (and words) 5" : u"");
  }

  const RandomGraph& graph_;
  Dice& dice_;
};

}  // namespace

WideString AsWrittenByHand(const WideString& xml, const RandomGraph& graph, Dice& dice) {
  return Writer(graph, dice).Document(Reader(xml).Read());
}

}  // namespace sbx::testing
