// Drives konib's hatching with arbitrary documents: what the reader makes
// of them is placed on an A4 sheet and every fill hatched, twice at right
// angles, at a pitch and angle taken from the document's first bytes. Any
// outline, however it crosses itself, must come out as strokes or as the
// refusal of too many lines, writing nothing out of bounds and leaking
// nothing.
#include <cstddef>
#include <cstdint>

#include "fill/fill.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace konib;
  svg::Limits limits;  // small limits keep each run quick
  limits.maxElements = 2000;
  limits.maxSegments = 20000;
  limits.maxPathData = 1u << 16;
  svg::Drawing drawing;
  svg::Error error;
  if (!svg::ReadSvg(reinterpret_cast<const char*>(data), size, &drawing, &error, limits)) return 0;
  if (!(drawing.width > 0 && drawing.height > 0)) return 0;
  fill::Request request;
  request.mode = "cross";
  request.pitch = 0.05 + (size > 0 ? data[0] : 0) * 0.05;
  request.angle = (size > 1 ? data[1] : 0) * 1.5;
  fill::Settings settings;
  std::string message;
  tool::ModelList model;
  if (!fill::Decide(request, model, &settings, &message)) __builtin_trap();
  std::map<std::string, int> pens;
  if (!job::AssignPens(drawing, {}, &pens, &message,
                       [&](const svg::Shape& s) { return settings.Hatches(s); }))
    __builtin_trap();
  job::Paper a4;
  job::Placement place = job::Place(drawing, a4, "auto", 0);
  std::vector<plan::Path> paths;
  fill::Tally tally;
  if (!fill::Hatch(drawing, pens, place, settings, &paths, &tally, &message, 20000) &&
      message.empty())
    __builtin_trap();  // a refusal always says why
  std::size_t points = 0;
  for (const plan::Path& p : paths) points += p.points.size();
  return points == SIZE_MAX;  // keeps the count from being optimised away
}
