// Reading a model section from text: linear in its size, so ten times the
// values take about ten times as long.
#include <benchmark/benchmark.h>

#include <KoNib.h>

#include <string>

namespace {

std::string Section(int values) {
  std::string text = "[Big]\r\n";
  for (int i = 0; i < values; ++i) text += "Value" + std::to_string(i) + "=PU\\x1,\\y1;PD\\x2,\\y2;\r\n";
  return text;
}

void BM_ReadSection(benchmark::State& state) {
  const std::string text = Section(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    _NibREG_DATA* list = NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()), nullptr, 0, "Big");
    benchmark::DoNotOptimize(list);
    NibFreeRegistry2(list);
  }
  state.counters["values/s"] =
      benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)), benchmark::Counter::kIsRate);
}

// A list holds fewer than 65,536 records (a section of 100,000 values is
// refused), so the larger load is the largest a list can take.
BENCHMARK(BM_ReadSection)->Arg(6500)->Arg(65000)->Unit(benchmark::kMillisecond);

}  // namespace
