#include "sbxml/reader_walk.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "api/conversion_state.h"
#include "platform/thread_stack.h"
#include "rules/rule_set.h"
#include "sbxml/number_reading.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

// The core's conversion state as the rules need it, for the length of one walk.
class StateScope {
 public:
  StateScope(JSConvertRulesDesc& rules, const WideString& root, XMLElementRef& rootElement) {
    g_conversion.cachedRuleSet = &rules;
    g_conversion.rootStructName = root.c_str();
    g_conversion.rootStructNameUnits = root.size();
    g_conversion.rootElement = &rootElement;
  }
  ~StateScope() { g_conversion = ConversionState{}; }
  StateScope(const StateScope&) = delete;
  StateScope& operator=(const StateScope&) = delete;
};

// Makes the path longer by a step while it lives.
class PathStep {
 public:
  PathStep(std::string& path, std::string_view step) : path_(path), before_(path.size()) { path_ += step; }
  ~PathStep() { path_.resize(before_); }
  PathStep(const PathStep&) = delete;
  PathStep& operator=(const PathStep&) = delete;

 private:
  std::string& path_;
  std::size_t before_;
};

Memory PartOf(const Memory& whole, std::int64_t offset, std::int64_t size) noexcept {
  const std::byte* const address = whole.address == nullptr ? nullptr : whole.address + offset;
  return {address, size, whole.block, whole.offset + offset};
}

std::vector<XMLElementRef> ChildrenOf(const XMLElementRef& element) {
  std::vector<XMLElementRef> children;
  xml::NodeList list = element.element().document()->SelectChildElements(element.element().get());
  for (xml::NodeRef child = list.Next(); child; child = list.Next()) children.emplace_back(std::move(child));
  return children;
}

WideString TagOf(const XMLElementRef& element) {
  return WideString(element.element().document()->TagName(element.element().get()).value_or(WideView()));
}

WideString RawTextOf(const xml::NodeRef& node) {
  return WideString(node.document()->GetText(node.get()).value_or(WideView()));
}

ReadType TypeOf(const JSTypeNode& head) {
  ReadType type;
  type.isPointer = (head.kind & JS_TYPE_POINTER) != 0;
  type.isString = (head.kind & JS_TYPE_STRING) != 0;
  const JSTypeNode* node = type.isPointer ? head.next : &head;
  if (node == nullptr) return type;  // a "void*", which leads nowhere
  type.targetSize = TypeChainSize(node);
  if ((node->kind & JS_TYPE_ARRAY) != 0) {
    type.count = node->count;
    node = node->next;
  }
  if ((node->kind & JS_TYPE_PRIMARY) != 0) {
    type.primary = FindPrimaryType(node->name);
  } else {
    type.record = node->structDesc;
  }
  return type;
}

}  // namespace

ReaderWalk::ReaderWalk(const DocumentSet& set, const SourceTree& source, WalkListener& listener)
    : set_(set),
      source_(source),
      listener_(listener),
      descriptions_(set.descriptions().Clone()),
      log_(2),
      stackLimit_(platform::StackLimit()) {
  slots_.descSet = descriptions_.get();
}

std::optional<WalkFailure> ReaderWalk::Run(WideView text, const std::byte* graph) {
  document_ = xml::Document::New();
  document_->PutPreserveWhiteSpace(true);
  if (!document_->LoadXml(text))
    return WalkFailure{kContent, source_.elements().front(), {}, "not well-formed"};
  NumberElements();
  XMLElementRef documentElement(document_->DocumentElement());
  const StateScope state(set_.rules(), set_.root(), documentElement);
  listener_.EnterDocument(IndexOf(documentElement.element()));
  const XMLElementRef root = ChildByName(documentElement, set_.root());
  for (const XMLElementRef& child : ChildrenOf(documentElement)) {
    if (numbers_.Find(child.element()) != numbers_.Find(root.element())) {
      listener_.IgnoredRoot(IndexOf(child.element()));
    }
  }
  path_ = ToUtf8(set_.root());
  if (!root) {
    path_.clear();
    Fail(kNotFound, documentElement.element(),
         "the document element has no child " + Quoted(set_.root()) + ", the root record");
  } else if (JSStructDesc* record = descriptions_->FindStruct(set_.root()); record == nullptr) {
    Fail(kDescription, root.element(), "the descriptions have no record " + Quoted(set_.root()));
  } else {
    // A relocation of the root changes nothing but the size that it is read with.
    JSStructDesc* relocated = record;
    const Memory memory = {graph, record->size, blocks_++, 0};
    if (Relocate(root, relocated)) {
      if (relocated->size != record->size) {
        Fail(kDescription, root.element(), "a rule relocates the root record to one of another size");
      } else {
        WalkRecord(root, *record, memory);
      }
    }
  }
  if (!failure_) TellLateRevisions();
  return failure_;
}

