// Fills: the hatching geometry, the choice of what becomes of fills, and
// the pens and outlines of filled shapes.
#include "fill/fill.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "job/job.h"

namespace konib::fill {
namespace {

Ring Box(double x0, double y0, double x1, double y1) {
  return {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}};
}

Ring Reversed(Ring r) { return Ring(r.rbegin(), r.rend()); }

// A regular polygon, or a star when `skip` > 1: point i joined to i + skip.
Ring Star(int points, int skip, double r) {
  Ring ring;
  for (int i = 0; i < points; ++i) {
    double a = 2 * 3.14159265358979 * (i * skip % points) / points + 0.3;
    ring.push_back({r * std::cos(a), r * std::sin(a)});
  }
  return ring;
}

// Even-odd inside test, for checking where the ink went.
bool Inside(const std::vector<Ring>& rings, plan::Point p) {
  bool in = false;
  for (const Ring& r : rings)
    for (std::size_t i = 0, j = r.size() - 1; i < r.size(); j = i++)
      if ((r[i].y > p.y) != (r[j].y > p.y) &&
          p.x < r[j].x + (r[i].x - r[j].x) * (p.y - r[j].y) / (r[i].y - r[j].y))
        in = !in;
  return in;
}

// How far q is from the piece a-b.
double Distance(plan::Point q, plan::Point a, plan::Point b) {
  double dx = b.x - a.x, dy = b.y - a.y;
  double t =
      std::max(0.0, std::min(1.0, ((q.x - a.x) * dx + (q.y - a.y) * dy) / (dx * dx + dy * dy)));
  return std::hypot(q.x - a.x - t * dx, q.y - a.y - t * dy);
}

plan::Point Along(plan::Point a, plan::Point b, double f) {
  return {a.x + f * (b.x - a.x), a.y + f * (b.y - a.y)};
}

// Whether p lies in the area (even-odd) or within `slack` of its outline.
bool Within(const std::vector<Ring>& rings, plan::Point p, double slack) {
  if (Inside(rings, p)) return true;
  for (const Ring& r : rings)
    for (std::size_t i = 0, j = r.size() - 1; i < r.size(); j = i++)
      if (Distance(p, r[j], r[i]) <= slack + 1e-6) return true;
  return false;
}

// Hatching at pitch 1: lines, pieces of lines and strokes (0: not asked),
// a point that no piece comes within half a pitch of (a hole) and one that
// a piece does, and the area that the strokes stay in.
TEST(Hatch, LinesStrokesAndWhereTheyLie) {
  const plan::Point none{1e9, 1e9};
  struct Counts {
    std::size_t areas, lines, pieces, strokes;
  };
  struct Case {
    const char* what;
    std::vector<Ring> rings;
    bool evenOdd;
    double angle;
    Counts counts;
    plan::Point bare;
    plan::Point inked;
    double reach;  // how near `inked` a piece passes: 0, on it; else within half a pitch
    std::vector<Ring> area;
  };
  const Ring square = Box(0, 0, 10, 10), hole = Box(3, 3, 7, 7), band = Box(0, 0, 10, 0.3);
  const Ring tall = Box(0, 0, 10, 10.5), frame = Box(2, 2, 8, 8), island = Box(4, 4, 6, 6);
  // clang-format off
  const Case cases[] = {
      {"square: ten lines, one zigzag", {square}, false, 0, {1, 10, 10, 1},
       none, {5, 0.5}, 0, {square}},
      {"10.5 high: eleven lines, centred", {tall}, false, 0, {1, 11, 11, 1},
       {5, 10.8}, {5, 0.25}, 0, {tall}},
      {"a band thinner than the pitch: one line", {band}, false, 0, {1, 1, 1, 1},
       none, {5, 0.15}, 0, {band}},
      {"hole of a reversed ring stays bare", {square, Reversed(hole)}, false, 0, {1, 10, 14, 2},
       {5, 5.5}, {1, 5.5}, 0, {square, hole}},
      {"same-way ring: nonzero fills it", {square, hole}, false, 0, {1, 10, 10, 1},
       none, {5, 5.5}, 0, {square}},
      {"same-way ring: evenodd leaves it bare", {square, hole}, true, 0, {1, 10, 14, 2},
       {5, 5.5}, {1, 5.5}, 0, {square, hole}},
      {"island in a hole: two areas", {square, frame, island}, true, 0, {2, 12, 18, 3},
       {3, 5.5}, {5, 5.5}, 0, {square, frame, island}},
      {"pentagram by nonzero: the middle is filled", {Star(5, 2, 10)}, false, 0, {1, 19, 0, 0},
       none, {0, 0.5}, 0.5, {Star(5, 1, 10)}},
      // Clipper's union keeps tips that touch at a corner in one outline.
      {"pentagram by evenodd: the middle is bare", {Star(5, 2, 10)}, true, 0, {2, 31, 0, 0},
       {0, 0.5}, {9.5, 3}, 0.5, {Star(5, 2, 10)}},
      {"convex octagon at 30 degrees: one stroke", {Star(8, 1, 10)}, false, 30, {1, 20, 20, 1},
       none, {0, 0}, 0.5, {Star(8, 1, 10)}},
      {"disc of 64 sides at 45 degrees: one stroke", {Star(64, 1, 7)}, false, 45, {1, 14, 14, 1},
       none, {0, 0}, 0.5, {Star(64, 1, 7)}},
  };
  // clang-format on
  for (const Case& c : cases) {
    std::vector<plan::Path> paths;
    Tally tally;
    ASSERT_TRUE(HatchRings(c.rings, c.evenOdd, 3, 1.0, c.angle, &paths, &tally)) << c.what;
    std::size_t pieces = 0;
    bool bare = true, inked = false, inside = true;
    for (const plan::Path& p : paths) {
      EXPECT_EQ(p.pen, 3);
      ASSERT_EQ(p.points.size() % 2, 0u) << c.what;
      pieces += p.points.size() / 2;
      // Pieces and the turns between them stay in the area, or within the
      // quarter pitch that a turn may cut across a bend.
      for (std::size_t i = 0; i + 1 < p.points.size(); ++i)
        for (int f = 1; f < 16; ++f)
          inside = inside && Within(c.area, Along(p.points[i], p.points[i + 1], f / 16.0), 0.25);
      for (std::size_t i = 0; i + 1 < p.points.size(); i += 2) {
        bare = bare && Distance(c.bare, p.points[i], p.points[i + 1]) >= 0.5;
        inked = inked || Distance(c.inked, p.points[i], p.points[i + 1]) <= c.reach + 1e-6;
      }
    }
    EXPECT_EQ(tally.areas, c.counts.areas) << c.what;
    EXPECT_EQ(tally.lines, c.counts.lines) << c.what;
    if (c.counts.pieces != 0) {
      EXPECT_EQ(pieces, c.counts.pieces) << c.what;
    }
    if (c.counts.strokes != 0) {
      EXPECT_EQ(tally.strokes, c.counts.strokes) << c.what;
    }
    EXPECT_EQ(paths.size(), tally.strokes) << c.what;
    EXPECT_TRUE(bare) << c.what;
    EXPECT_TRUE(inked) << c.what;
    EXPECT_TRUE(inside) << c.what;
  }
}

TEST(Hatch, RefusesWhatWouldTakeTooManyLines) {
  std::vector<plan::Path> paths;
  Tally tally;
  EXPECT_FALSE(HatchRings({Box(0, 0, 10, 10)}, false, 1, 0.1, 0, &paths, &tally, 99));
  EXPECT_TRUE(paths.empty());
  EXPECT_TRUE(HatchRings({Box(0, 0, 10, 10)}, false, 1, 0.1, 0, &paths, &tally, 100));
  EXPECT_EQ(tally.lines, 100u);
}

TEST(Decide, ModeAndPitchFromRequestAndModel) {
  const std::string text = "[Pens]\r\nKonib.PenWidth=0.3\r\n[Bare]\r\nStep=0.1\r\n";
  tool::ModelList withWidth, without;
  withWidth.list =
      NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()), nullptr, 0, "Pens");
  without.list =
      NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()), nullptr, 0, "Bare");
  ASSERT_NE(withWidth.list, nullptr);
  ASSERT_NE(without.list, nullptr);
  struct Case {
    const char* what;
    Request request;
    bool width;
    bool ok;
    Mode mode;
    double pitch;
    std::string message;
  };
  const std::string noWidth =
      "--fill hatch: the model gives no pen width (Konib.PenWidth); give --pen-width or "
      "--hatch-pitch";
  // clang-format off
  const Case cases[] = {
      {"model width: hatch", {}, true, true, Mode::kHatch, 0.27, ""},
      {"no width: outline", {}, false, true, Mode::kOutline, 0, ""},
      {"--pen-width", {"cross", false, 0, 45, 0.5}, false, true, Mode::kCross, 0.45, ""},
      {"--hatch-pitch", {"", false, 1, 45, 0}, false, true, Mode::kHatch, 1, ""},
      {"--fill none", {"none"}, true, true, Mode::kNone, 0, ""},
      {"hatch without a width", {"hatch"}, false, false, Mode::kOutline, 0, noWidth},
      {"pitch out of range", {"", false, 0.001}, true, false, Mode::kOutline, 0,
       "--hatch-pitch: give millimetres from 0.01 to 100"},
      {"bad paper", {"", false, 0, 45, 0, "none"}, true, false, Mode::kOutline, 0,
       "--paper-colour none: not a colour"},
  };
  // clang-format on
  for (const Case& c : cases) {
    Settings s;
    std::string message;
    ASSERT_EQ(Decide(c.request, c.width ? withWidth : without, &s, &message), c.ok) << c.what;
    EXPECT_EQ(message, c.message) << c.what;
    if (!c.ok) continue;
    EXPECT_EQ(s.mode, c.mode) << c.what;
    EXPECT_NEAR(s.pitch, c.pitch, 1e-12) << c.what;
  }
  // What is hatched: a fill that shows on the paper.
  Settings s;
  std::string message;
  ASSERT_TRUE(Decide({"", false, 0, 45, 0, "#FFFFF0"}, withWidth, &s, &message));
  svg::Shape shape{"#000000", {}, 1, "", "#000000", false};
  EXPECT_TRUE(s.Hatches(shape));
  shape.fill = "#fffff0";
  EXPECT_FALSE(s.Hatches(shape));
  shape.fill = "";
  EXPECT_FALSE(s.Hatches(shape));
  EXPECT_FALSE(s.OutlinesFills());
}

