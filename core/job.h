// Keeping the device in step: the library compares what a drawing asks for
// with what it believes the device holds, and sends a pen or style command
// only on a difference. The belief lives in `stateFlags` and is cleared at
// each page start.
#pragma once

#include "core/handle.h"

namespace konib {

// Whether the device holds the pen of this index (within the table) already.
// In mode 1 every row of the table is a pen of its own; otherwise rows with
// the same number are one physical pen.
inline bool PenHeld(const NibHandle* h, int penIndex) {
  if (!(h->stateFlags & kPenSelected)) return false;
  return h->nextPenMode == 1 ? h->devicePenIndex == penIndex
                             : h->devicePen == h->pens[penIndex].number;
}

// Command.NextPen (in the modes that want it) and Command.Pen: SelectPen's
// way when the device must change.
int ChangePen(NibHandle* h, int penIndex);

// Command.NextPen and Command.Pen, if the device must change to the pen of
// this index. Returns 0 if the handle has failed. Inline: every drawing
// call asks, and the answer is nearly always that it holds it.
inline int SelectPen(NibHandle* h, int penIndex) {
  if (penIndex < 0 || penIndex >= kPenCount || PenHeld(h, penIndex)) return Result(h);
  return ChangePen(h, penIndex);
}

// Command.Style: SelectStyle's way when the device's style must change.
int ChangeStyle(NibHandle* h, int style);

// Command.Style, if the device's style is not this one. Inline, as
// SelectPen is.
inline int SelectStyle(NibHandle* h, int style) {
  if ((h->stateFlags & kStyleSelected) && h->deviceStyle == style) return Result(h);
  return ChangeStyle(h, style);
}

}  // namespace konib
