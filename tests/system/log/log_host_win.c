/* A host of the library that logs when it is told to: reads commands from the standard input, one letter
 * each, and answers each with "done". */
#include <stdio.h>

#include "sbxml.h"

int main(void) {
  puts("ready");
  fflush(stdout);
  for (int command = getchar(); command != EOF && command != 'q'; command = getchar()) {
    if (command == 'w') SBXWriteXML(NULL, SBX_TEXT("x"), 0); /* a message of level 0 */
    puts("done");
    fflush(stdout);
  }
  return 0;
}
