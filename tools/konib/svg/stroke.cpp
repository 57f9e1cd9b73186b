// Strokes that depend on the flattened outline: dashes cut along it, and
// clipping against a region with Clipper, which clips open lines as well as
// polygons.
#include <algorithm>
#include <cmath>

#include "svg/internal.h"

namespace konib::svg::internal {
namespace {

constexpr double kMinimumPeriod = 0.01;  // millimetres

ClipperLib::IntPoint ToInt(Point p) {
  // Far beyond any page, and well inside Clipper's range.
  auto clamp = [](double v) {
    return static_cast<ClipperLib::cInt>(std::llround(std::clamp(v * kClipScale, -1e16, 1e16)));
  };
  return {clamp(p.x), clamp(p.y)};
}

Point ToPoint(const ClipperLib::IntPoint& p) {
  return {static_cast<double>(p.X) / kClipScale, static_cast<double>(p.Y) / kClipScale};
}

ClipperLib::Path ToPath(const Subpath& s) {
  ClipperLib::Path path{ToInt(s.start)};
  for (const Segment& g : s.segments) path.push_back(ToInt(g.end));
  return path;
}

std::vector<Subpath> FromPaths(const ClipperLib::Paths& paths, bool closed) {
  std::vector<Subpath> out;
  for (const ClipperLib::Path& path : paths) {
    if (path.size() < 2) continue;
    Subpath s{ToPoint(path[0]), {}, closed};
    for (std::size_t i = 1; i < path.size(); ++i)
      s.segments.push_back({false, {}, {}, ToPoint(path[i])});
    if (closed) s.segments.push_back({false, {}, {}, s.start});
    out.push_back(std::move(s));
  }
  return out;
}

// Without the dashes that hold no piece.
std::vector<Subpath> Tidy(std::vector<Subpath> out) {
  out.erase(
      std::remove_if(out.begin(), out.end(), [](const Subpath& s) { return s.segments.empty(); }),
      out.end());
  return out;
}

}  // namespace

std::vector<Subpath> Flattened(const std::vector<Subpath>& subpaths, double tolerance) {
  std::vector<Subpath> out;
  for (const Subpath& s : subpaths) {
    Subpath line{s.start, {}, s.closed};
    Flatten(s, tolerance, [&](Point p) { line.segments.push_back({false, {}, {}, p}); });
    out.push_back(std::move(line));
  }
  return out;
}

std::vector<Subpath> Dash(const std::vector<Subpath>& lines, const std::vector<double>& pattern,
                          double offset, double scale, std::size_t maxPieces) {
  double period = 0;
  for (double d : pattern) period += d * scale;
  // A pattern finer than the chords that carry it is a solid line to a pen.
  if (!(period > kMinimumPeriod) || !std::isfinite(period)) return lines;
  std::vector<Subpath> out;
  std::size_t pieces = 0;
  for (const Subpath& s : lines) {
    // Where in the pattern the subpath starts: the offset, taken modulo the
    // period, a negative one counting back from the end.
    double into = std::fmod(offset * scale, period);
    if (into < 0) into += period;
    std::size_t index = 0;
    while (index < pattern.size() && into >= pattern[index] * scale)
      into -= pattern[index++] * scale;
    index %= pattern.size();
    double left = pattern[index] * scale - into;  // of the current dash or gap
    bool on = index % 2 == 0;
    Point from = s.start;
    if (on) out.push_back({from, {}});
    for (const Segment& g : s.segments) {
      double length = std::hypot(g.end.x - from.x, g.end.y - from.y), done = 0;
      while (length - done > left) {
        done += left;
        double t = done / length;
        Point at{from.x + (g.end.x - from.x) * t, from.y + (g.end.y - from.y) * t};
        if (on) {
          out.back().segments.push_back({false, {}, {}, at});
        } else {
          if (++pieces > maxPieces) return Tidy(std::move(out));
          out.push_back({at, {}});
        }
        on = !on;
        index = (index + 1) % pattern.size();
        left = pattern[index] * scale;
      }
      left -= length - done;
      if (on) out.back().segments.push_back({false, {}, {}, g.end});
      from = g.end;
    }
  }
  return Tidy(std::move(out));
}

Region ToRegion(const std::vector<Subpath>& lines) {
  Region region;
  for (const Subpath& s : lines) region.push_back(ToPath(s));
  return region;
}

std::vector<Subpath> ClipLines(const std::vector<Subpath>& lines, const Region& region) {
  ClipperLib::Clipper clipper;
  for (const Subpath& s : lines) clipper.AddPath(ToPath(s), ClipperLib::ptSubject, false);
  clipper.AddPaths(region, ClipperLib::ptClip, true);
  ClipperLib::PolyTree tree;
  clipper.Execute(ClipperLib::ctIntersection, tree, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
  ClipperLib::Paths open;
  ClipperLib::OpenPathsFromPolyTree(tree, open);
  return FromPaths(open, false);
}

std::vector<Subpath> ClipFill(const std::vector<Subpath>& lines, bool evenOdd,
                              const Region& region) {
  ClipperLib::Clipper clipper;
  clipper.AddPaths(ToRegion(lines), ClipperLib::ptSubject, true);
  clipper.AddPaths(region, ClipperLib::ptClip, true);
  ClipperLib::Paths result;
  clipper.Execute(ClipperLib::ctIntersection, result,
                  evenOdd ? ClipperLib::pftEvenOdd : ClipperLib::pftNonZero,
                  ClipperLib::pftNonZero);
  return FromPaths(result, true);
}

Region Intersect(const Region& a, const Region& b) {
  ClipperLib::Clipper clipper;
  clipper.AddPaths(a, ClipperLib::ptSubject, true);
  clipper.AddPaths(b, ClipperLib::ptClip, true);
  Region result;
  clipper.Execute(ClipperLib::ctIntersection, result, ClipperLib::pftNonZero,
                  ClipperLib::pftNonZero);
  return result;
}

Region Normalise(const Region& a, bool evenOdd) {
  ClipperLib::Clipper clipper;
  clipper.AddPaths(a, ClipperLib::ptSubject, true);
  Region result;
  ClipperLib::PolyFillType rule = evenOdd ? ClipperLib::pftEvenOdd : ClipperLib::pftNonZero;
  clipper.Execute(ClipperLib::ctUnion, result, rule, rule);
  return result;
}

}  // namespace konib::svg::internal
