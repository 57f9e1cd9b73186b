#include "output/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "platform/memory.h"
#include "platform/text.h"
#include "support/model_handle.h"

namespace konib {
namespace {

using test::ModelHandle;
using Values = std::initializer_list<std::pair<std::string, std::string>>;

constexpr double kPi = 3.141592653589793;

// Draws `text` at (10, 10) with width 3, height 4, pitch 5 unless told
// otherwise, and returns the bytes.
std::string Draw(ModelHandle& m, const char* text, _NibTextInfo info = {0, 3, 4, 5, 0},
                 _NibWorld2 at = {10, 10}) {
  m.Take();
  EXPECT_EQ(NibDrawText(m.get(), &at, text, &info), 1);
  return m.Take();
}

TEST(TextRoad, LetterAndKanjiThroughTwoSets) {
  ModelHandle m{{"Command.TextCharInit", "LB"},    {"Command.TextChar", "\\c8"},
                {"Command.TextCharTerm", "\\$03"}, {"Command.TextDrawInit", "KJ"},
                {"Command.TextDraw", "\\c5"},      {"Command.TextDrawTerm", ";"}};
  EXPECT_EQ(Draw(m, "A\x8A\xBF"), std::string("\x4C\x42\x41\x03\x4B\x4A\x33\x34\x34\x31\x3B"));
  EXPECT_TRUE(m.h()->stateFlags & kTextValid);
  EXPECT_FALSE(m.h()->stateFlags & kPositionKnown);
}

struct RunCase {
  Values model;
  const char* text;
  const char* expected;
};

// Command.Text brackets each run with its place; the bodies show the code.
TEST(TextRuns, ClassesSetsAndPlaces) {
  // clang-format off
  const RunCase cases[] = {
      // Only the draw set: single bytes go full-width.
      {{{"Command.TextDraw", "\\c4;"}}, "A\xB1", "8260;8341;"},
      // The char set takes kana too when there is no kana set.
      {{{"Command.TextChar", "\\c4;"}}, "\xB1", "00B1;"},
      // The kana set takes bytes from 0x80 up, the draw set the letter.
      {{{"Command.TextKana", "k\\c4;"}, {"Command.TextDraw", "d\\c4;"}}, "A\xB1", "d8260;k00B1;"},
      // Letter and kana are two runs, each with its own bracket.
      {{{"Command.Text", "[\\x1]"}, {"Command.TextTerm", "|"}, {"Command.TextChar", "\\c8"},
        {"Command.TextKana", "\\c4"}}, "A\xB1", "[10.00]A|[15.00]00B1|"},
      // A space joins the run behind it: " CD" starts at place 2.
      {{{"Command.Text", "[\\x1]"}, {"Command.TextChar", "<\\c4\\x1>"}}, "AB CD",
       "[10.00]<004110.00><004215.00>[20.00]<002020.00><004325.00><004430.00>"},
      {{{"Command.TextDraw", "\\c4"}}, "A B", "826081408261"},
      // Trailing spaces are never sent; spaces alone send nothing.
      {{{"Command.TextChar", "\\c8"}}, "AB  ", "AB"},
      {{{"Command.Text", "T"}, {"Command.TextChar", "\\c8"}}, "   ", ""},
      // Digits and letters are classes of their own.
      {{{"Command.Text", "[\\x1]"}, {"Command.TextChar", "\\c8"}}, "12AB", "[10.00]12[20.00]AB"},
      // A double-byte run of two characters counts two places, and so does
      // one with a space at its head (five bytes).
      {{{"Command.Text", "[\\x1]"}, {"Command.TextChar", "\\c8"}, {"Command.TextDraw", "\\c4"}},
       "\x88\x9F\x88\x9F" "A \x88\x9F\x88\x9F" "B", "[10.00]889F889F[20.00]A[25.00] 889F889F[35.00]B"},
      // A lead byte at the end is a single byte of class other.
      {{{"Command.Text", "[\\x1]"}, {"Command.TextChar", "\\c4"}}, "A\x88",
       "[10.00]0041[15.00]0088"},
      {{{"Command.TextKana", "k\\c8"}, {"Command.TextChar", "c\\c8"}}, "\x88", "k\x88"},
      // Init and Term go out when the set changes, the Term with no escapes.
      {{{"Command.TextCharInit", "(\\x1"}, {"Command.TextChar", "\\c8"}, {"Command.TextCharTerm", "\\w1)"},
        {"Command.TextDrawInit", "{"}, {"Command.TextDrawTerm", "}"}},
       "\x88\x9F" "A", "{}(15.00A\x77\x31)"},
      // Without any body, Init and Term still go out and the characters are lost.
      {{{"Command.TextDrawInit", "<"}, {"Command.TextDrawTerm", ">"}}, "AB", "<>"},
  };
  // clang-format on
  for (const RunCase& c : cases) {
    ModelHandle m(c.model);
    EXPECT_EQ(Draw(m, c.text), c.expected) << c.text;
  }
}

TEST(TextRuns, FontAdjustPlacesAndSizesTheRunsOfItsClass) {
  ModelHandle m{{"FontAdjust5", "0.8,0.9,0,0.1"},
                {"FontAdjust1", "2,3,1,0"},
                {"Command.Text", "[\\x1,\\y1,\\w2,\\h2]"},
                {"Command.TextChar", "\\c8"},
                {"Command.TextDraw", "\\c4"}};
  EXPECT_EQ(Draw(m,
                 "\x88\x9F"
                 "1",
                 {0, 10, 20, 5, 0}),
            "[10.00,12.00,8.00,18.00]889F[25.00,10.00,20.00,60.00]1");
  EXPECT_EQ(Draw(m, "\x88\x9F", {0, 10, 20, 5, kPi / 2}, {100, 100}),
            "[98.00,100.00,8.00,18.00]889F");
}

TEST(TextRuns, FontReplaceSendsEachCharacterAlone) {
  const RunCase cases[] = {
      {{{"FontReplace", "A,B"}}, "AA", "[10.00]B|[15.00]B|"},
      {{{"FontReplace", "A,"}}, "A", "[10.00]A|"},
      // A replacement runs on over the places of those that follow.
      {{{"FontReplace", "A,XYZ"}}, "AB", "[10.00]XYZ|[15.00]B|"},
      // Case counts; the first pair that fits wins; a space alone sends nothing.
      {{{"FontReplace", "a,Q,A,R,A,S"}}, "A a", "[10.00]R|[20.00]Q|"},
      // Odd field counts and empty fields: the source before an empty field
      // still stands.
      {{{"FontReplace", ",,A,,B"}}, "AB", "[10.00]A|[15.00]B|"},
      {{{"FontReplace", "B,,A,Z"}}, "AB", "[10.00]Z|[15.00]B|"},
      {{{"FontReplace", "\x88\x9F,K"}}, "\x88\x9F", "[10.00]K|"},
      // A replacement longer than 31 bytes is cut short.
      {{{"FontReplace", "A,0123456789012345678901234567890123"}},
       "A",
       "[10.00]0123456789012345678901234567890|"},
  };
  for (const RunCase& c : cases) {
    ModelHandle m(c.model);
    test::ModelList extra{
        {"Command.Text", "[\\x1]"}, {"Command.TextTerm", "|"}, {"Command.TextChar", "\\c8"}};
    ASSERT_EQ(NibSetPlotter2(m.get(), extra.get()), 1);
    EXPECT_EQ(Draw(m, c.text), c.expected) << c.text;
  }
}

struct EscapeCase {
  const char* tmpl;
  _NibTextInfo info;
  const char* expected;
};

// Command.Text sees positions and attributes; a body the code.
TEST(TextEscapes, AttributesAndCodes) {
  const double deg = kPi / 180;
  const EscapeCase cases[] = {
      {"\\w1|\\w2|\\w3|\\h1|\\h2|\\h3|\\p1",
       {0, 3, 4, 5, 0},
       "6.00|3.00|0.75|8.00|4.00|1.33|10.00"},
      {"\\s1", {0, 3, 4, 5, -90 * deg}, "270.00"},
      {"\\sc,\\ss", {0, 3, 4, 5, 30 * deg}, "86.60,50.00"},
      {"\\x3,\\y3,\\(s1,1)", {0, 3, 4, 5, 0}, "1980.00,1580.00,0.0"},
      // No code in Command.Text: the code escapes are plain bytes.
      {"\\c1\\C4", {0, 3, 4, 5, 0}, "c1C4"},
      // \p0 is the global escape: PenTbl field 0.
      {"\\p0", {0, 3, 4, 5, 0}, "P"},
  };
  for (const EscapeCase& c : cases) {
    ModelHandle m{{"Command.Text", c.tmpl}, {"Step", "0.5"}, {"PenTbl", "P,Q"}};
    EXPECT_EQ(Draw(m, "A", c.info), c.expected) << c.tmpl;
  }
}

TEST(TextEscapes, DegreesRoundThenWrap) {
  ModelHandle m({{"Decimal", "0"}});
  const double deg = kPi / 180;
  EXPECT_EQ(TextDegrees(m.h(), 359.6 * deg), 0.0);
  EXPECT_EQ(TextDegrees(m.h(), -90 * deg), 270.0);
  EXPECT_EQ(TextDegrees(m.h(), 720.4 * deg), 0.0);
  m.h()->decimals = 1;
  EXPECT_DOUBLE_EQ(TextDegrees(m.h(), 359.94 * deg), 359.9);
  const double huge = TextDegrees(m.h(), 1e300);
  EXPECT_TRUE(huge >= 0.0 && huge < 360.0);
  EXPECT_EQ(TextDegrees(m.h(), NAN), 0.0);
}

TEST(TextEscapes, CodeForms) {
  struct {
    unsigned code;
    const char* tmpl;
    std::string expected;
  } cases[] = {
      {0x889F, "\\c1|\\c2|\\c3|\\c4|\\c5|\\c8|\\c9", "\x88\x9F|\x30\x21|1601|889F|3021|\x9F|\x1F"},
      {0xB1, "\\c4|\\c8|\\c9|\\c5", "00B1|\xB1|\x31|0000"},
      {0x82A0, "\\c3", "0402"},
      {0x889F, "\\C1\\(c1)\\c6\\c7", "\x88\x9F(c1)c6c7"},
      {0x41, "\\c1", std::string("\0A", 2)},
  };
  for (const auto& c : cases) {
    ModelHandle m(Values{});
    EXPECT_EQ(ExpandTextTemplate(m.h(), c.tmpl, nullptr, nullptr, c.code, nullptr), 1);
    EXPECT_EQ(m.Take(), c.expected) << c.tmpl;
  }
  ModelHandle term(Values{});
  ExpandTextTemplate(term.h(), "\\w1\\x1", nullptr, nullptr, 0, nullptr);
  EXPECT_EQ(term.Take(), "w1x1");
}

TEST(TextEscapes, FontTemplatesOnlyOnChange) {
  const Values fonts{{"Command.FontWidth", "W\\w2;"},  {"Command.FontHeight", "H;"},
                     {"Command.FontAngle", "A;"},      {"Command.FontItalicOn", "I+;"},
                     {"Command.FontItalicOff", "I-;"}, {"Command.FontBoldOn", "B+;"},
                     {"Command.FontBoldOff", "B-;"},   {"Command.TextChar", "\\c8"}};
  ModelHandle m(fonts);
  test::ModelList text{{"Command.Text", "\\w0\\h0\\s0\\i0\\b0"}};
  NibSetPlotter2(m.get(), text.get());
  EXPECT_EQ(Draw(m, "AB"), "W3.00;H;A;I+;B-;AB");
  EXPECT_EQ(Draw(m, "CD"), "CD");                       // the device knows
  EXPECT_EQ(Draw(m, "A1"), "A1");                       // two runs, equal attributes
  EXPECT_EQ(Draw(m, "E", {2, 3, 4, 5, 0}), "I-;E");     // italic bit changes
  EXPECT_EQ(Draw(m, "E", {1, 3, 4, 5, 0}), "I+;B+;E");  // both change
  EXPECT_EQ(Draw(m, "E", {1, 3, 4.5, 5, 0}), "H;E");
  NibStartPage(m.get());
  EXPECT_EQ(Draw(m, "E", {1, 3, 4.5, 5, 0}), "W3.00;H;A;I+;B+;E");
  // Different width factors for the two classes: both runs send the width.
  test::ModelList adjust{{"FontAdjust1", "2"}};
  NibSetPlotter2(m.get(), adjust.get());
  EXPECT_EQ(Draw(m, "A1", {1, 3, 4.5, 5, 0}), "AW6.00;1");
  // i1 and b1 always send, by the flags.
  test::ModelList always{{"Command.Text", "\\i1\\b1"}};
  NibSetPlotter2(m.get(), always.get());
  EXPECT_EQ(Draw(m, "A", {0, 3, 4, 5, 0}), "I+;B-;A");
  EXPECT_EQ(Draw(m, "A", {3, 3, 4, 5, 0}), "I-;B+;A");
}

TEST(TextEscapes, FontEscapesOutsideCommandTextAlwaysSend) {
  ModelHandle m{
      {"Command.FontWidth", "W;"}, {"Command.TextCharInit", "\\w0"}, {"Command.TextChar", "\\c8"}};
  EXPECT_EQ(Draw(m, "A"), "W;A");
  EXPECT_EQ(Draw(m, "A"), "W;A");
}

// Font templates send each other, but none is walked again inside itself,
// and one text template sends at most 256 of them, however they fan out.
TEST(TextEscapes, FontTemplatesNestWithoutCyclesOrBlowUp) {
  ModelHandle nested{{"Command.Text", "\\w0"},
                     {"Command.FontWidth", "W\\i1"},
                     {"Command.FontItalicOn", "I"},
                     {"Command.TextChar", "\\c8"}};
  EXPECT_EQ(Draw(nested, "A"), "WIA");
  ModelHandle cycle{{"Command.FontWidth", "W\\w0\\h0\\w0\\w2;"},
                    {"Command.FontHeight", "H\\w0;"},
                    {"Command.TextChar", "\\w0\\h0\\c8"}};
  EXPECT_EQ(Draw(cycle, "A"), "WH;3.00;HW3.00;;A");
  // Four levels of fifty: 6.25 million leaves unbounded. Depth first, the
  // 256 walks are 3 levels, 5 italic walks and 248 leaves.
  const auto fifty = [](const char* escape) {
    std::string s;
    for (int i = 0; i < 50; ++i) s += escape;
    return s;
  };
  const std::string w = fifty("\\h0"), h = fifty("\\s0"), a = fifty("\\i1"), i = fifty("\\b1");
  ModelHandle fan{{"Command.FontWidth", w.c_str()}, {"Command.FontHeight", h.c_str()},
                  {"Command.FontAngle", a.c_str()}, {"Command.FontItalicOn", i.c_str()},
                  {"Command.FontBoldOff", "x"},     {"Command.TextChar", "\\w0\\c8"}};
  EXPECT_EQ(Draw(fan, "A"), std::string(248, 'x') + "A");
}

// Extension functions get copies: the position, the run or the code, and
// the attributes with only the two style bits of the flags.
TEST(TextEscapes, ExtensionFunctionsGetTheirArguments) {
  ModelHandle m{{"Command.Text", "\\[probe.TextRun]\\w0"},
                {"Command.TextCharInit", "\\[probe.TextCode]"},
                {"Command.TextChar", "\\[probe.TextCode]"},
                {"Command.TextCharTerm", "\\[probe.Echo]"},
                {"Command.FontWidth", "\\[probe.TextFont]"}};
  EXPECT_EQ(Draw(m, "Ab", {0xFF, 3, 4, 5, 0}),
            "(10,10 'Ab' f3 w3 h4 p5 a0)(f3 w3 h4 p5 a0)(10,10 c0 f3 w3 h4 p5 a0)(10,10 c65 f3 w3 "
            "h4 p5 a0)"
            "(15,10 c98 f3 w3 h4 p5 a0)<null:0>");
}

TEST(TextRuns, LongRunsGoOutInPiecesBetweenCharacters) {
  ModelHandle m{{"Command.Text", "["}, {"Command.TextTerm", "]"}, {"Command.TextDraw", "\\c1"}};
  // 200 kanji: 400 bytes, cut into pieces of 129 characters (258 bytes).
  std::string text;
  for (int i = 0; i < 200; ++i) text += "\x88\x9F";
  const std::string out = Draw(m, text.c_str());
  std::string expected = "[";
  for (int i = 0; i < 200; ++i) expected += (i > 0 && i % 129 == 0) ? "][\x88\x9F" : "\x88\x9F";
  EXPECT_EQ(out, expected + "]");
  // The second piece starts 129 places on.
  ModelHandle p{{"Command.Text", "\\x1;"}, {"Command.TextChar", ""}};
  EXPECT_EQ(Draw(p, std::string(300, 'A').c_str(), {0, 1, 1, 1, 0}, {0, 0}), "0.00;259.00;");
}

TEST(TextRuns, EmptyTextAndHugeTexts) {
  ModelHandle m{{"Command.Text", "T"}, {"Command.TextChar", "\\c8"}};
  EXPECT_EQ(Draw(m, ""), "");
  EXPECT_FALSE(m.h()->stateFlags & kTextValid);
  const std::string big(100000, 'x');
  EXPECT_EQ(Draw(m, big.c_str(), {0, 3, 4, 0, 1e300}).size(), 100000u + (100000u + 258u) / 259u);
  ModelHandle r{{"FontReplace", "x,yy"}, {"Command.TextChar", "\\c8"}};
  EXPECT_EQ(Draw(r, big.c_str()).size(), 200000u);
}

// Lettering takes no memory: a failing allocator changes nothing.
TEST(TextRuns, NoAllocationWhileLettering) {
  ModelHandle m{{"Command.Text", "\\x1\\w0\\i0"},    {"Command.FontWidth", "W\\w1"},
                {"Command.TextChar", "\\c8"},        {"Command.TextDraw", "\\c5"},
                {"Command.TextKana", "\\c9"},        {"FontReplace", "A,XY"},
                {"Command.FontItalicOn", "\\p0\\ls"}};
  const std::string first = Draw(m, "Ab 1\x88\x9F\xB1");
  const unsigned long before = platform::AllocationCount();
  platform::FailAllocationAt(1);
  NibStartPage(m.get());
  EXPECT_EQ(Draw(m, "Ab 1\x88\x9F\xB1"), first);
  platform::FailAllocationAt(0);
  EXPECT_EQ(platform::AllocationCount(), before);
  EXPECT_EQ(m.h()->failure, kGood);
}

TEST(FontQueries, CodeFromTheTemplates) {
  const struct {
    Values model;
    unsigned bits;
  } cases[] = {
      {{}, 0},
      {{{"Command.TextKana", ""}}, 2},
      {{{"Command.TextChar", "x"}, {"Command.TextKana", "y"}}, 3},
      {{{"Command.TextDraw", ""}}, 7},
      {{{"Command.Text", "x"}}, 7},
      {{{"Command.TextInit", "x"}, {"Command.TextKana", "y"}}, 7},
  };
  for (const auto& c : cases) {
    ModelHandle m(c.model);
    unsigned bits = 99;
    EXPECT_EQ(NibQueryFontSupportCode(m.get(), &bits), 1);
    EXPECT_EQ(bits, c.bits);
  }
}

TEST(FontQueries, FontsFromTheSettings) {
  const struct {
    int ank, kanji, flag;
    unsigned bits;
  } cases[] = {{2, 2, 1, 31}, {1, 0, 0, 1},  {0, 1, 1, 12}, {0, 1, 0, 8},
               {0, 0, 1, 0},  {5, 3, 0, 27}, {-1, -1, 1, 0}};
  for (const auto& c : cases) {
    _NibInfo info{};
    info.ankFont = c.ank;
    info.kanjiFont = c.kanji;
    info.kanjiFlag = c.flag;
    unsigned viaInfo = 99, viaHandle = 99;
    EXPECT_EQ(NibQueryFontSupport2(&info, &viaInfo), 1);
    ModelHandle m(Values{});
    NibSetPlotterInfo(m.get(), NIB_INFO_ANKFONT | NIB_INFO_KANJIFONT | NIB_INFO_KANJIFLAG, &info);
    EXPECT_EQ(NibQueryFontSupport(m.get(), &viaHandle), 1);
    EXPECT_EQ(viaInfo, c.bits);
    EXPECT_EQ(viaHandle, c.bits);
  }
  ModelHandle fresh(Values{});
  unsigned bits = 99;
  EXPECT_EQ(NibQueryFontSupport(fresh.get(), &bits), 1);
  EXPECT_EQ(bits, 31u);
  // Refusals leave the word alone.
  bits = 99;
  fresh.h()->failure = kDeviceFailure;
  EXPECT_EQ(NibQueryFontSupport(fresh.get(), &bits), 0);
  EXPECT_EQ(NibQueryFontSupportCode(fresh.get(), &bits), 0);
  EXPECT_EQ(NibQueryFontSupport2(nullptr, &bits), 0);
  EXPECT_EQ(NibQueryFontSupport(nullptr, &bits), 0);
  EXPECT_EQ(bits, 99u);
}

TEST(TextServices, FullWidthAndJis) {
  const struct {
    unsigned in, fullWidth;
  } widths[] = {{0x20, 0x8140}, {0x30, 0x824F}, {0x39, 0x8258},  {0x41, 0x8260}, {0x5A, 0x8279},
                {0x61, 0x8281}, {0x7A, 0x829A}, {0x5C, 0x818F},  {0x7E, 0x8150}, {0x21, 0x8149},
                {0xA1, 0x8142}, {0xB1, 0x8341}, {0xDF, 0x814B},  {0x1F, 0x1F},   {0x7F, 0x7F},
                {0xA0, 0xA0},   {0xE0, 0xE0},   {0x889F, 0x889F}};
  for (const auto& c : widths)
    EXPECT_EQ(platform::ToFullWidth(c.in), c.fullWidth) << std::hex << c.in;
  const struct {
    unsigned sjis, jis;
  } codes[] = {{0x889F, 0x3021}, {0x8ABF, 0x3441}, {0x8140, 0x2121}, {0x829F, 0x2421},
               {0x82A0, 0x2422}, {0x817E, 0x215F}, {0x8180, 0x2160}, {0xE040, 0x5F21},
               {0xEAA4, 0x7426}, {0x41, 0},        {0x8820, 0},      {0x7F40, 0},
               {0x88FD, 0}};
  for (const auto& c : codes)
    EXPECT_EQ(platform::ShiftJisToJis(c.sjis), c.jis) << std::hex << c.sjis;
}

}  // namespace
}  // namespace konib
