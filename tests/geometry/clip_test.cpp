#include "geometry/clip.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace konib {
namespace {

const double kSquare[4] = {0, 0, 10, 10};

Stroke Clip(Stroke s, const double* rect = kSquare) {
  Stroke out{-1, -1, -1, -1};
  EXPECT_EQ(ClipLine(s, rect, &out), 1);
  return out;
}

bool Missed(Stroke s, const double* rect = kSquare) {
  Stroke out{};
  return ClipLine(s, rect, &out) == 0;
}

#define EXPECT_STROKE(s, ex, ey, edx, edy) \
  do {                                     \
    Stroke got = (s);                      \
    EXPECT_DOUBLE_EQ(got.x, ex);           \
    EXPECT_DOUBLE_EQ(got.y, ey);           \
    EXPECT_DOUBLE_EQ(got.dx, edx);         \
    EXPECT_DOUBLE_EQ(got.dy, edy);         \
  } while (0)

TEST(ClipLine, WorkedExample) { EXPECT_STROKE(Clip({-5, 5, 20, 5}), 0, 6.25, 10, 2.5); }

TEST(ClipLine, InsideComesBackBitForBit) {
  Stroke s{0.1, 0.3, 9.7, 0.2 + 1e-17};
  Stroke out = Clip(s);
  EXPECT_EQ(std::memcmp(&out, &s, sizeof s), 0);
  EXPECT_STROKE(Clip({0, 10, 10, 0}), 0, 10, 10, 0);          // on an edge
  EXPECT_STROKE(Clip({0, 0, 10 + 1e-12, 0}), 0, 0, 10 + 1e-12, 0);  // within T beyond it
}

TEST(ClipLine, KeepsTheDirection) {
  EXPECT_STROKE(Clip({5, 5, 10, 0}), 5, 5, 5, 0);        // inside to outside
  EXPECT_STROKE(Clip({15, 5, -20, 0}), 10, 5, -10, 0);   // right to left, through
  EXPECT_STROKE(Clip({5, 15, 0, -20}), 5, 10, 0, -10);   // vertical, downward
  EXPECT_STROKE(Clip({-2, -2, 14, 14}), 0, 0, 10, 10);   // dx == dy: y-major
}

TEST(ClipLine, Misses) {
  EXPECT_TRUE(Missed({-5, -5, 3, 3}));     // its line crosses, the stroke stops short
  EXPECT_TRUE(Missed({11, 0, 0, 10}));
  EXPECT_TRUE(Missed({20, 20, 0, 0}));     // a point outside
  EXPECT_STROKE(Clip({3, 3, 0, 0}), 3, 3, 0, 0);  // a point inside
  const double flipped[4] = {10, 10, -10, -10};
  EXPECT_STROKE(Clip({-5, 5, 20, 5}, flipped), 0, 6.25, 10, 2.5);
}

TEST(AngleOnArc, ModuloAFullTurn) {
  EXPECT_TRUE(AngleOnArc(0.5, 0, 1));
  EXPECT_TRUE(AngleOnArc(0.5 + 6.283185307179586 * 3, 0, 1));
  EXPECT_TRUE(AngleOnArc(-5.9, 0, 1));
  EXPECT_FALSE(AngleOnArc(1.5, 0, 1));
  EXPECT_TRUE(AngleOnArc(0.5, 1, -1));  // a negative sweep runs back from the start
  EXPECT_TRUE(AngleOnArc(-1e-12, 0, 1));  // the tolerance widens the start
  EXPECT_FALSE(AngleOnArc(1.0 + 1e-13, 0, 1));
}

TEST(ClipArc, WholeCircleInsideOrEnclosing) {
  const double big[4] = {-20, -20, 40, 40};
  _NibWorld2 result[kMaxArcPieces];
  result[0] = {42, 42};
  EXPECT_EQ(ClipArc(result, big, {0, 0}, nullptr, 10), -1);
  EXPECT_EQ(result[0].x, 42.0);
  const double small[4] = {-1, -1, 2, 2};
  EXPECT_EQ(ClipArc(result, small, {0, 0}, nullptr, 10), 0);
}

TEST(ClipArc, CircleCutByOneEdge) {
  _NibWorld2 result[kMaxArcPieces];
  const double right[4] = {5, -50, 100, 100};
  ASSERT_EQ(ClipArc(result, right, {0, 0}, nullptr, 10), 1);
  EXPECT_NEAR(result[0].x, -1.0471975511965976, 1e-12);
  EXPECT_NEAR(result[0].y, 2.0943951023931957, 1e-12);
  const double left[4] = {-105, -50, 100, 100};
  ASSERT_EQ(ClipArc(result, left, {0, 0}, nullptr, 10), 1);
  EXPECT_NEAR(result[0].x, 2.0943951023931957, 1e-12);  // the closing pair keeps it whole
  EXPECT_NEAR(result[0].y, 2.0943951023931957, 1e-12);
}

TEST(ClipArc, Arcs) {
  _NibWorld2 result[kMaxArcPieces];
  const double big[4] = {-20, -20, 40, 40};
  _NibWorld2 arc{0.3, 1.1};
  ASSERT_EQ(ClipArc(result, big, {0, 0}, &arc, 10), 1);
  EXPECT_EQ(result[0].x, 0.3);
  EXPECT_EQ(result[0].y, 1.1);
  const double right[4] = {5, -50, 100, 100};
  _NibWorld2 upper{0, 3};  // from +x through the top, crossing x = 5 at 60 degrees
  ASSERT_EQ(ClipArc(result, right, {0, 0}, &upper, 10), 1);
  EXPECT_EQ(result[0].x, 0.0);
  EXPECT_NEAR(result[0].y, 1.0471975511965976, 1e-12);
  _NibWorld2 away{2.5, 1.5};  // on the far side of the circle
  EXPECT_EQ(ClipArc(result, right, {0, 0}, &away, 10), 0);
}

TEST(ClipArc, TangentAndCornerStayWithinBounds) {
  _NibWorld2 result[kMaxArcPieces];
  // A rectangle that touches the circle at (10, 0): the crossings come from
  // the lines through its other edges, and the arc between them has its
  // midpoint on the touching edge, so it counts as visible.
  const double tangent[4] = {10, -5, 10, 10};
  ASSERT_EQ(ClipArc(result, tangent, {0, 0}, nullptr, 10), 1);
  EXPECT_NEAR(result[0].x, -0.5235987755982988, 1e-12);
  EXPECT_NEAR(result[0].y, 1.0471975511965976, 1e-12);
  // A circle through two opposite corners of a square: every crossing is a
  // double one, and the four arcs between them are seen as one each.
  const double r = 10 * std::sqrt(2.0);
  const double square[4] = {-10, -10, 20, 20};
  int n = ClipArc(result, square, {0, 0}, nullptr, r);
  EXPECT_EQ(n, 0);  // the circle encloses the square; only corners touch
  const double corner[4] = {0, 0, 20, 20};  // a corner at the centre
  n = ClipArc(result, corner, {0, 0}, nullptr, 10);
  ASSERT_EQ(n, 1);
  EXPECT_NEAR(result[0].x, 0.0, 1e-12);
  EXPECT_NEAR(result[0].y, 1.5707963267948966, 1e-12);
  _NibWorld2 full{-3, 12.5};  // more than a full turn, cut by four edges
  const double cross[4] = {-5, -5, 10, 10};
  n = ClipArc(result, cross, {0, 0}, &full, 6);
  EXPECT_GE(n, 4);
  EXPECT_LE(n, kMaxArcPieces);
}

// A handle keeps its clip rectangle's box from the start: the same box,
// bit for bit, as the rectangle gives, whatever the signs of the size.
TEST(ClipBox, TheHandleKeepsTheBoxOfItsRectangle) {
  const _NibWorld2 sizes[] = {{400, 277}, {-5, 3}, {0, -0.0}, {1e300, 1e-300}};
  for (const _NibWorld2& size : sizes) {
    void* handle = NibGetHandle(&size);
    ASSERT_NE(handle, nullptr);
    const auto* h = static_cast<const NibHandle*>(handle);
    const LooseBox made = LooseBox::Of(h->clipRect);
    const double expected[4] = {made.left, made.bottom, made.right, made.top};
    EXPECT_EQ(std::memcmp(h->clipBox, expected, sizeof expected), 0) << size.x << " " << size.y;
    NibFreeHandle(handle);
  }
}

}  // namespace
}  // namespace konib
