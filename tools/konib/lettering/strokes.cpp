// Hershey stroke letters, and the choice between them and the device's own.
#include <KoNib.h>

// The font library's header is plain C without C++ linkage of its own.
extern "C" {
#include <hersheyfont.h>
}

#include <cmath>

#include "lettering/lettering.h"

namespace konib::lettering {
namespace {

// Hershey glyphs stand on a baseline at 0 with capitals 21 units high. The
// device's letters are sized so that capitals are 0.7 of the em, and so are
// these: 30 units to the em.
constexpr double kUnitsPerEm = 30;
// A slanted letter leans this far per unit of height; a bold one is drawn
// twice, this far apart, as a pen makes a heavier line.
constexpr double kSlant = 0.2;
constexpr double kBoldOffset = 0.04;  // em

hershey_font* Font(void* font) { return static_cast<hershey_font*>(font); }

// The Japanese set of the Hershey fonts carries no character numbers: its
// glyphs stand in the file in the order below, which was read off the
// glyphs themselves, one by one. '_' marks a place that holds no character
// of its own (a copy of another kana in the gaps of the ya and wa rows, or
// a bare dot); they are left out.
constexpr unsigned kJapaneseFirst = 32;
const char32_t kJapaneseOrder[] =
    U"\u3002\u3001\u30FC"  // 。、ー
    U"日円年大国人東中本京出時上者十一二三四五六七入九"
    U"______"
    U"あいうえおかきくけこさしすせそたちつてとなにぬねのはひふへほまみむめもや_ゆ_よ"
    U"らりるれろわゐ_ゑをん____"
    U"がぎぐげござじずぜぞだぢづでどばびぶべぼぱぴぷぺぽ"
    U"アイウエオカキクケコサシスセソタチツテトナニヌネノハヒフヘホマミムメモヤ_ユ_ヨ"
    U"ラリルレロワヰ_ヱヲン____"
    U"ガギグゲゴザジズゼゾダヂヅデドバビブベボパピプペポ";

// Japanese glyphs are 27 units wide: one em, as a browser's full-width
// letters, whose boxes they then match within 0.02 em.
constexpr double kJapaneseUnitsPerEm = 27;

bool IsBlank(char32_t c) { return c == ' ' || c == 0x3000 || c < 0x20 || (c >= 0x7F && c < 0xA0); }

// The characters drawn for one of the text: itself, or the replacement.
template <typename Each>
void Glyphs(char32_t c, const StrokeFont& font, const std::u32string& instead, Missing* missing,
            const std::string& replacement, Each each) {
  if (IsBlank(c)) return each(U' ');
  if (font.Has(c)) return each(c);
  if (missing != nullptr) missing->Report(c, replacement, "has no glyph in the stroke font");
  for (char32_t r : instead) each(font.Has(r) ? r : U'?');
}

}  // namespace

std::unique_ptr<StrokeFont> StrokeFont::Load(const std::string& name, std::string* message) {
  // Only plain names reach the fonts folder; a path names a .jhf file.
  bool file = name.find('/') != std::string::npos ||
              (name.size() > 4 && name.compare(name.size() - 4, 4, ".jhf") == 0);
  bool plain = !name.empty() &&
               name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") == std::string::npos;
  hershey_font* font = nullptr;
  if (file)
    font = hershey_jhf_font_load(name.c_str());
  else if (plain)
    font = hershey_font_load(name.c_str());
  if (font == nullptr || hershey_font_glyph(font, 'A')->npaths == 0) {
    if (font != nullptr) hershey_font_free(font);
    *message = "--font " + name +
               ": no such Hershey font (futural, rowmans, timesr... in "
               "/usr/share/hershey-fonts, or a .jhf file)";
    return nullptr;
  }
  std::unique_ptr<StrokeFont> loaded(new StrokeFont(font));
  // Kana and kanji come from the Japanese set, where it is installed.
  if (hershey_font* japanese = hershey_font_load("japanese")) {
    loaded->japanese_ = japanese;
    for (unsigned i = 0; i + 1 < sizeof kJapaneseOrder / sizeof kJapaneseOrder[0]; ++i)
      if (kJapaneseOrder[i] != U'_' &&
          hershey_font_glyph(japanese, static_cast<unsigned char>(kJapaneseFirst + i))->npaths > 0)
        loaded->japaneseGlyphs_[kJapaneseOrder[i]] = static_cast<unsigned char>(kJapaneseFirst + i);
  }
  return loaded;
}

StrokeFont::~StrokeFont() {
  hershey_font_free(Font(font_));
  if (japanese_ != nullptr) hershey_font_free(Font(japanese_));
}

const void* StrokeFont::Glyph(char32_t c, double* unitsPerEm) const {
  // Half-width katakana are drawn as their full-width forms, full-width
  // Latin letters and signs as the font's own.
  static const char32_t kHalfWidth[] =
      U"ヲァィゥェォャュョッーアイウエオカキクケコサシスセソタチツテトナニヌネノハヒフヘホマミムメ"
      U"モヤユヨラリルレロワン";
  if (c >= 0xFF66 && c <= 0xFF9D) c = kHalfWidth[c - 0xFF66];
  if (c >= 0xFF01 && c <= 0xFF5E) c -= 0xFEE0;
  if (c >= 0x20 && c <= 0x7E) {
    const hershey_glyph* g = hershey_font_glyph(Font(font_), static_cast<unsigned char>(c));
    *unitsPerEm = kUnitsPerEm;
    return g->width > 0 ? g : nullptr;
  }
  auto found = japaneseGlyphs_.find(c);
  if (found == japaneseGlyphs_.end()) return nullptr;
  *unitsPerEm = kJapaneseUnitsPerEm;
  return hershey_font_glyph(Font(japanese_), found->second);
}

bool StrokeFont::Has(char32_t c) const {
  double units;
  return Glyph(c, &units) != nullptr;
}

double StrokeFont::Advance(char32_t c) const {
  double units;
  const auto* g = static_cast<const hershey_glyph*>(Glyph(c, &units));
  return g == nullptr ? 0 : g->width / units;
}

std::vector<std::vector<plan::Point>> StrokeFont::Strokes(char32_t c) const {
  std::vector<std::vector<plan::Point>> strokes;
  double units;
  const auto* g = static_cast<const hershey_glyph*>(Glyph(c, &units));
  if (g == nullptr) return strokes;
  for (const hershey_path* p = g->paths; p != nullptr; p = p->next) {
    std::vector<plan::Point> line;
    for (unsigned short i = 0; i < p->nverts; ++i)
      line.push_back({p->verts[i].x / units, p->verts[i].y / units});
    if (line.size() == 1) line.push_back(line.front());  // a dot
    strokes.push_back(std::move(line));
  }
  return strokes;
}

double StrokeAdvance(const std::string& utf8, double em, double spacing, const StrokeFont& font,
                     const std::string& replacement) {
  std::u32string instead = DecodeUtf8(replacement);
  double advance = 0;
  for (char32_t c : DecodeUtf8(utf8))
    Glyphs(c, font, instead, nullptr, replacement,
           [&](char32_t g) { advance += font.Advance(g) * em + spacing; });
  return advance;
}

std::vector<plan::Path> LabelStrokes(const job::Label& label, const StrokeFont& font,
                                     const std::string& replacement, Missing* missing) {
  std::vector<plan::Path> paths;
  std::u32string instead = DecodeUtf8(replacement);
  const double cosA = std::cos(label.angle), sinA = std::sin(label.angle), em = label.em;
  double pen = 0;  // along the baseline, plot units
  auto draw = [&](char32_t g) {
    for (int pass = 0; pass < (label.bold ? 2 : 1); ++pass) {
      double shift = pass * kBoldOffset * em;
      for (const auto& stroke : font.Strokes(g)) {
        plan::Path path{label.pen, {}};
        path.points.reserve(stroke.size());
        for (const plan::Point& p : stroke) {
          double x = pen + shift + (p.x + (label.italic ? kSlant * p.y : 0)) * em, y = p.y * em;
          path.points.push_back(
              {label.at.x + cosA * x - sinA * y, label.at.y + sinA * x + cosA * y});
        }
        paths.push_back(std::move(path));
      }
    }
    pen += font.Advance(g) * em + label.spacing;
  };
  for (char32_t c : DecodeUtf8(label.text)) Glyphs(c, font, instead, missing, replacement, draw);
  return paths;
}

std::string Replacement(const tool::ModelList& model) {
  const char* value = model.Value("Konib.Replacement");
  std::string utf8;
  if (value == nullptr || *value == '\0' || !FromCp932(value, &utf8) || utf8.empty()) return "?";
  return utf8;
}

bool Lettering::Prepare(const Options& options, const tool::ModelList& model,
                        std::string* message) {
  mode_ = options.text;
  if (mode_ != "auto" && mode_ != "device" && mode_ != "strokes") {
    *message = "--text " + mode_ + ": give device, strokes or auto";
    return false;
  }
  _NibWorld2 size{100, 100};
  void* h = NibGetHandle(&size);
  NibSetPlotter2(h, model.list);
  unsigned code = 0, fonts = 0;
  NibQueryFontSupportCode(h, &code);
  NibQueryFontSupport(h, &fonts);
  NibFreeHandle(h);
  carried_ = code & kEverything;
  // The model's ANK and Kanji values say what its fonts hold; a model that
  // says nothing of them is taken at its templates' word.
  fonts_ = fonts == 0 ? kEverything
                      : ((fonts & 1) != 0 ? kAscii : 0u) | ((fonts & 2) != 0 ? kKana : 0u) |
                            ((fonts & 8) != 0 ? kDoubleByte : 0u);
  replacement_ = Replacement(model);
  if (mode_ == "device" && carried_ == 0) {
    *message = "--text device: the model has no text templates (try --text strokes)";
    return false;
  }
  if (mode_ != "device") {
    font_ = StrokeFont::Load(options.font, message);
    if (font_ == nullptr) return false;
  }
  return true;
}

bool Lettering::AsStrokes(const job::Label& label) const {
  if (mode_ != "auto") return mode_ == "strokes";
  for (char32_t c : DecodeUtf8(label.text))
    if (Cp932Of(c, carried_ & fonts_).empty()) return true;
  return false;
}

double Lettering::Advance(const job::Label& label) const {
  if (AsStrokes(label))
    return StrokeAdvance(label.text, label.em, label.spacing, *font_, replacement_);
  return job::DeviceAdvance(label, ToCp932(label.text, replacement_, nullptr, carried_));
}

job::Measure Lettering::Measure() const {
  return [this](const job::Label& label) { return Advance(label); };
}

void Lettering::Letter(job::Work* work) {
  std::vector<job::Label> kept;
  for (job::Label& label : work->labels) {
    if (!AsStrokes(label)) {
      kept.push_back(std::move(label));
      continue;
    }
    for (plan::Path& path : LabelStrokes(label, *font_, replacement_, &missing_))
      work->paths.push_back(std::move(path));
  }
  work->labels = std::move(kept);
}

}  // namespace konib::lettering
