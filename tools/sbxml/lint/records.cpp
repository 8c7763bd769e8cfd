// Reads the structure descriptions into lint's model, with every reason for which the library would refuse
// them.
#include <algorithm>
#include <optional>

#include "base/numbers.h"
#include "desc/primary_types.h"
#include "sbxml/lint/elements.h"
#include "sbxml/lint/model.h"
#include "sbxml/text.h"
#include "xml/native/xml_names.h"

namespace sbx::tool::lint {
namespace {

constexpr WideView kRecordElement = u"JSStruct";
constexpr WideView kItemElement = u"JSStructItem";
constexpr std::int32_t kMost = 0x7FFFFFFF;

// Whether a number's text says more than is read of it.
bool IsMisread(WideView text, std::int32_t read) noexcept {
  if (text.empty()) return false;
  constexpr WideView kSpace = u"\t\n\v\f\r ";
  const std::size_t first = std::min(text.find_first_not_of(kSpace), text.size());
  const WideView number = text.substr(first);
  const bool hasSign = number.starts_with(u'-') || number.starts_with(u'+');
  const WideView digits = number.substr(hasSign ? 1 : 0);
  const std::size_t end = std::min(digits.find_first_not_of(u"0123456789"), digits.size());
  if (end == 0 || digits.find_first_not_of(kSpace, end) != WideView::npos) return true;
  return (read == kMost && digits.substr(0, end) != u"2147483647") || read == -kMost - 1;
}

}  // namespace

class RecordsReader {
 public:
  RecordsReader(const SourceTree& tree, Records& records, Findings& findings)
      : tree_(tree), records_(records), findings_(findings), open_(tree) {}

  void Read() {
    if (!CheckRoot(tree_, u"StructureDescription", findings_)) {
      records_.loads_ = false;
      return;
    }
    CountItems();
    recordOf_.resize(tree_.nodes().size());
    for (const std::size_t node : tree_.elements()) {
      open_.MoveTo(node);
      const WideString& name = tree_.nodes()[node].text;
      if (name == kRecordElement) {
        ReadRecord(node);
      } else if (name == kItemElement) {
        ReadItem(node);
      } else if (name == u"Rules" || name == u"RuleItem") {
        findings_.Add(Id::kMisplacedElement, tree_.nodes()[node].position,
                      "rules are not read from a description document: the element is passed over");
      } else {
        CheckCase(tree_, node, {kRecordElement, kItemElement}, findings_);
      }
    }
  }

 private:
  // For each node, the items that begin before it: what lies between two nodes is then one subtraction.
  void CountItems() {
    itemsBefore_.reserve(tree_.nodes().size() + 1);
    std::size_t count = 0;
    for (const SourceNode& node : tree_.nodes()) {
      itemsBefore_.push_back(count);
      if (node.kind == SourceNode::Kind::kElement && node.text == kItemElement) ++count;
    }
    itemsBefore_.push_back(count);
  }

  std::size_t ItemsIn(std::size_t node) const {
    return itemsBefore_[tree_.nodes()[node].end] - itemsBefore_[node + 1];
  }

  SourcePosition At(std::size_t node) const { return tree_.nodes()[node].position; }

  void Refuse(Id id, std::size_t node, const std::string& what, const Subject& subject = {}) {
    findings_.Add(id, At(node), what + ": the document does not load", subject);
    records_.loads_ = false;
  }

  std::int32_t NumberOf(std::size_t node, WideView attribute, const Subject& subject) {
    const WideView text = tree_.AttributeOf(node, attribute);
    const std::int32_t number = ReadLong(text);
    if (IsMisread(text, number)) {
      findings_.Add(Id::kNumberText, At(node),
                    ToUtf8(attribute) + " " + Quoted(text) + " is read as " + std::to_string(number),
                    subject);
    }
    return number;
  }

  void CheckElementName(std::size_t node, WideView name, const Subject& subject) {
    if (xml::native::IsName(name)) return;
    findings_.Add(Id::kElementName, At(node),
                  Quoted(name) + " can't name an element: converting to XML fails there", subject);
  }

  void ReadRecord(std::size_t node) {
    const WideString name(tree_.AttributeOf(node, u"name"));
    if (!open_.empty()) {
      findings_.Add(Id::kNestedElement, At(node),
                    "a record inside another: its items count for the outer one too, and are read there");
    }
    open_.Open(node);
    JSStructDesc* record = nullptr;
    if (name.empty()) {
      Refuse(Id::kNoName, node, "a record without a name");
    } else if (records_.set_->FindStruct(name) != nullptr) {
      Refuse(Id::kDuplicateRecord, node, "there is a record " + Quoted(name) + " already");
    } else {
      record = &records_.set_->AddStruct(name, 1, {}, tree_.AttributeOf(node, u"restrict"));
      records_.records_[record].position = At(node);
      recordOf_[node] = record;
      CheckElementName(node, name, {record});
      CheckTypeName(node, *record);
    }
    ReadRecordNumbers(node, record);
    CheckAttributes(tree_, node, {u"name", u"size", u"description", u"numOfItems"}, findings_, {record});
  }

