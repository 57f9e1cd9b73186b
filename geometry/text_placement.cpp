// NibDrawText: a text's place, size and direction from world to device,
// and the decision whether it is sent at all.
//
// The device letters the text itself, so the library cannot cut it at the
// clip rectangle: a text goes out whole when the box of its first character
// lies within the rectangle, and not at all otherwise. The rest of the text
// may run out of the rectangle.
#include <cmath>

#include "core/job.h"
#include "geometry/clip.h"
#include "geometry/draw.h"
#include "geometry/transform.h"
#include "output/text.h"

namespace konib {
namespace {

// 1 if the point lies in the clip rectangle widened by the clip tolerance,
// its edge included.
int PointInClipRect(const double rect[4], const _NibWorld2& point) {
  return LooseBox::Of(rect).Contains(point.x, point.y) ? 1 : 0;
}

double Length(const _NibWorld2& v) { return std::sqrt(v.x * v.x + v.y * v.y); }

// A world vector of `length` along `angle` through the mapping.
_NibWorld2 DeviceVector(const NibHandle* h, double length, double c, double s) {
  _NibWorld2 v{length * c, length * s};
  WorldLengthToDevice(h, v);
  return v;
}

// The caller's attributes in device units. With unequal scales a slanted
// text turns, and its height is measured along the world's normal to it.
_NibTextInfo DeviceInfo(const NibHandle* h, const _NibTextInfo& info) {
  const double c = std::cos(info.angle);
  const double s = std::sin(info.angle);
  _NibTextInfo device = info;
  const _NibWorld2 width = DeviceVector(h, info.width, c, s);
  device.width = Length(width);
  device.angle = std::atan2(width.y, width.x);
  device.pitch = Length(DeviceVector(h, info.pitch, c, s));
  _NibWorld2 height{-info.height * s, info.height * c};
  WorldLengthToDevice(h, height);
  device.height = Length(height);
  return device;
}

bool Finite(const _NibWorld2& p, const _NibTextInfo& t) {
  return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(t.width) &&
         std::isfinite(t.height) && std::isfinite(t.pitch) && std::isfinite(t.angle);
}

// The four corners of the first character's box, in the order tested.
bool FirstBoxVisible(const NibHandle* h, const _NibWorld2& p, const _NibTextInfo& t) {
  const _NibWorld2 across{t.width * std::cos(t.angle), t.width * std::sin(t.angle)};
  const _NibWorld2 up{-t.height * std::sin(t.angle), t.height * std::cos(t.angle)};
  const _NibWorld2 corners[] = {p,
                                {p.x + across.x, p.y + across.y},
                                {p.x + up.x, p.y + up.y},
                                {p.x + across.x + up.x, p.y + across.y + up.y}};
  for (const _NibWorld2& corner : corners) {
    if (PointInClipRect(h->clipRect, corner) == 0) return false;
  }
  return true;
}

}  // namespace
}  // namespace konib

using namespace konib;

extern "C" KONIB_API int NibDrawText(void* handle, const _NibWorld2* position, const char* text,
                                     const _NibTextInfo* info) {
  bool skip;
  NibHandle* h = Admit(handle, &skip);
  if (h == nullptr || position == nullptr || text == nullptr || info == nullptr) return 0;
  if (skip) return 1;
  // Negative sizes draw nothing; a size that is no number neither.
  if (!(info->width >= kEpsilon) || !(info->height >= kEpsilon)) return 1;
  SelectPen(h, h->currentPen);
  _NibWorld2 p = *position;
  WorldToDevice(h, p);
  const _NibTextInfo device = DeviceInfo(h, *info);
  // A place or a size that no sheet holds: nothing a device could letter.
  if (!Finite(p, device)) return Result(h);
  if (h->clipEnabled != 0 && !FirstBoxVisible(h, p, device)) return Result(h);
  // Lettering is never dashed.
  SelectStyle(h, 0);
  return EmitReplacedText(h, device, p, text);
}