// The n-th element here is the n-th one there.
void ReaderWalk::NumberElements() {
  std::vector<xml::NodeRef> open;
  open.push_back(document_->DocumentElement());
  std::size_t next = 0;
  while (!open.empty() && next < source_.elements().size()) {
    const xml::NodeRef node = std::move(open.back());
    open.pop_back();
    numbers_.Set(node, source_.elements()[next++]);
    const std::size_t before = open.size();
    xml::NodeList children = document_->SelectChildElements(node.get());
    for (xml::NodeRef child = children.Next(); child; child = children.Next())
      open.push_back(std::move(child));
    std::reverse(open.begin() + static_cast<std::ptrdiff_t>(before), open.end());
  }
}

std::size_t ReaderWalk::IndexOf(const xml::NodeRef& node) const {
  return numbers_.Find(node).value_or(source_.elements().front());
}

bool ReaderWalk::Fail(Status code, const xml::NodeRef& node, std::string message) {
  if (!failure_) failure_ = WalkFailure{code, IndexOf(node), path_, std::move(message)};
  return false;
}

bool ReaderWalk::Relocate(const XMLElementRef& element, JSStructDesc*& record) {
  WideString newName;
  log_.Take();
  X2BApplyRuleForJSStruct(element, *descriptions_, *record, newName);
  // A rule that asks twice for what it doesn't find logs it twice.
  std::vector<WideString> lines = log_.Take();
  lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
  for (const WideString& line : lines) {
    listener_.RuleTrouble({*record, IndexOf(element.element()), path_, {}}, line);
  }
  if (newName.empty()) return true;
  JSStructDesc* const found = descriptions_->FindStruct(newName);
  if (found == nullptr) {
    return Fail(kNotFound, element.element(),
                "a rule relocates " + Quoted(record->name) + " to " + Quoted(newName) +
                    ", which the descriptions lack");
  }
  record = found;
  return true;
}

// --- records -----------------------------------------------------------------------------------------------

bool ReaderWalk::WalkRecord(const XMLElementRef& element, JSStructDesc& record, const Memory& memory,
                            bool isOnTop) {
  if (platform::IsStackNearlyUsedUp(stackLimit_)) {
    return Fail(kMemory, element.element(), "nested too deeply to be followed further");
  }
  if (record.size != memory.size) {
    return Fail(kDescription, element.element(),
                "record " + Quoted(record.name) + " has " +
                    Counted(static_cast<std::uint64_t>(record.size), "byte") + " and not the " +
                    std::to_string(memory.size) + " that are there for it");
  }
  if (!document_->HasChildNodes(element.element().get()).value_or(false)) {
    return Fail(kContent, element.element(), "the element of a record must not be empty");
  }
  const RecordPlace place = {record, IndexOf(element.element()), path_, memory, isOnTop};
  listener_.EnterRecord(place);
  return WalkChildren(place, element, record);
}

bool ReaderWalk::WalkChildren(const RecordPlace& place, const XMLElementRef& element, JSStructDesc& record) {
  const std::vector<XMLElementRef> elements = ChildrenOf(element);
  std::unordered_set<const JSStructItemDesc*> there;
  for (const Child& child : MatchChildren(elements, record)) {
    if (child.item == nullptr) {
      listener_.UnknownElement(place, IndexOf(child.element->element()));
      continue;
    }
    there.insert(child.item);
    const PathStep step(path_, "/" + ToUtf8(child.item->name));
    if (!WalkItem(place, record, child)) return false;
  }
  std::vector<const JSStructItemDesc*> missing;
  for (const JSStructItemDesc& item : record.items()) {
    if (!there.contains(&item)) missing.push_back(&item);
  }
  listener_.LeaveRecord(place, missing);
  return true;
}

// --- several elements for one item -------------------------------------------------------------------------

