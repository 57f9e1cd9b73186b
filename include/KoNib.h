/*
 * KoNib: drives pen plotters and digitizers of many models for a drawing
 * application that knows no device language.
 *
 * A model is data: named value texts whose Command. and Digitize. values are
 * templates. The application opens a handle, takes in a model, binds output
 * callbacks and calls drawing operations in world coordinates; the library
 * turns them into device bytes and hands those to the callbacks.
 *
 * Conventions of every operation in this header:
 *   - An operation that takes a handle returns 1 for success and 0 for
 *     failure. A null handle, or a handle that has failed before, makes it do
 *     nothing and return 0. A failure (a device callback that refused, or
 *     memory that ran out) is final for the handle: free it and take a new one.
 *   - Nothing is ever printed, logged or thrown across this interface.
 *   - All text is CP932. No output byte and no number read from a model
 *     depends on the C locale of the process.
 *   - The library keeps no state shared between handles: two threads may
 *     work at once on two different handles. One handle belongs to one
 *     thread at a time.
 *
 * This header is valid C99 and C++17.
 */
#ifndef KONIB_H
#define KONIB_H

#include <stdint.h>

/* A registry root or key (HKEY) and a pair of 32-bit integers (POINT): the
 * system's own on Windows. Elsewhere an opaque key of the library's model
 * store, whose roots are directories (see NibOpenRegistryDirectory). */
#if defined(_WIN32)
#  include <windows.h>
#else
typedef struct NibRegKey* HKEY;
typedef struct tagPOINT { int32_t x; int32_t y; } POINT;
#endif

#if defined(_WIN32)
#  if defined(KONIB_BUILDING)
#    define KONIB_API __declspec(dllexport)
#  else
#    define KONIB_API __declspec(dllimport)
#  endif
#elif defined(__GNUC__) || defined(__clang__)
#  define KONIB_API __attribute__((visibility("default")))
#else
#  define KONIB_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* Records                                                                   */

/* A point or a vector in world or device coordinates; also an angle pair:
 * start and sweep in radians, 0 along +x, positive towards +y. */
typedef struct _NibWorld2 { double x; double y; } _NibWorld2;

/* Origin and extent of a rectangle; for a line, its start and displacement. */
typedef struct _NibWorld4 { _NibWorld2 org; _NibWorld2 ext; } _NibWorld4;

/* Device callbacks. Each returns non-zero for success and 0 for failure; a
 * failure ends the handle. Each gets `cookie` as its first argument. */
typedef struct _NibDeviceProc {
    uint16_t dataCode;   /* device data code, 0 to 3, handed on to extensions */
    void* cookie;
    /* one output byte; `byte` is valid only during the call */
    int (*put)(void* cookie, const char* byte);
    /* a block of 1 to 16384 output bytes, valid only during the call */
    int (*write)(void* cookie, const char* data, uint32_t length);
    /* one input byte, to be stored at `byte` */
    int (*read)(void* cookie, char* byte);
    /* a value passed on from an extension through _spfunc_readcheck */
    int (*readCheck)(void* cookie, uint32_t value);
} _NibDeviceProc;

/* The record an extension function receives as its first argument. The
 * library clears and fills it anew for each call; a function must not keep a
 * pointer to it. On a 32-bit build it is 200 bytes long and its fields stand
 * at the offsets shown. */
typedef struct NibSpfuncCall {
    void* privateArea;          /*   0: 1024 bytes of the module, per handle */
    const char* arguments;      /*   4: expanded arguments, NUL-terminated, or NULL */
    uint32_t argumentsLength;   /*   8: their length with the terminator, or 0 */
    uint32_t reserved0;         /*  12 */
    double paperX;              /*  16 */
    double paperY;              /*  24 */
    double sizeX;               /*  32 */
    double sizeY;               /*  40 */
    double step;                /*  48 */
    int32_t decimals;           /*  56 */
    uint32_t reserved1;         /*  60 */
    double stylePitch[10];      /*  64 */
    uint32_t stateFlags;        /* 144 */
    uint32_t reserved2;         /* 148 */
    double devicePosX;          /* 152 */
    double devicePosY;          /* 160 */
    int32_t deviceStyle;        /* 168 */
    int32_t devicePen;          /* 172 */
    uint16_t dataCode;          /* 176 */
    uint16_t reserved3;         /* 178 */
    int (*write)(struct NibSpfuncCall* call, const char* data, uint32_t length); /* 180 */
    int (*read)(struct NibSpfuncCall* call, char* byte);                         /* 184 */
    int (*readCheck)(struct NibSpfuncCall* call, uint32_t value);                /* 188 */
    void* handle;               /* 192: opaque; for the three entries above */
    uint32_t reserved4;         /* 196 */
} NibSpfuncCall;

/* One configuration item for NibSetPlotter. */
typedef struct _NibRegInfo {
    int32_t id;        /* key number, a NibKeyId */
    int32_t index;     /* entry number; read only for the list keys */
    const char* text;  /* value text; NULL makes the item count for nothing */
} _NibRegInfo;

/* One named value of a model. A list is one block: the records follow one
 * another with no alignment, `data` right behind `type` (at offset 272 on
 * 32-bit Windows), and `next` is null in the last record. */
#pragma pack(push, 1)
typedef struct _NibREG_DATA {
    struct _NibREG_DATA* next;
    char name[260];        /* value name, NUL-terminated */
    uint32_t length;       /* bytes in data, the terminator included */
    uint32_t type;         /* 1 (REG_SZ) for every value text */
    unsigned char data[1]; /* the value text */
} _NibREG_DATA;
#pragma pack(pop)

