// Relocations as a whole: circles, and what the way back makes of them.
#pragma once

#include "sbxml/lint/usage.h"

namespace sbx::tool::lint {

// `root` is null where it is not known.
void CheckRelocations(Records& records, const Usage& usage, const JSStructDesc* root, Findings& descriptions,
                      Findings& rules);

}  // namespace sbx::tool::lint
