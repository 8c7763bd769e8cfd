// A module whose records form chains, trees and cycles, for callers of the built library.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "support/carried_documents.h"
#include "support/exports.h"

namespace sbx::testing {

struct Link {
  const Link* next = nullptr;
  const char16_t* name = u"link";
  std::int64_t number = 5;
};

inline constexpr std::u16string_view kLinkDescriptions =
    u"<StructureDescription><JSStruct name=\"Link\" size=\"24\" numOfItems=\"3\">"
    u"<JSStructItem name=\"Next\" type=\"Link*\" size=\"8\" offset=\"0\"/>"
    u"<JSStructItem name=\"Name\" type=\"wchar_t*\" size=\"8\" offset=\"8\"/>"
    u"<JSStructItem name=\"Number\" type=\"int64\" size=\"8\" offset=\"16\"/>"
    u"</JSStruct></StructureDescription>";
inline constexpr std::u16string_view kNoRules = u"<ConvertRuleDesc/>";

class ChainModule {
 public:
  explicit ChainModule(std::u16string_view descriptions = kLinkDescriptions,
                       std::u16string_view rules = kNoRules)
      : documents_(descriptions, rules) {}

  SBXModule handle() const { return documents_.handle(); }

  // The code, with the need in `units`.
  std::int32_t Measure(const void* binary, std::int32_t* units) const {
    *units = 0x7FFFFFFF;
    return SBXBinaryToXML_Text(handle(), 1, 2, u"Link", binary, sizeof(Link), nullptr, units, 0);
  }
  std::int32_t Convert(const void* binary, std::u16string& xml) const {
    std::int32_t units = 0;
    std::int32_t rc = Measure(binary, &units);
    if (rc != SBX_OK) return rc;
    xml.resize(static_cast<std::size_t>(units));
    rc = SBXBinaryToXML_Text(handle(), 1, 2, u"Link", binary, sizeof(Link), xml.data(), &units, 0);
    xml.pop_back();
    return rc;
  }

 private:
  CarriedDocuments documents_;
};

}  // namespace sbx::testing
