/* The header compiles alone, before any other, and twice. */
#include "sbxml_module.h"
#include "sbxml_module.h" /* NOLINT(readability-duplicate-include) */
