// The SVG reader as browsers draw: <use>, markers, dashes, units, viewports,
// transforms, style sheets, clipping, recovery from errors, layers.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "job/job.h"
#include "svg/svg.h"

namespace konib::svg {
namespace {

// Every shape as "colour: x,y x,y ... | x,y ..." (points rounded to 0.01,
// curves by their ends), shapes joined by " / ".
std::string Outlines(const Drawing& drawing) {
  std::string out;
  char text[64];
  for (const Shape& shape : drawing.shapes) {
    out += (out.empty() ? "" : " / ") + shape.colour + ":";
    for (std::size_t i = 0; i < shape.subpaths.size(); ++i) {
      const Subpath& s = shape.subpaths[i];
      out += i == 0 ? " " : " | ";
      std::snprintf(text, sizeof text, "%.2f,%.2f", s.start.x + 0.0, s.start.y + 0.0);
      out += text;
      for (const Segment& g : s.segments) {
        std::snprintf(text, sizeof text, " %.2f,%.2f", g.end.x + 0.0, g.end.y + 0.0);
        out += text;
      }
    }
  }
  for (std::size_t at; (at = out.find("-0.00")) != std::string::npos;) out.erase(at, 1);
  return out;
}

// A page of 96 by 96 user units, one to the millimetre.
std::string Page(const std::string& body, const std::string& root = "") {
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"96mm\" height=\"96mm\" "
         "viewBox=\"0 0 96 96\" " +
         root + ">" + body + "</svg>";
}

Drawing Read(const std::string& svg, Limits limits = Limits()) {
  Drawing drawing;
  Error error;
  EXPECT_TRUE(ReadSvg(svg.data(), svg.size(), &drawing, &error, limits))
      << svg << ": " << error.message;
  return drawing;
}

TEST(SvgFeatures, DrawsWhatBrowsersDraw) {
  struct Case {
    const char* what;
    std::string svg;
    std::string outlines;
  } cases[] = {
      {"a symbol fills the <use>'s size through its viewBox",
       Page("<symbol id=\"s\" viewBox=\"0 0 10 10\"><line x2=\"10\" stroke=\"red\"/></symbol>"
            "<use href=\"#s\" x=\"5\" y=\"6\" width=\"20\" height=\"40\"/>"),
       "#ff0000: 25.00,16.00 5.00,16.00"},  // clipped to the viewport, which turns it round
      {"a reused definition inherits from the <use>, moved by x and y",
       Page("<defs><line id=\"l\" x2=\"4\"/></defs><use xlink:href=\"#l\" y=\"3\" stroke=\"blue\" "
            "transform=\"translate(1)\"/>"),
       "#0000ff: 1.00,3.00 5.00,3.00"},
      {"a <use> of itself is left out, the rest drawn",
       Page("<g id=\"g\"><line x2=\"1\" stroke=\"red\"/><use href=\"#g\"/></g>"),
       "#ff0000: 0.00,0.00 1.00,0.00"},
      {"a marker turns with the path, on the start, the middle vertices and the end",
       Page("<marker id=\"m\" orient=\"auto\" markerUnits=\"userSpaceOnUse\" refX=\"1\" "
            "overflow=\"visible\"><line x1=\"0\" x2=\"2\" stroke=\"red\"/></marker>"
            "<polyline points=\"10,10 20,10 20,20\" stroke=\"blue\" fill=\"none\" "
            "marker-start=\"url(#m)\" marker-mid=\"url(#m)\" marker-end=\"url(#m)\"/>"),
       // at (20,10) the path turns from east to south: the bisector points south-east
       "#0000ff: 10.00,10.00 20.00,10.00 20.00,20.00 / #ff0000: 9.00,10.00 11.00,10.00 / "
       "#ff0000: 19.29,9.29 20.71,10.71 / #ff0000: 20.00,19.00 20.00,21.00"},
      {"the pieces of an arc have no vertex between them",
       Page("<marker id=\"m\" overflow=\"visible\" markerUnits=\"userSpaceOnUse\">"
            "<line x2=\"1\" stroke=\"red\"/></marker><path d=\"M10 0 A10 10 0 0 1 -10 0 H-20\" "
            "stroke=\"blue\" fill=\"none\" marker-mid=\"url(#m)\"/>"),
       "#0000ff: 10.00,0.00 0.00,10.00 -10.00,0.00 -20.00,0.00 / #ff0000: -10.00,0.00 -9.00,0.00"},
      {"auto-start-reverse turns the start marker round; markerUnits scale by stroke-width; "
       "context-stroke is the path's stroke",
       Page("<marker id=\"m\" orient=\"auto-start-reverse\" overflow=\"visible\">"
            "<line x2=\"2\" stroke=\"context-stroke\"/></marker>"
            "<line x1=\"10\" y1=\"10\" x2=\"30\" y2=\"10\" stroke=\"blue\" stroke-width=\"3\" "
            "marker-start=\"url(#m)\"/>"),
       "#0000ff: 10.00,10.00 30.00,10.00 / #0000ff: 10.00,10.00 4.00,10.00"},
      {"a marker's viewBox and a fixed angle",
       Page("<marker id=\"m\" viewBox=\"0 0 20 20\" markerWidth=\"2\" markerHeight=\"2\" "
            "refX=\"10\" refY=\"10\" orient=\"90\" markerUnits=\"userSpaceOnUse\">"
            "<path d=\"M10 10 H20\" stroke=\"red\"/></marker>"
            "<path d=\"M50 50 L60 50\" stroke=\"blue\" marker-end=\"url(#m)\"/>"),
       "#0000ff: 50.00,50.00 60.00,50.00 / #ff0000: 60.00,50.00 60.00,51.00"},
      {"dashes run on across the pieces of a path, from the offset",
       Page("<polyline points=\"0,0 10,0 10,10\" stroke=\"red\" fill=\"none\" "
            "stroke-dasharray=\"4 2\" stroke-dashoffset=\"1\"/>"),
       "#ff0000: 0.00,0.00 3.00,0.00 | 5.00,0.00 9.00,0.00 | 10.00,1.00 10.00,5.00 | "
       "10.00,7.00 10.00,10.00"},
      {"an odd dash list is repeated; pathLength stretches it; a fill stays whole",
       Page("<path d=\"M0 0 H30\" pathLength=\"3\" stroke-dasharray=\"1 0.5 0.5\" stroke=\"red\" "
            "fill=\"blue\"/>"),
       "#0000ff: 0.00,0.00 30.00,0.00 0.00,0.00 / #ff0000: 0.00,0.00 10.00,0.00 | "
       "15.00,0.00 20.00,0.00"},
      {"em, ex, rem, %, vw, vh, vmin, vmax and Q",
       Page("<g font-size=\"4\"><line x1=\"2em\" y1=\"2ex\" x2=\"1rem\" y2=\"50%\" stroke=\"red\"/>"
            "<line x1=\"10vw\" y1=\"10vh\" x2=\"100vmin\" y2=\"4Q\" stroke=\"red\"/></g>",
            "font-size=\"8\""),
       "#ff0000: 8.00,4.00 8.00,48.00 / #ff0000: 9.60,9.60 96.00,3.78"},
      {"a nested <svg> places its viewBox in its viewport and clips to it",
       Page("<svg x=\"10\" y=\"10\" width=\"20\" height=\"10\" viewBox=\"0 0 4 4\">"
            "<line x1=\"-10\" y1=\"2\" x2=\"10\" y2=\"2\" stroke=\"red\"/></svg>"),
       "#ff0000: 30.00,15.00 10.00,15.00"},
      {"the root's preserveAspectRatio",
       "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"96mm\" height=\"96mm\" "
       "viewBox=\"0 0 48 96\" preserveAspectRatio=\"xMaxYMax meet\"><line x2=\"48\" "
       "stroke=\"red\"/></svg>",
       "#ff0000: 48.00,0.00 96.00,0.00"},
      {"transform-origin and the CSS transform, which wins over the attribute",
       Page("<line x1=\"10\" x2=\"20\" stroke=\"red\" transform=\"rotate(90)\" "
            "transform-origin=\"10 0\"/>"
            "<line x2=\"10\" stroke=\"red\" transform=\"translate(50)\" "
            "style=\"transform: rotate(0.25turn) translate(1px, 2px)\"/>"),
       "#ff0000: 10.00,0.00 10.00,10.00 / #ff0000: -2.00,1.00 -2.00,11.00"},
      {"style sheets: ids over classes and attributes over types, style attributes over all, "
       "presentation attributes under all; descendants, children, *, :first-child",
       Page("<style>line { stroke: red } .c { stroke: blue } #i { stroke: green }"
            "g > line.d { stroke: black } g line { stroke-dasharray: 1 } a:hover line "
            "{ stroke: yellow } * { fill: none } [x1] { stroke: olive } line[x2='2'] { stroke: "
            "navy }"
            "g :first-child { stroke: gray }</style>"
            "<line x2=\"1\" stroke=\"white\"/><line class=\"c\" id=\"i\" x2=\"1\"/>"
            "<line class=\"c\" x2=\"1\" style=\"stroke: teal\"/>"
            "<g><a><line class=\"d c\" x2=\"1\"/></a></g><line x1=\"1\" x2=\"3\"/>"
            "<line x2=\"2\"/><g><line x2=\"4\"/><line x2=\"5\"/></g>"),
       "#ff0000: 0.00,0.00 1.00,0.00 / #008000: 0.00,0.00 1.00,0.00 / "
       "#008080: 0.00,0.00 1.00,0.00 / #808080: 0.00,0.00 1.00,0.00 / "  // :first-child over .c
       "#808000: 1.00,0.00 3.00,0.00 / #000080: 0.00,0.00 2.00,0.00 / "
       "#808080: 0.00,0.00 1.00,0.00 | 2.00,0.00 3.00,0.00 / "  // dashed by `g line`
       "#ff0000: 0.00,0.00 1.00,0.00 | 2.00,0.00 3.00,0.00 | 4.00,0.00 5.00,0.00"},
      {"clip-path clips strokes as lines and fills as areas",
       Page("<clipPath id=\"c\"><rect x=\"10\" y=\"10\" width=\"10\" height=\"10\"/></clipPath>"
            "<g clip-path=\"url(#c)\"><line x1=\"0\" y1=\"15\" x2=\"30\" y2=\"15\" stroke=\"red\"/>"
            "<rect x=\"15\" y=\"0\" width=\"10\" height=\"30\" fill=\"blue\"/></g>"),
       "#ff0000: 20.00,15.00 10.00,15.00 / #0000ff: 20.00,20.00 15.00,20.00 15.00,10.00 "
       "20.00,10.00 20.00,20.00"},
      {"a fill closes an open path's outline; a stroke does not",
       Page("<path d=\"M0 0 H10 V10\" fill=\"red\"/><path d=\"M0 0 H10 V10\" stroke=\"blue\" "
            "fill=\"none\"/>"),
       "#ff0000: 0.00,0.00 10.00,0.00 10.00,10.00 0.00,0.00 / "
       "#0000ff: 0.00,0.00 10.00,0.00 10.00,10.00"},
      {"an ellipse with one radius auto or missing is a circle",
       Page("<ellipse cx=\"10\" cy=\"10\" rx=\"5\" stroke=\"red\"/>"
            "<ellipse cx=\"30\" cy=\"10\" rx=\"auto\" ry=\"2\" stroke=\"red\"/>"),
       "#ff0000: 15.00,10.00 10.00,15.00 5.00,10.00 10.00,5.00 15.00,10.00 / "
       "#ff0000: 32.00,10.00 30.00,12.00 28.00,10.00 30.00,8.00 32.00,10.00"},
      {"a <switch> draws its first child whose conditions pass",
       Page("<switch><line x2=\"1\" stroke=\"red\" systemLanguage=\"fr, de\"/>"
            "<line x2=\"2\" stroke=\"red\" requiredExtensions=\"http://example.org/x\"/>"
            "<line x2=\"3\" stroke=\"red\" systemLanguage=\"de, en-GB\"/>"
            "<line x2=\"4\" stroke=\"red\"/></switch>"),
       "#ff0000: 0.00,0.00 3.00,0.00"},
      {"elements with a prefix for SVG's namespace",
       "<s:svg xmlns:s=\"http://www.w3.org/2000/svg\" width=\"96mm\" height=\"96mm\" "
       "viewBox=\"0 0 96 96\"><s:g stroke=\"red\"><s:line x2=\"3\"/></s:g></s:svg>",
       "#ff0000: 0.00,0.00 3.00,0.00"},
      {"internal entities are expanded",
       "<!DOCTYPE svg [<!ENTITY ns \"http://www.w3.org/2000/svg\"><!ENTITY l "
       "\"<line x2='&w;' stroke='red'/>\"><!ENTITY w \"96\">]>"
       "<svg xmlns=\"&ns;\" width=\"96mm\" height=\"96mm\" viewBox=\"0 0 96 96\">&l;&lt;</svg>",
       "#ff0000: 0.00,0.00 96.00,0.00"},
  };
  for (const Case& c : cases) EXPECT_EQ(Outlines(Read(c.svg)), c.outlines) << c.what;
}

// Errors inside a document: what comes before them is drawn, and a warning
// names the line and the element.
TEST(SvgFeatures, RecoversFromErrorsWithWarnings) {
  struct Case {
    std::string body;
    std::string outlines;
    std::string warnings;
  } cases[] = {
      {"<polygon points=\"0,0 4,0 4,4 9\" stroke=\"red\"/>",
       "#ff0000: 0.00,0.00 4.00,0.00 4.00,4.00 0.00,0.00",
       "2 <polygon>: points: odd count, last coordinate dropped"},
      {"<polyline points=\"0,0 4,0 x 4,4\" stroke=\"red\"/>", "#ff0000: 0.00,0.00 4.00,0.00",
       "2 <polyline>: points: not a number after 4 coordinates, the rest left out"},
      {"<path d=\"M0 0 L4 0 L4 4 A1 1 0 2 0 0 0\" stroke=\"red\"/>",
       "#ff0000: 0.00,0.00 4.00,0.00 4.00,4.00",
       "2 <path>: path data: bad arc at byte 22, the rest left out"},
      {"<line x1=\"NaN\" x2=\"4\" stroke=\"red\"/>", "#ff0000: 0.00,0.00 4.00,0.00",
       "2 <line>: x1: not a length: \"NaN\""},
      {"<g transform=\"spin(3)\"><line x2=\"4\" stroke=\"red\"/></g>",
       "#ff0000: 0.00,0.00 4.00,0.00", "2 <g>: transform: not understood, left out: \"spin(3)\""},
      {"<g transform=\"scale(1e300)\"><line x2=\"1e300\" stroke=\"red\"/></g>", "",
       "2 <line>: a coordinate is not finite after its transforms, left out"},
      {"<g id=\"a\"><use href=\"#b\"/></g><g id=\"b\"><use href=\"#a\"/></g>", "",
       "2 <use>: refers to itself through other <use> elements, left out"  // in each instance
       "2 <use>: refers to itself through other <use> elements, left out"},
      {"<line x2=\"4\" stroke=\"red\" clip-path=\"url(#none)\"/>", "#ff0000: 0.00,0.00 4.00,0.00",
       "2 <line>: clip-path: no such <clipPath>, not clipped"},
  };
  for (const Case& c : cases) {
    Drawing drawing = Read(Page("\n" + c.body));
    EXPECT_EQ(Outlines(drawing), c.outlines) << c.body;
    std::string warnings;
    for (const Error& w : drawing.warnings)
      warnings += std::to_string(w.line) + " <" + w.element + ">: " + w.message;
    EXPECT_EQ(warnings, c.warnings) << c.body;
  }
}

// What cannot be read at all, or only past a limit, is refused with a message.
TEST(SvgFeatures, RefusesWhatPassesTheLimits) {
  auto hundred = [](char entity) {
    std::string r;
    for (int i = 0; i < 100; ++i) r += std::string("&") + entity + ";";
    return r;
  };
  std::string laughs = "<!DOCTYPE svg [<!ENTITY a \"aaaaaaaaaa\">";
  for (char e = 'b'; e <= 'k'; ++e)
    laughs += std::string("<!ENTITY ") + e + " \"" + hundred(static_cast<char>(e - 1)) + "\">";
  laughs += "]><svg width=\"1\" height=\"1\"><text>&k;</text></svg>";
  std::string fan = "<defs><g id=\"l0\"><line x2=\"1\" stroke=\"red\"/></g>";
  for (int i = 1; i < 12; ++i)
    fan += "<g id=\"l" + std::to_string(i) + "\"><use href=\"#l" + std::to_string(i - 1) +
           "\"/><use href=\"#l" + std::to_string(i - 1) + "\"/></g>";
  fan += "</defs><use href=\"#l11\"/>";
  struct Case {
    std::string svg;
    std::string message;
  } cases[] = {
      {laughs, "entities nest or repeat beyond bounds"},
      {"<!DOCTYPE svg [<!ENTITY a \"" + std::string(1000, 'a') + "\"><!ENTITY b \"" + hundred('a') +
           "\"><!ENTITY c \"" + hundred('b') + "\">]><svg><text>&c;&c;</text></svg>",
       "entities expand past 16777216 bytes"},
      {"<!DOCTYPE svg [<!ENTITY x SYSTEM \"file:///etc/passwd\">]><svg/>",
       "the external entity \"x\" is not read"},
      {"<!DOCTYPE svg [<!ENTITY x \"&x;\">]><svg>&x;</svg>",
       "entities nest or repeat beyond bounds"},
      {Page(fan), "more than 2000 elements, <use> instances and markers counted"},
      {"<svg xmlns=\"http://www.w3.org/2000/svg\"><line x2=\"1\"/></svg>",
       "the document has no size, and its content none either"},
  };
  Limits limits;
  limits.maxElements = 2000;
  limits.maxBytes = 16u << 20;
  for (const Case& c : cases) {
    Drawing drawing;
    Error error;
    EXPECT_FALSE(ReadSvg(c.svg.data(), c.svg.size(), &drawing, &error, limits)) << c.svg;
    EXPECT_EQ(error.message, c.message) << c.svg;
  }
}

TEST(SvgFeatures, APageWithoutSizeIsItsContentsBounds) {
  Drawing drawing = Read(
      "<svg xmlns=\"http://www.w3.org/2000/svg\"><line x1=\"96\" y1=\"192\" x2=\"192\" "
      "y2=\"288\" stroke=\"red\"/></svg>");
  EXPECT_NEAR(drawing.width, 25.4, 1e-9);
  EXPECT_NEAR(drawing.height, 25.4, 1e-9);
  EXPECT_EQ(Outlines(drawing), "#ff0000: 0.00,0.00 25.40,25.40");
}

// Inkscape's layers: pens by the number a layer's name starts with, hidden
// layers left out, a choice of layers kept.
TEST(SvgFeatures, LayersChooseTheirPens) {
  std::string svg = Page(
      "<g inkscape:groupmode=\"layer\" inkscape:label=\"2 red pen\"><line x2=\"1\" "
      "stroke=\"red\"/><g inkscape:groupmode=\"layer\" inkscape:label=\"sub\"><line x2=\"2\" "
      "stroke=\"blue\"/></g></g>"
      "<g inkscape:groupmode=\"layer\" inkscape:label=\"5\" style=\"display:none\"><line x2=\"3\" "
      "stroke=\"red\"/></g>"
      "<g inkscape:groupmode=\"layer\" inkscape:label=\"7 more\"><line x2=\"4\" stroke=\"red\"/>"
      "</g><line x2=\"5\" stroke=\"green\"/>"
      "<g inkscape:groupmode=\"layer\" inkscape:label=\"17\"><line x2=\"6\" stroke=\"red\"/></g>",
      "xmlns:inkscape=\"http://www.inkscape.org/namespaces/inkscape\"");
  struct Case {
    std::string pensBy;
    std::vector<int> layers;
    std::string pens;  // shape: pen, in order
  } cases[] = {
      // Layers by default; green takes the first free pen, and so does red
      // in a layer past the pens.
      {"", {}, "1:2 2:2 4:7 5:1 6:3"},
      {"colour", {}, "1:1 2:2 4:1 5:3 6:1"},
      {"layer", {7}, "4:7"},
      {"", {2, 5}, "1:2 2:2"},
  };
  for (const Case& c : cases) {
    Drawing drawing = Read(svg);
    ChooseLayers(&drawing, c.pensBy, c.layers);
    std::map<std::string, int> pens;
    std::string message, got;
    ASSERT_TRUE(job::AssignPens(drawing, {}, &pens, &message)) << message;
    for (const Shape& s : drawing.shapes)
      got += (got.empty() ? "" : " ") +
             std::to_string(static_cast<int>(s.subpaths[0].segments[0].end.x)) + ":" +
             std::to_string(s.pen > 0 ? s.pen : pens.at(s.colour));
    EXPECT_EQ(got, c.pens) << c.pensBy;
  }
}

}  // namespace
}  // namespace konib::svg
