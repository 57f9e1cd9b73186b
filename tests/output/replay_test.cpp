// The replay corpus: random jobs through every bundled model and through
// models whose templates are strung together from the fuzzer's vocabulary,
// each job's length and fingerprint kept in replay.txt. Whatever is done to
// make drawing faster, the device must receive the very same bytes.
//
// After a deliberate change of output, rewrite the file with
//   KONIB_REPLAY_RECORD=1 build/default/bin/output_tests --gtest_filter='Replay*'
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/model_list.h"
#include "support/test_device.h"

#ifndef KONIB_SOURCE_DIR
#error "KONIB_SOURCE_DIR must name the source folder"
#endif

namespace konib {
namespace {

// splitmix64: the same numbers on every compiler and library, which the
// standard distributions do not promise.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  std::uint64_t Next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  int Below(int n) { return static_cast<int>(Next() % static_cast<std::uint64_t>(n)); }
  double Between(double low, double high) {
    return low + (high - low) * static_cast<double>(Next() >> 11) * (1.0 / 9007199254740992.0);
  }
  bool Chance(int percent) { return Below(100) < percent; }
  template <typename T, std::size_t N>
  const T& Pick(const T (&items)[N]) {
    return items[Below(static_cast<int>(N))];
  }

 private:
  std::uint64_t state_;
};

// FNV-1a: a fingerprint against accidents, not adversaries, which is all a
// change of output is; a changed job keeps its 64 bits by a chance of one in
// 2^64.
std::string Fingerprint(const std::string& bytes) {
  std::uint64_t hash = 0xcbf29ce484222325ull;
  for (char byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3ull;
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
  return text;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string CorpusPath() { return std::string(KONIB_SOURCE_DIR) + "/tests/output/replay.txt"; }

// Pieces of templates: plain bytes and every form of escape, well-formed and
// not, that the walker, the numbers, the model escapes and the extension
// calls know.
// clang-format off
const char* const kPieces[] = {
    "PU", "PD", ";", ",", " ", "\x81\x5c", "\\x1", "\\y1", "\\x2", "\\y2", "\\x3", "\\y3", "\\x4",
    "\\y4", "\\xc", "\\yc", "\\x0", "\\y5", "\\xc3", "\\yc3", "\\r1", "\\r2", "\\a1", "\\a2",
    "\\a3", "\\a4", "\\a5", "\\mv", "\\MV", "\\-x1", "\\+y2", "\\X2", "\\x10", "\\(x1)",
    "\\(x2,6.1)", "\\(y2,06.1)", "\\(-x1,*6.0)", "\\(x2,0,+5)", "\\(y1,0,+5s)", "\\(x2,,%7)",
    "\\(y2,0,/0)", "\\(x1,0,*)", "\\(x1,6.1", "\\(a3,1)", "\\(r1,.2,*2)", "\\(x2,1.2.3)",
    "\\(-y2,03,-1.5)", "\\(xc,0,/3)", "\\(a2,4.)", "\\(x1,,)", "\\(x2,)", "\\pn", "\\P0", "\\ls",
    "\\pp", "\\pb", "\\po", "\\e1", "\\e2", "\\e7", "\\sx", "\\(sy,1,*0.1)", "\\-px", "\\(py,0)",
    "\\$1B", "\\$5c", "\\$G1", "\\n", "\\N", "\\zz", "\\\\", "\\,", "\\(", "\\{",
    "\\[probe.Echo,A\\pn\\n]", "\\[probe.Echo]", "\\[nothing.Fn]", "\\[probe.Echo,x"};
// clang-format on

// `point`: the command hands extension functions a point (a move or a
// line), which the walk passes behind the call record. The probe is only
// echoed there: its point function prints doubles to the last digit, and the
// last digit of a sine differs between the C libraries of the platforms.
std::string RandomTemplate(Random& random, int pieces, bool point = false) {
  std::string text;
  for (int i = random.Below(pieces + 1); i > 0; --i) {
    text += point && random.Chance(5) ? "\\[probe.Echo,point]" : random.Pick(kPieces);
  }
  if (random.Chance(5)) text += "\\";  // a lone backslash at the end
  return text;
}

using Values = std::vector<std::pair<std::string, std::string>>;

// A model of random templates and settings.
Values RandomModel(Random& random) {
  static const char* const kSteps[] = {"0.025", "0.1", "1", "0.01", "0.3,0.3"};
  static const char* const kDrawArc[] = {"-1", "0", "150", "20"};
  Values values = {
      {"Step", random.Pick(kSteps)},
      {"Decimal", std::to_string(random.Below(4))},
      {"Ctrl.DrawArc", random.Pick(kDrawArc)},
      {"PenLayout", "0,1,2,3,4"},
      {"PenTbl", "0,SP1;,SP2\\pn;,\\p0,\\ls"},
      {"Style2", "LT2\\(l1,2),\\ln,8,2"},
      {"Style7", "LT\\l0\\pn\\ls,3,1,1,1"},
      {"Paper", "A3,3"},
      {"Paper.3", "A3,400,277,PS\\po"},
      {"Orientation", "0,RO0,RO90\\pp"},
      {"Bin", "B,1"},
      {"Bin.1", "Upper,BI1"},
      {"Extension.1", "1,Title,Name A,EA\\x1,Name B,EB\\e1"},
      {"Command.Init", "IN;" + RandomTemplate(random, 3)},
      {"Command.StartPage", "SP;" + RandomTemplate(random, 2)},
      {"Command.Pen", RandomTemplate(random, 4)},
      {"Command.Style", RandomTemplate(random, 3)},
      {"Command.Move", RandomTemplate(random, 6, true)},
      {"Command.Line", RandomTemplate(random, 8, true)},
      {"Command.Circle", RandomTemplate(random, 6)},
      {"Command.Arc", RandomTemplate(random, 8)},
      {"Command.EndPage", "EP;\\n"},
      {"Command.Term", RandomTemplate(random, 3)},
  };
  if (random.Chance(30)) values.push_back({"Command.Home", RandomTemplate(random, 3)});
  return values;
}

_NibWorld2 Point(Random& random) {
  // A fifth of the points lie off the sheet.
  if (random.Chance(20)) return {random.Between(-150, 550), random.Between(-120, 400)};
  return {random.Between(0, 400), random.Between(0, 277)};
}

// Pieces of text templates: the character codes in every form, the
// text's sizes and angle, the font escapes (which may name each other) and
// some of the plain pieces.
// clang-format off
const char* const kTextPieces[] = {
    "LB", "\\$03", ";", ",", "\\c1", "\\c2", "\\c3", "\\c4", "\\c5", "\\c8", "\\c9", "\\c0", "\\w1",
    "\\w2", "\\w3", "\\h1", "\\h2", "\\h3", "\\p1", "\\s1", "\\sc", "\\ss", "\\w0", "\\h0", "\\s0",
    "\\i0", "\\i1", "\\b0", "\\b1", "\\x1", "\\y1", "\\x3", "\\y3", "\\pn", "\\n", "\\(h1,4,/400)",
    "\\(p1,4,/600)", "\\(sc,2)", "\\(s1,1,*2)", "\\(w3,2", "\\[probe.Echo,T\\c4]", "\\"};
// clang-format on

// A model with text templates of random pieces on top of a random one.
Values RandomTextModel(Random& random) {
  Values values = RandomModel(random);
  static const char* const kTextKeys[] = {
      "Command.Text",         "Command.TextDrawInit",  "Command.TextDraw",
      "Command.TextDrawTerm", "Command.TextCharInit",  "Command.TextChar",
      "Command.TextCharTerm", "Command.TextKanaInit",  "Command.TextKana",
      "Command.TextKanaTerm", "Command.TextTerm",      "Command.FontBoldOff",
      "Command.FontBoldOn",   "Command.FontItalicOff", "Command.FontItalicOn",
      "Command.FontWidth",    "Command.FontHeight",    "Command.FontPitch",
      "Command.FontAngle"};
  for (const char* key : kTextKeys) {
    if (!random.Chance(60)) continue;
    std::string text;
    for (int i = random.Below(6); i > 0; --i) {
      text += random.Chance(80) ? random.Pick(kTextPieces) : random.Pick(kPieces);
    }
    values.push_back({key, text});
  }
  static const char* const kReplace[] = {"A,B", "a,Q,A,R", "\xb1,XY,\x82\xa0,", "1,\x93\xfa"};
  static const char* const kAdjust[] = {"0.8,0.9,0,0.1", "2,3,1,0", "1,1,-0.5,0.25"};
  if (random.Chance(40)) values.push_back({"FontReplace", random.Pick(kReplace)});
  for (int i = 1; i <= 5; ++i) {
    if (random.Chance(25))
      values.push_back({"FontAdjust" + std::to_string(i), random.Pick(kAdjust)});
  }
  if (random.Chance(50)) values.push_back({"ANK", std::to_string(random.Below(3))});
  if (random.Chance(50)) values.push_back({"Kanji", std::to_string(random.Below(3))});
  return values;
}

// A random text of ASCII, half-width kana, double-byte characters and
// bytes that are no valid CP932 (a lone lead byte, 0x80, 0xA0, 0xFD).
std::string RandomText(Random& random) {
  static const char* const kChars[] = {"A",        "z",        " ",        "7",        "\\",
                                       "\xb1",     "\xdf",     "\xa6",     "\x93\xfa", "\x96\x7b",
                                       "\x81\x5c", "\x82\xa0", "\x83\x41", "\xe0\x40", "\xfc\xfc",
                                       "\x80",     "\xa0",     "\xfd",     "\x88\x9f", "\x82"};
  std::string text;
  for (int i = random.Below(12); i > 0; --i) text += random.Pick(kChars);
  return text;
}

void DrawRandomText(Random& random, void* h) {
  const _NibWorld2 at = Point(random);
  const std::string text = RandomText(random);
  static const double kSizes[] = {0.5, 2.5, 4, 10, 0};
  _NibTextInfo info{};
  info.flags = static_cast<std::uint32_t>(random.Below(8));
  info.height = random.Pick(kSizes);
  info.width = random.Chance(80) ? info.height * random.Between(0.5, 1.2) : random.Pick(kSizes);
  info.pitch = info.width * random.Between(0.8, 1.6);
  static const double kAngles[] = {0, 0, 1.5707963267948966, -0.5, 3.0};
  info.angle = random.Chance(70) ? random.Pick(kAngles) : random.Between(-7, 7);
  NibDrawText(h, &at, text.c_str(), &info);
}

// A job of random drawing on the handle: lines, dots, arcs and circles in
// every style, pens of several strokes, views, clipping on and off, and
// templates replaced in the middle of the job.
void RandomJob(Random& random, void* h, int operations, bool text) {
  NibInitiate(h);
  NibStartPage(h);
  for (int i = 0; i < operations; ++i) {
    // Jobs without text draw no number for it, so that their bytes stay.
    if (text && random.Chance(25)) {
      DrawRandomText(random, h);
      continue;
    }
    int what = random.Below(100);
    if (what < 40) {
      const _NibWorld2 from = Point(random);
      const _NibWorld2 to = Point(random);
      const _NibWorld4 line{from, {to.x - from.x, to.y - from.y}};
      NibDrawLine(h, &line);
    } else if (what < 48) {
      const _NibWorld2 at = Point(random);
      NibDrawDot(h, &at);
    } else if (what < 56) {
      const _NibWorld2 centre = Point(random);
      NibDrawArc(h, &centre, random.Chance(80) ? random.Between(0.01, 12) : random.Between(12, 160),
                 nullptr);
    } else if (what < 66) {
      const _NibWorld2 centre = Point(random);
      const _NibWorld2 angles{random.Between(-7, 7), random.Between(-7, 7)};
      NibDrawArc(h, &centre, random.Between(-40, 100), &angles);
    } else if (what < 74) {
      static const int kStyles[] = {0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 12};
      NibSetStyle(h, random.Pick(kStyles));
    } else if (what < 80) {
      NibSetPen(h, random.Below(6));
    } else if (what < 84) {
      _NibInfo info{};
      for (int pen = 0; pen < 17; ++pen)
        info.pens[pen] = {pen, 1 + random.Below(4), random.Between(0, 0.8)};
      NibSetPlotterInfo(h, NIB_INFO_PENS, &info);
    } else if (what < 87) {
      NibSetClip(h, random.Below(2));
    } else if (what < 90) {
      // Scales of at most about two, mirrored now and then.
      const double sign = random.Chance(25) ? -1.0 : 1.0;
      const _NibWorld4 window{{random.Between(-50, 50), random.Between(-50, 50)},
                              {sign * random.Between(150, 300), random.Between(150, 300)}};
      const _NibWorld4 view{{random.Between(0, 100), random.Between(0, 100)},
                            {random.Between(50, 300), random.Between(50, 300)}};
      NibSetWindow(h, &window);
      if (random.Chance(50)) {
        NibSetViewRelative(h, &view);
      } else {
        NibSetView(h, &view);
      }
    } else if (what < 92) {
      NibSetViewRelative(h, nullptr);
    } else if (what < 94) {
      NibHome(h);
    } else if (what < 96) {
      NibEndPage(h);
      NibStartPage(h);
    } else if (what < 98) {
      // A template or a number setting replaced while the job runs.
      static const char* const kLines[] = {"PD\\x2,\\y2;", "L\\(x2,06.1)\\(y2,3)\\n", "\\x1>\\x2"};
      const _NibRegInfo items[] = {{NibKeyCommandLine, 0, random.Pick(kLines)},
                                   {NibKeyDecimal, 0, random.Chance(50) ? "0" : "2"}};
      NibSetPlotter(h, items, 2);
    } else {
      _NibInfo info{};
      info.step = random.Chance(50) ? 0.025 : 0.1;
      NibSetPlotterInfo(h, NIB_INFO_STEP, &info);
    }
  }
  NibEndPage(h);
  NibTerminate(h);
}

struct Job {
  std::string name;
  std::string bytes;
};

Job Run(const std::string& name, const _NibREG_DATA* list, std::uint64_t seed, int operations,
        bool text = false) {
  Random random(seed);
  test::HandlePtr plotter(400, 277);
  test::TestDevice device;
  // Most jobs go through the buffer, some byte by byte.
  if (seed % 4 == 0) {
    device.BindPut(plotter.get());
  } else {
    device.BindWrite(plotter.get());
  }
  if (list != nullptr) NibSetPlotter2(plotter.get(), list);
  RandomJob(random, plotter.get(), operations, text);
  return {name, device.bytes};
}

std::vector<Job> Corpus() {
  std::vector<Job> jobs;
  std::vector<Job> textJobs;
  const struct {
    const char* file;
    const char* model;
  } bundled[] = {{"hpgl.ini", "HP-GL A3 Pen Plotter"},
                 {"hpgl2.ini", "HP-GL/2 A1 Roll Plotter"},
                 {"dxygl.ini", "DXY-GL A3 Pen Plotter"},
                 {"svg.ini", "SVG Virtual Plotter"}};
  for (const auto& model : bundled) {
    const std::string text = ReadFile(std::string(KONIB_SOURCE_DIR) + "/models/" + model.file);
    EXPECT_FALSE(text.empty()) << model.file;
    _NibREG_DATA* list = NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()),
                                         nullptr, 0, model.model);
    EXPECT_NE(list, nullptr) << model.model;
    for (std::uint64_t seed = 1; seed <= 8; ++seed) {
      jobs.push_back(Run(std::string(model.file) + "/" + std::to_string(seed), list, seed, 120));
    }
    // Text, after the jobs recorded before there was any.
    for (std::uint64_t seed = 1; seed <= 4; ++seed) {
      textJobs.push_back(
          Run(std::string(model.file) + "/text" + std::to_string(seed), list, seed, 120, true));
    }
    NibFreeRegistry2(list);
  }
  Random models(20261123);
  for (int m = 0; m < 40; ++m) {
    const Values values = RandomModel(models);
    test::ModelList list(values);
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
      jobs.push_back(Run("templates" + std::to_string(m) + "/" + std::to_string(seed), list.get(),
                         models.Next(), 60));
    }
  }
  jobs.insert(jobs.end(), textJobs.begin(), textJobs.end());
  Random textModels(20261124);
  for (int m = 0; m < 16; ++m) {
    const Values values = RandomTextModel(textModels);
    test::ModelList list(values);
    for (std::uint64_t seed = 1; seed <= 2; ++seed) {
      jobs.push_back(Run("text" + std::to_string(m) + "/" + std::to_string(seed), list.get(),
                         textModels.Next(), 60, true));
    }
  }
  return jobs;
}

