// The rules once more, as plainly as they can be written: the model that generated cases are compared with.
//
// Nothing is prepared, indexed or shared with the library: texts are copied and cut, records are searched,
// and log lines are put together by hand.
#pragma once

#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/wide_text.h"
#include "support/recording_log.h"

namespace sbx::testing::model {

struct Item {
  WideString name, type, restrictText;
  std::int32_t size, offset;
};
struct Record {
  WideString name;
  std::vector<Item> items;
};
struct Rule {
  std::map<WideString, WideString> attributes;
  std::uint32_t value = 0;
  const WideString& operator[](const WideString& name) { return attributes[name]; }
};
struct Element {
  WideString name, own;  // its text before its children
  std::deque<Element> children;

  WideString Text() const {
    WideString text = own;
    for (const Element& child : children) text += child.Text();
    return text;
  }
  WideString Xml() const {
    WideString xml = own;
    for (const Element& child : children) xml += child.Xml();
    return xml.empty() ? u"<" + name + u"/>" : u"<" + name + u">" + xml + u"</" + name + u">";
  }
  Element* Child(const WideString& childName) {
    for (Element& child : children) {
      if (child.name == childName) return &child;
    }
    return nullptr;
  }
  void Write(const WideString& text) {
    children.clear();
    own = text;
  }
};

inline WideString Decimal(std::int64_t number) {
  const std::string text = std::to_string(number);
  return {text.begin(), text.end()};
}

class World {
 public:
  std::vector<Record> records;
  std::map<WideString, std::vector<Rule>> rules;
  std::vector<std::pair<std::uintptr_t, std::uintptr_t>> readable;  // from, to
  WideString rootName;
  std::uintptr_t rootBinary = 0;
  Element* rootElement = nullptr;
  std::vector<LogLine> log;

  Record* Find(const WideString& name) {
    for (Record& record : records) {
      if (record.name == name) return &record;
    }
    return nullptr;
  }

  WideString PassInMemory(Record& record, std::uintptr_t binary) {
    Widen(record);
    WideString relocated;
    for (Rule& rule : rules[record.name]) {
      const WideString& kind = rule[u"type"];
      if (kind == u"StructArrayPtr") ArrayInMemory(rule, record, binary);
      if (kind == u"AlterType") AlterInMemory(rule, record, binary);
      if (kind == u"RelocateStructName") RelocateInMemory(rule, record, binary, relocated);
      if (kind == u"ConvertNameList") NamesInMemory(rule, record, binary);
    }
    return relocated;
  }

  WideString PassInXml(Record& record, Element& element) {
    Widen(record);
    WideString relocated;
    for (Rule& rule : rules[record.name]) {
      const WideString& kind = rule[u"type"];
      if (kind == u"StructArrayPtr") ArrayInXml(rule, record, element);
      if (kind == u"AlterType") AlterInXml(rule, record, element);
      if (kind == u"RelocateStructName") RelocateInXml(rule, record, element, relocated);
      if (kind == u"ConvertNameList") NamesInXml(rule, record, element);
    }
    return relocated;
  }

  // Nothing for an overflow.
  static std::optional<WideString> ResolvePath(const WideString& ref) {
    WideString rest = ref;
    int levels = 0;
    for (;;) {
      const std::size_t at = rest.find(u"..\\");
      if (at == WideString::npos) break;
      ++levels;
      const std::size_t after = at + 3;
      if (after >= ref.size()) return std::nullopt;  // would turn for ever
      rest.erase(0, after);
    }
    if (levels == 0) return ref;
    WideString path = u"." + rest;
    for (int i = 0; i < levels; ++i) {
      const std::size_t dot = rest.rfind(u'.');
      if (dot == WideString::npos) return std::nullopt;
      rest.erase(dot);
    }
    path.insert(0, rest);
    for (;;) {
      const std::size_t open = path.find(u'[');
      const std::size_t close = path.find(u']');
      if (open == WideString::npos || close == WideString::npos || open > close) return path;
      path.erase(open, close - open + 1);
    }
  }

