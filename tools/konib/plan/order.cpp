// Ordering one pen's paths: a k-d tree over their ends, a first road (the
// shortest links first, or nearest neighbour with reversal), 2-opt and
// Or-opt with neighbour lists, and loop entries.
//
// The tree is built once and answers nearest-neighbour questions while
// points are taken out of it: each subtree counts the points still in it,
// so a search skips emptied subtrees and stays logarithmic to the last
// path. (A k-d tree that cannot forget points, or a grid whose empty cells
// must be walked, slows down as the drawing is used up.)
#include "plan/order.h"

#include <algorithm>
#include <deque>
#include <utility>

namespace konib::plan {
namespace {

double Distance2(Point a, Point b) { return (a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y); }

class Tree {
 public:
  explicit Tree(const std::vector<Point>& points)
      : point_(points.size()),
        id_(points.size()),
        slot_(points.size()),
        live_(points.size()),
        alive_(points.size(), 1),
        axis_(points.size()) {
    // Built on points with their numbers beside them, so that the median
    // search walks memory in order.
    std::vector<Entry> entries(points.size());
    for (std::uint32_t i = 0; i < entries.size(); ++i) entries[i] = {points[i], i};
    Build(&entries, 0, entries.size());
    for (std::size_t s = 0; s < entries.size(); ++s) {
      point_[s] = entries[s].point;
      id_[s] = entries[s].id;
      slot_[entries[s].id] = static_cast<std::uint32_t>(s);
    }
  }

  // The nearest point still in the tree, or -1.
  long Nearest(Point q) const {
    long best = -1;
    double bestD = INFINITY;
    Search(0, point_.size(), q, &best, &bestD);
    return best;
  }

  // The `k` nearest points, nearest first, except those that `skip` names.
  template <class Skip>
  void Nearest(Point q, std::size_t k, Skip skip,
               std::vector<std::pair<double, std::uint32_t>>* heap) const {
    heap->clear();
    Gather(0, point_.size(), q, k, skip, heap);
  }

  bool Alive(std::uint32_t id) const { return alive_[slot_[id]] != 0; }

  void Remove(std::uint32_t id) {
    std::size_t s = slot_[id], lo = 0, hi = point_.size();
    if (!alive_[s]) return;
    alive_[s] = 0;
    while (true) {
      std::size_t m = lo + (hi - lo) / 2;
      --live_[m];
      if (s == m) return;
      if (s < m)
        hi = m;
      else
        lo = m + 1;
    }
  }

 private:
  static double Coordinate(Point p, int axis) { return axis == 0 ? p.x : p.y; }

  // Depth is the logarithm of the size: each level halves the range.
  struct Entry {
    Point point;
    std::uint32_t id;
  };

  void Build(std::vector<Entry>* entries, std::size_t lo, std::size_t hi) {
    if (lo >= hi) return;
    auto& e = *entries;
    // The wider side of the range's box, judged from a sample of it.
    double x0 = INFINITY, x1 = -INFINITY, y0 = INFINITY, y1 = -INFINITY;
    const std::size_t stride = std::max<std::size_t>(1, (hi - lo) / 64);
    for (std::size_t i = lo; i < hi; i += stride) {
      Point p = e[i].point;
      x0 = std::min(x0, p.x), x1 = std::max(x1, p.x), y0 = std::min(y0, p.y),
      y1 = std::max(y1, p.y);
    }
    int axis = x1 - x0 >= y1 - y0 ? 0 : 1;
    std::size_t m = lo + (hi - lo) / 2;
    std::nth_element(e.begin() + static_cast<long>(lo), e.begin() + static_cast<long>(m),
                     e.begin() + static_cast<long>(hi), [axis](const Entry& a, const Entry& b) {
                       double ca = Coordinate(a.point, axis), cb = Coordinate(b.point, axis);
                       return ca < cb || (ca == cb && a.id < b.id);
                     });
    axis_[m] = static_cast<std::uint8_t>(axis);
    live_[m] = static_cast<std::uint32_t>(hi - lo);
    Build(entries, lo, m);
    Build(entries, m + 1, hi);
  }

