// The syntax of a value text, and the scanners every reader of one uses.
//
// A value text is a list of fields separated by commas; a field may be
// empty. Within a field:
//   - a CP932 lead byte followed by a trail byte is one character, whatever
//     the trail byte is (0x5C, 0x5B and 0x5D all occur);
//   - a backslash and the byte behind it are one unit: "\," and "\\" never
//     end a field; "\[" and "\(" open a depth that a later "]" or ")" closes;
//   - a comma ends the field only where both depths are zero.
// So `\(l1,0)` and `\[mod.fn,a,b]` are single fields. The scanners measure
// and remove nothing: the bytes of a field, backslashes included, are passed
// on as they stand.
#pragma once

#include <cstddef>

namespace konib {

// Bytes of the field that starts at `text`; 0 for a null pointer.
std::size_t FieldLength(const char* text);

// The field walk: numbers the fields of a text from 0. A text that starts
// with a comma has an empty field 0, and a comma at the very end adds one
// more empty field; an empty text has no field at all.
class FieldWalk {
 public:
  explicit FieldWalk(const char* text) : next_(text) {}
  // Moves to the next field; false when the text has run out.
  bool Next();
  int number() const { return number_; }
  const char* begin() const { return begin_; }
  const char* end() const { return begin_ + length_; }
  std::size_t length() const { return length_; }
  bool empty() const { return length_ == 0; }

 private:
  const char* next_;
  const char* begin_ = nullptr;
  std::size_t length_ = 0;
  int number_ = -1;
};

// Finds field `number` of `text`. False when the text is null or has fewer
// fields; an empty field is found, with `*length` 0.
bool FindField(const char* text, int number, const char** begin, std::size_t* length);

// The integer (atoi) or real (atof) of field `number`, or `fallback` when
// the field is missing or empty: a missing field leaves a default in place.
int FieldInt(const char* text, int number, int fallback);
double FieldDouble(const char* text, int number, double fallback);

// Copies the field at `source` into `destination` (may be null) of `size`
// bytes, NUL-terminated, cutting it short rather than splitting a double-byte
// character; returns the start of the next field, behind its comma, or the
// terminator. Its depths fall one byte early: it tests the byte behind each
// single byte for a closer, so a closer directly behind a double-byte
// character or a two-byte unit is not seen.
const char* CopyField(const char* source, char* destination, std::size_t size);

}  // namespace konib
