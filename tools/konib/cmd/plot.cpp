#include "cmd/plot.h"

#include <KoNib.h>

#include <cstdio>
#include <map>

#include "job/job.h"
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
  // Reading the drawing: what was mended or left out, then layers and their pens.
  for (const svg::Error& w : drawing.warnings)
    std::fprintf(stderr, "konib: %s%s: %s%s\n", o.drawing.c_str(),
                 w.line > 0 ? (":" + std::to_string(w.line)).c_str() : "",
                 w.element.empty() ? "" : ("<" + w.element + ">: ").c_str(), w.message.c_str());
  svg::ChooseLayers(&drawing, o.pensBy, o.layers);
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
  job::Work work = job::Lay(drawing, pens, place);
  // Fills become hatch paths.

  // Texts the device cannot letter become strokes.

  // The plan orders the paths.

  if (!job::Emit(work, model, paper, &bytes)) {
    std::fprintf(stderr, "konib: the library could not make the job (out of memory)\n");
    return kDeviceError;
  }
  // The conversation with the device: the model's, or the command line's.
  Destination to = o.to;
  if (!TakeConversation(model, o.flow, o.receiveBuffer, o.timeout, &to, &message)) {
    std::fprintf(stderr, "konib: %s\n", message.c_str());
    return kBadInput;
  }
  return Send(bytes, job::AbortBytes(model, paper), to);
}

}  // namespace konib::tool
