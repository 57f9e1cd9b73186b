#include "config/value_text.h"

#include <cstdint>

#include "platform/number.h"
#include "platform/text.h"

namespace konib {
namespace {

bool IsCharacter(const char* p) {
  return platform::IsLeadByte(static_cast<unsigned char>(p[0])) &&
         platform::IsTrailByte(static_cast<unsigned char>(p[1]));
}

}  // namespace

std::size_t FieldLength(const char* text) {
  if (text == nullptr) return 0;
  // The depths are 16-bit counters, as a model written for the device
  // expects: 65536 openers wrap around to zero.
  std::uint16_t brackets = 0;
  std::uint16_t parens = 0;
  const char* p = text;
  while (*p != '\0') {
    if (IsCharacter(p)) {
      p += 2;
      continue;
    }
    if (*p == '\\' && p[1] != '\0') {
      if (p[1] == '[') ++brackets;
      if (p[1] == '(') ++parens;
      p += 2;
      continue;
    }
    if (*p == ']' && brackets > 0) {
      --brackets;
    } else if (*p == ')' && parens > 0) {
      --parens;
    } else if (*p == ',' && brackets == 0 && parens == 0) {
      break;
    }
    ++p;
  }
  return static_cast<std::size_t>(p - text);
}

bool FieldWalk::Next() {
  if (next_ == nullptr || *next_ == '\0') return false;
  if (number_ != -1 && *next_ == ',') ++next_;
  ++number_;
  begin_ = next_;
  length_ = FieldLength(next_);
  next_ += length_;
  return true;
}

bool FindField(const char* text, int number, const char** begin, std::size_t* length) {
  FieldWalk walk(text);
  while (walk.Next()) {
    if (walk.number() == number) {
      *begin = walk.begin();
      *length = walk.length();
      return true;
    }
  }
  return false;
}

int FieldInt(const char* text, int number, int fallback) {
  const char* begin;
  std::size_t length;
  if (!FindField(text, number, &begin, &length) || length == 0) return fallback;
  return platform::ReadInt(begin, begin + length);
}

double FieldDouble(const char* text, int number, double fallback) {
  const char* begin;
  std::size_t length;
  if (!FindField(text, number, &begin, &length) || length == 0) return fallback;
  return platform::ReadDouble(begin, begin + length);
}

const char* CopyField(const char* source, char* destination, std::size_t size) {
  if (size == 0) destination = nullptr;
  std::size_t used = 0;
  auto put = [&](const char* bytes, std::size_t n) {
    if (destination == nullptr) return;
    std::size_t limit = n == 2 ? size - 2 : size - 1;  // never split a character
    if (size < n + 1 || used >= limit) return;
    for (std::size_t i = 0; i < n; ++i) destination[used++] = bytes[i];
  };
  std::uint16_t brackets = 0;
  std::uint16_t parens = 0;
  const char* p = source;
  while (*p != '\0') {
    if (IsCharacter(p)) {
      put(p, 2);
      p += 2;
      continue;
    }
    if (*p == '\\' && p[1] != '\0') {
      if (p[1] == '[') ++brackets;
      if (p[1] == '(') ++parens;
      put(p, 1);
      put(p + 1, 1);
      p += 2;
      continue;
    }
    if (*p == ',' && brackets == 0 && parens == 0) {
      ++p;
      break;
    }
    put(p, 1);
    if (p[1] == ']' && brackets > 0) {
      --brackets;
    } else if (p[1] == ')' && parens > 0) {
      --parens;
    }
    ++p;
  }
  if (destination != nullptr) destination[used] = '\0';
  return p;
}

}  // namespace konib
