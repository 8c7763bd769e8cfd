#include "show.h"

#include <stdbool.h>
#include <stddef.h>

#include "text.h"

/* The position behind the `>` of the tag at `tag`, or the end of the text. */
static const SBXChar* EndOfTag(const SBXChar* tag) {
  while (*tag != 0 && *tag != '>') ++tag;
  return *tag == 0 ? tag : tag + 1;
}

static const SBXChar* EndOfText(const SBXChar* text) {
  while (*text != 0 && *text != '<') ++text;
  return text;
}

/* Line breaks between tags, which the documents of some systems have, are no content. */
static bool IsBlank(const SBXChar* from, const SBXChar* to) {
  while (from != to && IsBlankUnit(*from)) ++from;
  return from == to;
}

static bool IsClosingTag(const SBXChar* tag) {
  return tag[0] == '<' && tag[1] == '/';
}
static bool IsEmptyElement(const SBXChar* tag, const SBXChar* end) {
  return end - tag > 2 && end[-2] == '/';
}

static void PrintLine(FILE* out, int depth, const SBXChar* from, const SBXChar* to) {
  fprintf(out, "%*s", 2 * depth, "");
  PrintUnits(out, from, (size_t)(to - from));
  fputc('\n', out);
}

void ShowXml(FILE* out, const SBXChar* xml) {
  int depth = 0;
  while (*xml != 0) {
    if (*xml != '<') {
      const SBXChar* const end = EndOfText(xml);
      if (!IsBlank(xml, end)) PrintLine(out, depth, xml, end);
      xml = end;
      continue;
    }
    const bool closes = IsClosingTag(xml);
    const SBXChar* end = EndOfTag(xml);
    const bool opens = !closes && !IsEmptyElement(xml, end);
    if (closes) --depth;
    if (opens && IsClosingTag(EndOfText(end))) {
      end = EndOfTag(EndOfText(end)); /* an element with text alone stays on one line */
      PrintLine(out, depth, xml, end);
    } else {
      PrintLine(out, depth, xml, end);
      if (opens) ++depth;
    }
    xml = end;
  }
}
