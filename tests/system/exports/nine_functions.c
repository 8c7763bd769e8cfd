/* Every function of the interface once, by a C program linked with the shared library: good arguments and the
 * plainest bad ones. What the functions do in depth is tested beside their sources. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#if defined(_WIN32)
#include <objbase.h>
#endif

#include "nine_functions_module_embed.h"
#include "sbxml.h"

typedef struct Backup {
  uint32_t id;
  const SBXChar* target;
} Backup;

enum { kDescriptions = 101, kRules = 102, kTextUnits = 256 };

static const SBXChar kXml[] = SBX_TEXT(
    "<JobScriptXMLDescription><Backup><id>7</id><target>vault</target></Backup></JobScriptXMLDescription>");

static int g_failures = 0;

static void Expect(int holds, const char* what, int line) {
  if (holds) return;
  printf("line %d: %s\n", line, what);
  ++g_failures;
}
#define EXPECT(condition) Expect(condition, #condition, __LINE__)

/* What a system adds to the text of a document, to set its elements apart. */
static int IsBreak(SBXChar unit) {
  return unit == '\r' || unit == '\n' || unit == '\t';
}

static int SameText(const SBXChar* left, const SBXChar* right) {
  for (;;) {
    while (IsBreak(*left)) ++left;
    while (IsBreak(*right)) ++right;
    if (*left != *right) return 0;
    if (*left == 0) return 1;
    ++left;
    ++right;
  }
}

static int32_t UnitsOf(const SBXChar* text) {
  int32_t units = 0;
  while (text[units] != 0) ++units;
  return units;
}

static void VerifiesSizes(void) {
  int64_t size = 0;
  EXPECT(SBXVerifyStructSize(&nine_functions_module, kDescriptions, kRules, SBX_TEXT("Backup"),
                             sizeof(Backup), &size) == SBX_OK);
  EXPECT(size == (int64_t)sizeof(Backup));
  EXPECT(SBXVerifyStructSize(&nine_functions_module, kDescriptions, kRules, SBX_TEXT("Backup"), 1, NULL) ==
         SBX_E_STATE);
  EXPECT(SBXVerifyStructSize(&nine_functions_module, kDescriptions, 9, SBX_TEXT("Backup"), 1, NULL) ==
         SBX_E_RESOURCE);
  EXPECT(SBXVerifyStructSize(NULL, kDescriptions, kRules, SBX_TEXT("Backup"), 1, NULL) == SBX_E_PARAMETER);
}

static void WritesAText(const Backup* backup) {
  SBXChar text[kTextUnits] = {0};
  int32_t size = 0;
  EXPECT(SBXBinaryToXML_Text(&nine_functions_module, kDescriptions, kRules, SBX_TEXT("Backup"), backup,
                             sizeof *backup, NULL, &size, 0) == SBX_E_BUFFER);
  const int32_t need = size;
  SBXGetLastError(text, kTextUnits);
  EXPECT(SameText(text, SBX_TEXT("Need more buffers for the job script XML")));
  size = kTextUnits;
  EXPECT(SBXBinaryToXML_Text(&nine_functions_module, kDescriptions, kRules, SBX_TEXT("Backup"), backup,
                             sizeof *backup, text, &size, 1) == SBX_OK);
  EXPECT(text[0] == 0xFEFF && SameText(text + 1, kXml));
  EXPECT(need == UnitsOf(text) && size == need + 1);
  EXPECT(SBXBinaryToXML_Text(&nine_functions_module, kDescriptions, kRules, SBX_TEXT("Backup"), NULL, 0, text,
                             &size, 0) == SBX_E_PARAMETER);
}

static void RebuildsTheRecord(void) {
  JSHandle* handle = NULL;
  void* root = NULL;
  uint32_t size = 0;
  EXPECT(SBXXMLToBinary(&nine_functions_module, kDescriptions, kRules, SBX_TEXT("Backup"), kXml, &handle) ==
         SBX_OK);
  EXPECT(SBXHandleToBuffer(handle, &root, &size) == SBX_OK);
  EXPECT(root != NULL && size >= sizeof(Backup));
  if (root != NULL) {
    const Backup* backup = root;
    EXPECT(backup->id == 7 && SameText(backup->target, SBX_TEXT("vault")));
  }
  EXPECT(SBXFreeJSHandle(handle) == SBX_OK);
  EXPECT(SBXHandleToBuffer(handle, &root, &size) == SBX_E_PARAMETER);
  EXPECT(SBXFreeJSHandle(NULL) == SBX_OK);
}

static void WritesAndReadsFiles(const Backup* backup, const SBXChar* path) {
  SBXChar text[kTextUnits];
  int32_t size = sizeof text;
  EXPECT(SBXBinaryToXML_File(&nine_functions_module, kDescriptions, kRules, SBX_TEXT("Backup"), backup,
                             sizeof *backup, path) == SBX_OK);
  EXPECT(SBXReadXML(path, text, &size) == SBX_OK && SameText(text, kXml));
  EXPECT(SBXWriteXML(path, SBX_TEXT("<a/>"), 2) == SBX_OK);
  size = sizeof text;
  EXPECT(SBXReadXML(path, text, &size) == SBX_OK && SameText(text, SBX_TEXT("<a/>")));
  EXPECT(SBXWriteXML(NULL, SBX_TEXT("<a/>"), 2) == SBX_E_PARAMETER);
}

int main(int argc, char** argv) {
  const Backup backup = {7, SBX_TEXT("vault")};
  SBXChar path[kTextUnits] = {0};
#if defined(_WIN32)
  if (FAILED(CoInitializeEx(NULL, COINIT_MULTITHREADED))) return 2;
#endif
  if (argc != 2 || strlen(argv[1]) >= kTextUnits) return 2;
  for (size_t i = 0; argv[1][i] != '\0'; ++i) path[i] = (unsigned char)argv[1][i];

  VerifiesSizes();
  WritesAText(&backup);
  RebuildsTheRecord();
  WritesAndReadsFiles(&backup, path);
  return g_failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
