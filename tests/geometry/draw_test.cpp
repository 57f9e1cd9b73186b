#include "geometry/draw.h"

#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "support/model_handle.h"

namespace konib {
namespace {

using test::ModelHandle;

struct Plotter : ModelHandle {
  explicit Plotter(const char* decimals = "1", const char* drawArc = "150")
      : ModelHandle({{"Decimal", decimals},
                     {"Ctrl.DrawArc", drawArc},
                     {"Command.Pen", "P\\pn;"},
                     {"Command.Style", "S;"},
                     {"Command.Move", "M\\x1,\\y1;"},
                     {"Command.Line", "L\\x2,\\y2;"},
                     {"Command.Circle", "C\\xc,\\yc,\\r1;"},
                     {"Command.Arc", "A\\xc,\\yc,\\r1,\\(a1,1),\\(a3,1);"}}) {}
  void Pen(int index, int strokes, double spacing) {
    h()->pens[index].strokes = strokes;
    h()->pens[index].strokeSpacing = spacing;
    NibSetPen(get(), index);
  }
  int Line(double x0, double y0, double x1, double y1) {
    _NibWorld4 line{{x0, y0}, {x1 - x0, y1 - y0}};
    return NibDrawLine(get(), &line);
  }
  int Circle(double x, double y, double r) {
    _NibWorld2 c{x, y};
    return NibDrawArc(get(), &c, r, nullptr);
  }
  int Arc(double x, double y, double r, double start, double sweep) {
    _NibWorld2 c{x, y};
    _NibWorld2 a{start, sweep};
    return NibDrawArc(get(), &c, r, &a);
  }
};

TEST(DrawLine, SolidLineSelectsPenAndStyle) {
  Plotter m;
  EXPECT_EQ(m.Line(10, 20, 30, 40), 1);
  EXPECT_EQ(m.Line(30, 40, 50, 40), 1);  // continues: no move
  EXPECT_EQ(m.Take(), "P2;S;M10.0,20.0;L30.0,40.0;L50.0,40.0;");
}

TEST(DrawLine, DrawnBackwardsWhenThePenIsNearerItsEnd) {
  Plotter m;
  m.h()->stateFlags = kPositionKnown | kPenSelected | kStyleSelected;
  m.h()->devicePen = 2;  // pen index 1 holds pen number 2
  m.h()->devicePos = {100, 100};
  m.Line(0, 0, 99, 99);
  EXPECT_EQ(m.Take(), "M99.0,99.0;L0.0,0.0;");
  m.h()->devicePos = {50, 0};  // exactly midway: the caller's direction
  m.Line(0, 0, 100, 0);
  EXPECT_EQ(m.Take(), "M0.0,0.0;L100.0,0.0;");
}

// The ends' squares decide which is nearer unless they lie within a few
// parts in a thousand million; nearer still, the roots do. Either way the
// nearer end comes first, and only a true tie keeps the caller's direction.
TEST(DrawLine, TheNearerEndFirstEvenNearATie) {
  for (const double d : {0.0, 1e-12, 1e-10, 1e-9, 1.5e-9, 2.5e-9, 1e-8, 1e-3}) {
    Plotter m;
    m.h()->stateFlags = kPositionKnown | kPenSelected | kStyleSelected;
    m.h()->devicePen = 2;
    m.h()->devicePos = {0, 0};
    m.Line(0, 1 + d, 1, 0);  // the start lies d farther
    EXPECT_EQ(m.Take(), d == 0 ? "M0.0,1.0;L1.0,0.0;" : "M1.0,0.0;L0.0,1.0;") << d;
    m.h()->devicePos = {0, 0};
    m.Line(1, 0, 0, 1 + d);  // the end does
    EXPECT_EQ(m.Take(), "M1.0,0.0;L0.0,1.0;") << d;
  }
}

TEST(DrawLine, DashesAreLaidFromTheNewStart) {
  Plotter m;
  NibSetStyle(m.get(), 2);  // pitch 10: 8 and 2
  m.Line(0, 0, 25, 0);
  EXPECT_EQ(m.Take(), "P2;S;M0.0,0.0;L6.5,0.0;M8.5,0.0;L16.5,0.0;M18.5,0.0;L25.0,0.0;");
  m.h()->devicePos = {30, 0};
  m.Line(0, 0, 25, 0);  // swapped: the pattern starts at x = 25
  EXPECT_EQ(m.Take(), "M25.0,0.0;L18.5,0.0;M16.5,0.0;L8.5,0.0;M6.5,0.0;L0.0,0.0;");
}

TEST(DrawLine, ShortStyledLinesAreSolidAndWidePensHatch) {
  Plotter m;
  NibSetStyle(m.get(), 2);
  m.Pen(1, 2, 1);
  m.Line(0, 10, 0.09, 10);
  EXPECT_EQ(m.Take(), "P2;S;M0.0,10.5;L0.1,10.5;M0.1,9.5;L0.0,9.5;");  // to and fro
  m.Line(10, 10, 10, 12);  // dashed with two strokes: both run start to end
  EXPECT_EQ(m.Take(),
            "M9.5,10.0;L9.5,10.8;M9.5,11.2;L9.5,12.0;M10.5,10.0;L10.5,10.8;M10.5,11.2;L10.5,12.0;");
}

TEST(DrawDot, TwoStrokesAndClipping) {
  Plotter m("2");
  m.Pen(1, 2, 0.4);
  _NibWorld2 dot{10, 10};
  ASSERT_EQ(NibDrawDot(m.get(), &dot), 1);
  EXPECT_EQ(m.Take(), "P2;S;M9.95,10.20;L10.05,10.20;M10.05,9.80;L9.95,9.80;");
  _NibWorld2 outside{-10, -10};
  m.h()->stateFlags = 0;
  EXPECT_EQ(NibDrawDot(m.get(), &outside), 1);
  EXPECT_EQ(m.Take(), "P2;");  // the pen is selected, nothing else
}

TEST(Draw, NothingForPenZeroStrokesZeroOrAnEmptyClip) {
  Plotter m;
  NibSetPen(m.get(), 0);
  EXPECT_EQ(m.Line(0, 0, 10, 10), 1);
  NibSetPen(m.get(), 17);
  EXPECT_EQ(m.Circle(5, 5, 1), 1);
  m.Pen(2, 0, 0);
  _NibWorld2 dot{1, 1};
  EXPECT_EQ(NibDrawDot(m.get(), &dot), 1);
  EXPECT_EQ(m.Take(), "");
  test::HandlePtr empty(0, 100);
  test::TestDevice device;
  device.BindPut(empty.get());
  _NibWorld4 line{{0, 0}, {5, 5}};
  EXPECT_EQ(NibDrawLine(empty.get(), &line), 1);
  EXPECT_EQ(device.bytes, "");
  EXPECT_EQ(NibDrawLine(nullptr, &line), 0);
}

TEST(Draw, ClippingOffSendsEverything) {
  Plotter m;
  NibSetClip(m.get(), 0);
  m.Line(-10, 0, 2000, 0);
  EXPECT_EQ(m.Take(), "P2;S;M-10.0,0.0;L2000.0,0.0;");
}

TEST(DrawArc, DeviceRoadUpToTheLimit) {
  Plotter m;
  m.Circle(500, 400, 150.0);
  EXPECT_EQ(m.Take(), "P2;S;C500.0,400.0,150.0;");
  m.Circle(500, 400, 150.1);
  std::string chords = m.Take();
  EXPECT_EQ(chords.find("C"), std::string::npos);
  EXPECT_GT(chords.size(), 1000u);
}

TEST(DrawArc, NegativeLimitAlwaysTheDeviceAndStylesAlwaysChords) {
  Plotter m("1", "-1");
  m.Circle(500, 400, 300);
  EXPECT_EQ(m.Take(), "P2;S;C500.0,400.0,300.0;");
  NibSetStyle(m.get(), 1);
  m.Circle(500, 400, 0.01);  // circumference below 0.1: a straight stroke
  EXPECT_EQ(m.Take(), "M500.0,400.0;L500.0,400.0;");
}

TEST(DrawArc, CircleCutByTheClipIsSentAsArcs) {
  Plotter m;
  m.Circle(0, 400, 10);  // the left edge x = 0 cuts it
  EXPECT_EQ(m.Take(), "P2;S;A0.0,400.0,10.0,270.0,180.0;");
  EXPECT_TRUE(m.h()->stateFlags & kPositionKnown);
  m.Circle(-50, 400, 10);  // wholly outside
  EXPECT_EQ(m.Take(), "");
}

TEST(DrawArc, WidePenRadii) {
  Plotter m;
  m.Pen(1, 5, 1);
  m.Circle(500, 400, 0.5);
  EXPECT_EQ(m.Take(), "P2;S;C500.0,400.0,2.5;C500.0,400.0,1.5;C500.0,400.0,0.5;");
  m.Pen(1, 3, 1);
  m.Arc(500, 400, 10, 0, 1);
  EXPECT_EQ(m.Take(), "A500.0,400.0,11.0,0.0,57.3;A500.0,400.0,10.0,0.0,57.3;A500.0,400.0,9.0,0.0,57.3;");
}

TEST(DrawArc, UnequalScalesKeepACircle) {
  Plotter m;
  m.h()->scale = {2, 1};
  m.Arc(100, 100, 10, 0, 1.5707963267948966);
  EXPECT_EQ(m.Take(), "P2;S;A200.0,100.0,20.0,0.0,90.0;");
  m.Circle(100, 100, 10);
  EXPECT_EQ(m.Take(), "C200.0,100.0,20.0;");
  // A negative sweep runs from 1 to 2 radians; the radius is that of the
  // mapped start point (20 cos 1, 10 sin 1), the angles its direction.
  m.Arc(100, 100, 10, 2, -1);
  EXPECT_EQ(m.Take().substr(0, 23), "A200.0,100.0,13.7,37.9,");
}

TEST(DrawArc, ChordsFollowTheCircle) {
  Plotter m("3");
  NibSetStyle(m.get(), 12);  // no pattern, but generated: one solid chain
  m.Arc(0, 0, 1, 0, 0.5);    // clipped to the quarter x, y >= 0; 0.5 long
  EXPECT_EQ(m.Take(),
            "P2;S;M1.000,0.000;L0.980,0.199;L0.921,0.389;L0.878,0.479;");
  m.Arc(500, 400, 1, 0, 0);  // a sweep of 0: a stroke of zero length
  EXPECT_EQ(m.Take(), "M501.000,400.000;L501.000,400.000;");
}

// World values that no drawing would use: a value no sheet holds draws
// nothing; a huge one ends soon with little output; and the handle goes on
// working.
TEST(Draw, NonFiniteAndHugeValuesEnd) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  for (int style : {0, 2}) {
    for (const char* drawArc : {"150", "-1"}) {
      Plotter m("1", drawArc);
      NibSetStyle(m.get(), style);
      m.Pen(1, 3, 0.5);
      for (double v : {nan, inf, -inf, 1e300, -1e300}) {
        EXPECT_EQ(m.Line(v, 10, 20, 20), 1);
        EXPECT_EQ(m.Line(10, 10, v, v), 1);
        EXPECT_EQ(m.Circle(v, 400, 10), 1);
        EXPECT_EQ(m.Arc(500, 400, 10, v, 1), 1);
        EXPECT_EQ(m.Arc(500, 400, v, v, v), 1);
        _NibWorld2 dot{v, v};
        EXPECT_EQ(NibDrawDot(m.get(), &dot), 1);
        const std::string drawn = m.Take();
        if (std::isfinite(v)) {
          EXPECT_LT(drawn.size(), 100000u) << v;
        } else {
          EXPECT_EQ(drawn, "P2;") << v;  // the pen is selected, nothing drawn
        }
        m.h()->stateFlags = 0;
      }
      // A circle around the whole sheet shows nothing of itself.
      EXPECT_EQ(m.Circle(500, 400, 1e300), 1);
      EXPECT_EQ(m.Take(), "P2;");
      m.h()->stateFlags = 0;
      m.Pen(1, 1, 0);
      NibSetStyle(m.get(), 0);
      m.Line(10, 20, 30, 40);
      EXPECT_EQ(m.Take(), "P2;S;M10.0,20.0;L30.0,40.0;");
    }
  }
}

// Lengths and radii are square roots of sums of squares, and the chords of a
// circle lie inside it: cases on the very edge of each decision.
TEST(Draw, DecisionsOnTheEdge) {
  Plotter m("6");
  // The corners of the sheet lie just inside the circle, between its chords
  // and its arc: the chords still show there.
  m.Circle(500, 400, 640.31242674328485);
  EXPECT_EQ(m.Take(),
            "P2;S;M1000.000000,799.999996;L999.999997,800.000000;M0.000003,800.000000;L0.000000,799.999996;"
            "M0.000000,0.000004;L0.000003,0.000000;M999.999997,0.000000;L1000.000000,0.000004;");
  // The mapped start point lies exactly 150 from the centre: the device road.
  m.Arc(500, 400, 150, 0.13209912308276678, 1.0);
  EXPECT_EQ(m.Take(), "A500.000000,400.000000,150.000000,7.6,57.3;");
  // A line of length 0.1 exactly is dashed; a hair shorter, it is solid.
  NibSetStyle(m.get(), 2);
  const double t = 4.5271995300920826;
  m.h()->stateFlags &= ~kPositionKnown;
  m.Line(100, 100, 100 + 0.1 * std::cos(t), 100 + 0.1 * std::sin(t));
  EXPECT_EQ(m.Take(), "M100.000000,100.000000;L99.992635,99.960684;L99.981587,99.901710;");
}

}  // namespace
}  // namespace konib
