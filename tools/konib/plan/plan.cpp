#include "plan/plan.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <utility>

#include "plan/order.h"

namespace konib::plan {
namespace {

// Improvement work per second of --plan-time: a fixed rate, measured on a
// modest machine, so that the budget decides how much is tried and the
// clock never decides what comes out.
constexpr double kWorkPerSecond = 2e7;
// Work units that the nearest-first road costs a path (a tree search and
// the removal of its ends).
constexpr long long kGreedyWork = 30;

// Joins paths whose ends meet within `tolerance`, reversing one where that
// joins them. Ends are found through a sorted list of grid cells as large
// as eight tolerances, so that an end mostly looks into its own cell alone.
class Joiner {
 public:
  Joiner(std::vector<Path>* paths, double tolerance)
      : paths_(*paths),
        tolerance_(tolerance),
        cell_(std::max(8 * tolerance, 1e-6)),
        used_(paths->size()) {
    for (std::uint32_t p = 0; p < paths_.size(); ++p) {
      if (IsLoop(paths_[p])) continue;
      cells_.push_back({Key(paths_[p].points.front()), 2 * p, paths_[p].points.front()});
      cells_.push_back({Key(paths_[p].points.back()), 2 * p + 1, paths_[p].points.back()});
    }
    std::sort(cells_.begin(), cells_.end(), [](const End& a, const End& b) {
      return a.key < b.key || (a.key == b.key && a.end < b.end);
    });
    slot_.assign(2 * paths_.size(), 0);
    run_.resize(cells_.size());
    skip_.resize(cells_.size());
    for (std::uint32_t k = 0; k < cells_.size(); ++k) {
      slot_[cells_[k].end] = k;
      run_[k] = k > 0 && cells_[k - 1].key == cells_[k].key ? run_[k - 1] : k;
      skip_[k] = k + 1;
    }
  }

  std::vector<Path> Join() {
    std::vector<Path> out;
    for (std::uint32_t p = 0; p < paths_.size(); ++p) {
      if (used_[p]) continue;
      used_[p] = 1;
      Path chain = std::move(paths_[p]);
      if (!IsLoop(chain)) {
        Extend(&chain, 2 * p + 1);
        std::reverse(chain.points.begin(), chain.points.end());
        Extend(&chain, 2 * p);
      }
      out.push_back(std::move(chain));
    }
    return out;
  }

 private:
  std::pair<std::int64_t, std::int64_t> Cell(Point p) const {
    auto c = [&](double v) {
      double q = std::floor(v / cell_);
      return q == q ? static_cast<std::int64_t>(std::clamp(q, -1e15, 1e15)) : 0;
    };
    return {c(p.x), c(p.y)};
  }
  static std::uint64_t Pack(std::int64_t x, std::int64_t y) {
    return (static_cast<std::uint64_t>(x) << 32) ^ static_cast<std::uint64_t>(y & 0xffffffff);
  }
  std::uint64_t Key(Point p) const {
    auto c = Cell(p);
    return Pack(c.first, c.second);
  }

  // The first entry at or after `k` whose path is not yet drawn: taken
  // entries are jumped over (and the jumps shortened), so that many ends
  // in one place are passed once, not once per join.
  std::uint32_t Live(std::uint32_t k) {
    std::uint32_t root = k;
    while (root < cells_.size() && used_[cells_[root].end / 2]) root = skip_[root];
    while (k != root) {
      std::uint32_t next = skip_[k];
      skip_[k] = root;
      k = next;
    }
    return root;
  }

  // Hands `look` the live entries of the cell that starts at `start`: at
  // most a few dozen, which bounds the work where ends crowd together (a
  // star of a hundred thousand lines).
  template <class Look>
  void Scan(std::uint32_t start, Look& look) {
    const std::uint64_t key = cells_[start].key;
    int count = 0;
    for (std::uint32_t k = Live(start); k < cells_.size() && cells_[k].key == key && count < 64;
         k = Live(k + 1), ++count)
      look(k);
  }