/* A pen: the number the device knows, how many parallel strokes it draws
 * (below 1: nothing) and their distance in plot units. */
typedef struct _NibPen { int32_t number; int32_t strokes; double strokeSpacing; } _NibPen;

/* Placement and size factors of text of one character class. */
typedef struct _NibFontAdjust { double xOffset; double yOffset; double width; double height; } _NibFontAdjust;

/* The settings of a job that a user can choose; see NibSetPlotterInfo. */
typedef struct _NibInfo {
    double step;                 /* plot units per device step */
    _NibWorld2 origin;           /* device origin */
    _NibWorld2 scale;            /* x and y scale, plain ratios */
    _NibFontAdjust fontAdjust[5];
    _NibPen pens[17];            /* by pen index */
    double stylePitch[10];       /* pitch of styles 0 to 9, plot units */
    int32_t paperIndex;          /* chosen paper entry; -1: the model's default */
    int32_t binIndex;            /* chosen bin entry; -1: the model's default */
    int32_t orientation;         /* chosen orientation; -1: none */
    int32_t extension[5];        /* chosen item of extensions 0 to 4; -1: default */
    int32_t ankFont;
    int32_t kanjiFont;
    int32_t kanjiFlag;
    int32_t nextPageMode;        /* 0 never, 1 between pages, 2 also after the job */
    int32_t nextPenMode;         /* 0 no Command.NextPen; 1 pens judged by index */
} _NibInfo;

/* Results of the set-up queries; each is one block, freed with its
 * NibFree... operation. */
typedef struct _NibPAPER_INFO { int32_t index; int32_t width; int32_t height; char name[64]; } _NibPAPER_INFO;
typedef struct _NibBIN_INFO { int32_t index; char name[24]; } _NibBIN_INFO;
typedef struct _NibSTEPSIZE_INFO { int32_t current; int32_t count; const char* items[1]; } _NibSTEPSIZE_INFO;
typedef struct _NibEXTENSION_INFO { int32_t selected; const char* title; int32_t count; const char* items[1]; } _NibEXTENSION_INFO;

/* Key numbers of a model's values, for _NibRegInfo.id. */
typedef enum NibKeyId {
    NibKeyPenLayout = 0, NibKeyStylePitch = 1, NibKeyOrigin = 2, NibKeyScale = 3,
    NibKeyPaper = 5, NibKeyPaperEntry = 6, NibKeyPaperSize = 7, NibKeyBin = 8,
    NibKeyBinEntry = 9, NibKeyOrientation = 10, NibKeyStep = 11, NibKeyDecimal = 12,
    NibKeyAnk = 13, NibKeyKanji = 14, NibKeyFontAdjust1 = 15, NibKeyFontAdjust2 = 16,
    NibKeyFontAdjust3 = 17, NibKeyFontAdjust4 = 18, NibKeyFontAdjust5 = 19,
    NibKeyFontReplace = 20, NibKeyPenTbl = 21, NibKeyStyle0 = 22, NibKeyStyle1 = 23,
    NibKeyStyle2 = 24, NibKeyStyle3 = 25, NibKeyStyle4 = 26, NibKeyStyle5 = 27,
    NibKeyStyle6 = 28, NibKeyStyle7 = 29, NibKeyStyle8 = 30, NibKeyStyle9 = 31,
    NibKeyCommandPen = 32, NibKeyCommandNextPen = 33, NibKeyCommandStyle = 34,
    NibKeyCommandInit = 35, NibKeyCommandTerm = 36, NibKeyCommandAbort = 37,
    NibKeyCommandStartPage = 38, NibKeyCommandEndPage = 39, NibKeyCommandNextPage = 40,
    NibKeyCommandHome = 41, NibKeyCommandMove = 42, NibKeyCommandLine = 43,
    NibKeyCommandCircle = 44, NibKeyCommandArc = 45, NibKeyCommandText = 46,
    NibKeyCommandTextDrawInit = 47, NibKeyCommandTextDraw = 48, NibKeyCommandTextDrawTerm = 49,
    NibKeyCommandTextCharInit = 50, NibKeyCommandTextChar = 51, NibKeyCommandTextCharTerm = 52,
    NibKeyCommandTextKanaInit = 53, NibKeyCommandTextKana = 54, NibKeyCommandTextKanaTerm = 55,
    NibKeyCommandTextTerm = 56, NibKeyCommandFontBoldOff = 57, NibKeyCommandFontBoldOn = 58,
    NibKeyCommandFontItalicOff = 59, NibKeyCommandFontItalicOn = 60,
    NibKeyCommandFontWidth = 61, NibKeyCommandFontHeight = 62, NibKeyCommandFontPitch = 63,
    NibKeyCommandFontAngle = 64, NibKeyExtensionEntry = 65, NibKeyDigitizeStart = 66,
    NibKeyDigitizeEnd = 67, NibKeyDigitizePosition = 68, NibKeyDigitizeEnter = 69,
    NibKeyDigitizePen = 70, NibKeyDigitizeReleasePen = 71, NibKeyCtrlDrawArc = 72
} NibKeyId;

