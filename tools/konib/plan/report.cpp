// What a plan tells people: how long the plot takes, where a stopped plot
// stood, and a picture of the road.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>

#include "plan/order.h"
#include "plan/plan.h"

namespace konib::plan {
namespace {

// The model keys that only konib reads; the library passes over names it
// does not know, so a model may carry them for every device.
struct SpeedKey {
  const char* name;
  double Machine::*field;
};
constexpr SpeedKey kSpeedKeys[] = {
    {"Konib.PenDownSpeed", &Machine::penDownSpeed},
    {"Konib.PenUpSpeed", &Machine::penUpSpeed},
    {"Konib.PenLiftTime", &Machine::penLiftTime},
    {"Konib.PenLowerTime", &Machine::penLowerTime},
    {"Konib.PenChangeTime", &Machine::penChangeTime},
    {"Konib.Acceleration", &Machine::acceleration},
};

// A move of `length` that starts and ends at rest: it speeds up at
// `acceleration` to `speed`, or only to where it must slow down again.
double MoveTime(double length, double speed, double acceleration) {
  if (length <= 0) return 0;
  if (acceleration <= 0) return length / speed;
  double ramps = speed * speed / acceleration;
  return length >= ramps ? length / speed + speed / acceleration
                         : 2 * std::sqrt(length / acceleration);
}

// A pen-down path in strokes: the plotter slows to a stop at a corner
// sharper than this, and runs on through the gentle bends of a curve.
constexpr double kCornerCosine = 0.866;  // 30 degrees

double DrawTime(const Path& path, const Machine& m) {
  double seconds = 0, stroke = 0;
  const auto& v = path.points;
  for (std::size_t i = 1; i < v.size(); ++i) {
    double length = Distance(v[i - 1], v[i]);
    if (i >= 2 && stroke > 0 && length > 0) {
      double ax = v[i - 1].x - v[i - 2].x, ay = v[i - 1].y - v[i - 2].y;
      double bx = v[i].x - v[i - 1].x, by = v[i].y - v[i - 1].y;
      double la = std::sqrt(ax * ax + ay * ay);
      if (la > 0 && (ax * bx + ay * by) / (la * length) < kCornerCosine)
        seconds += MoveTime(stroke, m.penDownSpeed, m.acceleration), stroke = 0;
    }
    stroke += length;
  }
  return seconds + MoveTime(stroke, m.penDownSpeed, m.acceleration);
}

std::string Escape(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
    }
  }
  return out;
}

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

}  // namespace

Machine MachineOf(const tool::ModelList& model, std::string* message) {
  Machine m;
  for (const SpeedKey& key : kSpeedKeys) {
    const char* text = model.Value(key.name);
    if (text == nullptr) continue;
    char* end = nullptr;
    double value = std::strtod(text, &end);
    if (end == text || *end != '\0' || !(value > 0 && value < 1e9)) {
      *message = std::string(key.name) + "=" + text + " is not a positive number; " +
                 "the estimate takes its default";
      continue;
    }
    m.*key.field = value;
  }
  return m;
}

double Estimate(const std::vector<Path>& paths, const Machine& m, std::size_t bytes, int baud) {
  double seconds = 0;
  Point at{0, 0};
  int pen = -1;
  for (const Path& p : paths) {
    if (p.points.size() < 2) continue;
    if (p.pen != pen) seconds += m.penChangeTime, pen = p.pen;
    seconds += MoveTime(Distance(at, p.points.front()), m.penUpSpeed, m.acceleration);
    seconds += m.penLowerTime + DrawTime(p, m) + m.penLiftTime;
    at = p.points.back();
  }
  // Ten bits a byte on the line (start, eight data bits, stop); the
  // plotter's buffer hides the link while the link is the faster.
  double link = baud > 0 ? static_cast<double>(bytes) * 10 / baud : 0;
  return std::max(seconds, link);
}

Stop WhereStopped(const std::vector<Path>& paths, const std::vector<std::size_t>& starts,
                  std::size_t delivered, std::size_t total, std::size_t first) {
  if (paths.empty() || starts.size() != paths.size()) return {first, 0};
  auto after = std::upper_bound(starts.begin(), starts.end(), delivered);
  std::size_t k =
      after == starts.begin() ? 0 : static_cast<std::size_t>(after - starts.begin()) - 1;
  auto length = [&](const Path& p) {
    double sum = 0;
    for (std::size_t j = 1; j < p.points.size(); ++j) sum += Distance(p.points[j - 1], p.points[j]);
    return sum;
  };
  double drawn = 0;
  for (std::size_t i = 0; i < k; ++i) drawn += length(paths[i]);
  // Within the path, its ink goes by its bytes: each line is one command.
  std::size_t end = k + 1 < starts.size() ? starts[k + 1] : std::max(total, starts[k]);
  if (delivered > starts[k] && end > starts[k])
    drawn += length(paths[k]) * static_cast<double>(std::min(delivered, end) - starts[k]) /
             static_cast<double>(end - starts[k]);
  return {first + k, drawn};
}

