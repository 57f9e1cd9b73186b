// Cutting strokes and arcs to the clip rectangle.
//
// Both clippers work by one idea: collect every candidate cut point along
// the path, sort them along the path, and keep as visible the interval
// whose midpoint lies inside the rectangle. They are pure functions in
// device coordinates; angles are in radians.
#pragma once

#include <algorithm>

#include "KoNib.h"
#include "core/handle.h"

namespace konib {

// A straight piece: start and displacement, in device coordinates.
struct Stroke {
  double x;
  double y;
  double dx;
  double dy;
};

// A box widened by the clip tolerance (kClipTolerance) on every side; from
// two corners, or from a clip rectangle (x, y, width, height, either extent
// negative). A handle keeps its clip rectangle's as `clipBox`.
struct LooseBox {
  double left, bottom, right, top;
  LooseBox(double x0, double y0, double x1, double y1)
      : left(std::min(x0, x1) - kClipTolerance), bottom(std::min(y0, y1) - kClipTolerance),
        right(std::max(x0, x1) + kClipTolerance), top(std::max(y0, y1) + kClipTolerance) {}
  static LooseBox Of(const double rect[4]) { return LooseBox(rect[0], rect[1], rect[0] + rect[2], rect[1] + rect[3]); }
  // A box widened already: left, bottom, right, top.
  static LooseBox Kept(const double box[4]) { return LooseBox(box); }
  bool Contains(double x, double y) const { return !(left > x || bottom > y || x > right || y > top); }

 private:
  explicit LooseBox(const double box[4])
      : left(box[0]), bottom(box[1]), right(box[2]), top(box[3]) {}
};

// The most visible arcs ClipArc can give: a circle meets the four edges in
// at most eight points, and the arc's own two ends make ten angles and nine
// intervals. Rounding at a corner or a tangent cannot make more.
constexpr int kMaxArcPieces = 9;

// The visible part of `stroke` within `rect` (x, y, width, height; either
// extent may be negative), in the stroke's own direction. A stroke wholly
// inside comes back bit for bit. Returns 1, or 0 when nothing is visible.
int ClipLine(const Stroke& stroke, const double rect[4], Stroke* result);

// ClipLine's way for a stroke that does not lie wholly within `box`.
int ClipCrossing(const Stroke& stroke, const double rect[4], const LooseBox& box, Stroke* result);

// ClipLine with `box`, LooseBox::Of(rect), made already. Inline: most
// strokes lie wholly inside, and that is two tests.
inline int ClipLine(const Stroke& stroke, const double rect[4], const LooseBox& box,
                    Stroke* result) {
  if (box.Contains(stroke.x, stroke.y) &&
      box.Contains(stroke.x + stroke.dx, stroke.y + stroke.dy)) {
    *result = stroke;
    return 1;
  }
  return ClipCrossing(stroke, rect, box, result);
}

// The visible arcs of a circle (`angles` null) or of an arc (start and
// sweep, the sweep not negative) within `rect`. Returns -1 when the whole
// circle is visible (`result` untouched), 0 when nothing is, or the number
// of arcs written to `result` (kMaxArcPieces pairs) as start and sweep,
// rising from the arc's start, or from the lowest crossing of a circle.
int ClipArc(_NibWorld2* result, const double rect[4], const _NibWorld2& centre, const _NibWorld2* angles,
            double radius);

// True when `angle`, taken modulo a full turn, lies on the arc.
bool AngleOnArc(double angle, double start, double sweep);

// True when the bounding box of the arc lies within `rect`.
bool ArcInsideRect(const double rect[4], const _NibWorld2& angles, const _NibWorld2& centre, double radius);

}  // namespace konib