/* Mask bits of NibSetPlotterInfo: which members of _NibInfo count. */
#define NIB_INFO_STEP          0x0001UL
#define NIB_INFO_ORIGIN        0x0002UL
#define NIB_INFO_SCALE         0x0004UL
#define NIB_INFO_FONTADJUST    0x0008UL
#define NIB_INFO_PENS          0x0010UL
#define NIB_INFO_STYLEPITCH    0x0020UL
#define NIB_INFO_PAPERINDEX    0x0040UL
#define NIB_INFO_BININDEX      0x0080UL
#define NIB_INFO_ORIENTATION   0x0100UL
#define NIB_INFO_EXTENSION     0x0200UL
#define NIB_INFO_ANKFONT       0x0400UL
#define NIB_INFO_KANJIFONT     0x0800UL
#define NIB_INFO_KANJIFLAG     0x1000UL
#define NIB_INFO_NEXTPAGEMODE  0x2000UL
#define NIB_INFO_NEXTPENMODE   0x4000UL

/* ------------------------------------------------------------------------ */
/* Handle                                                                    */

/* Creates a handle for a device whose plotting area is `size` (plot units;
 * must not be NULL). The window, the view, the paper and the clip rectangle
 * all start as that size. Returns NULL if memory ran out. No device is
 * touched and no callback is bound.
 *
 * A plot unit is whatever the model's Step is counted in: a device
 * coordinate is printed as plot units divided by the step. With Step=0.025
 * for a device that counts in 0.025 mm, a plot unit is a millimetre.
 *
 * What a new handle holds until a model or the settings say otherwise:
 *   - The pen table maps pen index 0 to device pen 1, 1 to 2, 2 to 3, 3 to
 *     4, and 4 to 16 to device pen 1, each with one stroke. A model normally
 *     sets PenLayout, whose first field is for index 0 (PenLayout=0,1,2
 *     makes index i device pen i).
 *   - Step 1 and Decimal 2: a coordinate goes out as plot units with two
 *     decimals.
 *   - Style pitches 2, 10, 10, 20, 50, 100, 20, 50, 100 plot units for
 *     styles 1 to 9 (StylePitch sets them; style 0 is solid).
 *   - Curves: the device draws solid circles and arcs up to a radius of 150
 *     plot units itself, with Command.Circle and Command.Arc; larger ones go
 *     as chords. A model whose device has no circle command must say
 *     Ctrl.DrawArc=0 (always chords), or such curves send nothing.
 *   - Clipping is to `size`, for the handle's whole life: neither the
 *     model's paper nor a paper chosen later moves it. To clip to a paper,
 *     make the handle with that paper's size (NibGetPaperInfo tells it). */
KONIB_API void* NibGetHandle(const _NibWorld2* size);

/* Ends a handle and releases all it owns, in any state. Bytes still waiting
 * for the device are dropped, not sent; no callback is called. NULL is
 * allowed and does nothing. */
KONIB_API void NibFreeHandle(void* handle);

/* ------------------------------------------------------------------------ */
/* Device binding                                                            */

/* Binds a per-byte output callback and an input callback, either may be NULL;
 * unbinds the block output and read-check callbacks and sets the data code 0.
 * Bytes waiting in the output buffer stay there. */
KONIB_API int NibSetDevice(void* handle, void* cookie, int (*put)(void* cookie, const char* byte),
                           int (*read)(void* cookie, char* byte));

/* Binds all callbacks of `procs` (must not be NULL), NULLs included.
 *
 * Output goes byte by byte to `put` when it is bound; otherwise it gathers in
 * a buffer of 16384 bytes that goes to `write` when it is full and at the end
 * of each page, job and home command; with neither bound, output is dropped
 * and that counts as success. */
KONIB_API int NibSetDeviceProc(void* handle, const _NibDeviceProc* procs);

/* ------------------------------------------------------------------------ */
/* Job and simple state                                                      */
/*                                                                           */
/* A job: NibInitiate; for each page NibStartPage, drawing, NibEndPage;      */
/* NibTerminate. Each sends its template of the model (a missing one sends   */
/* nothing and succeeds). Buffered output goes to the device at the end of   */
/* each page, of the job and of NibHome, and before a page that follows      */
/* another; nowhere else but when the buffer is full. The order of calls is  */
/* not enforced. Each returns 1, or 0 if the handle is NULL or has failed,   */
/* or the device refused bytes during the call.                              */

/* Sends Command.Init. */
KONIB_API int NibInitiate(void* handle);

/* Sends Command.Term and flushes; with next-page mode 2 then also
 * Command.NextPage and flushes again. */
KONIB_API int NibTerminate(void* handle);

/* From the second page of the handle's life on (unless next-page mode is 0)
 * sends Command.NextPage and flushes; then forgets what the device was told
 * (pen, style, position, text) and sends Command.StartPage. */
KONIB_API int NibStartPage(void* handle);

/* Counts the page, sends Command.EndPage and flushes. */
KONIB_API int NibEndPage(void* handle);

/* Sends Command.Home, or a move to 0, 0 when the model has none, and
 * flushes. The next drawing starts with a move, wherever the pen is. */
KONIB_API int NibHome(void* handle);

/* Switches clipping to the plotting area on (non-zero, the default) or off. */
KONIB_API int NibSetClip(void* handle, int enabled);

/* Chooses the line style of later drawing: 0 solid (the default), 1 to 9
 * dashed patterns whose period is the style's pitch. */
KONIB_API int NibSetStyle(void* handle, int style);

/* Chooses the pen of later drawing, an index 1 to 16 into the pen table
 * (default 1). Nothing is sent until something is drawn; an index outside
 * 1 to 16 draws nothing. */
