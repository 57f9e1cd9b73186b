// The seam between konib and the system's code-page converter, private to
// lettering/: iconv on POSIX systems (codepage_iconv.cpp); a Windows build
// puts the code-page functions behind the same two calls in a file of its own.
#pragma once

#include <string>

namespace konib::lettering::codepage {

// One Unicode character in CP932 as the system converts it; "" when the
// code page has no code for it.
std::string FromUnicode(char32_t c);

// CP932 bytes as UTF-8; false when they are no CP932.
bool ToUtf8(const std::string& cp932, std::string* utf8);

}  // namespace konib::lettering::codepage
