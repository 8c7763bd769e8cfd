/* The scheduler of a print shop, as a host of the library: it turns two job scripts from its own memory into
 * XML, and takes one of them back. See README.md. */
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#if defined(_WIN32)
#include <objbase.h>
#endif

#include "convert.h"
#include "edit.h"
#include "job_scripts.h"
#include "show.h"
#include "text.h"
#include "walk.h"

typedef struct Options {
  bool circle;
  bool oneWay;
  bool speed;
  const char* folder;
} Options;

static const char kUsage[] =
    "Usage: print_shop [OPTION]...\n"
    "Converts the job scripts of a print shop from memory to XML and back.\n"
    "\n"
    "  --script NAME     circle (comes back unchanged), one-way (shows the rest) or both; both without this "
    "option\n"
    "  --output FOLDER   where circle.xml and one-way.xml are written; the current folder without this "
    "option\n"
    "  --no-speed        do not measure\n"
    "  --help            this text\n"
    "\n"
    "The exit status is 0 if all went well, 1 if a conversion failed or a script came back changed, 2 for a "
    "wrong\n"
    "command line.\n";

/* The value of an option that needs one; null if the command line ends. */
static const char* ValueOf(int argc, char** argv, int* at) {
  return *at + 1 < argc ? argv[++*at] : NULL;
}

static bool ParseScript(const char* name, Options* options) {
  if (name == NULL) return false;
  const bool both = strcmp(name, "both") == 0;
  options->circle = both || strcmp(name, "circle") == 0;
  options->oneWay = both || strcmp(name, "one-way") == 0;
  return options->circle || options->oneWay;
}

static bool ParseOptions(int argc, char** argv, Options* options) {
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--script") == 0) {
      if (!ParseScript(ValueOf(argc, argv, &i), options)) return false;
    } else if (strcmp(argv[i], "--output") == 0) {
      options->folder = ValueOf(argc, argv, &i);
      if (options->folder == NULL) return false;
    } else if (strcmp(argv[i], "--no-speed") == 0) {
      options->speed = false;
    } else {
      return false;
    }
  }
  return true;
}

/* "<folder>/<name>.xml", for the caller to free. */
static SBXChar* PathOf(const char* folder, const char* name) {
  const size_t room = strlen(folder) + strlen(name) + sizeof "/.xml";
  char* const path = malloc(room);
  if (path == NULL) return NULL;
  snprintf(path, room, "%s/%s.xml", folder, name);
  SBXChar* const text = TextFromUtf8(path);
  free(path);
  return text;
}

static void TellSpeed(const char* what, double seconds) {
  if (seconds > 0) printf("%s: %.1f microseconds, %.0f a second.\n", what, seconds * 1e6, 1 / seconds);
}

/* Out to text, to the screen and to a file. The text is the caller's to free. */
static SBXChar* ConvertOut(const char* name, const JobScript* script, const SBXChar* path, bool speed) {
  size_t units = 0;
  SBXChar* const xml = ScriptToText(script, &units);
  if (xml == NULL) return NULL;
  ShowXml(stdout, xml);

  const Walk walk = WalkScripts(script, script, NULL);
  printf("\n%s: %u records with %u items became %zu characters of XML.\n", name, walk.records, walk.items,
         units);
  if (speed) TellSpeed("Memory to XML, with both documents loaded", TimeToText(script, units));
  if (!ScriptToFile(script, path)) {
    free(xml);
    return NULL;
  }
  printf("Written to ");
  PrintText(stdout, path);
  printf("\n");
  return xml;
}

static bool RunOneWay(const SBXChar* path, bool speed) {
  printf("\n--- one-way: what can be shown, but not all of it brought back ---\n\n");
  SBXChar* const xml = ConvertOut("one-way", OneWayScript(), path, speed);
  if (xml == NULL) return false;

  /* What `context` points to is lost, and the library says so instead of inventing something. */
  RebuiltScript rebuilt;
  const int32_t code = TextToScript(xml, &rebuilt);
  free(xml);
  if (code == SBX_OK) {
    fprintf(stderr, "print_shop: the one-way script came back; it should not\n");
    FreeScript(&rebuilt);
    return false;
  }
  printf("The way back ends, as it has to, in ");
  TellFailure(stdout, "SBXXMLToBinary", code);
  return true;
}

/* From the file to memory, compared with the script that went out. */
static bool ComesBack(const JobScript* script, const SBXChar* path) {
  SBXChar* const xml = ReadXmlFile(path);
  if (xml == NULL) return false;
  RebuiltScript rebuilt;
  const int32_t code = TextToScript(xml, &rebuilt);
  free(xml);
  if (code != SBX_OK) {
    TellFailure(stderr, "SBXXMLToBinary", code);
    return false;
  }
  const Walk walk = WalkScripts(script, rebuilt.script, stdout);
  printf("Read back from the file into %u bytes, %u items compared field by field: %s\n",
         (unsigned)rebuilt.bytes, walk.items, walk.differences == 0 ? "identical" : "not the same");
  FreeScript(&rebuilt);
  return walk.differences == 0;
}

static bool RunCircle(const SBXChar* path, bool speed) {
  printf("\n--- circle: from memory to XML and back ---\n\n");
  const JobScript* const script = CircleScript();
  SBXChar* const xml = ConvertOut("circle", script, path, speed);
  if (xml == NULL) return false;
  if (speed) TellSpeed("XML to memory, with both documents loaded", TimeToScript(xml));
  const bool fine = ComesBack(script, path) && ShowEdits(script, xml);
  free(xml);
  if (!fine) return false;
  printf("\nAnd the file itself, which nobody edited:\n");
  return ComesBack(script, path);
}

static bool Run(const char* name, bool (*run)(const SBXChar*, bool), const Options* options) {
  SBXChar* const path = PathOf(options->folder, name);
  const bool fine = path != NULL && run(path, options->speed);
  free(path);
  return fine;
}

int main(int argc, char** argv) {
  Options options = {.circle = true, .oneWay = true, .speed = true, .folder = "."};
  if (argc == 2 && strcmp(argv[1], "--help") == 0) {
    fputs(kUsage, stdout);
    return 0;
  }
  if (!ParseOptions(argc, argv, &options)) {
    fputs(kUsage, stderr);
    return 2;
  }
#if defined(_WIN32)
  /* The documents are MSXML's, which needs the component runtime on every thread that converts. */
  if (FAILED(CoInitializeEx(NULL, COINIT_MULTITHREADED))) return 1;
#endif
  bool fine = CheckRecordSizes();
  if (fine && options.oneWay) fine = Run("one-way", RunOneWay, &options);
  if (fine && options.circle) fine = Run("circle", RunCircle, &options);
  return fine ? 0 : 1;
}
