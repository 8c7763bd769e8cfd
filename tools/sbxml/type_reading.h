// What each direction makes of an item's type, in words.
#pragma once

#include <string>

#include "desc/structure_description.h"

namespace sbx::tool {

struct TypeReading {
  std::string toXml;    // memory to XML
  std::string fromXml;  // XML to memory
};

// The item as it stands before any rule but the one that is always there: "char*" is read as "wchar_t*".
TypeReading ReadItemType(JSPDBMemDesc& set, const JSStructDesc& record, const JSStructItemDesc& item);

}  // namespace sbx::tool
