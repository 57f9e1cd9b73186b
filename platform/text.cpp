#include "platform/text.h"

namespace konib::platform {

int CompareNoCaseN(const char* a, const char* b, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    int ca = static_cast<unsigned char>(ToUpper(a[i]));
    int cb = static_cast<unsigned char>(ToUpper(b[i]));
    if (ca != cb) return ca - cb;
    if (ca == 0) return 0;
  }
  return 0;
}

int CompareNoCase(const char* a, const char* b) {
  return CompareNoCaseN(a, b, static_cast<std::size_t>(-1));
}

}  // namespace konib::platform
