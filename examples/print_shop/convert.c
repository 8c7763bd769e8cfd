#include "convert.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#if defined(_WIN32)
#include <windows.h>
#endif

#include "print_shop_documents_embed.h"
#include "text.h"

#define MODULE (&print_shop_documents)
static const uint32_t kDescriptionsId = 101; /* as in CMakeLists.txt */
static const uint32_t kRulesId = 102;
static const SBXChar kRoot[] = SBX_TEXT("JobScript");

static const char* NameOfCode(int32_t code) {
  switch (code) {
    case SBX_E_NOT_FOUND:
      return "not found";
    case SBX_E_PARAMETER:
      return "invalid parameters";
    case SBX_E_MEMORY:
      return "out of memory";
    case SBX_E_DESCRIPTION:
      return "the description contradicts the data";
    case SBX_E_STATE:
      return "a needed object is missing";
    case SBX_E_DOM:
      return "no document";
    case SBX_E_RESOURCE:
      return "the shop's documents can't be loaded";
    case SBX_E_CONTENT:
      return "bad XML";
    case SBX_E_BUFFER:
      return "the buffer is too small";
    case SBX_E_FILE:
      return "the file can't be read or written";
    case SBX_E_ADDRESS:
      return "a pointer leads nowhere";
    default:
      return "unknown code";
  }
}

/* The library's own text says most, but not every failure sets one, and some leave that of an earlier call.
 */
void TellFailure(FILE* out, const char* call, int32_t code) {
  SBXChar text[512];
  SBXGetLastError(text, (int32_t)(sizeof text / sizeof *text));
  fprintf(out, "%s: %" PRId32 " (%s)", call, code, NameOfCode(code));
  if (text[0] != 0) {
    fputs(": ", out);
    PrintText(out, text);
  }
  fputc('\n', out);
}

/* --- sizes ---------------------------------------------------------------------------------------------- */

typedef struct RecordSize {
  const SBXChar* name;
  size_t size;
} RecordSize;

static const RecordSize kRecordSizes[] = {
    {SBX_TEXT("JobScript"), sizeof(JobScript)},
    {SBX_TEXT("Order"), sizeof(Order)},
    {SBX_TEXT("Customer"), sizeof(Customer)},
    {SBX_TEXT("Document"), sizeof(Document)},
    {SBX_TEXT("Page"), sizeof(Page)},
    {SBX_TEXT("PaperChoice"), sizeof(PaperChoice)},
    {SBX_TEXT("PaperStock"), sizeof(PaperStock)},
    {SBX_TEXT("TextContent"), sizeof(TextContent)},
    {SBX_TEXT("ImageContent"), sizeof(ImageContent)},
    {SBX_TEXT("Tray"), sizeof(Tray)},
    {SBX_TEXT("Ink"), sizeof(Ink)},
    {SBX_TEXT("Finisher"), sizeof(Finisher)},
    {SBX_TEXT("Stapler"), sizeof(Stapler)},
    {SBX_TEXT("BookletMaker"), sizeof(BookletMaker)},
    {SBX_TEXT("Puncher"), sizeof(Puncher)},
    {SBX_TEXT("Delivery"), sizeof(Delivery)},
    {SBX_TEXT("PostalAddress"), sizeof(PostalAddress)},
    {SBX_TEXT("PickupPoint"), sizeof(PickupPoint)},
    {SBX_TEXT("Legacy"), sizeof(Legacy)},
};

/* The build has compared sizes already. A running host asks again where the documents may come from
 * elsewhere. */
bool CheckRecordSizes(void) {
  for (size_t i = 0; i < sizeof kRecordSizes / sizeof *kRecordSizes; ++i) {
    const RecordSize* const record = &kRecordSizes[i];
    const int32_t code =
        SBXVerifyStructSize(MODULE, kDescriptionsId, kRulesId, record->name, record->size, NULL);
    if (code != SBX_OK) {
      TellFailure(stderr, "SBXVerifyStructSize", code);
      return false;
    }
  }
  printf("%zu records are described with the sizes that the shop was compiled with.\n",
         sizeof kRecordSizes / sizeof *kRecordSizes);
  return true;
}

