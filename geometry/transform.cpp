// Window, view and the stack of nested views.
#include "geometry/transform.h"

#include <cmath>

#include "platform/memory.h"

namespace konib {
namespace {

constexpr int kFrameDoubles = 8;  // window origin and extent, view origin and extent
constexpr int kStackGrowth = 5;

}  // namespace

void WorldLengthToDevice(const NibHandle* h, _NibWorld2& vector) {
  if (DegenerateWindow(h)) {
    vector = {0.0, 0.0};
  } else {
    vector.x = h->viewExt.x * vector.x / h->windowExt.x;
    vector.y = h->viewExt.y * vector.y / h->windowExt.y;
  }
  vector.x *= h->scale.x;
  vector.y *= h->scale.y;
  if (TurnedSheet(h)) vector = {vector.y, -vector.x};
}

}  // namespace konib

using namespace konib;

namespace {

int Push(NibHandle* h, const _NibWorld4& rect) {
  if (h->viewStackDepth >= h->viewStackCap) {
    int cap = h->viewStackCap + kStackGrowth;
    void* grown = platform::ResizeBlock(h->viewStack, static_cast<std::size_t>(cap) * kFrameDoubles * sizeof(double));
    if (grown == nullptr) {
      h->failure = kOutOfMemory;
      return 0;
    }
    h->viewStack = static_cast<double*>(grown);
    h->viewStackCap = cap;
  }
  double* frame = h->viewStack + h->viewStackDepth * kFrameDoubles;
  const double saved[kFrameDoubles] = {h->windowOrg.x, h->windowOrg.y, h->windowExt.x, h->windowExt.y,
                                       h->viewOrg.x,   h->viewOrg.y,   h->viewExt.x,   h->viewExt.y};
  for (int i = 0; i < kFrameDoubles; ++i) frame[i] = saved[i];
  ++h->viewStackDepth;
  // The new view stays in view space: no scale, no turn.
  _NibWorld2 origin = rect.org;
  WindowToView(h, origin);
  _NibWorld2 extent{0.0, 0.0};
  if (!DegenerateWindow(h)) {
    extent = {h->viewExt.x * rect.ext.x / h->windowExt.x, h->viewExt.y * rect.ext.y / h->windowExt.y};
  }
  h->viewOrg = origin;
  h->viewExt = extent;
  return 1;
}

int Pop(NibHandle* h) {
  if (h->viewStackDepth < 1) return 1;
  --h->viewStackDepth;
  const double* frame = h->viewStack + h->viewStackDepth * kFrameDoubles;
  h->windowOrg = {frame[0], frame[1]};
  h->windowExt = {frame[2], frame[3]};
  h->viewOrg = {frame[4], frame[5]};
  h->viewExt = {frame[6], frame[7]};
  return 1;
}

}  // namespace

extern "C" KONIB_API int NibSetWindow(void* handle, const _NibWorld4* rect) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  h->windowOrg = rect->org;
  h->windowExt = rect->ext;
  return 1;
}

extern "C" KONIB_API int NibSetView(void* handle, const _NibWorld4* rect) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  h->viewOrg = rect->org;
  h->viewExt = rect->ext;
  return 1;
}

extern "C" KONIB_API int NibSetViewRelative(void* handle, const _NibWorld4* rect) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  return rect != nullptr ? Push(h, *rect) : Pop(h);
}
