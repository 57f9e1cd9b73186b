// Text output: runs, template sets and the text escapes.
//
// Character classes. A run holds characters of one class; the tests are
// made in this order on the byte at the scan position, the first decides:
//
//   | test                                 | class       | FontAdjust |
//   | NUL                                  | end of text |            |
//   | 0x20                                 | space (5)   | none       |
//   | lead byte followed by a trail byte   | double (4)  | 5          |
//   | 0xA1 to 0xDF                         | kana (2)    | 3          |
//   | 0x30 to 0x39                         | digit (0)   | 1          |
//   | A to Z, a to z                       | letter (1)  | 2          |
//   | anything else                        | other (3)   | 4          |
//
// A space joins the run behind it; spaces at the end of a text are never
// sent. Each character of a run goes through one template set (Init, body,
// Term): a double-byte character through the draw set; a single byte from
// 0x80 up through the kana set when the model has Command.TextKana; other
// single bytes through the char set when it has Command.TextChar; what is
// left through the draw set as its full-width code.
//
// Escapes of the text templates, behind the model's global ones:
//
//   | escape       | given        | sends                                        |
//   | x1 y1 x3 y3  | position     | position, mirrored from sizeXY (3), / step   |
//   | c1           | code C       | 2 bytes: C high, C low                       |
//   | c2           | code         | 2 bytes: J high, J low (J: C as JIS)         |
//   | c3           | code         | row and cell of J, "%04u"                    |
//   | c4 c5        | code         | C, J as "%04X"                               |
//   | c8 c9        | code         | low byte of C; with the top bit cleared      |
//   | w1 h1 p1     | info         | width, height, pitch / step                  |
//   | w2 h2 w3 h3  | info         | width, height, width/height, height/width    |
//   | s1 sc ss     | info         | degrees; cos and sin times 100               |
//   | w0 h0 s0     | info         | Command.FontWidth/Height/Angle, if changed   |
//   | i1 b1        | info         | italic On/Off, bold On/Off by flags 2 and 1  |
//   | i0 b0        | info         | as i1 and b1, if the flag changed            |
//
// "If changed" compares with what the device was last told (`lastTextInfo`,
// valid with kTextValid); that belief is valid only while Command.Text is
// walked, so in every other template these escapes always send.
#include "output/text.h"

#include <cmath>
#include <cstdint>
#include <cstring>

#include "config/value_text.h"
#include "core/output.h"
#include "platform/text.h"
#include "template/walker.h"

