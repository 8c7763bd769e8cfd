// Modules of one record with one item, and job scripts for them.
#pragma once

#include <string>

#include "chain_module.h"

namespace sbx::testing {

// A record "Link" of that size with the one item "a".
inline std::u16string OneItem(const std::string& recordSize, const std::string& type, const std::string& size,
                              const std::string& offset = "0") {
  const std::string text = "<StructureDescription><JSStruct name=\"Link\" size=\"" + recordSize +
                           "\" numOfItems=\"1\"><JSStructItem name=\"a\" type=\"" + type + "\" size=\"" +
                           size + "\" offset=\"" + offset + "\"/></JSStruct></StructureDescription>";
  return std::u16string(text.begin(), text.end());
}

inline std::int32_t ToMemory(const ChainModule& module, const std::u16string& items, JSHandle** handle) {
  const std::u16string xml = u"<J><Link>" + items + u"</Link></J>";
  return SBXXMLToBinary(module.handle(), 1, 2, u"Link", xml.c_str(), handle);
}

}  // namespace sbx::testing