TEST(Fills, PensForFillsAndNoOutlineOfAHatchedFill) {
  svg::Drawing d;
  d.width = d.height = 10;
  const svg::Subpath square{{1, 1}, {{false, {}, {}, {9, 1}}, {false, {}, {}, {9, 9}}}};
  d.shapes.push_back({"#ff0000", {square}, 1, "#ff0000", "#0000ff", false});  // stroked, filled
  d.shapes.push_back({"#00ff00", {square}, 2, "#00ff00", "", false});         // stroked
  d.shapes.push_back({"#ffffff", {square}, 3, "", "#ffffff", false});         // paper colour
  d.shapes.push_back({"#000000", {square}, 4, "", "#000000", false});         // filled
  Settings hatch;
  std::string message;
  tool::ModelList model;
  ASSERT_TRUE(Decide({"hatch", false, 1}, model, &hatch, &message)) << message;
  std::map<std::string, int> pens;
  ASSERT_TRUE(job::AssignPens(d, {}, &pens, &message,
                              [&](const svg::Shape& s) { return hatch.Hatches(s); }));
  const std::map<std::string, int> expected{
      {"#ff0000", 1}, {"#0000ff", 2}, {"#00ff00", 3}, {"#ffffff", 4}, {"#000000", 5}};
  EXPECT_EQ(pens, expected);
  job::Placement place{1, 0, 0, false, 10};
  job::Work work = job::Lay(d, pens, place, hatch.OutlinesFills());
  ASSERT_EQ(work.paths.size(), 2u);  // the strokes alone
  EXPECT_EQ(work.paths[0].pen, 1);
  EXPECT_EQ(work.paths[1].pen, 3);
  EXPECT_EQ(job::Lay(d, pens, place, true).paths.size(), 4u);
  std::vector<plan::Path> hatches;
  Tally tally;
  ASSERT_TRUE(Hatch(d, pens, place, hatch, &hatches, &tally, &message));
  EXPECT_EQ(tally.areas, 2u);  // the blue and the black fill; white is paper
  ASSERT_EQ(hatches.size(), 2u);
  EXPECT_EQ(hatches[0].pen, 2);
  EXPECT_EQ(hatches[1].pen, 5);
}

}  // namespace
}  // namespace konib::fill
