// konib's hatching of fills: a drawing of 10,000 filled shapes (discs,
// rings with a hole, seven-pointed stars by evenodd), each about 4 mm
// across, hatched at 0.27 mm for a 0.3 mm pen. The target is well under a
// second for the whole drawing.
#include <benchmark/benchmark.h>

#include <cmath>

#include "fill/fill.h"

namespace {

using namespace konib;

constexpr double kPi = 3.14159265358979323846;

// A circle of four cubic quarters, as the SVG reader gives one.
svg::Subpath Circle(double cx, double cy, double r, bool backwards) {
  const double k = 0.5522847498 * r;
  const double turn = backwards ? -1 : 1;
  svg::Subpath s{{cx + r, cy}, {}};
  for (int q = 0; q < 4; ++q) {
    double a = turn * q * kPi / 2, b = turn * (q + 1) * kPi / 2;
    svg::Point from{cx + r * std::cos(a), cy + r * std::sin(a)};
    svg::Point to{cx + r * std::cos(b), cy + r * std::sin(b)};
    s.segments.push_back({true,
                          {from.x - turn * k * std::sin(a), from.y + turn * k * std::cos(a)},
                          {to.x + turn * k * std::sin(b), to.y - turn * k * std::cos(b)},
                          to});
  }
  return s;
}

svg::Subpath Star(double cx, double cy, double r) {
  svg::Subpath s{{cx + r, cy}, {}};
  for (int i = 1; i <= 7; ++i) {
    double a = 2 * kPi * (i * 3 % 7) / 7;
    s.segments.push_back({false, {}, {}, {cx + r * std::cos(a), cy + r * std::sin(a)}});
  }
  return s;
}

svg::Drawing Shapes(int count) {
  svg::Drawing d;
  int side = static_cast<int>(std::ceil(std::sqrt(count)));
  d.width = d.height = side * 5.0;
  for (int i = 0; i < count; ++i) {
    double cx = 2.5 + 5.0 * (i % side), cy = 2.5 + 5.0 * (i / side);
    svg::Shape shape{"#000000", {}, static_cast<std::size_t>(i), "", "#000000", false};
    switch (i % 3) {
      case 0:
        shape.subpaths.push_back(Circle(cx, cy, 2, false));
        break;
      case 1:
        shape.subpaths.push_back(Circle(cx, cy, 2, false));
        shape.subpaths.push_back(Circle(cx, cy, 1, true));
        break;
      default:
        shape.subpaths.push_back(Star(cx, cy, 2));
        shape.evenOdd = true;
    }
    d.shapes.push_back(std::move(shape));
  }
  return d;
}

void HatchShapes(benchmark::State& state) {
  const svg::Drawing drawing = Shapes(static_cast<int>(state.range(0)));
  fill::Settings settings;
  std::string message;
  tool::ModelList model;
  fill::Request request;
  request.penWidth = 0.3;
  if (!fill::Decide(request, model, &settings, &message)) state.SkipWithError(message.c_str());
  const std::map<std::string, int> pens{{"#000000", 1}};
  const job::Placement place{1, 0, 0, false, drawing.height};
  fill::Tally tally;
  for (auto _ : state) {
    std::vector<plan::Path> paths;
    tally = {};
    if (!fill::Hatch(drawing, pens, place, settings, &paths, &tally, &message))
      state.SkipWithError(message.c_str());
    benchmark::DoNotOptimize(paths.data());
  }
  state.counters["areas"] = static_cast<double>(tally.areas);
  state.counters["strokes"] = static_cast<double>(tally.strokes);
  state.counters["lines"] = static_cast<double>(tally.lines);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(HatchShapes)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