  // Appends paths whose ends meet the chain's last point, nearest first;
  // `last` is the path end that the chain ends in.
  void Extend(Path* chain, std::uint32_t last) {
    while (true) {
      const Point end = chain->points.back();
      const auto c = Cell(end);
      std::uint32_t best = UINT32_MAX;
      double bestD = tolerance_;
      // The joiner sees one pen's paths: any end near this one will do.
      auto look = [&](std::size_t k) {
        const End& e = cells_[k];
        double d = Distance(end, e.at);
        if (d < bestD || (d == bestD && e.end < best)) bestD = d, best = e.end;
      };
      // The end's own cell, found through its place in the list, then a
      // neighbouring cell only where the end is within the tolerance of it.
      Scan(run_[slot_[last]], look);
      auto reach = [&](double v, std::int64_t at, int side) {
        return side == 0 || (side < 0 ? v - tolerance_ < static_cast<double>(at) * cell_
                                      : v + tolerance_ >= static_cast<double>(at + 1) * cell_);
      };
      for (int dx = -1; dx <= 1; ++dx)
        for (int dy = -1; dy <= 1; ++dy) {
          if ((dx == 0 && dy == 0) || !reach(end.x, c.first, dx) || !reach(end.y, c.second, dy))
            continue;
          std::uint64_t key = Pack(c.first + dx, c.second + dy);
          auto it = std::lower_bound(cells_.begin(), cells_.end(), key,
                                     [](const End& e, std::uint64_t k) { return e.key < k; });
          if (it != cells_.end() && it->key == key)
            Scan(static_cast<std::uint32_t>(it - cells_.begin()), look);
        }
      if (best == UINT32_MAX) return;
      used_[best / 2] = 1;
      auto& v = paths_[best / 2].points;
      if (best % 2) std::reverse(v.begin(), v.end());
      // Where the ends meet exactly, the point is not drawn twice.
      bool same = v.front().x == end.x && v.front().y == end.y;
      chain->points.insert(chain->points.end(), v.begin() + (same ? 1 : 0), v.end());
      std::vector<Point>().swap(v);
      last = best ^ 1;
    }
  }

