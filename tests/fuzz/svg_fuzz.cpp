// Drives konib's SVG reader with arbitrary documents, flattens what it
// reads and letters its texts. Whatever the bytes, it must answer with a drawing or a message,
// within its limits, writing nothing out of bounds and leaking nothing.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "job/job.h"
#include "lettering/lettering.h"
#include "model/model.h"
#include "svg/svg.h"

#ifndef KONIB_MODELS_DIR
#error "KONIB_MODELS_DIR must name the bundled models' folder"
#endif

namespace {

// The texts of a drawing through the lettering, by the device's pitch
// (the HP-GL model, auto) and as strokes: runs placed, chunks anchored,
// characters converted or drawn.
struct Letters {
  konib::tool::ModelFile file;
  std::string section;
  konib::tool::ModelList model;
  konib::lettering::Lettering device, strokes;
  Letters() {
    std::string message;
    if (!konib::tool::LoadModel("hpgl", "", KONIB_MODELS_DIR, &file, &section, &model, &message) ||
        !device.Prepare({"auto", "futural"}, model, &message) ||
        !strokes.Prepare({"strokes", "futural"}, model, &message))
      __builtin_trap();
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  konib::svg::Limits limits;  // small limits keep each run quick
  limits.maxElements = 2000;
  limits.maxSegments = 20000;
  limits.maxPathData = 1u << 16;
  konib::svg::Drawing drawing;
  konib::svg::Error error;
  if (!konib::svg::ReadSvg(reinterpret_cast<const char*>(data), size, &drawing, &error, limits)) {
    return error.message.empty() ? __builtin_trap(), 0 : 0;  // a refusal always says why
  }
  std::size_t points = 0;
  for (const auto& shape : drawing.shapes)
    for (const auto& subpath : shape.subpaths)
      konib::svg::Flatten(subpath, 0.01, [&](konib::svg::Point) { ++points; });
  static Letters letters;
  std::map<std::string, int> pens;
  std::string message;
  if (!drawing.texts.empty() && drawing.width > 0 && drawing.height > 0 &&
      konib::job::AssignPens(drawing, {}, &pens, &message)) {
    const konib::job::Paper paper{-1, "", 400, 277};
    const konib::job::Placement place = konib::job::Place(drawing, paper, "auto", 0);
    for (konib::lettering::Lettering* l : {&letters.device, &letters.strokes}) {
      konib::job::Work work = konib::job::Lay(drawing, pens, place, true, l->Measure());
      l->Letter(&work);
      for (const auto& label : work.labels) points += konib::job::ToDeviceText(label.text).size();
      for (const auto& path : work.paths) points += path.points.size();
    }
  }
  return points == SIZE_MAX;  // keeps the count from being optimised away
}
