#include "geometry/draw.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/job.h"
#include "geometry/dash.h"
#include "geometry/transform.h"
#include "output/primitives.h"

namespace konib {
namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr double kShortPath = 0.1;  // shorter paths are drawn solid and straight
constexpr double kDotLength = 0.1;
constexpr double kChordStep = 0.2;  // arc length of one chord
constexpr double kChordMargin = 0.01;
// No curve is cut into more chords than this, whatever its dashes: a huge
// radius gets longer chords, so that a call always ends in reasonable time.
constexpr double kMaxChords = 1 << 20;

const NibPenRow& CurrentPen(const NibHandle* h) { return h->pens[h->currentPen]; }

double SquaredDistance(const _NibWorld2& a, const _NibWorld2& b) {
  const double dx = b.x - a.x;
  const double dy = b.y - a.y;
  return dx * dx + dy * dy;
}

// Whether the distance from `from` to `a` exceeds that to `b`, as their
// square roots compare. The squares decide when they lie apart by more than
// a few parts in a thousand million, where no rounding of the roots could
// make them equal or turn them round; only a near tie takes the roots.
bool FartherThan(const _NibWorld2& from, const _NibWorld2& a, const _NibWorld2& b) {
  const double sa = SquaredDistance(from, a);
  const double sb = SquaredDistance(from, b);
  if (sb > 1e-290 && sb < 1e290) {  // full precision
    // Which end is nearer is as good as random: one test that is nearly
    // always true, and the answer as a flag. Two tests joined by `|` came
    // out as two branches, one of them wrong half of the time.
    const double gap = sa - sb;
    if (std::fabs(gap) > sb * 2e-9) return gap > 0;
  }
  return std::sqrt(sa) > std::sqrt(sb);
}

bool Finite(const _NibWorld2& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

_NibWorld2 OnCircle(const _NibWorld2& centre, double radius, double angle) {
  return {centre.x + radius * std::cos(angle), centre.y + radius * std::sin(angle)};
}

// The stretch of `way` (positions from its start, `length` long) that the
// clip rectangle lets through, widened for rounding; false when none does.
// Dashes wholly outside it need not be walked to the clip one by one.
bool VisibleStretch(const NibHandle* h, const Stroke& way, double length, double* from,
                    double* to) {
  *from = 0.0;
  *to = length;
  if (h->clipEnabled == 0) return true;
  Stroke visible;
  if (ClipLine(way, h->clipRect, &visible) == 0) return false;
  const auto along = [&](double x, double y) {
    return ((x - way.x) * way.dx + (y - way.y) * way.dy) / length;
  };
  double a = along(visible.x, visible.y);
  double b = along(visible.x + visible.dx, visible.y + visible.dy);
  if (a > b) std::swap(a, b);
  const double slack = 1e-9 * length + 1e-9;
  *from = a - slack;
  *to = b + slack;
  return true;
}

int DrawDashedLine(NibHandle* h, const Stroke& line, double length) {
  const NibPenRow& pen = CurrentPen(h);
  const double nx = -line.dy * (pen.strokeSpacing / length);
  const double ny = line.dx * (pen.strokeSpacing / length);
  double ox = nx * (pen.strokes - 1) * 0.5;
  double oy = ny * (pen.strokes - 1) * 0.5;
  for (int i = 0; i < pen.strokes; ++i) {
    const Stroke way{line.x + ox, line.y + oy, line.dx, line.dy};
    double from, to;
    if (VisibleStretch(h, way, length, &from, &to)) {
      // The same layout for every stroke, and all strokes run start to end.
      DashLayout layout(h, h->currentStyle, length, false);
      double pos, seg;
      while (layout.Next(&pos, &seg) && to >= pos) {
        if (from > pos + seg) continue;
        const Stroke piece{line.x + pos * line.dx / length + ox,
                           line.y + pos * line.dy / length + oy, seg * line.dx / length,
                           seg * line.dy / length};
        DrawStroke(h, piece, 0, false);
        if (h->failure != kGood) return 0;
      }
    }
    ox -= nx;
    oy -= ny;
  }
  return 1;
}

// Whether chords of at most `step` radians on the circle could cross the clip
// rectangle. They lie in the ring between the circle and the circle through
// their midpoints; only a rectangle wholly outside the circle or wholly
// inside that inner circle sees none of them. The margins keep the answer
// on the side of drawing.
bool ChordsMayShow(const double rect[4], const _NibWorld2& centre, double radius, double step) {
  const LooseBox box = LooseBox::Of(rect);
  const double nearX = std::max(box.left - centre.x, std::max(0.0, centre.x - box.right));
  const double nearY = std::max(box.bottom - centre.y, std::max(0.0, centre.y - box.top));
  const double farX = std::max(std::fabs(box.left - centre.x), std::fabs(box.right - centre.x));
  const double farY = std::max(std::fabs(box.bottom - centre.y), std::fabs(box.top - centre.y));
  const double outer = radius * (1 + 1e-9) + 1e-9;
  const double inner = radius * std::cos(std::min(step, kTwoPi / 2) / 2) * (1 - 1e-9) - 1e-9;
  if (nearX * nearX + nearY * nearY > outer * outer)
    return false;  // the rectangle lies beyond the circle
  return !(inner > 0 && inner * inner > farX * farX + farY * farY);  // or within the ring's hole
}

// A curve too short for chords: one straight stroke.
int DrawShortCurve(NibHandle* h, const _NibWorld2* angles, const _NibWorld2& centre,
                   double radius) {
  Stroke stroke{centre.x, centre.y, radius, 0.0};
  if (angles != nullptr) {
    const _NibWorld2 from = OnCircle(centre, radius, angles->x);
    const _NibWorld2 to = OnCircle(centre, radius, angles->x + angles->y);
    stroke = {from.x, from.y, to.x - from.x, to.y - from.y};
  }
  return DrawPenStrokes(h, stroke, 0);
}

}  // namespace

int DrawStroke(NibHandle* h, const Stroke& stroke, int style, bool reversed) {
  Stroke visible = stroke;
  if (h->clipEnabled != 0 &&
      ClipLine(stroke, h->clipRect, LooseBox::Kept(h->clipBox), &visible) == 0) {
    return Result(h);
  }
  SelectStyle(h, style);
  const _NibWorld2 start{visible.x, visible.y};
  const _NibWorld2 end{visible.x + visible.dx, visible.y + visible.dy};
  return reversed ? CommandStroke(h, end, start) : CommandStroke(h, start, end);
}

int DrawOffsetStrokes(NibHandle* h, const Stroke& stroke, int style) {
  const NibPenRow& pen = CurrentPen(h);
  const double length = std::sqrt(stroke.dx * stroke.dx + stroke.dy * stroke.dy);
  double nx = 0.0, ny = pen.strokeSpacing;
  if (length > kEpsilon) {
    nx = -stroke.dy * (pen.strokeSpacing / length);
    ny = stroke.dx * (pen.strokeSpacing / length);
  }
  // The first stroke lies farthest to the left of the way; the pen hatches
  // to and fro, so it never travels back between strokes.
  double ox = nx * (pen.strokes - 1) * 0.5;
  double oy = ny * (pen.strokes - 1) * 0.5;
  for (int i = 0; i < pen.strokes; ++i) {
    const Stroke offset{stroke.x + ox, stroke.y + oy, stroke.dx, stroke.dy};
    if (DrawStroke(h, offset, style, i % 2 == 1) == 0) return 0;
    ox -= nx;
    oy -= ny;
  }
  return Result(h);
}

int DrawDeviceArc(NibHandle* h, const _NibWorld2& centre, const _NibWorld2* angles, int style,
                  double radius) {
  const NibPenRow& pen = CurrentPen(h);
  double strokeRadius = (pen.strokes - 1) * pen.strokeSpacing * 0.5 + radius;  // outermost first
  for (int i = 0; i < pen.strokes; ++i) {
    _NibWorld2 pieces[kMaxArcPieces];
    int count = -1;
    if (h->clipEnabled != 0) {
      count = ClipArc(pieces, h->clipRect, centre, angles, strokeRadius);
    } else if (angles != nullptr) {
      pieces[0] = *angles;
      count = 1;
    }
    if (count == -1) {
      SelectStyle(h, style);
      if (CommandCircle(h, centre, strokeRadius) == 0) return 0;
    } else if (count > 0) {
      SelectStyle(h, style);
      for (int k = 0; k < count; ++k) {
        if (CommandArc(h, centre, pieces[k], strokeRadius) == 0) return 0;
      }
    }
    if (h->failure != kGood) return 0;
    strokeRadius -= pen.strokeSpacing;
    if (strokeRadius < 0) break;  // inner strokes with a negative radius are not drawn
  }
  return Result(h);
}

int DrawStyledArc(NibHandle* h, const _NibWorld2* angles, const _NibWorld2& centre, int style,
                  double radius) {
  const double sweep =
      angles != nullptr && std::fabs(angles->y) < kTwoPi ? std::fabs(angles->y) : kTwoPi;
  const double length = sweep * radius;
  if (length < kShortPath) return DrawShortCurve(h, angles, centre, radius);
  const double fewestChords =
      sweep / kMaxChords;  // the bound holds for the whole curve, not each dash
  const NibPenRow& pen = CurrentPen(h);
  double strokeRadius = (pen.strokes - 1) * pen.strokeSpacing * 0.5 + radius;
  const double start = angles != nullptr ? angles->x : 0.0;
  for (int i = 0; i < pen.strokes; ++i) {
    const double step = std::max(kChordStep / strokeRadius, fewestChords);
    if (h->clipEnabled == 0 || ChordsMayShow(h->clipRect, centre, strokeRadius, step)) {
      // Laid out for the nominal radius: every stroke has the same dashes as
      // angles, longer on the outer strokes, shorter on the inner ones.
      DashLayout layout(h, style, length, angles == nullptr);
      double pos, seg;
      while (layout.Next(&pos, &seg)) {
        const _NibWorld2 piece{start + pos / radius, seg / radius};
        if (DrawChordArc(h, piece, centre, strokeRadius, step) == 0) return 0;
      }
    }
    strokeRadius -= pen.strokeSpacing;
    if (strokeRadius < 0) break;
  }
  return Result(h);
}

int DrawChordArc(NibHandle* h, const _NibWorld2& angles, const _NibWorld2& centre, double radius,
                 double step) {
  const double a = angles.x;
  const double b = angles.y;
  const double margin = kChordMargin / radius;
  // Each point is computed from its angle, so no error gathers around a
  // large circle.
  _NibWorld2 current = OnCircle(centre, radius, a);
  for (double offset = step; b > offset + margin; offset += step) {
    const _NibWorld2 next = OnCircle(centre, radius, a + offset);
    DrawStroke(h, {current.x, current.y, next.x - current.x, next.y - current.y}, 0, false);
    if (h->failure != kGood) return 0;
    current = next;
  }
  const _NibWorld2 end = OnCircle(centre, radius, a + b);
  DrawStroke(h, {current.x, current.y, end.x - current.x, end.y - current.y}, 0, false);
  return Result(h);
}

}  // namespace konib

