// CP932 byte classes, code conversions and case-blind comparison.
//
// All text of the library is CP932. These are the byte classes of that code
// page and the comparisons by which names of values, models, sections and
// escapes are matched. They do not depend on the process's locale: a program
// that has called setlocale gets the same answers.
#pragma once

#include <cstddef>

namespace konib::platform {

// Lead byte of a double-byte character: 0x81 to 0x9F and 0xE0 to 0xFC.
inline bool IsLeadByte(unsigned char c) { return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xFC); }
// Trail byte of a double-byte character: 0x40 to 0x7E and 0x80 to 0xFC.
inline bool IsTrailByte(unsigned char c) { return (c >= 0x40 && c <= 0x7E) || (c >= 0x80 && c <= 0xFC); }

// Half-width katakana and signs of JIS X 0201: 0xA1 to 0xDF.
inline bool IsKanaByte(unsigned char c) { return c >= 0xA1 && c <= 0xDF; }
// Digits and letters of ASCII only: no byte from 0x80 up counts, whatever
// the process's locale says.
inline bool IsDigitByte(unsigned char c) { return c >= '0' && c <= '9'; }
inline bool IsLetterByte(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// The full-width CP932 code of a single-byte character (0x20 to 0x7E and
// 0xA1 to 0xDF): space 0x8140, digits from 0x824F, kana 0xB1 0x8341, the
// yen sign 0x5C 0x818F and the overline 0x7E 0x8150, as JIS X 0201 reads
// them. Any other value comes back unchanged.
unsigned ToFullWidth(unsigned code);

// A Shift-JIS code (lead byte * 256 + trail byte) to its JIS X 0208 code;
// 0 when the two bytes are no valid lead and trail.
unsigned ShiftJisToJis(unsigned code);

// ASCII letters only; every other byte is its own upper case.
inline char ToUpper(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

// Compares two NUL-terminated texts without regard to case: 0 if equal.
int CompareNoCase(const char* a, const char* b);
// The same over at most `n` bytes.
int CompareNoCaseN(const char* a, const char* b, std::size_t n);

}  // namespace konib::platform
