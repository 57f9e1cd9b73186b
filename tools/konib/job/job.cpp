#include "job/job.h"

#include <KoNib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lettering/lettering.h"

namespace konib::job {
namespace {

// Curves are cut into chords no farther than this from the curve, in plot
// units (millimetres): a fraction of a pen's width.
constexpr double kTolerance = 0.05;

std::vector<std::string> Fields(const std::string& text) {
  std::vector<std::string> fields;
  std::size_t at = 0;
  while (true) {
    std::size_t comma = text.find(',', at);
    fields.push_back(text.substr(at, comma == std::string::npos ? std::string::npos : comma - at));
    if (comma == std::string::npos) return fields;
    at = comma + 1;
  }
}

// The model's papers: `Paper.N=name,width,height,template`.
std::vector<Paper> ModelPapers(const ModelList& model) {
  std::vector<Paper> papers;
  for (const _NibREG_DATA* r = model.list; r != nullptr; r = r->next) {
    if (strncasecmp(r->name, "Paper.", 6) != 0) continue;
    auto fields = Fields(reinterpret_cast<const char*>(r->data));
    if (fields.size() < 3) continue;
    Paper p{std::atoi(r->name + 6), fields[0], std::atof(fields[1].c_str()),
            std::atof(fields[2].c_str())};
    if (p.width > 0 && p.height > 0) papers.push_back(p);
  }
  return papers;
}

int Collect(void* cookie, const char* data, uint32_t length) {
  static_cast<std::string*>(cookie)->append(data, length);
  return 1;
}

// Byte by byte, so that the bytes so far are known between two drawing
// calls: the library's block output holds them until a page ends.
int CollectByte(void* cookie, const char* byte) {
  static_cast<std::string*>(cookie)->push_back(*byte);
  return 1;
}

struct Handle {
  void* h;
  std::string bytes;
  explicit Handle(const _NibWorld2& size, bool byByte = false) : h(NibGetHandle(&size)) {
    _NibDeviceProc device{};
    device.cookie = &bytes;
    device.write = Collect;
    if (byByte) device.put = CollectByte;
    NibSetDeviceProc(h, &device);
  }
  ~Handle() { NibFreeHandle(h); }
};

// The device's own lettering draws the text. An SVG font size is the em
// of the font; a plotter's letters are sized by their capitals and their
// advance, which in the usual fonts are about 0.7 and 0.6 em. Characters
// that the templates cannot carry are reported and replaced.
// A double-byte character of CP932 at `i`, as the library tells one.
bool IsDoubleByte(const std::string& bytes, std::size_t i) {
  auto b = [&](std::size_t k) { return static_cast<unsigned char>(bytes[k]); };
  bool lead = (b(i) >= 0x81 && b(i) <= 0x9F) || (b(i) >= 0xE0 && b(i) <= 0xFC);
  return lead && i + 1 < bytes.size() && b(i + 1) >= 0x40 && b(i + 1) != 0x7F && b(i + 1) <= 0xFC;
}

// The pitch of a character `cells` wide: 0.6 em a cell, as the usual
// plotter fonts, and the letter-spacing on top.
double CellPitch(const Label& label, int cells) { return 0.6 * label.em * cells + label.spacing; }

void DrawLabel(void* h, const Label& label, const std::string& replacement, unsigned carried,
               lettering::Missing* missing) {
  std::string bytes = lettering::ToCp932(label.text, replacement, missing, carried);
  _NibWorld2 position{label.at.x, label.at.y};
  double em = label.em;
  // Flag bit 1 is bold, bit 2 italic, in the model's own templates.
  unsigned flags = (label.bold ? 1u : 0u) | (label.italic ? 2u : 0u);
  // A double-byte character is full width: it takes two of the device's
  // cells. The library gives all characters of a text one pitch, so the
  // text goes out in pieces of one width each, at their own places. (That
  // also keeps blanks from the head of a double-byte run, where the library
  // would count them half.)
  const double cosA = std::cos(label.angle), sinA = std::sin(label.angle);
  double along = 0;
  std::size_t i = 0;
  while (i < bytes.size()) {
    bool wide = IsDoubleByte(bytes, i);
    std::size_t from = i;
    double start = along;
    int cells = wide ? 2 : 1;
    while (i < bytes.size() && IsDoubleByte(bytes, i) == wide) {
      i += wide ? 2 : 1;
      along += CellPitch(label, cells);
    }
    _NibWorld2 at{position.x + cosA * start, position.y + sinA * start};
    _NibTextInfo info{flags, 0.5 * em * cells, 0.7 * em, CellPitch(label, cells), label.angle};
    NibDrawText(h, &at, bytes.substr(from, i - from).c_str(), &info);
  }
}

}  // namespace

// The abort command as the device must receive it. The library sends it
// nowhere itself, so a second handle expands it as its job's end: Term is
// the one template whose walk is followed by a flush.
std::string AbortBytes(const ModelList& model, const Paper& paper) {
  const char* abort = model.Value("Command.Abort");
  if (abort == nullptr || *abort == '\0') return "";
  Handle handle({paper.width, paper.height});
  NibSetPlotter2(handle.h, model.list);
  _NibRegInfo term{NibKeyCommandTerm, 0, abort};
  NibSetPlotter(handle.h, &term, 1);
  _NibInfo info{};
  info.nextPageMode = 1;  // no page feed behind it
  NibSetPlotterInfo(handle.h, NIB_INFO_NEXTPAGEMODE, &info);
  NibTerminate(handle.h);
  return handle.bytes;
}

bool ChoosePaper(const ModelList& model, const std::string& wanted, Paper* paper,
                 std::string* message) {
  std::vector<Paper> papers = ModelPapers(model);
  double w = 0, h = 0;
  char tail = 0;
  if (!wanted.empty() && std::sscanf(wanted.c_str(), "%lfx%lf%c", &w, &h, &tail) == 2) {
    if (!(w > 0 && h > 0 && w < 1e5 && h < 1e5)) {
      *message = "--paper " + wanted + ": a size must be two positive millimetre values";
      return false;
    }
    *paper = {-1, wanted, w, h};
    return true;
  }
  if (wanted.empty()) {
    const char* choice = model.Value("Paper");
    if (choice != nullptr) {
      auto fields = Fields(choice);
      int index = fields.size() > 1 ? std::atoi(fields[1].c_str()) : -1;
      for (const Paper& p : papers)
        if (p.index == index) return *paper = p, true;
    }
    if (!papers.empty()) return *paper = papers.front(), true;
    *paper = {-1, "A4 landscape", 297, 210};  // a model that knows no paper
    return true;
  }
  for (const Paper& p : papers) {
    bool byNumber = std::to_string(p.index) == wanted;
    bool byName = strncasecmp(p.name.c_str(), wanted.c_str(), wanted.size()) == 0;
    if (byNumber || byName) return *paper = p, true;
  }
  std::string known;
  for (const Paper& p : papers)
    known += (known.empty() ? "" : ", ") + std::to_string(p.index) + " " + p.name;
  *message =
      "--paper " + wanted + ": the model has no such paper" +
      (known.empty() ? std::string(" (it names none; give WxH in mm)") : " (it has " + known + ")");
  return false;
}

double Placement::MapAngle(double a) const {
  return turned ? std::atan2(std::cos(a), std::sin(a)) : -a;
}

Placement Place(const svg::Drawing& d, const Paper& paper, const std::string& orientation,
                double scale) {
  auto fit = [&](bool turned) {
    double w = turned ? d.height : d.width, h = turned ? d.width : d.height;
    return std::min(paper.width / w, paper.height / h);
  };
  bool turned;
  if (orientation == "landscape" || orientation == "portrait")
    turned = (orientation == "landscape") != (paper.width >= paper.height);
  else
    turned = fit(true) > fit(false) * 1.000001;
  Placement p{scale > 0 ? scale : fit(turned), 0, 0, turned, d.height};
  double w = turned ? d.height : d.width, h = turned ? d.width : d.height;
  p.x = (paper.width - p.scale * w) / 2;
  p.y = (paper.height - p.scale * h) / 2;
  return p;
}

std::string ToDeviceText(const std::string& utf8) { return lettering::ToCp932(utf8, "?"); }

double DeviceAdvance(const Label& label, const std::string& cp932) {
  double advance = 0;
  for (std::size_t i = 0; i < cp932.size();) {
    bool wide = IsDoubleByte(cp932, i);
    advance += CellPitch(label, wide ? 2 : 1);
    i += wide ? 2 : 1;
  }
  return advance;
}

bool AssignPens(const svg::Drawing& drawing, const std::vector<std::string>& map,
                std::map<std::string, int>* pens, std::string* message,
                const std::function<bool(const svg::Shape&)>& hatched) {
  bool taken[17] = {};
  for (const std::string& item : map) {
    std::size_t equals = item.rfind('=');
    char* end = nullptr;
    long pen = equals == std::string::npos ? 0 : std::strtol(item.c_str() + equals + 1, &end, 10);
    std::string colour =
        equals == std::string::npos ? "" : svg::NormaliseColour(item.substr(0, equals));
    if (colour.empty() || end == nullptr || *end != '\0' || pen < 1 || pen > 16) {
      *message = "--pen-map " + item + ": give COLOUR=PEN with a pen from 1 to 16";
      return false;
    }
    (*pens)[colour] = static_cast<int>(pen);
    taken[pen] = true;
  }
  // Pens by layer: what a layer's pen draws needs no pen for its colour,
  // and that pen is no longer free for the colours.
  for (const svg::Shape& s : drawing.shapes)
    if (s.pen >= 1 && s.pen <= 16) taken[s.pen] = true;
  for (const svg::Text& t : drawing.texts)
    if (t.pen >= 1 && t.pen <= 16) taken[t.pen] = true;
  std::vector<std::pair<std::size_t, std::string>> seen;
  for (const svg::Shape& s : drawing.shapes) {
    if (s.pen == 0) seen.push_back({s.line, s.colour});
    // Fills: a hatched fill's colour comes right after the shape's own.
    if (hatched && hatched(s)) seen.push_back({s.line, s.fill});
  }
  for (const svg::Text& t : drawing.texts) {
    if (t.pen != 0) continue;  // a layer's pen
    seen.push_back({t.line, t.colour});
    for (const svg::TextRun& r : t.runs)
      if (!r.colour.empty()) seen.push_back({t.line, r.colour});
  }
  std::stable_sort(seen.begin(), seen.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  int next = 1;
  std::size_t handed = 0;
  for (const auto& item : seen) {
    if (pens->count(item.second) != 0) continue;
    // Free pens first; once all 16 are in use, round again.
    int pen = 0;
    for (int i = 0; i < 16 && pen == 0; ++i) {
      int candidate = (next - 1 + i) % 16 + 1;
      if (!taken[candidate]) pen = candidate;
    }
    if (pen == 0) pen = static_cast<int>(handed % 16) + 1;
    taken[pen] = true;
    (*pens)[item.second] = pen;
    next = pen % 16 + 1;
    ++handed;
  }
  return true;
}

namespace {

// A text's runs as labels. Positions are kept in the text's user space
// until a chunk is complete, since its anchor moves all of its runs.
void LayText(const svg::Text& text, const std::map<std::string, int>& pens, const Placement& place,
             const Measure& measure, std::vector<Label>* labels) {
  double alongUnit = std::hypot(text.along.x, text.along.y) * place.scale;  // plot units per unit
  double downUnit = std::hypot(text.down.x, text.down.y) * place.scale;
  double angle = place.MapAngle(text.angle);
  struct Pending {
    Label label;
    double x, y;
  };
  std::vector<Pending> chunk;
  double x = 0, y = 0, chunkStart = 0;
  int anchor = 0;
  auto flush = [&] {
    double width = x - chunkStart;
    double shift = anchor == 1 ? width / 2 : anchor == 2 ? width : 0;
    for (Pending& p : chunk) {
      svg::Point page{text.origin.x + (p.x - shift) * text.along.x + p.y * text.down.x,
                      text.origin.y + (p.x - shift) * text.along.y + p.y * text.down.y};
      svg::Point at = place.Map(page);
      p.label.at = {at.x, at.y};
      labels->push_back(std::move(p.label));
    }
    chunk.clear();
  };
  for (const svg::TextRun& run : text.runs) {
    bool starts = run.newX || run.newY;
    if (starts) {
      flush();
      if (run.newX) x = run.x;
      if (run.newY) y = run.y;
      anchor = run.anchor;
    }
    x += run.dx;
    y += run.dy;
    if (starts) chunkStart = x;
    // A run in a colour of its own takes that colour's pen; one that shows
    // nothing still takes its room.
    auto pen = pens.find(run.colour);
    bool shown = !run.colour.empty() && (text.pen > 0 || pen != pens.end());
    Label label{text.pen > 0        ? text.pen
                : pen == pens.end() ? 0
                                    : pen->second,  // a layer's first
                {0, 0},
                run.size * downUnit,
                angle,
                run.text,
                run.bold,
                run.italic,
                run.spacing * alongUnit};
    double advance = alongUnit > 0 ? measure(label) / alongUnit : 0;
    if (shown) chunk.push_back({std::move(label), x, y + run.baseline});
    x += std::isfinite(advance) ? advance : 0;
  }
  flush();
}

}  // namespace

Work Lay(const svg::Drawing& drawing, const std::map<std::string, int>& pens,
         const Placement& place, bool outlineFills, const Measure& measure) {
  Work work;
  for (const svg::Shape& shape : drawing.shapes) {
    // Fills: an unstroked shape's outline is only the edge of its fill.
    if (!outlineFills && shape.stroke.empty()) continue;
    int pen = shape.pen > 0 ? shape.pen : pens.at(shape.colour);  // a layer's pen first
    for (const svg::Subpath& subpath : shape.subpaths) {
      svg::Point start = place.Map(subpath.start);
      plan::Path path{pen, {{start.x, start.y}}};
      svg::Flatten(subpath, kTolerance / place.scale, [&](svg::Point p) {
        svg::Point to = place.Map(p);
        path.points.push_back({to.x, to.y});
      });
      work.paths.push_back(std::move(path));
    }
  }
  Measure byPitch = [](const Label& label) {
    return DeviceAdvance(label, ToDeviceText(label.text));
  };
  for (const svg::Text& text : drawing.texts)
    LayText(text, pens, place, measure ? measure : byPitch, &work.labels);
  return work;
}

bool Emit(const Work& work, const ModelList& model, const Paper& paper, std::string* bytes,
          std::vector<std::size_t>* starts) {
  Handle handle({paper.width, paper.height}, starts != nullptr);
  NibSetPlotter2(handle.h, model.list);
  if (paper.index >= 0) {
    _NibInfo info{};
    info.paperIndex = paper.index;
    NibSetPlotterInfo(handle.h, NIB_INFO_PAPERINDEX, &info);
  }
  NibInitiate(handle.h);
  NibStartPage(handle.h);
  unsigned carried = 0;
  NibQueryFontSupportCode(handle.h, &carried);
  const std::string replacement = lettering::Replacement(model);
  lettering::Missing missing;
  std::vector<bool> drawn(work.labels.size(), false);
  auto labels = [&](bool onePen, int pen) {
    for (std::size_t i = 0; i < work.labels.size(); ++i) {
      if (drawn[i] || (onePen && work.labels[i].pen != pen)) continue;
      drawn[i] = true;
      NibSetPen(handle.h, work.labels[i].pen);
      DrawLabel(handle.h, work.labels[i], replacement, carried, &missing);
    }
  };
  if (starts != nullptr) starts->clear();
  for (std::size_t k = 0; k < work.paths.size(); ++k) {
    const plan::Path& path = work.paths[k];
    if (starts != nullptr) starts->push_back(handle.bytes.size());
    NibSetPen(handle.h, path.pen);
    for (std::size_t i = 1; i < path.points.size(); ++i) {
      const plan::Point& from = path.points[i - 1];
      const plan::Point& to = path.points[i];
      _NibWorld4 line{{from.x, from.y}, {to.x - from.x, to.y - from.y}};
      NibDrawLine(handle.h, &line);
    }
    // A planned job has one run of paths per pen: its labels follow it.
    bool runEnds = k + 1 == work.paths.size() || work.paths[k + 1].pen != path.pen;
    if (work.labelsWithPens && runEnds && !work.labels.empty()) labels(true, path.pen);
  }
  labels(false, 0);
  NibEndPage(handle.h);
  if (!NibTerminate(handle.h)) return false;
  *bytes = std::move(handle.bytes);
  return true;
}

}  // namespace konib::job
