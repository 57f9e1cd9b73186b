// From the caller's world coordinates to device coordinates (plot units):
// window to view, then scale and origin, then the turn of a rotated sheet.
// Every drawing operation maps once, at its start; everything behind works
// in device coordinates only.
#pragma once

#include "core/handle.h"

namespace konib {

// World point to view point. A degenerate window (an extent below epsilon)
// maps every point onto the view's origin.
void WindowToView(const NibHandle* h, _NibWorld2& point);
// World point to device point.
void WorldToDevice(const NibHandle* h, _NibWorld2& point);
// World vector (a length or a displacement) to a device vector.
void WorldLengthToDevice(const NibHandle* h, _NibWorld2& vector);

}  // namespace konib