namespace konib {
namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;

enum RunClass : int {
  kDigit = 0,
  kLetter = 1,
  kKana = 2,
  kOther = 3,
  kDouble = 4,
  kSpace = 5,
  kEnd = 6,
  kNone = 7
};

struct TemplateSet {
  int init;
  int body;
  int term;
};

enum SetNumber : int { kDrawSet = 0, kCharSet = 1, kKanaSet = 2 };

const TemplateSet kSets[] = {
    {kCmdTextDrawInit, kCmdTextDraw, kCmdTextDrawTerm},
    {kCmdTextCharInit, kCmdTextChar, kCmdTextCharTerm},
    {kCmdTextKanaInit, kCmdTextKana, kCmdTextKanaTerm},
};

unsigned char Byte(const char* p) { return static_cast<unsigned char>(*p); }

// A lead byte followed by a trail byte. A lead byte at the very end of the
// text meets the terminator, which is no trail byte.
bool IsDoubleByte(const char* p) {
  return platform::IsLeadByte(Byte(p)) && platform::IsTrailByte(Byte(p + 1));
}

std::size_t CharLength(const char* p) { return IsDoubleByte(p) ? 2 : 1; }

RunClass Classify(const char* p) {
  const unsigned char c = Byte(p);
  if (c == 0) return kEnd;
  if (c == 0x20) return kSpace;
  if (IsDoubleByte(p)) return kDouble;
  if (platform::IsKanaByte(c)) return kKana;
  if (platform::IsDigitByte(c)) return kDigit;
  if (platform::IsLetterByte(c)) return kLetter;
  return kOther;
}

_NibWorld2 Along(const _NibWorld2& from, double distance, double angle) {
  return {from.x + distance * std::cos(angle), from.y + distance * std::sin(angle)};
}

// What one walk of a text template was given.
struct TextWalk {
  const _NibWorld2* position;
  const char* run;
  unsigned code;
  const _NibTextInfo* info;
  std::uint32_t fonts;  // font templates on the way here, a bit per slot
  int* budget;          // font template walks left to the outermost walk
};

// How many font templates one text template may send, nested ones included.
// A model sends a handful; a chain of templates that each name the next many
// times over would otherwise multiply into an endless walk.
constexpr int kFontWalkBudget = 256;

// A font escape: the template it sends, chosen by a bit of `flags` (0: the
// second always), and the test that lets it keep silent (null: never).
struct FontEscape {
  char letter;
  char digit;
  std::uint32_t bit;
  int whenSet;
  int whenClear;
  bool (*unchanged)(const _NibTextInfo& now, const _NibTextInfo& last);
};

bool SameWidth(const _NibTextInfo& a, const _NibTextInfo& b) {
  return std::fabs(a.width - b.width) < kEpsilon;
}
bool SameHeight(const _NibTextInfo& a, const _NibTextInfo& b) {
  return std::fabs(a.height - b.height) < kEpsilon;
}
bool SameAngle(const _NibTextInfo& a, const _NibTextInfo& b) {
  return std::fabs(a.angle - b.angle) < kEpsilon;
}
bool SameItalic(const _NibTextInfo& a, const _NibTextInfo& b) {
  return ((a.flags ^ b.flags) & 2u) == 0;
}
bool SameBold(const _NibTextInfo& a, const _NibTextInfo& b) {
  return ((a.flags ^ b.flags) & 1u) == 0;
}

// The sense of the two bits differs: a set bold bit takes FontBoldOn, a set
// italic bit takes FontItalicOff.
const FontEscape kFontEscapes[] = {
    {'W', '0', 0, kCmdFontWidth, kCmdFontWidth, SameWidth},
    {'H', '0', 0, kCmdFontHeight, kCmdFontHeight, SameHeight},
    {'S', '0', 0, kCmdFontAngle, kCmdFontAngle, SameAngle},
    {'I', '1', 2, kCmdFontItalicOff, kCmdFontItalicOn, nullptr},
    {'B', '1', 1, kCmdFontBoldOn, kCmdFontBoldOff, nullptr},
    {'I', '0', 2, kCmdFontItalicOff, kCmdFontItalicOn, SameItalic},
    {'B', '0', 1, kCmdFontBoldOn, kCmdFontBoldOff, SameBold},
};

int WalkText(NibHandle* h, const char* text, const TextWalk& walk);

// Font templates may send each other, but a template is not walked again
// inside itself: there a font escape takes its two bytes and sends nothing.
// So Command.FontWidth holding \w0, or two font templates that name each
// other, stop after one round instead of descending for ever.
std::size_t FontEscapeAction(NibHandle* h, const char* text, const void* data) {
  const auto* walk = static_cast<const TextWalk*>(data);
  for (const FontEscape& row : kFontEscapes) {
    if (platform::ToUpper(text[0]) != row.letter || text[1] != row.digit) continue;
    const _NibTextInfo& now = *walk->info;
    if (row.unchanged != nullptr && (h->stateFlags & kTextValid) &&
        row.unchanged(now, h->lastTextInfo))
      return 2;
    const int slot = (now.flags & row.bit) != 0 ? row.whenSet : row.whenClear;
    const std::uint32_t bit = 1u << (slot - kCmdFontWidth);
    if ((walk->fonts & bit) != 0 || *walk->budget <= 0) return 2;
    --*walk->budget;
    const TextWalk font{nullptr, nullptr, 0, walk->info, walk->fonts | bit, walk->budget};
    WalkText(h, h->text[slot], font);
    return 2;
  }
  return 0;
}

void SendHex4(NibHandle* h, unsigned value) {
  static const char kDigits[] = "0123456789ABCDEF";
  const char text[4] = {kDigits[(value >> 12) & 15], kDigits[(value >> 8) & 15],
                        kDigits[(value >> 4) & 15], kDigits[value & 15]};
  EmitBytes(h, text, 4);
}

// "%04u" of a 16-bit value: four digits, five above 9999.
void SendDecimal4(NibHandle* h, unsigned value) {
  char text[5];
  int length = value > 9999 ? 5 : 4;
  for (int i = length - 1; i >= 0; --i, value /= 10) text[i] = static_cast<char>('0' + value % 10);
  EmitBytes(h, text, length);
}

void SendPair(NibHandle* h, unsigned value) {
  const char bytes[2] = {static_cast<char>((value >> 8) & 0xFF), static_cast<char>(value & 0xFF)};
  EmitBytes(h, bytes, 2);
}

// \c1 to \c9: the character code as Shift-JIS, JIS, row and cell or a
// single byte. No sign, no parentheses: always two template bytes.
std::size_t CodeEscape(NibHandle* h, const char* text, const void* data) {
  if (text[0] != 'c' && text[0] != 'C') return 0;
  const unsigned code = static_cast<const TextWalk*>(data)->code & 0xFFFF;
  const unsigned jis = platform::ShiftJisToJis(code);
  switch (text[1]) {
    case '1':
      SendPair(h, code);
      break;
    case '2':
      SendPair(h, jis);
      break;
    case '3':
      SendDecimal4(h, (((jis >> 8) - 0x20) * 100 + (jis & 0xFF) - 0x20) & 0xFFFF);
      break;
    case '4':
      SendHex4(h, code);
      break;
    case '5':
      SendHex4(h, jis);
      break;
    case '8':
      EmitByte(h, static_cast<char>(code & 0xFF));
      break;
    case '9':
      EmitByte(h, static_cast<char>(code & 0x7F));
      break;
    default:
      return 0;
  }
  return 2;
}

// The further arguments of an extension function: copies, and in the
// info only the two style bits remain.
void InvokeText(void* function, NibSpfuncCall* call, const void* data) {
  const auto* walk = static_cast<const TextWalk*>(data);
  _NibTextInfo info = *walk->info;
  info.flags &= 3u;
  if (walk->position == nullptr) {
    reinterpret_cast<int (*)(NibSpfuncCall*, const _NibTextInfo*)>(function)(call, &info);
    return;
  }
  _NibWorld2 position = *walk->position;
  if (walk->run != nullptr) {
    reinterpret_cast<int (*)(NibSpfuncCall*, const _NibWorld2*, const char*, const _NibTextInfo*)>(
        function)(call, &position, walk->run, &info);
  } else {
    reinterpret_cast<int (*)(NibSpfuncCall*, const _NibWorld2*, std::uint32_t,
                             const _NibTextInfo*)>(function)(call, &position, walk->code, &info);
  }
}

int WalkText(NibHandle* h, const char* text, const TextWalk& walk) {
  if (text == nullptr || *text == '\0') return Result(h);
  constexpr std::size_t kMostLocals = 16;
  LocalEscape locals[kMostLocals];
  std::size_t count = 0;
  const double s = h->step;
  if (walk.position != nullptr) {
    const _NibWorld2& p = *walk.position;
    locals[count++] = {"x1", p.x, s, nullptr, nullptr};
    locals[count++] = {"y1", p.y, s, nullptr, nullptr};
    locals[count++] = {"x3", h->sizeXY.x - p.x, s, nullptr, nullptr};
    locals[count++] = {"y3", h->sizeXY.y - p.y, s, nullptr, nullptr};
  }
  if (walk.code != 0) locals[count++] = {"", 0.0, 0.0, CodeEscape, &walk};
  WalkRules rules;
  if (walk.info != nullptr) {
    const _NibTextInfo& t = *walk.info;
    locals[count++] = {"", 0.0, 0.0, FontEscapeAction, &walk};
    locals[count++] = {"w1", t.width, s, nullptr, nullptr};
    locals[count++] = {"w2", t.width, 1.0, nullptr, nullptr};
    locals[count++] = {"w3", t.width / t.height, 1.0, nullptr, nullptr};
    locals[count++] = {"h1", t.height, s, nullptr, nullptr};
    locals[count++] = {"h2", t.height, 1.0, nullptr, nullptr};
    locals[count++] = {"h3", t.height / t.width, 1.0, nullptr, nullptr};
    locals[count++] = {"p1", t.pitch, s, nullptr, nullptr};
    locals[count++] = {"s1", TextDegrees(h, t.angle), 1.0, nullptr, nullptr};
    locals[count++] = {"sc", std::cos(t.angle) * 100.0, 1.0, nullptr, nullptr};
    locals[count++] = {"ss", std::sin(t.angle) * 100.0, 1.0, nullptr, nullptr};
    rules.invoke = InvokeText;
    rules.invokeData = &walk;
  }
  rules.locals = locals;
  rules.localCount = count;
  return WalkTemplate(h, text, nullptr, rules);
}

// The run of `length` bytes at `begin`, of class `runClass`, `count`
// places from `position`: placed and sized by the class's FontAdjust, and
// sent in pieces that fit the run buffer.
void SendRun(NibHandle* h, const char* begin, std::size_t length, int runClass, std::size_t count,
             const _NibWorld2& position, const _NibTextInfo& info) {
  const NibFontAdjustRow& adjust = h->fontAdjust[runClass];
  const double a = info.angle;
  _NibWorld2 at = Along(position, static_cast<double>(count) * info.pitch, a);
  // The offset turns with the text.
  const double dx = adjust.xOffset * info.width;
  const double dy = adjust.yOffset * info.height;
  at = Along(at, std::sqrt(dx * dx + dy * dy), a + std::atan2(dy, dx));
  _NibTextInfo runInfo = info;
  runInfo.width *= adjust.width;
  runInfo.height *= adjust.height;

  char buffer[kMaxRunBytes + 1];
  std::size_t done = 0;
  std::size_t places = 0;
  while (done < length) {
    std::size_t piece = 0;
    std::size_t chars = 0;
    while (done + piece < length) {
      const std::size_t step = CharLength(begin + done + piece);
      if (piece + step > kMaxRunBytes) break;
      piece += step;
      ++chars;
    }
    std::memcpy(buffer, begin + done, piece);
    buffer[piece] = '\0';
    EmitRun(h, buffer, Along(at, static_cast<double>(places) * info.pitch, a), runInfo);
    done += piece;
    places += chars;
  }
}

// The FontReplace field that replaces `key` (`length` bytes) into
// `buffer`, or the key itself. Fields are raw bytes, compared with regard
// to case; an empty field is passed over and still counts.
void Replace(const char* fields, const char* key, std::size_t length,
             char (&buffer)[kMaxReplaceBytes + 1]) {
  const char* source = nullptr;
  std::size_t sourceLength = 0;
  const char* drawn = key;
  std::size_t drawnLength = length;
  FieldWalk walk(fields);
  while (walk.Next()) {
    if (walk.empty()) continue;
    if (walk.number() % 2 == 0) {
      source = walk.begin();
      sourceLength = walk.length();
      continue;
    }
    if (source != nullptr && sourceLength == length && std::memcmp(source, key, length) == 0) {
      drawn = walk.begin();
      drawnLength = walk.length();
      break;
    }
  }
  // Cut a long replacement short, between characters.
  std::size_t kept = 0;
  while (kept < drawnLength) {
    std::size_t step = kept + 1 < drawnLength && IsDoubleByte(drawn + kept) ? 2 : 1;
    if (kept + step > kMaxReplaceBytes) break;
    kept += step;
  }
  std::memcpy(buffer, drawn, kept);
  buffer[kept] = '\0';
}

}  // namespace

