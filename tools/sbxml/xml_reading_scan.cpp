// XML 1.0 without validation: what is well formed, its internal entities and its declared attributes.
// Declarations of elements and notations, which change nothing, are passed over unread.
#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "sbxml/xml_reading.h"
#include "xml/native/xml_names.h"

namespace sbx::tool {
namespace {

using xml::native::IsNameStart;
using xml::native::IsNameUnit;
using xml::native::ParsedAttribute;
using xml::native::ParseEvents;
using xml::native::ReadingReport;
using xml::native::TextPlace;

constexpr WideView kSpace = u" \t\r\n";
constexpr std::size_t kDeepestEntity = 64;
// What entities and defaults may grow to: beyond this, a hundred times the document.
constexpr std::uint64_t kFreeUnits = std::uint64_t{4} * 1024 * 1024;
constexpr std::uint64_t kUnitsForEach = 100;

struct Fault {
  TextPlace place;
  const char* words;
};

constexpr const char* kInvalidToken = "not well-formed (invalid token)";
constexpr const char* kUnclosedToken = "unclosed token";
constexpr const char* kLoneSurrogate = "half of a surrogate pair";
constexpr const char* kBadDeclaration = "XML declaration not well-formed";
constexpr const char* kRefused = "a reference or a declaration that is refused";

bool IsSpace(char16_t unit) noexcept {
  return kSpace.find(unit) != WideView::npos;
}
bool IsHigh(char16_t unit) noexcept {
  return (unit & 0xFC00) == 0xD800;
}
bool IsLow(char16_t unit) noexcept {
  return (unit & 0xFC00) == 0xDC00;
}
bool IsCharacter(char32_t code) noexcept {
  if (code < 0x20) return code == u'\t' || code == u'\n' || code == u'\r';
  return (code < 0xD800 || code > 0xDFFF) && code != 0xFFFE && code != 0xFFFF && code <= 0x10FFFF;
}

void Append(WideString& out, char32_t code) {
  if (code < 0x10000) return out.push_back(static_cast<char16_t>(code));
  out.push_back(static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)));
  out.push_back(static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
}

// A piece of source text that is read from front to back, its line ends made one LF each.
class Source {
 public:
  explicit Source(WideView text) : text_(text) {}

  bool AtEnd() const noexcept { return at_ == text_.size(); }
  char16_t Unit() const noexcept { return AtEnd() ? u'\0' : text_[at_]; }
  bool StandsAt(WideView part) const noexcept { return text_.substr(at_).starts_with(part); }
  TextPlace place() const noexcept { return place_; }

  // Reads one character; the text of a document is checked as it is read.
  char32_t Take() {
    const char16_t unit = text_[at_];
    char32_t code = unit;
    std::size_t units = 1;
    if (IsHigh(unit) && at_ + 1 < text_.size() && IsLow(text_[at_ + 1])) {
      code = 0x10000 + ((static_cast<char32_t>(unit) - 0xD800) << 10) + (text_[at_ + 1] - 0xDC00U);
      units = 2;
    }
    if (IsHigh(unit) ? units == 1 : IsLow(unit)) throw Fault{place_, kLoneSurrogate};
    if (!IsCharacter(code)) throw Fault{place_, kInvalidToken};
    if (unit == u'\r' && at_ + 1 < text_.size() && text_[at_ + 1] == u'\n') units = 2;
    at_ += units;
    if (code == u'\r' || code == u'\n') {
      place_ = {place_.line + 1, 1};
      return U'\n';
    }
    ++place_.column;
    return code;
  }
  void Skip(std::size_t characters) {
    while (characters-- > 0) Take();
  }
  bool SkipSpace() {
    const std::size_t before = at_;
    while (!AtEnd() && IsSpace(Unit())) Take();
    return at_ != before;
  }
  // The text up to a closing mark, which is skipped.
  WideString UpTo(WideView mark) {
    WideString text;
    while (!StandsAt(mark)) {
      if (AtEnd()) throw Fault{place_, kUnclosedToken};
      Append(text, Take());
    }
    Skip(mark.size());
    return text;
  }
  WideString Name() {
    WideString name;
    if (!IsNameStart(Unit())) throw Fault{place_, AtEnd() ? kUnclosedToken : kInvalidToken};
    while (!AtEnd() && IsNameUnit(Unit())) Append(name, Take());
    return name;
  }
  void Expect(WideView part) {
    if (!StandsAt(part)) throw Fault{place_, AtEnd() ? kUnclosedToken : kInvalidToken};
    Skip(part.size());
  }
  // The text between quotes, as it stands.
  WideString Quoted() {
    const char16_t quote = Unit();
    if (quote != u'"' && quote != u'\'') throw Fault{place_, AtEnd() ? kUnclosedToken : kInvalidToken};
    Take();
    return UpTo(WideView(&quote, 1));
  }

