#include "template/number.h"

#include <cmath>
#include <cstring>

#include "core/output.h"
#include "platform/number.h"
#include "platform/text.h"

namespace konib {
namespace {

// A model sends no number with hundreds of digits; these bounds only keep a
// malformed template from asking for megabytes of padding.
constexpr int kMaxWidth = 255;
constexpr int kMaxDecimals = 100;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsOperator(char c) { return c != '\0' && std::strchr("+-*/%", c) != nullptr; }

int ReadBounded(const char* begin, const char* end, int limit) {
  int value = platform::ReadInt(begin, end);
  return value > limit ? limit : value;
}

// Reads a format at `p` and returns the position behind it.
const char* ReadFormat(const char* p, NumberForm* format) {
  if (p[0] == '0' && IsDigit(p[1])) {
    format->pad = '0';
    ++p;
  } else if (!IsDigit(p[0])) {
    format->pad = *p++;
  }
  const char* digits = p;
  for (; IsDigit(*p) || *p == '.'; ++p) {
    if (*p == '.') {
      format->width = ReadBounded(digits, p, kMaxWidth);
      digits = p + 1;
    }
  }
  if (p > digits) format->decimals = ReadBounded(digits, p, kMaxDecimals);
  return p;
}

// Reads "+n", "*ns" and the like. Returns the position behind the
// operation, or null when it is malformed.
const char* ReadOperation(const char* p, NumberForm* form) {
  if (!IsOperator(*p)) return nullptr;
  form->op = *p++;
  const char* digits = p;
  while (IsDigit(*p) || *p == '.') ++p;
  if (p == digits) return nullptr;
  form->operand = platform::ReadDouble(digits, p);
  if (platform::ToUpper(*p) == 'S') {
    form->operandScaled = true;
    ++p;
  }
  return p;
}

}  // namespace

const char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

std::size_t FormatLongWhole(std::uint64_t magnitude, char* out) {
  // Digits from the back, two at a time, into the end of a scratch area;
  // then one copy of fixed size.
  char scratch[48];
  char* const end = scratch + 24;
  char* p = end;
  for (; magnitude >= 100; magnitude /= 100) {
    p -= 2;
    std::memcpy(p, kDigitPairs + (magnitude % 100) * 2, 2);
  }
  if (magnitude >= 10) {
    p -= 2;
    std::memcpy(p, kDigitPairs + magnitude * 2, 2);
  } else {
    *--p = static_cast<char>('0' + magnitude);
  }
  std::memcpy(out, p, 24);
  return static_cast<std::size_t>(end - p);
}

std::size_t ParseNumber(const char* text, const char* name, std::size_t nameLength,
                        NumberForm* form) {
  *form = NumberForm();
  const char* p = text;
  bool bracketed = *p == '(';
  if (bracketed) ++p;
  if (*p == '-') {
    form->negate = true;
    ++p;
  } else if (*p == '+') {
    ++p;
  }
  if (platform::CompareNoCaseN(p, name, nameLength) != 0) return 0;
  p += nameLength;
  if (bracketed) {
    if (*p != ',' && *p != ')') return 0;
    if (*p == ',') {
      ++p;
      if (*p != '\0' && *p != ',' && *p != ')') p = ReadFormat(p, form);
      if (*p == ',') {
        ++p;
        if (*p != ')') {
          p = ReadOperation(p, form);
          if (p == nullptr) return 0;
        }
      }
    }
    if (*p != ')') return 0;
    ++p;
  }
  return static_cast<std::size_t>(p - text);
}

double ApplyOperation(const NumberForm& form, double value, double divisor) {
  double r = value / divisor;
  if (form.negate) r = -r;
  double n = form.operand;
  if (form.operandScaled) n /= divisor;
  const bool tiny = std::fabs(n) < kEpsilon;
  switch (form.op) {
    case '+':
      return r + n;
    case '-':
      return r - n;
    case '*':
      return r * n;
    case '/':
      return tiny ? 0.0 : r / n;
    default:
      return tiny ? 0.0 : std::fmod(r, n);
  }
}

std::size_t ExpandNumber(const char* text, NibHandle* h, const char* name, double value,
                         double divisor) {
  // Most attempts fail at the name's first letter: no need to read further.
  const char* p = text + (*text == '(' ? 1 : 0);
  if (*p == '-' || *p == '+') ++p;
  if (name[0] != '\0' && platform::ToUpper(*p) != platform::ToUpper(name[0])) return 0;
  NumberForm form;
  const std::size_t used = ParseNumber(text, name, std::strlen(name), &form);
  if (used == 0) return 0;
  PrintNumber(h, form.width, form.pad, form.decimals < 0 ? h->decimals : form.decimals,
              ApplyNumberForm(form, value, divisor));
  return used;
}

std::size_t ExpandNumberPair(NibHandle* h, const char* text, const char* xName, double x,
                             const char* yName, double y) {
  std::size_t used = ExpandNumber(text, h, xName, x, h->step);
  return used > 0 ? used : ExpandNumber(text, h, yName, y, h->step);
}

const char* FormatFixed(double value, int decimals, char* buffer) {
  if (decimals > kMaxDecimals) decimals = kMaxDecimals;
  platform::WriteFixed(value, decimals, buffer, kFixedBufferSize);
  return buffer;
}

std::size_t FormatNumber(char* out, int width, char pad, int decimals, double value) {
  const bool whole = IsWholeNumber(decimals, value);
  if (whole && width <= 0) return FormatWhole(value, out);  // never "-0", and no point
  char buffer[kFixedBufferSize];
  const char* text = buffer;
  std::size_t length;
  if (whole) {
    length = FormatWhole(value, buffer);
  } else {
    FormatFixed(value, decimals, buffer);
    length = std::strlen(text);
    // A negative value that rounds to zero prints without its sign.
    if (text[0] == '-' && length > 1 && std::strspn(text + 1, "0.") == length - 1) {
      ++text;
      --length;
    }
  }
  std::size_t n = 0;
  if (width > 0) {
    if (*text == '-') {
      out[n++] = '-';
      ++text;
      --length;
    }
    const char* point = static_cast<const char*>(std::memchr(text, '.', length));
    const int digits =
        static_cast<int>(point != nullptr ? static_cast<std::size_t>(point - text) : length);
    for (int i = digits; i < width; ++i) out[n++] = pad;
  }
  std::memcpy(out + n, text, length);
  return n + length;
}

void PrintNumber(NibHandle* h, int width, char pad, int decimals, double value) {
  char text[kNumberTextSize];
  EmitBytes(h, text, static_cast<std::int32_t>(FormatNumber(text, width, pad, decimals, value)));
}

}  // namespace konib