std::vector<ReaderWalk::Child> ReaderWalk::MatchChildren(const std::vector<XMLElementRef>& elements,
                                                         JSStructDesc& record) {
  std::vector<Child> children;
  std::unordered_map<const JSStructItemDesc*, std::vector<std::size_t>> byItem;
  for (const XMLElementRef& element : elements) {
    JSStructItemDesc* const item = record.FindItem(TagOf(element));
    if (item != nullptr) byItem[item].push_back(children.size());
    children.push_back({&element, item});
  }
  for (const auto& [item, rivals] : byItem) {
    if (rivals.size() > 1) SettleFates(children, rivals);
  }
  return children;
}

void ReaderWalk::SettleFates(std::vector<Child>& children, const std::vector<std::size_t>& rivals) {
  std::vector<Effect> effects;
  effects.reserve(rivals.size());
  for (const std::size_t rival : rivals) effects.push_back(EffectOf(children[rival]));
  bool isStored = false;
  for (std::size_t at = 0; at < rivals.size(); ++at) {
    Child& child = children[rivals[at]];
    child.isOnTop = isStored;
    if (isStored && effects[at] == Effect::kNone) child.fate = Fate::kWithoutEffect;
    isStored = isStored || effects[at] != Effect::kNone;
  }
  Effect later = Effect::kNone;
  for (std::size_t at = rivals.size(); at-- > 0;) {
    Child& child = children[rivals[at]];
    if (later == Effect::kWhole) child.fate = Fate::kReplaced;
    if (later == Effect::kPart && child.fate == Fate::kStands) child.fate = Fate::kPartlyReplaced;
    later = std::max(later, effects[at]);
  }
}

ReaderWalk::Effect ReaderWalk::EffectOf(const Child& child) {
  const JSTypeNode* const head = ParseItemType(slots_, *child.item);
  if (head == nullptr) return Effect::kNone;
  const ReadType type = TypeOf(*head);
  if (type.isString || type.isPointer) {
    const WideView flag = source_.AttributeOf(IndexOf(child.element->element()), kFlagAttribute);
    return flag == u"null" ? Effect::kNone : Effect::kWhole;
  }
  if (type.isRecordArray()) return ChildrenOf(*child.element).empty() ? Effect::kNone : Effect::kPart;
  if (type.record != nullptr) return Effect::kPart;
  WideString text;
  ReadContent(*child.element, text);
  if (!type.isArray()) return text.empty() ? Effect::kNone : Effect::kWhole;
  const std::size_t entries = TokensOf(text).size();
  if (entries == 0) return Effect::kNone;
  return entries < static_cast<std::size_t>(type.count) ? Effect::kPart : Effect::kWhole;
}

// --- items -------------------------------------------------------------------------------------------------

bool ReaderWalk::WalkItem(const RecordPlace& recordPlace, JSStructDesc& record, const Child& child) {
  const XMLElementRef& element = *child.element;
  JSStructItemDesc& item = *child.item;
  const std::size_t index = IndexOf(element.element());
  ItemPlace place = {record,
                     item,
                     index,
                     path_,
                     child.fate,
                     child.isOnTop,
                     source_.AttributeOf(index, kFlagAttribute),
                     {},
                     {},
                     PartOf(recordPlace.memory, item.offset, item.size),
                     {},
                     IsNameList(record, item)};
  // What was stored over holds nothing of this element any more.
  if (child.fate != Fate::kStands) place.slot.address = nullptr;
  const JSTypeNode* const head = ParseItemType(slots_, item);
  if (head == nullptr) {
    listener_.RefusedItem(place);
    return true;
  }
  place.type = TypeOf(*head);
  place.value = place.slot;
  if (!CheckItem(place, *head))
    return Fail(kDescription, element.element(), "the item contradicts its record or its type");
  if ((place.type.isString || place.type.isPointer) && place.flag == u"null") {
    listener_.NullItem(place);
    return true;
  }
  if (place.type.isPointer && !Follow(place)) {
    return Fail(kDescription, element.element(),
                head->next == nullptr ? "what a \"void*\" leads to can't come back: only null can"
                                      : "the target has no size that fits");
  }
  return WalkValue(place, element);
}

bool ReaderWalk::CheckItem(const ItemPlace& place, const JSTypeNode& head) {
  const std::int64_t end = std::int64_t{place.item.offset} + place.item.size;
  return end <= place.record.size && TypeChainSize(&head) == place.item.size;
}