 private:
  WideView text_;
  std::size_t at_ = 0;
  TextPlace place_;
};

struct DeclaredAttribute {
  WideString name;
  bool isTokens = false;               // blanks at its ends go, and runs of them are one
  std::optional<WideString> standard;  // its default
};

class Scanner {
 public:
  Scanner(WideView text, ParseEvents& events, ReadingReport& report)
      : events_(events),
        units_(std::max<std::uint64_t>(kFreeUnits, kUnitsForEach * text.size())),
        source_(text) {
    report.here = [this] { return event_; };
  }

  // What is not closed is told of where it begins.
  TextPlace PlaceOf(const Fault& fault) const noexcept {
    return fault.words == kUnclosedToken ? event_ : fault.place;
  }

  void Scan() {
    if (source_.StandsAt(u"\uFEFF")) source_.Skip(1);
    if (source_.StandsAt(u"<?xml") && IsDeclaration()) ScanDeclaration();
    ScanMisc(/*mayDeclareType=*/true);
    if (source_.AtEnd()) throw Fault{source_.place(), "no element found"};
    ScanContent(source_, 0);
    ScanMisc(/*mayDeclareType=*/false);
    if (!source_.AtEnd()) throw Fault{source_.place(), "junk after document element"};
  }

 private:
  bool IsDeclaration() const {
    Source ahead = source_;
    ahead.Skip(5);
    return IsSpace(ahead.Unit());
  }

  // Version, encoding and standalone, in this order; all but the first may be missing.
  void ScanDeclaration() {
    const TextPlace place = source_.place();
    source_.Skip(5);
    const WideString text = source_.UpTo(u"?>");
    try {
      Source inside(text);
      inside.SkipSpace();
      DeclaredValue(inside, u"version");
      bool hasMore = inside.SkipSpace();
      if (hasMore && inside.StandsAt(u"encoding")) {
        const WideString encoding = DeclaredValue(inside, u"encoding");
        if (encoding.empty() || !IsAsciiLetter(encoding[0])) throw Fault{place, kBadDeclaration};
        hasMore = inside.SkipSpace();
      }
      if (hasMore && inside.StandsAt(u"standalone")) {
        const WideString standalone = DeclaredValue(inside, u"standalone");
        if (standalone != u"yes" && standalone != u"no") throw Fault{place, kBadDeclaration};
        inside.SkipSpace();
      }
      if (!inside.AtEnd()) throw Fault{place, kBadDeclaration};
    } catch (const Fault&) {
      throw Fault{place, kBadDeclaration};
    }
  }

  static bool IsAsciiLetter(char16_t unit) noexcept {
    return (unit | 0x20) >= u'a' && (unit | 0x20) <= u'z' && unit < 0x80;
  }

