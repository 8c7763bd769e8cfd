// The commands of a `restrict` text that make a text of an item's number: "fmt", "time", "flag" and "enum".
#pragma once

#include "base/wide_text.h"
#include "desc/structure_description.h"
#include "present/item_attributes.h"

namespace sbx {

// Appends to `work` what the command makes of the decimal number in `content`, or nothing.
using ValueRenderer = void (*)(WideView content, WideString& work, const RestrictCommand& command,
                               const JSStructItemDesc& item);

// The number in hexadecimal. Numbers above the largest signed one of 32 bits read as that one.
void RenderFmt(WideView content, WideString& work, const RestrictCommand& command,
               const JSStructItemDesc& item);
// The local date and time of a 32-bit number of seconds.
void RenderTime(WideView content, WideString& work, const RestrictCommand& command,
                const JSStructItemDesc& item);
// The first name whose number equals the value.
void RenderFlag(WideView content, WideString& work, const RestrictCommand& command,
                const JSStructItemDesc& item);
// The names of all numbers that share a bit with the value.
void RenderEnum(WideView content, WideString& work, const RestrictCommand& command,
                const JSStructItemDesc& item);

}  // namespace sbx
