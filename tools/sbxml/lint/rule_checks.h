// Each rule by itself and among the rules of its record.
#pragma once

#include "sbxml/lint/paths.h"
#include "sbxml/lint/usage.h"

namespace sbx::tool::lint {

void CheckRules(Records& records, const Rules& rules, const Paths& paths, const Usage& usage,
                Findings& findings);

}  // namespace sbx::tool::lint
