#include "geometry/clip.h"

#include <algorithm>
#include <cmath>

namespace konib {
namespace {

constexpr double kT = kClipTolerance;
constexpr double kTwoPi = 6.283185307179586;

struct Point {
  double x, y;
};

// Insertion sort, rising by `less`: the lists here hold ten items at most.
template <typename T, typename Less>
void SortSmall(T* items, int count, Less less) {
  for (int i = 1; i < count; ++i) {
    T item = items[i];
    int j = i;
    for (; j > 0 && less(item, items[j - 1]); --j) items[j] = items[j - 1];
    items[j] = item;
  }
}

// Brings `angle` up by whole turns until `start` is no longer above it.
double RaiseTo(double angle, double start) {
  if (start > angle) angle += std::ceil((start - angle) / kTwoPi) * kTwoPi;
  while (start > angle) angle += kTwoPi;  // rounding of the step above
  return angle;
}

}  // namespace

int ClipLine(const Stroke& stroke, const double rect[4], Stroke* result) {
  return ClipLine(stroke, rect, LooseBox::Of(rect), result);
}

int ClipCrossing(const Stroke& stroke, const double rect[4], const LooseBox& box, Stroke* result) {
  const Point s{stroke.x, stroke.y};
  const Point e{stroke.x + stroke.dx, stroke.y + stroke.dy};
  if (kT >= stroke.dx * stroke.dx + stroke.dy * stroke.dy) return 0;

  // Candidates: both ends, and where the line meets the lines through the
  // four edges; the midpoint test below decides which of them matter.
  Point candidates[6] = {s, e};
  int count = 2;
  const double rx = rect[0], ry = rect[1], rw = rect[2], rh = rect[3];
  const bool xMajor = std::fabs(stroke.dx) > std::fabs(stroke.dy);
  if (xMajor) {
    const double m = stroke.dy / stroke.dx;
    const double b = s.y - s.x * m;
    candidates[count++] = {rx, rx * m + b};
    candidates[count++] = {rx + rw, (rx + rw) * m + b};
    if (std::fabs(m) >= kT) {
      candidates[count++] = {(ry - b) / m, ry};
      candidates[count++] = {(ry + rh - b) / m, ry + rh};
    }
  } else {
    const double m = stroke.dx / stroke.dy;
    const double b = s.x - s.y * m;
    candidates[count++] = {ry * m + b, ry};
    candidates[count++] = {(ry + rh) * m + b, ry + rh};
    if (std::fabs(m) >= kT) {
      candidates[count++] = {rx, (rx - b) / m};
      candidates[count++] = {rx + rw, (rx + rw - b) / m};
    }
  }
  auto key = [xMajor](const Point& p) { return xMajor ? p.x : p.y; };
  // One sort for each axis: a comparison that asks which axis each time
  // costs more than the sort. Equal keys keep their order either way.
  if (xMajor) {
    SortSmall(candidates, count, [](const Point& a, const Point& b) { return a.x < b.x; });
  } else {
    SortSmall(candidates, count, [](const Point& a, const Point& b) { return a.y < b.y; });
  }

  const LooseBox own(s.x, s.y, e.x, e.y);
  for (int i = 0; i + 1 < count; ++i) {
    const Point& a = candidates[i];
    const Point& b = candidates[i + 1];
    if (std::fabs(key(b) - key(a)) < kT) continue;
    const double mx = (a.x + b.x) * 0.5;
    const double my = (a.y + b.y) * 0.5;
    if (!box.Contains(mx, my) || !own.Contains(mx, my)) continue;
    const bool downward = xMajor ? stroke.dx < 0 : stroke.dy < 0;
    const Point& from = downward ? b : a;
    const Point& to = downward ? a : b;
    *result = {from.x, from.y, to.x - from.x, to.y - from.y};
    return 1;
  }
  return 0;
}

bool AngleOnArc(double angle, double start, double sweep) {
  double s = sweep < 0 ? start + sweep : start;
  double e = sweep < 0 ? -sweep : sweep;
  s -= kT;
  e += kT;
  double a = angle;
  if (a - s >= kTwoPi) a -= std::floor((a - s) / kTwoPi) * kTwoPi;
  while (a - s >= kTwoPi) a -= kTwoPi;
  a = RaiseTo(a, s);
  return !(a - s > e);
}

bool ArcInsideRect(const double rect[4], const _NibWorld2& angles, const _NibWorld2& centre, double radius) {
  const double start = angles.x;
  const double sweep = angles.y;
  const double x0 = std::cos(start) * radius, y0 = std::sin(start) * radius;
  const double x1 = std::cos(start + sweep) * radius, y1 = std::sin(start + sweep) * radius;
  double minX = std::min(x0, x1), maxX = std::max(x0, x1);
  double minY = std::min(y0, y1), maxY = std::max(y0, y1);
  if (AngleOnArc(0.0, start, sweep)) maxX = radius;
  if (AngleOnArc(1.5707963267948966, start, sweep)) maxY = radius;
  if (AngleOnArc(3.141592653589793, start, sweep)) minX = -radius;
  if (AngleOnArc(4.71238898038469, start, sweep)) minY = -radius;
  const LooseBox box = LooseBox::Of(rect);
  return !(box.left > minX + centre.x || box.bottom > minY + centre.y || maxX + centre.x > box.right ||
           maxY + centre.y > box.top);
}

int ClipArc(_NibWorld2* result, const double rect[4], const _NibWorld2& centre, const _NibWorld2* angles,
            double radius) {
  const LooseBox box = LooseBox::Of(rect);
  const double cx = centre.x, cy = centre.y, r = radius;
  if (angles != nullptr) {
    if (ArcInsideRect(rect, *angles, centre, r)) {
      result[0] = *angles;
      return 1;
    }
  } else if (box.Contains(cx - r, cy - r) && box.Contains(cx + r, cy + r)) {
    return -1;
  }

  // Where the circle meets the lines through the edges.
  double list[10];
  int count = 0;
  const double edgesX[2] = {rect[0], rect[0] + rect[2]};
  for (double x : edgesX) {
    const double d = x - cx;
    if (d > -r && d < r) {
      const double h = std::sqrt(r * r - d * d);
      list[count++] = std::atan2(h, d);
      list[count++] = std::atan2(-h, d);
    }
  }
  const double edgesY[2] = {rect[1], rect[1] + rect[3]};
  for (double y : edgesY) {
    const double d = y - cy;
    if (d > -r && d < r) {
      const double h = std::sqrt(r * r - d * d);
      list[count++] = std::atan2(d, h);
      list[count++] = std::atan2(d, -h);
    }
  }
  if (count == 0) return 0;

  if (angles != nullptr) {
    for (int i = 0; i < count; ++i) list[i] = RaiseTo(list[i], angles->x);
    list[count++] = angles->x;
    list[count++] = angles->x + angles->y;
    SortSmall(list, count, [](double a, double b) { return a < b; });
  } else {
    SortSmall(list, count, [](double a, double b) { return a < b; });
    list[count] = list[0] + kTwoPi;  // closes the circle across the seam of atan2
    ++count;
  }

  int pieces = 0;
  for (int i = 0; i + 1 < count && pieces < kMaxArcPieces; ++i) {
    const double a = list[i];
    const double d = list[i + 1] - a;
    if (std::fabs(d) < kT) continue;
    const double mid = a + d * 0.5;
    if (angles != nullptr && !AngleOnArc(mid, angles->x, angles->y)) continue;
    if (box.Contains(std::cos(mid) * r + cx, std::sin(mid) * r + cy)) result[pieces++] = {a, d};
  }
  return pieces;
}

}  // namespace konib
