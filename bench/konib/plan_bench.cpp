// konib's planner: reading a drawing is linear, read + plan + emit through
// the HP-GL model is fast for large drawings, and the planned road is short.
//
//   Read/N            reading N lines; the complexity line must be O(N)
//   Plot/N            read, pens, place, lay, plan, emit: N lines
//   Quality/<drawing> pen-up travel in document order, greedy nearest
//                     neighbour with reversal, and as planned (counters)
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "job/job.h"
#include "model/model.h"
#include "plan/plan.h"
#include "svg/svg.h"

namespace {

using konib::plan::Path;
using konib::plan::Point;
constexpr double kPi = 3.14159265358979323846;

// N random short lines in four colours, as a generator writes them.
std::string LinesDocument(std::size_t n) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> x(0, 400), y(0, 280), turn(0, 2 * kPi), length(1, 12);
  const char* colours[] = {"black", "red", "blue", "green"};
  std::string text =
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"400mm\" height=\"280mm\" "
      "viewBox=\"0 0 400 280\">\n";
  char line[160];
  for (std::size_t i = 0; i < n; ++i) {
    double x1 = x(random), y1 = y(random), a = turn(random), l = length(random);
    std::snprintf(line, sizeof line,
                  "<line x1=\"%.2f\" y1=\"%.2f\" x2=\"%.2f\" y2=\"%.2f\" stroke=\"%s\"/>\n", x1, y1,
                  x1 + l * std::cos(a), y1 + l * std::sin(a), colours[i % 4]);
    text += line;
  }
  return text + "</svg>\n";
}

void Read(benchmark::State& state) {
  std::string text = LinesDocument(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    konib::svg::Drawing drawing;
    konib::svg::Error error;
    if (!konib::svg::ReadSvg(text.data(), text.size(), &drawing, &error))
      state.SkipWithError(error.message.c_str());
    benchmark::DoNotOptimize(drawing.shapes.data());
  }
  state.SetComplexityN(state.range(0));
  state.SetBytesProcessed(state.iterations() * static_cast<long>(text.size()));
}
BENCHMARK(Read)->Arg(10000)->Arg(100000)->Complexity(benchmark::oN)->Unit(benchmark::kMillisecond);

// What `konib plot --model hpgl` does between the file and the port.
void Plot(benchmark::State& state) {
  std::string text = LinesDocument(static_cast<std::size_t>(state.range(0)));
  konib::tool::ModelFile file;
  std::string section, message;
  konib::tool::ModelList model;
  if (!konib::tool::LoadModel("hpgl", "", KONIB_SOURCE_DIR "/models", &file, &section, &model,
                              &message)) {
    state.SkipWithError(message.c_str());
    return;
  }
  std::size_t bytes = 0;
  double planning = 0;
  for (auto _ : state) {
    konib::svg::Drawing drawing;
    konib::svg::Error error;
    konib::svg::ReadSvg(text.data(), text.size(), &drawing, &error);
    konib::job::Paper paper;
    std::map<std::string, int> pens;
    konib::job::ChoosePaper(model, "", &paper, &message);
    konib::job::AssignPens(drawing, {}, &pens, &message);
    auto place = konib::job::Place(drawing, paper, "auto", 0);
    konib::job::Work work = konib::job::Lay(drawing, pens, place);
    drawing = konib::svg::Drawing();
    planning = konib::plan::Plan(&work.paths, {}).seconds;
    std::string out;
    std::vector<std::size_t> starts;
    konib::job::Emit(work, model, paper, &out, &starts);
    bytes = out.size();
  }
  state.counters["bytes"] = static_cast<double>(bytes);
  state.counters["plan_s"] = planning;
}
BENCHMARK(Plot)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond)->Iterations(1);

// The drawings of the quality benchmark, in plot units on an A3 sheet.
Path Circle(int pen, double cx, double cy, double r, int chords) {
  Path p{pen, {}};
  for (int k = 0; k <= chords; ++k) {
    double a = 2 * kPi * (k % chords) / chords;
    p.points.push_back({cx + r * std::cos(a), cy + r * std::sin(a)});
  }
  return p;
}

