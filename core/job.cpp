// The job sequence: the framing templates of a job and its pages, with the
// flushes at fixed points, and the plain setters of pen, style and clipping.
#include "core/job.h"

#include "core/output.h"
#include "output/primitives.h"
#include "template/walker.h"

namespace konib {

int ChangeStyle(NibHandle* h, int style) {
  // Set before the template goes out, so that \ls reads the new style.
  h->stateFlags |= kStyleSelected;
  h->deviceStyle = style;
  return ExpandTemplate(h, h->text[kCmdStyle]);
}

int ChangePen(NibHandle* h, int penIndex) {
  const int number = h->pens[penIndex].number;
  // Command.NextPen goes first and still sees the old pen in \pn.
  if (h->nextPenMode != 0 && ExpandTemplate(h, h->text[kCmdNextPen]) == 0) return 0;
  h->stateFlags |= kPenSelected;
  h->devicePenIndex = penIndex;
  h->devicePen = number;
  return ExpandTemplate(h, h->text[kCmdPen]);
}

}  // namespace konib

using namespace konib;

extern "C" KONIB_API int NibInitiate(void* handle) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  return ExpandTemplate(h, h->text[kCmdInit]);
}

extern "C" KONIB_API int NibStartPage(void* handle) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  if (h->pageCount >= 1 && h->nextPageMode != 0) {
    if (ExpandTemplate(h, h->text[kCmdNextPage]) == 0 || FlushOutput(h) == 0) return 0;
  }
  // A new sheet: nothing the device was told before can be relied on.
  h->stateFlags = 0;
  return ExpandTemplate(h, h->text[kCmdStartPage]);
}

extern "C" KONIB_API int NibEndPage(void* handle) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  ++h->pageCount;  // counts even if the device refuses what follows
  if (ExpandTemplate(h, h->text[kCmdEndPage]) == 0) return 0;
  return FlushOutput(h);
}

extern "C" KONIB_API int NibTerminate(void* handle) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  if (ExpandTemplate(h, h->text[kCmdTerm]) == 0 || FlushOutput(h) == 0) return 0;
  if (h->nextPageMode == 2) {
    if (ExpandTemplate(h, h->text[kCmdNextPage]) == 0 || FlushOutput(h) == 0) return 0;
  }
  return 1;
}

extern "C" KONIB_API int NibHome(void* handle) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  const char* home = h->text[kCmdHome];
  if (home != nullptr && home[0] != '\0') {
    ExpandTemplate(h, home);
  } else {
    CommandMove(h, _NibWorld2{0.0, 0.0});
  }
  // After going home the library no longer relies on where the pen stands,
  // even when it sent the move itself.
  h->stateFlags &= ~static_cast<std::uint32_t>(kPositionKnown);
  if (h->failure != kGood) return 0;
  return FlushOutput(h);
}

extern "C" KONIB_API int NibSetClip(void* handle, int enabled) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  h->clipEnabled = enabled;
  return 1;
}

extern "C" KONIB_API int NibSetStyle(void* handle, int style) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  h->currentStyle = style;
  return 1;
}

extern "C" KONIB_API int NibSetPen(void* handle, int pen) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  h->currentPen = pen;
  return 1;
}
