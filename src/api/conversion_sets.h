// The two documents of the calling module, parsed into the conversion state's sets.
#pragma once

#include <cstdint>

#include "base/result_codes.h"

namespace sbx {

// Puts the module's descriptions and rules into the conversion state, in place of what is there. The lock
// must be held.
// Returns 0, -2 for a null module or a zero id, -7 for a document that could not be found, read or parsed;
// failures are logged at level 0 and leave the error text alone. After a failure both sets are gone, or the
// rule set alone if the rule document was the one that failed. May throw std::bad_alloc, which leaves the
// state likewise.
Status LoadConversionSets(const void* module, std::uint32_t pdbResId, std::uint32_t ruleResId);

// Deletes both sets. The lock must be held.
void DeleteConversionSets() noexcept;

}  // namespace sbx
