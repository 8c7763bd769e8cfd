// Reads XML text with expat.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "base/wide_text.h"
#include "xml/native/parse_events.h"

namespace sbx::xml::native {

// A place in a text; both from 1, columns in characters.
struct TextPlace {
  std::uint32_t line = 1;
  std::uint32_t column = 1;
};

// For who must name places. `here` may be called within an event, and tells where that stands; inside an
// entity, where the reference to it stands. The rest is set when the reading ends with a fault.
struct ReadingReport {
  std::function<TextPlace()> here;
  TextPlace faultPlace;
  std::string fault;
};

// Whether `text` is a well-formed document; its events have been reported as far as it was. The encoding that
// a declaration names has no meaning; one U+FEFF may stand in front. Internal entities are expanded; a
// document whose entities expand to far more than its own size, or are nested deeper than kEntityDepthLimit,
// is refused. So is any reference to an external or an undeclared entity, and any reference to a parameter
// entity. Throws std::bad_alloc and nothing else.
bool ReadXml(WideView text, ParseEvents& events, ReadingReport* report = nullptr);

}  // namespace sbx::xml::native