KONIB_API int NibSetPen(void* handle, int pen);

/* ------------------------------------------------------------------------ */
/* Mapping                                                                   */
/*                                                                           */
/* World coordinates (what the drawing operations take) map onto the view,  */
/* a rectangle of the sheet: the window rectangle of the world fills the     */
/* view. Then the model's Origin and the settings' scale and origin apply,   */
/* and the sheet turns when the chosen orientation is 0 and the model's      */
/* Orientation value asks for it. A new handle maps world = device.          */
/* Rectangles are origin and extent; extents are not checked, and a zero    */
/* or negative one is taken as given (a degenerate window maps everything    */
/* onto the view's origin). A view does not clip.                            */

/* Sets the window; `rect` must not be NULL. Returns 1, or 0 if the handle
 * is NULL or has failed. */
KONIB_API int NibSetWindow(void* handle, const _NibWorld4* rect);

/* Sets the view; `rect` must not be NULL. */
KONIB_API int NibSetView(void* handle, const _NibWorld4* rect);

/* With a `rect` given in the current world coordinates: saves window and
 * view, and makes that rectangle the new view, so that the old window fills
 * it (call NibSetWindow next for coordinates of its own). With NULL:
 * restores the last saved window and view (nothing saved: nothing happens).
 * Views nest as deep as memory allows. Returns 0 if memory ran out (the
 * handle has then failed). */
KONIB_API int NibSetViewRelative(void* handle, const _NibWorld4* rect);

/* ------------------------------------------------------------------------ */
/* Drawing                                                                   */
/*                                                                           */
/* Each draws with the current pen and style, in world coordinates, and     */
/* clips to the plotting area unless clipping is off. Dashes are laid by    */
/* the library; a pen of several strokes draws parallel passes. Each        */
/* returns 1, also when nothing was visible, or 0 if the handle is NULL or  */
/* has failed, or the device refused bytes during the call. Pointers must   */
/* not be NULL unless stated.                                               */

/* A dot: a solid line 0.1 plot units long, centred on the point. */
KONIB_API int NibDrawDot(void* handle, const _NibWorld2* point);

/* A line from `line->org` by the displacement `line->ext`. The library may
 * draw it from its other end when the pen stands nearer to that. */
KONIB_API int NibDrawLine(void* handle, const _NibWorld4* line);

/* A circle (`angles` NULL) or an arc from `angles->x` sweeping `angles->y`
 * radians (0 along +x, positive towards +y). The device draws the curve
 * itself when the model lets it (Ctrl.DrawArc) and the line is solid;
 * otherwise the library draws chords of 0.2 plot units. The curve stays a
 * circle under unequal scales: its radius follows the x scale (an arc's,
 * the mapped start point). */
KONIB_API int NibDrawArc(void* handle, const _NibWorld2* centre, double radius, const _NibWorld2* angles);

/* ------------------------------------------------------------------------ */
/* Text                                                                      */
/*                                                                           */
/* The library has no fonts: it hands the characters to the device's own    */
/* lettering through the model's text templates. Text is CP932.             */

/* Attributes of one text. `flags` bit 1 asks for bold, bit 2 for the       */
/* other slant (the model's FontItalicOff); other bits mean nothing.         */
/* `width`, `height` and `pitch` (start to start of two characters) are in  */
/* world units, `angle` in radians, 0 along world +x, positive towards +y.  */
typedef struct _NibTextInfo { uint32_t flags; double width; double height; double pitch; double angle; } _NibTextInfo;

/* Sends `text` (NUL-terminated CP932; must not be NULL) with its first
 * character starting at `position` (must not be NULL), with the attributes
 * of `info` (must not be NULL; only read), in the current pen and line
 * style 0. There is no alignment and no line break. Nothing is sent but the
 * pen selection when the first character's box does not lie wholly within
 * the clip rectangle; the rest of the text is not tested. A `width` or
 * `height` below 2.2e-16 (0, negative or NaN) sends nothing. Bytes that are
 * no valid CP932 go out as single bytes. A place, size, pitch or angle that
 * maps to no finite device value sends nothing but the pen selection.
 * Returns 1, also when nothing was sent, or 0 if the handle is NULL or has
 * failed, or the device refused bytes during the call. A NULL `position`,
 * `text` or `info` gives 0 and changes nothing. */
KONIB_API int NibDrawText(void* handle, const _NibWorld2* position, const char* text, const _NibTextInfo* info);

/* Which characters the model's text templates can carry, into `*bits`:
 * 1 single bytes below 0x80, 2 half-width kana (single bytes from 0x80
 * up), 4 double-byte characters. Command.Text alone counts for all three:
 * an extension function can take the whole text. A template that is
 * present but empty counts. A model without text templates gives 0. Returns 1, or 0 if the handle is NULL or has failed
 * or `bits` is NULL (then `*bits` is left alone). */
KONIB_API int NibQueryFontSupportCode(void* handle, unsigned int* bits);

/* The fonts the handle's settings declare, into `*bits`: 1 a single-byte
 * font (ANK above 0), 2 with it a second one (ANK above 1), 8 a kanji font
 * (Kanji above 0), 4 with it the kanji flag, 16 a second kanji font (Kanji
 * above 1). Returns 1, or 0 if the handle is NULL or has failed or `bits`
 * is NULL (then `*bits` is left alone). */
KONIB_API int NibQueryFontSupport(void* handle, unsigned int* bits);

/* The same answer from the settings `info` alone, without a handle.
 * Returns 1, or 0 if `info` or `bits` is NULL. */
