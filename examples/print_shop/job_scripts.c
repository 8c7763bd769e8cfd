#include "job_scripts.h"

/* --- the order ------------------------------------------------------------------------------------------ */

static Customer customer = {
    .id = 4711,
    .name = SBX_TEXT("Brandt & Söhne <Verlag>"),
    .account = SBX_TEXT("DE-2207-\"A\""),
};

/* --- two documents -------------------------------------------------------------------------------------- */

static PaperStock paper = {
    .kind = kStockPaper,
    .colour = 0xFFFFF0,
    .name = SBX_TEXT("上質紙 A4"),
    .width = 210.0F,
    .height = 297.0F,
    .grammage = 90,
    .fibre = -2,
    .brightness = 96,
};

static PaperStock film = {
    .kind = kStockFilm,
    .colour = 0x000000,
    .name = SBX_TEXT("Clear film"),
    .width = 215.875F,
    .height = 279.5F,
    .grammage = 140,
    .fibre = 0,
    .brightness = 0,
};

static TextContent text_of_page_1 = {
    .font = SBX_TEXT("Garamond"),
    .text = SBX_TEXT("1. Öffnen & prüfen\n2. \"Print\" <twice>\n\t3. 製本する 📚"),
    .size = 10.5F,
    .colour = 0x1A1A1A,
    .bullet = 0xFF65, /* ･, shown as a negative number: the library takes a wchar_t for signed */
};

static ImageContent image_of_page_2 = {
    .path = SBX_TEXT("/spool/4711/überblick.tif"),
    .width = 2480,
    .height = 3508,
    .dpi = 300,
    .bits = {8, 8, 8, 1},
};

static Page pages[] = {
    {
        .number = 1,
        .rotation = 0,
        .contentKind = kContentText,
        .paper = {.tray = 1, .substitute = true, .paper = &paper},
        .margins = {250, 200, 250, 300},
        .coating.program = 3,
        .content.text = &text_of_page_1,
    },
    {
        .number = 2,
        .rotation = -90,
        .contentKind = kContentImage,
        .paper = {.tray = 3, .substitute = false, .paper = &film},
        .margins = {0, 0, -15, 0},
        .coating.thickness = 175.25F,
        .content.image = &image_of_page_2,
    },
    {
        .number = 3,
        .rotation = 180,
        .contentKind = kContentNone,
        .paper = {.tray = 1, .substitute = true, .paper = &paper},
        .margins = {250, 200, 250, 300},
        .coating.program = 0,
        .content.none = NULL,
    },
};

static Document documents[] = {
    {
        .name = SBX_TEXT("年次報告書"),
        .source = SBX_TEXT("/spool/4711/report.pdf"),
        .size = 7340033,
        .modified = 1699990000,
        .pageCount = 3,
        .pages = pages,
        .checksum = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE,
                     0xFF},
        .tabStops = {36, 72, 108, 144, -36, -72, 0, 0},
    },
    {
        .name = SBX_TEXT("Cover (still being sent)"),
        .source = SBX_TEXT(""),
        .size = -1,
        .modified = 0,
        .pageCount = 0,
        .pages = NULL,
    },
};

/* --- the press ------------------------------------------------------------------------------------------ */

static uint16_t cyan_curve[8] = {0, 4096, 9000, 16000, 26000, 38000, 52000, 65535};

static Ink inks[] = {
    {.name = SBX_TEXT("Cyan"),
     .level = 81,
     .density = 1.5F,
     .colour.cmyk = {65535, 0, 0, 0},
     .curve = cyan_curve},
    {.name = SBX_TEXT("Black"),
     .flags = kInkLow,
     .level = 4,
     .density = 1.75F,
     .colour.cmyk = {0, 0, 0, 65535}},
    {.name = SBX_TEXT("Warm red"),
     .flags = kInkSpot | kInkLow,
     .level = 9,
     .density = 1.625F,
     .colour.catalogue = SBX_TEXT("Catalogue <C> No. 17")},
    {.name = SBX_TEXT("White"),
     .flags = kInkWhite,
     .level = 100,
     .density = 0.5F,
     .colour.cmyk = {0, 0, 0, 0}},
};

