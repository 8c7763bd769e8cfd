// What an item's `restrict` text does to its value.
#pragma once

#include "sbxml/lint/model.h"

namespace sbx::tool::lint {

void CheckPresentation(Records& records, Findings& findings);

}  // namespace sbx::tool::lint
