// The five operations of digitizing and the selection of a digitizer's pen.
// The order Start, any Pen and Position, End is expected but not checked:
// apart from the pen, digitizing keeps no state in the handle, and it needs
// no page.
#include "digitize/digitize.h"

#include <cstring>

#include "core/output.h"
#include "template/walker.h"

namespace konib {

int DigitizeSelectPen(NibHandle* h, int penIndex) {
  if (penIndex < 0 || penIndex >= kPenCount) return Result(h);
  const int number = h->pens[penIndex].number;
  // Rows of the same number are one physical pen, whatever nextPenMode says.
  if ((h->stateFlags & kPenSelected) && h->devicePen == number) return Result(h);
  // The same belief as a drawing's pen selection: \pn gives this pen, and a
  // later drawing with it sends no pen command.
  h->stateFlags |= kPenSelected;
  h->devicePenIndex = penIndex;
  h->devicePen = number;
  const char* text = h->text[penIndex == 0 ? kDigitizeReleasePen : kDigitizePen];
  if (text == nullptr) text = h->text[kCmdPen];  // an empty value is present, and sends nothing
  return ExpandTemplate(h, text);
}

}  // namespace konib

using namespace konib;

extern "C" KONIB_API int NibStartDigitize(void* handle) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  return ExpandTemplate(h, h->text[kDigitizeStart]);
}

extern "C" KONIB_API int NibEndDigitize(void* handle) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  // No flush: with block output the end goes out at the next flush point of
  // the job, as every other command does.
  return ExpandTemplate(h, h->text[kDigitizeEnd]);
}

extern "C" KONIB_API int NibDigitizePen(void* handle, int pen) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  return DigitizeSelectPen(h, pen);
}

extern "C" KONIB_API int NibDigitizePosition(void* handle, _NibWorld2* position) {
  NibHandle* h = Working(handle);
  if (h == nullptr || position == nullptr) return 0;
  return ReadPosition(h, position);
}

extern "C" KONIB_API int NibDigitizeKey(void* handle, char* text, int* length) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  if (length != nullptr) *length = 0;
  if (text != nullptr) text[0] = '\0';
  const char* enter = h->text[kDigitizeEnter];
  if (enter == nullptr) return 1;
  const std::size_t size = std::strlen(enter);
  if (length != nullptr) *length = static_cast<int>(size);
  if (text != nullptr) std::memcpy(text, enter, size + 1);
  return 1;
}
