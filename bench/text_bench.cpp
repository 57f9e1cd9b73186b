// Lettering speed through the bundled HP-GL model into a counting device:
// labels of 20 characters that mix letters, digits, signs and spaces, so
// that each label is cut into several runs. Reports characters per second
// and the allocations per label after the first, which must be none.
#include <KoNib.h>
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "bench/counting_device.h"
#include "platform/memory.h"

#ifndef KONIB_SOURCE_DIR
#error "KONIB_SOURCE_DIR must name the source folder"
#endif

namespace {

void* Plotter(Counter* counter) {
  std::ifstream in(std::string(KONIB_SOURCE_DIR) + "/models/hpgl.ini", std::ios::binary);
  const std::string model((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  _NibREG_DATA* list = NibGetRegistry2(model.data(), static_cast<unsigned long>(model.size()),
                                       nullptr, 0, "HP-GL A3 Pen Plotter");
  _NibWorld2 size{400, 277};
  void* plotter = NibGetHandle(&size);
  NibSetPlotter2(plotter, list);
  NibFreeRegistry2(list);
  _NibDeviceProc device{};
  device.cookie = counter;
  device.write = Count;
  NibSetDeviceProc(plotter, &device);
  NibInitiate(plotter);
  NibStartPage(plotter);
  return plotter;
}

const char* const kLabels[] = {
    "Plot 42: A-3 (x=7.5)",
    "Sheet 7 of 12, rev B",
    "R=25.4mm @ 30 deg OK",
    "pen 3 / style 2; 1:1",
};

void BM_Labels20Characters(benchmark::State& state) {
  Counter counter;
  void* plotter = Plotter(&counter);
  _NibTextInfo info{0, 2, 3, 3, 0};
  _NibWorld2 at{20, 20};
  std::size_t i = 0;
  NibDrawText(plotter, &at, kLabels[0], &info);  // the first call may set up what the rest reuse
  const unsigned long before = konib::platform::AllocationCount();
  for (auto _ : state) {
    at.y = 20 + static_cast<double>(i % 200);
    info.angle = static_cast<double>(i % 4) * 0.5;
    benchmark::DoNotOptimize(NibDrawText(plotter, &at, kLabels[i++ % 4], &info));
  }
  const unsigned long allocations = konib::platform::AllocationCount() - before;
  state.counters["chars/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * 20, benchmark::Counter::kIsRate);
  state.counters["bytes/s"] =
      benchmark::Counter(static_cast<double>(counter.bytes), benchmark::Counter::kIsRate);
  state.counters["allocs/call"] =
      static_cast<double>(allocations) / static_cast<double>(state.iterations());
  NibFreeHandle(plotter);
}

BENCHMARK(BM_Labels20Characters);

}  // namespace