KONIB_API int NibQueryFontSupport2(const _NibInfo* info, unsigned int* bits);

/* ------------------------------------------------------------------------ */
/* Configuration                                                             */

/* Takes `count` items into the handle (count 0 or less: nothing, result 1).
 * Each text is copied: the caller's memory need not outlive the call. A key
 * that is given again replaces the earlier value; a list entry (papers,
 * bins, extensions) replaces the entry of the same number and moves to the
 * end of its list. Items with a NULL text are skipped; an id that names no
 * key is stored and has no effect. The parsed keys set their fields at once:
 * PenLayout, StylePitch, Origin, Scale, Orientation (its field 3, the
 * rotate flag), Step, Decimal, ANK, Kanji, FontAdjust1-5, Ctrl.DrawArc, and
 * the paper keys, which update the paper size when a paper is chosen.
 * `Scale` is two plain ratios, x then y, as NibSetPlotterInfo takes them;
 * an empty field keeps the scale of its axis.
 * Returns 0 if the handle has failed or memory ran out (then the handle has
 * failed). Unlike every other operation, `handle` must not be NULL. */
KONIB_API int NibSetPlotter(void* handle, const _NibRegInfo* items, int count);

/* Takes in a whole model list by name: each record whose name is a key
 * (without regard to case; `Paper.12` is entry 12 of the papers) goes in as
 * by NibSetPlotter, in list order, so a later record wins; other names are
 * passed over. Returns 1 when the whole list was taken in; 0 if `handle` or
 * `list` is NULL, the handle has failed, or memory ran out (what came before
 * stays). The list may be freed afterwards. */
KONIB_API int NibSetPlotter2(void* handle, const _NibREG_DATA* list);

/* Applies the members of `info` whose bit is set in `mask` (NIB_INFO_...),
 * as they stand, without range tests. Choosing a paper also takes its size
 * from the model's `Paper.N` entry. `info` may be NULL only when `mask` is 0.
 * Returns 1, or 0 if the handle is NULL or has failed. */
KONIB_API int NibSetPlotterInfo(void* handle, unsigned long mask, const _NibInfo* info);

/* ------------------------------------------------------------------------ */
/* Digitizing                                                                */
/*                                                                           */
/* A model that can read positions has a Digitize.Position value: a        */
/* template whose reply patterns \<...> are matched against what the device */
/* answers, read one byte per call of the read callback. Expected order:     */
/* NibStartDigitize, any NibDigitizePen and NibDigitizePosition,             */
/* NibEndDigitize; it is not enforced, and no page need be open. A missing   */
/* template sends nothing and succeeds. Each returns 1, or 0 if the handle   */
/* is NULL or has failed, or the device refused bytes, did not answer (the   */
/* read callback is missing or returned 0) or answered without end during    */
/* the call; the handle has then failed.                                     */
/*                                                                           */
/* Reads are bounded: one number of a reply is read for at most 256 bytes,   */
/* its terminator included; a device that sends more without the terminator */
/* ends the handle as a read callback that returns 0 does. A number holds at */
/* most 31 bytes, blanks in front of it not counted; a longer one is read up */
/* to its terminator and counts as not delivered. A number is read as a    */
/* plain decimal: sign, digits, point, exponent; anything else reads as 0.   */
/* With only a block output callback bound, waiting output is handed to it   */
/* before a reply is read; Digitize.End waits for the job's next flush point */
/* (the end of a page or of the job, NibHome) like any other command.        */

/* Sends Digitize.Start. */
KONIB_API int NibStartDigitize(void* handle);

/* Sends Digitize.End. */
KONIB_API int NibEndDigitize(void* handle);

/* Selects the digitizer's pen by index into the pen table, 0 to 16: sends
 * Digitize.ReleasePen for 0 and Digitize.Pen for any other (Command.Pen when
 * the model has no Digitize.Pen), unless the device already holds that
 * pen's number. Later drawing with that pen sends no pen command. An index
 * outside 0 to 16 sends nothing and gives 1. */
KONIB_API int NibDigitizePen(void* handle, int pen);

/* Sends Digitize.Position and reads the device's reply. When the reply
 * delivered both axes, `*position` becomes the position in plot units (the
 * device's numbers times the step); window, view, origin, scale and the turn
 * of the sheet do not apply to it. Otherwise, or when the call fails,
 * `*position` stays as it was: a reply that does not fit the model's pattern
 * is no failure, so fill the pair beforehand to tell. A model without
 * Digitize.Position reads nothing and gives 1. `position` NULL: nothing is
 * done and the result is 0, the handle still working. */
KONIB_API int NibDigitizePosition(void* handle, _NibWorld2* position);

/* Hands out the model's Digitize.Enter text, unchanged (never sent): when
 * `length` is not NULL, `*length` becomes its length in bytes without the
 * terminator; when `text` is not NULL, the text with its terminator is
 * copied there, so `text` must hold `*length` + 1 bytes (learn the length
 * first with `text` NULL). Without the value: length 0 and an empty text.
 * Either pointer may be NULL. Gives 1. */
KONIB_API int NibDigitizeKey(void* handle, char* text, int* length);

/* ------------------------------------------------------------------------ */
/* Model load                                                                */

