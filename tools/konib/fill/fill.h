// Fills as hatching. A pen plotter cannot fill: what a drawing fills is
// drawn as parallel pen strokes inside the area, one pen width or a little
// less apart, so that the ink of neighbouring strokes meets. The area of a
// shape is what a browser fills: the union of its subpaths by the shape's
// fill rule, holes and self-intersections included. The strokes of one
// area are joined into a zigzag wherever the turn stays inside the area, so
// that the pen stays down; what comes out are plain paths in plot units for
// the planner to order.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "job/job.h"
#include "model/model.h"
#include "plan/plan.h"
#include "svg/svg.h"

namespace konib::fill {

enum class Mode {
  kHatch,    // parallel strokes
  kCross,    // parallel strokes, then again at right angles
  kOutline,  // the outline alone, as a plotter draws a fill it does not hatch
  kNone,     // fills are left out; strokes are drawn
};

// What the command line asks for. Zero and empty leave the choice to the
// model and the defaults.
struct Request {
  std::string mode;      // hatch, cross, outline, none; "": hatch when the pen width is known
  bool outline = false;  // draw the outline of an unstroked filled shape too
  double pitch = 0;      // mm between hatch strokes; 0: from the pen width
  double angle = 45;     // degrees from the paper's x axis, counter-clockwise
  double penWidth = 0;   // mm; 0: the model's Konib.PenWidth
  std::string paper = "white";  // fills of this colour are paper and not hatched
};

// Hatch pitch as a share of the pen's width: strokes overlap by a tenth of
// a width, so that a pen that draws a little thinner than it is said to, or
// a stroke that wavers, leaves no bare paper between them.
constexpr double kPitchPerWidth = 0.9;

// The model key that tells konib the width of the model's pens, in mm. The
// library does not read it.
constexpr const char* kPenWidthKey = "Konib.PenWidth";

// What a plot does with fills, decided from a Request and the model.
struct Settings {
  Mode mode = Mode::kOutline;
  bool outline = false;  // --fill-outline
  double pitch = 0;      // mm, when hatching
  double angle = 45;     // degrees
  double penWidth = 0;   // mm; 0: unknown
  std::string paper = "#ffffff";
  std::string choice;  // what was chosen, and why, in a sentence for the user

  bool Hatching() const { return mode == Mode::kHatch || mode == Mode::kCross; }
  // Whether the shape's fill becomes hatch strokes: a fill that shows on
  // the paper, with hatching on.
  bool Hatches(const svg::Shape& shape) const;
  // Whether an unstroked filled shape still gets its outline drawn.
  bool OutlinesFills() const { return mode == Mode::kOutline || outline; }
};

// A pen width as a model value gives it, in mm: a number from 0.01 to 100
// and nothing else; 0 for any other text.
double PenWidth(const char* text);

// The model's Konib.PenWidth in mm, or 0 when it gives none that parses.
double ModelPenWidth(const tool::ModelList& model);

// Settings from the request and the model. False with a message when the
// request cannot be met (an unknown mode, a pitch or width out of range,
// hatching asked for with neither pen width nor pitch).
bool Decide(const Request& request, const tool::ModelList& model, Settings* settings,
            std::string* message);

// A closed ring of an area's outline, in plot units.
using Ring = std::vector<plan::Point>;

// How the strokes came out: hatched areas and the strokes that drew them
// (a stroke is one pen-down run; strokes minus areas is the lifts that
// joining could not save).
struct Tally {
  std::size_t areas = 0;
  std::size_t strokes = 0;
  std::size_t lines = 0;  // hatch lines before clipping, the work done
};

// Hatches the area that `rings` enclose by their fill rule: strokes
// `pitch` apart at `angle` degrees, in pen `pen`, each connected piece of
// the area hatched on its own and its strokes joined into zigzags.
// Appends to `paths`. False, with nothing appended, when the area would
// need more than `maxLines` hatch lines.
bool HatchRings(const std::vector<Ring>& rings, bool evenOdd, int pen, double pitch, double angle,
                std::vector<plan::Path>* paths, Tally* tally, std::size_t maxLines = 20000000);

// Hatch lines of a whole job: far beyond any sheet's worth (an A0 sheet
// hatched twice at 0.2 mm is 12,000), and a bound on memory and time.
constexpr std::size_t kMaxLines = 5000000;

// Hatch strokes for every hatched fill of the drawing, in document order,
// each in the pen of its fill colour (else of the shape's colour). False
// with a message, and nothing appended, when the drawing would need more
// than `maxLines` hatch lines.
bool Hatch(const svg::Drawing& drawing, const std::map<std::string, int>& pens,
           const job::Placement& place, const Settings& settings, std::vector<plan::Path>* paths,
           Tally* tally, std::string* message, std::size_t maxLines = kMaxLines);

// What became of the drawing's fills, in a sentence for the user; "" when
// it fills nothing.
std::string Report(const svg::Drawing& drawing, const Settings& settings, const Tally& tally);

}  // namespace konib::fill