  void CheckTypeName(std::size_t node, const JSStructDesc& record) {
    if (FindPrimaryType(record.name) == nullptr && !IsPrimaryTypeName(record.name)) return;
    findings_.Add(
        Id::kRecordNamedType, At(node),
        Quoted(record.name) +
            " is a type of its own: an item of that type does not lead to this record on the way back",
        {&record});
  }

  void ReadRecordNumbers(std::size_t node, JSStructDesc* record) {
    const Subject subject = {record};
    const std::int32_t size = NumberOf(node, u"size", subject);
    const std::int32_t declared = NumberOf(node, u"numOfItems", subject);
    const std::size_t count = ItemsIn(node);
    if (size < 1) {
      Refuse(Id::kRecordSize, node, "a size of " + std::to_string(size), subject);
      if (record != nullptr) records_.records_[record].isBroken = true;
    } else if (record != nullptr) {
      record->size = size;
    }
    if (declared < 0 || static_cast<std::size_t>(declared) != count) {
      Refuse(Id::kItemCount, node,
             "numOfItems is " + std::to_string(declared) + ", but there " + (count == 1 ? "is " : "are ") +
                 Counted(count, "item"),
             subject);
    }
    if (count == 0) {
      findings_.Add(Id::kEmptyRecord, At(node),
                    "a record without items: its element is empty, which the way back refuses (-9)", subject);
    }
  }

  struct ItemTexts {
    WideView name;
    WideView type;
    std::int32_t size;
    std::int32_t offset;
  };

  void ReadItem(std::size_t node) {
    if (open_.empty()) {
      findings_.Add(Id::kMisplacedElement, At(node), "an item outside of any record is passed over");
      return;
    }
    const WideView name = tree_.AttributeOf(node, u"name");
    const Subject subject = {recordOf_[open_.kept().back()], nullptr, name};
    if (name.empty()) Refuse(Id::kNoName, node, "an item without a name", subject);
    const ItemTexts item = {name, tree_.AttributeOf(node, u"type"), NumberOf(node, u"size", subject),
                            NumberOf(node, u"offset", subject)};
    const bool isGood = CheckItem(node, item, subject);
    CheckAttributes(tree_, node, {u"name", u"type", u"description", u"restrict", u"size", u"offset"},
                    findings_, subject);
    if (name.empty()) return;
    CheckElementName(node, name, subject);
    bool isDuplicate = false;
    for (const std::size_t outer : open_.kept()) {
      if (recordOf_[outer] != nullptr) isDuplicate |= !AddItem(*recordOf_[outer], node, item, isGood);
    }
    if (!isDuplicate) return;
    findings_.Add(Id::kDuplicateItem, At(node),
                  "the record has an item of this name already: this one is dropped", subject);
  }

  bool CheckItem(std::size_t node, const ItemTexts& item, const Subject& subject) {
    if (item.type.empty()) Refuse(Id::kNoType, node, "an item without a type", subject);
    if (item.size < 1) Refuse(Id::kItemSize, node, "a size of " + std::to_string(item.size), subject);
    if (item.offset < 0)
      Refuse(Id::kItemOffset, node, "an offset of " + std::to_string(item.offset), subject);
    return !item.type.empty() && item.size >= 1 && item.offset >= 0;
  }

  // False for a name that the record has already.
  bool AddItem(JSStructDesc& record, std::size_t node, const ItemTexts& item, bool isGood) {
    const WideView restrictText = tree_.AttributeOf(node, u"restrict");
    const JSStructItemDesc* const added =
        record.AddItem(item.name, isGood ? item.type : WideView(u"void*"), std::max(item.size, 1),
                       std::max(item.offset, 0), {}, restrictText);
    if (added == nullptr) return false;
    ItemInfo& info = records_.items_[added];
    info.position = At(node);
    info.isBroken = !isGood;
    return true;
  }

  const SourceTree& tree_;
  Records& records_;
  Findings& findings_;
  OpenElements open_;
  std::vector<std::size_t> itemsBefore_;
  std::vector<JSStructDesc*> recordOf_;  // by node; null for a record that is not kept
};

Records::Records(const SourceTree& tree, Findings& findings) {
  RecordsReader(tree, *this, findings).Read();
}

}  // namespace sbx::tool::lint
