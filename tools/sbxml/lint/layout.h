// Where items lie in their records.
#pragma once

#include "sbxml/lint/model.h"

namespace sbx::tool::lint {

// Items beyond their record, items that share bytes, records that hold themselves.
void CheckLayout(Records& records, Findings& findings);

}  // namespace sbx::tool::lint