  int ValueInMemory(Record* record, std::uintptr_t binary, const WideString& ref, std::uint32_t& value) {
    const WideString shown = record->name;
    std::optional<WideString> path = Resolve(ref);
    if (!path) return 0;
    const std::size_t dot = path->find(u'.');
    if (dot != WideString::npos && path->substr(0, dot) == rootName) {
      binary = rootBinary;
      record = Find(rootName);
      path->erase(0, dot + 1);
    }
    const WideString prefix = u"Get value from binary: ";
    const WideString place = u"(Struct=" + shown + u" path=" + ref + u")";
    const WideString comma = u"(Struct=" + shown + u", path=" + ref;
    if (binary == 0 || record == nullptr) return Say(-2, prefix + u"Invalid parameters" + place);
    std::uintptr_t address = binary;
    Item* item = nullptr;
    for (bool last = false; !last;) {
      if (record == nullptr) return Say(-4, prefix + u"Struct mismatch between rule and pdb" + place);
      item = FindItem(*record, TakeSegment(*path, last));
      if (item == nullptr) return Say(-4, prefix + u"Struct item mismatch between rule and pdb" + place);
      address += static_cast<std::uintptr_t>(item->offset);
      if (address != 0 && Readable(address, 8) && item->type.find(u'*') != WideString::npos) {
        address = Load<std::uint64_t>(address);
      }
      record = Find(BaseName(item->type));
    }
    if (address == 0) return Say(-12, prefix + u"NULL ptr for binary." + comma + u")");
    if (!Readable(address, 8)) return Say(-12, prefix + u"Binary unreadable." + comma + u")");
    if (item->size == 2) {
      value = Load<std::uint16_t>(address);
    } else if (item->size == 4) {
      value = Load<std::uint32_t>(address);
    } else {
      return Say(-4, prefix + u"item size error." + comma + u", size=" + Decimal(item->size) + u")");
    }
    return 0;
  }

  int ValueInXml(Record* record, Element* element, const WideString& ref, Element*& found) {
    const WideString shown = record->name;
    std::optional<WideString> path = Resolve(ref);
    if (!path) return 0;
    const std::size_t dot = ref.find(u'.');
    if (dot != WideString::npos && ref.substr(0, dot) == rootName) {
      element = rootElement->Child(rootName);
      record = Find(rootName);
      path->erase(0, dot + 1);
    }
    const WideString prefix = u"Get value from xml: ";
    const WideString place = u"(Struct=" + shown + u" path=" + ref + u")";
    if (element == nullptr || record == nullptr) return Say(-2, prefix + u"Invalid parameters" + place);
    for (bool last = false; !last;) {
      if (record == nullptr) return Say(-4, prefix + u"Struct mismatch between rule and pdb" + place);
      const WideString segment = TakeSegment(*path, last);
      const Item* const item = FindItem(*record, segment);
      if (item == nullptr) return Say(-4, prefix + u"Struct item mismatch between rule and pdb" + place);
      if (element == nullptr) return Say(-9, prefix + u"Struct mismatch between rule and xml" + place);
      Element* next = element->Child(segment);
      if (next != nullptr && ArrayCount(item->type) > 0 && !next->children.empty())
        next = &next->children.front();
      element = next;
      record = Find(BaseName(item->type));
    }
    if (element != nullptr) found = element;
    return 0;
  }

 private:
  int Say(int status, const WideString& text) {
    log.push_back({2, text});
    return status;
  }
  void Tell(const WideString& text) { log.push_back({4, text}); }

  bool Readable(std::uintptr_t address, std::size_t size) const {
    for (const auto& [from, to] : readable) {
      if (address >= from && address < to && to - address >= size) return true;
    }
    return false;
  }
  template <class Value>
  static Value Load(std::uintptr_t address) {
    Value value;
    std::memcpy(&value, reinterpret_cast<const void*>(address), sizeof value);
    return value;
  }

