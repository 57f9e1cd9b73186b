// NibDrawText: the working copy in device units and the clip decision.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "support/model_handle.h"

namespace konib {
namespace {

using test::ModelHandle;

constexpr double kPi = 3.141592653589793;

struct Lettering : ModelHandle {
  Lettering()
      : ModelHandle({{"Command.Pen", "P\\pn;"},
                     {"Command.Style", "S;"},
                     {"Command.Text", "T\\x1,\\y1,\\w2,\\h2,\\p1,\\s1;"},
                     {"Command.TextChar", "\\x1"}}) {}
  std::string Draw(const char* text, _NibTextInfo info = {0, 3, 4, 5, 0},
                   _NibWorld2 at = {10, 10}) {
    Take();
    EXPECT_EQ(NibDrawText(get(), &at, text, &info), 1);
    return Take();
  }
};

// The body prints each character's x, so the pitch shows as well.
TEST(DrawText, WorkingCopyThroughTheMapping) {
  // clang-format off
  const struct {
    const char* what;
    std::function<void(Lettering&)> setUp;
    _NibTextInfo info;
    const char* expected;
  } cases[] = {
      {"plain", [](Lettering&) {}, {0, 3, 4, 5, 0},
       "P2;S;T10.00,10.00,3.00,4.00,5.00,0.00;10.0015.00"},
      {"view doubles",
       [](Lettering& l) {
         _NibWorld4 view{{0, 0}, {2000, 1600}};
         NibSetView(l.get(), &view);
       },
       {0, 3, 4, 5, 0}, "P2;S;T20.00,20.00,6.00,8.00,10.00,0.00;20.0030.00"},
      {"scale 2 by 1 at 45 degrees",
       [](Lettering& l) {
         _NibInfo info{};
         info.scale = {2, 1};
         NibSetPlotterInfo(l.get(), NIB_INFO_SCALE, &info);
       },
       {0, 3, 4, 5, kPi / 4}, "P2;S;T20.00,10.00,4.74,6.32,7.91,26.57;20.0027.07"},
      {"turned sheet",
       [](Lettering& l) {
         l.h()->orientation = 0;
         l.h()->rotateFlag = 1;
         NibSetClip(l.get(), 0);
       },
       {0, 3, 4, 5, 0}, "P2;S;T10.00,990.00,3.00,4.00,5.00,270.00;10.0010.00"},
      {"degenerate window",
       [](Lettering& l) {
         _NibWorld4 window{{0, 0}, {0, 0}};
         NibSetWindow(l.get(), &window);
       },
       {0, 3, 4, 5, 1}, "P2;S;T0.00,0.00,0.00,0.00,0.00,0.00;0.000.00"},
      {"pitch 0", [](Lettering&) {}, {0, 3, 4, 0, 0},
       "P2;S;T10.00,10.00,3.00,4.00,0.00,0.00;10.0010.00"},
      // Only the first character's box is tested: (999, 10) is 1 inside.
      {"first box out", [](Lettering&) {}, {0, 3, 4, 5, 0}, nullptr},
      {"clip off", [](Lettering& l) { NibSetClip(l.get(), 0); }, {0, 3, 4, 5, 0},
       "P2;S;T-50.00,10.00,3.00,4.00,5.00,0.00;-50.00-45.00"},
      {"style 3 still sends style 0", [](Lettering& l) { NibSetStyle(l.get(), 3); },
       {0, 3, 4, 5, 0}, "P2;S;T10.00,10.00,3.00,4.00,5.00,0.00;10.0015.00"},
  };
  // clang-format on
  for (const auto& c : cases) {
    Lettering l;
    c.setUp(l);
    if (c.expected == nullptr) {
      EXPECT_EQ(l.Draw("AB", c.info, {999, 10}), "P2;") << c.what;
      EXPECT_EQ(l.Draw("ABCDEFGH", c.info, {997, 10}),
                "S;T997.00,10.00,3.00,4.00,5.00,0.00;997.001002.001007.00"
                "1012.001017.001022.001027.001032.00")
          << c.what;
      continue;
    }
    const _NibWorld2 at =
        std::string(c.what) == "clip off" ? _NibWorld2{-50, 10} : _NibWorld2{10, 10};
    EXPECT_EQ(l.Draw("AB", c.info, at), c.expected) << c.what;
    EXPECT_EQ(l.h()->deviceStyle, 0) << c.what;
  }
}

TEST(DrawText, SizesThatDrawNothing) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const _NibTextInfo nothing[] = {{0, 0, 4, 5, 0},  {0, 3, 0, 5, 0},   {0, -3, 4, 5, 0},
                                  {0, 3, -4, 5, 0}, {0, nan, 4, 5, 0}, {0, 3, nan, 5, 0}};
  for (const _NibTextInfo& info : nothing) {
    Lettering l;
    EXPECT_EQ(l.Draw("AB", info), "") << info.width << "," << info.height;
  }
  // Sizes or places that are no finite number: the pen, and nothing else.
  const _NibTextInfo unlettered[] = {
      {0, inf, 4, 5, 0}, {0, 3, 4, inf, 0}, {0, 3, 4, nan, 0}, {0, 3, 4, 5, inf}};
  for (const _NibTextInfo& info : unlettered) {
    Lettering l;
    EXPECT_EQ(l.Draw("AB", info), "P2;");
  }
  Lettering distant;
  EXPECT_EQ(distant.Draw("AB", {0, 3, 4, 5, 0}, {1e308 * 10, 0}), "P2;");
  Lettering turned;
  EXPECT_EQ(turned.Draw("", {0, 3, 4, 5, 1e300}), "P2;S;");
}

TEST(DrawText, RefusedCallsChangeNothing) {
  Lettering l;
  _NibWorld2 at{10, 10};
  _NibTextInfo info{0, 3, 4, 5, 0};
  EXPECT_EQ(NibDrawText(nullptr, &at, "A", &info), 0);
  EXPECT_EQ(NibDrawText(l.get(), nullptr, "A", &info), 0);
  EXPECT_EQ(NibDrawText(l.get(), &at, nullptr, &info), 0);
  EXPECT_EQ(NibDrawText(l.get(), &at, "A", nullptr), 0);
  NibSetPen(l.get(), 0);
  EXPECT_EQ(l.Draw("A"), "");
  NibSetPen(l.get(), 2);
  l.h()->pens[2].strokes = 0;
  EXPECT_EQ(l.Draw("A"), "");
  l.h()->pens[2].strokes = 3;  // a text is sent once, however many passes
  EXPECT_EQ(l.Draw("A", {0, 3, 4, 5, 0}), "P3;S;T10.00,10.00,3.00,4.00,5.00,0.00;10.00");
  const double empty[4] = {0, 0, 1000, 0};
  std::copy(empty, empty + 4, l.h()->clipRect);
  EXPECT_EQ(l.Draw("A"), "");
  EXPECT_EQ(l.h()->failure, kGood);
}

}  // namespace
}  // namespace konib
