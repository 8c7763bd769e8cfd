/* The header compiles alone, before any other, and twice. */
#include "sbxml.h"
#include "sbxml.h" /* NOLINT(readability-duplicate-include) */

const SBXChar* Text(void);
const SBXChar* Text(void) {
  return SBX_TEXT("text");
}
