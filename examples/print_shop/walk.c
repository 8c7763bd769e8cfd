#include "walk.h"

#include <inttypes.h>
#include <stdarg.h>
#include <stdbool.h>
#include <string.h>

#include "text.h"

/* --- where the walk is ---------------------------------------------------------------------------------- */

/* Goes one step deeper; the result goes to Leave(). An index below 0 is none. */
static size_t Enter(Walk* walk, const char* item, int index) {
  const size_t before = walk->pathLength;
  const size_t room = sizeof walk->path - before;
  char* const end = walk->path + before;
  if (index < 0) {
    snprintf(end, room, "%s%s", before > 0 ? "." : "", item);
  } else {
    snprintf(end, room, "%s%s[%d]", before > 0 ? "." : "", item, index);
  }
  walk->pathLength += strlen(end);
  return before;
}

static void Leave(Walk* walk, size_t before) {
  walk->pathLength = before;
  walk->path[before] = 0;
}

static void BeginDifference(Walk* walk, const char* item) {
  ++walk->differences;
  if (walk->out != NULL) fprintf(walk->out, "  %s.%s: ", walk->path, item);
}

/* --- items ---------------------------------------------------------------------------------------------- */

static void Integer(Walk* walk, const char* item, int64_t was, int64_t is) {
  ++walk->items;
  if (was == is) return;
  BeginDifference(walk, item);
  if (walk->out != NULL) fprintf(walk->out, "%" PRId64 " became %" PRId64 "\n", was, is);
}

static void Unsigned(Walk* walk, const char* item, uint64_t was, uint64_t is) {
  ++walk->items;
  if (was == is) return;
  BeginDifference(walk, item);
  if (walk->out != NULL) fprintf(walk->out, "%" PRIu64 " became %" PRIu64 "\n", was, is);
}

static uint32_t Bits(float number) {
  uint32_t bits;
  memcpy(&bits, &number, sizeof bits);
  return bits;
}

static void Real(Walk* walk, const char* item, float was, float is) {
  ++walk->items;
  if (Bits(was) == Bits(is)) return;
  BeginDifference(walk, item);
  if (walk->out != NULL) fprintf(walk->out, "%f became %f\n", (double)was, (double)is);
}

/* An array of `count` numbers of `bytes` bytes in all; its bytes are compared. */
static void Numbers(Walk* walk, const char* item, const void* was, const void* is, size_t bytes) {
  ++walk->items;
  if (memcmp(was, is, bytes) == 0) return;
  BeginDifference(walk, item);
  if (walk->out != NULL) fprintf(walk->out, "other numbers\n");
}

static void PrintQuoted(FILE* out, const SBXChar* text) {
  if (text == NULL) {
    fputs("null", out);
    return;
  }
  fputc('"', out);
  PrintText(out, text);
  fputc('"', out);
}

static void Text(Walk* walk, const char* item, const SBXChar* was, const SBXChar* is) {
  ++walk->items;
  if (was == NULL || is == NULL ? was == is : TextEqual(was, is)) return;
  BeginDifference(walk, item);
  if (walk->out == NULL) return;
  PrintQuoted(walk->out, was);
  fputs(" became ", walk->out);
  PrintQuoted(walk->out, is);
  fputc('\n', walk->out);
}

static void Narrow(Walk* walk, const char* item, const char* was, const char* is) {
  ++walk->items;
  if (was == NULL || is == NULL ? was == is : strcmp(was, is) == 0) return;
  BeginDifference(walk, item);
  if (walk->out != NULL) fprintf(walk->out, "other narrow text\n");
}

/* A run of names, each with its zero. */
static void Names(Walk* walk, const char* item, const SBXChar* was, uint32_t wasCount, const SBXChar* is,
                  uint32_t isCount) {
  if (was == NULL || is == NULL || wasCount == 0 || isCount == 0) {
    Text(walk, item, was, is);
    return;
  }
  ++walk->items;
  bool same = wasCount == isCount;
  for (uint32_t i = 0; same && i < wasCount; ++i) {
    same = TextEqual(was, is);
    was += TextLength(was) + 1;
    is += TextLength(is) + 1;
  }
  if (same) return;
  BeginDifference(walk, item);
  if (walk->out != NULL) fprintf(walk->out, "other names\n");
}

/* A pointer to a record or to an array. True if both lead somewhere. */
static bool Pointer(Walk* walk, const char* item, const void* was, const void* is) {
  ++walk->items;
  if (was != NULL && is != NULL) return true;
  if (was != is) {
    BeginDifference(walk, item);
    if (walk->out != NULL)
      fprintf(walk->out, was == NULL ? "was null, now there\n" : "was there, now null\n");
  }
  return false;
}

