// Texts as browsers place them: the runs the reader finds in <text> and
// <tspan>, and where job::Lay puts them once the letters' advance is known.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "job/job.h"
#include "svg/svg.h"

namespace konib {
namespace {

svg::Drawing Read(const std::string& body) {
  std::string svg =
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"100mm\" height=\"100mm\" "
      "viewBox=\"0 0 100 100\">" +
      body + "</svg>";
  svg::Drawing drawing;
  svg::Error error;
  EXPECT_TRUE(svg::ReadSvg(svg.data(), svg.size(), &drawing, &error)) << error.message;
  return drawing;
}

// A run as "[text x y +dx,dy s size]" with "ls", "bl", "a", "b", "i" where
// they are not the default.
std::string Describe(const svg::Text& text) {
  std::string out;
  char part[64];
  for (const svg::TextRun& r : text.runs) {
    out += "[" + r.text;
    if (r.newX) std::snprintf(part, sizeof part, " x%g", r.x), out += part;
    if (r.newY) std::snprintf(part, sizeof part, " y%g", r.y), out += part;
    if (r.dx != 0 || r.dy != 0)
      std::snprintf(part, sizeof part, " +%g,%g", r.dx, r.dy), out += part;
    std::snprintf(part, sizeof part, " s%g", r.size), out += part;
    if (r.spacing != 0) std::snprintf(part, sizeof part, " ls%g", r.spacing), out += part;
    if (r.baseline != 0) std::snprintf(part, sizeof part, " bl%g", r.baseline), out += part;
    if (r.anchor != 0) out += " a" + std::to_string(r.anchor);
    out += std::string(r.bold ? " b" : "") + (r.italic ? " i" : "") + "]";
  }
  return out;
}

TEST(SvgText, RunsWithPositionsAndStyles) {
  const struct {
    const char* body;
    const char* runs;
  } cases[] = {
      {"<text x='10' y='20' font-size='10'>HI<tspan x='50' y='30'>XE</tspan><tspan "
       "dx='5'>LT</tspan></text>",
       "[HI x10 y20 s10][XE x50 y30 s10][LT +5,0 s10]"},
      // One value a character; the outer list goes on inside the tspan.
      {"<text x='1 2 3' y='5' font-size='4'>A<tspan>BC</tspan>D</text>",
       "[A x1 y5 s4][B x2 s4][C x3 s4][D s4]"},
      // Blanks collapse across elements, trim at both ends; preserve keeps them.
      {"<text y='9'>  a \n <tspan> b</tspan>  </text>", "[a  x0 y9 s16][b s16]"},
      {"<text xml:space='preserve' y='9'> a\tb </text>", "[ a b  x0 y9 s16]"},
      // Sizes in any unit, relative ones against the parent's.
      {"<g font-size='10'><text font-size='2em'>A<tspan font-size='50%'>B</tspan><tspan "
       "font-size='3pt'>C</tspan><tspan font-size='larger'>D</tspan></text></g>",
       "[A x0 y0 s20][B s10][C s4][D s24]"},
      // Inherited anchor, weight, slant, spacing and baseline; the spacing's
      // em is the g's font size, where it is given.
      {"<g text-anchor='middle' font-weight='700' letter-spacing='0.1em'><text x='50' "
       "font-size='10' dominant-baseline='central'>A<tspan font-style='italic' "
       "font-weight='normal' text-anchor='end' x='60'>B</tspan></text></g>",
       "[A x50 y0 s10 ls1.6 bl3.5 a1 b][B x60 s10 ls1.6 bl3.5 a2 i]"},
      {"<text font-size='10' alignment-baseline='hanging'>A<tspan "
       "dominant-baseline='text-after-edge'>B</tspan></text>",
       "[A x0 y0 s10 bl7.5][B s10 bl-2.2]"},
      // Text on a path is not read; hidden tspans show nothing.
      {"<text>A<textPath href='#p'>B</textPath><tspan display='none'>C</tspan>D</text>",
       "[AD x0 y0 s16]"},
  };
  for (const auto& c : cases) {
    svg::Drawing drawing = Read(c.body);
    ASSERT_EQ(drawing.texts.size(), 1u) << c.body;
    EXPECT_EQ(Describe(drawing.texts[0]), c.runs) << c.body;
  }
}

// Each character advances 10 plot units; the page maps 1:1 with y turned;
// a label in another pen than 1 shows it behind a slash.
TEST(SvgText, LayPlacesRunsAndAnchorsChunks) {
  const struct {
    const char* body;
    const char* labels;
  } cases[] = {
      {"<text x='10' y='20' font-size='5'>AB<tspan dx='5'>CD</tspan></text>", "AB@10,80 CD@35,80"},
      {"<text x='50' y='20' text-anchor='middle'>ABCD</text>", "ABCD@30,80"},
      {"<text x='90' y='20' text-anchor='end'>AB<tspan dy='-2'>CD</tspan></text>",
       "AB@50,80 CD@70,82"},
      // A new absolute x starts a chunk of its own with its own anchor.
      {"<text x='50' y='20' text-anchor='end'>AB<tspan x='50' y='40' "
       "text-anchor='start'>CD</tspan></text>",
       "AB@30,80 CD@50,60"},
      // A y alone starts a chunk too, going on from where x stands.
      {"<text x='10' y='20'>AB<tspan y='30'>C</tspan></text>", "AB@10,80 C@30,70"},
      {"<text x='10' y='20' transform='translate(5 0) scale(2)'>AB<tspan>C</tspan></text>",
       "AB@25,60 C@45,60"},
      // A tspan of another colour takes its pen; one that shows nothing its room.
      {"<text x='10' y='20'>AB<tspan fill='red'>C</tspan><tspan fill='none'>D</tspan>E</text>",
       "AB@10,80 C@30,80/2 E@50,80"},
  };
  job::Placement place{1, 0, 0, false, 100};
  job::Measure measure = [](const job::Label& l) {
    return 10.0 * static_cast<double>(l.text.size());
  };
  for (const auto& c : cases) {
    svg::Drawing drawing = Read(c.body);
    std::map<std::string, int> pens{{"#000000", 1}, {"#ff0000", 2}};
    job::Work work = job::Lay(drawing, pens, place, true, measure);
    std::string out;
    char at[64];
    for (const job::Label& l : work.labels) {
      std::snprintf(at, sizeof at, "@%g,%g", l.at.x + 0.0, l.at.y + 0.0);
      out +=
          (out.empty() ? "" : " ") + l.text + at + (l.pen != 1 ? "/" + std::to_string(l.pen) : "");
    }
    EXPECT_EQ(out, c.labels) << c.body;
  }
}

}  // namespace
}  // namespace konib
