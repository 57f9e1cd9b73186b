// CP932 through the C library's iconv, whose converter of that name follows
// Windows for the NEC and IBM extensions.
#include <iconv.h>

#include <cerrno>

#include "lettering/codepage.h"

namespace konib::lettering::codepage {
namespace {

// A converter opened once for each direction and thread; iconv_open reads
// tables, so it is not repeated for every character.
struct Converter {
  iconv_t cd;
  Converter(const char* to, const char* from) : cd(iconv_open(to, from)) {}
  ~Converter() {
    if (cd != reinterpret_cast<iconv_t>(-1)) iconv_close(cd);
  }
  bool Convert(const char* in, std::size_t inSize, std::string* out) {
    if (cd == reinterpret_cast<iconv_t>(-1)) return false;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);  // back to the initial state
    char* from = const_cast<char*>(in);
    std::size_t left = inSize;
    char buffer[256];
    while (left > 0) {
      char* to = buffer;
      std::size_t room = sizeof buffer;
      std::size_t done = iconv(cd, &from, &left, &to, &room);
      out->append(buffer, static_cast<std::size_t>(to - buffer));
      if (done == static_cast<std::size_t>(-1) && errno != E2BIG) return false;
    }
    return true;
  }
};

}  // namespace

std::string FromUnicode(char32_t c) {
  thread_local Converter converter("CP932", "UTF-32LE");
  const unsigned char in[4] = {static_cast<unsigned char>(c), static_cast<unsigned char>(c >> 8),
                               static_cast<unsigned char>(c >> 16),
                               static_cast<unsigned char>(c >> 24)};
  std::string out;
  if (!converter.Convert(reinterpret_cast<const char*>(in), sizeof in, &out)) return "";
  return out;
}

bool ToUtf8(const std::string& cp932, std::string* utf8) {
  thread_local Converter converter("UTF-8", "CP932");
  utf8->clear();
  return converter.Convert(cp932.data(), cp932.size(), utf8);
}

}  // namespace konib::lettering::codepage
