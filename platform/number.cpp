#include "platform/number.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>

namespace konib::platform {
namespace {

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsHexDigit(char c) { return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

const char* EndOf(const char* text, const char* end) { return end != nullptr ? end : text + std::strlen(text); }

}  // namespace

int ReadInt(const char* text, const char* end) {
  end = EndOf(text, end);
  while (text < end && IsBlank(*text)) ++text;
  bool negative = false;
  if (text < end && (*text == '-' || *text == '+')) negative = *text++ == '-';
  long long value = 0;
  for (; text < end && IsDigit(*text); ++text) {
    value = value * 10 + (*text - '0');
    if (value > static_cast<long long>(INT_MAX) + 1) value = static_cast<long long>(INT_MAX) + 1;
  }
  if (negative) value = -value;
  if (value > INT_MAX) value = INT_MAX;
  return static_cast<int>(value);
}

double ReadDouble(const char* text, const char* end) {
  end = EndOf(text, end);
  while (text < end && IsBlank(*text)) ++text;
  bool negative = false;
  if (text < end && (*text == '-' || *text == '+')) negative = *text++ == '-';
  // from_chars takes its own minus sign; the sign is ours alone.
  if (text >= end || *text == '-' || *text == '+') return 0.0;
  // As atof, "0x" starts a hexadecimal number, with a binary exponent "p",
  // when a hexadecimal digit follows; otherwise the number is the 0 alone.
  std::chars_format format = std::chars_format::general;
  char exponentLetter = 'e';
  if (end - text > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') &&
      (IsHexDigit(text[2]) || (text[2] == '.' && end - text > 3 && IsHexDigit(text[3])))) {
    format = std::chars_format::hex;
    exponentLetter = 'p';
    text += 2;
  }
  double value = 0.0;
  auto [ptr, ec] = std::from_chars(text, end, value, format);
  if (ec == std::errc::invalid_argument) return 0.0;
  if (ec == std::errc::result_out_of_range) {
    // Too large or too small for a double: as atof, infinity or zero.
    const char* exponent = text;
    while (exponent < ptr && (*exponent | 0x20) != exponentLetter) ++exponent;
    bool tiny = exponent + 1 < ptr && exponent[1] == '-';
    value = tiny ? 0.0 : std::numeric_limits<double>::infinity();
  }
  return negative ? -value : value;
}

std::size_t WriteFixed(double value, int decimals, char* buffer, std::size_t size) {
  if (!std::isfinite(value)) value = 0.0;
  if (decimals < 0) decimals = 0;
  auto [ptr, ec] = std::to_chars(buffer, buffer + size - 1, value, std::chars_format::fixed, decimals);
  if (ec != std::errc()) {
    buffer[0] = '0';
    ptr = buffer + 1;
  }
  *ptr = '\0';
  return static_cast<std::size_t>(ptr - buffer);
}

std::size_t WriteInt(int value, char* buffer) {
  auto [ptr, ec] = std::to_chars(buffer, buffer + 11, value);
  (void)ec;  // eleven bytes hold every int
  *ptr = '\0';
  return static_cast<std::size_t>(ptr - buffer);
}

}  // namespace konib::platform