  static WideString DeclaredValue(Source& source, WideView name) {
    source.Expect(name);
    source.SkipSpace();
    source.Expect(u"=");
    source.SkipSpace();
    WideString value = source.Quoted();
    const bool isPlain = std::all_of(value.begin(), value.end(), [](char16_t unit) {
      return IsAsciiLetter(unit) || (unit >= u'0' && unit <= u'9') ||
             WideView(u".-_").find(unit) != WideView::npos;
    });
    if (!isPlain) throw Fault{source.place(), kBadDeclaration};
    return value;
  }

  // What stands around the document element.
  void ScanMisc(bool mayDeclareType) {
    for (;;) {
      source_.SkipSpace();
      event_ = source_.place();
      if (source_.StandsAt(u"<!--")) {
        ScanComment(source_, true);
      } else if (source_.StandsAt(u"<?")) {
        ScanInstruction(source_, true);
      } else if (mayDeclareType && source_.StandsAt(u"<!DOCTYPE")) {
        ScanType();
        mayDeclareType = false;
      } else {
        return;
      }
    }
  }

  // --- content ---------------------------------------------------------------------------------------------

  // The document element, or, within an entity, as much as it holds.
  void ScanContent(Source& source, std::size_t depth) {
    const std::size_t before = open_.size();
    do {
      if (source.AtEnd()) {
        if (depth == 0) throw Fault{source.place(), "no element found"};
        break;
      }
      if (depth == 0) event_ = source.place();
      if (source.Unit() == u'<') {
        ScanMarkup(source, before);
      } else if (source.Unit() == u'&' && !open_.empty()) {
        ScanReference(source, depth);
      } else {
        ScanText(source);
      }
    } while (depth != 0 || !open_.empty());
    if (open_.size() != before) throw Fault{event_, "asynchronous entity"};
  }

  void ScanMarkup(Source& source, std::size_t atLeastOpen) {
    if (source.StandsAt(u"<!--")) return ScanComment(source, true);
    if (source.StandsAt(u"<?")) return ScanInstruction(source, true);
    if (source.StandsAt(u"<![CDATA[") && !open_.empty()) return ScanSection(source);
    if (source.StandsAt(u"</")) return ScanEndTag(source, atLeastOpen);
    ScanStartTag(source);
  }

  void ScanText(Source& source) {
    if (open_.empty()) throw Fault{source.place(), kInvalidToken};
    WideString text;
    while (!source.AtEnd() && source.Unit() != u'<' && source.Unit() != u'&') {
      if (source.StandsAt(u"]]>")) throw Fault{source.place(), kInvalidToken};
      Append(text, source.Take());
    }
    events_.Characters(text);
  }

  void ScanSection(Source& source) {
    source.Skip(9);
    const WideString text = source.UpTo(u"]]>");
    events_.StartCdata();
    if (!text.empty()) events_.Characters(text);
    events_.EndCdata();
  }

  void ScanComment(Source& source, bool isTold) {
    const TextPlace place = source.place();
    source.Skip(4);
    const WideString text = source.UpTo(u"--");
    if (source.Unit() != u'>') throw Fault{source.AtEnd() ? place : source.place(), kInvalidToken};
    source.Take();
    if (!isTold) return;
    event_ = place;
    events_.Comment(text);
  }

  void ScanInstruction(Source& source, bool isTold) {
    const TextPlace place = source.place();
    source.Skip(2);
    const WideString target = source.Name();
    const bool isReserved = target.size() == 3 && (target[0] | 0x20) == u'x' && (target[1] | 0x20) == u'm' &&
                            (target[2] | 0x20) == u'l';
    if (isReserved) throw Fault{place, "XML or text declaration not at start of entity"};
    if (!source.SkipSpace() && !source.StandsAt(u"?>")) throw Fault{source.place(), kInvalidToken};
    const WideString data = source.UpTo(u"?>");
    if (!isTold) return;
    if (open_.empty()) event_ = place;
    events_.Instruction(target, data);
  }

