// What the decoders found in an item's type string and where its base name leads, as values.
//
// The converters ask for them at each instance of an item. They are copied out, so that a walk that recurses
// keeps what it has read when a rule rewrites the item further down.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/wide_text.h"

namespace sbx {

class JSPDBMemDesc;
class JSStructDesc;

// For the way from memory to XML. A primary's or described record's name lives as long as the description
// set; any other raw name borrows from the type string.
struct ResolvedType {
  WideView rawName;
  std::int32_t arraySize = -1;     // as DecodedType
  std::int32_t pointerLevel = -1;  // as DecodedType
  std::int32_t typeSize = -2;      // what GetTypeSize says of the raw name
  bool isPrimary = false;          // what IsPrimaryTypeName says of it
  JSStructDesc* record = nullptr;  // the record of that name, for a name that is no primary
};

// For the way from XML to memory: what a chain is made of.
struct ParsedType {
  std::uint32_t baseKind = 0;  // of the base node; 0 for a type that is refused
  bool isPointer = false;
  std::int32_t count = -1;  // elements; -1 for no array
  WideView name;            // of the base node; lives as long as the description set
  JSStructDesc* record = nullptr;
  std::size_t recordsThen = 0;  // in the set: one more may be what a refused type lacked
};

// The last answer for one item, good for one revision of it and one set.
template <class Type>
struct TypeNote {
  const JSPDBMemDesc* set = nullptr;  // null for no answer yet
  std::uint32_t revision = 0;
  Type type;

  const Type* Get(const JSPDBMemDesc* now, std::uint32_t nowRevision) const noexcept {
    return set != nullptr && set == now && revision == nowRevision ? &type : nullptr;
  }
};

}  // namespace sbx
