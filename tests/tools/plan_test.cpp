// konib's planner: orders with a known best, joins, loop entries, no ink
// lost or doubled, the same plan every time, resuming, the estimate, and
// a library that passes over konib's own model keys.
#include "plan/plan.h"

#include <KoNib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "job/job.h"
#include "model/model.h"
#include "plan/order.h"

namespace konib::plan {
namespace {

using Points = std::vector<Point>;

// Paths as values that compare and print.
using Flattened = std::vector<std::pair<int, std::vector<std::pair<double, double>>>>;
Flattened Flat(const std::vector<Path>& paths) {
  Flattened out;
  for (const Path& p : paths) {
    out.push_back({p.pen, {}});
    for (const Point& q : p.points) out.back().second.push_back({q.x, q.y});
  }
  return out;
}

TEST(Plan, SmallDrawingsWithAKnownBestOrder) {
  struct Case {
    const char* name;
    std::vector<Path> given;
    std::vector<Path> planned;
    double travel;
  } cases[] = {
      {"strokes along a line, two of them reversed",
       {{1, {{29, 0}, {21, 0}}}, {1, {{1, 0}, {9, 0}}}, {1, {{19, 0}, {11, 0}}}},
       {{1, {{1, 0}, {9, 0}}}, {1, {{11, 0}, {19, 0}}}, {1, {{21, 0}, {29, 0}}}},
       5},
      {"each pen once, pens by number",
       {{2, {{1, 0}, {2, 0}}}, {1, {{5, 0}, {6, 0}}}, {2, {{3, 0}, {4, 0}}}, {1, {{7, 0}, {8, 0}}}},
       {{1, {{5, 0}, {6, 0}}}, {1, {{7, 0}, {8, 0}}}, {2, {{4, 0}, {3, 0}}}, {2, {{2, 0}, {1, 0}}}},
       5 + 1 + 4 + 1},
      {"ends that meet exactly join without a doubled point; the other way round too",
       {{1, {{10, 0}, {20, 0}}}, {1, {{30, 0}, {20, 0}}}, {1, {{10, 0}, {5, 5}}}},
       {{1, {{5, 5}, {10, 0}, {20, 0}, {30, 0}}}},
       std::hypot(5, 5)},
      {"ends within the tolerance join with their short gap drawn",
       {{1, {{1, 0}, {10, 0}}}, {1, {{20, 0}, {10.03, 0}}}},
       {{1, {{1, 0}, {10, 0}, {10.03, 0}, {20, 0}}}},
       1},
      {"ends beyond the tolerance stay apart",
       {{1, {{1, 0}, {10, 0}}}, {1, {{20, 0}, {10.1, 0}}}},
       {{1, {{1, 0}, {10, 0}}}, {1, {{10.1, 0}, {20, 0}}}},
       1.1},
      {"a closed loop is entered at the vertex nearest the pen",
       {{1, {{110, 10}, {100, 10}, {100, 0}, {110, 0}, {110, 10}}}},
       {{1, {{100, 0}, {110, 0}, {110, 10}, {100, 10}, {100, 0}}}},
       100},
      {"a loop between two strokes is entered at its corner nearest the road",
       {{1, {{0, 50}, {0, 60}}},
        {1, {{30, 80}, {30, 70}, {20, 70}, {20, 80}, {30, 80}}},
        {1, {{40, 60}, {40, 50}}}},
       {{1, {{0, 50}, {0, 60}}},
        {1, {{20, 70}, {20, 80}, {30, 80}, {30, 70}, {20, 70}}},
        {1, {{40, 60}, {40, 50}}}},
       50 + 2 * std::hypot(20, 10)},
  };
  for (const Case& c : cases) {
    std::vector<Path> paths = c.given;
    Figures f = Plan(&paths, {});
    EXPECT_EQ(Flat(paths), Flat(c.planned)) << c.name;
    EXPECT_NEAR(f.travel, c.travel, 1e-9) << c.name;
  }
}

TEST(Plan, TheFirstRoadLinksTheShortestPairsOfEnds) {
  using Road = std::vector<std::tuple<std::uint32_t, std::uint32_t, bool>>;
  struct Case {
    const char* name;
    std::vector<Path> paths;
    Point from;
    Road road;  // path, loop entry, reversed
  } cases[] = {
      // Nearest first would start at (10, 0) and leave the stroke at 4 behind.
      {"a row is walked from its end nearer the pen, each stroke turned to follow",
       {{1, {{10, 0}, {12, 0}}}, {1, {{16, 0}, {14, 0}}}, {1, {{4, 0}, {6, 0}}}},
       {9, 5},
       {{2, 0, false}, {0, 0, false}, {1, 0, true}}},
      // Three links of one length: the third would close a circle.
      {"no link closes a circle",
       {{1, {{0, 0}, {10, 0}}}, {1, {{10, 1}, {5, 9}}}, {1, {{5, 10}, {0, 1}}}},
       {5, 20},
       {{2, 0, false}, {0, 0, false}, {1, 0, false}}},
      // The loop is linked first at its corner (20, 0); the stroke on its
      // right must come to that corner too, not to the nearer (20, 4).
      {"a loop is entered and left at the vertex of its first link",
       {{1, {{0, 0}, {19, 0}}},
        {1, {{20, 0}, {24, 0}, {24, 4}, {20, 4}, {20, 0}}},
        {1, {{21.5, 4}, {40, 4}}}},
       {0, 0},
       {{0, 0, false}, {1, 0, false}, {2, 0, false}}},
  };
  for (const Case& c : cases) {
    Road road;
    for (const Item& i : Order(c.paths, true).ShortestLinks(c.from))
      road.emplace_back(i.path, i.entry, i.reversed);
    EXPECT_EQ(road, c.road) << c.name;
  }
}

TEST(Plan, DocumentOrderKeepsEverythingAsItWas) {
  std::vector<Path> given{{2, {{9, 9}, {1, 1}}}, {1, {{5, 5}}}, {1, {{2, 2}, {3, 3}}}};
  std::vector<Path> paths = given;
  Options document;
  document.documentOrder = true;
  Figures f = Plan(&paths, document);
  EXPECT_EQ(Flat(paths), Flat(given));
  EXPECT_EQ(f.penChanges, 2u);
  EXPECT_EQ(f.lifts, 2u);
  EXPECT_DOUBLE_EQ(f.travel, f.documentTravel);
}

// Random drawings of every kind the planner meets: short strokes, chains
// whose pieces share their ends, and closed loops, in four pens.
std::vector<Path> RandomDrawing(unsigned seed, std::size_t n) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> at(0, 300), step(-8, 8);
  std::vector<Path> paths;
  while (paths.size() < n) {
    int pen = 1 + static_cast<int>(random() % 4);
    Point p{at(random), at(random)};
    switch (random() % 3) {
      case 0:
        paths.push_back({pen, {p, {p.x + step(random), p.y + step(random)}}});
        break;
      case 1:
        for (int k = 0; k < 3; ++k) {
          Point q{p.x + step(random), p.y + step(random)};
          paths.push_back({pen, random() % 2 ? Points{p, q} : Points{q, p}});
          p = q;
        }
        break;
      default:
        paths.push_back({pen, {p, {p.x + 5, p.y}, {p.x + 5, p.y + 4}, {p.x, p.y + 4}, p}});
    }
  }
  return paths;
}

using Segment = std::tuple<double, double, double, double>;
std::vector<Segment> Segments(const std::vector<Path>& paths) {
  std::vector<Segment> out;
  for (const Path& p : paths)
    for (std::size_t i = 1; i < p.points.size(); ++i) {
      Segment a{p.points[i - 1].x, p.points[i - 1].y, p.points[i].x, p.points[i].y};
      Segment b{p.points[i].x, p.points[i].y, p.points[i - 1].x, p.points[i - 1].y};
      out.push_back(std::min(a, b));
    }
  std::sort(out.begin(), out.end());
  return out;
}

TEST(Plan, NoInkLostOrDoubledOnRandomDrawings) {
  // Seeds and sizes; in the first, pens of a few paths each come out longer
  // from their shortest links than nearest first.
  std::vector<std::pair<unsigned, std::size_t>> drawings{{7, 60}};
  for (unsigned seed = 1; seed <= 20; ++seed) drawings.push_back({seed, 50 * seed});
  // A budget with kicks, but few; and none, where no road may be longer
  // than nearest first.
  for (double budget : {0.02, 0.0})
    for (const auto& [seed, n] : drawings) {
      std::vector<Path> given = RandomDrawing(seed, n), paths = given;
      Options quick;
      quick.planTime = budget;
      Figures f = Plan(&paths, quick);
      double document = PenDown(given);
      EXPECT_NEAR(f.penDown, document, document * 1e-3) << seed;
      EXPECT_EQ(Segments(paths), Segments(given)) << seed;
      EXPECT_EQ(f.penChanges, 4u) << seed;
      EXPECT_EQ(f.pens, 4u) << seed;
      EXPECT_LE(f.travel, f.documentTravel) << seed;
      EXPECT_LE(f.travel, Travel(Greedy(given)) + 1e-9) << seed;
      EXPECT_LT(f.lifts, f.documentLifts) << seed;  // the chains joined
    }
}

TEST(Plan, AnAstronomicPageLosesNoPath) {
  // Distances overflow to infinity: no order is better than another, and
  // every path must still be drawn once.
  std::vector<Path> given{{1, {{-1e300, 0}, {1e300, 0}}},
                          {1, {{1e300, 1e300}, {-1e300, -1e300}}},
                          {1, {{0, 0}, {1e300, 0}, {1e300, 1e300}, {0, 0}}}},
      paths = given;
  Plan(&paths, {});
  EXPECT_EQ(Segments(paths), Segments(given));
}

TEST(Plan, SameInputSamePlan) {
  std::vector<Path> given = RandomDrawing(99, 3000);
  for (double budget : {0.0, 0.001, 0.05}) {
    Options o;
    o.planTime = budget;
    std::vector<Path> a = given, b = given;
    Plan(&a, o);
    Plan(&b, o);
    EXPECT_EQ(Flat(a), Flat(b)) << budget;
  }
}

std::string Text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// A model text taken in through NibGetRegistry2, as konib does.
struct Model : tool::ModelList {
  explicit Model(const std::string& text) {
    list = NibGetRegistry2(text.data(), static_cast<uint32_t>(text.size()), nullptr, 0,
                           "HP-GL A3 Pen Plotter");
  }
};

std::string EmitBytes(const job::Work& work, const std::string& modelText,
                      std::vector<std::size_t>* starts = nullptr) {
  Model model(modelText);
  job::Paper paper;
  std::string message, bytes;
  EXPECT_TRUE(job::ChoosePaper(model, "", &paper, &message));
  EXPECT_TRUE(job::Emit(work, model, paper, &bytes, starts));
  return bytes;
}

TEST(Plan, TheLibraryPassesOverKonibKeys) {
  std::string with = Text(KONIB_MODELS "/hpgl.ini"), without;
  std::istringstream lines(with);
  for (std::string line; std::getline(lines, line);)
    if (line.rfind("Konib.", 0) != 0) without += line + "\n";
  ASSERT_NE(with, without);  // the bundled model carries them
  Model model(with);
  std::string message;
  Machine m = MachineOf(model, &message);
  EXPECT_EQ(message, "");
  EXPECT_EQ(std::make_tuple(m.penDownSpeed, m.penUpSpeed, m.penChangeTime),
            std::make_tuple(100.0, 380.0, 4.0));
  job::Work work{RandomDrawing(5, 40), {{2, {50, 50}, 5, 0, "KoNib"}}};
  EXPECT_EQ(EmitBytes(work, with), EmitBytes(work, without));
}

TEST(Plan, EachPensLabelsFollowItsPaths) {
  job::Work work{
      {{1, {{10, 10}, {20, 10}}}, {2, {{30, 30}, {40, 30}}}}, {{1, {50, 50}, 5, 0, "ONE"}}, true};
  std::string text = Text(KONIB_MODELS "/hpgl.ini"), bytes = EmitBytes(work, text);
  EXPECT_LT(bytes.find("LBONE"), bytes.find("SP2;"));
  work.labelsWithPens = false;
  bytes = EmitBytes(work, text);
  EXPECT_GT(bytes.find("LBONE"), bytes.find("SP2;"));
}

TEST(Plan, ResumingPlotsTheTailOfThePlan) {
  // Pens alternate, so that every path starts with its pen and a move.
  job::Work work;
  for (int k = 0; k < 6; ++k)
    work.paths.push_back({1 + k % 2, {{10.0 * k, 5}, {10.0 * k + 5, 5}, {10.0 * k + 5, 9}}});
  std::string text = Text(KONIB_MODELS "/hpgl.ini");
  std::vector<std::size_t> starts, tailStarts;
  std::string full = EmitBytes(work, text, &starts);
  ASSERT_EQ(starts.size(), 6u);
  for (std::size_t n = 1; n <= 6; ++n) {
    job::Work tail{{work.paths.begin() + static_cast<long>(n - 1), work.paths.end()}, {}};
    std::string bytes = EmitBytes(tail, text, &tailStarts);
    EXPECT_EQ(bytes.substr(0, tailStarts[0]), full.substr(0, starts[0])) << n;  // the job's start
    // Its pen, the line style that every job sets at its first line, and a
    // move with the pen up; from there on the bytes of the whole plan.
    std::string pen = n % 2 ? "SP1;\r\nLT;PU" : "SP2;\r\nLT;PU";
    EXPECT_EQ(bytes.substr(tailStarts[0], pen.size()), pen) << n;
    std::string rest = bytes.substr(tailStarts[0]);
    if (n > 1) rest.erase(rest.find("LT;"), 3);
    EXPECT_EQ(rest, full.substr(starts[n - 1])) << n;
    // A stop at the start of path n, and halfway through its bytes.
    std::size_t end = n < 6 ? starts[n] : full.size();
    Stop stop = WhereStopped(work.paths, starts, starts[n - 1], full.size(), 1);
    EXPECT_EQ(std::make_pair(stop.path, stop.drawn),
              std::make_pair(n, 9.0 * static_cast<double>(n - 1)));
    stop = WhereStopped(work.paths, starts, (starts[n - 1] + end) / 2, full.size(), 1);
    EXPECT_EQ(stop.path, n);
    EXPECT_NEAR(stop.drawn, 9.0 * static_cast<double>(n - 1) + 4.5,
                9 * 2.0 / static_cast<double>(end - starts[n - 1]));
  }
  EXPECT_EQ(WhereStopped(work.paths, starts, 0, full.size(), 1).path, 1u);
  Stop resumed =
      WhereStopped(work.paths, starts, full.size(), full.size(), 4);  // numbers from the resume
  EXPECT_EQ(std::make_pair(resumed.path, resumed.drawn), std::make_pair(std::size_t{9}, 54.0));
}

TEST(Plan, EstimateCountsMovesLiftsChangesAndTheLink) {
  Machine m{50, 100, 0.1, 0.2, 3, 1000};
  const double ramp = 2 * std::sqrt(1 / 1000.0);  // 1 mm: never at full speed
  struct Case {
    std::vector<Path> paths;
    std::size_t bytes;
    int baud;
    double seconds;
  } cases[] = {
      // 50 mm up (0.5 s + 0.1 s of ramps), lower, 100 mm down (2 s + 0.05 s), lift, a pen.
      {{{1, {{30, 40}, {130, 40}}}}, 1000, 9600, 0.6 + 0.2 + 2.05 + 0.1 + 3},
      {{{1, {{30, 40}, {130, 40}}}}, 100000, 9600, 100000 * 10 / 9600.0},
      {{{1, {{1, 0}, {2, 0}}}}, 0, 0, ramp + 0.2 + ramp + 0.1 + 3},
      // A right angle stops the pen: two strokes; a bend of ten degrees does not.
      {{{1, {{0, 0}, {10, 0}, {10, 10}}}}, 0, 0, 0.2 + 2 * 0.25 + 0.1 + 3},
      {{{1, {{0, 0}, {10, 0}, {10 + 10 * std::cos(0.1745), 10 * std::sin(0.1745)}}}},
       0,
       0,
       0.2 + 0.45 + 0.1 + 3},
      {{{1, {{0, 0}, {1, 0}}}, {2, {{1, 0}, {2, 0}}}}, 0, 0, 2 * (0.2 + ramp + 0.1 + 3)},
  };
  for (const Case& c : cases) EXPECT_NEAR(Estimate(c.paths, m, c.bytes, c.baud), c.seconds, 1e-9);
  std::string text = "[Bad]\r\nKonib.PenUpSpeed=fast\r\nKonib.PenDownSpeed=70\r\n";
  tool::ModelList bad;
  bad.list = NibGetRegistry2(text.data(), static_cast<uint32_t>(text.size()), nullptr, 0, "Bad");
  std::string message;
  Machine read = MachineOf(bad, &message);
  EXPECT_EQ(std::make_pair(read.penUpSpeed, read.penDownSpeed), std::make_pair(250.0, 70.0));
  EXPECT_EQ(message,
            "Konib.PenUpSpeed=fast is not a positive number; the estimate takes its default");
}

}  // namespace
}  // namespace konib::plan
