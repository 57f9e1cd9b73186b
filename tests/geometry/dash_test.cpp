#include "geometry/dash.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/test_device.h"

namespace konib {
namespace {

using Pieces = std::vector<std::pair<double, double>>;

Pieces Layout(int style, double pitch, double length, bool closed = false) {
  test::HandlePtr p;
  auto* h = static_cast<NibHandle*>(p.get());
  if (style >= 0 && style < kStyleCount) h->stylePitch[style] = pitch;
  DashLayout layout(h, style, length, closed);
  Pieces pieces;
  double pos, seg;
  while (layout.Next(&pos, &seg)) pieces.emplace_back(pos, seg);
  return pieces;
}

void ExpectPieces(const Pieces& got, const Pieces& want) {
  ASSERT_EQ(got.size(), want.size());
  for (std::size_t i = 0; i < got.size(); ++i) {
    EXPECT_NEAR(got[i].first, want[i].first, 1e-9) << i;
    EXPECT_NEAR(got[i].second, want[i].second, 1e-9) << i;
  }
}

TEST(DashLayout, WorkedExamples) {
  ExpectPieces(Layout(2, 10, 25), {{0, 6.5}, {8.5, 8}, {18.5, 6.5}});
  ExpectPieces(Layout(1, 2, 5), {{0, 1}, {2, 1}, {4, 1}});
  ExpectPieces(Layout(2, 10, 19.995), {{0, 4}, {6, 8}, {16, 3.995}});
}

TEST(DashLayout, LengthOfOnePitchAndShorter) {
  ExpectPieces(Layout(2, 10, 10), {{0, 4}, {6, 4}});
  ExpectPieces(Layout(2, 10, 0.5), {{0, 0.2}, {0.3, 0.2}});
}

TEST(DashLayout, ClosedCircleStretchesThePeriod) {
  const double length = 62.83185307179586;
  Pieces closed = Layout(4, 20, length, true);
  ASSERT_EQ(closed.size(), 7u);  // three periods of a long and a short dash, and the closing half
  EXPECT_NEAR(closed[0].second, 8.377580409572781, 1e-9);
  EXPECT_NEAR(closed.back().first + closed.back().second, length, 1e-9);
  EXPECT_NEAR(closed.back().second, closed[0].second, 1e-9);
  Pieces open = Layout(4, 20, length);
  EXPECT_NEAR(open[0].second, 16 - 6.584073464102069, 1e-9);  // adjust about -6.584
  EXPECT_NEAR(open[1].first, 16 + 1 - 6.584073464102069, 1e-9);
}

TEST(DashLayout, SolidCases) {
  ExpectPieces(Layout(0, 10, 25), {{0, 25}});
  ExpectPieces(Layout(12, 10, 25), {{0, 25}});
  ExpectPieces(Layout(-3, 10, 25), {{0, 25}});
  ExpectPieces(Layout(3, 0, 25), {{0, 25}});
  ExpectPieces(Layout(3, -10, 25), {{0, 25}});  // a negative pitch is no pitch
}

TEST(DashLayout, TinyPitchIsBounded) {
  Pieces pieces = Layout(1, 1e-12, 1000);
  EXPECT_EQ(pieces.size(), kMaxPeriods + 1);
  EXPECT_NEAR(pieces.back().first + pieces.back().second, 1000, 1e-6);
  EXPECT_EQ(RepeatCount(1000, 1e-12), kMaxPeriods);
  EXPECT_EQ(RepeatCount(19.995, 10), 2u);
  EXPECT_EQ(RepeatCount(19.9, 10), 1u);
  EXPECT_EQ(RepeatCount(5, 0), 0u);
}

}  // namespace
}  // namespace konib
