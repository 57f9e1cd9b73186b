#include "cmd/plot.h"

#include <KoNib.h>

#include <cstdio>
#include <map>

#include "job/job.h"
#include "lettering/lettering.h"
#include "model/model.h"
#include "svg/svg.h"

namespace konib::tool {

int Plot(const PlotOptions& o) {
  std::string text, message;
  svg::Limits limits;
  if (!ReadWholeFile(o.drawing, &text, limits.maxBytes, &message)) {
    std::fprintf(stderr, "konib: %s\n", message.c_str());
    return kBadInput;
  }
  svg::Drawing drawing;
  svg::Error error;
  if (!svg::ReadSvg(text.data(), text.size(), &drawing, &error, limits)) {
    std::string where =
        o.drawing + (error.line > 0 ? ":" + std::to_string(error.line) : std::string());
    std::fprintf(stderr, "konib: %s: %s%s%s\n", where.c_str(),
                 error.element.empty() ? "" : ("<" + error.element + ">: ").c_str(),
                 error.message.c_str(), "");
    return kBadInput;
  }
  ModelFile file;
  std::string section;
  ModelList model;
  if (!o.store.empty()) {
    Store store(o.store);
    model.list =
        store.root != nullptr ? NibGetRegistry(store.root, kStorePath, o.model.c_str()) : nullptr;
    if (model.list == nullptr) {
      std::fprintf(stderr, "konib: no model \"%s\" in the store %s\n", o.model.c_str(),
                   o.store.c_str());
      return kBadInput;
    }
  } else if (!LoadModel(o.model, o.section, o.models, &file, &section, &model, &message)) {
    std::fprintf(stderr, "konib: %s\n", message.c_str());
    return kBadInput;
  }
  job::Paper paper;
  std::map<std::string, int> pens;
  if (!job::ChoosePaper(model, o.paper, &paper, &message) ||
      !job::AssignPens(drawing, o.penMap, &pens, &message)) {
    std::fprintf(stderr, "konib: %s\n", message.c_str());
    return kBadInput;
  }
  if (!(drawing.width > 0 && drawing.height > 0)) {
    std::fprintf(stderr, "konib: %s: the page has no size\n", o.drawing.c_str());
    return kBadInput;
  }
  job::Placement place = job::Place(drawing, paper, o.orientation, o.scale);
  std::string bytes;
  lettering::Lettering letters;
  if (!letters.Prepare({o.text, o.font}, model, &message)) {
    std::fprintf(stderr, "konib: %s\n", message.c_str());
    return kBadInput;
  }
  job::Work work = job::Lay(drawing, pens, place, letters.Measure());
  // Fills become hatch paths.

  // Texts the device cannot letter become strokes.
  letters.Letter(&work);

  // The plan orders the paths.

  if (!job::Emit(work, model, paper, &bytes)) {
    std::fprintf(stderr, "konib: the library could not make the job (out of memory)\n");
    return kDeviceError;
  }
  return Send(bytes, job::AbortBytes(model, paper), o.to);
}

}  // namespace konib::tool
