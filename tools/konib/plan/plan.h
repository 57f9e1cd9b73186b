// Planning a plot: the paths of a job in plot units, each in its pen, and
// the order in which the pen draws them.
//
// A planned job selects each pen once (in pen number order: the order in
// which a person at a one-pen plotter expects to be asked for them), joins
// paths whose ends meet, and orders each pen's paths so that the pen travels
// little in the air: a first road that links the nearest pairs of path ends,
// shortest first (where most paths are closed loops, greedy nearest
// neighbour with reversal instead), then 2-opt, Or-opt and segment
// insertion with neighbour lists and short kicks that stay when they
// shorten the road, then each closed loop is entered where the road is
// shortest.
// The improvement is bounded by a work count derived from the time budget,
// never by the clock, so the same input and options always give the same
// plan on every machine.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "model/model.h"

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

struct Options {
  bool documentOrder = false;   // keep the paths as given: no grouping, joining or ordering
  double joinTolerance = 0.05;  // ends this close (plot units) join into one path
  double planTime = 0.5;        // seconds of improvement, as a work count (see above)
  bool chooseEntry = true;      // enter closed loops where the road is shortest
};

// What a plan changed, for the reports.
struct Figures {
  std::size_t pens = 0;                // distinct pens
  std::size_t documentPenChanges = 0;  // pen selections in document order
  std::size_t penChanges = 0;          // pen selections as planned
  std::size_t documentLifts = 0;       // paths before joining
  std::size_t lifts = 0;               // paths as planned
  double penDown = 0;                  // millimetres drawn
  double documentTravel = 0;           // pen-up millimetres in document order
  double travel = 0;                   // pen-up millimetres as planned
  double seconds = 0;                  // planning time (not part of the plan)
};

// Plans `paths` in place (see the top of this file); paths with fewer than
// two points draw nothing and are dropped. The road starts at `from`.
Figures Plan(std::vector<Path>* paths, const Options& options, Point from = {0, 0});

// The yardstick of the benchmarks: each pen once, in pen number order, and
// within a pen greedy nearest neighbour with reversal over the paths as
// given, from `from`, each path entered at an end.
std::vector<Path> Greedy(std::vector<Path> paths, Point from = {0, 0});

// Pen-up millimetres from `from` through the paths in their order.
double Travel(const std::vector<Path>& paths, Point from = {0, 0});
double PenDown(const std::vector<Path>& paths);
std::size_t PenChanges(const std::vector<Path>& paths);

// How fast the plotter moves, from the model's konib-only keys
// (Konib.PenDownSpeed and the others, see docs/models.md), else defaults.
struct Machine {
  double penDownSpeed = 100;  // mm/s
  double penUpSpeed = 250;    // mm/s
  double penLiftTime = 0.05;  // s
  double penLowerTime = 0.05;
  double penChangeTime = 5;
  double acceleration = 2000;  // mm/s²
};
// The model's values; `message` names a key that is not a positive number
// (its default stays).
Machine MachineOf(const tool::ModelList& model, std::string* message);

// Seconds the plot takes: motion, lifts and pen changes, or the link when
// `bytes` at `baud` (8N1; 0: no link) take longer.
double Estimate(const std::vector<Path>& paths, const Machine& machine, std::size_t bytes,
                int baud);

// Where a plot stopped: the path that was under way (numbered from 1 in the
// whole plan) and the millimetres drawn by then, that path's share by its
// bytes. `starts` holds the byte at which each of `paths` starts, `total`
// the job's bytes, and `first` the number of paths[0].
struct Stop {
  std::size_t path;
  double drawn;
};
Stop WhereStopped(const std::vector<Path>& paths, const std::vector<std::size_t>& starts,
                  std::size_t delivered, std::size_t total, std::size_t first);

// The pens whose paths all come before path index `n`: a plot resumed at n
// has done their labels too.
std::set<int> FinishedPens(const std::vector<Path>& paths, std::size_t n);

// The figures as lines for people: for --stat and the preview's legend.
std::vector<std::string> Report(const Figures& figures, std::size_t bytes, double seconds,
                                int baud);

// The plan as an SVG picture of the paper: each pen in its colour, the
// pen-up road in thin grey, `legend` lines above. False with a message when
// the file cannot be written.
bool WritePreview(const std::string& file, const std::vector<Path>& paths,
                  const std::map<int, std::string>& colours, double width, double height,
                  const std::vector<std::string>& legend, Point from, std::string* message);

}  // namespace konib::plan
