// The record behind a handle.
//
// Everything on the drawing side of the library lives here: the model's value
// texts, the transform state, the pen and style tables, the device callbacks,
// the output buffer, what the library believes of the device, and the failure
// field that stops all work after the first error.
#pragma once

#include <cstdint>

#include "KoNib.h"

namespace konib {

struct NibListEntry;
struct NibExtensionSlot;
struct PreparedTemplate;

constexpr std::uint32_t kOutBufferSize = 16384;
constexpr int kPenCount = 17;
constexpr int kStyleCount = 10;
constexpr int kFontAdjustCount = 5;
constexpr int kModuleDirSize = 260;
// Templates the drawing path keeps prepared: Command.Move, Command.Line,
// Command.Circle and Command.Arc.
constexpr int kPreparedCount = 4;

// Machine epsilon: guards divisions, decides empty rectangles and equal numbers.
constexpr double kEpsilon = 2.220446049250313e-16;

// The tolerance of all clipping: a point this close outside an edge is in.
constexpr double kClipTolerance = 2.220446049250313e-12;

// Values of `failure`.
enum Failure : std::int32_t { kGood = 0, kDeviceFailure = 1, kOutOfMemory = 2 };

// Bits of `stateFlags`: what the library knows to be true of the device.
enum StateFlag : std::uint32_t {
  kPositionKnown = 1,  // the pen stands at devicePos
  kStyleSelected = 2,  // the device has deviceStyle
  kPenSelected = 4,    // the device holds devicePen
  kTextValid = 8,      // lastTextInfo is what the device was last told
};

// Value text slots: one pointer into the arena per key that holds a text.
// The three lists of papers, bins and extensions have their own heads.
enum Slot : int {
  kPaperText,
  kPaperSizeText,
  kBinText,
  kOrientationText,
  kPenLayoutText,
  kStylePitchText,
  kOriginText,
  kScaleText,
  kStepText,
  kDecimalText,
  kAnkText,
  kKanjiText,
  kFontAdjustText,  // five slots, FontAdjust1 to FontAdjust5
  kFontReplaceText = kFontAdjustText + kFontAdjustCount,
  kPenTblText,
  kStyleText,  // ten slots, Style0 to Style9
  kCmdPen = kStyleText + kStyleCount,
  kCmdNextPen,
  kCmdStyle,
  kCmdInit,
  kCmdTerm,
  kCmdAbort,
  kCmdStartPage,
  kCmdEndPage,
  kCmdNextPage,
  kCmdHome,
  kCmdMove,
  kCmdLine,
  kCmdCircle,
  kCmdArc,
  kCmdText,
  kCmdTextDrawInit,
  kCmdTextDraw,
  kCmdTextDrawTerm,
  kCmdTextCharInit,
  kCmdTextChar,
  kCmdTextCharTerm,
  kCmdTextKanaInit,
  kCmdTextKana,
  kCmdTextKanaTerm,
  kCmdTextTerm,
  kCmdFontWidth,
  kCmdFontHeight,
  kCmdFontPitch,
  kCmdFontAngle,
  kCmdFontItalicOn,
  kCmdFontItalicOff,
  kCmdFontBoldOff,
  kCmdFontBoldOn,
  kDigitizeStart,
  kDigitizeEnd,
  kDigitizePosition,
  kDigitizeEnter,
  kDigitizePen,
  kDigitizeReleasePen,
  kCtrlDrawArcText,
  kSlotCount
};

struct NibPenRow {
  std::int32_t number;   // pen number the device knows
  std::int32_t strokes;  // parallel passes; below 1 the pen draws nothing
  double strokeSpacing;  // distance between passes, plot units
};

struct NibFontAdjustRow {
  double xOffset;
  double yOffset;
  double width;
  double height;
};

// Attributes of one text, as the device was last told them.
using NibTextState = _NibTextInfo;

struct NibHandle {
  // Arena and extensions.
  void* arena;
  std::uint32_t arenaUsed;
  std::uint32_t arenaSize;
  NibExtensionSlot* extensions;
  std::int32_t extensionCount;
  char* extArgBuffer;
  std::uint32_t extArgSize;
  char moduleDir[kModuleDirSize];
  const char* key4Text;
  std::int32_t fieldDepth;  // nesting of model escapes, bounded against cycles

  // Sizes, selections, transforms.
  _NibWorld2 sizeXY;
  _NibWorld2 paperXY;
  double step;
  std::int32_t decimals;
  std::int32_t paperIndex;
  std::int32_t binIndex;
  std::int32_t orientation;
  std::int32_t rotateFlag;
  _NibWorld2 origin;
  _NibWorld2 scale;
  _NibWorld2 windowOrg;
  _NibWorld2 windowExt;
  _NibWorld2 viewOrg;
  _NibWorld2 viewExt;
  double clipRect[4];  // x, y, width, height; fixed for the handle's life
  // The clip rectangle widened by kClipTolerance on every side: left,
  // bottom, right, top. Kept, as every clipped stroke is tested against it.
  double clipBox[4];
  std::int32_t clipEnabled;
  std::int32_t viewStackCap;
  std::int32_t viewStackDepth;
  double* viewStack;  // frames of eight doubles

  // Pens and styles.
  NibPenRow pens[kPenCount];
  double stylePitch[kStyleCount];
  std::int32_t currentStyle;
  double arcLimit;
  std::int32_t currentPen;

  // Device binding and output.
  std::uint16_t dataCode;
  void* deviceCookie;
  int (*putProc)(void* cookie, const char* byte);
  int (*writeProc)(void* cookie, const char* data, std::uint32_t length);
  int (*readProc)(void* cookie, char* byte);
  int (*readCheckProc)(void* cookie, std::uint32_t value);
  char* outBuffer;
  std::uint32_t outUsed;

  // Value texts of the model.
  const char* text[kSlotCount];
  NibListEntry* paperList;
  NibListEntry* binList;
  NibListEntry* extensionList;
  PreparedTemplate* prepared;  // kPreparedCount of them, made when first walked

  // Text and device state.
  NibFontAdjustRow fontAdjust[kFontAdjustCount];
  std::uint32_t stateFlags;
  _NibWorld2 devicePos;
  std::int32_t deviceStyle;
  std::int32_t devicePenIndex;
  std::int32_t devicePen;
  NibTextState lastTextInfo;
  std::int32_t ankFont;
  std::int32_t kanjiFont;
  std::int32_t kanjiFlag;
  std::int32_t pageCount;
  std::int32_t nextPageMode;
  std::int32_t nextPenMode;
  std::int32_t failure;
};

// The record behind a caller's handle, or null when the handle may not work:
// a null handle, or one that has failed. This is the refusal rule that every
// exported operation applies first.
inline NibHandle* Working(void* handle) {
  auto* h = static_cast<NibHandle*>(handle);
  return (h != nullptr && h->failure == kGood) ? h : nullptr;
}

inline int Result(const NibHandle* h) { return h->failure == kGood ? 1 : 0; }

}  // namespace konib
