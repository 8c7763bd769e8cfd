// How listings show an item.
#pragma once

#include <string>

#include "desc/structure_description.h"
#include "sbxml/text.h"

namespace sbx::tool {

// Its offset into the record and its size, both in bytes: "+16/8".
inline std::string PlaceOf(const JSStructItemDesc& item) {
  constexpr std::size_t kWidth = 8;
  return Padded("+" + std::to_string(item.offset) + "/" + std::to_string(item.size), kWidth);
}

}  // namespace sbx::tool
