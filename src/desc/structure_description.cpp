#include "desc/structure_description.h"

#include <utility>

namespace sbx {
namespace {

constexpr WideView kPlainText = u"char*";

}  // namespace

JSStructItemDesc::JSStructItemDesc(WideString itemName, WideString itemType, std::int32_t itemSize,
                                   std::int32_t itemOffset, WideString itemDescription,
                                   WideString itemRestrict)
    : size(itemSize),
      offset(itemOffset),
      name(std::move(itemName)),
      description(std::move(itemDescription)),
      type_(std::move(itemType)),
      restrict_(std::move(itemRestrict)) {}

void JSStructItemDesc::SetType(WideView type) {
  if (type == type_) return;
  type_ = type;
  ++revision_;
  if (recordRevision_ != nullptr && type_ == kPlainText) ++*recordRevision_;
}

void JSStructItemDesc::SetRestrict(WideView restrictText) {
  if (restrictText == restrict_) return;
  restrict_ = restrictText;
  ++revision_;
}

JSStructDesc::JSStructDesc(WideView recordName, std::int32_t recordSize, WideView recordDescription,
                           WideView recordRestrict)
    : size(recordSize), name(recordName), description(recordDescription), restrictText(recordRestrict) {}

JSStructItemDesc* JSStructDesc::FindItem(WideView itemName) noexcept {
  return index_.Find(itemName);
}

const JSStructItemDesc* JSStructDesc::FindItem(WideView itemName) const noexcept {
  return index_.Find(itemName);
}

JSStructItemDesc* JSStructDesc::AddItem(WideView itemName, WideView type, std::int32_t itemSize,
                                        std::int32_t offset, WideView itemDescription,
                                        WideView itemRestrict) {
  return AddItem(JSStructItemDesc(WideString(itemName), WideString(type), itemSize, offset,
                                  WideString(itemDescription), WideString(itemRestrict)));
}

JSStructItemDesc* JSStructDesc::AddItem(JSStructItemDesc&& item) {
  if (item.name.empty() || item.type_.empty() || item.size < 1 || item.offset < 0) return nullptr;
  if (FindItem(item.name) != nullptr) return nullptr;
  index_.Reserve(items_.size() + 1);  // nothing may fail once the item stands in the list
  JSStructItemDesc& added = items_.emplace_back(std::move(item));
  added.recordRevision_ = &plainTextRevision_;
  index_.Add(added);
  if (added.type_ == kPlainText) ++plainTextRevision_;
  return &added;
}

void JSStructDesc::CopyItemsFrom(const JSStructDesc& source) {
  index_.Reserve(items_.size() + source.items_.size());
  for (const JSStructItemDesc& from : source.items_) {
    AddItem(from.name, from.type_, from.size, from.offset, from.description, from.restrict_);
  }
}

void JSPDBMemDesc::Clear() noexcept {
  index_.Clear();
  structs_.clear();
}

std::unique_ptr<JSPDBMemDesc> JSPDBMemDesc::Clone() const {
  auto copy = std::make_unique<JSPDBMemDesc>();
  copy->index_.Reserve(structs_.size());
  for (const JSStructDesc& record : structs_) {
    copy->AddStruct(record.name, record.size, record.description, record.restrictText).CopyItemsFrom(record);
  }
  return copy;
}

JSStructDesc* JSPDBMemDesc::FindStruct(WideView name) noexcept {
  return index_.Find(name);
}
const JSStructDesc* JSPDBMemDesc::FindStruct(WideView name) const noexcept {
  return index_.Find(name);
}

JSStructDesc& JSPDBMemDesc::AddStruct(WideView name, std::int32_t size, WideView description,
                                      WideView restrictText) {
  index_.Reserve(structs_.size() + 1);  // nothing may fail once the record stands in the list
  JSStructDesc& record = structs_.emplace_back(name, size, description, restrictText);
  index_.Add(record);
  return record;
}

}  // namespace sbx
