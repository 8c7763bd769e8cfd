/* The records of a print shop's job scripts, as its scheduler was compiled.
 *
 * descriptions.xml tells the library the same: every size and offset there is asserted against these records
 * when the shop is built (check_records.cmake), so the two can't drift apart. Item names are the members'
 * names. rules.xml says what a description can't: which item counts an array, which type a union holds.
 */
#ifndef PRINT_SHOP_RECORDS_H_
#define PRINT_SHOP_RECORDS_H_

#include <stdbool.h>
#include <stdint.h>

#include "sbxml.h"

/* --- the order ------------------------------------------------------------------------------------------ */

typedef struct Customer {
  uint32_t id;
  const SBXChar* name;
  const SBXChar* account; /* described as "char*", which the library takes for wide text */
} Customer;

/* How the order leaves the shop; Delivery.target depends on it. */
enum { kChannelCourier = 1, kChannelPickup = 2 };

typedef struct Order {
  uint64_t number;
  uint32_t channel;
  int32_t received; /* seconds since 1970 */
  uint32_t due;     /* seconds since 1970 */
  int8_t priority;  /* -5 to 5 */
  bool rush;
  uint16_t copies;
  float net;
  Customer* customer;
  const SBXChar* reference;
} Order;

/* --- what is printed ------------------------------------------------------------------------------------ */

enum { kStockPaper = 1, kStockFilm = 2 };

typedef struct PaperStock {
  uint32_t kind;
  uint32_t colour; /* 0xRRGGBB */
  const SBXChar* name;
  float width; /* millimetres */
  float height;
  uint16_t grammage;  /* grams a square metre */
  int16_t fibre;      /* grain direction, as a bit pattern */
  uint8_t brightness; /* percent */
} PaperStock;

typedef struct PaperChoice {
  uint16_t tray;
  bool substitute; /* another tray will do */
  PaperStock* paper;
} PaperChoice;

typedef struct TextContent {
  const SBXChar* font;
  const SBXChar* text;
  float size;      /* points */
  uint32_t colour; /* 0xRRGGBB */
  SBXChar bullet;
} TextContent;

typedef struct ImageContent {
  const SBXChar* path;
  uint32_t width; /* pixels */
  uint32_t height;
  uint16_t dpi;
  uint8_t bits[4]; /* of each channel */
} ImageContent;

enum { kContentNone = 0, kContentText = 1, kContentImage = 2 };

typedef struct Page {
  uint32_t number;
  int16_t rotation;     /* degrees */
  uint16_t contentKind; /* which of `content` */
  PaperChoice paper;
  int32_t margins[4]; /* left, top, right, bottom; tenths of a millimetre */
  union {             /* film has a thickness, everything else a coating program */
    uint32_t program;
    float thickness; /* micrometres */
  } coating;
  union {
    void* none;
    TextContent* text;
    ImageContent* image;
  } content;
} Page;

typedef struct Document {
  const SBXChar* name;
  const SBXChar* source;
  int64_t size;      /* bytes */
  uint32_t modified; /* seconds since 1970 */
  uint32_t pageCount;
  Page* pages; /* pageCount of them */
  uint8_t checksum[16];
  int16_t tabStops[8]; /* points */
} Document;

/* --- the press ------------------------------------------------------------------------------------------ */

typedef struct Tray {
  uint16_t number;
  SBXChar label[23]; /* ends at the first zero */
  int32_t sheets;
  uint32_t capacity;
  int32_t state;
} Tray;

enum { kInkSpot = 1, kInkWhite = 2, kInkMetallic = 4, kInkLow = 8 };

typedef struct Ink {
  const SBXChar* name;
  uint16_t flags; /* kInk... */
  uint8_t level;  /* percent */
  float density;
  union { /* a spot ink has a name in a catalogue, a process ink its mix */
    uint16_t cmyk[4];
    const SBXChar* catalogue;
  } colour;
  uint16_t* curve; /* 8 points of the transfer curve; may be null */
} Ink;

/* A finisher is one of several records of the same size: `kind` tells a stapler from a puncher, and a stapler
 * with a saddle is a booklet maker. */
enum { kFinisherStapler = 1, kFinisherPuncher = 2, kFinisherCutter = 3 };

typedef struct Finisher {
  uint32_t kind;
  int16_t stage;
  int32_t settings[4];
} Finisher;

typedef struct Stapler {
  uint32_t kind;
  int16_t stage;
  uint16_t saddle;
  uint32_t staples;
  const SBXChar* wire;
} Stapler;

typedef struct BookletMaker {
  uint32_t kind;
  int16_t stage;
  uint16_t saddle; /* 1 */
  float trim;      /* millimetres */
  uint32_t sheets;
  const SBXChar* cover;
} BookletMaker;

typedef struct Puncher {
  uint32_t kind;
  int16_t stage;
  uint16_t holes;
  float spacing; /* millimetres */
  const SBXChar* pattern;
} Puncher;

typedef union AnyFinisher {
  Finisher finisher;
  Stapler stapler;
  BookletMaker booklet;
  Puncher puncher;
} AnyFinisher;

/* --- delivery ------------------------------------------------------------------------------------------- */

typedef struct PostalAddress {
  const SBXChar* name;
  const SBXChar* street;
  const SBXChar* city;
  SBXChar country[2]; /* two letters, no zero */
} PostalAddress;

typedef struct PickupPoint {
  const SBXChar* code;
  uint32_t counter;
  uint16_t hours[2]; /* from, to */
} PickupPoint;

typedef struct Delivery {
  union { /* as Order.channel says */
    PostalAddress* address;
    PickupPoint* pickup;
  } target;
  const SBXChar* printers; /* printerCount names, each with its zero, one behind the other */
  uint32_t printerCount;
  uint32_t weight; /* grams */
  const SBXChar* note;
} Delivery;

/* --- what can only go out ------------------------------------------------------------------------------- */

/* Left by an older scheduler. The library shows these items, but can't bring them back. */
typedef struct Legacy {
  const char* operatorName; /* narrow text: described as "wchar_t*", altered to "char*" by a rule */
  const char* hostName;     /* narrow text by its description, "char dptr" */
  int32_t** total;          /* two pointers deep */
  uint32_t serial;          /* above 0x7FFFFFFF the hexadecimal form saturates */
  float share;              /* not exact in six decimals */
  const SBXChar* banner;    /* a control character beside CJK */
  SBXChar slot[8];          /* empty */
  AnyFinisher* finisher;    /* a booklet maker would come back as a stapler */
} Legacy;

/* --- the job script ------------------------------------------------------------------------------------- */

enum { kTrays = 3 };

enum { kJobDuplex = 1, kJobStaple = 2, kJobCollate = 4, kJobProof = 8 };

enum { kJobHeld = 1, kJobReady = 2, kJobPrinting = 3 };

typedef struct JobScript {
  uint32_t version;
  int32_t state;    /* kJobHeld... */
  uint32_t options; /* kJobDuplex... */
  uint32_t created; /* seconds since 1970 */
  int64_t jobId;
  const SBXChar* title;
  const SBXChar* prologue; /* sent to the press before the first page */
  const SBXChar* comment;
  Order order;
  uint32_t documentCount;
  uint16_t inkCount;
  uint16_t finisherCount;
  Document* documents; /* documentCount of them */
  Tray trays[kTrays];
  Ink* inks;              /* inkCount of them */
  AnyFinisher* finishers; /* finisherCount of them */
  Delivery* delivery;
  void* context; /* the scheduler's own */
  Legacy* legacy;
} JobScript;

#endif
