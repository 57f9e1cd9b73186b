// Drawing speed through a small HP-GL-like model into a counting device.
// Reports lines (or circles) per second, output bytes per second, and the
// allocations made while drawing, which must be none.
#include <KoNib.h>
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "bench/counting_device.h"
#include "platform/memory.h"

namespace {

void Take(void* plotter, const char* name, const char* value) {
  NibKeyId id = NibKeyStep;
  const struct {
    const char* name;
    NibKeyId id;
  } keys[] = {{"Step", NibKeyStep},
              {"Decimal", NibKeyDecimal},
              {"Command.Pen", NibKeyCommandPen},
              {"Command.Move", NibKeyCommandMove},
              {"Command.Line", NibKeyCommandLine},
              {"Ctrl.DrawArc", NibKeyCtrlDrawArc},
              {"Command.Style", NibKeyCommandStyle}};
  for (const auto& key : keys) {
    if (std::string(key.name) == name) id = key.id;
  }
  _NibRegInfo item{id, 0, value};
  NibSetPlotter(plotter, &item, 1);
}

void* Plotter(Counter* counter) {
  _NibWorld2 size{400, 277};
  void* plotter = NibGetHandle(&size);
  Take(plotter, "Step", "0.025");
  Take(plotter, "Decimal", "0");
  Take(plotter, "Command.Pen", "SP\\pn;");
  Take(plotter, "Command.Style", "LT;");
  Take(plotter, "Command.Move", "PU\\x1,\\y1;");
  Take(plotter, "Command.Line", "PD\\x2,\\y2;");
  Take(plotter, "Ctrl.DrawArc", "0");
  _NibDeviceProc device{};
  device.cookie = counter;
  device.write = Count;
  NibSetDeviceProc(plotter, &device);
  NibInitiate(plotter);
  NibStartPage(plotter);
  return plotter;
}

// Lines from a sheet a little larger than the plotting area, so that some
// are clipped.
std::vector<_NibWorld4> RandomLines() {
  std::mt19937 random(1234);
  std::uniform_real_distribution<double> x(-40, 440), y(-30, 307);
  std::vector<_NibWorld4> lines(4096);
  for (auto& line : lines) {
    line.org = {x(random), y(random)};
    line.ext = {x(random) - line.org.x, y(random) - line.org.y};
  }
  return lines;
}

void Report(benchmark::State& state, const Counter& counter, unsigned long allocations) {
  state.counters["lines/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["bytes/s"] =
      benchmark::Counter(static_cast<double>(counter.bytes), benchmark::Counter::kIsRate);
  state.counters["allocs"] = static_cast<double>(allocations);
}

void Lines(benchmark::State& state, int style, int strokes) {
  Counter counter;
  void* plotter = Plotter(&counter);
  _NibInfo info{};
  for (int i = 0; i < 17; ++i) info.pens[i] = {i, strokes, 0.3};
  NibSetPlotterInfo(plotter, NIB_INFO_PENS, &info);
  NibSetStyle(plotter, style);
  const std::vector<_NibWorld4> lines = RandomLines();
  std::size_t i = 0;
  const unsigned long before = konib::platform::AllocationCount();
  for (auto _ : state) {
    benchmark::DoNotOptimize(NibDrawLine(plotter, &lines[i++ % lines.size()]));
  }
  Report(state, counter, konib::platform::AllocationCount() - before);
  NibFreeHandle(plotter);
}

void BM_SolidLinesClipped(benchmark::State& state) { Lines(state, 0, 1); }
void BM_DashedLinesStyle2(benchmark::State& state) { Lines(state, 2, 1); }
void BM_LinesThreeStrokePen(benchmark::State& state) { Lines(state, 0, 3); }

void BM_ChordCircles(benchmark::State& state) {
  Counter counter;
  void* plotter = Plotter(&counter);
  std::mt19937 random(99);
  std::uniform_real_distribution<double> x(0, 400), y(0, 277), r(1, 50);
  const unsigned long before = konib::platform::AllocationCount();
  for (auto _ : state) {
    _NibWorld2 centre{x(random), y(random)};
    benchmark::DoNotOptimize(NibDrawArc(plotter, &centre, r(random), nullptr));
  }
  Report(state, counter, konib::platform::AllocationCount() - before);
  state.counters["circles/s"] = state.counters["lines/s"];
  state.counters.erase("lines/s");
  NibFreeHandle(plotter);
}

BENCHMARK(BM_SolidLinesClipped);
BENCHMARK(BM_DashedLinesStyle2);
BENCHMARK(BM_LinesThreeStrokePen);
BENCHMARK(BM_ChordCircles);

}  // namespace
