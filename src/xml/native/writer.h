// A document's text: no indentation, no line breaks, no declaration, no document type.
#pragma once

#include <cstdint>

#include "xml/document.h"
#include "xml/native/nodes.h"

namespace sbx::xml::native {

std::uint64_t SerializedUnits(const Element& document) noexcept;

// Delivers pieces of about 64 KiB; false if the sink ended it.
bool Serialize(const Element& document, TextSink& sink);

}  // namespace sbx::xml::native