double TextDegrees(const NibHandle* h, double angle) {
  double v = angle * kDegreesPerRadian;
  if (!std::isfinite(v)) return 0.0;
  double power = 1.0;
  for (int i = 0; i < h->decimals && i < 15; ++i) power *= 10.0;
  const double rounded = std::floor(v * power + 0.5) / power;
  if (std::isfinite(rounded)) v = rounded;
  v = std::fmod(v, 360.0);  // what the loops below would reach, in one step
  while (v < -kEpsilon) v += 360.0;
  while (v >= 360.0) v -= 360.0;
  return v < kEpsilon ? 0.0 : v;
}

int ExpandTextTemplate(NibHandle* h, const char* text, const _NibWorld2* position, const char* run,
                       unsigned code, const _NibTextInfo* info) {
  int budget = kFontWalkBudget;
  const TextWalk walk{position, run, code, info, 0, &budget};
  return WalkText(h, text, walk);
}

int EmitRun(NibHandle* h, const char* run, const _NibWorld2& position, const _NibTextInfo& info) {
  ExpandTextTemplate(h, h->text[kCmdText], &position, run, 0, &info);
  h->stateFlags &= ~static_cast<std::uint32_t>(kTextValid);
  int set = -1;
  std::size_t i = 0;
  for (const char* p = run; *p != '\0'; ++i) {
    const _NibWorld2 at = Along(position, static_cast<double>(i) * info.pitch, info.angle);
    unsigned code;
    int chosen;
    if (IsDoubleByte(p)) {
      code = Byte(p) * 256u + Byte(p + 1);
      chosen = kDrawSet;
      p += 2;
    } else {
      code = Byte(p++);
      if (code >= 0x80 && h->text[kCmdTextKana] != nullptr) {
        chosen = kKanaSet;
      } else if (h->text[kCmdTextChar] != nullptr) {
        chosen = kCharSet;
      } else {
        chosen = kDrawSet;
        code = platform::ToFullWidth(code);
      }
    }
    if (chosen != set) {
      if (set >= 0) ExpandTextTemplate(h, h->text[kSets[set].term], nullptr, nullptr, 0, nullptr);
      ExpandTextTemplate(h, h->text[kSets[chosen].init], &at, nullptr, 0, &info);
      set = chosen;
    }
    const char* body = h->text[kSets[chosen].body];
    if (body != nullptr) ExpandTextTemplate(h, body, &at, nullptr, code, &info);
  }
  if (set >= 0) ExpandTextTemplate(h, h->text[kSets[set].term], nullptr, nullptr, 0, nullptr);
  ExpandTextTemplate(h, h->text[kCmdTextTerm], nullptr, nullptr, 0, nullptr);
  h->stateFlags |= kTextValid;
  h->lastTextInfo = info;
  // Where the lettering leaves the pen is the device's affair.
  h->stateFlags &= ~static_cast<std::uint32_t>(kPositionKnown);
  return Result(h);
}

