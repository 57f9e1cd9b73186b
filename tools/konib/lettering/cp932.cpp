// Unicode to CP932 for the device's own lettering.
#include <cstdio>
#include <cstring>

#include "lettering/codepage.h"
#include "lettering/lettering.h"

namespace konib::lettering {
namespace {

// Characters that JIS and Windows give different code points: text written
// on a JIS-minded system has the first, CP932 the second. Windows takes the
// second alone, so the first is turned into it before conversion.
constexpr struct {
  char32_t jis;
  char32_t windows;
} kJisToWindows[] = {
    {0x301C, 0xFF5E},  // WAVE DASH → FULLWIDTH TILDE (81 60)
    {0x2016, 0x2225},  // DOUBLE VERTICAL LINE → PARALLEL TO (81 61)
    {0x2212, 0xFF0D},  // MINUS SIGN → FULLWIDTH HYPHEN-MINUS (81 7C)
    {0x2014, 0x2015},  // EM DASH → HORIZONTAL BAR (81 5C)
    {0x00A2, 0xFFE0},  // CENT SIGN → FULLWIDTH CENT SIGN (81 91)
    {0x00A3, 0xFFE1},  // POUND SIGN → FULLWIDTH POUND SIGN (81 92)
    {0x00AC, 0xFFE2},  // NOT SIGN → FULLWIDTH NOT SIGN (81 CA)
    {0x00A6, 0xFFE4},  // BROKEN BAR → FULLWIDTH BROKEN BAR (FA 55)
};

bool IsControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); }

}  // namespace

std::u32string DecodeUtf8(const std::string& utf8) {
  std::u32string out;
  out.reserve(utf8.size());
  const auto* s = reinterpret_cast<const unsigned char*>(utf8.data());
  std::size_t n = utf8.size();
  for (std::size_t i = 0; i < n;) {
    unsigned char b = s[i];
    if (b < 0x80) {
      out += b;
      ++i;
      continue;
    }
    int extra = b >= 0xC2 && b < 0xE0   ? 1
                : b >= 0xE0 && b < 0xF0 ? 2
                : b >= 0xF0 && b < 0xF5 ? 3
                                        : -1;
    if (extra < 0 || i + static_cast<std::size_t>(extra) >= n) {
      out += 0xFFFD;
      ++i;
      continue;
    }
    char32_t c = b & (0x3F >> extra);
    bool good = true;
    for (int k = 1; k <= extra; ++k) {
      unsigned char t = s[i + static_cast<std::size_t>(k)];
      if ((t & 0xC0) != 0x80) good = false;
      c = (c << 6) | (t & 0x3F);
    }
    static const char32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
    if (!good || c < kLeast[extra] || c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) {
      out += 0xFFFD;
      ++i;
      continue;
    }
    out += c;
    i += static_cast<std::size_t>(extra) + 1;
  }
  return out;
}

std::string EncodeUtf8(char32_t c) {
  std::string out;
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
  return out;
}

void Missing::Report(char32_t c, const std::string& instead, const char* where) {
  if (!seen_.insert(c).second || to_ == nullptr) return;
  char code[16];
  std::snprintf(code, sizeof code, "U+%04X", static_cast<unsigned>(c));
  std::string shown = c == 0xFFFD ? "(no valid UTF-8)" : "\"" + EncodeUtf8(c) + "\"";
  std::fprintf(to_, "konib: %s %s %s; lettered as \"%s\"\n", code, shown.c_str(), where,
               instead.c_str());
}

std::string Cp932Of(char32_t c, unsigned carried) {
  if (IsControl(c)) c = ' ';
  for (const auto& m : kJisToWindows)
    if (m.jis == c) c = m.windows;
  if (c == 0 || c == 0xFFFD || c > 0x10FFFF) return "";
  std::string code = c < 0x80 ? std::string(1, static_cast<char>(c)) : codepage::FromUnicode(c);
  if (code.empty() || code.size() > 2) return "";
  unsigned char first = static_cast<unsigned char>(code[0]);
  // A single byte from 0x80 up is a half-width kana or nothing a device knows.
  if (code.size() == 1 && first >= 0x80 && !(first >= 0xA1 && first <= 0xDF)) return "";
  unsigned kind = code.size() == 2 ? kDoubleByte : first >= 0x80 ? kKana : kAscii;
  return (carried & kind) != 0 ? code : "";
}

std::string ToCp932(const std::string& utf8, const std::string& replacement, Missing* missing,
                    unsigned carried) {
  std::string out, instead;
  for (char32_t c : DecodeUtf8(replacement)) instead += Cp932Of(c, carried);
  if (instead.empty()) instead = "?";
  for (char32_t c : DecodeUtf8(utf8)) {
    std::string code = Cp932Of(c, carried);
    if (code.empty()) {
      if (missing != nullptr) missing->Report(c, replacement, "has no code on this device");
      code = instead;
    }
    out += code;
  }
  return out;
}

bool FromCp932(const std::string& cp932, std::string* utf8) {
  return codepage::ToUtf8(cp932, utf8);
}

}  // namespace konib::lettering