bool ReaderWalk::Follow(ItemPlace& place) {
  const std::int64_t size = place.type.targetSize;
  if (size <= 0 || size > std::numeric_limits<std::int32_t>::max()) return false;
  const std::byte* target = nullptr;
  if (place.slot.address != nullptr) std::memcpy(&target, place.slot.address, sizeof target);
  place.value = {target, size, blocks_++, 0};
  return true;
}

bool ReaderWalk::WalkValue(ItemPlace& place, const XMLElementRef& element) {
  if (place.type.isRecordArray()) return WalkArray(place, element);
  if (place.type.record != nullptr) {
    listener_.EnterItem(place);
    JSStructDesc* record = place.type.record;
    if (!Relocate(element, record) ||
        !WalkRecord(element, *record, place.value, place.isOnTop && !place.type.isPointer))
      return false;
    listener_.LeaveItem(place, {});
    return true;
  }
  ReadContent(element, place.text);
  if (place.type.isString) {
    const std::int64_t unitBytes = place.type.primary->name == u"char*" ? 4 : 2;
    const std::byte* target = nullptr;
    if (place.slot.address != nullptr) std::memcpy(&target, place.slot.address, sizeof target);
    place.value = {target, static_cast<std::int64_t>(place.text.size() + 1) * unitBytes, blocks_++, 0};
  }
  listener_.EnterItem(place);
  TellRevisions(place, element.element());
  listener_.LeaveItem(place, {});
  return true;
}

// --- arrays of records -------------------------------------------------------------------------------------

bool ReaderWalk::WalkArray(const ItemPlace& place, const XMLElementRef& element) {
  listener_.EnterItem(place);
  const std::vector<XMLElementRef> children = ChildrenOf(element);
  std::vector<std::size_t> entries;
  entries.reserve(children.size());
  for (const XMLElementRef& child : children) entries.push_back(IndexOf(child.element()));
  ArrayWalk walk = {place.type.record};
  for (const XMLElementRef& child : children) {
    if (walk.done >= place.type.count) break;
    const PathStep step(path_, "[" + std::to_string(walk.done) + "]");
    if (!WalkEntry(walk, child, place.value)) return false;
  }
  listener_.LeaveItem(place, entries);
  return true;
}

bool ReaderWalk::WalkEntry(ArrayWalk& walk, const XMLElementRef& child, const Memory& array) {
  const WideString tag = TagOf(child);
  JSStructDesc* record = walk.inHand;
  const bool isOther = tag != walk.inHand->name;
  if (isOther) {
    record = descriptions_->FindStruct(tag);
    if (record == nullptr || record->size != walk.inHand->size) {
      return Fail(kContent, child.element(),
                  Quoted(tag) +
                      (record == nullptr ? " is no described record" : " is a record of another size") +
                      ", so it can't be an entry of an array of " + Quoted(walk.inHand->name));
    }
  }
  JSStructDesc* const tagged = record;
  if (!Relocate(child, record)) return false;
  if (!isOther) walk.inHand = record;
  if (record->size > array.size - walk.offset) {
    return Fail(kDescription, child.element(),
                "a rule relocates the entry to a record that is too large for the array");
  }
  const Memory memory = PartOf(array, walk.offset, record->size);
  walk.offset += record->size;
  ++walk.done;
  return WalkRecord(child, isOther ? *tagged : *record, memory);
}

// --- what rules change -------------------------------------------------------------------------------------

bool ReaderWalk::IsNameList(const JSStructDesc& record, const JSStructItemDesc& item) const {
  const JSRuleDesc* const rules = set_.rules().FindRule(record.name);
  return rules != nullptr && std::any_of(rules->items.begin(), rules->items.end(), [&](const auto& rule) {
           return rule->type == u"ConvertNameList" && rule->name == item.name;
         });
}

void ReaderWalk::TellRevisions(const ItemPlace& place, const xml::NodeRef& node) {
  if (place.isRewritten || set_.rules().rules().empty()) return;
  WideString now = RawTextOf(node);
  const WideString before = source_.TextOf(place.element);
  if (now != before) {
    listener_.RevisedText(place.element, before, now, /*isLate=*/false);
  }
  if (!place.type.isString && !place.type.isArray()) {
    read_.push_back({node, place.element, std::move(now)});
  }
}

void ReaderWalk::TellLateRevisions() {
  for (const ReadText& read : read_) {
    const WideString now = RawTextOf(read.node);
    if (now == read.text) continue;
    listener_.RevisedText(read.element, read.text, now, /*isLate=*/true);
  }
}

}  // namespace sbx::tool
