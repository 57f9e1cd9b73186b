// The model store on disk: loading one model of 200 values, listing the
// catalogue (at 100 and 1,000 models, to show that listing grows linearly),
// and installing a model of 200 values, which is one transaction.
#include <KoNib.h>
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

// A store in a folder of its own, removed at the end.
class BenchStore {
 public:
  explicit BenchStore(const char* what)
      : folder_(std::filesystem::temp_directory_path() /
                (std::string("konib-bench-") + what + "-" + std::to_string(::getpid()))) {
    std::filesystem::remove_all(folder_);
    root_ = NibOpenRegistryDirectory((folder_ / "root").string().c_str());
    file_ = (folder_ / "model.ini").string();
    std::string text =
        "[Set]\r\nCommand.Init=IN;\r\nCommand.Move=PU\\x1,\\y1;\r\n[Model]\r\nCommand=Set\r\n";
    for (int i = 0; i < 198; ++i)
      text += "Paper." + std::to_string(i) + "=Sheet " + std::to_string(i) + ",400,277,\\$41\r\n";
    std::ofstream(file_, std::ios::binary) << text;
  }
  ~BenchStore() {
    NibCloseRegistryDirectory(root_);
    std::filesystem::remove_all(folder_);
  }
  void Install(const std::string& model) {
    NibSetupRegistry(root_, "Models", model.c_str(), "Model", file_.c_str(), "Set", "Set",
                     file_.c_str());
  }
  HKEY root() const { return root_; }

 private:
  std::filesystem::path folder_;
  std::string file_;
  HKEY root_;
};

void BM_LoadModel(benchmark::State& state) {
  BenchStore store("load");
  store.Install("Plotter");
  for (auto _ : state) {
    _NibREG_DATA* list = NibGetRegistry(store.root(), "Models", "Plotter");
    benchmark::DoNotOptimize(list);
    NibFreeRegistry(list);
  }
}
BENCHMARK(BM_LoadModel)->Unit(benchmark::kMicrosecond);

void BM_ListModels(benchmark::State& state) {
  BenchStore store("list");
  for (int i = 0; i < state.range(0); ++i) store.Install("Plotter " + std::to_string(i));
  for (auto _ : state) {
    char* names = NibGetRegModelNames(store.root(), "Models");
    benchmark::DoNotOptimize(names);
    NibFreeRegModelNames(names);
  }
  state.counters["models/s"] = benchmark::Counter(
      static_cast<double>(state.iterations() * state.range(0)), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_ListModels)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);

void BM_InstallModel(benchmark::State& state) {
  BenchStore store("install");
  for (auto _ : state) store.Install("Plotter");
}
BENCHMARK(BM_InstallModel)->Unit(benchmark::kMicrosecond);

}  // namespace