TEST(Replay, EveryJobSendsTheRecordedBytes) {
  const std::vector<Job> jobs = Corpus();
  ASSERT_GT(jobs.size(), 100u);
  if (std::getenv("KONIB_REPLAY_RECORD") != nullptr) {
    std::ofstream out(CorpusPath(), std::ios::binary);
    out << "# job, bytes sent, FNV-1a of the bytes\n";
    for (const Job& job : jobs)
      out << job.name << ' ' << job.bytes.size() << ' ' << Fingerprint(job.bytes) << '\n';
    GTEST_SKIP() << "recorded " << jobs.size() << " jobs in " << CorpusPath();
  }
  std::map<std::string, std::pair<std::size_t, std::string>> recorded;
  std::istringstream lines(ReadFile(CorpusPath()));
  std::string line;
  while (std::getline(lines, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    std::string name, hash;
    std::size_t size = 0;
    fields >> name >> size >> hash;
    recorded[name] = {size, hash};
  }
  ASSERT_EQ(recorded.size(), jobs.size()) << CorpusPath();
  std::size_t empty = 0;
  for (const Job& job : jobs) {
    auto it = recorded.find(job.name);
    ASSERT_NE(it, recorded.end()) << job.name;
    EXPECT_EQ(job.bytes.size(), it->second.first) << job.name;
    EXPECT_EQ(Fingerprint(job.bytes), it->second.second) << job.name;
    if (job.bytes.empty()) ++empty;
  }
  EXPECT_EQ(empty, 0u);  // every job drew something
}

}  // namespace
}  // namespace konib
