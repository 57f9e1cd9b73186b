// Number services: reading numbers the way atoi and atof do, and printing
// them in fixed notation, without ever consulting the C locale. A program
// that has called setlocale(LC_ALL, "") still reads "0.025" as 0.025 and
// gets a point, not a comma, in every number it sends to a device.
#pragma once

#include <cstddef>

namespace konib::platform {

// atoi of the bytes [text, end): leading white space skipped, an optional
// sign, digits up to the first byte that is not one; 0 if there are none.
// Saturates instead of overflowing. `end` may be null for a NUL-terminated
// text.
int ReadInt(const char* text, const char* end = nullptr);

// atof of the bytes [text, end): leading white space, optional sign, digits
// with an optional point and exponent, hexadecimal after "0x" with a binary
// exponent after "p", "inf" and "nan"; stops at the first
// byte that cannot continue the number; 0 if there is none. Overflow gives
// infinity with the number's sign, underflow 0.
double ReadDouble(const char* text, const char* end = nullptr);

// Writes `value` rounded to `decimals` places in plain fixed notation (no
// exponent) into `buffer`, NUL-terminated, and returns its length; a
// negative value has a leading '-', also when it rounds to zero. A value
// that is not finite prints as 0 in the same format. `size` must hold the
// longest double: 310 digits, the point, the decimals, the sign and the NUL.
std::size_t WriteFixed(double value, int decimals, char* buffer, std::size_t size);

// Decimal text of an integer, as _itoa in base 10; returns its length.
// `buffer` holds at least 12 bytes.
std::size_t WriteInt(int value, char* buffer);

}  // namespace konib::platform
