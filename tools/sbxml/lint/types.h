// What both directions make of the types that items have, or are given by rules.
#pragma once

#include "sbxml/lint/model.h"

namespace sbx::tool::lint {

// Checks the types of all items against their sizes and records.
void CheckTypes(Records& records, Findings& descriptions, Findings& rules);

}  // namespace sbx::tool::lint