std::vector<Path> RandomLines() {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> x(10, 390), y(10, 267), turn(0, 2 * kPi), length(2, 30);
  std::vector<Path> paths;
  for (int i = 0; i < 5000; ++i) {
    double x1 = x(random), y1 = y(random), a = turn(random), l = length(random);
    paths.push_back({1 + i % 4, {{x1, y1}, {x1 + l * std::cos(a), y1 + l * std::sin(a)}}});
  }
  return paths;
}

std::vector<Path> RandomCircles() {
  std::mt19937 random(12);
  std::uniform_real_distribution<double> x(20, 380), y(20, 257), r(1, 15);
  std::vector<Path> paths;
  for (int i = 0; i < 2000; ++i) paths.push_back(Circle(1, x(random), y(random), r(random), 48));
  return paths;
}

// Discs hatched at 0.8 mm, every stroke from left to right, and outlined.
std::vector<Path> Hatched() {
  std::mt19937 random(13);
  std::uniform_real_distribution<double> x(40, 360), y(40, 237), r(5, 35);
  std::vector<Path> paths;
  for (int i = 0; i < 40; ++i) {
    double cx = x(random), cy = y(random), radius = r(random);
    paths.push_back(Circle(1 + i % 2, cx, cy, radius, 96));
    for (double h = -radius + 0.4; h < radius; h += 0.8) {
      double w = std::sqrt(radius * radius - h * h);
      paths.push_back({1 + i % 2, {{cx - w, cy + h}, {cx + w, cy + h}}});
    }
  }
  return paths;
}

// A sunflower: short strokes at the golden angle, in the order of the
// formula, as generative drawings put them. Greedy does well here, and no
// road can come below 0.852 of it: a road from the pen's start through the
// strokes pairs up their ends (and the start, and the last end with
// nothing), and the shortest such pairing, among each end's ten nearest,
// is 9,288 mm against greedy's 10,901.
std::vector<Path> Spiral() {
  std::vector<Path> paths;
  const double golden = kPi * (3 - std::sqrt(5.0));
  for (int n = 1; n <= 4000; ++n) {
    double r = 2 * std::sqrt(n), a = n * golden, cx = 200 + r * std::cos(a),
           cy = 138 + r * std::sin(a);
    double tx = -std::sin(a), ty = std::cos(a);
    paths.push_back({1, {{cx - tx, cy - ty}, {cx + tx, cy + ty}}});
  }
  return paths;
}

void Quality(benchmark::State& state, std::vector<Path> (*make)()) {
  std::vector<Path> drawing = make();
  konib::plan::Figures f;
  double greedy = 0, fixedEntries = 0;
  std::size_t pens = 0;
  for (auto _ : state) {
    std::vector<Path> paths = drawing, fixed = drawing;
    greedy = konib::plan::Travel(konib::plan::Greedy(drawing));
    konib::plan::Options noEntries;
    noEntries.chooseEntry = false;
    fixedEntries = konib::plan::Plan(&fixed, noEntries).travel;
    f = konib::plan::Plan(&paths, {});
    pens = f.pens;
  }
  state.counters["document_mm"] = f.documentTravel;
  state.counters["greedy_mm"] = greedy;
  state.counters["planned_mm"] = f.travel;
  state.counters["vs_greedy"] = f.travel / greedy;
  state.counters["vs_document"] = f.travel / f.documentTravel;
  state.counters["loop_entry_gain"] = 1 - f.travel / fixedEntries;
  state.counters["pen_changes"] = static_cast<double>(f.penChanges);
  state.counters["pens"] = static_cast<double>(pens);
  state.counters["plan_s"] = f.seconds;
  state.counters["ink_ratio"] = f.penDown / konib::plan::PenDown(drawing);
  // The marks: at most 0.85 of greedy's road, never more than document
  // order's, and each pen selected once.
  state.counters["meets_marks"] =
      f.travel <= 0.85 * greedy && f.travel <= f.documentTravel && f.penChanges == pens;
}
BENCHMARK_CAPTURE(Quality, random_lines, RandomLines)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Quality, random_circles, RandomCircles)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Quality, hatched, Hatched)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Quality, spiral, Spiral)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