  std::vector<Path>& paths_;
  double tolerance_;
  double cell_;
  std::vector<std::uint8_t> used_;
  struct End {
    std::uint64_t key;  // its cell
    std::uint32_t end;  // 2 × path, + 1 for the path's back
    Point at;
  };
  std::vector<End> cells_;
  std::vector<std::uint32_t> slot_;  // each path end's place in cells_
  std::vector<std::uint32_t> run_;   // where each entry's cell starts in cells_
  std::vector<std::uint32_t> skip_;  // a later entry to jump to from a taken one
};

// The paths sorted along a Z-shaped curve over the paper by their first
// point, so that paths near each other on the paper lie near each other in
// memory: the orders below walk the paper, not the document. Returns the
// document order of the sorted paths.
std::vector<std::uint32_t> SortByPlace(std::vector<Path>* paths) {
  double x0 = INFINITY, y0 = INFINITY, x1 = -INFINITY, y1 = -INFINITY;
  for (const Path& p : *paths) {
    Point a = p.points.front();
    x0 = std::min(x0, a.x), x1 = std::max(x1, a.x), y0 = std::min(y0, a.y), y1 = std::max(y1, a.y);
  }
  auto cell = [](double v, double lo, double hi) {
    double t = hi > lo ? (v - lo) / (hi - lo) : 0;
    if (!(t > 0)) t = 0;  // also where a page of astronomic size overflows
    return static_cast<std::uint32_t>(std::min(t, 1.0) * 65535);
  };
  auto spread = [](std::uint32_t v) {  // the bits of v with a zero between each two
    v = (v | (v << 8)) & 0x00FF00FFu;
    v = (v | (v << 4)) & 0x0F0F0F0Fu;
    v = (v | (v << 2)) & 0x33333333u;
    return (v | (v << 1)) & 0x55555555u;
  };
  std::vector<std::pair<std::uint32_t, std::uint32_t>> keys(paths->size());
  for (std::uint32_t i = 0; i < keys.size(); ++i) {
    Point a = (*paths)[i].points.front();
    keys[i] = {spread(cell(a.x, x0, x1)) | spread(cell(a.y, y0, y1)) << 1, i};
  }
  std::sort(keys.begin(), keys.end());
  std::vector<Path> sorted;
  sorted.reserve(paths->size());
  std::vector<std::uint32_t> document(paths->size());
  for (std::uint32_t k = 0; k < keys.size(); ++k) {
    sorted.push_back(std::move((*paths)[keys[k].second]));
    document[keys[k].second] = k;
  }
  *paths = std::move(sorted);
  return document;
}

}  // namespace

double Travel(const std::vector<Path>& paths, Point from) {
  double sum = 0;
  for (const Path& p : paths) {
    if (p.points.size() < 2) continue;
    sum += Distance(from, p.points.front());
    from = p.points.back();
  }
  return sum;
}

double PenDown(const std::vector<Path>& paths) {
  double sum = 0;
  for (const Path& p : paths)
    for (std::size_t i = 1; i < p.points.size(); ++i) sum += Distance(p.points[i - 1], p.points[i]);
  return sum;
}

std::size_t PenChanges(const std::vector<Path>& paths) {
  std::size_t changes = 0;
  int pen = -1;
  for (const Path& p : paths)
    if (p.points.size() >= 2 && p.pen != pen) ++changes, pen = p.pen;
  return changes;
}

std::vector<Path> Greedy(std::vector<Path> paths, Point from) {
  paths.erase(
      std::remove_if(paths.begin(), paths.end(), [](const Path& p) { return p.points.size() < 2; }),
      paths.end());
  std::stable_sort(paths.begin(), paths.end(),
                   [](const Path& a, const Path& b) { return a.pen < b.pen; });
  std::vector<Path> out;
  for (std::size_t lo = 0; lo < paths.size();) {
    std::size_t hi = lo;
    while (hi < paths.size() && paths[hi].pen == paths[lo].pen) ++hi;
    std::vector<Path> pen(std::make_move_iterator(paths.begin() + static_cast<long>(lo)),
                          std::make_move_iterator(paths.begin() + static_cast<long>(hi)));
    Order order(pen, false);
    for (Path& p : Apply(&pen, order.Greedy(from))) out.push_back(std::move(p));
    from = out.back().points.back();
    lo = hi;
  }
  return out;
}

Figures Plan(std::vector<Path>* paths, const Options& options, Point from) {
  auto start = std::chrono::steady_clock::now();
  const Point origin = from;
  Figures f;
  f.documentPenChanges = PenChanges(*paths);
  f.documentTravel = Travel(*paths, from);
  f.documentLifts = static_cast<std::size_t>(std::count_if(
      paths->begin(), paths->end(), [](const Path& p) { return p.points.size() >= 2; }));
  if (!options.documentOrder) {
    paths->erase(std::remove_if(paths->begin(), paths->end(),
                                [](const Path& p) { return p.points.size() < 2; }),
                 paths->end());
    std::stable_sort(paths->begin(), paths->end(),
                     [](const Path& a, const Path& b) { return a.pen < b.pen; });
    double budget = std::max(0.0, options.planTime) * kWorkPerSecond;
    std::size_t total = paths->size();
    std::vector<Path> planned;
    planned.reserve(total);
    for (std::size_t lo = 0; lo < paths->size();) {
      std::size_t hi = lo;
      while (hi < paths->size() && (*paths)[hi].pen == (*paths)[lo].pen) ++hi;
      std::vector<Path> pen(std::make_move_iterator(paths->begin() + static_cast<long>(lo)),
                            std::make_move_iterator(paths->begin() + static_cast<long>(hi)));
      // Each pen gets its share of the budget by its number of paths.
      long long work = static_cast<long long>(budget * static_cast<double>(hi - lo) /
                                              static_cast<double>(total));
      pen = Joiner(&pen, options.joinTolerance).Join();
      const std::vector<std::uint32_t> document = SortByPlace(&pen);
      Order order(pen, options.chooseEntry);
      // Strokes are best started by their shortest links; loops by the
      // nearest first, which enters each where the pen arrives (a shortest
      // link would fix a loop's entry by one neighbour alone).
      const std::size_t loopCount = order.Loops();
      const bool strokes = 2 * loopCount < pen.size();
      // Nearest first is also kept to compare with where the budget pays
      // for it: after another pen's last path, a few paths may favour it.
      // With no budget at all it is what a plan without improvement means.
      const long long greedyWork = kGreedyWork * static_cast<long long>(pen.size());
      std::vector<Item> greedy;
      if (!strokes || budget <= 0)
        greedy = order.Greedy(from);
      else if (work >= greedyWork)
        greedy = order.Greedy(from), work -= greedyWork;
      std::vector<Item> best = strokes ? order.ShortestLinks(from) : greedy;
      const std::vector<Item> first = best;
      const bool loops = loopCount > 0;
      // Where loops are, a second round orders them by the entries the
      // first round chose.
      long long second = loops ? work * 3 / 10 : 0;
      work -= second;
      order.Improve(&best, from, &work);
      if (loops) {
        order.ChooseEntries(&best, from);
        order.Improve(&best, from, &second);
        order.ChooseEntries(&best, from);
      }
      // Never worse than the road it started from, nearest first, or the
      // drawing's own order.
      double cost = order.Cost(best, from);
      for (std::vector<Item> other : {first, greedy, order.AsGiven(document)}) {
        if (other.empty()) continue;
        if (loops) order.ChooseEntries(&other, from);
        double c = order.Cost(other, from);
        if (c < cost) best = std::move(other), cost = c;
      }
      for (Path& p : Apply(&pen, best)) planned.push_back(std::move(p));
      if (!planned.empty()) from = planned.back().points.back();
      lo = hi;
    }
    *paths = std::move(planned);
  }
  std::vector<int> pens;
  for (const Path& p : *paths)
    if (p.points.size() >= 2) pens.push_back(p.pen);
  std::sort(pens.begin(), pens.end());
  f.pens = static_cast<std::size_t>(std::unique(pens.begin(), pens.end()) - pens.begin());
  f.penChanges = PenChanges(*paths);
  f.lifts = static_cast<std::size_t>(std::count_if(
      paths->begin(), paths->end(), [](const Path& p) { return p.points.size() >= 2; }));
  f.penDown = PenDown(*paths);
  f.travel = Travel(*paths, origin);
  f.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return f;
}

}  // namespace konib::plan
