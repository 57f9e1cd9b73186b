// Lettering: the drawing's Unicode text as the device's CP932 codes, or as
// pen strokes from a Hershey font when the device cannot letter it.
//
// A plotter's own lettering takes CP932 (Shift-JIS with the Windows
// extensions): text goes there through the system's converter. Where the
// model has no text templates, or where they cannot carry a label's
// characters, or on request, konib draws the letters itself as paths in the
// label's pen, so that planning, pens and clipping treat them as any line.
#pragma once

#include <cstddef>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "job/job.h"
#include "model/model.h"
#include "plan/plan.h"

namespace konib::lettering {

// Characters without a code (or without a glyph), each named once on a
// stream, however often it comes.
class Missing {
 public:
  explicit Missing(std::FILE* to = stderr) : to_(to) {}
  void Report(char32_t c, const std::string& instead, const char* where);
  const std::set<char32_t>& seen() const { return seen_; }

 private:
  std::FILE* to_;
  std::set<char32_t> seen_;
};

// The code points of UTF-8 text; a byte that starts no valid sequence
// (overlong forms and surrogates included) stands for U+FFFD.
std::u32string DecodeUtf8(const std::string& utf8);
std::string EncodeUtf8(char32_t c);

// What the device's templates carry, as NibQueryFontSupportCode tells it.
enum Carried : unsigned { kAscii = 1, kKana = 2, kDoubleByte = 4, kEverything = 7 };

// One character in CP932, "" when it has none (or when it needs a kind of
// code the device cannot carry). Characters that JIS and Windows map to
// different code points are taken the Windows way first (WAVE DASH as
// FULLWIDTH TILDE, and so on); controls become blanks.
std::string Cp932Of(char32_t c, unsigned carried = kEverything);

// Text for the device: every character in CP932, those without a code
// reported through `missing` (when given) and replaced by `replacement`.
std::string ToCp932(const std::string& utf8, const std::string& replacement,
                    Missing* missing = nullptr, unsigned carried = kEverything);

// CP932 bytes back to UTF-8 (a model's own text, the tests' round trip);
// false when the bytes are no CP932.
bool FromCp932(const std::string& cp932, std::string* utf8);

// A Hershey stroke font: glyphs for the printable ASCII characters from the
// font chosen, and from the Japanese set the kana (without the small ones),
// 。、ー and the 24 kanji it holds.
class StrokeFont {
 public:
  // Loads `name` (futural, rowmans, timesr, ...) from the system's Hershey
  // folder, or a .jhf file; null with a message when there is none.
  static std::unique_ptr<StrokeFont> Load(const std::string& name, std::string* message);
  ~StrokeFont();
  StrokeFont(const StrokeFont&) = delete;
  StrokeFont& operator=(const StrokeFont&) = delete;

  bool Has(char32_t c) const;
  // The advance of a character in ems; 0 for one without a glyph.
  double Advance(char32_t c) const;
  // The strokes of a character in ems, baseline at y 0, y up, starting at
  // x 0: one polyline each.
  std::vector<std::vector<plan::Point>> Strokes(char32_t c) const;

 private:
  explicit StrokeFont(void* font) : font_(font) {}
  const void* Glyph(char32_t c, double* unitsPerEm) const;
  void* font_;
  void* japanese_ = nullptr;
  std::map<char32_t, unsigned char> japaneseGlyphs_;
};

// How a job's texts are lettered: `auto` by the device where its templates
// and fonts carry all of a label's characters, else as strokes; `device`
// always by the device; `strokes` always as strokes.
struct Options {
  std::string text = "auto";
  std::string font = "futural";
};

class Lettering {
 public:
  // Reads what the model letters and loads the stroke font when it may be
  // needed; false with a message for an unknown font or a device mode on a
  // model that letters nothing.
  bool Prepare(const Options& options, const tool::ModelList& model, std::string* message);

  // Whether this label becomes strokes.
  bool AsStrokes(const job::Label& label) const;
  // How far the label's text advances, in plot units, lettered as it will be.
  double Advance(const job::Label& label) const;
  // The measure that job::Lay anchors texts with.
  job::Measure Measure() const;

  // The step of the pipeline: labels that become strokes are replaced by
  // paths in their pens; the others stay for the device.
  void Letter(job::Work* work);

  Missing& missing() { return missing_; }

 private:
  std::string mode_ = "auto";
  unsigned carried_ = kEverything;  // what the templates carry
  unsigned fonts_ = 0;              // what the model says its fonts hold
  std::string replacement_ = "?";   // UTF-8
  std::unique_ptr<StrokeFont> font_;
  Missing missing_;
};

// The strokes of one label: polylines in plot units, in the label's pen.
// Characters without a glyph are reported and drawn as `replacement`.
std::vector<plan::Path> LabelStrokes(const job::Label& label, const StrokeFont& font,
                                     const std::string& replacement, Missing* missing);
// The advance of `text` at `em`, with `spacing` after each character.
double StrokeAdvance(const std::string& utf8, double em, double spacing, const StrokeFont& font,
                     const std::string& replacement);

// The model's replacement for characters without a code: Konib.Replacement
// (CP932 in the model file), else "?". UTF-8.
std::string Replacement(const tool::ModelList& model);

}  // namespace konib::lettering