static uint32_t Fewer(uint32_t left, uint32_t right) {
  return left < right ? left : right;
}

/* --- records, deepest first ----------------------------------------------------------------------------- */

static void WalkCustomer(Walk* walk, const Customer* was, const Customer* is) {
  ++walk->records;
  Integer(walk, "id", was->id, is->id);
  Text(walk, "name", was->name, is->name);
  Text(walk, "account", was->account, is->account);
}

static void WalkOrder(Walk* walk, const Order* was, const Order* is) {
  ++walk->records;
  Unsigned(walk, "number", was->number, is->number);
  Integer(walk, "channel", was->channel, is->channel);
  Integer(walk, "received", was->received, is->received);
  Integer(walk, "due", was->due, is->due);
  Integer(walk, "priority", was->priority, is->priority);
  Integer(walk, "rush", was->rush, is->rush);
  Integer(walk, "copies", was->copies, is->copies);
  Real(walk, "net", was->net, is->net);
  if (Pointer(walk, "customer", was->customer, is->customer)) {
    const size_t before = Enter(walk, "customer", -1);
    WalkCustomer(walk, was->customer, is->customer);
    Leave(walk, before);
  }
  Text(walk, "reference", was->reference, is->reference);
}

static void WalkPaperStock(Walk* walk, const PaperStock* was, const PaperStock* is) {
  ++walk->records;
  Integer(walk, "kind", was->kind, is->kind);
  Integer(walk, "colour", was->colour, is->colour);
  Text(walk, "name", was->name, is->name);
  Real(walk, "width", was->width, is->width);
  Real(walk, "height", was->height, is->height);
  Integer(walk, "grammage", was->grammage, is->grammage);
  Integer(walk, "fibre", was->fibre, is->fibre);
  Integer(walk, "brightness", was->brightness, is->brightness);
}

static void WalkPaperChoice(Walk* walk, const PaperChoice* was, const PaperChoice* is) {
  ++walk->records;
  Integer(walk, "tray", was->tray, is->tray);
  Integer(walk, "substitute", was->substitute, is->substitute);
  if (Pointer(walk, "paper", was->paper, is->paper)) {
    const size_t before = Enter(walk, "paper", -1);
    WalkPaperStock(walk, was->paper, is->paper);
    Leave(walk, before);
  }
}

static void WalkTextContent(Walk* walk, const TextContent* was, const TextContent* is) {
  ++walk->records;
  Text(walk, "font", was->font, is->font);
  Text(walk, "text", was->text, is->text);
  Real(walk, "size", was->size, is->size);
  Integer(walk, "colour", was->colour, is->colour);
  Integer(walk, "bullet", was->bullet, is->bullet);
}

static void WalkImageContent(Walk* walk, const ImageContent* was, const ImageContent* is) {
  ++walk->records;
  Text(walk, "path", was->path, is->path);
  Integer(walk, "width", was->width, is->width);
  Integer(walk, "height", was->height, is->height);
  Integer(walk, "dpi", was->dpi, is->dpi);
  Numbers(walk, "bits", was->bits, is->bits, sizeof was->bits);
}

/* What a page's union holds can only be compared where both pages say the same of it. */
static void WalkContent(Walk* walk, const Page* was, const Page* is) {
  if (!Pointer(walk, "content", was->content.none, is->content.none)) return;
  if (was->contentKind != is->contentKind) return;
  const size_t before = Enter(walk, "content", -1);
  if (was->contentKind == kContentText) WalkTextContent(walk, was->content.text, is->content.text);
  if (was->contentKind == kContentImage) WalkImageContent(walk, was->content.image, is->content.image);
  Leave(walk, before);
}

static void WalkPage(Walk* walk, const Page* was, const Page* is) {
  ++walk->records;
  Integer(walk, "number", was->number, is->number);
  Integer(walk, "rotation", was->rotation, is->rotation);
  Integer(walk, "contentKind", was->contentKind, is->contentKind);
  ++walk->items;
  const size_t before = Enter(walk, "paper", -1);
  WalkPaperChoice(walk, &was->paper, &is->paper);
  Leave(walk, before);
  Numbers(walk, "margins", was->margins, is->margins, sizeof was->margins);
  Numbers(walk, "coating", &was->coating, &is->coating, sizeof was->coating);
  WalkContent(walk, was, is);
}

