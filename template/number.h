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

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

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

// "00" to "99", two bytes each.
extern const char kDigitPairs[];

// The digits of `magnitude`, of any size, into `out`; returns the length.
// Writes 24 bytes, the rest of them scratch.
std::size_t FormatLongWhole(std::uint64_t magnitude, char* out);

// The two digits of `i` (below 100) as the two low bytes of a word, the
// first digit lowest. Written byte by byte so that it reads alike on every
// byte order; compilers make one 16-bit load of it.
inline std::uint64_t DigitPair(std::uint32_t i) {
  const auto* pair = reinterpret_cast<const unsigned char*>(kDigitPairs) + 2 * std::size_t{i};
  return std::uint64_t{pair[0]} | std::uint64_t{pair[1]} << 8;
}

// Stores the eight bytes of `word` at `out`, the lowest first, as one
// store: the bytes of FormatWhole's digits in their order.
inline void StoreWord(char* out, std::uint64_t word) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  for (int i = 0; i < 8; ++i) out[i] = static_cast<char>(word >> (8 * i));
#else
  std::memcpy(out, &word, sizeof word);
#endif
}

namespace detail {
// Lemire's digit count: for the numbers whose highest bit is bit i, the
// count is d or d + 1, the step at the power of ten 10^d. The entry holds
// d in its high half and, where the step falls among these numbers, 2^32 -
// 10^d in its low half, so that adding the number carries into d exactly
// from 10^d on.
constexpr std::uint64_t DigitCountEntry(int bit) {
  std::uint64_t power = 10;  // the least power of ten above 2^bit
  std::uint64_t digits = 1;  // and the digits of 2^bit
  while (power <= (std::uint64_t{1} << bit)) {
    power *= 10;
    ++digits;
  }
  const std::uint64_t high = digits << 32;
  return power < (std::uint64_t{2} << bit) ? high + ((std::uint64_t{1} << 32) - power) : high;
}

struct DigitCountTable {
  std::uint64_t entry[32];
  constexpr DigitCountTable() : entry() {
    for (int bit = 0; bit < 32; ++bit) entry[bit] = DigitCountEntry(bit);
  }
};
inline constexpr DigitCountTable kDigitCounts{};

// The place of the highest set bit of `v`, which is not 0.
inline int HighestBit(std::uint32_t v) {
#if defined(__GNUC__)
  return 31 - __builtin_clz(v);
#else
  int bit = 0;
  while (v >>= 1) ++bit;
  return bit;
#endif
}
}  // namespace detail

// The number of decimal digits of `v`, 1 for 0, without a branch: a
// leading-zero count, one table entry and an addition. Comparisons with
// each power of ten in turn cost three times the instructions, and the
// lengths of coordinates are as good as random to a branch.
inline std::size_t DigitCount(std::uint32_t v) {
  const std::uint64_t entry = detail::kDigitCounts.entry[detail::HighestBit(v | 1)];
  return static_cast<std::size_t>((v + entry) >> 32);
}

// Below this magnitude a whole number rounds by one addition, where
// doubles are computed as doubles: the numbers of the drawing path's sweep.
constexpr double kShortWhole = 2251799813685248.0;  // 2^51

inline bool IsShortWhole(double value) { return std::fabs(value) < kShortWhole; }

// `value`, which IsWholeNumber admits, rounded to the nearest whole number,
// a tie to the even neighbour, from its integer part and the rest.
inline long long RoundWholeByParts(double value) {
  long long whole = static_cast<long long>(value);  // towards zero
  const double rest = value - static_cast<double>(whole);
  // Without branches: which way a coordinate rounds is as good as random,
  // and a wrong guess costs more than the sums.
  const bool odd = (whole & 1) != 0;
  whole += static_cast<long long>((rest > 0.5) | ((rest == 0.5) & odd)) -
           static_cast<long long>((rest < -0.5) | ((rest == -0.5) & odd));
  return whole;
}

// `value`, which IsShortWhole admits, rounded as RoundWholeByParts rounds.
inline long long RoundShortWhole(double value) {
#if FLT_EVAL_METHOD == 0
  // Below 2^51 the sum with 1.5 * 2^52 has no bits behind the point: the
  // addition itself rounds to the nearest, a tie to the even neighbour.
  // Only where doubles are computed as doubles, not in a wider register.
  constexpr double kRoundingShift = 6755399441055744.0;
  return static_cast<long long>((value + kRoundingShift) - kRoundingShift);
#else
  return RoundWholeByParts(value);
#endif
}

// The digits of `whole` into `out`, with "-" in front of a negative one.
// Returns the length; writes kWholeNumberRoom bytes at most, the rest of
// them scratch.
inline std::size_t WriteWhole(long long whole, char* out) {
  const std::size_t sign = whole < 0 ? 1 : 0;
  const std::uint64_t magnitude =
      sign != 0 ? 0ull - static_cast<std::uint64_t>(whole) : static_cast<std::uint64_t>(whole);
  out[0] = '-';  // kept only for a negative number
  out += sign;
  if (magnitude >= 100000) return sign + FormatLongWhole(magnitude, out);
  // The digits by multiplication, not division (J. Anhalt's way): v times
  // 2^32 / 10^4, rounded up, holds v / 10^4 in its high half and the rest
  // as a fraction in its low half, exactly for every v below 10^5; each
  // multiplication of the fraction by 100 brings the next two digits up.
  const auto v = static_cast<std::uint32_t>(magnitude);
  constexpr std::uint64_t kLow = 0xFFFFFFFF;
  std::uint64_t y = std::uint64_t{v} * 429497;
  const auto first = static_cast<std::uint32_t>(y >> 32);
  y = (y & kLow) * 100;
  const auto second = static_cast<std::uint32_t>(y >> 32);
  y = (y & kLow) * 100;
  const auto third = static_cast<std::uint32_t>(y >> 32);
  // Five digits with leading zeros as the bytes of a word, shifted so that
  // the significant ones lead, and stored at once. Kept in a register: eight
  // bytes read back from a scratch array written piecemeal would wait for
  // those stores to retire, the costliest step of a line.
  const std::uint64_t digits =
      std::uint64_t{'0' + first} | DigitPair(second) << 8 | DigitPair(third) << 24;
  const std::size_t length = DigitCount(v);
  StoreWord(out, digits >> (8 * (5 - length)));
  return sign + length;
}

// The digits of `value` rounded to a whole number as the fixed notation of
// the platform rounds, to the nearest and a tie to the even neighbour, into
// `out`, with "-" in front of a negative result; 0 has no sign. Returns the
// length; writes kWholeNumberRoom bytes at most, the rest of them scratch.
// Only for values IsWholeNumber admits. Inline: the drawing path writes
// four of them per line, mostly of four or five digits.
inline std::size_t FormatWhole(double value, char* out) {
  return WriteWhole(IsShortWhole(value) ? RoundShortWhole(value) : RoundWholeByParts(value), out);
}

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
