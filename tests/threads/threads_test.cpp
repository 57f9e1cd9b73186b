// Four handles on four threads at once. Each thread runs, round after round,
// one whole job through every kind of operation: a model from text in
// memory and through the model store (its own root on the one shared
// store), the set-up queries and classes, drawing of every kind under
// windows and views, text with kana and kanji, an extension module with its
// private area, and a digitizer conversation. Every round's transcript must
// equal the one the same job gave alone on the main thread: a handle whose
// output depends on what another thread does shares state with it.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "platform/memory.h"
#include "support/scripted_device.h"
#include "support/store_root.h"
#include "support/test_device.h"

#ifndef KONIB_SOURCE_DIR
#error "KONIB_SOURCE_DIR must name the source folder"
#endif

namespace konib {
namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 150;
// Writers to the one store wait for each other, so only every few rounds
// go through it.
constexpr int kStoreEvery = 8;
constexpr int kStrokesPerPage = 40;

struct Plan {
  const char* file;
  const char* model;
  const char* commands;  // the model's command set
  bool buffered;         // block output instead of byte output
  double width, height;  // plotting area
};

// Four different bundled models, so that the threads do not repeat each
// other; SVG declares a kanji font.
const Plan kPlans[kThreads] = {
    {"hpgl.ini", "HP-GL A3 Pen Plotter", "HP-GL", true, 400, 277},
    {"hpgl2.ini", "HP-GL/2 A1 Roll Plotter", "HP-GL/2", false, 841, 594},
    {"dxygl.ini", "DXY-GL A3 Pen Plotter", "DXY-GL", true, 400, 277},
    {"svg.ini", "SVG Virtual Plotter", "SVG", false, 297, 210},
};

const char kDigitizerModel[] = "HP-GL Digitizing Plotter";
// ASCII, two half-width kana and two kanji, in CP932.
const char kText[] = "Kana \xB1\xB2 kanji \x88\x9F\x88\xA0!";

std::string ModelPath(const char* file) {
  return std::string(KONIB_SOURCE_DIR) + "/models/" + file;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// What every thread reads and nobody writes.
struct Shared {
  std::string modelText[kThreads];
  std::string digitizerText;
};

// A transcript: the device's bytes and every answer, labelled.
class Transcript {
 public:
  void Add(const char* label, const std::string& text) {
    out_.append(label).append("=").append(text).append("\n");
  }
  void Add(const char* label, const char* text) { Add(label, std::string(text ? text : "(null)")); }
  void Add(const char* label, double value) {
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%.17g", value);
    Add(label, std::string(buffer));
  }
  const std::string& str() const { return out_; }

 private:
  std::string out_;
};

std::string Records(const _NibREG_DATA* list) {
  std::string out;
  for (const _NibREG_DATA* r = list; r != nullptr; r = r->next)
    out += std::string(r->name) + ":" + reinterpret_cast<const char*>(r->data) + "|";
  return out;
}

std::string Names(const char* names) {
  std::string out;
  for (const char* n = names; n != nullptr && *n != '\0'; n += std::strlen(n) + 1)
    out += std::string(n) + ";";
  return out;
}

// Every set-up query once: they read numbers through the module's scratch.
void Queries(const _NibREG_DATA* list, Transcript& t) {
  const _NibPAPER_INFO* papers = nullptr;
  for (int i = 0, n = NibGetPaperInfo(list, &papers); i < n; ++i)
    t.Add("paper", std::to_string(papers[i].width) + "x" + std::to_string(papers[i].height) + " " +
                       papers[i].name);
  NibFreePaperInfo(papers);
  POINT size{};
  t.Add("papersize", std::to_string(NibGetPaperSize(list, 4, &size)) + " " +
                         std::to_string(size.x) + "x" + std::to_string(size.y));
  for (double step : {0.025, 0.1, 0.3}) {
    const _NibSTEPSIZE_INFO* steps = NibGetStepSizeInfo(list, step);
    std::string items = steps == nullptr ? "none" : std::to_string(steps->current);
    for (int i = 0; steps != nullptr && i < steps->count; ++i)
      items += std::string(" ") + steps->items[i];
    t.Add("steps", items);
    NibFreeStepSizeInfo(steps);
  }
  for (int index = 0; index < 5; ++index) {
    const _NibEXTENSION_INFO* extension = NibGetExtensionInfo(list, index);
    t.Add("extension", extension == nullptr ? "none" : extension->title);
    NibFreeExtensionInfo(extension);
  }
  _NibInfo info{};
  NibGetDefaultInfo(list, &info);
  t.Add("default.step", info.step);
  t.Add("default.paper", std::to_string(info.paperIndex) + " " + std::to_string(info.kanjiFont));
}

// Install, list, load and delete models under a path of the thread's own.
_NibREG_DATA* ThroughTheStore(HKEY root, int n, Transcript& t) {
  const Plan& plan = kPlans[n];
  const std::string path = "Threads\\T" + std::to_string(n);
  const std::string file = ModelPath(plan.file);
  for (const char* name : {plan.model, "Another"}) {
    NibSetupRegistry(root, path.c_str(), name, plan.model, file.c_str(), plan.commands,
                     plan.commands, file.c_str());
  }
  char* names = NibGetRegModelNames(root, path.c_str());
  t.Add("stored", Names(names));
  NibFreeRegModelNames(names);
  NibDeleteRegistry(root, path.c_str(), "Another");
  _NibREG_DATA* list = NibGetRegistry(root, path.c_str(), plan.model);
  t.Add("loaded", Records(list));
  NibDeleteRegistry(root, path.c_str(), plan.model);
  char* left = NibGetRegModelNames(root, path.c_str());
  t.Add("left", left);
  NibFreeRegModelNames(left);
  return list;
}

// A fixed series of pseudo-random numbers of the job's own.
class Series {
 public:
  explicit Series(unsigned seed) : state_(seed) {}
  double Next(double low, double high) {
    state_ = state_ * 1103515245u + 12345u;
    return low + (high - low) * static_cast<double>((state_ >> 8) & 0xFFFF) / 65535.0;
  }
  int Pick(int count) { return static_cast<int>(Next(0, count - 0.001)); }

 private:
  unsigned state_;
};

void Draw(void* h, const Plan& plan, Series& series, int page) {
  _NibWorld4 window{{-50, -50}, {plan.width + 100, plan.height + 100}};
  NibSetWindow(h, &window);
  NibSetClip(h, page % 2);
  for (int i = 0; i < kStrokesPerPage; ++i) {
    NibSetPen(h, 1 + series.Pick(4));
    NibSetStyle(h, series.Pick(10));
    const _NibWorld2 at{series.Next(-60, plan.width + 60), series.Next(-60, plan.height + 60)};
    switch (series.Pick(4)) {
      case 0: {
        _NibWorld4 line{at, {series.Next(-200, 200), series.Next(-200, 200)}};
        NibDrawLine(h, &line);
        break;
      }
      case 1:
        NibDrawDot(h, &at);
        break;
      case 2:
        NibDrawArc(h, &at, series.Next(0.5, 25), nullptr);
        break;
      default: {
        _NibWorld2 angles{series.Next(-3.2, 3.2), series.Next(-7, 7)};
        NibDrawArc(h, &at, series.Next(0.5, 25), &angles);
      }
    }
    if (i % 20 == 10) {
      // A nested view with a window of its own, then back out.
      _NibWorld4 outer{{10, 10}, {plan.width / 2, plan.height / 2}};
      _NibWorld4 inner{{5, 5}, {40, 30}};
      _NibWorld4 own{{0, 0}, {100, 100}};
      _NibWorld4 line{{0, 0}, {100, 100}};
      NibSetViewRelative(h, &outer);
      NibSetViewRelative(h, &inner);
      NibSetWindow(h, &own);
      NibDrawLine(h, &line);
      NibSetViewRelative(h, nullptr);
      NibDrawLine(h, &line);
      NibSetViewRelative(h, nullptr);
      _NibWorld4 view{{0, 0}, {plan.width, plan.height}};
      NibSetView(h, &view);
    }
  }
  _NibTextInfo text{static_cast<std::uint32_t>(page % 4), 4, 5, 6, 0.5};
  _NibWorld2 at{plan.width / 4, plan.height / 3};
  NibDrawText(h, &at, kText, &text);
}

void Plot(const _NibREG_DATA* list, int n, Transcript& t) {
  const Plan& plan = kPlans[n];
  const _NibWorld2 size{plan.width, plan.height};
  void* h = NibGetHandle(&size);
  test::TestDevice device;
  if (plan.buffered) {
    device.BindWrite(h);
  } else {
    device.BindPut(h);
  }
  t.Add("take", std::to_string(NibSetPlotter2(h, list)));
  // The module counts in its private area, kept per handle.
  _NibRegInfo home{NibKeyCommandHome, 0, "<\\[probe.Count]\\[probe.Record]>"};
  NibSetPlotter(h, &home, 1);
  _NibInfo info{};
  NibGetDefaultInfo(list, &info);
  info.pens[2] = {2, 3, 0.3};  // wide pens: parallel strokes
  info.pens[3] = {3, 2, 0.5};
  info.origin = {3, 4};
  info.scale = {0.75, 1.25};
  info.orientation = n % 2;
  t.Add("info",
        std::to_string(NibSetPlotterInfo(
            h, NIB_INFO_PENS | NIB_INFO_ORIGIN | NIB_INFO_SCALE | NIB_INFO_ORIENTATION, &info)));
  unsigned int code = 0, fonts = 0;
  NibQueryFontSupportCode(h, &code);
  NibQueryFontSupport(h, &fonts);
  t.Add("fonts", std::to_string(code) + " " + std::to_string(fonts));
  Series series(1234u + static_cast<unsigned>(n));
  int ok = NibInitiate(h);
  for (int page = 0; page < 2; ++page) {
    ok &= NibStartPage(h);
    Draw(h, plan, series, page);
    ok &= NibHome(h);
    ok &= NibEndPage(h);
  }
  ok &= NibTerminate(h);
  t.Add("job", std::to_string(ok));
  t.Add("bytes", device.bytes);
  NibFreeHandle(h);
}

void Digitize(const Shared& shared, int n, Transcript& t) {
  const std::string& text = shared.digitizerText;
  _NibREG_DATA* list = NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()),
                                       nullptr, 0, kDigitizerModel);
  const _NibWorld2 size{400, 277};
  void* h = NibGetHandle(&size);
  test::ScriptedDevice device;
  const std::string x = std::to_string(1000 + 37 * n), y = std::to_string(2000 - 11 * n);
  device.script = {{"DP;OD;", x + "," + y + ",1\r\n"}, {"DP;OD;", y + "," + x + ",0\r\n"}};
  device.BindWrite(h);
  NibSetPlotter2(h, list);
  NibFreeRegistry2(list);
  _NibWorld2 first{-1, -1}, second{-2, -2};
  char key[16] = {};
  int length = 0;
  int ok = NibStartDigitize(h);
  ok &= NibDigitizePen(h, 1);
  ok &= NibDigitizePosition(h, &first);
  ok &= NibDigitizePosition(h, &second);
  ok &= NibDigitizeKey(h, key, &length);
  ok &= NibDigitizePen(h, 0);
  ok &= NibEndDigitize(h);
  ok &= NibHome(h);
  t.Add("digitize", std::to_string(ok) + " " + key);
  t.Add("first.x", first.x);
  t.Add("first.y", first.y);
  t.Add("second.x", second.x);
  t.Add("second.y", second.y);
  t.Add("heard", device.heard);
  NibFreeHandle(h);
}