bool WritePreview(const std::string& file, const std::vector<Path>& paths,
                  const std::map<int, std::string>& colours, double width, double height,
                  const std::vector<std::string>& legend, Point from, std::string* message) {
  std::unique_ptr<std::FILE, FileCloser> out(std::fopen(file.c_str(), "wb"));
  if (!out) {
    *message = "cannot write " + file;
    return false;
  }
  std::FILE* f = out.get();
  // The legend stands above the paper; plot units count y upwards, SVG down.
  const double line = std::max(width, height) / 60,
               top = line * (static_cast<double>(legend.size()) + 1);
  std::fprintf(
      f,
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.1fmm\" height=\"%.1fmm\" "
      "viewBox=\"0 %.2f %.2f %.2f\">\n"
      "<rect x=\"0\" y=\"%.2f\" width=\"%.2f\" height=\"%.2f\" fill=\"white\"/>\n"
      "<rect width=\"%.2f\" height=\"%.2f\" fill=\"none\" stroke=\"#ccc\" stroke-width=\"0.3\"/>\n",
      width, height + top, -top, width, height + top, -top, width, height + top, width, height);
  for (std::size_t i = 0; i < legend.size(); ++i)
    std::fprintf(
        f, "<text x=\"%.2f\" y=\"%.2f\" font-family=\"sans-serif\" font-size=\"%.2f\">%s</text>\n",
        line, -top + line * (static_cast<double>(i) + 1.2), line * 0.8, Escape(legend[i]).c_str());
  auto point = [&](char command, Point p) {
    std::fprintf(f, "%c%.2f %.2f", command, p.x, height - p.y);
  };
  // Each pen's paths as one outline, so that a large plan stays a small file.
  for (std::size_t lo = 0; lo < paths.size();) {
    std::size_t hi = lo;
    while (hi < paths.size() && paths[hi].pen == paths[lo].pen) ++hi;
    auto colour = colours.find(paths[lo].pen);
    std::fprintf(f,
                 "<path fill=\"none\" stroke=\"%s\" stroke-width=\"0.35\" stroke-linecap=\"round\" "
                 "stroke-linejoin=\"round\" d=\"",
                 Escape(colour == colours.end() ? "black" : colour->second).c_str());
    for (std::size_t k = lo; k < hi; ++k)
      for (std::size_t i = 0; i < paths[k].points.size(); ++i)
        point(i == 0 ? 'M' : 'L', paths[k].points[i]);
    std::fprintf(f, "\"/>\n");
    lo = hi;
  }
  std::fprintf(f, "<path fill=\"none\" stroke=\"#999\" stroke-width=\"0.15\" d=\"");
  for (const Path& p : paths) {
    if (p.points.size() < 2) continue;
    point('M', from), point('L', p.points.front());
    from = p.points.back();
  }
  std::fprintf(f, "\"/>\n</svg>\n");
  if (std::ferror(f) != 0 || std::fclose(out.release()) != 0) {
    *message = "writing " + file + " failed";
    return false;
  }
  return true;
}

std::set<int> FinishedPens(const std::vector<Path>& paths, std::size_t n) {
  std::set<int> done, later;
  for (std::size_t i = 0; i < paths.size(); ++i) (i < n ? done : later).insert(paths[i].pen);
  for (int pen : later) done.erase(pen);
  return done;
}

std::vector<std::string> Report(const Figures& f, std::size_t bytes, double seconds, int baud) {
  char line[4][200];
  auto clock = [](double s) {
    long t = s > 0 ? static_cast<long>(std::min(s, 1e9) + 0.5) : 0;
    char text[40];
    std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", t / 3600, t / 60 % 60, t % 60);
    return std::string(text);
  };
  double ratio = f.documentTravel > 0 ? f.travel / f.documentTravel : 1.0;
  if (!std::isfinite(ratio)) ratio = 1;  // a page beyond the doubles
  std::snprintf(line[0], sizeof line[0],
                "pens %zu, pen changes %zu (document order %zu); lifts %zu (document order %zu)",
                f.pens, f.penChanges, f.documentPenChanges, f.lifts, f.documentLifts);
  std::snprintf(line[1], sizeof line[1],
                "pen down %.1f mm; pen up %.1f mm (document order %.1f mm, %.3f of it)", f.penDown,
                f.travel, f.documentTravel, ratio);
  std::snprintf(line[2], sizeof line[2], "planning %.3f s; %zu bytes", f.seconds, bytes);
  std::snprintf(
      line[3], sizeof line[3], "estimated plot time %s%s", clock(seconds).c_str(),
      baud > 0 ? (" (the link at " + std::to_string(baud) + " baud included)").c_str() : "");
  return {line[0], line[1], line[2], line[3]};
}

}  // namespace konib::plan
