/* The header compiles alone, before any other, and twice. */
#include "sbxml.h"
#include "sbxml.h" /* NOLINT(readability-duplicate-include) */

static_assert(sizeof(SBX_TEXT("text")) == 5 * sizeof(SBXChar));
