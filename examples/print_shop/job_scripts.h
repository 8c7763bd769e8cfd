/* Two filled job scripts. Both live as long as the program. */
#ifndef PRINT_SHOP_JOB_SCRIPTS_H_
#define PRINT_SHOP_JOB_SCRIPTS_H_

#include "records.h"

/* Goes out and comes back with every field the same: it keeps to what the XML can carry. "void*" items are
 * null, control characters stand in plain ASCII texts, floats are exact in six decimals, no text is narrow.
 */
const JobScript* CircleScript(void);

/* Shows what can only go out, in its `legacy` record and its `context`. */
const JobScript* OneWayScript(void);

#endif
