#include "geometry/transform.h"

#include <gtest/gtest.h>

#include "platform/memory.h"
#include "support/test_device.h"

namespace konib {
namespace {

using test::HandlePtr;

NibHandle* H(const HandlePtr& p) { return static_cast<NibHandle*>(p.get()); }

_NibWorld2 Device(const HandlePtr& p, double x, double y) {
  _NibWorld2 point{x, y};
  WorldToDevice(H(p), point);
  return point;
}

_NibWorld2 Vector(const HandlePtr& p, double x, double y) {
  _NibWorld2 vector{x, y};
  WorldLengthToDevice(H(p), vector);
  return vector;
}

TEST(Transform, DegenerateWindowIsStrictlyBelowEpsilon) {
  HandlePtr p(1000, 800);
  _NibWorld4 window{{0, 0}, {100, 0}};
  NibSetWindow(p.get(), &window);
  _NibWorld4 view{{7, 9}, {50, 50}};
  NibSetView(p.get(), &view);
  _NibWorld2 d = Device(p, 100, 50);
  EXPECT_EQ(d.x, 7.0);
  EXPECT_EQ(d.y, 9.0);
  EXPECT_EQ(Vector(p, 3, 4).x, 0.0);
  window.ext.y = kEpsilon;  // exactly epsilon is not degenerate
  NibSetWindow(p.get(), &window);
  EXPECT_NE(Device(p, 100, 50).x, 7.0);
}

TEST(Transform, NegativeExtentsMirror) {
  HandlePtr p(1000, 800);
  _NibWorld4 window{{0, 100}, {100, -100}};
  _NibWorld4 view{{0, 0}, {100, 100}};
  NibSetWindow(p.get(), &window);
  NibSetView(p.get(), &view);
  EXPECT_EQ(Device(p, 0, 100).y, 0.0);
  EXPECT_EQ(Device(p, 0, 0).y, 100.0);
}

TEST(Transform, ScaleOriginAndTheTurn) {
  HandlePtr p(1000, 800);
  H(p)->orientation = 0;
  H(p)->rotateFlag = 1;
  _NibWorld2 d = Device(p, 100, 50);
  EXPECT_EQ(d.x, 50.0);
  EXPECT_EQ(d.y, 900.0);
  _NibWorld2 v = Vector(p, 10, 20);
  EXPECT_EQ(v.x, 20.0);
  EXPECT_EQ(v.y, -10.0);
  H(p)->origin = {5, 0};  // added before the turn, so it turns with the point
  EXPECT_EQ(Device(p, 100, 50).y, 895.0);
  H(p)->orientation = -1;
  H(p)->scale = {2, 3};
  d = Device(p, 100, 50);
  EXPECT_EQ(d.x, 205.0);
  EXPECT_EQ(d.y, 150.0);
  v = Vector(p, 10, 20);
  EXPECT_EQ(v.x, 20.0);  // a vector has no origin
  EXPECT_EQ(v.y, 60.0);
}

TEST(ViewStack, SixPushesAndPopsReturnExactly) {
  HandlePtr p(1000, 800);
  _NibWorld4 window{{10, 20}, {300, 200}};
  NibSetWindow(p.get(), &window);
  _NibWorld4 sub{{50, 50}, {100, 50}};
  for (int i = 0; i < 6; ++i) ASSERT_EQ(NibSetViewRelative(p.get(), &sub), 1);
  EXPECT_EQ(H(p)->viewStackCap, 10);
  EXPECT_EQ(H(p)->viewStackDepth, 6);
  for (int i = 0; i < 6; ++i) ASSERT_EQ(NibSetViewRelative(p.get(), nullptr), 1);
  EXPECT_EQ(H(p)->viewStackDepth, 0);
  EXPECT_EQ(H(p)->viewOrg.x, 0.0);
  EXPECT_EQ(H(p)->viewExt.x, 1000.0);
  EXPECT_EQ(H(p)->windowOrg.y, 20.0);
  EXPECT_EQ(NibSetViewRelative(p.get(), nullptr), 1);  // nothing saved: fine
}

TEST(ViewStack, PushMapsTheRectangleIntoTheView) {
  HandlePtr p(1000, 800);
  _NibWorld4 window{{0, 0}, {100, 100}};
  NibSetWindow(p.get(), &window);  // world 0..100 onto the sheet 0..1000 x 0..800
  _NibWorld4 sub{{10, 10}, {50, 50}};
  NibSetViewRelative(p.get(), &sub);
  EXPECT_EQ(H(p)->viewOrg.x, 100.0);
  EXPECT_EQ(H(p)->viewOrg.y, 80.0);
  EXPECT_EQ(H(p)->viewExt.x, 500.0);
  EXPECT_EQ(H(p)->viewExt.y, 400.0);
  EXPECT_EQ(Device(p, 100, 100).x, 600.0);  // the old window fills the new view
  _NibWorld4 own{{0, 0}, {1, 1}};
  NibSetWindow(p.get(), &own);
  NibSetViewRelative(p.get(), nullptr);  // restores the window as well
  EXPECT_EQ(H(p)->windowExt.x, 100.0);
}

TEST(ViewStack, PushWithADegenerateWindow) {
  HandlePtr p(1000, 800);
  _NibWorld4 window{{0, 0}, {0, 100}};
  NibSetWindow(p.get(), &window);
  _NibWorld4 sub{{10, 10}, {50, 50}};
  NibSetViewRelative(p.get(), &sub);
  EXPECT_EQ(H(p)->viewOrg.x, 0.0);
  EXPECT_EQ(H(p)->viewExt.x, 0.0);
  EXPECT_EQ(H(p)->viewExt.y, 0.0);
}

TEST(ViewStack, OutOfMemoryFailsTheHandle) {
  HandlePtr p(1000, 800);
  _NibWorld4 sub{{10, 10}, {50, 50}};
  platform::FailAllocationAt(1);
  EXPECT_EQ(NibSetViewRelative(p.get(), &sub), 0);
  EXPECT_EQ(H(p)->failure, kOutOfMemory);
  EXPECT_EQ(H(p)->viewExt.x, 1000.0);
  EXPECT_EQ(NibSetWindow(p.get(), &sub), 0);
}

}  // namespace
}  // namespace konib
