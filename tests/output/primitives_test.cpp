#include "output/primitives.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/output.h"
#include "support/model_handle.h"

namespace konib {
namespace {

using test::ModelHandle;

ModelHandle Plotter(double step = 1, const char* decimals = "0") {
  return ModelHandle{
      {"Step", std::to_string(step)},          {"Decimal", decimals},
      {"Command.Move", "PU\\x1,\\y1;"},        {"Command.Line", "PD\\x1,\\y1>\\x2,\\y2;"},
      {"Command.Circle", "CI\\xc,\\yc,\\r1;"}, {"Command.Arc", "\\mvAA\\xc,\\yc,\\a3;"}};
}

TEST(CommandMove, PrintsTargetDividedByStep) {
  ModelHandle m = Plotter(0.5);
  EXPECT_EQ(CommandMove(m.h(), {10, 20}), 1);
  EXPECT_EQ(m.Take(), "PU20,40;");
  EXPECT_EQ(m.h()->devicePos.x, 10.0);
  EXPECT_TRUE(m.h()->stateFlags & kPositionKnown);
}

TEST(CommandMove, MirroredFromThePlottingAreaNotThePaper) {
  ModelHandle m{{"Decimal", "0"}, {"Command.Move", "\\x3,\\y3,\\x2"}};
  m.h()->paperXY = {210, 297};
  CommandMove(m.h(), {100, 50});
  EXPECT_EQ(m.Take(), "900,750,x2");
}

TEST(CommandMove, NearbyMovesAreDroppedButFollowed) {
  ModelHandle m = Plotter(0.01, "2");
  CommandMove(m.h(), {0, 0});
  m.Take();
  CommandMove(m.h(), {0.0499, 0});
  EXPECT_EQ(m.Take(), "");
  EXPECT_EQ(m.h()->devicePos.x, 0.0499);
  m.h()->devicePos = {0, 0};
  CommandMove(m.h(), {0.05, 0});
  EXPECT_EQ(m.Take(), "PU5.00,0.00;");
  // Twenty small steps send nothing, though the pen has gone 0.8 from
  // where the device stands: each is measured from the last target.
  for (int i = 1; i <= 20; ++i) CommandMove(m.h(), {0.05 + 0.04 * i, 0});
  EXPECT_EQ(m.Take(), "");
}

// A move and a line go out in one sweep where both templates allow it, and
// the ordinary way where they do not; the bytes and the pen are the same.
TEST(CommandStroke, SendsTheMoveAndTheLineEitherWay) {
  const struct {
    const char* decimals;
    _NibWorld2 pen;  // NaN: not known
    _NibWorld2 from, to;
    const char* bytes;
  } cases[] = {
      {"0", {NAN, NAN}, {1, 2}, {3.5, -4}, "PU1,2;PD1,2>4,-4;"},
      {"0", {1.03, 2}, {1, 2}, {3, 4}, "PD1,2>3,4;"},  // the pen stands there: no move
      {"0", {NAN, NAN}, {1e17, 2}, {3, 4}, "PU100000000000000000,2;PD100000000000000000,2>3,4;"},
      {"0", {NAN, NAN}, {1, 2}, {-2e16, 4}, "PU1,2;PD1,2>-20000000000000000,4;"},
      {"2", {NAN, NAN}, {1, 2}, {3, 4}, "PU1.00,2.00;PD1.00,2.00>3.00,4.00;"},
  };
  for (const auto& c : cases) {
    ModelHandle m{{{"Step", "1"},
                   {"Decimal", c.decimals},
                   {"Command.Move", "PU\\x1,\\y1;"},
                   {"Command.Line", "PD\\x1,\\y1>\\x2,\\y2;"}},
                  1000,
                  800,
                  true};
    if (!std::isnan(c.pen.x)) {
      m.h()->devicePos = c.pen;
      m.h()->stateFlags |= kPositionKnown;
    }
    // Twice: the first call prepares the templates, the second may sweep.
    for (int round = 0; round < 2; ++round) {
      if (round == 1 && !std::isnan(c.pen.x)) m.h()->devicePos = c.pen;
      if (round == 1 && std::isnan(c.pen.x))
        m.h()->stateFlags &= ~static_cast<std::uint32_t>(kPositionKnown);
      EXPECT_EQ(CommandStroke(m.h(), c.from, c.to), 1);
      ASSERT_EQ(FlushOutput(m.h()), 1);
      EXPECT_EQ(m.Take(), c.bytes) << c.bytes << " round " << round;
      EXPECT_EQ(m.h()->devicePos.x, c.to.x);
      EXPECT_EQ(m.h()->devicePos.y, c.to.y);
    }
  }
}

// The mirrored escapes of both ends, through the sweep and the ordinary way.
TEST(CommandStroke, MirroredEscapesOfBothEnds) {
  for (const char* decimals : {"0", "1"}) {
    ModelHandle m{{{"Step", "1"},
                   {"Decimal", decimals},
                   {"Command.Move", "PU\\x3,\\y3;"},
                   {"Command.Line", "PD\\x3,\\y3>\\x4,\\y4>\\x2,\\y2;"}},
                  1000,
                  800,
                  true};
    for (int round = 0; round < 2; ++round) {  // the second may sweep
      m.h()->stateFlags &= ~static_cast<std::uint32_t>(kPositionKnown);
      EXPECT_EQ(CommandStroke(m.h(), {1, 2}, {30, 40}), 1);
      ASSERT_EQ(FlushOutput(m.h()), 1);
      EXPECT_EQ(m.Take(), decimals[0] == '0' ? "PU999,798;PD999,798>970,760>30,40;"
                                             : "PU999.0,798.0;PD999.0,798.0>970.0,760.0>30.0,40.0;")
          << round;
    }
  }
}

TEST(CommandMove, NoTemplateStillFollowsThePen) {
  ModelHandle m{{"Command.Line", ""}};
  EXPECT_EQ(CommandMove(m.h(), {3, 4}), 1);
  EXPECT_EQ(CommandLine(m.h(), {3, 4}), 1);
  EXPECT_EQ(m.Take(), "");
  EXPECT_TRUE(m.h()->stateFlags & kPositionKnown);
  EXPECT_EQ(m.h()->devicePos.y, 4.0);
}

TEST(CommandLine, RunsFromThePenToTheTarget) {
  ModelHandle m = Plotter();
  CommandMove(m.h(), {1, 2});
  CommandLine(m.h(), {3, 4});
  CommandLine(m.h(), {3, 4});  // a line to where the pen stands is still sent
  EXPECT_EQ(m.Take(), "PU1,2;PD1,2>3,4;PD3,4>3,4;");
}

TEST(CommandCircle, EscapesAndForgottenPosition) {
  ModelHandle m{{"Command.Circle", "\\xc3|\\yc3|\\xc|\\yc|\\x0|\\y0|\\x5|\\y5|\\r1|\\r2|\\(R1,1)"},
                {"Decimal", "0"}};
  CommandMove(m.h(), {5, 5});
  CommandCircle(m.h(), {100, 50}, 10);
  EXPECT_EQ(m.Take(), "900|750|100|50|100|50|900|750|10|20|10.0");
  EXPECT_FALSE(m.h()->stateFlags & kPositionKnown);
  EXPECT_EQ(m.h()->devicePos.x, 5.0);
}

TEST(CommandArc, DeviceArcWithMoveEscape) {
  ModelHandle m = Plotter(0.5);
  EXPECT_EQ(CommandArc(m.h(), {100, 100}, {0, 1.5707963267948966}, 10), 1);
  EXPECT_EQ(m.Take(), "PU220,200;AA200,200,90;");
  EXPECT_NEAR(m.h()->devicePos.x, 100.0, 1e-12);
  EXPECT_EQ(m.h()->devicePos.y, 110.0);
  EXPECT_TRUE(m.h()->stateFlags & kPositionKnown);
  // Standing at the start already, \mv sends nothing.
  m.h()->devicePos = {110, 100};
  CommandArc(m.h(), {100, 100}, {0, 1.5707963267948966}, 10);
  EXPECT_EQ(m.Take(), "AA200,200,90;");
}

std::string Angles(double startDegrees, double sweepDegrees, double radius = 10) {
  ModelHandle m{{"Command.Arc", "\\(a1,4)|\\(a2,4)|\\(a3,4)|\\(a4,4)|\\(a5,4)"}};
  const double k = 1 / 57.29577951308232;
  CommandArc(m.h(), {0, 0}, {startDegrees * k, sweepDegrees * k}, radius);
  return m.Take();
}

TEST(CommandArc, AnglesInDegrees) {
  EXPECT_EQ(Angles(-10, 20), "350.0000|370.0000|20.0000|350.0000|10.0000");
  EXPECT_EQ(Angles(359.9995, 10), "0.0000|10.0000|10.0000|0.0000|10.0000");
  EXPECT_EQ(Angles(350, 10.0005), "350.0000|360.0005|10.0005|350.0000|360.0000");
  EXPECT_EQ(Angles(720.5, 1), "0.5000|1.5000|1.0000|0.5000|1.5000");
  EXPECT_EQ(Angles(30, -20), Angles(10, 20));  // a negative sweep runs the other way round
}

TEST(CommandArc, ShortArcsAndFullTurns) {
  ModelHandle m = Plotter(1, "3");
  CommandArc(m.h(), {0, 0}, {0, 0.001}, 100);  // exactly 0.1 long: still an arc
  EXPECT_EQ(m.Take().substr(0, 14), "PU100.000,0.00");
  m.h()->stateFlags = 0;
  CommandArc(m.h(), {0, 0}, {0, 0.0009}, 100);
  EXPECT_EQ(m.Take(), "PU100.000,0.000;PD100.000,0.000>100.000,0.090;");
  CommandArc(m.h(), {1, 2}, {0.5, 6.283185307179586}, 3);
  EXPECT_EQ(m.Take(), "CI1.000,2.000,3.000;");
  EXPECT_FALSE(m.h()->stateFlags & kPositionKnown);
}

TEST(Primitives, ExtensionFunctionsGetTheirGeometry) {
  ModelHandle m{{"Command.Move", "\\[probe.Point]"},
                {"Command.Line", "\\[probe.Point]\\[probe.Record]"},
                {"Command.Circle", "\\[probe.Circle]"},
                {"Command.Arc", "\\[probe.Sweep]"}};
  CommandMove(m.h(), {1.5, 2});
  EXPECT_EQ(m.Take(), "(1.5,2)");
  CommandLine(m.h(), {7, 8});
  std::string line = m.Take();
  EXPECT_EQ(line.substr(0, 5), "(7,8)");
  EXPECT_NE(line.find(" pos=1.5,2 "), std::string::npos) << line;  // the pen before the line
  CommandCircle(m.h(), {3, 4}, 5);
  EXPECT_EQ(m.Take(), "(3,4 r5)");
  CommandArc(m.h(), {3, 4}, {0.5, -0.25}, 5);
  EXPECT_EQ(m.Take(), "(3,4 r5 a0.25,0.25)");
}

}  // namespace
}  // namespace konib
