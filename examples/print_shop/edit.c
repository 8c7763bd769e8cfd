#include "edit.h"

#include <stdio.h>
#include <stdlib.h>

#include "convert.h"
#include "text.h"
#include "walk.h"

/* One change to the text: `old` becomes `new`, or, without `new`, all from `old` to `end` is dropped. */
typedef struct Edit {
  const char* words;
  const SBXChar* old;
  const SBXChar* new;
  const SBXChar* end;
} Edit;

static const Edit kEdits[] = {
    {"another path", .old = SBX_TEXT("<source>/spool/4711/report.pdf<"),
     .new = SBX_TEXT("<source>/archive/年次/report-final.pdf<")},
    {"a number in another form, with words behind it", .old = SBX_TEXT("<copies>250<"),
     .new = SBX_TEXT("<copies>0x12C (three hundred)<")},
    {"another count: there are still two documents, so it is set right", .old = SBX_TEXT("<documentCount>2<"),
     .new = SBX_TEXT("<documentCount>7<")},
    {"a dropped element of an array: its count follows", .old = SBX_TEXT("<Ink><name>White</name>"),
     .end = SBX_TEXT("</Ink>")},
    {"a dropped item: it stays null", .old = SBX_TEXT("<title>"), .end = SBX_TEXT("</title>")},
};

static SBXChar* Edited(const SBXChar* xml, const Edit* edit) {
  return edit->new != NULL ? TextReplaced(xml, edit->old, edit->new) : TextWithout(xml, edit->old, edit->end);
}

static bool ShowEdit(const JobScript* script, const SBXChar* xml, const Edit* edit) {
  printf("\nEdited: %s\n", edit->words);
  SBXChar* const edited = Edited(xml, edit);
  if (edited == NULL) {
    fprintf(stderr, "print_shop: the text to edit was not found\n");
    return false;
  }
  RebuiltScript rebuilt;
  const int32_t code = TextToScript(edited, &rebuilt);
  free(edited);
  if (code != SBX_OK) {
    TellFailure(stderr, "SBXXMLToBinary", code);
    return false;
  }
  const Walk walk = WalkScripts(script, rebuilt.script, stdout);
  if (walk.differences == 0) printf("  the same script came back\n");
  FreeScript(&rebuilt);
  return true;
}

bool ShowEdits(const JobScript* script, const SBXChar* xml) {
  for (size_t i = 0; i < sizeof kEdits / sizeof *kEdits; ++i) {
    if (!ShowEdit(script, xml, &kEdits[i])) return false;
  }
  return true;
}