  void ScanEndTag(Source& source, std::size_t atLeastOpen) {
    source.Skip(2);
    const TextPlace place = source.place();
    const WideString name = source.Name();
    source.SkipSpace();
    source.Expect(u">");
    if (open_.size() <= atLeastOpen && atLeastOpen != 0) throw Fault{place, "asynchronous entity"};
    if (open_.empty()) throw Fault{place, kInvalidToken};
    if (open_.back() != name) throw Fault{place, "mismatched tag"};
    open_.pop_back();
    events_.EndElement();
  }

  void ScanStartTag(Source& source) {
    source.Skip(1);
    const WideString name = source.Name();
    std::vector<std::pair<WideString, WideString>> attributes;
    bool hasSpace = source.SkipSpace();
    while (!source.StandsAt(u">") && !source.StandsAt(u"/>")) {
      const TextPlace place = source.place();
      if (!hasSpace) throw Fault{place, source.AtEnd() ? kUnclosedToken : kInvalidToken};
      attributes.push_back(ScanAttribute(source, name));
      const bool isTwice = std::any_of(attributes.begin(), attributes.end() - 1, [&](const auto& other) {
        return other.first == attributes.back().first;
      });
      if (isTwice) throw Fault{place, "duplicate attribute"};
      hasSpace = source.SkipSpace();
    }
    AddDefaults(name, attributes);
    const bool isEmpty = source.Unit() == u'/';
    source.Skip(isEmpty ? 2 : 1);
    Start(name, attributes);
    open_.push_back(name);
    if (!isEmpty) return;
    open_.pop_back();
    events_.EndElement();
  }

  void Start(const WideString& name, const std::vector<std::pair<WideString, WideString>>& attributes) {
    std::vector<ParsedAttribute> parsed;
    parsed.reserve(attributes.size());
    for (const auto& [key, value] : attributes) parsed.push_back({.name = key, .value = value});
    if (!events_.StartElement(name, parsed)) throw Fault{event_, kRefused};
  }

  // --- attributes ------------------------------------------------------------------------------------------

  std::pair<WideString, WideString> ScanAttribute(Source& source, const WideString& element) {
    WideString name = source.Name();
    source.SkipSpace();
    source.Expect(u"=");
    source.SkipSpace();
    const TextPlace place = source.place();
    WideString value;
    AppendValue(source.Quoted(), place, 0, value);
    const DeclaredAttribute* const declared = FindDeclared(element, name);
    if (declared != nullptr && declared->isTokens) value = Tokens(value);
    return {std::move(name), std::move(value)};
  }

  const DeclaredAttribute* FindDeclared(const WideString& element, const WideString& name) const {
    const auto found = declared_.find(element);
    if (found == declared_.end()) return nullptr;
    for (const DeclaredAttribute& attribute : found->second) {
      if (attribute.name == name) return &attribute;
    }
    return nullptr;
  }

  void AddDefaults(const WideString& element, std::vector<std::pair<WideString, WideString>>& attributes) {
    const auto found = declared_.find(element);
    if (found == declared_.end()) return;
    for (const DeclaredAttribute& declared : found->second) {
      Spend(1);
      const bool isThere = std::any_of(attributes.begin(), attributes.end(), [&](const auto& attribute) {
        return attribute.first == declared.name;
      });
      if (isThere || !declared.standard) continue;
      Spend(declared.standard->size());
      attributes.emplace_back(declared.name, *declared.standard);
    }
  }

  // A literal as an attribute's value: white space is blanks, references are undone.
  void AppendValue(const WideString& literal, TextPlace place, std::size_t depth, WideString& value) {
    Source source(literal);
    while (!source.AtEnd()) {
      if (source.Unit() == u'<') throw Fault{place, kInvalidToken};
      if (source.Unit() != u'&') {
        const char32_t code = source.Take();
        Append(value, code == U'\n' || code == U'\t' ? U' ' : code);
        continue;
      }
      source.Take();
      if (source.Unit() == u'#') {
        Append(value, ScanCharacter(source, place));
      } else {
        const WideString name = ScanEntityName(source, place);
        if (const char16_t known = Predefined(name)) {
          value.push_back(known);
        } else {
          AppendValue(Replacement(name, place, depth), place, depth + 1, value);
        }
      }
    }
  }