using namespace konib;

extern "C" KONIB_API int NibDrawDot(void* handle, const _NibWorld2* point) {
  bool skip;
  NibHandle* h = Admit(handle, &skip);
  if (h == nullptr) return 0;
  if (skip) return 1;
  SelectPen(h, h->currentPen);
  _NibWorld2 p = *point;
  WorldToDevice(h, p);
  if (!Finite(p)) return Result(h);  // a point no sheet holds
  // A dot is a short horizontal line centred on the point, always solid.
  DrawPenStrokes(h, {p.x - kDotLength / 2, p.y, kDotLength, 0.0}, 0);
  return Result(h);
}

extern "C" KONIB_API int NibDrawLine(void* handle, const _NibWorld4* line) {
  bool skip;
  NibHandle* h = Admit(handle, &skip);
  if (h == nullptr) return 0;
  if (skip) return 1;
  SelectPen(h, h->currentPen);
  _NibWorld2 start = line->org;
  _NibWorld2 end{line->org.x + line->ext.x, line->org.y + line->ext.y};
  WorldToDevice(h, start);
  WorldToDevice(h, end);
  // Start from the end nearer to the pen: the pen travels less in the air.
  // Chosen by index rather than by a branch, whose guess would fail half
  // of the time.
  const int swap = (h->stateFlags & kPositionKnown) && FartherThan(h->devicePos, start, end);
  const _NibWorld2 ends[2] = {start, end};
  start = ends[swap];
  end = ends[1 - swap];
  const Stroke stroke{start.x, start.y, end.x - start.x, end.y - start.y};
  // A line no sheet holds; so long that its length overflows, too. The
  // square is finite exactly when its root is.
  const double square = stroke.dy * stroke.dy + stroke.dx * stroke.dx;
  if (!Finite(start) || !std::isfinite(square)) return Result(h);
  if (h->currentStyle == 0) return DrawPenStrokes(h, stroke, 0);
  const double length = std::sqrt(square);
  if (length < kShortPath) return DrawPenStrokes(h, stroke, 0);
  return DrawDashedLine(h, stroke, length);
}

