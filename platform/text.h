// CP932 byte classes and case-blind comparison.
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

// ASCII letters only; every other byte is its own upper case.
inline char ToUpper(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

// Compares two NUL-terminated texts without regard to case: 0 if equal.
int CompareNoCase(const char* a, const char* b);
// The same over at most `n` bytes.
int CompareNoCaseN(const char* a, const char* b, std::size_t n);

}  // namespace konib::platform