  static WideString Tokens(const WideString& text) {
    WideString tokens;
    for (const char16_t unit : text) {
      if (unit == u' ' && (tokens.empty() || tokens.back() == u' ')) continue;
      tokens.push_back(unit);
    }
    if (tokens.ends_with(u' ')) tokens.pop_back();
    return tokens;
  }

  // --- references ------------------------------------------------------------------------------------------

  void ScanReference(Source& source, std::size_t depth) {
    const TextPlace place = depth == 0 ? source.place() : event_;
    source.Take();
    if (source.Unit() == u'#') {
      WideString text;
      Append(text, ScanCharacter(source, place));
      return events_.Characters(text);
    }
    const WideString name = ScanEntityName(source, depth == 0 ? source.place() : place);
    if (const char16_t known = Predefined(name)) return events_.Characters(WideView(&known, 1));
    const WideString replacement = Replacement(name, place, depth);
    Source inner(replacement);
    ScanContent(inner, depth + 1);
  }

  static char32_t ScanCharacter(Source& source, TextPlace place) {
    source.Take();
    const bool isHex = source.Unit() == u'x';
    if (isHex) source.Take();
    char32_t code = 0;
    bool hasDigits = false;
    for (; source.Unit() != u';'; hasDigits = true) {
      const int digit = DigitOf(source.Unit(), isHex);
      if (source.AtEnd() || digit < 0) throw Fault{place, kInvalidToken};
      code = std::min<char32_t>(code * (isHex ? 16 : 10) + static_cast<char32_t>(digit), 0x110000);
      source.Take();
    }
    source.Take();
    if (!hasDigits) throw Fault{place, kInvalidToken};
    if (!IsCharacter(code)) throw Fault{place, "reference to invalid character number"};
    return code;
  }

  static int DigitOf(char16_t unit, bool isHex) noexcept {
    if (unit >= u'0' && unit <= u'9') return unit - u'0';
    const int letter = (unit | 0x20) - u'a';
    return isHex && unit < 0x80 && letter >= 0 && letter < 6 ? letter + 10 : -1;
  }

  static WideString ScanEntityName(Source& source, TextPlace place) {
    if (!IsNameStart(source.Unit())) throw Fault{place, kInvalidToken};
    WideString name = source.Name();
    if (source.Unit() != u';') throw Fault{place, kInvalidToken};
    source.Take();
    return name;
  }

  static char16_t Predefined(WideView name) noexcept {
    static constexpr std::pair<WideView, char16_t> kKnown[] = {
        {u"lt", u'<'}, {u"gt", u'>'}, {u"amp", u'&'}, {u"quot", u'"'}, {u"apos", u'\''}};
    for (const auto& [known, unit] : kKnown) {
      if (name == known) return unit;
    }
    return u'\0';
  }

  // What an entity stands for; one that is outside, or nowhere, ends the reading.
  const WideString& Replacement(const WideString& name, TextPlace place, std::size_t depth) {
    const auto found = entities_.find(name);
    if (found == entities_.end()) throw Fault{place, "undefined entity"};
    if (!found->second || depth >= kDeepestEntity) throw Fault{place, kRefused};
    Spend(found->second->size() + 1);
    return *found->second;
  }

  void Spend(std::uint64_t units) {
    if (units > units_) throw Fault{event_, kRefused};
    units_ -= units;
  }

  // --- the document type -----------------------------------------------------------------------------------