extern "C" KONIB_API int NibDrawArc(void* handle, const _NibWorld2* centre, double radius,
                                    const _NibWorld2* angles) {
  bool skip;
  NibHandle* h = Admit(handle, &skip);
  if (h == nullptr) return 0;
  if (skip) return 1;
  const bool dashed = h->currentStyle != 0;
  SelectPen(h, h->currentPen);
  _NibWorld2 c = *centre;
  WorldToDevice(h, c);
  _NibWorld2 deviceAngles{0.0, 0.0};
  double deviceRadius;
  if (angles != nullptr) {
    double start = angles->x;
    double sweep = angles->y;
    if (sweep < 0) {
      start += sweep;
      sweep = -sweep;
    }
    _NibWorld2 from{std::cos(start) * radius, std::sin(start) * radius};
    _NibWorld2 to{std::cos(start + sweep) * radius, std::sin(start + sweep) * radius};
    WorldLengthToDevice(h, from);
    WorldLengthToDevice(h, to);
    const double a = std::atan2(from.y, from.x);
    double b = std::atan2(to.y, to.x);
    while (a - kEpsilon > b) b += kTwoPi;  // the device arc always runs positively
    deviceAngles = {a, b - a};
    deviceRadius = std::sqrt(from.y * from.y + from.x * from.x);
  } else {
    _NibWorld2 r{radius, radius};
    WorldLengthToDevice(h, r);
    deviceRadius = std::fabs(r.x);
  }
  // A curve no sheet holds draws nothing.
  if (!Finite(c) || !std::isfinite(deviceRadius) || !Finite(deviceAngles)) return Result(h);
  const _NibWorld2* routed = angles != nullptr ? &deviceAngles : nullptr;
  if (dashed || (h->arcLimit >= 0 && deviceRadius > h->arcLimit)) {
    return DrawStyledArc(h, routed, c, h->currentStyle, deviceRadius);
  }
  return DrawDeviceArc(h, c, routed, h->currentStyle, deviceRadius);
}
