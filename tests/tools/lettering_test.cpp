// Lettering: CP932 for the device (the JIS rows, the characters JIS and
// Windows map apart, what has no code), Hershey strokes, the choice between
// the two, and the bytes a label becomes.
#include "lettering/lettering.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <string>

namespace konib::lettering {
namespace {

std::string Hex(const std::string& bytes) {
  std::string out;
  char two[4];
  for (char b : bytes) {
    std::snprintf(two, sizeof two, "%02X", static_cast<unsigned char>(b));
    out += two;
  }
  return out;
}

// Every character of the JIS X 0208 rows, as Shift-JIS, decoded by the
// system and encoded back by the lettering, comes out as it went in.
TEST(Cp932, JisRowsRoundTrip) {
  const struct {
    int first, last;
    int characters;  // assigned cells, as the standard counts them
  } rows[] = {{1, 8, 524}, {16, 47, 2965}, {48, 84, 3390}};
  for (const auto& r : rows) {
    int count = 0;
    for (int row = r.first; row <= r.last; ++row) {
      for (int cell = 1; cell <= 94; ++cell) {
        int j1 = row + 0x20, j2 = cell + 0x20;
        std::string sjis{
            static_cast<char>(((j1 + 1) >> 1) + (j1 <= 0x5E ? 0x70 : 0xB0)),
            static_cast<char>(j2 + ((j1 & 1) != 0 ? (j2 >= 0x60 ? 0x20 : 0x1F) : 0x7E))};
        std::string utf8;
        if (!FromCp932(sjis, &utf8)) continue;  // an empty cell
        ++count;
        EXPECT_EQ(Hex(ToCp932(utf8, "?")), Hex(sjis)) << "row " << row << " cell " << cell;
      }
    }
    EXPECT_EQ(count, r.characters) << "rows " << r.first << " to " << r.last;
  }
}

TEST(Cp932, CharactersMappedApartAndWithoutCode) {
  const struct {
    char32_t c;
    unsigned carried;
    const char* code;  // hexadecimal
  } cases[] = {
      {0x301C, kEverything, "8160"},  // WAVE DASH, as Windows: FULLWIDTH TILDE's code
      {0xFF5E, kEverything, "8160"}, {0x2016, kEverything, "8161"},
      {0x2225, kEverything, "8161"}, {0x2212, kEverything, "817C"},
      {0xFF0D, kEverything, "817C"}, {0x2014, kEverything, "815C"},
      {0x2015, kEverything, "815C"}, {0x00A2, kEverything, "8191"},
      {0x00A3, kEverything, "8192"}, {0x00AC, kEverything, "81CA"},
      {0x00A6, kEverything, "FA55"},  // BROKEN BAR: the IBM extension's
      {0x00A5, kEverything, "5C"},   {0x203E, kEverything, "7E"},
      {0x2160, kEverything, "8754"},  // NEC row 13 before the IBM copy (FA4A)
      {0x7E8A, kEverything, "FA5C"},  // IBM's, not the NEC-selected copy (ED40)
      {0xFF71, kEverything, "B1"},   {0x0001, kEverything, "20"},
      {0x007F, kEverything, "20"},   {0x0085, kEverything, "20"},
      {0x00E9, kEverything, ""},     {0x1F58A, kEverything, ""},
      {0xFFFD, kEverything, ""},     {0x65E5, kAscii | kKana, ""},
      {0xFF71, kAscii, ""},          {0xFF71, kAscii | kKana, "B1"},
      {0x65E5, kDoubleByte, "93FA"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Hex(Cp932Of(c.c, c.carried)), c.code) << std::hex << static_cast<unsigned>(c.c);
}

TEST(Cp932, MissingCharactersAreReportedOnceAndReplaced) {
  std::FILE* log = std::tmpfile();
  ASSERT_NE(log, nullptr);
  Missing missing(log);
  // \xc3\xa9 é twice, a lone continuation byte, then 日 where kanji cannot go.
  EXPECT_EQ(
      Hex(ToCp932("A\xc3\xa9\xc3\xa9\x80\xe6\x97\xa5", "\xe3\x80\x93", &missing, kEverything)),
      "41"
      "81AC"
      "81AC"
      "81AC"
      "93FA");
  EXPECT_EQ(Hex(ToCp932("\xe6\x97\xa5", "\xe3\x80\x93", &missing, kAscii)), "3F");
  std::rewind(log);
  char line[256];
  std::string all;
  while (std::fgets(line, sizeof line, log) != nullptr) all += line;
  std::fclose(log);
  EXPECT_EQ(all,
            "konib: U+00E9 \"\xc3\xa9\" has no code on this device; lettered as \"\xe3\x80\x93\"\n"
            "konib: U+FFFD (no valid UTF-8) has no code on this device; lettered as "
            "\"\xe3\x80\x93\"\n"
            "konib: U+65E5 \"\xe6\x97\xa5\" has no code on this device; lettered as "
            "\"\xe3\x80\x93\"\n");
}

std::string FirstStroke(const std::vector<plan::Path>& paths) {
  std::string out;
  char point[48];
  for (const plan::Point& p : paths.at(0).points)
    std::snprintf(point, sizeof point, "(%.2f,%.2f)", p.x + 0.0, p.y + 0.0), out += point;
  return out;
}

// futural's A: strokes (9,21)-(1,0), (9,21)-(17,0), (4,7)-(14,7), 18 wide;
// at an em of 30 a unit is a plot unit.
TEST(Strokes, GlyphsPlacedTurnedSlantedAndDoubled) {
  std::string message;
  auto font = StrokeFont::Load("futural", &message);
  ASSERT_NE(font, nullptr) << message;
  const struct {
    const char* text;
    double angle;
    bool bold, italic;
    std::size_t paths;
    const char* first;
    double advance;
  } cases[] = {
      {"A", 0, false, false, 3, "(19.00,41.00)(11.00,20.00)", 18},
      {"A", M_PI / 2, false, false, 3, "(-11.00,29.00)(10.00,21.00)", 18},
      {"A", 0, false, true, 3, "(23.20,41.00)(11.00,20.00)", 18},
      {"A", 0, true, false, 6, "(19.00,41.00)(11.00,20.00)", 18},
      {" A", 0, false, false, 3, "(35.00,41.00)(27.00,20.00)", 34},
      {"\xe8\xaa\x9e", 0, false, false, 2,
       "(13.00,36.00)(13.00,37.00)(14.00,39.00)(15.00,40.00)(17.00,41.00)(21.00,41.00)(23.00,40.00)"
       "(24.00,39.00)(25.00,37.00)(25.00,35.00)(24.00,33.00)(23.00,32.00)(19.00,30.00)(19.00,27."
       "00)",
       18},  // 語 as "?"
      {"\xef\xbd\xb1", 0, false, false, 7,
       "(14.44,42.22)(16.67,40.00)(22.22,41.11)(28.89,42.22)(34.44,43.33)(36.67,41.11)",
       30},  // half-width ｱ as ア
      {"\xe6\x97\xa5", 0, false, false, 8, "(20.00,41.11)(17.78,42.22)(17.78,18.89)",
       30},  // 日 from the Japanese set
  };
  for (const auto& c : cases) {
    job::Label label{1, {10, 20}, 30, c.angle, c.text, c.bold, c.italic, 0};
    Missing missing(nullptr);
    auto paths = LabelStrokes(label, *font, "?", &missing);
    ASSERT_EQ(paths.size(), c.paths) << c.text;
    EXPECT_EQ(FirstStroke(paths), c.first) << c.text;
    EXPECT_EQ(paths[0].pen, 1);
    EXPECT_NEAR(StrokeAdvance(c.text, 30, 0, *font, "?"), c.advance, 1e-9) << c.text;
  }
  EXPECT_EQ(StrokeFont::Load("no_such_font", &message), nullptr);
  EXPECT_EQ(StrokeFont::Load("../../etc/passwd", &message), nullptr);
}

struct Loaded {
  tool::ModelFile file;
  std::string section;
  tool::ModelList list;
};

void Load(const std::string& model, Loaded* m) {
  std::string message;
  ASSERT_TRUE(
      tool::LoadModel(model, "", KONIB_LETTERING_MODELS, &m->file, &m->section, &m->list, &message))
      << message;
}

std::string TempModel(const char* name, const std::string& body) {
  std::string path = testing::TempDir() + name;
  std::ofstream(path, std::ios::binary) << "[Test]\r\nStep=0.1\r\nPenLayout=0,1\r\n" << body;
  return path;
}

// Which labels the device letters: by its templates and by what the model
// says its fonts hold.
TEST(Lettering, ChoosesDeviceOrStrokesPerLabel) {
  const std::string none = TempModel("none.ini", "Command.Line=L\\x2;\r\n");
  const struct {
    std::string model;
    const char* mode;
    const char* text;
    bool strokes;
  } cases[] = {
      {"hpgl", "auto", "Hello", false},
      {"hpgl", "auto", "\xe6\x97\xa5\xe6\x9c\xac", true},  // Kanji=0
      {"hpgl", "device", "\xe6\x97\xa5\xe6\x9c\xac", false},
      {"hpgl", "strokes", "Hello", true},
      {"svg", "auto", "\xe6\x97\xa5\xe6\x9c\xac", false},  // Kanji=1
      {"svg", "auto", "\xef\xbd\xb1", true},               // half-width kana, ANK=1
      {"svg", "auto", "caf\xc3\xa9", true},                // no code at all
      {none, "auto", "Hello", true},
  };
  for (const auto& c : cases) {
    Loaded m;
    Load(c.model, &m);
    Lettering letters;
    std::string message;
    ASSERT_TRUE(letters.Prepare({c.mode, "futural"}, m.list, &message)) << message;
    job::Label label{1, {0, 0}, 10, 0, c.text, false, false, 0};
    EXPECT_EQ(letters.AsStrokes(label), c.strokes) << c.model << " " << c.mode << " " << c.text;
  }
  Loaded m;
  Load(none, &m);
  Lettering letters;
  std::string message;
  EXPECT_FALSE(letters.Prepare({"device", "futural"}, m.list, &message));
  EXPECT_EQ(message, "--text device: the model has no text templates (try --text strokes)");
  Loaded hpgl;
  Load("hpgl", &hpgl);
  EXPECT_FALSE(letters.Prepare({"auto", "nofont"}, hpgl.list, &message));
}

// A label's bytes: single-byte characters in one cell, double-byte ones in
// two, each width in a piece of its own; the model's replacement.
TEST(Lettering, DeviceBytesOfALabel) {
  const std::string geta = TempModel("geta.ini",
                                     "Konib.Replacement=\x81\xac\r\nCommand.Text=T\\x1:\r\n"
                                     "Command.TextDraw=\\c4\r\n");
  const struct {
    std::string model;
    const char* text;
    bool bold, italic;
    const char* bytes;
  } cases[] = {
      // A at (10,10) mm, 0.025 mm steps; a cell is 6 mm, the kanji's 12.
      {"hpgl", "A\xe6\x97\xa5\xe6\x9c\xac", false, false,
       "PU400,400;SI0.4000,0.7000;DI100.00,0.00;SL0;LBA\x03"
       "PU640,400;SI0.8000,0.7000;LB\x93\xfa\x96\x7b\x03"},
      // 0.1 mm steps and two decimals: a cell of 60 steps, a blank, then é replaced by 〓.
      {geta, "A \xc3\xa9", false, false, "T100.00:8260T220.00:81AC"},
      // Bold and italic to the model's own font templates.
      {"hpgl", "A", true, true, "SL0.35;LBA\x03"},
      {"svg", "A", true, true, "font-style=\"italic\" font-weight=\"bold\">"},
  };
  for (const auto& c : cases) {
    Loaded m;
    Load(c.model, &m);
    job::Work work;
    work.labels.push_back({1, {10, 10}, 10, 0, c.text, c.bold, c.italic, 0});
    job::Paper paper{-1, "", 200, 100};
    std::string bytes;
    ASSERT_TRUE(job::Emit(work, m.list, paper, &bytes));
    EXPECT_NE(bytes.find(c.bytes), std::string::npos) << c.model << ": " << bytes;
  }
}

// A drawing with kanji, Latin letters and signs, the whole way from the
// document to the device's bytes: through HP-GL as device codes, one label
// per width; through a model that letters nothing as strokes.
TEST(Lettering, DrawingThroughHpglAndAsStrokes) {
  const std::string text =
      "<svg xmlns='http://www.w3.org/2000/svg' width='100mm' height='50mm' viewBox='0 0 100 50'>"
      "<text x='10' y='20' font-size='10'>\xe6\x9d\xb1\xe4\xba\xac A-1 \xe3\x80\x9c "
      "\xe2\x88\x92</text></svg>";  // 東京 A-1 〜 −
  svg::Drawing drawing;
  svg::Error error;
  ASSERT_TRUE(svg::ReadSvg(text.data(), text.size(), &drawing, &error)) << error.message;
  std::map<std::string, int> pens;
  std::string message;
  ASSERT_TRUE(job::AssignPens(drawing, {}, &pens, &message));
  const struct {
    std::string model;
    const char* mode;
    const char* bytes;  // the labels' part of the job; "" for strokes
  } cases[] = {
      {"hpgl", "device",
       "PU400,1200;SI0.8000,0.7000;DI100.00,0.00;SL0;LB\x93\x8c\x8b\x9e\x03"
       "PU1360,1200;SI0.4000,0.7000;LB A\x03PU1840,1200;SI0.4000,0.7000;LB-\x03"
       "PU2080,1200;SI0.4000,0.7000;LB1\x03"
       "PU2560,1200;SI0.8000,0.7000;LB\x81\x60\x03"
       "PU3280,1200;SI0.8000,0.7000;LB\x81\x7c\x03"},
      {TempModel("lines.ini", "Command.Line=L\\x2;\r\n"), "auto", ""},
  };
  for (const auto& c : cases) {
    Loaded m;
    Load(c.model, &m);
    job::Paper paper;
    ASSERT_TRUE(job::ChoosePaper(m.list, "100x50", &paper, &message));
    job::Placement place = job::Place(drawing, paper, "auto", 0);
    Lettering letters;
    ASSERT_TRUE(letters.Prepare({c.mode, "futural"}, m.list, &message)) << message;
    job::Work work = job::Lay(drawing, pens, place, true, letters.Measure());
    letters.Letter(&work);
    std::string bytes;
    ASSERT_TRUE(job::Emit(work, m.list, paper, &bytes));
    if (*c.bytes != '\0') {
      EXPECT_EQ(work.paths.size(), 0u);
      EXPECT_NE(bytes.find(c.bytes), std::string::npos) << bytes;
      continue;
    }
    // Kanji and Latin from the fonts, the signs the fonts lack reported.
    EXPECT_TRUE(work.labels.empty());
    EXPECT_GT(work.paths.size(), 20u);
    EXPECT_EQ(letters.missing().seen(), (std::set<char32_t>{0x301C, 0x2212}));
  }
}

}  // namespace
}  // namespace konib::lettering
