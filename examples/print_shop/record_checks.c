/* Nothing but assertions: every size and offset that descriptions.xml tells the library is that of the
 * records. */
#include "records.h"

/* generated */
#include "record_checks.h"