/* --- memory to XML -------------------------------------------------------------------------------------- */

/* `units` is the buffer's capacity on the way in and the need on the way out, the closing zero included. */
static int32_t ToText(const JobScript* script, SBXChar* buffer, int32_t* units) {
  return SBXBinaryToXML_Text(MODULE, kDescriptionsId, kRulesId, kRoot, script, sizeof *script, buffer, units,
                             0);
}

SBXChar* ScriptToText(const JobScript* script, size_t* units) {
  int32_t need = 0;
  int32_t code = ToText(script, NULL, &need); /* asks for the need */
  if (code != SBX_E_BUFFER) {
    TellFailure(stderr, "SBXBinaryToXML_Text", code);
    return NULL;
  }
  SBXChar* const text = malloc((size_t)need * sizeof *text);
  code = text == NULL ? SBX_E_MEMORY : ToText(script, text, &need);
  if (code != SBX_OK) {
    TellFailure(stderr, "SBXBinaryToXML_Text", code);
    free(text);
    return NULL;
  }
  *units = (size_t)need - 1;
  return text;
}

bool ScriptToFile(const JobScript* script, const SBXChar* path) {
  const int32_t code =
      SBXBinaryToXML_File(MODULE, kDescriptionsId, kRulesId, kRoot, script, sizeof *script, path);
  if (code != SBX_OK) TellFailure(stderr, "SBXBinaryToXML_File", code);
  return code == SBX_OK;
}

/* --- XML to memory -------------------------------------------------------------------------------------- */

SBXChar* ReadXmlFile(const SBXChar* path) {
  int32_t bytes = 0;
  int32_t code = SBXReadXML(path, NULL, &bytes); /* asks for the need */
  if (code != SBX_E_BUFFER) {
    TellFailure(stderr, "SBXReadXML", code);
    return NULL;
  }
  SBXChar* const text = malloc((size_t)bytes);
  code = text == NULL ? SBX_E_MEMORY : SBXReadXML(path, text, &bytes);
  if (code != SBX_OK) {
    TellFailure(stderr, "SBXReadXML", code);
    free(text);
    return NULL;
  }
  return text;
}

int32_t TextToScript(const SBXChar* xml, RebuiltScript* rebuilt) {
  void* root = NULL;
  int32_t code = SBXXMLToBinary(MODULE, kDescriptionsId, kRulesId, kRoot, xml, &rebuilt->handle);
  if (code != SBX_OK) return code;
  code = SBXHandleToBuffer(rebuilt->handle, &root, &rebuilt->bytes);
  if (code != SBX_OK) SBXFreeJSHandle(rebuilt->handle);
  rebuilt->script = root;
  return code;
}

void FreeScript(RebuiltScript* rebuilt) {
  SBXFreeJSHandle(rebuilt->handle);
}

/* --- how fast ------------------------------------------------------------------------------------------- */

static const double kTimeToSpend = 0.25;

static double Now(void) {
#if defined(_WIN32)
  return (double)GetTickCount64() / 1e3; /* its C library knows no finer clock of C11 */
#else
  struct timespec now;
  timespec_get(&now, TIME_UTC);
  return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
#endif
}

double TimeToText(const JobScript* script, size_t units) {
  SBXChar* const buffer = malloc((units + 1) * sizeof *buffer);
  if (buffer == NULL) return 0;
  unsigned conversions = 0;
  const double begin = Now();
  double spent = 0;
  for (; spent < kTimeToSpend; spent = Now() - begin, ++conversions) {
    int32_t need = (int32_t)units + 1;
    if (ToText(script, buffer, &need) != SBX_OK) break;
  }
  free(buffer);
  return conversions == 0 ? 0 : spent / conversions;
}

double TimeToScript(const SBXChar* xml) {
  unsigned conversions = 0;
  const double begin = Now();
  double spent = 0;
  for (; spent < kTimeToSpend; spent = Now() - begin, ++conversions) {
    RebuiltScript rebuilt;
    if (TextToScript(xml, &rebuilt) != SBX_OK) break;
    FreeScript(&rebuilt);
  }
  return conversions == 0 ? 0 : spent / conversions;
}
