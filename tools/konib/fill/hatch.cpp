// The hatching geometry. All polygon work is Clipper's, on integer
// coordinates: plot units (mm) times kScale, so one unit is 0.1 um, far
// below anything a pen draws, and a sheet of a metre or more stays well
// inside Clipper's fast integer range.
//
// The area is turned so that its hatch lines run along x: line k of an area
// lies at y = first + k * pitch, centred over the area's height, so that a
// band thinner than the pitch still gets its one stroke through the middle.
// Clipper cuts the lines (open paths) by the area. Two pieces on
// neighbouring lines are joined at their left or right ends when the turn
// between them stays inside the area; Clipper decides that too, cutting
// every candidate turn by the area grown by a quarter pitch, so that a turn
// that runs along the outline, or cuts across a bend of it, counts as inside.
#include <algorithm>
#include <clipper.hpp>
#include <cmath>
#include <cstdint>
#include <unordered_set>
#include <utility>

#include "fill/fill.h"

namespace konib::fill {
namespace {

using ClipperLib::cInt;
using ClipperLib::IntPoint;
using ClipperLib::Path;
using ClipperLib::Paths;

constexpr double kScale = 1e4;
constexpr double kPi = 3.14159265358979323846;
// How far a turn may run outside the area, as a share of the pitch. A
// straight turn between two strokes that end on a curved outline cuts the
// bend by the curve's sagitta, and the ink of a pen half its width either
// side reaches past the outline anyway; a quarter pitch lets the zigzag go
// on round the holes of lettering while the stray stays a fraction of a
// stroke's own spread.
constexpr double kTurnSlack = 0.25;
// Coordinates beyond this (in units, 10 km) are no drawing of ours: such an
// area is left out rather than handed to Clipper.
constexpr double kFar = 1e11;

// A piece of a hatch line inside the area, from x0 to x1 (x0 < x1).
struct Piece {
  cInt x0;
  cInt x1;
};

// Where a zigzag stands after a piece: the piece's right end when it was
// drawn left to right.
struct End {
  std::size_t stroke;
  bool right;
  bool continued;
};

// A turn between line k and line k + 1: from x `from` on line k to `to` on
// line k + 1.
struct Turn {
  std::size_t line;
  cInt from;
  cInt to;
  bool operator==(const Turn& o) const { return line == o.line && from == o.from && to == o.to; }
};

struct TurnHash {
  std::size_t operator()(const Turn& t) const {
    std::uint64_t h = static_cast<std::uint64_t>(t.line) * 0x9E3779B97F4A7C15ull;
    h ^= static_cast<std::uint64_t>(t.from) + 0x7F4A7C159E3779B9ull + (h << 6) + (h >> 2);
    h ^= static_cast<std::uint64_t>(t.to) + 0x9E3779B97F4A7C15ull + (h << 6) + (h >> 2);
    return static_cast<std::size_t>(h);
  }
};

// The turns that stay inside an area: in a convex area, every turn between
// neighbouring pieces does.
struct Turns {
  bool all = false;
  std::unordered_set<Turn, TurnHash> inside;
  bool Has(const Turn& turn) const { return all || inside.count(turn) != 0; }
};

// The turned, scaled frame of one hatch direction.
struct Frame {
  double c;
  double s;
  IntPoint In(const plan::Point& p) const {
    return {static_cast<cInt>(std::llround((p.x * c + p.y * s) * kScale)),
            static_cast<cInt>(std::llround((-p.x * s + p.y * c) * kScale))};
  }
  plan::Point Out(cInt x, cInt y) const {
    double u = static_cast<double>(x) / kScale, v = static_cast<double>(y) / kScale;
    return {u * c - v * s, u * s + v * c};
  }
};

// The hatch lines of one area: where the first lies, how far apart, how many.
struct Lines {
  cInt first;
  cInt pitch;
  std::size_t count;
  cInt left;
  cInt right;
};

Lines LinesOver(const Paths& area, cInt pitch) {
  cInt top = area[0][0].Y, bottom = top, left = area[0][0].X, right = left;
  for (const Path& ring : area)
    for (const IntPoint& p : ring) {
      top = std::max(top, p.Y), bottom = std::min(bottom, p.Y);
      left = std::min(left, p.X), right = std::max(right, p.X);
    }
  cInt height = top - bottom;
  std::size_t count = static_cast<std::size_t>((height + pitch - 1) / pitch);
  if (count == 0) count = 1;
  cInt span = static_cast<cInt>(count - 1) * pitch;
  return {bottom + (height - span) / 2, pitch, count, left - 1, right + 1};
}

// The parts of open paths inside the polygons of `area`, filled by `rule`.
Paths ClipOpen(const Paths& open, const Paths& area, ClipperLib::PolyFillType rule) {
  ClipperLib::Clipper clipper;
  clipper.AddPaths(open, ClipperLib::ptSubject, false);
  clipper.AddPaths(area, ClipperLib::ptClip, true);
  ClipperLib::PolyTree tree;
  clipper.Execute(ClipperLib::ctIntersection, tree, rule, rule);
  Paths inside;
  ClipperLib::OpenPathsFromPolyTree(tree, inside);
  return inside;
}

// The pieces of each hatch line inside the area, each line's sorted by x.
std::vector<std::vector<Piece>> CutLines(const Paths& area, const Lines& lines) {
  Paths open;
  open.reserve(lines.count);
  for (std::size_t k = 0; k < lines.count; ++k) {
    cInt y = lines.first + static_cast<cInt>(k) * lines.pitch;
    open.push_back({{lines.left, y}, {lines.right, y}});
  }
  Paths cut = ClipOpen(open, area, ClipperLib::pftEvenOdd);
  std::vector<std::vector<Piece>> pieces(lines.count);
  for (const Path& p : cut) {
    if (p.size() < 2) continue;
    cInt a = p.front().X, b = p.back().X, offset = p.front().Y - lines.first;
    if (a == b || offset < 0 || offset % lines.pitch != 0) continue;
    std::size_t k = static_cast<std::size_t>(offset / lines.pitch);
    if (k >= lines.count) continue;
    pieces[k].push_back({std::min(a, b), std::max(a, b)});
  }
  for (auto& line : pieces)
    std::sort(line.begin(), line.end(), [](const Piece& a, const Piece& b) { return a.x0 < b.x0; });
  return pieces;
}

// Calls `pair(s, t)` for each piece s of `above` near piece t of `below`:
// overlapping in x, or apart by less than `reach`. Both lines are sorted and
// their pieces disjoint, so one pass serves.
template <typename F>
void Neighbours(const std::vector<Piece>& above, const std::vector<Piece>& below, cInt reach,
                F pair) {
  std::size_t from = 0;
  for (std::size_t t = 0; t < below.size(); ++t) {
    while (from < above.size() && above[from].x1 < below[t].x0 - reach) ++from;
    for (std::size_t s = from; s < above.size() && above[s].x0 <= below[t].x1 + reach; ++s)
      pair(s, t);
  }
}

// The turns that stay inside the area: every candidate turn at the left and
// the right ends of neighbouring pieces, cut by the area grown by the slack;
// a turn that comes out whole never left it.
Turns InsideTurns(const Paths& area, const Lines& lines,
                  const std::vector<std::vector<Piece>>& pieces) {
  Paths turns;
  cInt reach = 2 * lines.pitch;
  for (std::size_t k = 0; k + 1 < pieces.size(); ++k) {
    cInt y = lines.first + static_cast<cInt>(k) * lines.pitch;
    Neighbours(pieces[k], pieces[k + 1], reach, [&](std::size_t s, std::size_t t) {
      const Piece &a = pieces[k][s], &b = pieces[k + 1][t];
      turns.push_back({{a.x0, y}, {b.x0, y + lines.pitch}});
      turns.push_back({{a.x1, y}, {b.x1, y + lines.pitch}});
    });
  }
  Turns inside;
  if (turns.empty()) return inside;
  ClipperLib::ClipperOffset grow;
  grow.AddPaths(area, ClipperLib::jtMiter, ClipperLib::etClosedPolygon);
  Paths grown;
  grow.Execute(grown, kTurnSlack * static_cast<double>(lines.pitch));
  Paths kept = ClipOpen(turns, grown, ClipperLib::pftNonZero);
  for (const Path& p : kept) {
    if (p.size() != 2) continue;
    IntPoint a = p[0], b = p[1];
    if (a.Y > b.Y) std::swap(a, b);
    cInt offset = a.Y - lines.first;
    if (b.Y - a.Y != lines.pitch || offset < 0 || offset % lines.pitch != 0) continue;
    inside.inside.insert({static_cast<std::size_t>(offset / lines.pitch), a.X, b.X});
  }
  return inside;
}

// Whether a zigzag that ends at the right (or left) end of `piece` on line
// k can turn onto a piece of line k + 1.
bool TurnsOn(std::size_t k, const Piece& piece, const std::vector<std::vector<Piece>>& pieces,
             cInt reach, const Turns& inside, bool right) {
  if (k + 1 >= pieces.size()) return false;
  const std::vector<Piece>& next = pieces[k + 1];
  auto from = std::lower_bound(next.begin(), next.end(), piece.x0 - reach,
                               [](const Piece& p, cInt x) { return p.x1 < x; });
  for (auto p = from; p != next.end() && p->x0 <= piece.x1 + reach; ++p)
    if (inside.Has({k, right ? piece.x1 : piece.x0, right ? p->x1 : p->x0})) return true;
  return false;
}

// Joins the pieces into zigzags, line by line: a piece continues the zigzag
// of a neighbour on the line before when the turn from that zigzag's end to
// the same end of this piece stays inside; else it starts a zigzag of its own.
std::vector<Path> Zigzags(const Lines& lines, const std::vector<std::vector<Piece>>& pieces,
                          const Turns& inside) {
  std::vector<Path> strokes;
  std::vector<End> before, now;
  cInt reach = 2 * lines.pitch;
  for (std::size_t k = 0; k < pieces.size(); ++k) {
    cInt y = lines.first + static_cast<cInt>(k) * lines.pitch;
    const std::vector<Piece>& line = pieces[k];
    now.assign(line.size(), End{0, true, false});
    std::vector<bool> placed(line.size(), false);
    if (k > 0)
      Neighbours(pieces[k - 1], line, reach, [&](std::size_t s, std::size_t t) {
        End& from = before[s];
        if (placed[t] || from.continued) return;
        const Piece &a = pieces[k - 1][s], &b = line[t];
        Turn turn{k - 1, from.right ? a.x1 : a.x0, from.right ? b.x1 : b.x0};
        if (!inside.Has(turn)) return;
        Path& stroke = strokes[from.stroke];
        stroke.push_back({turn.to, y});
        stroke.push_back({from.right ? b.x0 : b.x1, y});
        now[t] = {from.stroke, !from.right, false};
        from.continued = placed[t] = true;
      });
    for (std::size_t t = 0; t < line.size(); ++t) {
      if (placed[t]) continue;
      // A new zigzag runs towards the end from which it can turn onto the
      // next line.
      bool right = TurnsOn(k, line[t], pieces, reach, inside, true) ||
                   !TurnsOn(k, line[t], pieces, reach, inside, false);
      now[t] = {strokes.size(), right, false};
      strokes.push_back(right ? Path{{line[t].x0, y}, {line[t].x1, y}}
                              : Path{{line[t].x1, y}, {line[t].x0, y}});
    }
    std::swap(before, now);
  }
  return strokes;
}

// Whether the area is one convex ring: every corner turns the same way.
bool Convex(const Paths& area) {
  if (area.size() != 1) return false;
  const Path& ring = area[0];
  bool left = false, right = false;
  for (std::size_t i = 0; i < ring.size(); ++i) {
    const IntPoint &a = ring[i], &b = ring[(i + 1) % ring.size()], &c = ring[(i + 2) % ring.size()];
    double cross = static_cast<double>(b.X - a.X) * static_cast<double>(c.Y - b.Y) -
                   static_cast<double>(b.Y - a.Y) * static_cast<double>(c.X - b.X);
    left = left || cross > 0;
    right = right || cross < 0;
  }
  return !(left && right);
}

// The connected pieces of the area, each an outer ring with its holes.
// Islands inside holes are pieces of their own; the tree is walked with a
// stack of our own, as nesting can be as deep as the drawing has rings.
std::vector<Paths> Pieces(const ClipperLib::PolyTree& tree) {
  std::vector<Paths> areas;
  std::vector<const ClipperLib::PolyNode*> waiting(tree.Childs.begin(), tree.Childs.end());
  while (!waiting.empty()) {
    const ClipperLib::PolyNode* outer = waiting.back();
    waiting.pop_back();
    Paths area{outer->Contour};
    for (const ClipperLib::PolyNode* hole : outer->Childs) {
      if (hole->Contour.size() >= 3) area.push_back(hole->Contour);
      waiting.insert(waiting.end(), hole->Childs.begin(), hole->Childs.end());
    }
    if (outer->Contour.size() >= 3) areas.push_back(std::move(area));
  }
  return areas;
}

}  // namespace

bool HatchRings(const std::vector<Ring>& rings, bool evenOdd, int pen, double pitch, double angle,
                std::vector<plan::Path>* paths, Tally* tally, std::size_t maxLines) {
  double turn = angle * kPi / 180;
  Frame frame{std::cos(turn), std::sin(turn)};
  cInt step = static_cast<cInt>(std::llround(pitch * kScale));
  if (!(step > 0)) return false;
  Paths outline;
  for (const Ring& ring : rings) {
    Path p;
    p.reserve(ring.size());
    for (const plan::Point& point : ring) {
      if (!(std::fabs(point.x) * kScale < kFar && std::fabs(point.y) * kScale < kFar)) return true;
      p.push_back(frame.In(point));
    }
    if (p.size() >= 3) outline.push_back(std::move(p));
  }
  if (outline.empty()) return true;
  ClipperLib::PolyFillType rule = evenOdd ? ClipperLib::pftEvenOdd : ClipperLib::pftNonZero;
  ClipperLib::Clipper clipper;
  clipper.AddPaths(outline, ClipperLib::ptSubject, true);
  ClipperLib::PolyTree tree;
  clipper.Execute(ClipperLib::ctUnion, tree, rule, rule);
  std::vector<Paths> areas = Pieces(tree);
  std::vector<Lines> lines;
  std::size_t total = 0;
  for (const Paths& area : areas) {
    lines.push_back(LinesOver(area, step));
    total += lines.back().count;
    if (total > maxLines) return false;
  }
  for (std::size_t i = 0; i < areas.size(); ++i) {
    std::vector<std::vector<Piece>> pieces = CutLines(areas[i], lines[i]);
    Turns turns = Convex(areas[i]) ? Turns{true, {}} : InsideTurns(areas[i], lines[i], pieces);
    std::vector<Path> strokes = Zigzags(lines[i], pieces, turns);
    if (strokes.empty()) continue;
    ++tally->areas;
    tally->strokes += strokes.size();
    tally->lines += lines[i].count;
    for (const Path& stroke : strokes) {
      plan::Path out{pen, {}};
      out.points.reserve(stroke.size());
      for (const IntPoint& p : stroke) out.points.push_back(frame.Out(p.X, p.Y));
      paths->push_back(std::move(out));
    }
  }
  return true;
}

}  // namespace konib::fill