int SplitRuns(NibHandle* h, const _NibWorld2& position, const char* text,
              const _NibTextInfo& info) {
  const char* start = text;
  const char* scan = text;
  std::size_t count = 0;
  int runClass = kNone;
  for (;;) {
    const int previous = runClass;
    runClass = Classify(scan);
    if (start < scan && runClass != previous && previous <= kDouble) {
      const auto length = static_cast<std::size_t>(scan - start);
      SendRun(h, start, length, previous, count, position, info);
      count += previous == kDouble ? length / 2 : length;
      start = scan;
    }
    if (runClass == kEnd) break;
    scan += runClass == kDouble ? 2 : 1;
  }
  return Result(h);
}

int EmitReplacedText(NibHandle* h, const _NibTextInfo& info, const _NibWorld2& position,
                     const char* text) {
  const char* fields = h->text[kFontReplaceText];
  if (fields == nullptr) return SplitRuns(h, position, text, info);
  std::size_t i = 0;
  for (const char* p = text; *p != '\0'; ++i) {
    const std::size_t length = CharLength(p);
    char drawn[kMaxReplaceBytes + 1];
    Replace(fields, p, length, drawn);
    if (SplitRuns(h, Along(position, static_cast<double>(i) * info.pitch, info.angle), drawn,
                  info) == 0)
      return 0;
    p += length;
  }
  return 1;
}

}  // namespace konib

