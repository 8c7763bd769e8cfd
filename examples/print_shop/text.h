/* Texts: UTF-16 in records and at the library, UTF-8 on the command line and the terminal. */
#ifndef PRINT_SHOP_TEXT_H_
#define PRINT_SHOP_TEXT_H_

#include <stdbool.h>
#include <stddef.h>
#include <stdio.h>

#include "sbxml.h"

size_t TextLength(const SBXChar* text);

bool TextEqual(const SBXChar* left, const SBXChar* right);

/* Whether XML takes the unit for white space. */
bool IsBlankUnit(SBXChar unit);

/* Prints `length` units as UTF-8; an unpaired surrogate shows as U+FFFD. */
void PrintUnits(FILE* out, const SBXChar* text, size_t length);

void PrintText(FILE* out, const SBXChar* text);

/* The caller frees the result. Null if memory is refused. `utf8` is taken to be well-formed. */
SBXChar* TextFromUtf8(const char* utf8);

/* Copies of `text` for the caller to free, with one change: the first `old` replaced by `new`, or left out
 * all from the first `from` to the end of the first `to` behind it. What is looked for may have white space
 * between its tags there. Null if `text` lacks one of them or memory is refused. */
SBXChar* TextReplaced(const SBXChar* text, const SBXChar* old, const SBXChar* new);
SBXChar* TextWithout(const SBXChar* text, const SBXChar* from, const SBXChar* to);

#endif