// One whole job of thread `n`; with a `root`, the model goes through the
// store on its way to the handle.
std::string Job(const Shared& shared, HKEY root, int n) {
  Transcript t;
  const std::string& text = shared.modelText[n];
  _NibREG_DATA* inMemory = NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()),
                                           nullptr, 0, kPlans[n].model);
  t.Add("memory", Records(inMemory));
  Queries(inMemory, t);
  if (root != nullptr) {
    NibFreeRegistry2(inMemory);
    _NibREG_DATA* stored = ThroughTheStore(root, n, t);
    Plot(stored, n, t);
    NibFreeRegistry(stored);
  } else {
    Plot(inMemory, n, t);
    NibFreeRegistry2(inMemory);
  }
  Digitize(shared, n, t);
  return t.str();
}

// Where two transcripts part, for the message of a failure.
std::string Parting(const std::string& a, const std::string& b) {
  std::size_t i = 0;
  while (i < a.size() && i < b.size() && a[i] == b[i]) ++i;
  const std::size_t from = i < 40 ? 0 : i - 40;
  return "at byte " + std::to_string(i) + ": alone \"" + a.substr(from, 80) + "\", together \"" +
         b.substr(from, 80) + "\"";
}

TEST(Threads, FourHandlesAtOnceSendWhatEachSendsAlone) {
  Shared shared;
  for (int n = 0; n < kThreads; ++n) {
    shared.modelText[n] = ReadFile(ModelPath(kPlans[n].file));
    ASSERT_FALSE(shared.modelText[n].empty()) << kPlans[n].file;
  }
  shared.digitizerText = ReadFile(ModelPath("digitizer.ini"));
  test::StoreRoot store;

  std::string alone[kThreads], aloneInMemory[kThreads];
  for (int n = 0; n < kThreads; ++n) {
    HKEY root = store.OpenAgain();
    ASSERT_NE(root, nullptr);
    alone[n] = Job(shared, root, n);
    test::StoreRoot::CloseAgain(root);
    aloneInMemory[n] = Job(shared, nullptr, n);
  }
  // The jobs did their work: the store held and gave back each model, the
  // module counted per handle, the digitizer's position arrived in steps of
  // 0.025, and the four models differ.
  for (int n = 0; n < kThreads; ++n) {
    const std::string& a = alone[n];
    EXPECT_NE(a.find("stored=Another;" + std::string(kPlans[n].model) + ";\n"), std::string::npos)
        << a;
    EXPECT_NE(a.find("left=(null)\n"), std::string::npos) << n;
    EXPECT_NE(a.find("take=1\ninfo=1\n"), std::string::npos) << n;
    EXPECT_NE(a.find("job=1\n"), std::string::npos) << n;
    EXPECT_NE(a.find("<#1paper="), std::string::npos) << n;
    EXPECT_NE(a.find("<#2paper="), std::string::npos) << n;
    EXPECT_EQ(a.find("<#3"), std::string::npos) << n;
    EXPECT_NE(a.find("digitize=1 ENTER\n"), std::string::npos) << n;
    char position[160];
    const double x = (1000 + 37 * n) * 0.025, y = (2000 - 11 * n) * 0.025;
    std::snprintf(position, sizeof position,
                  "first.x=%.17g\nfirst.y=%.17g\nsecond.x=%.17g\nsecond.y=%.17g\n", x, y, y, x);
    EXPECT_NE(a.find(position), std::string::npos) << n << a.substr(a.find("digitize="));
    for (int m = 0; m < n; ++m) EXPECT_NE(alone[m], a);
    // The model that went through the store drives the same job.
    const std::size_t job = a.find("take=");
    ASSERT_NE(job, std::string::npos);
    EXPECT_NE(aloneInMemory[n].find(a.substr(job)), std::string::npos) << n;
  }
  // SVG declares kanji: the kanji of the text go out as their own bytes.
  EXPECT_NE(alone[3].find("\x88\x9F</text>"), std::string::npos);

  std::vector<std::string> failures[kThreads];
  std::vector<std::thread> threads;
  for (int n = 0; n < kThreads; ++n) {
    threads.emplace_back([&, n] {
      HKEY root = store.OpenAgain();
      if (root == nullptr) {
        failures[n].push_back("no root");
        return;
      }
      for (int round = 0; round < kRounds; ++round) {
        const bool throughStore = round % kStoreEvery == 0;  // all threads at once
        const std::string& expected = throughStore ? alone[n] : aloneInMemory[n];
        const std::string together = Job(shared, throughStore ? root : nullptr, n);
        if (together != expected && failures[n].size() < 3) {
          failures[n].push_back("round " + std::to_string(round) + " " +
                                Parting(expected, together));
        }
      }
      test::StoreRoot::CloseAgain(root);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int n = 0; n < kThreads; ++n) {
    EXPECT_TRUE(failures[n].empty()) << "thread " << n << ": " << failures[n].front();
  }
}

// The allocation-failure switch is the calling thread's own: a failure
// armed on one thread never strikes another, and counts do not mix.
TEST(Threads, AllocationFailureStrikesOnlyTheThreadThatArmedIt) {
  platform::FailAllocationAt(1);
  const unsigned long before = platform::AllocationCount();
  void* other = nullptr;
  unsigned long otherCount = 0;
  std::thread([&] {
    const unsigned long start = platform::AllocationCount();
    other = platform::AllocBlock(16);
    otherCount = platform::AllocationCount() - start;
  }).join();
  EXPECT_NE(other, nullptr);
  EXPECT_EQ(otherCount, 1u);
  EXPECT_EQ(platform::AllocationCount(), before);
  EXPECT_EQ(platform::AllocBlock(16), nullptr);  // armed here, so it strikes here
  EXPECT_EQ(platform::AllocationCount(), before + 1);
  platform::FreeBlock(other);
}

}  // namespace
}  // namespace konib
