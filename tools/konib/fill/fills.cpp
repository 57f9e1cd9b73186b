// Fills of a drawing: what the command line and the model decide, and the
// drawing's filled shapes turned into hatch strokes.
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "fill/fill.h"

namespace konib::fill {
namespace {

// Curves are cut into chords this close to the curve, in plot units: the
// same as the outlines, so that hatch strokes end where the outline runs.
constexpr double kTolerance = 0.05;

// Pitches and widths below this are no pen's; above the upper bound no
// fill would look filled.
constexpr double kFinest = 0.01;
constexpr double kCoarsest = 100;

const struct {
  const char* name;
  Mode mode;
} kModes[] = {
    {"hatch", Mode::kHatch},
    {"cross", Mode::kCross},
    {"outline", Mode::kOutline},
    {"none", Mode::kNone},
};

bool InRange(double v) { return v >= kFinest && v <= kCoarsest; }

// The outline of a shape as rings in plot units.
std::vector<Ring> Rings(const svg::Shape& shape, const job::Placement& place) {
  std::vector<Ring> rings;
  for (const svg::Subpath& subpath : shape.subpaths) {
    svg::Point start = place.Map(subpath.start);
    Ring ring{{start.x, start.y}};
    svg::Flatten(subpath, kTolerance / place.scale, [&](svg::Point p) {
      svg::Point to = place.Map(p);
      ring.push_back({to.x, to.y});
    });
    rings.push_back(std::move(ring));
  }
  return rings;
}

}  // namespace

bool Settings::Hatches(const svg::Shape& shape) const {
  return Hatching() && !shape.fill.empty() && shape.fill != paper;
}

double PenWidth(const char* text) {
  char* end = nullptr;
  double width = std::strtod(text, &end);
  return end != text && *end == '\0' && InRange(width) ? width : 0;
}

double ModelPenWidth(const tool::ModelList& model) {
  const char* text = model.Value(kPenWidthKey);
  return text != nullptr ? PenWidth(text) : 0;
}

bool Decide(const Request& request, const tool::ModelList& model, Settings* settings,
            std::string* message) {
  Settings s;
  s.outline = request.outline;
  s.angle = request.angle;
  s.paper = svg::NormaliseColour(request.paper);
  if (s.paper.empty()) {
    *message = "--paper-colour " + request.paper + ": not a colour";
    return false;
  }
  if (!std::isfinite(request.angle)) {
    *message = "--hatch-angle: give degrees";
    return false;
  }
  if (request.pitch != 0 && !InRange(request.pitch)) {
    *message = "--hatch-pitch: give millimetres from 0.01 to 100";
    return false;
  }
  if (request.penWidth != 0 && !InRange(request.penWidth)) {
    *message = "--pen-width: give millimetres from 0.01 to 100";
    return false;
  }
  std::string widthFrom = "--pen-width";
  s.penWidth = request.penWidth;
  if (s.penWidth == 0) {
    s.penWidth = ModelPenWidth(model);
    widthFrom = std::string("the model's ") + kPenWidthKey;
  }
  if (request.mode.empty()) {
    s.mode = s.penWidth > 0 || request.pitch > 0 ? Mode::kHatch : Mode::kOutline;
  } else {
    bool known = false;
    for (const auto& m : kModes)
      if (request.mode == m.name) s.mode = m.mode, known = true;
    if (!known) {
      *message = "--fill " + request.mode + ": give hatch, cross, outline or none";
      return false;
    }
  }
  if (s.Hatching()) {
    if (request.pitch > 0) {
      s.pitch = request.pitch;
    } else if (s.penWidth > 0) {
      s.pitch = s.penWidth * kPitchPerWidth;
    } else {
      *message = "--fill " + request.mode + ": the model gives no pen width (" + kPenWidthKey +
                 "); give --pen-width or --hatch-pitch";
      return false;
    }
    char text[160];
    if (request.pitch > 0)
      std::snprintf(text, sizeof text, " at %g mm pitch (--hatch-pitch), %g degrees", s.pitch,
                    s.angle);
    else
      std::snprintf(text, sizeof text,
                    " at %g mm pitch (%g of the pen width, %g mm from %s), %g degrees", s.pitch,
                    kPitchPerWidth, s.penWidth, widthFrom.c_str(), s.angle);
    s.choice = (s.mode == Mode::kCross ? "cross-hatched" : "hatched") + std::string(text);
  } else if (s.mode == Mode::kOutline) {
    s.choice = request.mode.empty()
                   ? std::string("outlined: the model gives no pen width (") + kPenWidthKey +
                         "); --pen-width or --hatch-pitch hatches them"
                   : "outlined";
  } else {
    s.choice = "left out";
  }
  *settings = s;
  return true;
}

bool Hatch(const svg::Drawing& drawing, const std::map<std::string, int>& pens,
           const job::Placement& place, const Settings& settings, std::vector<plan::Path>* paths,
           Tally* tally, std::string* message, std::size_t maxLines) {
  if (!settings.Hatching()) return true;
  std::size_t before = paths->size();
  for (const svg::Shape& shape : drawing.shapes) {
    if (!settings.Hatches(shape)) continue;
    auto pen = pens.find(shape.fill);
    if (pen == pens.end()) pen = pens.find(shape.colour);
    if (pen == pens.end()) continue;
    std::vector<Ring> rings = Rings(shape, place);
    const int passes = settings.mode == Mode::kCross ? 2 : 1;
    for (int pass = 0; pass < passes; ++pass) {
      std::size_t left = maxLines > tally->lines ? maxLines - tally->lines : 0;
      if (!HatchRings(rings, shape.evenOdd, pen->second, settings.pitch,
                      settings.angle + 90.0 * pass, paths, tally, left)) {
        paths->resize(before);
        *message = "the fills would take more than " + std::to_string(maxLines) +
                   " hatch lines (the shape at line " + std::to_string(shape.line) +
                   "); give a coarser --hatch-pitch";
        return false;
      }
    }
  }
  return true;
}

std::string Report(const svg::Drawing& drawing, const Settings& settings, const Tally& tally) {
  std::size_t filled = 0, hatched = 0;
  for (const svg::Shape& s : drawing.shapes) {
    filled += s.fill.empty() ? 0 : 1;
    hatched += settings.Hatches(s) ? 1 : 0;
  }
  if (filled == 0) return "";
  if (!settings.Hatching())
    return "fills: " + std::to_string(filled) + " filled shape(s) " + settings.choice;
  return "fills: " + std::to_string(hatched) + " of " + std::to_string(filled) +
         " filled shape(s) " + settings.choice + "; " + std::to_string(tally.areas) +
         " area(s) in " + std::to_string(tally.strokes) + " stroke(s)";
}

}  // namespace konib::fill