  static Item* FindItem(Record& record, const WideString& name) {
    for (Item& item : record.items) {
      if (item.name == name) return &item;
    }
    return nullptr;
  }
  static WideString TakeSegment(WideString& path, bool& last) {
    const std::size_t dot = path.find(u'.');
    const WideString segment = path.substr(0, dot);
    last = dot == WideString::npos;
    path.erase(0, last ? path.size() : dot + 1);
    return segment;
  }
  static WideString BaseName(const WideString& type) {
    WideString name;
    for (const char16_t unit : type) {
      if (unit == u'[' || unit == u'*') break;
      name += unit;
    }
    return name;
  }
  static int ArrayCount(const WideString& type) {
    const std::size_t open = type.find(u'[');
    const std::size_t close = type.find(u']');
    if (open == WideString::npos || close == WideString::npos || close < open + 2) return 0;
    const WideString digits = type.substr(open + 1);
    return std::atoi(std::string(digits.begin(), digits.end()).c_str());
  }
  static std::uint32_t Number(const WideString& text) {
    const std::string narrow(text.begin(), text.end());
    const std::string body = narrow.substr(narrow.starts_with("-") ? 1 : 0);
    if (body.starts_with("0x") || body.starts_with("0X")) {
      const std::string digits = body.substr(2);
      if (digits.empty() || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return 0;
      const auto value = static_cast<std::uint32_t>(std::stoull(digits, nullptr, 16));
      return narrow.starts_with("-") ? -value : value;
    }
    return static_cast<std::uint32_t>(std::atoi(narrow.c_str()));
  }

  std::optional<WideString> Resolve(const WideString& ref) {
    std::optional<WideString> path = ResolvePath(ref);
    if (!path) Say(-12, u"Get value from binary: Previous level of path overflow(path=" + ref + u")");
    return path;
  }
  int TextAt(Record& record, Element& element, const WideString& ref, WideString& text) {
    Element* found = nullptr;
    const int status = ValueInXml(&record, &element, ref, found);
    if (status == 0) text = found == nullptr ? u"" : found->Text();
    return status;
  }
  void Revise(Rule& rule, Record& record, Element& element, std::size_t count) {
    WideString before;
    if (TextAt(record, element, rule[u"num"], before) != 0) return;
    const WideString after = Decimal(static_cast<std::int64_t>(count));
    Element* found = nullptr;
    if (ValueInXml(&record, &element, rule[u"num"], found) != 0) return;
    if (found != nullptr) found->Write(after);
    Tell(u"{Revise value of " + rule[u"num"] + u" from " + before + u" to " + after + u"}");
  }
  static void Widen(Record& record) {
    for (Item& item : record.items) {
      if (item.type == u"char*") item.type = u"wchar_t*";
    }
  }
  static WideString Formatted(const WideString& alterto) {  // for texts with no other sequence than "%%"
    WideString text;
    for (std::size_t i = 0; i < alterto.size(); ++i) {
      text += alterto[i];
      if (alterto[i] == u'%') ++i;
    }
    return text;
  }

  bool RewriteArray(Rule& rule, Record& record, std::int32_t count) {
    Item* const item = FindItem(record, rule[u"name"]);
    const WideString type = rule[u"structname"] + u"[" + Decimal(count) + u"]*";
    if (item == nullptr || type.size() > 255) return false;
    Tell(u"{Convert type of " + rule[u"name"] + u" from " + item->type + u" to " + type + u"}");
    item->type = type;
    return true;
  }
  void ArrayInMemory(Rule& rule, Record& record, std::uintptr_t binary) {
    if (!rule[u"ref"].empty() && !rule[u"refvalue"].empty()) {
      if (ValueInMemory(&record, binary, rule[u"ref"], rule.value) != 0) return;
      if (rule.value != Number(rule[u"refvalue"])) return;
    }
    if (ValueInMemory(&record, binary, rule[u"num"], rule.value) != 0) return;
    RewriteArray(rule, record, static_cast<std::int32_t>(rule.value));
  }
  void ArrayInXml(Rule& rule, Record& record, Element& element) {
    Element* const array = element.Child(rule[u"name"]);
    if (array == nullptr) return;
    if (!rule[u"ref"].empty() && !rule[u"refvalue"].empty()) {
      WideString text;
      if (TextAt(record, element, rule[u"ref"], text) != 0 || text != rule[u"refvalue"]) return;
      Tell(u"{StructArrayPtr: ref=" + rule[u"ref"] + u" refvalue=" + rule[u"refvalue"] + u"}");
    }
    const std::size_t count = array->children.size();
    if (RewriteArray(rule, record, static_cast<std::int32_t>(count))) Revise(rule, record, element, count);
  }

  void Alter(Rule& rule, Record& record) {
    Item* const item = FindItem(record, rule[u"name"]);
    const WideString type = Formatted(rule[u"alterto"]);
    if (item == nullptr || type.empty() || type.size() > 255) return;
    Tell(u"{AlterType:Convert type of " + rule[u"name"] + u" from " + item->type + u" to " + type + u"}");
    item->type = type;
  }
  void TellAlter(Rule& rule) {
    Tell(u"{AlterType: ref=" + rule[u"ref"] + u" refmethod=" + rule[u"refmethod"] + u" refvalue=" +
         rule[u"refvalue"] + u"}");
  }
  void AlterInMemory(Rule& rule, Record& record, std::uintptr_t binary) {
    const WideString method = rule[u"refmethod"];
    if (!rule[u"ref"].empty() && !method.empty() && !rule[u"refvalue"].empty()) {
      if (ValueInMemory(&record, binary, rule[u"ref"], rule.value) != 0) return;
      const std::uint32_t wanted = Number(rule[u"refvalue"]);
      const bool holds = (method == u"=" && rule.value == wanted) ||
                         (method == u"&" && (rule.value & wanted) != 0) ||
                         (method == u"|" && (wanted != 0 || rule.value != 0));
      if (!holds) return;
      TellAlter(rule);
    }
    Alter(rule, record);
  }
  void AlterInXml(Rule& rule, Record& record, Element& element) {
    const WideString method = rule[u"refmethod"];
    if (!rule[u"ref"].empty() && !rule[u"refvalue"].empty()) {
      WideString text;
      if (TextAt(record, element, rule[u"ref"], text) != 0) return;
      const std::uint32_t wanted = Number(rule[u"refvalue"]);
      const bool holds = (method == u"=" && text == rule[u"refvalue"]) ||
                         (method == u"&" && (Number(text) & wanted) != 0) ||
                         (method == u"|" && (Number(text) != 0 || wanted != 0));
      if (!holds) return;
      TellAlter(rule);
    }
    Alter(rule, record);
  }

  void TellRelocateCondition(Rule& rule) {
    Tell(u"{RelocateStructName: ref=" + rule[u"ref"] + u" refvalue=" + rule[u"refvalue"] + u"}.");
  }
  void Relocate(Rule& rule, WideString& relocated) {
    Tell(u"{RelocateStructName: name=" + rule[u"name"] + u" structname=" + rule[u"structname"] + u"}.");
    relocated = rule[u"structname"];
  }
  void RelocateInMemory(Rule& rule, Record& record, std::uintptr_t binary, WideString& relocated) {
    if (!rule[u"ref"].empty() && !rule[u"refvalue"].empty()) {
      if (ValueInMemory(&record, binary, rule[u"ref"], rule.value) != 0) return;
      if (rule.value != Number(rule[u"refvalue"])) return;
      TellRelocateCondition(rule);
    }
    Relocate(rule, relocated);
  }
  void RelocateInXml(Rule& rule, Record& record, Element& element, WideString& relocated) {
    if (!rule[u"ref"].empty() && !rule[u"refvalue"].empty()) {
      WideString text;
      if (TextAt(record, element, rule[u"ref"], text) != 0 || text != rule[u"refvalue"]) return;
      TellRelocateCondition(rule);
    }
    Relocate(rule, relocated);
  }

  void NamesInMemory(Rule& rule, Record& record, std::uintptr_t binary) {
    const WideString num = rule[u"num"];
    WideString command = u"[namelist]";
    Item* const item = FindItem(record, rule[u"name"]);
    if (!num.empty()) {
      if (ValueInMemory(&record, binary, num, rule.value) == 0 && item != nullptr) {
        const std::uintptr_t slot = binary + static_cast<std::uintptr_t>(item->offset);
        const std::uint64_t list = Readable(slot, 8) ? Load<std::uint64_t>(slot) : 0;
        item->type = u"wchar_t[" + Decimal(static_cast<std::int64_t>(RunUnits(list, rule.value))) + u"]*";
      }
      command = u"[namelist:" + Decimal(static_cast<std::int32_t>(rule.value)) + u"]";
    }
    if (item == nullptr) return;
    TellNames(rule);
    item->restrictText = command;
  }
  std::size_t RunUnits(std::uint64_t at, std::uint32_t names) const {
    std::size_t total = 0;
    for (std::uint32_t passed = 0; passed < names; ++passed) {
      std::size_t length = 0;
      while (Readable(at + 2 * length, 2) && Load<char16_t>(at + 2 * length) != 0) ++length;
      if (length == 0 || !Readable(at + 2 * length, 2)) break;
      total += length + 1;
      at += 2 * (length + 1);
    }
    return total;
  }
  void TellNames(Rule& rule) {
    const WideString num = rule[u"num"];
    Tell(u"{ConvertNameList: name=" + rule[u"name"] + (num.empty() ? u"" : u" num=" + num) + u"}.");
  }
  static WideString Codes(const WideString& text, std::size_t& count) {
    WideString codes;
    for (const char16_t unit : text) codes += Decimal(unit) + u" ";
    count += text.size() + 1;
    return codes + u"0 ";
  }
  void NamesInXml(Rule& rule, Record& record, Element& element) {
    Element* const list = element.Child(rule[u"name"]);
    if (list == nullptr) return;
    Item* const item = FindItem(record, rule[u"name"]);
    std::size_t count = 0;
    WideString codes;
    if (rule[u"num"].empty()) {
      codes = Codes(list->Text(), count);
      for (; item != nullptr && count < static_cast<std::size_t>(item->size); ++count) codes += u"0 ";
      list->Write(codes);
      TellNames(rule);
      return;
    }
    std::size_t names = list->children.size();
    for (const Element& child : list->children) codes += Codes(child.Text(), count);
    if (names > 0) {
      list->Write(codes);
    } else if (const WideString text = list->Text(); !text.empty()) {
      count = names = 1;
      for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == u' ') ++count;
        if (text.substr(i, 3) == u" 0 ") ++names;
      }
    }
    if (item == nullptr) return;
    TellNames(rule);
    item->type = u"wchar_t[" + Decimal(static_cast<std::int64_t>(count)) + u"]*";
    Revise(rule, record, element, names);
  }
};

}  // namespace sbx::testing::model
