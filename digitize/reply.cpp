// Reply patterns: reading a position out of what the device answers.
// The pattern language and the bounds on reading are told in digitize.h.
#include <cmath>
#include <cstring>

#include "core/output.h"
#include "digitize/digitize.h"
#include "platform/number.h"
#include "platform/text.h"
#include "template/walker.h"

namespace konib {
namespace {

// The number escapes of a pattern, tried in this order.
struct NumberEscape {
  const char* name;    // without regard to case
  std::uint32_t mark;  // 0: the number is dropped
  bool fromCentre;     // the device counts from the middle of the area
};

const NumberEscape kNumberEscapes[] = {
    {"x1", kMarkX, false}, {"y1", kMarkY, false}, {"x2", kMarkX, true},
    {"y2", kMarkY, true},  {"d", 0, false},
};

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

std::size_t NameLength(const char* text, const char* name) {
  std::size_t n = std::strlen(name);
  return platform::CompareNoCaseN(text, name, n) == 0 ? n : 0;
}

// Reads one byte and compares it: false when it is another or none came.
bool ReadExpected(NibHandle* h, char expected) {
  char byte = 0;
  return ReadByte(h, &byte) == 1 && byte == expected;
}

// A number escape at `text` (just behind the backslash): the bytes consumed
// behind the backslash, 0 if none is written here.
std::size_t MatchNumber(NibHandle* h, const char* text, Reading* reading) {
  for (const NumberEscape& escape : kNumberEscapes) {
    std::size_t name = NameLength(text, escape.name);
    if (name == 0) continue;
    double value = 0.0;
    bool delivered = false;
    std::size_t used = ReadReplyNumber(h, text + name, &value, &delivered);
    if (delivered && escape.mark != 0) {
      const double axis = escape.mark == kMarkX ? h->sizeXY.x : h->sizeXY.y;
      // Without a step there is no area in steps: every position is 0 then.
      if (escape.fromCentre && std::fabs(h->step) >= kEpsilon) value += axis * 0.5 / h->step;
      (escape.mark == kMarkX ? reading->value.x : reading->value.y) = value;
      reading->marks |= escape.mark;
    }
    return name + used;
  }
  return 0;
}

// The local escape of Digitize.Position.
std::size_t PatternEscape(NibHandle* h, const char* text, const void* data) {
  return MatchReply(h, text, static_cast<Reading*>(const_cast<void*>(data)));
}

// An extension function in Digitize.Position may read a reply its own way:
// it gets a pair and a word, and with a result other than 0 the low byte of
// the word says which axes of the pair it delivered, in device steps.
void InvokeReader(void* function, NibSpfuncCall* call, const void* data) {
  auto* reading = static_cast<Reading*>(const_cast<void*>(data));
  _NibWorld2 pair{0.0, 0.0};
  std::uint32_t word = 0;
  if (reinterpret_cast<int (*)(NibSpfuncCall*, _NibWorld2*, std::uint32_t*)>(function)(
          call, &pair, &word) == 0) {
    return;
  }
  if (word & kMarkX) reading->value.x = pair.x;
  if (word & kMarkY) reading->value.y = pair.y;
  reading->marks |= word & (kMarkX | kMarkY);
}

// Where the plain decimal number at the head of `text` ends: an optional
// sign, digits with an optional point, an optional exponent. A device's
// reply holds nothing else, so hexadecimal, "inf" and "nan" read as the
// number before them, which is none: 0.
const char* DecimalEnd(const char* text, const char* end) {
  const auto digits = [end](const char* p) {
    while (p < end && *p >= '0' && *p <= '9') ++p;
    return p;
  };
  const char* p = text;
  if (p < end && (*p == '+' || *p == '-')) ++p;
  const char* mantissa = p;
  p = digits(p);
  if (p < end && *p == '.') p = digits(p + 1);
  if (p == mantissa || (p == mantissa + 1 && *mantissa == '.')) return text;
  if (p < end && (*p == 'e' || *p == 'E')) {
    const char* q = p + 1;
    if (q < end && (*q == '+' || *q == '-')) ++q;
    const char* exponent = digits(q);
    if (exponent > q) p = exponent;
  }
  return p;
}

}  // namespace

std::size_t ReadReplyNumber(NibHandle* h, const char* text, double* target, bool* delivered) {
  *delivered = false;
  char terminator = text[0];
  std::size_t consumed = 1;
  bool dropNext = false;
  if (text[0] == '\0') return 0;  // no terminator: nothing could end the number
  if (text[0] == '\\' && (text[1] == 'n' || text[1] == 'N')) {
    terminator = '\r';
    consumed = 2;
    dropNext = true;
  } else if (text[0] == '\\' && text[1] == '$') {
    if (ParseHexByte(text + 2, &terminator) == 0) return 0;
    consumed = 4;
  }

  char buffer[kReplyNumberSize];
  std::size_t stored = 0;
  bool tooLong = false;
  for (int count = 0;; ++count) {
    if (count == kReplyReadLimit) {
      h->failure = kDeviceFailure;  // a stream without end: the device is out of step for good
      return 0;
    }
    char byte = 0;
    if (ReadByte(h, &byte) == 0) return 0;
    if (byte == terminator) break;
    if (stored == 0 && IsBlank(byte)) continue;
    if (stored < kReplyNumberSize - 1) {
      buffer[stored++] = byte;
    } else {
      tooLong = true;
    }
  }
  if (!tooLong) {
    *target = platform::ReadDouble(buffer, DecimalEnd(buffer, buffer + stored));
    *delivered = true;
  }
  if (dropNext) {
    char dropped = 0;
    ReadByte(h, &dropped);  // a failure here stands; so does the count
  }
  return consumed;
}

std::size_t MatchReply(NibHandle* h, const char* text, Reading* reading) {
  if (text[0] != '<') return 0;
  // The request must reach the device before its reply is awaited.
  if (h->failure == kGood) FlushOutput(h);
  const char* p = text + 1;
  // To stop is to return what was consumed: the walk of the template goes
  // on at the byte whose comparison failed.
  while (*p != '\0') {
    if (*p == '>') return static_cast<std::size_t>(p + 1 - text);
    if (*p == '\\') {
      const char* escape = p + 1;
      if (*escape == 'n') {
        char first = 0, second = 0;
        bool ok = ReadByte(h, &first) == 1 && ReadByte(h, &second) == 1;
        if (!ok || first != '\r' || second != '\n') return static_cast<std::size_t>(escape - text);
        p = escape + 1;
        continue;
      }
      if (*escape == '$') {
        char value = 0;
        if (ParseHexByte(escape + 1, &value) == 0 || !ReadExpected(h, value)) {
          return static_cast<std::size_t>(escape - text);
        }
        p = escape + 3;
        continue;
      }
      std::size_t used = MatchNumber(h, escape, reading);
      if (used > 0) {
        p = escape + used;
        continue;
      }
      p = escape;  // the backslash is dropped; the byte behind it is a literal
      if (*p == '\0') break;
    }
    if (!ReadExpected(h, *p)) return static_cast<std::size_t>(p - text);
    ++p;
  }
  return static_cast<std::size_t>(p - text);
}

int ReadPosition(NibHandle* h, _NibWorld2* position) {
  const char* text = h->text[kDigitizePosition];
  if (text == nullptr) return Result(h);
  Reading reading;
  const LocalEscape locals[] = {{"", 0.0, 0.0, PatternEscape, &reading}};
  WalkRules rules;
  rules.locals = locals;
  rules.localCount = 1;
  rules.invoke = InvokeReader;
  rules.invokeData = &reading;
  if (WalkTemplate(h, text, nullptr, rules) == 0) return 0;  // a position half read is no position
  if (reading.marks == (kMarkX | kMarkY)) {
    *position = _NibWorld2{h->step * reading.value.x, h->step * reading.value.y};
  }
  return 1;
}

}  // namespace konib