/* Builds the list of model `model` from model text in memory: text in the
 * form of a model file, CR LF lines, `[section]` heads and `name=value`
 * lines (the name is all before the first '=', the value all behind it,
 * blanks included; the byte 0x1A ends the text). The texts need not be
 * NUL-terminated and are only read. When the model's section has a value
 * `Command`, the section of that name in `commandText` (or, if that is NULL
 * or of size 0, in `modelText`) is the model's command set: the result holds
 * the command values first, unless a machine value has the same name
 * (without regard to case), then all machine values. Returns one block that
 * the caller gives back with NibFreeRegistry2, or NULL when a section is
 * missing or holds no value line, or memory ran out.
 * Lines must end in CR LF: a lone LF ends no line. A text whose lines all
 * end in LF is one line, so its section is never found and the result is
 * NULL; after a head that ends in CR LF, lines that end in LF alone run
 * into one value. Keep model files byte for byte (no line-end conversion on
 * checkout or in an editor). */
KONIB_API _NibREG_DATA* NibGetRegistry2(const void* modelText, unsigned long modelSize, const void* commandText,
                                        unsigned long commandSize, const char* model);

/* Give back a block that the library handed out; one routine under seven
 * names. NULL is allowed. */
KONIB_API void NibFreeRegistry(const _NibREG_DATA* list);
KONIB_API void NibFreeRegistry2(const _NibREG_DATA* list);
KONIB_API void NibFreePaperInfo(const _NibPAPER_INFO* info);
KONIB_API void NibFreeBinInfo(const _NibBIN_INFO* info);
KONIB_API void NibFreeStepSizeInfo(const _NibSTEPSIZE_INFO* info);
KONIB_API void NibFreeExtensionInfo(const _NibEXTENSION_INFO* info);
KONIB_API void NibFreeRegModelNames(const char* names);

/* ------------------------------------------------------------------------ */
/* Model store: models kept below a registry root                           */
/*                                                                           */
/* Below `root` and `path` (a key path, parts divided by '\'), the key      */
/* path\Machine\model holds the machine values of a model, and its value    */
/* `Command` names the command set at path\Command\name, which several      */
/* models may share. Names of keys and values compare without regard to     */
/* case. Each key path is formed in 260 bytes: a path, model or set name    */
/* that would make it longer names no key, so that the operation finds      */
/* nothing and changes nothing. A null `root`, `path` or `model` does the   */
/* same. On Windows `root` is an open registry key such as                   */
/* HKEY_CURRENT_USER; elsewhere it comes from NibOpenRegistryDirectory, and  */
/* every change is one transaction in the directory's database: a process   */
/* that dies never leaves half a model, and a writer waits up to 10 seconds */
/* for another process's write to end.                                       */

/* Loads model `model`: its machine values and, when it has a value          */
/* `Command`, that command set. Returns one block, the command values first */
/* unless a machine value has the same name, then all machine values (the  */
/* `Command` value among them), each with its terminator in `length` and     */
/* `type` as stored (1 for every value the library writes). The caller      */
/* gives it back with NibFreeRegistry. Returns NULL when the model's key is  */
/* missing or empty, when its command set is missing or empty, or when      */
/* memory ran out. The list is a snapshot: later changes of the store do     */
/* not reach it. */
KONIB_API _NibREG_DATA* NibGetRegistry(HKEY root, const char* path, const char* model);

/* The names of the models below `path`: one block of NUL-terminated names  */
/* in the store's order, ended by an empty name, given back with             */
/* NibFreeRegModelNames. NULL when there is no model. If memory runs out     */
/* part way, the names gathered so far. */
KONIB_API char* NibGetRegModelNames(HKEY root, const char* path);

/* Installs from initialisation files: unless `model` is NULL or empty, the  */
/* key of model `model` is replaced by the section `modelSection` of         */
/* `modelFile`; unless `command` is NULL or empty, the key of command set    */
/* `command` by the section `commandSection` of `commandFile`. Each section  */
/* line name=value becomes a value text; the old values are gone whatever   */
/* the section holds, and a missing section or file (or a NULL section)      */
/* leaves the key empty. Nothing ties `command` to the model's own line     */
/* Command=; the model loads with this set only if that line names it.      */
/* Reports nothing. */
KONIB_API void NibSetupRegistry(HKEY root, const char* path, const char* model, const char* modelSection,
                                const char* modelFile, const char* command, const char* commandSection,
                                const char* commandFile);

/* Deletes model `model`, and its command set if no other model below       */
/* `path` names that set (without regard to case). A model that does not     */
/* exist leaves every set alone. Reports nothing. */
KONIB_API void NibDeleteRegistry(HKEY root, const char* path, const char* model);

#if !defined(_WIN32)
/* A directory that stands for a registry root, on systems without a         */
/* registry: its keys and values live in the file models.db inside it and   */
/* persist between processes. Creates the directory if it is missing.        */
/* Returns NULL if it cannot be made or its database cannot be opened.       */
/* Close the root with NibCloseRegistryDirectory (NULL allowed). Two roots   */
/* on one directory may be used at once by two threads or processes; one    */
/* root belongs to one thread at a time. Not on Windows, whose own roots     */
/* serve. */
KONIB_API HKEY NibOpenRegistryDirectory(const char* directory);
KONIB_API void NibCloseRegistryDirectory(HKEY root);
#endif