  void Search(std::size_t lo, std::size_t hi, Point q, long* best, double* bestD) const {
    if (lo >= hi) return;
    std::size_t m = lo + (hi - lo) / 2;
    if (live_[m] == 0) return;
    if (alive_[m]) {
      double d = Distance2(q, point_[m]);
      if (*best < 0 || d < *bestD || (d == *bestD && id_[m] < *best)) *bestD = d, *best = id_[m];
    }
    double side = Coordinate(q, axis_[m]) - Coordinate(point_[m], axis_[m]);
    if (side < 0) {
      Search(lo, m, q, best, bestD);
      if (side * side < *bestD) Search(m + 1, hi, q, best, bestD);
    } else {
      Search(m + 1, hi, q, best, bestD);
      if (side * side < *bestD) Search(lo, m, q, best, bestD);
    }
  }

  template <class Skip>
  void Gather(std::size_t lo, std::size_t hi, Point q, std::size_t k, Skip& skip,
              std::vector<std::pair<double, std::uint32_t>>* heap) const {
    if (lo >= hi) return;
    std::size_t m = lo + (hi - lo) / 2;
    if (live_[m] == 0) return;
    if (alive_[m] && !skip(id_[m])) {
      std::pair<double, std::uint32_t> item{Distance2(q, point_[m]), id_[m]};
      // Kept sorted: for a dozen, shifting a few beats a heap's swaps.
      if (heap->size() < k || item < heap->back()) {
        if (heap->size() == k) heap->pop_back();
        heap->insert(std::upper_bound(heap->begin(), heap->end(), item), item);
      }
    }
    double side = Coordinate(q, axis_[m]) - Coordinate(point_[m], axis_[m]);
    auto far = [&] { return heap->size() < k || side * side < heap->back().first; };
    if (side < 0) {
      Gather(lo, m, q, k, skip, heap);
      if (far()) Gather(m + 1, hi, q, k, skip, heap);
    } else {
      Gather(m + 1, hi, q, k, skip, heap);
      if (far()) Gather(lo, m, q, k, skip, heap);
    }
  }

  std::vector<Point> point_;         // by slot once built
  std::vector<std::uint32_t> id_;    // the point at each slot
  std::vector<std::uint32_t> slot_;  // the slot of each point
  std::vector<std::uint32_t> live_;  // points still in the subtree whose middle is this slot
  std::vector<std::uint8_t> alive_;
  std::vector<std::uint8_t> axis_;
};

// Neighbours kept per path end for 2-opt: enough to find the moves that
// matter, few enough to keep a million paths in memory.
constexpr std::size_t kNeighbours = 12;
// Work units: a neighbour list costs about as much as this many move trials.
constexpr long long kListWork = 40;
// Links looked at per path end when the shortest links are laid first.
constexpr std::size_t kLinkCandidates = 8;

// The chains of linked paths, as sets: a link that would join a chain to
// itself would close a circle.
class Chains {
 public:
  explicit Chains(std::size_t n) : parent_(n) {
    for (std::uint32_t k = 0; k < n; ++k) parent_[k] = k;
  }
  std::uint32_t Find(std::uint32_t k) {
    while (parent_[k] != k) k = parent_[k] = parent_[parent_[k]];
    return k;
  }
  // False when a and b are in one chain already.
  bool Join(std::uint32_t a, std::uint32_t b) {
    a = Find(a), b = Find(b);
    if (a == b) return false;
    parent_[std::max(a, b)] = std::min(a, b);
    return true;
  }

