// The SVG reader: path grammar, document mapping, and refusals of what
// cannot be read (errors it recovers from are in svg_features_test.cpp).
#include "svg/svg.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace konib::svg {
namespace {

// A subpath written as "start; piece; piece": a piece is "x,y" for a line or
// "C x,y x,y x,y" for a cubic, numbers rounded to 3 decimals.
std::string Describe(const std::vector<Subpath>& subpaths) {
  std::string out;
  char text[64];
  auto point = [&](Point p) {
    std::snprintf(text, sizeof text, "%.3f,%.3f", p.x + 0.0, p.y + 0.0);
    return std::string(text);
  };
  for (const Subpath& s : subpaths) {
    if (!out.empty()) out += " | ";
    out += point(s.start);
    for (const Segment& g : s.segments)
      out += "; " + (g.curve ? "C " + point(g.c1) + " " + point(g.c2) + " " : std::string()) +
             point(g.end);
  }
  // Rounding can leave "-0.000": it means 0.
  for (std::size_t at; (at = out.find("-0.000")) != std::string::npos;) out.erase(at, 1);
  return out;
}

TEST(SvgPath, EveryCommandAbsoluteAndRelative) {
  struct Case {
    const char* d;
    const char* pieces;
  } cases[] = {
      {"M10 20 L30 40", "10.000,20.000; 30.000,40.000"},
      {"m10 20 l5 5 h10 v-5 z",
       "10.000,20.000; 15.000,25.000; 25.000,25.000; 25.000,20.000; 10.000,20.000"},
      {"M0 0 10 10 20 0", "0.000,0.000; 10.000,10.000; 20.000,0.000"},  // pairs behind M are lines
      {"M0 0H5V5h-5v-5", "0.000,0.000; 5.000,0.000; 5.000,5.000; 0.000,5.000; 0.000,0.000"},
      {"M0 0C1 2 3 4 5 6S7 8 9 10",  // S mirrors the last control about the end
       "0.000,0.000; C 1.000,2.000 3.000,4.000 5.000,6.000; C 7.000,8.000 7.000,8.000 "
       "9.000,10.000"},
      {"M0 0Q3 3 6 0T12 0",  // cubic controls at two thirds; T mirrors (3,3) to (9,-3)
       "0.000,0.000; C 2.000,2.000 4.000,2.000 6.000,0.000; C 8.000,-2.000 10.000,-2.000 "
       "12.000,0.000"},
      {"M0 0A10 10 0 0 1 20 0",  // half a circle, as two quarters through (10,-10)
       "0.000,0.000; C 0.000,-5.523 4.477,-10.000 10.000,-10.000; C 15.523,-10.000 20.000,-5.523 "
       "20.000,0.000"},
      {"M0 0a5 5 0 1010 0",  // flags need no separator
       "0.000,0.000; C 0.000,2.761 2.239,5.000 5.000,5.000; C 7.761,5.000 10.000,2.761 "
       "10.000,0.000"},
      {"M0 0A0 5 0 0 1 8 0", "0.000,0.000; 8.000,0.000"},  // a zero radius is a line
      {"M1e1-2.5.5 1", "10.000,-2.500; 0.500,1.000"},      // signs and points end numbers
      {"M1 1 Z M2 2", ""},                                 // nothing drawn: no subpath
      {"M0 0 L1 0 Z l0 1", "0.000,0.000; 1.000,0.000; 0.000,0.000 | 0.000,0.000; 0.000,1.000"},
  };
  for (const Case& c : cases) {
    std::vector<Subpath> subpaths;
    std::string message;
    ASSERT_TRUE(ParsePathData(c.d, &subpaths, &message, 1000)) << c.d << ": " << message;
    EXPECT_EQ(Describe(subpaths), c.pieces) << c.d;
  }
}

TEST(SvgPath, AnArcWhoseCentreOverflowsIsALine) {
  std::vector<Subpath> subpaths;
  std::string message;
  ASSERT_TRUE(ParsePathData("M0 0a2 2 0 0110 1e308", &subpaths, &message, 10)) << message;
  ASSERT_EQ(subpaths.size(), 1u);
  ASSERT_EQ(subpaths[0].segments.size(), 1u);
  EXPECT_FALSE(subpaths[0].segments[0].curve);
  EXPECT_EQ(subpaths[0].segments[0].end.x, 10.0);
  EXPECT_EQ(subpaths[0].segments[0].end.y, 1e308);
}

TEST(SvgPath, BadDataIsRefusedWithItsPlace) {
  struct Case {
    const char* d;
    const char* message;
  } cases[] = {
      {"M0 0 L NaN 5", "path data: a number is missing at byte 7"},
      {"M0 0 L1", "path data: bad number at byte 7"},
      {"10 10", "path data: data before the first command at byte 0"},
      {"M0 0 X1 1", "path data: unknown command at byte 6"},
      {"M0 0 L1e999 0", "path data: bad number at byte 6"},
      {"M0 0 Z 5 5", "path data: numbers behind a close command at byte 7"},
      {"M0 0 A 1 1 0 2 0 3 3", "path data: bad arc at byte 13"},
      {"M0 0 1 1 2 2 3 3", "path data: more than 3 pieces"},
  };
  for (const Case& c : cases) {
    std::vector<Subpath> subpaths;
    std::string message;
    EXPECT_FALSE(ParsePathData(c.d, &subpaths, &message, 3)) << c.d;
    EXPECT_EQ(message, c.message) << c.d;
  }
}

std::string Svg(const std::string& root, const std::string& body) {
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" " + root + ">" + body + "</svg>";
}

TEST(SvgDocument, MapsThroughViewBoxTransformsAndStyles) {
  const std::string mm = "width=\"96mm\" height=\"96mm\" viewBox=\"0 0 96 96\"";
  struct Case {
    std::string svg;
    std::string colour;  // of the first shape
    std::string pieces;  // of the first shape
  } cases[] = {
      {Svg("width=\"100mm\" height=\"50mm\" viewBox=\"0 0 200 100\"",
           "<line x1=\"0\" y1=\"0\" x2=\"200\" y2=\"100\" stroke=\"red\"/>"),
       "#ff0000", "0.000,0.000; 100.000,50.000"},
      {Svg(mm,
           "<g transform=\"translate(10 20)\"><g transform=\"scale(2)\">"
           "<line x1=\"1\" y1=\"1\" x2=\"2\" y2=\"1\" stroke=\"#00F\"/></g></g>"),
       "#0000ff", "12.000,22.000; 14.000,22.000"},
      {Svg(mm,
           "<line x1=\"1\" y1=\"0\" x2=\"2\" y2=\"0\" stroke=\"black\" transform=\"rotate(90)\"/>"),
       "#000000", "0.000,1.000; 0.000,2.000"},
      {Svg(mm,
           "<line x2=\"1\" stroke=\"red\" style=\"stroke: green\" transform=\"matrix(1 0 0 1 5 "
           "6)\"/>"),
       "#008000", "5.000,6.000; 6.000,6.000"},
      // No stroke: the fill colour, black by default, outlines the shape.
      {Svg(mm, "<rect x=\"1\" y=\"2\" width=\"3\" height=\"4\"/>"), "#000000",
       "1.000,2.000; 4.000,2.000; 4.000,6.000; 1.000,6.000; 1.000,2.000"},
      // Hidden elements and definitions draw nothing; the next shape does.
      {Svg(mm,
           "<g display=\"none\"><line x2=\"5\" stroke=\"red\"/></g><defs><line x2=\"5\"/></defs>"
           "<polygon points=\"0,0 1,0 1,1\" stroke=\"rgb(0,128,255)\"/>"),
       "#0080ff", "0.000,0.000; 1.000,0.000; 1.000,1.000; 0.000,0.000"},
      // An aspect kept: 200 x 100 units centred on a square page.
      {Svg("width=\"100mm\" height=\"100mm\" viewBox=\"0 0 200 100\"",
           "<line x2=\"200\" stroke=\"blue\"/>"),
       "#0000ff", "0.000,25.000; 100.000,25.000"},
      // Without a unit a length is in pixels, 96 to the inch.
      {Svg("width=\"96\" height=\"96\"", "<line x2=\"96\" stroke=\"blue\"/>"), "#0000ff",
       "0.000,0.000; 25.400,0.000"},
  };
  for (const Case& c : cases) {
    Drawing drawing;
    Error error;
    ASSERT_TRUE(ReadSvg(c.svg.data(), c.svg.size(), &drawing, &error))
        << c.svg << ": " << error.message;
    ASSERT_EQ(drawing.shapes.size(), 1u) << c.svg;
    EXPECT_EQ(drawing.shapes[0].colour, c.colour) << c.svg;
    EXPECT_EQ(Describe(drawing.shapes[0].subpaths), c.pieces) << c.svg;
  }
}

TEST(SvgDocument, TextKeepsPlaceSizeAngleAndCharacters) {
  std::string svg =
      Svg("width=\"100mm\" height=\"100mm\" viewBox=\"0 0 100 100\"",
          "<g font-size=\"5\" fill=\"blue\"><text x=\"10\" y=\"0\" transform=\"rotate(30)\">"
          "Hi <tspan>  there</tspan>\n</text></g>");
  Drawing drawing;
  Error error;
  ASSERT_TRUE(ReadSvg(svg.data(), svg.size(), &drawing, &error)) << error.message;
  ASSERT_EQ(drawing.texts.size(), 1u);
  const Text& t = drawing.texts[0];
  EXPECT_EQ(t.text, "Hi there");
  EXPECT_EQ(t.colour, "#0000ff");
  EXPECT_NEAR(t.position.x, 10 * std::cos(M_PI / 6), 1e-9);
  EXPECT_NEAR(t.position.y, 10 * std::sin(M_PI / 6), 1e-9);
  EXPECT_NEAR(t.size, 5, 1e-9);
  EXPECT_NEAR(t.angle, M_PI / 6, 1e-9);
}

TEST(SvgDocument, BadDocumentsNameLineAndElement) {
  Limits small;
  small.maxElements = 10;
  small.maxPathData = 100;
  small.maxMarkup = 50;
  small.maxDepth = 8;
  std::string deep = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"1\" height=\"1\">";
  for (int i = 0; i < 9; ++i) deep += "<g>";
  deep += "<line x2=\"1\" stroke=\"red\"/>";
  for (int i = 0; i < 9; ++i) deep += "</g>";
  deep += "</svg>";
  std::string many = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"1\" height=\"1\">\n";
  for (int i = 0; i < 12; ++i) many += "<line/>";
  many += "</svg>";
  struct Case {
    std::string svg;
    std::string message;
    std::size_t line;
    std::string element;
  } cases[] = {
      {"<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"1\" height=\"1\">\n<line",
       "not well-formed XML: ", 2, ""},
      {Svg("width=\"1\" height=\"1\"", "<path d=\"M0 0" + std::string(120, ' ') + "\"/>"),
       "d is longer than 100 bytes", 1, "path"},
      {Svg("viewBox=\"0 0 0 1\"", ""),  // no viewBox, then, and nothing to measure
       "the document has no size, and its content none either", 1, "svg"},
      {"<html/>", "the document is not SVG", 1, "html"},
      {deep, "elements nested more than 8 deep", 1, "g"},
      {many, "more than 10 elements", 2, "line"},
      {std::string(60, '<'), "more than 50 tags", 0, ""},
      {"", "the document is empty", 0, ""},
  };
  for (const Case& c : cases) {
    Drawing drawing;
    Error error;
    EXPECT_FALSE(ReadSvg(c.svg.data(), c.svg.size(), &drawing, &error, small)) << c.svg;
    EXPECT_EQ(error.message.substr(0, c.message.size()), c.message) << c.svg;
    EXPECT_EQ(error.line, c.line) << c.svg;
    EXPECT_EQ(error.element, c.element) << c.svg;
    EXPECT_TRUE(drawing.shapes.empty() && drawing.texts.empty());
  }
}

TEST(SvgFlatten, ChordsStayWithinTheTolerance) {
  std::vector<Subpath> subpaths;
  std::string message;
  ASSERT_TRUE(ParsePathData("M100 0 A100 100 0 0 1 0 100 L0 0", &subpaths, &message, 100));
  for (double tolerance : {1.0, 0.05, 0.001}) {
    std::vector<Point> points;
    Flatten(subpaths[0], tolerance, [&](Point p) { points.push_back(p); });
    ASSERT_GE(points.size(), 3u);
    EXPECT_EQ(points.back().x, 0.0);  // the line behind the arc, exactly
    EXPECT_EQ(points.back().y, 0.0);
    points.pop_back();
    EXPECT_EQ(points.back().x, 0.0);  // the arc ends exactly at its end point
    EXPECT_EQ(points.back().y, 100.0);
    Point from = subpaths[0].start;
    for (const Point& p : points) {
      // The middle of each chord is where it strays farthest from the arc.
      double r = std::hypot((from.x + p.x) / 2, (from.y + p.y) / 2);
      EXPECT_LT(100 - r, tolerance + 0.03)
          << tolerance;  // 0.03: the cubic's own distance from the circle
      from = p;
    }
  }
  std::size_t count = 0;
  Flatten(subpaths[0], 0, [&](Point) { ++count; });
  EXPECT_EQ(count, 4096u + 1);  // a zero tolerance is bounded, not endless
}

TEST(SvgColour, Normalised) {
  const char* cases[][2] = {{"#F00", "#ff0000"},
                            {"Red", "#ff0000"},
                            {"rgb(0, 128, 255)", "#0080ff"},
                            {"rgb(100%,0%,0%)", "#ff0000"},
                            {"none", ""},
                            {" salmon ", "salmon"},
                            {"#12345G", "#12345g"},
                            {"currentColor", "#000000"}};
  for (const auto& c : cases) EXPECT_EQ(NormaliseColour(c[0]), c[1]) << c[0];
}

}  // namespace
}  // namespace konib::svg
