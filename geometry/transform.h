// From the caller's world coordinates to device coordinates (plot units):
// window to view, then scale and origin, then the turn of a rotated sheet.
// Every drawing operation maps once, at its start; everything behind works
// in device coordinates only.
#pragma once

#include <cmath>

#include "core/handle.h"

namespace konib {

// A window with an extent below epsilon, which maps everything onto the
// view's origin.
inline bool DegenerateWindow(const NibHandle* h) {
  return std::fabs(h->windowExt.x) < kEpsilon || std::fabs(h->windowExt.y) < kEpsilon;
}

// A sheet turned a quarter: portrait orientation on a device that rotates.
inline bool TurnedSheet(const NibHandle* h) { return h->orientation == 0 && h->rotateFlag != 0; }

// World point to view point. A degenerate window maps every point onto the
// view's origin.
inline void WindowToView(const NibHandle* h, _NibWorld2& point) {
  if (DegenerateWindow(h)) {
    point = h->viewOrg;
    return;
  }
  point.x = (point.x - h->windowOrg.x) * h->viewExt.x / h->windowExt.x + h->viewOrg.x;
  point.y = (point.y - h->windowOrg.y) * h->viewExt.y / h->windowExt.y + h->viewOrg.y;
}

// World point to device point. Inline: every drawing call maps its points,
// two for a line.
inline void WorldToDevice(const NibHandle* h, _NibWorld2& point) {
  WindowToView(h, point);
  point.x = h->scale.x * point.x + h->origin.x;
  point.y = h->scale.y * point.y + h->origin.y;
  if (TurnedSheet(h)) point = {point.y, h->sizeXY.x - point.x};
}

// World vector (a length or a displacement) to a device vector.
void WorldLengthToDevice(const NibHandle* h, _NibWorld2& vector);

}  // namespace konib