 private:
  std::vector<std::uint32_t> parent_;
};

}  // namespace

Order::Order(const std::vector<Path>& paths, bool chooseEntry)
    : paths_(paths), loop_(paths.size()) {
  for (std::size_t p = 0; p < paths.size(); ++p) loop_[p] = chooseEntry && IsLoop(paths[p]);
}

Point Order::Entry(const Item& i) const {
  const auto& p = paths_[i.path].points;
  if (i.loop) return p[i.entry];
  return i.reversed ? p.back() : p.front();
}

Point Order::Exit(const Item& i) const {
  const auto& p = paths_[i.path].points;
  if (i.loop) return p[i.entry];
  return i.reversed ? p.front() : p.back();
}

double Order::Cost(const std::vector<Item>& items, Point from) const {
  double sum = 0;
  for (const Item& i : items) sum += Distance(from, Entry(i)), from = Exit(i);
  return sum;
}

std::size_t Order::Loops() const {
  return static_cast<std::size_t>(std::count(loop_.begin(), loop_.end(), 1));
}

std::vector<Item> Order::AsGiven(const std::vector<std::uint32_t>& order) const {
  std::vector<Item> items;
  items.reserve(order.size());
  for (std::uint32_t p : order) items.push_back({p, 0, false, loop_[p] != 0});
  return items;
}

// Where a path may be entered: both ends of an open path (front, then back),
// every vertex of a loop. first[p] is path p's first such point.
struct Stops {
  std::vector<Point> points;
  std::vector<std::uint32_t> first;
  std::vector<std::uint32_t> owner;  // the path of each point
};

Stops Order::StopsOf() const {
  Stops s;
  s.first.resize(paths_.size() + 1);
  for (std::uint32_t p = 0; p < paths_.size(); ++p) {
    s.first[p] = static_cast<std::uint32_t>(s.points.size());
    const auto& v = paths_[p].points;
    if (loop_[p])
      s.points.insert(s.points.end(), v.begin(), v.end() - 1);
    else
      s.points.push_back(v.front()), s.points.push_back(v.back());
  }
  s.first[paths_.size()] = static_cast<std::uint32_t>(s.points.size());
  s.owner.resize(s.points.size());
  for (std::uint32_t p = 0; p < paths_.size(); ++p)
    for (std::uint32_t e = s.first[p]; e < s.first[p + 1]; ++e) s.owner[e] = p;
  return s;
}

std::vector<Item> Order::Greedy(Point from) const {
  Stops stops = StopsOf();
  const std::vector<std::uint32_t>&first = stops.first, &owner = stops.owner;
  std::vector<Point>& points = stops.points;
  Tree tree(points);
  std::vector<Point>().swap(points);
  std::vector<Item> items;
  items.reserve(paths_.size());
  std::vector<std::uint8_t> taken(paths_.size());
  std::size_t cursor = 0;
  for (std::size_t n = 0; n < paths_.size(); ++n) {
    long e = tree.Nearest(from);
    // Distances beyond the doubles of an astronomic page compare as
    // nothing: then the next path as given, entered at its start.
    while (e < 0 && taken[cursor]) ++cursor;
    if (e < 0) e = first[cursor];
    std::uint32_t p = owner[static_cast<std::size_t>(e)],
                  k = static_cast<std::uint32_t>(e) - first[p];
    bool loop = loop_[p] != 0;
    items.push_back({p, loop ? k : 0, !loop && k == 1, loop});
    for (std::uint32_t x = first[p]; x < first[p + 1]; ++x) tree.Remove(x);
    taken[p] = 1;
    from = Exit(items.back());
  }
  return items;
}

// Linking the shortest pairs of ends first lays the road along the rows a
// drawing is made of (the strokes of a sunflower follow its rings), where
// nearest neighbour from one place runs across them and leaves stragglers
// that no short move brings home. Each path has two link slots, its front
// and its back; a loop has two at the one vertex where it is first linked.
std::vector<Item> Order::ShortestLinks(Point from) const {
  Stops stops = StopsOf();
  const std::vector<std::uint32_t>&first = stops.first, &owner = stops.owner;
  const std::uint32_t n = static_cast<std::uint32_t>(paths_.size()), none = UINT32_MAX;
  const std::size_t count = stops.points.size();
  Tree tree(stops.points);

  // Candidate links: each point with its nearest points of other paths;
  // lengths that do not compare (an astronomic page) are no candidates.
  struct Candidate {
    float length2;
    std::uint32_t a, b;
    bool operator<(const Candidate& o) const {
      return length2 < o.length2 || (length2 == o.length2 && (a < o.a || (a == o.a && b < o.b)));
    }
  };
  std::vector<std::uint32_t> near(count * kLinkCandidates, UINT32_MAX);
  std::vector<std::pair<double, std::uint32_t>> heap;
  for (std::uint32_t a = 0; a < count; ++a) {
    const std::uint32_t self = owner[a];
    tree.Nearest(
        stops.points[a], kLinkCandidates, [&](std::uint32_t b) { return owner[b] == self; }, &heap);
    for (std::size_t k = 0; k < heap.size() && heap[k].first < 1e30; ++k)
      near[a * kLinkCandidates + k] = heap[k].second;
  }
  // Each pair once: from the list of its lower point, or from the other's
  // where the lower point's list does not hold it.
  std::vector<Candidate> candidates;
  for (std::uint32_t a = 0; a < count; ++a)
    for (std::size_t k = a * kLinkCandidates; k < (a + 1) * kLinkCandidates; ++k) {
      const std::uint32_t b = near[k];
      if (b == UINT32_MAX) break;
      const std::uint32_t* other = &near[std::size_t{b} * kLinkCandidates];
      if (a < b || std::find(other, other + kLinkCandidates, a) == other + kLinkCandidates)
        candidates.push_back({static_cast<float>(Distance2(stops.points[a], stops.points[b])),
                              std::min(a, b), std::max(a, b)});
    }
  std::vector<std::uint32_t>().swap(near);
  std::sort(candidates.begin(), candidates.end());

  std::vector<std::uint32_t> link(2 * std::size_t{n}, none);  // each slot's partner slot
  std::vector<std::uint32_t> at(n, none);                     // a linked loop's vertex
  auto slotOf = [&](std::uint32_t point) {
    const std::uint32_t p = owner[point];
    if (!loop_[p]) {
      const std::uint32_t s = 2 * p + (point - first[p]);
      return link[s] == none ? s : none;
    }
    if (at[p] != none && at[p] != point) return none;
    return link[2 * p] == none ? 2 * p : link[2 * p + 1] == none ? 2 * p + 1 : none;
  };
  Chains chains(n);
  for (const Candidate& c : candidates) {
    const std::uint32_t x = slotOf(c.a), y = slotOf(c.b);
    if (x == none || y == none || !chains.Join(x / 2, y / 2)) continue;
    link[x] = y, link[y] = x;
    if (loop_[x / 2]) at[x / 2] = c.a;
    if (loop_[y / 2]) at[y / 2] = c.b;
  }
  std::vector<Candidate>().swap(candidates);

  // The chains' free ends stay in the tree, and whole loops not linked.
  auto pointOf = [&](std::uint32_t s) {
    const std::uint32_t p = s / 2;
    return loop_[p] ? at[p] : first[p] + s % 2;
  };
  for (std::uint32_t p = 0; p < n; ++p) {
    if (!loop_[p]) {
      for (std::uint32_t s = 2 * p; s < 2 * p + 2; ++s)
        if (link[s] != none) tree.Remove(pointOf(s));
    } else if (at[p] != none) {
      for (std::uint32_t x = first[p]; x < first[p + 1]; ++x)
        if (x != at[p] || (link[2 * p] != none && link[2 * p + 1] != none)) tree.Remove(x);
    }
  }

  // The chains joined nearest first, each walked from the end reached.
  std::vector<Item> items;
  items.reserve(n);
  std::uint32_t cursor = 0;
  while (items.size() < n) {
    long e = tree.Nearest(from);
    // Distances beyond the doubles of an astronomic page compare as
    // nothing: then the first free end as given.
    while (e < 0 && !tree.Alive(cursor)) ++cursor;
    const std::uint32_t point = e < 0 ? cursor : static_cast<std::uint32_t>(e);
    std::uint32_t p = owner[point];
    tree.Remove(point);
    if (loop_[p] && at[p] == none) {
      items.push_back({p, point - first[p], false, true});
      for (std::uint32_t x = first[p]; x < first[p + 1]; ++x) tree.Remove(x);
      from = Exit(items.back());
      continue;
    }
    std::uint32_t s =
        loop_[p] ? (link[2 * p] == none ? 2 * p : 2 * p + 1) : 2 * p + point - first[p];
    while (true) {
      p = s / 2;
      items.push_back(loop_[p] ? Item{p, at[p] - first[p], false, true}
                               : Item{p, 0, s % 2 == 1, false});
      if (link[s ^ 1] == none) break;
      s = link[s ^ 1];
    }
    tree.Remove(pointOf(s ^ 1));
    from = Exit(items.back());
  }
  return items;
}

// 2-opt on a cycle: the road and one extra stop (the "free end", index n)
// that is no distance from anything, so that the road may start and end at
// any path. Reversing a stretch of the cycle reverses each of its paths; in
// a cycle whose distances are symmetric, reversing the stretch or the rest
// is the same move, so the shorter one is reversed.
void Order::Improve(std::vector<Item>* items, Point from, long long* work) const {
  const std::size_t n = items->size(), size = n + 1;
  if (n < 3) return;
  std::vector<Item> node(*items);
  std::vector<std::uint32_t> tour(size), pos(size);
  for (std::uint32_t k = 0; k < size; ++k) tour[k] = k, pos[k] = k;
  const std::uint32_t freeEnd = static_cast<std::uint32_t>(n);
  auto entry = [&](std::uint32_t a) { return Entry(node[a]); };
  auto exit = [&](std::uint32_t a) { return Exit(node[a]); };
  auto link = [&](std::uint32_t a, std::uint32_t b) {
    return a == freeEnd || b == freeEnd ? 0.0 : Distance(exit(a), entry(b));
  };
  auto exits = [&](std::uint32_t a, std::uint32_t b) {
    return a == freeEnd || b == freeEnd ? 0.0 : Distance(exit(a), exit(b));
  };
  auto entries = [&](std::uint32_t a, std::uint32_t b) {
    return a == freeEnd || b == freeEnd ? 0.0 : Distance(entry(a), entry(b));
  };
  auto next = [&](std::uint32_t a) { return tour[(pos[a] + 1) % size]; };
  auto prev = [&](std::uint32_t a) { return tour[(pos[a] + size - 1) % size]; };

  // Neighbour lists, made when first asked for: the nearest path ends to
  // each end (end 0 the path's front, 1 its back; a loop has one).
  std::vector<Point> ends(2 * n);
  for (std::uint32_t a = 0; a < n; ++a) {
    const auto& v = paths_[node[a].path].points;
    ends[2 * a] = node[a].loop ? v[node[a].entry] : v.front();
    ends[2 * a + 1] = node[a].loop ? v[node[a].entry] : v.back();
  }
  Tree tree(ends);
  std::vector<std::uint32_t> lists(2 * n * kNeighbours, UINT32_MAX);
  std::vector<std::uint8_t> made(2 * n);
  std::vector<std::pair<double, std::uint32_t>> heap;
  auto neighbours = [&](std::uint32_t end) {
    if (!made[end]) {
      made[end] = 1;
      *work -= kListWork;
      std::uint32_t self = end / 2;
      tree.Nearest(
          ends[end], kNeighbours,
          [&](std::uint32_t e) { return e / 2 == self || (node[e / 2].loop && e % 2 == 1); },
          &heap);
      for (std::size_t k = 0; k < heap.size(); ++k) lists[end * kNeighbours + k] = heap[k].second;
    }
    return &lists[end * kNeighbours];
  };
  // Which end of a path is its entry now: a loop is entered and left at one.
  auto entryEnd = [&](std::uint32_t a) {
    return node[a].loop ? 2 * a : 2 * a + (node[a].reversed ? 1 : 0);
  };
  auto exitEnd = [&](std::uint32_t a) {
    return node[a].loop ? 2 * a : 2 * a + (node[a].reversed ? 0 : 1);
  };
  auto isExit = [&](std::uint32_t e) { return node[e / 2].loop || e == exitEnd(e / 2); };
  auto isEntry = [&](std::uint32_t e) { return node[e / 2].loop || e == entryEnd(e / 2); };

  // Reverses the stretch of the cycle from position i to j (inclusive).
  auto reverse = [&](std::size_t i, std::size_t j) {
    std::size_t length = (j + size - i) % size + 1;
    if (2 * length > size)
      i = (j + 1) % size, j = (i + size - 1 + size - length) % size, length = size - length;
    *work -= static_cast<long long>(length);
    for (std::size_t k = 0; k < length; ++k) {
      std::uint32_t a = tour[(i + k) % size];
      if (a != freeEnd && !node[a].loop) node[a].reversed = !node[a].reversed;
    }
    for (std::size_t k = 0; k < length / 2; ++k) {
      std::size_t x = (i + k) % size, y = (j + size - k) % size;
      std::swap(tour[x], tour[y]);
      pos[tour[x]] = static_cast<std::uint32_t>(x);
      pos[tour[y]] = static_cast<std::uint32_t>(y);
    }
  };

  std::deque<std::uint32_t> queue;
  std::vector<std::uint8_t> queued(size, 1);
  for (std::uint32_t a = 0; a < n; ++a) queue.push_back(a);
  auto wake = [&](std::uint32_t a) {
    if (a != freeEnd && !queued[a]) queued[a] = 1, queue.push_back(a);
  };
  // Improving moves until none is left among the woken paths; each applied
  // reversal goes to `log` when one is kept, so that it can be undone.
  std::vector<std::pair<std::size_t, std::size_t>>* log = nullptr;
  std::size_t reach = size;  // the longest reversal a move may make
  auto within = [&](std::size_t i, std::size_t j) {
    std::size_t length = (j + size - i) % size + 1;
    return std::min(length, size - length) <= reach;
  };
  auto logged = [&](std::size_t i, std::size_t j) {
    reverse(i % size, j % size);
    if (log != nullptr) log->push_back({i % size, j % size});
  };
  // Or-opt: a stretch of one to three paths starting at `a` moves between
  // two paths near its ends, either way round. It is made of reversals
  // short enough that none reverses the rest of the cycle instead.
  auto Move = [&](std::uint32_t a) -> double {
    for (std::size_t length = 1; length <= 3 && length + 3 <= size; ++length) {
      const std::size_t i = pos[a], j = (i + length - 1) % size;
      const std::uint32_t first = a, last = tour[j], p = prev(first), q = next(last);
      auto inside = [&](std::uint32_t x) { return (pos[x] + size - i) % size < length; };
      bool free = false;
      for (std::size_t k = 0; k < length; ++k) free = free || tour[(i + k) % size] == freeEnd;
      if (free) return 0;
      double remove = link(p, first) + link(last, q) - link(p, q);
      if (remove <= 1e-9) continue;
      double best = -1e-9;
      std::uint32_t bestAfter = 0;
      bool bestForward = true;
      auto consider = [&](std::uint32_t c, bool forward) {
        std::uint32_t d = next(c);
        if (inside(c) || inside(d) || c == p) return;
        double add = forward ? link(c, first) + link(last, d) : exits(c, last) + entries(first, d);
        double delta = add - link(c, d) - remove;
        if (delta < best) best = delta, bestAfter = c, bestForward = forward;
      };
      for (int side = 0; side < 2; ++side) {
        const std::uint32_t end = side == 0 ? entryEnd(first) : exitEnd(last);
        const std::uint32_t* near = neighbours(end);
        for (std::size_t k = 0; k < kNeighbours && near[k] != UINT32_MAX; ++k) {
          --*work;
          std::uint32_t e = near[k], x = e / 2;
          if (Distance(ends[end], ends[e]) >= remove) break;
          // Near the stretch's entry: a path to leave from (forward) or to
          // go on to (reversed); near its exit the other way round.
          if (isExit(e)) consider(x, side == 0);
          if (isEntry(e)) consider(prev(x), side == 1);
        }
      }
      if (best >= -1e-9) continue;
      const std::size_t k = pos[bestAfter];
      const std::size_t ahead = (k + size - j) % size, behind = (i + size - k - 1) % size;
      const std::size_t span = std::min(ahead, behind) + length;
      if (span > reach || 2 * span >= size) continue;
      std::uint32_t d = next(bestAfter);
      if (ahead <= behind) {
        logged(i, k);
        logged(i, i + ahead - 1);
        if (bestForward) logged(i + ahead, k);
      } else {
        logged(k + 1, j);
        logged(k + 1 + length, j);
        if (bestForward) logged(k + 1, k + length);
      }
      for (std::uint32_t t : {p, q, first, last, bestAfter, d}) wake(t);
      return best;
    }
    return 0;
  };
  // Segment insertion: the road leaves `a` for a path x near it and comes
  // back to a's old successor from the end y of the stretch x..y, which
  // moves x..y, however long, between them as it runs (the blocks
  // succ..prev(x) and x..y change places). Of the three pairs of blocks
  // of the cycle that could be swapped for it, the shortest pair is.
  auto Insert = [&](std::uint32_t a) -> double {
    const std::uint32_t succ = next(a);
    const double cut = link(a, succ);
    if (cut <= 1e-9) return 0;
    const std::size_t origin = pos[succ];
    auto at = [&](std::uint32_t t) { return (pos[t] + size - origin) % size; };
    double best = -1e-9;
    std::uint32_t bx = 0, by = 0;
    const std::uint32_t* near = neighbours(exitEnd(a));
    for (std::size_t k = 0; k < kNeighbours && near[k] != UINT32_MAX; ++k) {
      --*work;
      const std::uint32_t c = near[k], x = c / 2;
      const double g = Distance(exit(a), ends[c]);
      if (g >= cut) break;
      if (!isEntry(c) || x == succ || x == a) continue;
      const std::uint32_t px = prev(x);
      const double gain = cut + link(px, x) - g;
      if (gain <= 1e-9) continue;
      const std::size_t rx = at(x);
      const std::uint32_t* back = neighbours(entryEnd(succ));
      for (std::size_t m = 0; m < kNeighbours && back[m] != UINT32_MAX; ++m) {
        --*work;
        const std::uint32_t e = back[m], y = e / 2;
        const double h = Distance(ends[e], entry(succ));
        if (h >= gain) break;
        if (!isExit(e) || y == a || at(y) < rx) continue;
        const std::uint32_t ny = next(y);
        const double delta = h + link(px, ny) - link(y, ny) - gain;
        if (delta < best) best = delta, bx = x, by = y;
      }
    }
    if (best >= -1e-9) return 0;
    const std::uint32_t px = prev(bx), ny = next(by);
    const std::size_t lb = at(bx), lc = at(by) - lb + 1, ld = size - lb - lc;
    // Blocks B = succ..prev(x), C = x..y, D = the rest: B C D becomes C B D,
    // which is B D C and D C B read from another place.
    std::size_t s = origin, l1 = lb, l2 = lc;
    if (lc + ld < l1 + l2) s = origin + lb, l1 = lc, l2 = ld;
    if (ld + lb < l1 + l2) s = origin + lb + lc, l1 = ld, l2 = lb;
    if (l1 + l2 > reach || 2 * (l1 + l2) > size) return 0;
    logged(s, s + l1 + l2 - 1);
    logged(s, s + l2 - 1);
    logged(s + l2, s + l1 + l2 - 1);
    for (std::uint32_t t : {a, succ, bx, px, by, ny}) wake(t);
    return best;
  };
  auto settle = [&] {
    double gained = 0;
    while (!queue.empty() && *work > 0) {
      std::uint32_t a = queue.front();
      queue.pop_front();
      queued[a] = 0;
      // The best move that removes the link behind `a` (a then its
      // successor) or before it (its predecessor then a).
      double best = -1e-9;
      std::size_t bi = 0, bj = 0;
      std::uint32_t touched[4] = {};
      std::uint32_t succ = next(a), pred = prev(a);
      double after = link(a, succ), before = link(pred, a);
      const std::uint32_t* near = neighbours(exitEnd(a));
      for (std::size_t k = 0; k <= kNeighbours; ++k) {
        // The last candidate is the free end: it may end the road at `a`.
        std::uint32_t c = k < kNeighbours ? near[k] : 2 * freeEnd;
        if (c == UINT32_MAX) continue;
        std::uint32_t path = c / 2;
        --*work;
        double g = path == freeEnd ? 0.0 : Distance(exit(a), ends[c]);
        if (g >= after) {
          if (k < kNeighbours) k = kNeighbours - 1;  // the list is sorted: on to the free end
          continue;
        }
        if (path != freeEnd && !isExit(c)) continue;
        if (path == a || path == succ) continue;
        std::uint32_t d = next(path);
        double delta = g + entries(succ, d) - after - link(path, d);
        if (delta < best)
          best = delta, bi = (pos[a] + 1) % size, bj = pos[path], touched[0] = a, touched[1] = succ,
          touched[2] = path, touched[3] = d;
      }
      near = neighbours(entryEnd(a));
      for (std::size_t k = 0; k <= kNeighbours; ++k) {
        std::uint32_t c = k < kNeighbours ? near[k] : 2 * freeEnd;
        if (c == UINT32_MAX) continue;
        std::uint32_t path = c / 2;
        --*work;
        double g = path == freeEnd ? 0.0 : Distance(entry(a), ends[c]);
        if (g >= before) {
          if (k < kNeighbours) k = kNeighbours - 1;
          continue;
        }
        if (path != freeEnd && !isEntry(c)) continue;
        if (path == a || path == pred) continue;
        std::uint32_t p = prev(path);
        double delta = g + exits(pred, p) - before - link(p, path);
        if (delta < best)
          best = delta, bi = pos[a], bj = pos[p], touched[0] = a, touched[1] = pred,
          touched[2] = path, touched[3] = p;
      }
      if (best < -1e-9 && within(bi, bj)) {
        reverse(bi, bj);
        if (log != nullptr) log->push_back({bi, bj});
        gained += best;
        for (std::uint32_t t : touched) wake(t);
        continue;
      }
      const double moved = Move(a);
      gained += moved < 0 ? moved : Insert(a);
    }
    return gained;
  };
  settle();

  // Then kicks, as long as the budget lasts (and at most a few per path):
  // two neighbouring stretches of the road swap places, the road settles
  // around them, and the change stays only if the road came out shorter.
  // The stretches are short, so a kick costs little however long the road.
  std::uint64_t seed = 0x9E3779B97F4A7C15u;
  auto random = [&](std::size_t below) {
    seed = seed * 6364136223846793005u + 1442695040888963407u;
    return static_cast<std::size_t>((seed >> 33) % below);
  };
  const std::size_t longest = std::min<std::size_t>(50, (size - 2) / 3);
  std::vector<std::pair<std::size_t, std::size_t>> reversals;
  std::vector<std::uint32_t> window;
  const std::size_t kicks = 50 * n;
  // What a last pass over the whole road costs: a few lists' worth a path.
  const long long last = 100 * static_cast<long long>(n);
  for (std::size_t kick = 0; kick < kicks && longest >= 1 && *work > last; ++kick) {
    std::size_t p = random(size), l1 = 1 + random(longest), l2 = 1 + random(longest);
    auto at = [&](std::size_t k) { return tour[(p + k) % size]; };
    std::uint32_t t0 = at(0), b0 = at(1), b1 = at(l1), c0 = at(l1 + 1), c1 = at(l1 + l2),
                  t1 = at(l1 + l2 + 1);
    double delta =
        link(t0, c0) + link(c1, b0) + link(b1, t1) - link(t0, b0) - link(b1, c0) - link(c1, t1);
    window.clear();
    for (std::size_t k = 1; k <= l1 + l2; ++k) window.push_back(at(k));
    auto place = [&](const std::vector<std::uint32_t>& order) {
      for (std::size_t k = 0; k < order.size(); ++k) {
        std::size_t slot = (p + 1 + k) % size;
        tour[slot] = order[k];
        pos[order[k]] = static_cast<std::uint32_t>(slot);
      }
    };
    std::vector<std::uint32_t> swapped(window.begin() + static_cast<long>(l1), window.end());
    swapped.insert(swapped.end(), window.begin(), window.begin() + static_cast<long>(l1));
    place(swapped);
    *work -= static_cast<long long>(l1 + l2);
    for (std::uint32_t t : {t0, b0, b1, c0, c1, t1}) wake(t);
    reversals.clear();
    log = &reversals;
    reach = 4 * longest;
    delta += settle();
    log = nullptr;
    if (delta < -1e-9) continue;
    // Not shorter: undo the reversals, last first, then the swap.
    for (auto r = reversals.rbegin(); r != reversals.rend(); ++r) reverse(r->first, r->second);
    place(window);
    while (!queue.empty()) queued[queue.front()] = 0, queue.pop_front();
  }
  // The kicks mend the road near them only; a last pass finds the moves
  // that reach farther, which the kicks' changes may have opened.
  reach = size;
  for (std::uint32_t a = 0; a < n; ++a) wake(a);
  settle();
  // The road: the cycle of paths opened where leaving out one link and
  // coming from where the pen stands costs least, in either direction.
  std::vector<std::uint32_t> ring;
  for (std::size_t k = 1; k < size; ++k) ring.push_back(tour[(pos[freeEnd] + k) % size]);
  const std::size_t m = ring.size();
  double best = INFINITY;
  std::size_t cut = 0;
  bool backwards = false;
  for (std::size_t k = 0; k < m; ++k) {
    std::uint32_t u = ring[(k + m - 1) % m], v = ring[k];
    double forward = Distance(from, entry(v)) - link(u, v),
           backward = Distance(from, exit(u)) - link(u, v);
    if (forward < best) best = forward, cut = k, backwards = false;
    if (backward < best) best = backward, cut = k, backwards = true;
  }
  items->clear();
  for (std::size_t k = 0; k < m; ++k) items->push_back(node[ring[(cut + k) % m]]);
  if (backwards) {
    std::reverse(items->begin(), items->end());
    for (Item& i : *items) i.reversed = !i.loop && !i.reversed;
  }
}

void Order::ChooseEntries(std::vector<Item>* items, Point from) const {
  // A loop is entered where coming from the last exit and going on to the
  // next entry is shortest together; two passes let neighbouring loops
  // settle on each other.
  for (int pass = 0; pass < 2; ++pass) {
    Point at = from;
    for (std::size_t k = 0; k < items->size(); ++k) {
      Item& i = (*items)[k];
      if (i.loop) {
        bool last = k + 1 == items->size();
        Point to = last ? at : Entry((*items)[k + 1]);
        const auto& v = paths_[i.path].points;
        double best = INFINITY;
        for (std::uint32_t e = 0; e + 1 < v.size(); ++e) {
          double d = Distance(at, v[e]) + (last ? 0.0 : Distance(v[e], to));
          if (d < best) best = d, i.entry = e;
        }
      }
      at = Exit(i);
    }
  }
}

std::vector<Path> Apply(std::vector<Path>* paths, const std::vector<Item>& items) {
  std::vector<Path> out;
  out.reserve(items.size());
  for (const Item& i : items) {
    Path p = std::move((*paths)[i.path]);
    if (i.loop && i.entry != 0) {
      p.points.pop_back();
      std::rotate(p.points.begin(), p.points.begin() + i.entry, p.points.end());
      p.points.push_back(p.points.front());
    } else if (i.reversed) {
      std::reverse(p.points.begin(), p.points.end());
    }
    out.push_back(std::move(p));
  }
  return out;
}

}  // namespace konib::plan