static AnyFinisher finishers[] = {
    {.stapler = {.kind = kFinisherStapler, .stage = 1, .saddle = 0, .staples = 2, .wire = SBX_TEXT("26/6")}},
    {.booklet = {.kind = kFinisherStapler,
                 .stage = 2,
                 .saddle = 1,
                 .trim = 3.5F,
                 .sheets = 16,
                 .cover = SBX_TEXT("Karton, 200 g/m²")}},
    {.puncher = {.kind = kFinisherPuncher, .stage = 3, .holes = 4, .spacing = 80.0F, .pattern = NULL}},
    {.finisher = {.kind = kFinisherCutter, .stage = -1, .settings = {210, 297, -3, 0}}},
};

/* --- delivery ------------------------------------------------------------------------------------------- */

static PickupPoint pickup = {.code = SBX_TEXT("K-4711/ß"), .counter = 2, .hours = {8, 18}};

static Delivery by_pickup = {
    .target.pickup = &pickup,
    .printers = SBX_TEXT("Hall 1\0"
                         "営業部\0"
                         "Spare <2> & more"),
    .printerCount = 3,
    .weight = 1450,
    .note = SBX_TEXT(""),
};

/* --- the script that comes back ------------------------------------------------------------------------- */

static const JobScript circle = {
    .version = 3,
    .state = kJobReady,
    .options = kJobDuplex | kJobCollate,
    .created = 1700000000,
    .jobId = -9223372036854775807,
    .title = SBX_TEXT("Annual report <draft> & appendix"),
    .prologue = SBX_TEXT("\x1B@ready\x07\r\n"),
    .comment = NULL,
    .order =
        {
            .number = 18446744073709551615U,
            .channel = kChannelPickup,
            .received = 1699950000,
            .due = 1700086400,
            .priority = -2,
            .rush = true,
            .copies = 250,
            .net = 1249.75F,
            .customer = &customer,
            .reference = SBX_TEXT("注文 #12: \"bitte sorgfältig\""),
        },
    .documentCount = 2,
    .inkCount = 4,
    .finisherCount = 4,
    .documents = documents,
    .trays =
        {
            {.number = 1, .label = SBX_TEXT("A4 上質紙"), .sheets = 480, .capacity = 500, .state = 1},
            {.number = 2, .label = SBX_TEXT("<A3> & more"), .sheets = -1, .capacity = 1000, .state = 2},
            {.number = 3, .label = SBX_TEXT("Film"), .sheets = 0, .capacity = 50, .state = 7},
        },
    .inks = inks,
    .finishers = finishers,
    .delivery = &by_pickup,
    .context = NULL,
    .legacy = NULL,
};

const JobScript* CircleScript(void) {
  return &circle;
}

/* --- the script that shows the rest --------------------------------------------------------------------- */

static PostalAddress address = {
    .name = SBX_TEXT("Brandt & Söhne"),
    .street = SBX_TEXT("Hafenstraße 7"),
    .city = SBX_TEXT("20359 Hamburg"),
    .country = {'D', 'E'},
};

static Delivery by_courier = {
    .target.address = &address,
    .printers = NULL,
    .printerCount = 0,
    .weight = 20,
    .note = SBX_TEXT("Ring twice"),
};

static int32_t total = 12;
static int32_t* total_slot = &total;

static AnyFinisher old_finisher = {
    .booklet = {.kind = kFinisherStapler, .stage = 1, .saddle = 1, .trim = 2.0F, .sheets = 8, .cover = NULL}};

static Legacy legacy = {
    .operatorName = "J. Doe",
    .hostName = "press-01",
    .total = &total_slot,
    .serial = 0xCAFE1234,
    .share = 1.0F / 3.0F,
    .banner = SBX_TEXT("\x1B@製本"),
    .slot = {0},
    .finisher = &old_finisher,
};

const JobScript* OneWayScript(void) {
  static JobScript script;
  script = (JobScript){
      .version = 2,
      .state = kJobHeld,
      .options = 0,
      .title = SBX_TEXT("From the old scheduler"),
      .order = {.number = 12, .channel = kChannelCourier, .copies = 1},
      .trays = {{.number = 1, .label = SBX_TEXT("Manual")}},
      .delivery = &by_courier,
      .context = &script,
      .legacy = &legacy,
  };
  return &script;
}
