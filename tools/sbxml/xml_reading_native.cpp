#include "sbxml/xml_reading.h"

namespace sbx::tool {

bool ReadPlacedXml(WideView text, xml::native::ParseEvents& events, xml::native::ReadingReport& report) {
  return xml::native::ReadXml(text, events, &report);
}

}  // namespace sbx::tool
