#include "desc/description_loader.h"

#include <cstddef>
#include <memory>
#include <utility>

#include "base/numbers.h"
#include "diag/dbg_log_facade.h"

namespace sbx {
namespace {

constexpr WideView kRootElement = u"StructureDescription";
constexpr WideView kStructElement = u"JSStruct";
constexpr WideView kItemElement = u"JSStructItem";

WideString TextAttribute(const xml::NodeRef& element, WideView name) {
  return WideString(DescriptionAttribute(element, name));
}

std::int32_t NumberAttribute(const xml::NodeRef& element, WideView name) {
  return ReadLong(DescriptionAttribute(element, name));
}

// Every attribute is fetched before any is judged.
JSStructItemDesc ReadItem(const xml::NodeRef& element) {
  WideString name = TextAttribute(element, u"name");
  WideString type = TextAttribute(element, u"type");
  WideString description = TextAttribute(element, u"description");
  WideString restrictText = TextAttribute(element, u"restrict");
  const std::int32_t size = NumberAttribute(element, u"size");
  const std::int32_t offset = NumberAttribute(element, u"offset");
  return {std::move(name), std::move(type), size, offset, std::move(description), std::move(restrictText)};
}

Status RefuseRoot(WideView tag) {
  g_DBGLog.Printf(0, u"Invalid XML info for getting root element from PDB XML(Root name: %s).", tag);
  return kContent;
}

Status RefuseSearch(WideView name) {
  g_DBGLog.Printf(0, u"Invalid XML info for getting struct from PDB XML(Struct name: %s).", name);
  return kContent;
}

}  // namespace

WideView DescriptionAttribute(const xml::NodeRef& element, WideView name) {
  if (!element) {
    g_DBGLog.Printf(0, u"Invalid parameters for getting XML element attribute.");
    return {};
  }
  return element.document()->GetAttribute(element.get(), name).value_or(WideView());
}

Status DescriptionLoader::LoadDocument(WideView text) {
  const std::unique_ptr<xml::Document> document = xml::Document::New();
  if (document == nullptr) {
    g_DBGLog.Printf(0, u"COM error for loading PDB XML.");
    return kDom;
  }
  if (!document->LoadXml(text)) {
    g_DBGLog.Printf(0, u"Invalid XML info for loading PDB XML.");
    return kContent;
  }
  const xml::NodeRef root = document->DocumentElement();
  if (!root) {
    g_DBGLog.Printf(0, u"Invalid XML info for getting root element from PDB XML.");
    return kContent;
  }
  const WideView tag = document->TagName(root.get()).value_or(WideView());
  if (tag != kRootElement) return RefuseRoot(tag);

  xml::NodeList records = document->GetElementsByTagName(root.get(), kStructElement);
  if (!records) return RefuseSearch(kStructElement);
  for (xml::NodeRef node = records.Next(); node; node = records.Next()) {
    if (const Status status = LoadStructFromXML(node); status != kOk) return status;
  }
  return kOk;
}

Status DescriptionLoader::LoadStructFromXML(const xml::NodeRef& node) {
  if (!node) {
    g_DBGLog.Printf(0, u"Invalid parameters for loading struct desc from XML.");
    return kParameter;
  }
  const xml::NodeRef element = node.document()->AsElement(node.get());
  if (!element) {
    g_DBGLog.Printf(0, u"COM error for getting struct from PDB XML.");
    return kDom;
  }
  const xml::NodeList items = element.document()->GetElementsByTagName(element.get(), kItemElement);
  if (!items) return RefuseSearch(kItemElement);
  const std::size_t itemCount = items.Length();

  const WideString name = TextAttribute(element, u"name");
  const std::int32_t size = NumberAttribute(element, u"size");
  const WideString description = TextAttribute(element, u"description");
  const WideString restrictText = TextAttribute(element, u"restrict");
  const std::int32_t declared = NumberAttribute(element, u"numOfItems");
  if (size < 1 || declared < 0 || static_cast<std::size_t>(declared) != itemCount) {
    g_DBGLog.Printf(0,
                    u"Invalid XML info for struct(Name: %s, Size: %d, numOfItems: %d, realNumOfItems: %d).",
                    name, size, declared, itemCount);
    return kContent;
  }
  if (name.empty() || set_.FindStruct(name) != nullptr) {
    g_DBGLog.Printf(0, u"Invalid XML info for struct(Name: %s).", name);
    return kContent;
  }

  JSStructDesc& record = set_.AddStruct(name, size, description, restrictText);
  for (std::size_t index = 0; index < itemCount; ++index) {
    const xml::NodeRef item = items.Item(index);
    if (!item) break;  // an entry that can't be fetched ends the record without a word
    if (const Status status = LoadStructItemFromXML(&record, item); status != kOk) return status;
  }
  return kOk;
}

Status DescriptionLoader::LoadStructItemFromXML(JSStructDesc* record, const xml::NodeRef& node) {
  if (record == nullptr || !node) {
    g_DBGLog.Printf(0, u"Invalid parameters for loading PDB struct item desc from XML.");
    return kParameter;
  }
  const xml::NodeRef element = node.document()->AsElement(node.get());
  if (!element) {
    g_DBGLog.Printf(0, u"COM error for loading PDB struct item desc from XML.");
    return kDom;
  }
  JSStructItemDesc item = ReadItem(element);
  if (item.name.empty() || item.type().empty() || item.size < 1 || item.offset < 0) {
    g_DBGLog.Printf(0, u"Invalid XML info for PDB struct item(Name: %s, Type: %s, Size: %d, Offset: %d).",
                    item.name, item.type(), item.size, item.offset);
    return kContent;
  }
  if (record->FindItem(item.name) != nullptr) return kOk;
  // NOLINTBEGIN(bugprone-use-after-move): an item that is refused is left alone
  if (record->AddItem(std::move(item)) == nullptr) {
    g_DBGLog.Printf(0,
                    u"Invalid PDB info for loading PDB struct item desc from XML(Name: %s, Type: %s, "
                    u"Size: %d, Offset: %d).",
                    item.name, item.type(), item.size, item.offset);
    return kDescription;
  }
  // NOLINTEND(bugprone-use-after-move)
  return kOk;
}

Status JSPDBMemDesc::LoadFromXML(const char16_t* text) {
  if (text == nullptr) {
    g_DBGLog.Printf(0, u"Invalid parameters for loading from XML.");
    return kParameter;
  }
  // Memory that is refused on the way leaves an empty set too.
  struct EmptyUnlessLoaded {
    JSPDBMemDesc& set;
    Status status = kMemory;
    ~EmptyUnlessLoaded() {
      if (status != kOk) set.Clear();
    }
  } outcome{*this};
  Clear();
  outcome.status = DescriptionLoader(*this).LoadDocument(WideView(text));
  return outcome.status;
}

}  // namespace sbx