  void ScanType() {
    event_ = source_.place();
    source_.Skip(9);
    if (!source_.SkipSpace()) throw Fault{source_.place(), kInvalidToken};
    source_.Name();
    source_.SkipSpace();
    ScanExternalId();
    source_.SkipSpace();
    if (source_.Unit() == u'[') {
      source_.Take();
      ScanSubset();
    }
    source_.SkipSpace();
    source_.Expect(u">");
    for (const auto& [name, replacement] : entities_) CheckEntity(name, 0);
  }

  // True if there is one.
  bool ScanExternalId() {
    const bool isPublic = source_.StandsAt(u"PUBLIC");
    if (!isPublic && !source_.StandsAt(u"SYSTEM")) return false;
    source_.Skip(6);
    RequireSpace();
    source_.Quoted();
    if (isPublic) {
      RequireSpace();
      source_.Quoted();
    }
    return true;
  }

  void RequireSpace() {
    if (!source_.SkipSpace()) throw Fault{source_.place(), source_.AtEnd() ? kUnclosedToken : kInvalidToken};
  }

  void ScanSubset() {
    for (;;) {
      source_.SkipSpace();
      if (source_.Unit() == u'%') throw Fault{source_.place(), kRefused};
      if (source_.Unit() == u']') return source_.Skip(1);
      if (source_.StandsAt(u"<!--")) {
        ScanComment(source_, false);
      } else if (source_.StandsAt(u"<?")) {
        ScanInstruction(source_, false);
      } else if (source_.StandsAt(u"<!ENTITY")) {
        ScanEntity();
      } else if (source_.StandsAt(u"<!ATTLIST")) {
        ScanAttributes();
      } else if (source_.StandsAt(u"<!ELEMENT") || source_.StandsAt(u"<!NOTATION")) {
        SkipDeclaration();
      } else {
        throw Fault{source_.place(), source_.AtEnd() ? kUnclosedToken : kInvalidToken};
      }
    }
  }

  void SkipDeclaration() {
    while (source_.Unit() != u'>') {
      if (source_.AtEnd()) throw Fault{source_.place(), kUnclosedToken};
      if (source_.Unit() == u'"' || source_.Unit() == u'\'') {
        source_.Quoted();
      } else {
        source_.Take();
      }
    }
    source_.Take();
  }

  void ScanEntity() {
    source_.Skip(8);
    RequireSpace();
    const bool isParameter = source_.Unit() == u'%';
    if (isParameter) {
      source_.Take();
      RequireSpace();
    }
    const WideString name = source_.Name();
    RequireSpace();
    std::optional<WideString> replacement;
    if (ScanExternalId()) {
      if (source_.SkipSpace() && source_.StandsAt(u"NDATA")) {
        source_.Skip(5);
        RequireSpace();
        source_.Name();
      }
    } else {
      const TextPlace place = source_.place();
      replacement = EntityValue(source_.Quoted(), place);
    }
    source_.SkipSpace();
    source_.Expect(u">");
    if (!isParameter) entities_.emplace(name, std::move(replacement));
  }

  // Characters' numbers are undone at once, other references where the entity is used.
  static WideString EntityValue(const WideString& literal, TextPlace place) {
    WideString value;
    Source source(literal);
    while (!source.AtEnd()) {
      if (source.Unit() == u'%') throw Fault{place, kRefused};
      if (source.Unit() != u'&') {
        Append(value, source.Take());
        continue;
      }
      source.Take();
      if (source.Unit() == u'#') {
        Append(value, ScanCharacter(source, place));
      } else {
        value += u"&" + ScanEntityName(source, place) + u";";
      }
    }
    return value;
  }

