/* Edits a script's XML as people do, and shows what the library makes of it. */
#ifndef PRINT_SHOP_EDIT_H_
#define PRINT_SHOP_EDIT_H_

#include <stdbool.h>

#include "records.h"

/* `xml` is the circle script's. False if an edited text did not come back as a script. */
bool ShowEdits(const JobScript* script, const SBXChar* xml);

#endif