static void WalkDocument(Walk* walk, const Document* was, const Document* is) {
  ++walk->records;
  Text(walk, "name", was->name, is->name);
  Text(walk, "source", was->source, is->source);
  Integer(walk, "size", was->size, is->size);
  Integer(walk, "modified", was->modified, is->modified);
  Integer(walk, "pageCount", was->pageCount, is->pageCount);
  if (Pointer(walk, "pages", was->pages, is->pages)) {
    for (uint32_t i = 0; i < Fewer(was->pageCount, is->pageCount); ++i) {
      const size_t before = Enter(walk, "pages", (int)i);
      WalkPage(walk, &was->pages[i], &is->pages[i]);
      Leave(walk, before);
    }
  }
  Numbers(walk, "checksum", was->checksum, is->checksum, sizeof was->checksum);
  Numbers(walk, "tabStops", was->tabStops, is->tabStops, sizeof was->tabStops);
}

static void WalkTray(Walk* walk, const Tray* was, const Tray* is) {
  ++walk->records;
  Integer(walk, "number", was->number, is->number);
  Numbers(walk, "label", was->label, is->label, sizeof was->label);
  Integer(walk, "sheets", was->sheets, is->sheets);
  Integer(walk, "capacity", was->capacity, is->capacity);
  Integer(walk, "state", was->state, is->state);
}

static void WalkInk(Walk* walk, const Ink* was, const Ink* is) {
  ++walk->records;
  Text(walk, "name", was->name, is->name);
  Integer(walk, "flags", was->flags, is->flags);
  Integer(walk, "level", was->level, is->level);
  Real(walk, "density", was->density, is->density);
  if ((was->flags & kInkSpot) != (is->flags & kInkSpot)) {
    ++walk->items;
  } else if (was->flags & kInkSpot) {
    Text(walk, "colour", was->colour.catalogue, is->colour.catalogue);
  } else {
    Numbers(walk, "colour", was->colour.cmyk, is->colour.cmyk, sizeof was->colour.cmyk);
  }
  if (Pointer(walk, "curve", was->curve, is->curve)) {
    --walk->items; /* one item, whatever its pointer leads to */
    Numbers(walk, "curve", was->curve, is->curve, 8 * sizeof *was->curve);
  }
}

static void WalkStapler(Walk* walk, const Stapler* was, const Stapler* is) {
  Integer(walk, "saddle", was->saddle, is->saddle);
  Integer(walk, "staples", was->staples, is->staples);
  Text(walk, "wire", was->wire, is->wire);
}

static void WalkBookletMaker(Walk* walk, const BookletMaker* was, const BookletMaker* is) {
  Integer(walk, "saddle", was->saddle, is->saddle);
  Real(walk, "trim", was->trim, is->trim);
  Integer(walk, "sheets", was->sheets, is->sheets);
  Text(walk, "cover", was->cover, is->cover);
}

static void WalkPuncher(Walk* walk, const Puncher* was, const Puncher* is) {
  Integer(walk, "holes", was->holes, is->holes);
  Real(walk, "spacing", was->spacing, is->spacing);
  Text(walk, "pattern", was->pattern, is->pattern);
}

static void WalkFinisher(Walk* walk, const AnyFinisher* was, const AnyFinisher* is) {
  ++walk->records;
  Integer(walk, "kind", was->finisher.kind, is->finisher.kind);
  Integer(walk, "stage", was->finisher.stage, is->finisher.stage);
  if (was->finisher.kind != is->finisher.kind) return;
  switch (was->finisher.kind) {
    case kFinisherStapler:
      if (was->stapler.saddle == 1 && is->stapler.saddle == 1) {
        WalkBookletMaker(walk, &was->booklet, &is->booklet);
      } else {
        WalkStapler(walk, &was->stapler, &is->stapler);
      }
      break;
    case kFinisherPuncher:
      WalkPuncher(walk, &was->puncher, &is->puncher);
      break;
    default:
      Numbers(walk, "settings", was->finisher.settings, is->finisher.settings, sizeof was->finisher.settings);
  }
}

static void WalkPostalAddress(Walk* walk, const PostalAddress* was, const PostalAddress* is) {
  ++walk->records;
  Text(walk, "name", was->name, is->name);
  Text(walk, "street", was->street, is->street);
  Text(walk, "city", was->city, is->city);
  Numbers(walk, "country", was->country, is->country, sizeof was->country);
}

static void WalkPickupPoint(Walk* walk, const PickupPoint* was, const PickupPoint* is) {
  ++walk->records;
  Text(walk, "code", was->code, is->code);
  Integer(walk, "counter", was->counter, is->counter);
  Numbers(walk, "hours", was->hours, is->hours, sizeof was->hours);
}

static void WalkDelivery(Walk* walk, const Delivery* was, const Delivery* is, bool bothByPickup,
                         bool bothByCourier) {
  ++walk->records;
  if (Pointer(walk, "target", was->target.address, is->target.address)) {
    const size_t before = Enter(walk, "target", -1);
    if (bothByPickup) WalkPickupPoint(walk, was->target.pickup, is->target.pickup);
    if (bothByCourier) WalkPostalAddress(walk, was->target.address, is->target.address);
    Leave(walk, before);
  }
  Names(walk, "printers", was->printers, was->printerCount, is->printers, is->printerCount);
  Integer(walk, "printerCount", was->printerCount, is->printerCount);
  Integer(walk, "weight", was->weight, is->weight);
  Text(walk, "note", was->note, is->note);
}

