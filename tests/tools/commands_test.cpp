// konib's commands: the template lint, key suggestions, byte display, pens.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cmd/check.h"
#include "device/device.h"
#include "job/job.h"

namespace konib::tool {
namespace {

using job::AssignPens;
using job::ToDeviceText;

TEST(CheckTemplate, FindsWhatACommandDoesNotHave) {
  struct Case {
    const char* key;
    const char* text;
    std::vector<std::string> findings;
    std::vector<std::string> references;
  } cases[] = {
      {"Command.Line", "PD\\x2,\\y2;\\n", {}, {}},
      {"Command.Move",
       "PU\\x2,\\y2;",
       {"\\x2, is no escape of Command.Move: it sends \"x\" and what follows as text",
        "\\y2; is no escape of Command.Move: it sends \"y\" and what follows as text"},
       {}},
      {"Command.Arc", "\\mvPD;AA\\xc,\\yc,\\(a3,1);", {}, {}},
      {"Command.Circle",
       "CI\\(r1,0",
       {"\\(r1 is not closed as a number: write \\(r1,format,operation)"},
       {}},
      {"Command.Circle", "CI\\(r1,06.1,*2s)\\(-xc3)", {}, {}},
      {"Command.Circle",
       "CI\\(r1,,^2)",
       {"\\(r1 is not closed as a number: write \\(r1,format,operation)"},
       {}},
      {"Command.Line", "\\(zz)", {"\\(zz names no number of Command.Line"}, {}},
      {"Command.Init",
       "\\[probe.Echo,a",
       {"\\[ opens an extension call that no ] closes: its text goes out as it stands"},
       {}},
      {"Command.Init",
       "\\$1B%0BIN;\\$G1",
       {"\\$ is not followed by two hexadecimal digits: it sends \"$\""},
       {}},
      {"Command.Pen", "SP\\pn;\\pp\\PB\\e3\\ls", {}, {"pp", "PB", "e3", "ls"}},
      {"Command.Init", "IN\\", {"a lone backslash ends the template"}, {}},
      {"Command.TextDraw", "\\c5\\w1\\x1", {}, {}},
      {"Command.TextDrawTerm",
       "\\c5",
       {"\\c5 is no escape of Command.TextDrawTerm: it sends \"c\" and what follows as text"},
       {}},
      {"Style1", "LT\\(l1,0)\\,\\(l2,0);", {}, {}},
      {"Digitize.Position", "OD;\\<\\x1,\\y1\\n>", {}, {}},
      {"Digitize.Position", "OD;\\<\\x1", {"the reply pattern \\< has no closing >"}, {}},
      {"Command.Line", "\\<", {}, {}},  // an escaped byte, not a pattern, outside Digitize.Position
  };
  for (const Case& c : cases) {
    std::vector<std::string> references, messages;
    for (const Finding& f : CheckTemplate(c.key, c.text, &references))
      messages.push_back(f.message);
    EXPECT_EQ(messages, c.findings) << c.key << "=" << c.text;
    EXPECT_EQ(references, c.references) << c.key << "=" << c.text;
  }
}

TEST(CheckNames, NearestKeyAndEscapedBytes) {
  EXPECT_EQ(NearestKey("Comand.Line"), "Command.Line");
  EXPECT_EQ(NearestKey("penlayot"), "PenLayout");
  EXPECT_EQ(NearestKey("Digitise.Pen"), "Digitize.Pen");
  EXPECT_EQ(EscapeBytes(std::string("IN;\r\nA\\B\x1b%\x7f\r", 12)), "IN;\\nA\\\\B\\$1B%\\$7F\\$0D");
}

TEST(Pens, MapFirstThenOrderOfAppearance) {
  svg::Drawing d;
  for (const char* colour : {"#ff0000", "#0000ff", "#ff0000", "#00ff00"})
    d.shapes.push_back({colour, {}, d.shapes.size(), colour, "", false});
  // Between the first and second shape.
  d.texts.push_back({"#123456", {0, 0}, 1, 0, "x", 1, {0, 0}, {1, 0}, {0, 1}, {}});
  std::map<std::string, int> pens;
  std::string message;
  ASSERT_TRUE(AssignPens(d, {"blue=1", "Lime=3"}, &pens, &message)) << message;
  std::map<std::string, int> expected{
      {"#0000ff", 1}, {"#00ff00", 3}, {"#ff0000", 2}, {"#123456", 4}};
  EXPECT_EQ(pens, expected);
  for (const char* bad : {"blue", "blue=0", "blue=17", "none=2", "red=2x"}) {
    pens.clear();
    EXPECT_FALSE(AssignPens(d, {bad}, &pens, &message)) << bad;
    EXPECT_EQ(message,
              std::string("--pen-map ") + bad + ": give COLOUR=PEN with a pen from 1 to 16");
  }
  // Seventeen colours: the seventeenth goes round to pen 1.
  svg::Drawing many;
  for (int i = 0; i < 17; ++i)
    many.shapes.push_back({"c" + std::to_string(i),
                           {},
                           static_cast<std::size_t>(i),
                           "c" + std::to_string(i),
                           "",
                           false});
  pens.clear();
  ASSERT_TRUE(AssignPens(many, {}, &pens, &message));
  EXPECT_EQ(pens["c0"], 1);
  EXPECT_EQ(pens["c15"], 16);
  EXPECT_EQ(pens["c16"], 1);
}

TEST(Text, AsciiStaysOtherCharactersBecomeQuestionMarks) {
  EXPECT_EQ(ToDeviceText("KoNib 1.0"), "KoNib 1.0");
  EXPECT_EQ(ToDeviceText("a\tb\x7f"), "a b ");
  EXPECT_EQ(ToDeviceText("Gr\xc3\xbc\xc3\x9f \xe2\x82\xac"
                         "5 \xf0\x9f\x96\x8a"),
            "Gr?? ?5 ?");
  EXPECT_EQ(ToDeviceText("\x80\xbf!"), "\x3f\x3f!");  // stray continuation bytes: one each
}

TEST(Progress, LineShowsBytesShareRateAndTimeLeft) {
  EXPECT_EQ(ProgressLine(500, 2000, 2.0),
            "[#######.......................] 500/2000 bytes  25% 0.2 kB/s 0:06 left");
  EXPECT_EQ(ProgressLine(2000, 2000, 4.0),
            "[##############################] 2000/2000 bytes 100% 0.5 kB/s 0:00 left");
  EXPECT_EQ(ProgressLine(0, 10, 0.0),
            "[..............................] 0/10 bytes   0% 0.0 kB/s --:-- left");
}

}  // namespace
}  // namespace konib::tool