  void ScanAttributes() {
    source_.Skip(9);
    RequireSpace();
    std::vector<DeclaredAttribute>& declared = declared_[source_.Name()];
    for (;;) {
      const bool hasSpace = source_.SkipSpace();
      if (source_.Unit() == u'>') return source_.Skip(1);
      if (!hasSpace) throw Fault{source_.place(), source_.AtEnd() ? kUnclosedToken : kInvalidToken};
      DeclaredAttribute attribute = ScanDeclared();
      Spend(declared.size() + 1);
      const bool isKnown = std::any_of(declared.begin(), declared.end(),
                                       [&](const auto& other) { return other.name == attribute.name; });
      if (!isKnown) declared.push_back(std::move(attribute));
    }
  }

  // True for a type whose values are tokens.
  bool ScanAttributeType() {
    const TextPlace place = source_.place();
    WideString type;
    while (IsNameUnit(source_.Unit())) Append(type, source_.Take());
    static constexpr WideView kTokenTypes[] = {u"ID",       u"IDREF",   u"IDREFS",  u"ENTITY",
                                               u"ENTITIES", u"NMTOKEN", u"NMTOKENS"};
    if (type == u"CDATA") return false;
    const bool isNotation = type == u"NOTATION";
    if (isNotation) RequireSpace();
    if (isNotation || type.empty()) {
      ScanChoice();
    } else if (std::find(std::begin(kTokenTypes), std::end(kTokenTypes), type) == std::end(kTokenTypes)) {
      throw Fault{place, kInvalidToken};
    }
    return true;
  }

  // Names of values, parted by strokes.
  void ScanChoice() {
    source_.Expect(u"(");
    for (;;) {
      source_.SkipSpace();
      if (!IsNameUnit(source_.Unit())) throw Fault{source_.place(), kInvalidToken};
      while (IsNameUnit(source_.Unit())) source_.Take();
      source_.SkipSpace();
      if (source_.Unit() == u')') return source_.Skip(1);
      source_.Expect(u"|");
    }
  }

  DeclaredAttribute ScanDeclared() {
    DeclaredAttribute attribute;
    attribute.name = source_.Name();
    RequireSpace();
    attribute.isTokens = ScanAttributeType();
    RequireSpace();
    if (source_.StandsAt(u"#REQUIRED") || source_.StandsAt(u"#IMPLIED")) {
      source_.Skip(source_.StandsAt(u"#REQUIRED") ? 9 : 8);
      return attribute;
    }
    if (source_.StandsAt(u"#FIXED")) {
      source_.Skip(6);
      RequireSpace();
    }
    const TextPlace place = source_.place();
    WideString value;
    AppendValue(source_.Quoted(), place, 0, value);
    attribute.standard = attribute.isTokens ? Tokens(value) : value;
    return attribute;
  }

  // A circle is refused even where nothing refers to it.
  void CheckEntity(const WideString& name, std::size_t depth) {
    const auto found = entities_.find(name);
    if (found == entities_.end() || !found->second || checked_.contains(name)) return;
    if (depth > kDeepestEntity) throw Fault{event_, "recursive entity reference"};
    const WideString& text = *found->second;
    for (std::size_t at = text.find(u'&'); at != WideString::npos; at = text.find(u'&', at + 1)) {
      const std::size_t end = text.find(u';', at);
      if (end != WideString::npos) CheckEntity(text.substr(at + 1, end - at - 1), depth + 1);
    }
    checked_.emplace(name, true);
  }

  ParseEvents& events_;
  std::uint64_t units_;
  Source source_;
  TextPlace event_;
  std::vector<WideString> open_;
  std::map<WideString, std::optional<WideString>> entities_;  // nothing for those that stand outside
  std::map<WideString, bool> checked_;
  std::map<WideString, std::vector<DeclaredAttribute>> declared_;
};

}  // namespace

bool ReadPlacedXml(WideView text, ParseEvents& events, ReadingReport& report) {
  Scanner scanner(text, events, report);
  try {
    scanner.Scan();
    report.here = nullptr;
    return true;
  } catch (const Fault& fault) {
    report = {nullptr, scanner.PlaceOf(fault), fault.words};
    return false;
  }
}

}  // namespace sbx::tool