/* ------------------------------------------------------------------------ */
/* Set-up queries                                                            */
/*                                                                           */
/* What a set-up dialog offers for a model, answered from its list alone     */
/* (NibGetRegistry, NibGetRegistry2) before any handle exists. A NULL list   */
/* is a model with no values. Names are compared without regard to case; the */
/* number of an entry (`Paper.3`) is the atoi of what follows its prefix. A  */
/* bad number reads as what atoi or atof make of it. Each result block is    */
/* one allocation that the caller gives back with the free operation named;  */
/* lack of memory gives what each operation says, never a failure of its own.*/
/* Value texts longer than a field of a result are cut there, never in the   */
/* middle of a double-byte character.                                        */

/* The papers: one entry per `Paper.N` value in list order, with N, the atoi
 * of fields 1 and 2 (0 when missing) and field 0 as name. A model with none
 * gets the fixed table of ten: index 0 to 4 A0 to A4, 5 to 9 B1 to B5 (ISO A
 * and JIS B sizes in mm, portrait, named like "A4 (210 x 297 mm)"). Returns
 * the number of entries and stores the array in `*papers`; free it with
 * NibFreePaperInfo. When memory runs out the entries found so far come back
 * (0 and NULL if none). With `papers` NULL only the count is given. */
KONIB_API int NibGetPaperInfo(const _NibREG_DATA* list, const _NibPAPER_INFO** papers);

/* The bins, as NibGetPaperInfo, from the `Bin.N` values (name only). A model
 * with none gets one bin: index 0, named "manual" in CP932 (0x8E 0xE8 0x93
 * 0xAE). Free with NibFreeBinInfo. */
KONIB_API int NibGetBinInfo(const _NibREG_DATA* list, const _NibBIN_INFO** bins);

/* The size of paper `index`: the first entry of NibGetPaperInfo with that
 * index, or the first entry when none has it (841 x 1189 when there are no
 * entries at all). Stores width in `size->x` and height in `size->y` when
 * `size` is not NULL, and returns the entry's position in the array. */
KONIB_API int NibGetPaperSize(const _NibREG_DATA* list, int index, POINT* size);

/* The guide of the model: its values `#1`, `#2`, ... (and `#0` first, if
 * there is one; `#` alone is `#0`) as lines joined by CR LF, numbers that
 * no value holds as empty lines, the later of two values of one number
 * winning, and each backslash-t made a TAB. Numbers below 0 or above 65535
 * are no lines. A model without guide, and lack of memory, give a fixed
 * sentence ("see the hardware's manual", in CP932). Never NULL; give it back
 * with NibFreeGuideText. */
KONIB_API const char* NibGetGuideText(const _NibREG_DATA* list);

/* Frees a guide text; NULL and the fixed sentence are left alone. */
KONIB_API void NibFreeGuideText(const char* text);

/* The steps a user may choose, from the last value named `Step` (fields
 * behind field 0, as written, cut at 127 bytes; an empty one is the step
 * 0), for a current `step`. `items` holds, in order: `step` itself when
 * it is neither a choice nor the default (field 0, read as atof does), then the
 * default when it is no choice, then the choices. Steps closer than
 * 2.2e-16 are the same; `current` is the position of `step`. Steps not
 * written by the model print as with "%lf" without trailing zeros ("0.025",
 * "1"; "nan", "inf" for what is no number). NULL when the model has no
 * `Step` or memory ran out. Free with NibFreeStepSizeInfo. */
KONIB_API const _NibSTEPSIZE_INFO* NibGetStepSizeInfo(const _NibREG_DATA* list, double step);

/* Extension `index`, from the last value `Extension.N` with N equal to it:
 * `selected` is field 0 (atoi; 0 when empty), `title` field 1, `items` the
 * names of the item pairs behind (each cut at 127 bytes; the last pair may
 * lack its template). NULL with fewer than two items, without such a value,
 * or when memory ran out. Free with NibFreeExtensionInfo. */
KONIB_API const _NibEXTENSION_INFO* NibGetExtensionInfo(const _NibREG_DATA* list, int index);

/* Fills `*info` (NULL: nothing happens) with the settings a fresh dialog
 * shows: step 1, origin 0,0, scale 1,1, font adjustments width and height
 * 1, pens i = number i up to 8 and 1 beyond, one stroke each, style pitches
 * 0 2 5 10 10 20 50 10 20 50, paper, bin, orientation 0, extensions -1,
 * ANK and Kanji fonts 2, kanji flag 1, next-page mode 1, next-pen mode 0;
 * then the model's Step/Step2, Origin, Scale, FontAdjust1-5, Paper and Bin
 * (field 1), Orientation, ANK, Kanji and Extension.0-4 (field 0) override
 * them in list order, an empty or missing field keeping its value. */
KONIB_API void NibGetDefaultInfo(const _NibREG_DATA* list, _NibInfo* info);

/* 1 when the first value of the name (Command.NextPage, Command.NextPen,
 * Digitize.Position) is not empty: the device changes pages, changes pens
 * or digitizes by itself; else 0, also for a NULL list. */
KONIB_API int NibIsNextPage(const _NibREG_DATA* list);
KONIB_API int NibIsNextPen(const _NibREG_DATA* list);
KONIB_API int NibIsDigitize(const _NibREG_DATA* list);

/* 1 when the first `Ctrl.DrawArc` is not empty and reads below 0: the device
 * draws every arc itself. Else 0. */
KONIB_API int NibIsDrawArc(const _NibREG_DATA* list);

/* The text of the model's first `Digitize.Enter`: its length without the
 * terminator goes to `*length`, and the text with its terminator to `text`,
 * which must have room for it (call with `text` NULL to learn the length).
 * Without such a value `*length` and `text[0]` become 0. Either pointer may
 * be NULL. Always returns 1. */
