// The two decoders of type strings. They differ on purpose and are not to be unified: what one accepts and
// the other refuses decides what a job script can do in each direction (docs/structure-descriptions.md).
#pragma once

#include <cstdint>

#include "base/result_codes.h"
#include "base/wide_text.h"
#include "desc/resolved_type.h"
#include "desc/structure_description.h"

namespace sbx {

// --- memory to XML -----------------------------------------------------------------------------------------

struct DecodedType {
  WideView rawName;                // base type name without decoration; the front of the decoded text
  std::int32_t arraySize = -1;     // product of the bracket counts; -1 for no array or a product of 0
  std::int32_t pointerLevel = -1;  // -1 for no pointer
};

// 0, or -4 after a log line at level 0; `out` then holds what had been decoded.
Status DecodeTypeString(WideView type, DecodedType& out);

// Decodes the item's type and looks up what its raw name stands for in `set`, which holds the item. The
// answer is kept with the item until its type is rewritten; a failure is not, so that each one is logged.
// As DecodeTypeString, and `out` is complete on success only.
Status ResolveItemType(JSPDBMemDesc& set, const JSStructItemDesc& item, ResolvedType& out);

// --- XML to memory -----------------------------------------------------------------------------------------

inline constexpr std::uint32_t JS_TYPE_POINTER = 1;
inline constexpr std::uint32_t JS_TYPE_PRIMARY = 2;
inline constexpr std::uint32_t JS_TYPE_ARRAY = 4;
inline constexpr std::uint32_t JS_TYPE_STRUCT = 8;
inline constexpr std::uint32_t JS_TYPE_STRING = 16;  // only together with JS_TYPE_PRIMARY

struct JSTypeNode {
  std::uint32_t kind = 0;
  std::int32_t count = 0;              // elements, on an array node
  JSStructDesc* structDesc = nullptr;  // on a record node; not owned
  WideView name;                       // "*", "", or the base name; lives as long as the description set
  JSTypeNode* next = nullptr;          // what this one is made of; not owned
};

// The nodes that decodes reuse; one for each conversion. A chain holds until the next decode.
struct JSTypeSlots {
  JSTypeNode pointerNode;
  JSTypeNode arrayNode;
  JSTypeNode baseNode;
  JSPDBMemDesc* descSet = nullptr;  // not owned
};

// The chain of an item's type, head first; null, silently, for a type that this side refuses. What was found
// is kept with the item until its type is rewritten.
JSTypeNode* ParseItemType(JSTypeSlots& slots, const JSStructItemDesc& item);

// The size in bytes of what a chain describes, in 64 bits: count times size may pass 32. Check it against
// the item's size as a number, not as cut.
std::int64_t TypeChainSize(const JSTypeNode* head) noexcept;

}  // namespace sbx
