// The job: a drawing placed on the model's paper and turned into device
// bytes through the library, pen by pen. It knows the library and the
// drawing's plain data, nothing of files, ports or the command line.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "model/model.h"
#include "plan/plan.h"
#include "svg/svg.h"

namespace konib::job {

using tool::ModelList;

// A paper of the model, or a size of our own.
struct Paper {
  int index = -1;  // the model's entry, or -1 for a size of our own
  std::string name;
  double width = 297;
  double height = 210;
};

// The model's paper by name or number, or WxH in millimetres; empty: the
// model's own choice. False with a message when there is no such paper.
bool ChoosePaper(const ModelList& model, const std::string& wanted, Paper* paper,
                 std::string* message);

// Where the page lands on the paper: plot units (millimetres, y up) from
// the page's millimetres (y down), turned a quarter when `turned`.
struct Placement {
  double scale;
  double x;
  double y;
  bool turned;
  double pageHeight;
  svg::Point Map(svg::Point p) const {
    return turned ? svg::Point{x + scale * p.y, y + scale * p.x}
                  : svg::Point{x + scale * p.x, y + scale * (pageHeight - p.y)};
  }
  double MapAngle(double a) const;
};

// Fits the page onto the paper (scale 0) or sets it at `scale`, centred;
// orientation is auto, landscape or portrait.
Placement Place(const svg::Drawing& drawing, const Paper& paper, const std::string& orientation,
                double scale);

// Pens for the colours of a drawing: the map first, then the other colours
// in order of appearance on the pens the map left free, round again after 16.
// Shapes and texts that already have a pen (by layer) take no colour's pen,
// and their pens are not handed to colours while others are free.
// False with a message for a bad map entry.
//
// Fills: a shape for which `hatched` is true draws its fill in a pen of the
// fill's colour too, so that colour takes a pen right after the shape's own.
bool AssignPens(const svg::Drawing& drawing, const std::vector<std::string>& map,
                std::map<std::string, int>* pens, std::string* message,
                const std::function<bool(const svg::Shape&)>& hatched = nullptr);

// Text for the device, which takes CP932: each character's code (control
// characters as blanks), '?' for one that has none.
std::string ToDeviceText(const std::string& utf8);

// The model's abort command as the device must receive it, or "".
std::string AbortBytes(const ModelList& model, const Paper& paper);

// A text that the device letters itself, placed in plot units: where its
// first character starts, its em in plot units and its baseline's angle.
struct Label {
  int pen;
  plan::Point at;
  double em;
  double angle;
  std::string text;  // UTF-8, as in the drawing
  bool bold = false;
  bool italic = false;
  double spacing = 0;  // added to each character's advance, plot units
};

// How far the device's letters advance for a label's CP932 text: a cell
// of 0.6 em for each single-byte character, two for a double-byte one (as
// the usual plotter fonts), and the letter-spacing after each.
double DeviceAdvance(const Label& label, const std::string& cp932);

// How far a label's text advances, in plot units, lettered as it will be.
using Measure = std::function<double(const Label&)>;

// What the pen draws: paths, then labels; in a planned job each pen's
// labels right after its paths, so that the pen is taken up once.
struct Work {
  std::vector<plan::Path> paths;
  std::vector<Label> labels;
  bool labelsWithPens = false;
};

// The drawing on the paper: each shape's outline as paths (curves cut into
// chords), each run of a text as a label, in document order. Runs that go
// on from the text before them, and the anchors of chunks, are placed by
// `measure` (none: the device's pitch).
//
// Fills: when `outlineFills` is false, a shape without a stroke draws no
// outline, for its fill is hatched or left out.
Work Lay(const svg::Drawing& drawing, const std::map<std::string, int>& pens,
         const Placement& place, bool outlineFills = true, const Measure& measure = Measure());

// The whole job's bytes: the paths in the order given, then the labels.
// `starts`, when given, receives the byte at which each path starts (its
// pen, its move, its lines). False when the library could not make the job
// (out of memory).
bool Emit(const Work& work, const ModelList& model, const Paper& paper, std::string* bytes,
          std::vector<std::size_t>* starts = nullptr);

}  // namespace konib::job
