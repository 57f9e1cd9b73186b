#include "cmd/plot.h"

#include <KoNib.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <set>

#include "job/job.h"
#include "lettering/lettering.h"
#include "model/model.h"
#include "svg/svg.h"

namespace konib::tool {
namespace {

// The plan, its reports, and the plot from the path to resume at; when a
// plot stops, where it stood.
int PlanAndSend(const PlotOptions& o, const ModelList& model, const job::Paper& paper,
                const std::map<std::string, int>& pens, job::Work* work) {
  std::string message;
  // The conversation with the device: the model's, or the command line's.
  Destination to = o.to;
  if (!TakeConversation(model, o.flow, o.receiveBuffer, o.timeout, &to, &message)) {
    std::fprintf(stderr, "konib: %s\n", message.c_str());
    return kBadInput;
  }
  plan::Figures figures = plan::Plan(&work->paths, o.plan);
  work->labelsWithPens = !o.plan.documentOrder;
  const std::size_t total = work->paths.size();
  if (o.resumeFrom < 1 || o.resumeFrom > std::max<std::size_t>(total, 1)) {
    std::fprintf(stderr, "konib: --resume-from %zu: the plan has paths 1 to %zu\n", o.resumeFrom,
                 total);
    return kBadInput;
  }
  std::vector<plan::Path> done(
      std::make_move_iterator(work->paths.begin()),
      std::make_move_iterator(work->paths.begin() + static_cast<long>(o.resumeFrom - 1)));
  work->paths.erase(work->paths.begin(), work->paths.begin() + static_cast<long>(o.resumeFrom - 1));
  std::set<int> finished = plan::FinishedPens(done, done.size());
  for (int pen : plan::FinishedPens(work->paths, 0)) finished.erase(pen);
  work->labels.erase(
      std::remove_if(work->labels.begin(), work->labels.end(),
                     [&](const job::Label& l) { return finished.count(l.pen) != 0; }),
      work->labels.end());
  std::string bytes;
  std::vector<std::size_t> starts;
  if (!job::Emit(*work, model, paper, &bytes, &starts)) {
    std::fprintf(stderr, "konib: the library could not make the job (out of memory)\n");
    return kDeviceError;
  }
  bool link = o.dryRun || !to.port.empty();
  if (o.stat || o.dryRun || !o.preview.empty()) {
    plan::Machine machine = plan::MachineOf(model, &message);
    if (!message.empty()) std::fprintf(stderr, "konib: %s\n", message.c_str());
    double seconds = plan::Estimate(work->paths, machine, bytes.size(), link ? to.baud : 0);
    std::vector<std::string> report =
        plan::Report(figures, bytes.size(), seconds, link ? to.baud : 0);
    if (o.stat || o.dryRun)
      for (const std::string& line : report)
        std::fprintf(o.dryRun ? stdout : stderr, "%s\n", line.c_str());
    std::map<int, std::string> colours;
    for (const auto& p : pens) colours.emplace(p.second, p.first);
    if (!o.preview.empty() && !plan::WritePreview(o.preview, work->paths, colours, paper.width,
                                                  paper.height, report, {0, 0}, &message)) {
      std::fprintf(stderr, "konib: %s\n", message.c_str());
      return kBadInput;
    }
  }
  if (o.dryRun) return kOk;
  std::size_t delivered = 0;
  int result = Send(bytes, job::AbortBytes(model, paper), to, &delivered);
  if (result == kInterrupted || result == kDeviceError) {
    plan::Stop stop =
        plan::WhereStopped(work->paths, starts, delivered, bytes.size(), o.resumeFrom);
    double all = plan::PenDown(done) + plan::PenDown(work->paths);
    std::fprintf(stderr,
                 "konib: stopped in path %zu of %zu, %.0f of %.0f mm drawn; "
                 "--resume-from %zu plots the rest\n",
                 stop.path, total, plan::PenDown(done) + stop.drawn, all, stop.path);
  }
  return result;
}

// Fills: hatch strokes join the outlines, and the user hears what became
// of the drawing's fills.
bool Fills(const svg::Drawing& drawing, const std::map<std::string, int>& pens,
           const job::Placement& place, const fill::Settings& fills, job::Work* work) {
  fill::Tally tally;
  std::string message;
  std::vector<plan::Path> hatches;
  if (!fill::Hatch(drawing, pens, place, fills, &hatches, &tally, &message)) {
    std::fprintf(stderr, "konib: %s\n", message.c_str());
    return false;
  }
  // Hatching goes first, so that an outline drawn over it covers the
  // ragged ends of its strokes.
  work->paths.insert(work->paths.begin(), std::make_move_iterator(hatches.begin()),
                     std::make_move_iterator(hatches.end()));
  std::string report = fill::Report(drawing, fills, tally);
  if (!report.empty()) std::fprintf(stderr, "konib: %s\n", report.c_str());
  return true;
}

}  // namespace

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
  fill::Settings fills;
  if (!fill::Decide(o.fill, model, &fills, &message) ||
      !job::ChoosePaper(model, o.paper, &paper, &message) ||
      !job::AssignPens(drawing, o.penMap, &pens, &message,
                       [&](const svg::Shape& s) { return fills.Hatches(s); })) {
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
  job::Work work = job::Lay(drawing, pens, place, fills.OutlinesFills(), letters.Measure());
  // Fills become hatch paths.
  if (!Fills(drawing, pens, place, fills, &work)) return kBadInput;

  // Texts the device cannot letter become strokes.
  letters.Letter(&work);

  // The drawing is in the paths now; a large one need not be held twice.
  std::string().swap(text);
  drawing = svg::Drawing();
  // The plan orders the paths.
  return PlanAndSend(o, model, paper, pens, &work);
}

}  // namespace konib::tool
