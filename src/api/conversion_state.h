// The process-wide state of the conversion under way: the one header of this folder that every floor may
// include. Valid under the conversion lock only, but for the error text, which has no lock by design.
//
// Written by src/api and the two converters alone. The sets and the objects pointed to are owned by src/api
// unless told otherwise.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sbx {

class JSConvertRulesDesc;
class JSPDBMemDesc;
class ValueTexts;
class XMLElementRef;
namespace platform {
class CallerMemory;
}

inline constexpr std::size_t kLastErrorUnits = 4096;

struct ConversionState {
  char16_t lastErrorText[kLastErrorUnits];  // the last reported failure; success does not clear it

  JSPDBMemDesc* cachedDescSet;        // the master description set
  JSConvertRulesDesc* cachedRuleSet;  // the rule set, shared by all conversions

  // The root record's name, zero-terminated, and the root record of the memory-to-XML conversion under way.
  // Both keep their values after a conversion, when neither need be valid any more: the name lies in the
  // caller's argument. Each conversion sets the name before anything reads it.
  const char16_t* rootStructName;
  std::size_t rootStructNameUnits;
  std::uintptr_t rootBinary;

  // The document element of the XML-to-memory conversion under way; dangles between conversions.
  XMLElementRef* rootElement;

  // What value paths from the root have read in it; null, as between conversions, where nothing is kept.
  ValueTexts* valueTexts;

  // What is known of the caller's memory in the conversion under way; null outside one.
  platform::CallerMemory* callerMemory;
};

extern ConversionState g_conversion;

}  // namespace sbx
