/* Shows the library's XML to people. What the library writes has no white space between elements; this adds
 * line breaks and indentation on the screen alone. */
#ifndef PRINT_SHOP_SHOW_H_
#define PRINT_SHOP_SHOW_H_

#include <stdio.h>

#include "sbxml.h"

/* Prints XML as UTF-8, one element a line, indented. `xml` is text as the library writes it: elements and
 * text. */
void ShowXml(FILE* out, const SBXChar* xml);

#endif
