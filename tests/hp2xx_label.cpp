// An independent check of lettering: labels go through the bundled HP-GL
// model, hp2xx (a reader of HP-GL that we did not write) draws them as
// strokes of its own font, and the strokes must fill the box that was asked
// for: the first character starts at the position, the last ends where the
// pitch puts it, and the cap height is the height.
//
// hp2xx_label <hp2xx> <models folder> <work folder>; exit status 0 when all
// labels fit.
#include <KoNib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace {

constexpr double kPi = 3.141592653589793;

// The model prints positions in steps of 0.025 mm, rounded: half a step.
// SI goes out with four decimals of a cm (0.0005 mm) and DI with two
// decimals of cos and sin times 100, which turns a label of 40 mm by less
// than 0.002 mm at its end. hp2xx draws its glyphs on a grid whose cells
// are the SI size exactly (an A at SI 0.2,0.4 spans 0 to 2 and 0 to 4 mm),
// and prints its coordinates with six digits. So 0.05 mm, two steps, holds
// every rounding with room to spare, while a label placed or sized by even
// a tenth of a character off fails.
constexpr double kTolerance = 0.05;

struct Label {
  double x, y, height, pitch, degrees;
  const char* text;  // begins and ends with a glyph that fills its cell
  int places;        // characters in it
};

const Label kLabels[] = {
    {50, 40, 5, 4.5, 0, "HE1 H", 5},
    {120, 60, 4, 3, 30, "HH-12 HH", 8},
    {200, 100, 6, 6, 90, "H H", 3},
};

struct Box {
  double left = 1e300, bottom = 1e300, right = -1e300, top = -1e300;
  void Add(double u, double v) {
    left = std::min(left, u);
    right = std::max(right, u);
    bottom = std::min(bottom, v);
    top = std::max(top, v);
  }
};

int Write(void* cookie, const char* data, uint32_t length) {
  static_cast<std::string*>(cookie)->append(data, length);
  return 1;
}

bool Plot(const std::string& models, const Label& label, const std::string& path) {
  std::ifstream in(models + "/hpgl.ini", std::ios::binary);
  const std::string model((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  _NibREG_DATA* list = NibGetRegistry2(model.data(), static_cast<unsigned long>(model.size()),
                                       nullptr, 0, "HP-GL A3 Pen Plotter");
  std::string bytes;
  _NibWorld2 size{400, 277};
  void* plotter = NibGetHandle(&size);
  _NibDeviceProc device{};
  device.cookie = &bytes;
  device.write = Write;
  bool ok = list != nullptr && plotter != nullptr && NibSetDeviceProc(plotter, &device) &&
            NibSetPlotter2(plotter, list) && NibInitiate(plotter) && NibStartPage(plotter);
  NibFreeRegistry2(list);
  // A dot at the origin anchors hp2xx's picture at the sheet's corner.
  _NibWorld2 origin{0, 0};
  _NibWorld2 at{label.x, label.y};
  _NibTextInfo info{0, label.pitch / 1.5, label.height, label.pitch, label.degrees * kPi / 180};
  ok = ok && NibDrawDot(plotter, &origin) && NibDrawText(plotter, &at, label.text, &info) &&
       NibEndPage(plotter) && NibTerminate(plotter);
  NibFreeHandle(plotter);
  std::ofstream out(path, std::ios::binary);
  out << bytes;
  return ok && static_cast<bool>(out);
}

// The drawn strokes of hp2xx's gnuplot output in the label's own frame:
// along the text from its start, and up from its base line.
bool Measure(const std::string& path, const Label& label, Box* box) {
  std::ifstream in(path);
  if (!in) return false;
  const double a = label.degrees * kPi / 180;
  const double c = std::cos(a);
  const double s = std::sin(a);
  std::string line;
  bool down = false;
  double lastX = 0, lastY = 0;
  bool any = false;
  while (std::getline(in, line)) {
    if (line.rfind("#PD", 0) == 0) down = true;
    if (line.rfind("#PU", 0) == 0) down = false;
    if (line.empty() || line[0] == '#') continue;
    std::istringstream numbers(line);
    double x, y;
    if (!(numbers >> x >> y)) continue;
    if (down && (x > 1 || y > 1)) {  // the anchor dot is not part of the label
      for (const auto& p : {std::make_pair(lastX, lastY), std::make_pair(x, y)}) {
        const double dx = p.first - label.x;
        const double dy = p.second - label.y;
        box->Add(dx * c + dy * s, -dx * s + dy * c);
      }
      any = true;
    }
    lastX = x;
    lastY = y;
  }
  return any;
}

bool Near(const char* what, double got, double wanted) {
  if (std::fabs(got - wanted) <= kTolerance) return true;
  std::fprintf(stderr, "  %s: hp2xx drew %.4f, asked %.4f\n", what, got, wanted);
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: hp2xx_label <hp2xx> <models folder> <work folder>\n");
    return 2;
  }
  int failed = 0;
  int n = 0;
  for (const Label& label : kLabels) {
    const std::string base = std::string(argv[3]) + "/label" + std::to_string(n++);
    const std::string command =
        std::string(argv[1]) + " -q -m gpt -t -f " + base + ".gpt " + base + ".hpgl";
    Box box;
    if (!Plot(argv[2], label, base + ".hpgl") || std::system(command.c_str()) != 0 ||
        !Measure(base + ".gpt", label, &box)) {
      std::fprintf(stderr, "label \"%s\": no picture\n", label.text);
      ++failed;
      continue;
    }
    // The device advances 1.5 glyph widths per character, which the model
    // makes the pitch: the last glyph ends a glyph width behind its place.
    const double end = (label.places - 1) * label.pitch + label.pitch / 1.5;
    const bool fits = Near("start", box.left, 0) && Near("end", box.right, end) &&
                      Near("base", box.bottom, 0) && Near("cap", box.top, label.height);
    std::printf("label \"%s\" at %g degrees: %.4f..%.4f along, %.4f..%.4f up: %s\n", label.text,
                label.degrees, box.left, box.right, box.bottom, box.top, fits ? "fits" : "OFF");
    if (!fits) ++failed;
  }
  return failed == 0 ? 0 : 1;
}