KONIB_API int NibDigitizeKey2(const _NibREG_DATA* list, char* text, int* length);

/* ------------------------------------------------------------------------ */
/* Entries for extension functions: each takes the call record it was given. */

/* Sends `length` bytes (0xFFFFFFFF: up to the NUL) to the device. */
KONIB_API int _spfunc_write(NibSpfuncCall* call, const char* data, uint32_t length);
/* Reads one byte from the device. A missing read callback is a failure. */
KONIB_API int _spfunc_read(NibSpfuncCall* call, char* byte);
/* Passes `value` to the read-check callback. A missing callback is a failure. */
KONIB_API int _spfunc_readcheck(NibSpfuncCall* call, uint32_t value);

#ifdef __cplusplus
} /* extern "C" */
#endif

#ifdef __cplusplus
/* ------------------------------------------------------------------------ */
/* Manager classes (C++ only)                                                */
/*                                                                           */
/* Two small classes that wrap the operations above and do the bookkeeping  */
/* of their blocks. They are exported from the library with all their       */
/* members. A C++ class crosses a DLL boundary only between compilers of    */
/* one ABI family: a program that uses them must be built with a compiler   */
/* of the family that built the library (the mingw-w64 g++ DLL with         */
/* mingw-w64 g++, not with MSVC; on Linux, the Itanium C++ ABI of g++ and   */
/* clang). Programs of any other compiler use the C operations. No member   */
/* throws. An object belongs to one thread at a time.                       */

/* A read-only view of one model. Each getter keeps its result until the
 * next call of the same getter (for extensions: with the same index) or the
 * object's end, and frees it then: the caller frees nothing. */
class KONIB_API NibRegManager {
 public:
  /* Loads the model with NibGetRegistry. A model that cannot be loaded
   * leaves the object working as a model with no values (a NULL list). */
  NibRegManager(HKEY root, const char* path, const char* model);
  /* Frees every kept result, then the list. */
  virtual ~NibRegManager();
  /* A copy holds a copy of the list of its own and no results yet, so that
   * each object frees only what it owns (NULL list if memory ran out). */
  NibRegManager(const NibRegManager& other);
  NibRegManager& operator=(const NibRegManager& other);

  /* NibGetPaperInfo; returns 1 when there is an array, else 0. */
  int GetPaperInfo(const _NibPAPER_INFO*& papers, int& count);
  /* NibGetBinInfo; returns 1 when there is an array, else 0. */
  int GetBinInfo(const _NibBIN_INFO*& bins, int& count);
  /* NibGetGuideText; always 1. */
  int GetGuideText(const char*& text);
  /* NibGetStepSizeInfo; `info` NULL and 0 when there is none, else 1. */
  int GetStepSizeInfo(double step, const _NibSTEPSIZE_INFO*& info);
  /* NibGetExtensionInfo for `index` 0 to 4, each kept apart; `info` NULL and
   * 0 when there is none, else 1. Another index gives 0 and leaves `info`. */
  int GetExtensionInfo(int index, const _NibEXTENSION_INFO*& info);
  /* NibGetDefaultInfo. */
  void GetDefaultInfo(_NibInfo& info) const;
  /* NibGetPaperSize: x the width and y the height, exchanged when `swap` is
   * not 0. Always 1. */
  int GetPaperSize(int index, int swap, POINT& size) const;
  int GetPaperSize(int index, int swap, _NibWorld2& size) const;
  /* NibIsDrawArc, NibDigitizeKey2, NibIsDigitize. */
  int IsDrawArc() const;
  int GetDigitizeKey(char* text, int* length) const;
  int IsDigitize() const;
  /* The list, for NibSetPlotter2 and the plain queries; owned by the object. */
  operator const _NibREG_DATA*() const;

 private:
  const _NibREG_DATA* list_;
  const _NibPAPER_INFO* papers_;
  const _NibBIN_INFO* bins_;
  const char* guide_;
  const _NibSTEPSIZE_INFO* steps_;
  const _NibEXTENSION_INFO* extensions_[5];
};

/* The catalogue of models below one registry path. */
class KONIB_API NibRegModelNames {
 public:
  /* Keeps `root` (not owned) and a copy of `path`, cut at 259 bytes (NULL:
   * the empty path). Reads nothing yet. */
  NibRegModelNames(HKEY root, const char* path);
  /* Frees the names. */
  virtual ~NibRegModelNames();
  /* A copy has the same root and path and no names yet. */
  NibRegModelNames(const NibRegModelNames& other);
  NibRegModelNames& operator=(const NibRegModelNames& other);

  /* NibGetRegModelNames, read anew at each use: the former text is freed,
   * so a text stays valid until the next use or the object's end. NULL
   * when there is no model. */
  operator const char*();
  /* NibDeleteRegistry. */
  void DeleteModel(const char* model) const;
  /* NibSetupRegistry. */
  void SetupModel(const char* model, const char* modelSection, const char* modelFile, const char* command,
                  const char* commandSection, const char* commandFile) const;
  /* Installs the command set `command` alone (NULL or empty: nothing) from
   * section `commandSection` of `commandFile`, as NibSetupRegistry does;
   * no model's key is touched. */
  void SetupCommand(const char* command, const char* commandSection, const char* commandFile) const;
  HKEY GetRegHKEY() const;
  const char* GetRegPath() const;

 private:
  const char* names_;
  HKEY root_;
  char path_[260];
};
#endif /* __cplusplus */

#endif /* KONIB_H */