using namespace konib;

namespace {

unsigned FontSupport(std::int32_t ank, std::int32_t kanji, std::int32_t kanjiFlag) {
  unsigned bits = 0;
  if (ank > 0) bits = ank > 1 ? 3u : 1u;
  if (kanji > 0) {
    bits |= 8u;
    if (kanjiFlag != 0) bits |= 4u;
    if (kanji > 1) bits |= 16u;
  }
  return bits;
}

}  // namespace

extern "C" KONIB_API int NibQueryFontSupportCode(void* handle, unsigned int* bits) {
  const NibHandle* h = Working(handle);
  if (h == nullptr || bits == nullptr) return 0;
  unsigned word = 0;
  // A slot with an empty text counts: through an extension function even
  // Command.Text alone can take the whole text.
  if (h->text[kCmdTextDraw] != nullptr || h->text[kCmdText] != nullptr) word |= 7u;
  if (h->text[kCmdTextChar] != nullptr) word |= 3u;
  if (h->text[kCmdTextKana] != nullptr) word |= 2u;
  *bits = word;
  return 1;
}

extern "C" KONIB_API int NibQueryFontSupport(void* handle, unsigned int* bits) {
  const NibHandle* h = Working(handle);
  if (h == nullptr || bits == nullptr) return 0;
  *bits = FontSupport(h->ankFont, h->kanjiFont, h->kanjiFlag);
  return 1;
}

extern "C" KONIB_API int NibQueryFontSupport2(const _NibInfo* info, unsigned int* bits) {
  if (info == nullptr || bits == nullptr) return 0;
  *bits = FontSupport(info->ankFont, info->kanjiFont, info->kanjiFlag);
  return 1;
}
