// Numbers in templates.
//
// A template names a number variable and may add a sign, a format and one
// arithmetic operation; the value is divided by a divisor (normally `step`,
// so that plot units become device units) and printed as decimal text:
//
//   name | +name | -name | (name) | (name,format) | (name,format,operation)
//
// format:    [pad] digits-and-points, e.g. 6.1 (width 6, 1 decimal), 06.1
//            (pad '0'), *6.0 (pad '*'), 3 (3 decimals), 6. (width 6)
// operation: one of + - * / % directly followed by an unsigned number, and
//            an optional s: the number is then in the variable's own unit
//            and is divided by the divisor too.
#pragma once

#include <cstddef>

#include "core/handle.h"

namespace konib {

// A number's form as a template writes it: sign, format and operation.
struct NumberForm {
  bool negate = false;
  char pad = ' ';
  int width = 0;
  int decimals = -1;  // -1: the handle's `decimals`
  char op = '\0';     // one of + - * / %, or none
  double operand = 0.0;
  bool operandScaled = false;  // the operand is divided by the divisor too
};

// Reads the form of the number variable `name` (`nameLength` bytes) at
// `text`, just behind a backslash, without sending anything. Returns the
// bytes it takes, or 0 when the text is not this variable in a valid form.
std::size_t ParseNumber(const char* text, const char* name, std::size_t nameLength,
                        NumberForm* form);

// The number a form with an operation prints for `value` over `divisor`.
double ApplyOperation(const NumberForm& form, double value, double divisor);

// The number a form prints for `value` over `divisor`.
inline double ApplyNumberForm(const NumberForm& form, double value, double divisor) {
  if (form.op != '\0') return ApplyOperation(form, value, divisor);
  const double r = value / divisor;
  return form.negate ? -r : r;
}

// Room for every text FormatNumber can write: the widest padding, the
// longest fixed text and its terminator.
constexpr std::size_t kNumberTextSize = 1024;

// Up to here a double holds every integer, and the part behind the point of
// a value comes out exactly as the value minus its integer part.
constexpr double kExactIntegers = 9007199254740992.0;  // 2^53

// Whether a value prints as a whole number by FormatWhole: no decimals, and
// small enough to round exactly.
inline bool IsWholeNumber(int decimals, double value) {
  return decimals <= 0 && value < kExactIntegers && value > -kExactIntegers;
}

// Bytes FormatWhole may write, beyond what it returns as well.
constexpr std::size_t kWholeNumberRoom = 32;

// The digits of `value` rounded to a whole number as the fixed notation of
// the platform rounds, to the nearest and a tie to the even neighbour, into
// `out`, with "-" in front of a negative result; 0 has no sign. Returns the
// length; writes kWholeNumberRoom bytes at most, the rest of them scratch.
// Only for values IsWholeNumber admits.
std::size_t FormatWhole(double value, char* out);

// Writes what PrintNumber sends into `out` (kNumberTextSize bytes), without
// a terminator; returns its length.
std::size_t FormatNumber(char* out, int width, char pad, int decimals, double value);

// Tries the number variable `name` at `text` (just behind a backslash).
// Returns the bytes consumed, or 0 when the text is not this variable in a
// valid form; then nothing has been sent.
std::size_t ExpandNumber(const char* text, NibHandle* h, const char* name, double value,
                         double divisor);

// Two variables of a kind, x first, with the divisor `step`.
std::size_t ExpandNumberPair(NibHandle* h, const char* text, const char* xName, double x,
                             const char* yName, double y);

// Sends `value` with `decimals` places, at least `width` digits before the
// point, padded in front with `pad` (behind the sign). A value that rounds
// to zero never prints as "-0".
void PrintNumber(NibHandle* h, int width, char pad, int decimals, double value);

// Size of a buffer that holds every text FormatFixed can write.
constexpr std::size_t kFixedBufferSize = 512;

// The plain fixed notation of `value` with `decimals` places (400.00, 0.05,
// -3.10) into `buffer` of kFixedBufferSize bytes; returns `buffer`.
const char* FormatFixed(double value, int decimals, char* buffer);

}  // namespace konib
