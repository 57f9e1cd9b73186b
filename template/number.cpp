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

struct Format {
  char pad = ' ';
  int width = 0;
  int decimals;
};

int ReadBounded(const char* begin, const char* end, int limit) {
  int value = platform::ReadInt(begin, end);
  return value > limit ? limit : value;
}

// Reads a format at `p` and returns the position behind it.
const char* ReadFormat(const char* p, Format* format) {
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

// Applies "+n", "*ns" and the like to `r`. Returns the position behind the
// operation, or null when it is malformed.
const char* ApplyOperation(const char* p, double divisor, double* r) {
  if (!IsOperator(*p)) return nullptr;
  char op = *p++;
  const char* digits = p;
  while (IsDigit(*p) || *p == '.') ++p;
  if (p == digits) return nullptr;
  double n = platform::ReadDouble(digits, p);
  if (platform::ToUpper(*p) == 'S') {
    n /= divisor;
    ++p;
  }
  bool tiny = std::fabs(n) < kEpsilon;
  switch (op) {
    case '+': *r += n; break;
    case '-': *r -= n; break;
    case '*': *r *= n; break;
    case '/': *r = tiny ? 0.0 : *r / n; break;
    default: *r = tiny ? 0.0 : std::fmod(*r, n); break;
  }
  return p;
}

}  // namespace

std::size_t ExpandNumber(const char* text, NibHandle* h, const char* name, double value, double divisor) {
  double r = value / divisor;
  Format format;
  format.decimals = h->decimals;
  const char* p = text;
  bool bracketed = *p == '(';
  if (bracketed) ++p;
  if (*p == '-') {
    r = -r;
    ++p;
  } else if (*p == '+') {
    ++p;
  }
  std::size_t nameLength = std::strlen(name);
  if (platform::CompareNoCaseN(p, name, nameLength) != 0) return 0;
  p += nameLength;
  if (bracketed) {
    if (*p != ',' && *p != ')') return 0;
    if (*p == ',') {
      ++p;
      if (*p != '\0' && *p != ',' && *p != ')') p = ReadFormat(p, &format);
      if (*p == ',') {
        ++p;
        if (*p != ')') {
          p = ApplyOperation(p, divisor, &r);
          if (p == nullptr) return 0;
        }
      }
    }
    if (*p != ')') return 0;
    ++p;
  }
  PrintNumber(h, format.width, format.pad, format.decimals, r);
  return static_cast<std::size_t>(p - text);
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

void PrintNumber(NibHandle* h, int width, char pad, int decimals, double value) {
  char buffer[kFixedBufferSize];
  const char* text = FormatFixed(value, decimals, buffer);
  // A negative value that rounds to zero prints without its sign.
  if (text[0] == '-' && text[1] != '\0' && std::strspn(text + 1, "0.") == std::strlen(text + 1)) ++text;
  if (width > 0) {
    if (*text == '-') EmitByte(h, *text++);
    const char* point = std::strchr(text, '.');
    int digits = static_cast<int>(point != nullptr ? point - text : static_cast<std::ptrdiff_t>(std::strlen(text)));
    for (int i = digits; i < width; ++i) EmitByte(h, pad);
  }
  EmitBytes(h, text, static_cast<std::int32_t>(std::strlen(text)));
}

}  // namespace konib
