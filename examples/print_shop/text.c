#include "text.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

size_t TextLength(const SBXChar* text) {
  size_t length = 0;
  while (text[length] != 0) ++length;
  return length;
}

bool TextEqual(const SBXChar* left, const SBXChar* right) {
  const size_t length = TextLength(left);
  return length == TextLength(right) && memcmp(left, right, length * sizeof *left) == 0;
}

bool IsBlankUnit(SBXChar unit) {
  return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n';
}

static void PrintCharacter(FILE* out, uint32_t code) {
  if (code < 0x80) {
    fputc((int)code, out);
  } else if (code < 0x800) {
    fputc((int)(0xC0 | (code >> 6)), out);
    fputc((int)(0x80 | (code & 0x3F)), out);
  } else if (code < 0x10000) {
    fputc((int)(0xE0 | (code >> 12)), out);
    fputc((int)(0x80 | ((code >> 6) & 0x3F)), out);
    fputc((int)(0x80 | (code & 0x3F)), out);
  } else {
    fputc((int)(0xF0 | (code >> 18)), out);
    fputc((int)(0x80 | ((code >> 12) & 0x3F)), out);
    fputc((int)(0x80 | ((code >> 6) & 0x3F)), out);
    fputc((int)(0x80 | (code & 0x3F)), out);
  }
}

static bool IsHighSurrogate(uint32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
static bool IsLowSurrogate(uint32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

void PrintUnits(FILE* out, const SBXChar* text, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    const uint32_t unit = text[i];
    if (IsHighSurrogate(unit) && i + 1 < length && IsLowSurrogate(text[i + 1])) {
      PrintCharacter(out, 0x10000 + ((unit - 0xD800) << 10) + (text[i + 1] - 0xDC00U));
      ++i;
    } else if (IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
      PrintCharacter(out, 0xFFFD);
    } else {
      PrintCharacter(out, unit);
    }
  }
}

void PrintText(FILE* out, const SBXChar* text) {
  PrintUnits(out, text, TextLength(text));
}

/* Takes one character from well-formed UTF-8. */
static uint32_t NextCharacter(const unsigned char** at) {
  const uint32_t first = *(*at)++;
  int more = first < 0x80 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
  uint32_t code = more == 0 ? first : first & (0x3FU >> more);
  for (; more > 0 && **at != 0; --more) code = (code << 6) | (*(*at)++ & 0x3FU);
  return code;
}

SBXChar* TextFromUtf8(const char* utf8) {
  SBXChar* const text = malloc((strlen(utf8) + 1) * sizeof *text);
  if (text == NULL) return NULL;
  SBXChar* end = text;
  for (const unsigned char* at = (const unsigned char*)utf8; *at != 0;) {
    const uint32_t code = NextCharacter(&at);
    if (code < 0x10000) {
      *end++ = (SBXChar)code;
    } else {
      *end++ = (SBXChar)(0xD800 + ((code - 0x10000) >> 10));
      *end++ = (SBXChar)(0xDC00 + ((code - 0x10000) & 0x3FF));
    }
  }
  *end = 0;
  return text;
}

/* The end of `what` at the beginning of `text`; null if something else stands there. */
static const SBXChar* EndOf(const SBXChar* what, const SBXChar* text) {
  for (SBXChar before = 0; *what != 0; before = *what++, ++text) {
    while (before == '>' && *what == '<' && IsBlankUnit(*text)) ++text;
    if (*text != *what) return NULL;
  }
  return text;
}

/* The first `what` in `text`, and its end; null if there is none. */
static const SBXChar* Find(const SBXChar* text, const SBXChar* what, const SBXChar** end) {
  for (; *text != 0; ++text) {
    *end = EndOf(what, text);
    if (*end != NULL) return text;
  }
  return NULL;
}

/* `text` up to `head`, then `middle`, then all from `tail` on. */
static SBXChar* Joined(const SBXChar* text, const SBXChar* head, const SBXChar* middle, const SBXChar* tail) {
  const size_t headLength = (size_t)(head - text);
  const size_t middleLength = TextLength(middle);
  const size_t tailLength = TextLength(tail) + 1;
  SBXChar* const result = malloc((headLength + middleLength + tailLength) * sizeof *result);
  if (result == NULL) return NULL;
  memcpy(result, text, headLength * sizeof *result);
  memcpy(result + headLength, middle, middleLength * sizeof *result);
  memcpy(result + headLength + middleLength, tail, tailLength * sizeof *result);
  return result;
}

SBXChar* TextReplaced(const SBXChar* text, const SBXChar* old, const SBXChar* new) {
  const SBXChar* end = NULL;
  const SBXChar* const begin = Find(text, old, &end);
  return begin == NULL ? NULL : Joined(text, begin, new, end);
}

SBXChar* TextWithout(const SBXChar* text, const SBXChar* from, const SBXChar* to) {
  const SBXChar* end = NULL;
  const SBXChar* const begin = Find(text, from, &end);
  return begin == NULL || Find(end, to, &end) == NULL ? NULL : Joined(text, begin, SBX_TEXT(""), end);
}