static void WalkLegacy(Walk* walk, const Legacy* was, const Legacy* is) {
  ++walk->records;
  Narrow(walk, "operatorName", was->operatorName, is->operatorName);
  Narrow(walk, "hostName", was->hostName, is->hostName);
  Pointer(walk, "total", was->total, is->total);
  Integer(walk, "serial", was->serial, is->serial);
  Real(walk, "share", was->share, is->share);
  Text(walk, "banner", was->banner, is->banner);
  Numbers(walk, "slot", was->slot, is->slot, sizeof was->slot);
  if (Pointer(walk, "finisher", was->finisher, is->finisher)) {
    const size_t before = Enter(walk, "finisher", -1);
    WalkFinisher(walk, was->finisher, is->finisher);
    Leave(walk, before);
  }
}

/* --- the job script ------------------------------------------------------------------------------------- */

static void WalkDocuments(Walk* walk, const JobScript* was, const JobScript* is) {
  if (!Pointer(walk, "documents", was->documents, is->documents)) return;
  for (uint32_t i = 0; i < Fewer(was->documentCount, is->documentCount); ++i) {
    const size_t before = Enter(walk, "documents", (int)i);
    WalkDocument(walk, &was->documents[i], &is->documents[i]);
    Leave(walk, before);
  }
}

static void WalkPress(Walk* walk, const JobScript* was, const JobScript* is) {
  ++walk->items;
  for (int i = 0; i < kTrays; ++i) {
    const size_t before = Enter(walk, "trays", i);
    WalkTray(walk, &was->trays[i], &is->trays[i]);
    Leave(walk, before);
  }
  if (Pointer(walk, "inks", was->inks, is->inks)) {
    for (uint32_t i = 0; i < Fewer(was->inkCount, is->inkCount); ++i) {
      const size_t before = Enter(walk, "inks", (int)i);
      WalkInk(walk, &was->inks[i], &is->inks[i]);
      Leave(walk, before);
    }
  }
  if (Pointer(walk, "finishers", was->finishers, is->finishers)) {
    for (uint32_t i = 0; i < Fewer(was->finisherCount, is->finisherCount); ++i) {
      const size_t before = Enter(walk, "finishers", (int)i);
      WalkFinisher(walk, &was->finishers[i], &is->finishers[i]);
      Leave(walk, before);
    }
  }
}

static void WalkLeavers(Walk* walk, const JobScript* was, const JobScript* is) {
  if (Pointer(walk, "delivery", was->delivery, is->delivery)) {
    const uint32_t channel = was->order.channel == is->order.channel ? was->order.channel : 0;
    const size_t before = Enter(walk, "delivery", -1);
    WalkDelivery(walk, was->delivery, is->delivery, channel == kChannelPickup, channel == kChannelCourier);
    Leave(walk, before);
  }
  Pointer(walk, "context", was->context, is->context);
  if (Pointer(walk, "legacy", was->legacy, is->legacy)) {
    const size_t before = Enter(walk, "legacy", -1);
    WalkLegacy(walk, was->legacy, is->legacy);
    Leave(walk, before);
  }
}

static void WalkJobScript(Walk* walk, const JobScript* was, const JobScript* is) {
  ++walk->records;
  Integer(walk, "version", was->version, is->version);
  Integer(walk, "state", was->state, is->state);
  Integer(walk, "options", was->options, is->options);
  Integer(walk, "created", was->created, is->created);
  Integer(walk, "jobId", was->jobId, is->jobId);
  Text(walk, "title", was->title, is->title);
  Text(walk, "prologue", was->prologue, is->prologue);
  Text(walk, "comment", was->comment, is->comment);
  ++walk->items;
  const size_t before = Enter(walk, "order", -1);
  WalkOrder(walk, &was->order, &is->order);
  Leave(walk, before);
  Integer(walk, "documentCount", was->documentCount, is->documentCount);
  Integer(walk, "inkCount", was->inkCount, is->inkCount);
  Integer(walk, "finisherCount", was->finisherCount, is->finisherCount);
  WalkDocuments(walk, was, is);
  WalkPress(walk, was, is);
  WalkLeavers(walk, was, is);
}

Walk WalkScripts(const JobScript* was, const JobScript* is, FILE* out) {
  Walk walk = {.out = out};
  Enter(&walk, "JobScript", -1);
  WalkJobScript(&walk, was, is);
  return walk;
}
