// Drawing speed side by side: the same random lines through KoNib with the
// bundled HP-GL model, through libplot's HP-GL plotter (where it was found)
// and through an HP-GL emitter written by hand for this one job. Each round
// runs all three, one after the other, so that a machine busy with other
// work slows them alike; the best round of each counts. R2, KoNib's rate
// over the hand-written emitter's, has a line of its own; the last line
// gives both ratios (n/a for an engine not run or not built):
//   R2 = 0.62: KoNib draws at 0.62 of the hand-written emitter's rate
//   konib/libplot=R1 konib/hand=R2
//
// Usage: compare_bench [lines [rounds [engines]]]
//   1000000 lines, 3 rounds, engines "klh" (KoNib, libplot, hand) by default;
//   "k" alone is the form to profile KoNib with.
#include <KoNib.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/memory.h"

#ifdef KONIB_HAVE_LIBPLOT
#include <plot.h>
#endif

#ifndef KONIB_SOURCE_DIR
#error "KONIB_SOURCE_DIR must name the source folder"
#endif

namespace {

constexpr double kWidth = 400.0;  // the A3 sheet of the bundled model, mm
constexpr double kHeight = 277.0;
constexpr double kStep = 0.025;  // mm per device step

struct Line {
  double x0, y0, x1, y1;
};

// splitmix64, so that every build draws the same lines.
struct Random {
  std::uint64_t state;
  double Next() {
    std::uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    z ^= z >> 31;
    return static_cast<double>(z >> 11) * (1.0 / 9007199254740992.0);
  }
};

// Lines on the sheet; every fifth has its end off the sheet, so that it is
// cut at an edge.
std::vector<Line> RandomLines(std::size_t count) {
  Random random{20261123};
  std::vector<Line> lines(count);
  for (std::size_t i = 0; i < count; ++i) {
    Line& line = lines[i];
    line.x0 = random.Next() * kWidth;
    line.y0 = random.Next() * kHeight;
    if (i % 5 == 4) {
      line.x1 = random.Next() * kWidth * 1.6 - kWidth * 0.3;
      line.y1 = kHeight + 1.0 + random.Next() * kHeight * 0.3;
    } else {
      line.x1 = random.Next() * kWidth;
      line.y1 = random.Next() * kHeight;
    }
  }
  return lines;
}

struct Sink {
  std::uint64_t bytes = 0;
  std::uint32_t check = 0;  // touches the data, as a port driver would
};

int Take(void* cookie, const char* data, uint32_t length) {
  auto* sink = static_cast<Sink*>(cookie);
  sink->bytes += length;
  sink->check = sink->check * 31 + static_cast<unsigned char>(data[length - 1]);
  return 1;
}

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

struct Result {
  double seconds;
  std::uint64_t bytes;
};

std::string ReadModel() {
  std::ifstream in(std::string(KONIB_SOURCE_DIR) + "/models/hpgl.ini", std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

unsigned long konibAllocations = 0;

Result Konib(const std::vector<Line>& lines, const std::string& model) {
  Sink sink;
  const _NibWorld2 size{kWidth, kHeight};
  void* plotter = NibGetHandle(&size);
  _NibREG_DATA* list = NibGetRegistry2(model.data(), static_cast<unsigned long>(model.size()),
                                       nullptr, 0, "HP-GL A3 Pen Plotter");
  if (plotter == nullptr || list == nullptr || NibSetPlotter2(plotter, list) == 0) {
    std::fprintf(stderr, "the bundled HP-GL model could not be taken in\n");
    std::exit(1);
  }
  NibFreeRegistry2(list);
  _NibDeviceProc device{};
  device.cookie = &sink;
  device.write = Take;
  NibSetDeviceProc(plotter, &device);
  NibInitiate(plotter);
  NibStartPage(plotter);
  const auto start = std::chrono::steady_clock::now();
  const unsigned long before = konib::platform::AllocationCount();
  for (const Line& line : lines) {
    const _NibWorld4 world{{line.x0, line.y0}, {line.x1 - line.x0, line.y1 - line.y0}};
    NibDrawLine(plotter, &world);
  }
  NibEndPage(plotter);
  konibAllocations = konib::platform::AllocationCount() - before;
  const double seconds = Seconds(start);
  NibTerminate(plotter);
  NibFreeHandle(plotter);
  return {seconds, sink.bytes};
}

// What an application would write for this one device: clip at the sheet,
// two coordinates of integer steps per end, into a buffer handed over in
// blocks.
class HandEmitter {
 public:
  explicit HandEmitter(Sink* sink) : sink_(sink) {}
  ~HandEmitter() { Flush(); }
  void Draw(const Line& line) {
    double x0 = line.x0, y0 = line.y0, x1 = line.x1, y1 = line.y1;
    if (!Clip(&x0, &y0, &x1, &y1)) return;
    if (used_ > sizeof buffer_ - 64) Flush();
    Put("PU", 2);
    Number(x0);
    Put(",", 1);
    Number(y0);
    Put(";PD", 3);
    Number(x1);
    Put(",", 1);
    Number(y1);
    Put(";", 1);
  }

 private:
  // Liang-Barsky against the sheet.
  static bool Clip(double* x0, double* y0, double* x1, double* y1) {
    const double dx = *x1 - *x0, dy = *y1 - *y0;
    double t0 = 0.0, t1 = 1.0;
    const double p[4] = {-dx, dx, -dy, dy};
    const double q[4] = {*x0, kWidth - *x0, *y0, kHeight - *y0};
    for (int i = 0; i < 4; ++i) {
      if (p[i] == 0.0) {
        if (q[i] < 0.0) return false;
        continue;
      }
      const double t = q[i] / p[i];
      if (p[i] < 0.0) {
        t0 = std::max(t0, t);
      } else {
        t1 = std::min(t1, t);
      }
    }
    if (t0 > t1) return false;
    *x1 = *x0 + t1 * dx;
    *y1 = *y0 + t1 * dy;
    *x0 += t0 * dx;
    *y0 += t0 * dy;
    return true;
  }
  void Put(const char* text, std::size_t length) {
    std::memcpy(buffer_ + used_, text, length);
    used_ += length;
  }
  void Number(double mm) {
    const auto steps = static_cast<long>(std::lround(mm / kStep));
    used_ = static_cast<std::size_t>(
        std::to_chars(buffer_ + used_, buffer_ + sizeof buffer_, steps).ptr - buffer_);
  }
  void Flush() {
    if (used_ > 0) Take(sink_, buffer_, static_cast<uint32_t>(used_));
    used_ = 0;
  }
  Sink* sink_;
  char buffer_[16384];
  std::size_t used_ = 0;
};

Result Hand(const std::vector<Line>& lines) {
  Sink sink;
  const auto start = std::chrono::steady_clock::now();
  {
    HandEmitter emitter(&sink);
    emitter.Draw({0, 0, 0, 0});  // the "IN;SP1;" of a job costs nothing here
    for (const Line& line : lines) emitter.Draw(line);
  }
  return {Seconds(start), sink.bytes};
}

#ifdef KONIB_HAVE_LIBPLOT
// libplot writes to a stream; this one hands what it gets to the same sink.
ssize_t WriteToSink(void* cookie, const char* data, size_t length) {
  if (length > 0) Take(cookie, data, static_cast<uint32_t>(length));
  return static_cast<ssize_t>(length);
}

Result Libplot(const std::vector<Line>& lines) {
  Sink sink;
  cookie_io_functions_t functions{};
  functions.write = WriteToSink;
  FILE* out = fopencookie(&sink, "w", functions);
  if (out == nullptr) return {0.0, 0};
  std::setvbuf(out, nullptr, _IOFBF, 16384);
  plPlotterParams* params = pl_newplparams();
  pl_setplparam(params, "PAGESIZE", const_cast<char*>("a3"));
  plPlotter* plotter = pl_newpl_r("hpgl", nullptr, out, stderr, params);
  const auto start = std::chrono::steady_clock::now();
  pl_openpl_r(plotter);
  pl_fspace_r(plotter, 0.0, 0.0, kWidth, kWidth);
  for (const Line& line : lines) pl_fline_r(plotter, line.x0, line.y0, line.x1, line.y1);
  pl_closepl_r(plotter);
  std::fflush(out);
  const double seconds = Seconds(start);
  pl_deletepl_r(plotter);
  pl_deleteplparams(params);
  std::fclose(out);
  return {seconds, sink.bytes};
}
#endif

double Rate(std::size_t lines, const Result& result) {
  return static_cast<double>(lines) / result.seconds;
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1000000;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
  const std::string engines = argc > 3 ? argv[3] : "klh";
  const auto runs = [&engines](char engine) { return engines.find(engine) != std::string::npos; };
  const std::vector<Line> lines = RandomLines(count);
  const std::string model = ReadModel();
  if (model.empty()) {
    std::fprintf(stderr, "models/hpgl.ini not found below %s\n", KONIB_SOURCE_DIR);
    return 1;
  }
  Result konib{1e300, 0}, hand{1e300, 0}, libplot{1e300, 0};
  for (int round = 0; round < rounds; ++round) {
    if (runs('k')) {
      Result k = Konib(lines, model);
      if (k.seconds < konib.seconds) konib = k;
    }
    if (runs('h')) {
      Result h = Hand(lines);
      if (h.seconds < hand.seconds) hand = h;
    }
#ifdef KONIB_HAVE_LIBPLOT
    if (runs('l')) {
      Result l = Libplot(lines);
      if (l.seconds < libplot.seconds) libplot = l;
    }
#endif
  }
  std::printf("%zu random lines, 20%% of them partly off the sheet; best of %d rounds\n", count,
              rounds);
  const bool k = runs('k'), h = runs('h');
#ifdef KONIB_HAVE_LIBPLOT
  const bool l = runs('l');
#else
  const bool l = false;
#endif
  if (k) {
    std::printf("konib   %12.0f lines/s  %10llu bytes  %lu allocations while drawing\n",
                Rate(count, konib), static_cast<unsigned long long>(konib.bytes), konibAllocations);
  }
  if (l) {
    std::printf("libplot %12.0f lines/s  %10llu bytes\n", Rate(count, libplot),
                static_cast<unsigned long long>(libplot.bytes));
  }
#ifndef KONIB_HAVE_LIBPLOT
  std::printf("libplot not found when this program was built: no comparison with it\n");
#endif
  if (h) {
    std::printf("hand    %12.0f lines/s  %10llu bytes\n", Rate(count, hand),
                static_cast<unsigned long long>(hand.bytes));
  }
  const double r2 = Rate(count, konib) / Rate(count, hand);
  if (k && h) {
    std::printf("R2 = %.2f: KoNib draws at %.2f of the hand-written emitter's rate\n", r2, r2);
  }
  // The last line, for scripts: both ratios.
  if (k && l) {
    std::printf("konib/libplot=%.2f ", Rate(count, konib) / Rate(count, libplot));
  } else {
    std::printf("konib/libplot=n/a ");
  }
  if (k && h) {
    std::printf("konib/hand=%.2f\n", r2);
  } else {
    std::printf("konib/hand=n/a\n");
  }
  return 0;
}
