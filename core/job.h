// Keeping the device in step: the library compares what a drawing asks for
// with what it believes the device holds, and sends a pen or style command
// only on a difference. The belief lives in `stateFlags` and is cleared at
// each page start.
#pragma once

#include "core/handle.h"

namespace konib {

// Command.NextPen (in the modes that want it) and Command.Pen, if the
// device must change to the pen of this index. Returns 0 if the handle has
// failed.
int SelectPen(NibHandle* h, int penIndex);

// Command.Style, if the device's style is not this one.
int SelectStyle(NibHandle* h, int style);

}  // namespace konib
