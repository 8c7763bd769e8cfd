/* Walks two job scripts side by side with the compiled records: counts what is there, and says where they
 * differ. */
#ifndef PRINT_SHOP_WALK_H_
#define PRINT_SHOP_WALK_H_

#include <stddef.h>
#include <stdio.h>

#include "records.h"

typedef struct Walk {
  FILE* out;            /* where differences are told, a line each; null: they are only counted */
  unsigned records;     /* met in the first script, embedded ones too */
  unsigned items;       /* met in the first script */
  unsigned differences; /* items that are not the same in both */
  char path[160];       /* of the record being walked */
  size_t pathLength;
} Walk;

/* Compares every item of every record; what lies behind pointers is compared, not the pointers. `context` and
 * the untold rest behind it stay out of it. To count alone, walk a script beside itself. */
Walk WalkScripts(const JobScript* was, const JobScript* is, FILE* out);

#endif
