// Planning a plot: the paths of a job in plot units, each in its pen, and
// the order in which the pen draws them.
#pragma once

#include <vector>

namespace konib::plan {

// A point in plot units (millimetres on the paper, y up).
struct Point {
  double x;
  double y;
};

// A polyline drawn with the pen down from its first point to its last; a
// path whose last point is its first is a closed loop.
struct Path {
  int pen;
  std::vector<Point> points;
};

}  // namespace konib::plan
