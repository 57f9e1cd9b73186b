// Private to plan/: the ordering of one pen's paths.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "plan/plan.h"

namespace konib::plan {

inline double Distance(Point a, Point b) {
  return std::sqrt((a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y));
}

// A loop: its last point is its first, so it may be entered at any vertex.
inline bool IsLoop(const Path& p) {
  return p.points.size() > 3 && Distance(p.points.front(), p.points.back()) <= 1e-9;
}

// One path in an order: an open path entered at its front, or at its back
// (reversed); a loop entered and left at vertex `entry`.
struct Item {
  std::uint32_t path;
  std::uint32_t entry;
  bool reversed;
  bool loop;
};

struct Stops;

// The paths being ordered and the road through them.
class Order {
 public:
  Order(const std::vector<Path>& paths, bool chooseEntry);
  Point Entry(const Item& i) const;
  Point Exit(const Item& i) const;
  double Cost(const std::vector<Item>& items, Point from) const;

  // Greedy nearest neighbour with reversal from `from`; loops entered at
  // their nearest vertex when entries are chosen, else at their start.
  std::vector<Item> Greedy(Point from) const;
  // Shortest links first: the nearest pairs of path ends are linked, the
  // shortest pair first, wherever neither end is linked yet and the link
  // closes no circle; the chains this leaves are then joined nearest first
  // from `from`, as Greedy joins paths.
  std::vector<Item> ShortestLinks(Point from) const;
  // 2-opt with neighbour lists on the road, spending at most `*work` units
  // (each a few nanoseconds); then the direction that starts nearer `from`.
  void Improve(std::vector<Item>* items, Point from, long long* work) const;
  // Each loop entered at the vertex that shortens the road most.
  void ChooseEntries(std::vector<Item>* items, Point from) const;

  // How many of the paths are loops entered anywhere.
  std::size_t Loops() const;

  // The paths in `order` (indices), each as it stands.
  std::vector<Item> AsGiven(const std::vector<std::uint32_t>& order) const;

 private:
  Stops StopsOf() const;

  const std::vector<Path>& paths_;
  std::vector<std::uint8_t> loop_;  // entered anywhere: a loop, when entries are chosen
};

// Writes the paths of `items` in their order and direction.
std::vector<Path> Apply(std::vector<Path>* paths, const std::vector<Item>& items);

}  // namespace konib::plan
