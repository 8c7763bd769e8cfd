/* The shop's calls of the library, for job scripts and with the shop's own documents. Where the result is not
 * a code of the library, a failure has been told on stderr. */
#ifndef PRINT_SHOP_CONVERT_H_
#define PRINT_SHOP_CONVERT_H_

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "records.h"

/* Tells a failed call with its code and the library's text for it. */
void TellFailure(FILE* out, const char* call, int32_t code);

/* True if every record of the descriptions has the size that the shop was compiled with. */
bool CheckRecordSizes(void);

/* The XML of a script, for the caller to free; null on failure. `units` receives its length. */
SBXChar* ScriptToText(const JobScript* script, size_t* units);

bool ScriptToFile(const JobScript* script, const SBXChar* path);

/* Text of an XML file, for the caller to free; null on failure. */
SBXChar* ReadXmlFile(const SBXChar* path);

/* A script rebuilt from XML. It lives until FreeScript(). */
typedef struct RebuiltScript {
  JSHandle* handle;
  const JobScript* script;
  uint32_t bytes; /* of all its blocks */
} RebuiltScript;

/* Returns SBX_OK, or the code of the call that failed; then there is nothing to free. */
int32_t TextToScript(const SBXChar* xml, RebuiltScript* rebuilt);

void FreeScript(RebuiltScript* rebuilt);

/* Seconds that a conversion takes, the mean of about a quarter of a second's worth; 0 on failure. */
double TimeToText(const JobScript* script, size_t units);
double TimeToScript(const SBXChar* xml);

#endif
