// The bundled device models: each is read from its file as text, taken into
// a handle, and drives a short job whose bytes are checked.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "support/test_device.h"

#ifndef KONIB_SOURCE_DIR
#error "KONIB_SOURCE_DIR must name the source folder"
#endif

namespace konib {
namespace {

// Model texts are measured in unsigned long, 32 bits on Windows.
unsigned long Size(const std::string& text) { return static_cast<unsigned long>(text.size()); }

std::string ReadModelFile(const char* name) {
  std::ifstream in(std::string(KONIB_SOURCE_DIR) + "/models/" + name, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string Tail(const std::string& bytes, std::size_t n) { return bytes.substr(bytes.size() - n); }

// Takes bundled model `section` of `file` into `plotter`.
void TakeModel(void* plotter, const char* file, const char* section) {
  std::string text = ReadModelFile(file);
  EXPECT_FALSE(text.empty()) << file;
  _NibREG_DATA* list = NibGetRegistry2(text.data(), Size(text), nullptr, 0, section);
  EXPECT_NE(list, nullptr) << section;
  EXPECT_EQ(NibSetPlotter2(plotter, list), 1) << section;
  NibFreeRegistry2(list);
}

// A short job: a line, a circle, an arc, home.
std::string Job(const char* file, const char* section) {
  test::HandlePtr plotter(400, 277);
  test::TestDevice device;
  device.BindWrite(plotter.get());
  TakeModel(plotter.get(), file, section);
  void* p = plotter.get();
  _NibWorld4 line{{10, 20}, {30, 0}};
  _NibWorld2 centre{100, 100};
  _NibWorld2 quarter{0, 1.5707963267948966};
  EXPECT_EQ(NibInitiate(p) && NibStartPage(p) && NibDrawLine(p, &line) &&
                NibDrawArc(p, &centre, 10, nullptr) && NibDrawArc(p, &centre, 20, &quarter) &&
                NibHome(p) && NibEndPage(p) && NibTerminate(p),
            1);
  return device.bytes;
}

TEST(BundledModels, HpglPenPlotter) {
  EXPECT_EQ(Job("hpgl.ini", "HP-GL A3 Pen Plotter"),
            "IN;DF;PA;\r\nPU;PA;SP1;\r\nLT;PU400,800;PD1600,800;PU4000,4000;CI400;"
            "PU4800,4000;PD;AA4000,4000,90.0;PU0,0;PU;SP0;\r\nIN;\r\n");
}

TEST(BundledModels, Hpgl2RollPlotter) {
  std::string bytes = Job("hpgl2.ini", "HP-GL/2 A1 Roll Plotter");
  EXPECT_EQ(bytes.substr(0, 40), "\x1b%0BIN;\r\nPU;PA;SP1;PW0.35;\r\nLT;PU400,800");
  EXPECT_EQ(Tail(bytes, 18), "PU;SP0;\r\nPG;\x1b%0A\r\n");
}

TEST(BundledModels, DxyglPenPlotter) {
  EXPECT_EQ(Job("dxygl.ini", "DXY-GL A3 Pen Plotter"),
            "H\r\nJ1\r\nL0\r\nM100,200\r\nD400,200\r\nC1000,1000,100,0,360\r\n"
            "C1000,1000,200,0.0,90.0\r\nH\r\nJ0\r\nH\r\n");
}

TEST(BundledModels, SvgVirtualPlotter) {
  std::string svg = Job("svg.ini", "SVG Virtual Plotter");
  EXPECT_EQ(
      svg.substr(0, 163),
      "<?xml version=\"1.0\" encoding=\"windows-31j\"?>\r\n<svg "
      "xmlns=\"http://www.w3.org/2000/svg\" "
      "width=\"400.0mm\" height=\"277.0mm\" viewBox=\"0 0 4000 2770\">\r\n<rect width=\"100%\"");
  EXPECT_NE(
      svg.find(
          "<g stroke=\"black\">\r\n<line x1=\"100.0\" y1=\"2570.0\" x2=\"400.0\" y2=\"2570.0\"/>"),
      std::string::npos);
  EXPECT_EQ(Tail(svg, 18), "</g></g>\r\n</svg>\r\n");
}

// The device languages of today's plotters, each with a line from (10, 20)
// to (40, 20) between the job's frame. The bytes are written from each
// language's command definitions. The G-code models lift and lower the pen
// through the extension module penstate, which sends a change only: the
// pen goes up before the move, down before the line, up at the page's end,
// and the job's end, where it is up already, sends nothing.
TEST(BundledModels, DeviceLanguages) {
  const struct {
    const char* file;
    const char* section;
    const char* expected;
  } cases[] = {
      {"gcode.ini", "G-code Servo Pen Plotter",
       "G21\nG90\nG94\nM3 S20\nG4 P0.15\nG0 X10.000 Y20.000\nM3 S30\nG4 P0.15\n"
       "G1 X40.000 Y20.000 F1500\nM3 S20\nG4 P0.15\n"},
      {"gcode.ini", "G-code Z Pen Plotter",
       "G21\nG90\nG94\nG0 Z5\nG0 X10.000 Y20.000\nG1 Z0 F300\nG1 X40.000 Y20.000 F1500\nG0 Z5\n"},
      {"gpgl.ini", "GP-GL Pen Plotter", "H\003J1\003M100,200\003D400,200\003J0\003H\003"},
      // The feed axis first, from the top edge of 277: 257 mm, then x.
      {"gpgl.ini", "GP-GL Media-Feed Cutter", "H\003J1\003M2570,100\003D2570,400\003J0\003H\003"},
      {"cammgl.ini", "CAMM-GL Mode 2 Cutter",
       "IN;PA;\r\nSP1;\r\nPU400,800;PD1600,800;PU;SP0;\r\nIN;\r\n"},
      {"cammgl.ini", "CAMM-GL Mode 1 Cutter", "H\r\nJ1\r\nM400,800\r\nD1600,800\r\nJ0\r\nH\r\n"},
      // 0.001 inch a step: 10 mm is 393.7, 20 mm 787.4, 40 mm 1574.8.
      {"dmpl.ini", "DM/PL Pen Plotter",
       ";:H A L0 EC1 \r\nP1 \r\nU394,787 D1575,787 U P0 \r\nH @ \r\n"},
      // 1021 units to the inch: 10 mm is 402.0, not 400.
      {"hp75xx.ini", "HP 7475A",
       "\x1b.@;0:\x1b.I150;;17:\x1b.N;19:IN;DF;PA;\r\nPU;PA;SP1;\r\nLT;PU402,804;PD1608,804;PU;SP0;"
       "\r\nIN;\r\n"},
      // Motor steps of 0.0125 mm, y from the top edge (277 - 20 mm is 20560
      // steps), motor 1 x + y and motor 2 x - y. The travel of 257.19 mm at
      // 75 mm/s takes 3430 ms; the line of 30 mm at 25 mm/s 1200 ms; the way
      // home from (3200, 20560) steps, 260.09 mm, 3468 ms.
      {"ebb.ini", "AxiDraw EiBotBoard",
       "EM,1,1\rSC,4,20641\rSC,5,15248\rSP,1,150\rSM,3430,21360,-19760\rSP,0,150\rSM,1200,2400,"
       "2400\r"
       "SP,1,150\rSM,3468,-23760,17360\r"},
      {"hp75xx.ini", "HP 7550A",
       "\x1b.@;0:\x1b.I150;;17:\x1b.N;19:IN;DF;PA;\r\nPU;PA;SP1;\r\nLT;PU400,800;PD1600,800;PU;SP0;"
       "\r\nIN;\r\n"},
  };
  for (const auto& c : cases) {
    test::HandlePtr plotter(400, 277);
    test::TestDevice device;
    device.BindWrite(plotter.get());
    TakeModel(plotter.get(), c.file, c.section);
    void* p = plotter.get();
    _NibWorld4 line{{10, 20}, {30, 0}};
    EXPECT_EQ(NibInitiate(p) && NibStartPage(p) && NibDrawLine(p, &line) && NibEndPage(p) &&
                  NibTerminate(p),
              1);
    EXPECT_EQ(device.bytes, c.expected) << c.section;
  }
}

// The EiBotBoard refuses a move in which a turning motor makes fewer than
// 1.31 steps a second. A line of 4000 steps across and 3999 up turns motor 1
// by one step in 2829 ms (70.70 mm at 25 mm/s): the module cuts it into
// four pieces of at most 750 ms, the step falling in the second.
TEST(BundledModels, EiBotBoardKeepsEachMotorFastEnough) {
  test::HandlePtr plotter(400, 277);
  test::TestDevice device;
  device.BindPut(plotter.get());
  TakeModel(plotter.get(), "ebb.ini", "AxiDraw EiBotBoard");
  void* p = plotter.get();
  _NibWorld4 line{{10, 100}, {50, 49.9875}};
  _NibWorld4 there{{10, 100}, {0, 0}};  // the pen down at the line's start
  ASSERT_EQ(NibInitiate(p) && NibStartPage(p) && NibDrawLine(p, &there), 1);
  device.bytes.clear();
  ASSERT_EQ(NibDrawLine(p, &line), 1);
  EXPECT_EQ(device.bytes, "SM,707,0,2000\rSM,708,1,2000\rSM,707,0,1999\rSM,707,0,2000\r");
}

// A solid circle of radius 10 (far below the default arc limit of 150)
// must reach the paper through every bundled model: as the device's own
// circle where the model has one, as chords where Ctrl.DrawArc is 0. A
// model with neither would send nothing for it. A dot first selects the
// pen, so the bytes compared are the circle's alone.
TEST(BundledModels, EverySolidCircleReachesThePaper) {
  const struct {
    const char* file;
    const char* section;
    const char* start;  // the circle's first bytes
    std::size_t least;  // and at least this many in all
  } cases[] = {
      {"hpgl.ini", "HP-GL A3 Pen Plotter", "PU4000,4000;CI400;", 18},
      {"hpgl2.ini", "HP-GL/2 A1 Roll Plotter", "PU4000,4000;CI400;", 18},
      {"dxygl.ini", "DXY-GL A3 Pen Plotter", "C1000,1000,100,0,360\r\n", 22},
      {"svg.ini", "SVG Virtual Plotter", "<line x1=\"1100.0\" y1=\"1770.0\"", 300 * 50},
      {"digitizer.ini", "HP-GL Digitizing Plotter", "PU4400,4000;PD4400,4008;", 300 * 10},
      {"gcode.ini", "G-code Servo Pen Plotter", "M3 S20\nG4 P0.15\nG0 X110.000 Y100.000\nM3 S30\n",
       300 * 20},
      {"gpgl.ini", "GP-GL Pen Plotter", "M1100,1000\003D1100,1002\003", 300 * 10},
      {"cammgl.ini", "CAMM-GL Mode 1 Cutter", "M4400,4000\r\nD4400,4008\r\n", 300 * 10},
      {"dmpl.ini", "DM/PL Pen Plotter", "U4331,3937 D4331,3945 ", 300 * 10},
      {"hp75xx.ini", "HP 7475A", "PU4020,4020;CI402;", 18},
  };
  for (const auto& c : cases) {
    test::HandlePtr plotter(400, 277);
    test::TestDevice device;
    device.BindPut(plotter.get());
    TakeModel(plotter.get(), c.file, c.section);
    const _NibWorld2 dot{100, 100};
    EXPECT_EQ(NibDrawDot(plotter.get(), &dot), 1);
    device.bytes.clear();
    EXPECT_EQ(NibDrawArc(plotter.get(), &dot, 10, nullptr), 1);
    EXPECT_EQ(device.bytes.substr(0, std::strlen(c.start)), c.start) << c.file;
    EXPECT_GE(device.bytes.size(), c.least) << c.file;
  }
}

// Each model letters a label: "A<1" at (10, 50), 4 high, pitch 3, at 90
// degrees, then the same at 0 degrees. Letter, sign and digit are three
// runs, each placed by the library; the direction goes out on a change.
TEST(BundledModels, Lettering) {
  const struct {
    const char* file;
    const char* section;
    const char* expected;
  } cases[] = {
      {"hpgl.ini", "HP-GL A3 Pen Plotter",
       "SP1;\r\nLT;PU400,2000;SI0.2000,0.4000;DI0.00,100.00;SL0;LBA\003PU400,2120;SI0.2000,0.4000;"
       "LB<\003"
       "PU400,2240;SI0.2000,0.4000;LB1\003PU400,2000;SI0.2000,0.4000;DI100.00,0.00;LBA\003"
       "PU520,2000;SI0.2000,0.4000;LB<\003PU640,2000;SI0.2000,0.4000;LB1\003"},
      {"dxygl.ini", "DXY-GL A3 Pen Plotter",
       "J1\r\nL0\r\nM100,500\r\nS40\r\nQ1\r\nPA\r\nM100,530\r\nS40\r\nQ1\r\nP<\r\nM100,"
       "560\r\nS40\r\nQ1\r\n"
       "P1\r\nM100,500\r\nS40\r\nQ0\r\nPA\r\nM130,500\r\nS40\r\nQ0\r\nP<\r\nM160,"
       "500\r\nS40\r\nQ0\r\nP1\r\n"},
  };
  for (const auto& c : cases) {
    test::HandlePtr plotter(400, 277);
    test::TestDevice device;
    device.BindPut(plotter.get());
    TakeModel(plotter.get(), c.file, c.section);
    _NibWorld2 at{10, 50};
    _NibTextInfo up{0, 2, 4, 3, 1.5707963267948966};
    _NibTextInfo across{0, 2, 4, 3, 0};
    EXPECT_EQ(NibDrawText(plotter.get(), &at, "A<1", &up), 1);
    EXPECT_EQ(NibDrawText(plotter.get(), &at, "A<1", &across), 1);
    EXPECT_EQ(device.bytes, c.expected) << c.file;
  }
}

}  // namespace
}  // namespace konib
