// Draws one sample sheet through every bundled device model and writes the
// device bytes of each into out/: out/demo.hpgl, out/demo.svg and so on.
//
// Each model is installed from its file into a model store under out/ and
// loaded back from there, as an installer and an application would do. The sheet shows what the library does for a plotter: a
// frame, the ten line styles, wide pens, dots, circles and arcs drawn by the
// device and by chords, a nested view, and clipping at the sheet's edge.
#include <KoNib.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "demo_store.h"

namespace {

struct Model {
  const char* file;     // bundled model, in the models folder
  const char* section;  // its machine section
  const char* output;   // where its bytes go
};

const Model kModels[] = {
    {"hpgl.ini", "HP-GL A3 Pen Plotter", "out/demo.hpgl"},
    {"hpgl2.ini", "HP-GL/2 A1 Roll Plotter", "out/demo.hpgl2"},
    {"dxygl.ini", "DXY-GL A3 Pen Plotter", "out/demo.dxy"},
    {"svg.ini", "SVG Virtual Plotter", "out/demo.svg"},
};

constexpr double kPi = 3.141592653589793;

int Write(void* cookie, const char* data, uint32_t length) {
  static_cast<std::string*>(cookie)->append(data, length);
  return 1;
}

void Line(void* plotter, double x0, double y0, double x1, double y1) {
  _NibWorld4 line{{x0, y0}, {x1 - x0, y1 - y0}};
  NibDrawLine(plotter, &line);
}

void Rectangle(void* plotter, double x, double y, double w, double h) {
  Line(plotter, x, y, x + w, y);
  Line(plotter, x + w, y, x + w, y + h);
  Line(plotter, x + w, y + h, x, y + h);
  Line(plotter, x, y + h, x, y);
}

void Circle(void* plotter, double x, double y, double r) {
  _NibWorld2 centre{x, y};
  NibDrawArc(plotter, &centre, r, nullptr);
}

void Arc(void* plotter, double x, double y, double r, double startDegrees, double sweepDegrees) {
  _NibWorld2 centre{x, y};
  _NibWorld2 angles{startDegrees * kPi / 180, sweepDegrees * kPi / 180};
  NibDrawArc(plotter, &centre, r, &angles);
}

// A small house, drawn in its own coordinates 0..100 into whatever view holds it.
void House(void* plotter) {
  _NibWorld4 window{{0, 0}, {100, 100}};
  NibSetWindow(plotter, &window);
  Rectangle(plotter, 10, 0, 80, 60);
  Line(plotter, 5, 55, 50, 95);
  Line(plotter, 50, 95, 95, 55);
  Rectangle(plotter, 40, 0, 20, 35);
  Circle(plotter, 50, 75, 8);
}

// Lettering in the free corner of the sheet: sizes, angles, the two style
// bits, signs that a device language must escape, and one line of CP932
// kanji and kana where the model declares a kanji font.
void Lettering(void* plotter) {
  NibSetPen(plotter, 1);
  const struct {
    double x, y, height, degrees;
    uint32_t flags;
    const char* text;
  } labels[] = {
      {20, 85, 6, 0, 0, "KoNib 0.1"},
      {20, 75, 4, 0, 1, "Bold <b> & \"quoted\""},
      {20, 67, 4, 0, 2, "Slanted 'italic' 12345"},
      {20, 58, 3, 0, 0, "a < b > c & d"},
      {120, 20, 4, 30, 0, "30 degrees"},
      {175, 15, 4, 90, 0, "Up 90"},
  };
  for (const auto& label : labels) {
    _NibWorld2 at{label.x, label.y};
    // The usual proportions of plotter lettering: a width of 2/3 of the
    // height, and a pitch of 1.5 widths.
    _NibTextInfo info{label.flags, label.height * 2 / 3, label.height, label.height,
                      label.degrees * kPi / 180};
    NibDrawText(plotter, &at, label.text, &info);
  }
  unsigned int fonts = 0;
  if (NibQueryFontSupport(plotter, &fonts) && (fonts & 8)) {
    _NibWorld2 at{20, 45};
    _NibTextInfo info{0, 5, 5, 5.5, 0};
    // "Kanji: " and the CP932 words for plotter and half-width "kana".
    NibDrawText(plotter, &at, "Kanji: \x83\x76\x83\x8D\x83\x62\x83\x5E \xB6\xC5", &info);
  }
}

// The sample sheet, for a plotting area of 400 x 277.
void DrawSheet(void* plotter) {
  NibSetPen(plotter, 1);
  Rectangle(plotter, 5, 5, 390, 267);  // the frame

  for (int style = 0; style < 10; ++style) {  // the ten line styles
    NibSetStyle(plotter, style);
    double y = 250 - style * 10;
    Line(plotter, 20, y, 180, y);
  }
  NibSetStyle(plotter, 0);

  NibSetPen(plotter, 2);  // a pen of one stroke
  Line(plotter, 20, 130, 180, 140);
  NibSetPen(plotter, 3);  // a pen of three strokes, 0.3 apart
  Line(plotter, 20, 120, 180, 130);

  NibSetPen(plotter, 4);  // dots
  for (int i = 0; i < 9; ++i) {
    _NibWorld2 dot{20.0 + i * 20, 105};
    NibDrawDot(plotter, &dot);
  }

  NibSetPen(plotter, 1);  // circles and arcs drawn by the device
  Circle(plotter, 240, 220, 25);
  Arc(plotter, 310, 220, 25, 30, 240);
  NibSetPen(plotter, 2);  // the same again, dashed: drawn by chords
  NibSetStyle(plotter, 2);
  Circle(plotter, 240, 150, 25);
  NibSetStyle(plotter, 5);
  Arc(plotter, 310, 150, 25, -60, 300);
  NibSetStyle(plotter, 0);
  NibSetPen(plotter, 3);  // a wide pen around a circle
  Circle(plotter, 360, 90, 20);

  NibSetPen(plotter, 1);  // a nested view: a house in a rectangle of the sheet
  _NibWorld4 view{{200, 20}, {80, 80}};
  NibSetViewRelative(plotter, &view);
  House(plotter);
  _NibWorld4 inner{{60, 60}, {30, 30}};  // and a smaller one inside it
  NibSetViewRelative(plotter, &inner);
  House(plotter);
  NibSetViewRelative(plotter, nullptr);
  NibSetViewRelative(plotter, nullptr);

  NibSetPen(plotter, 2);  // clipped at the sheet's edge
  Circle(plotter, 400, 0, 60);
  Line(plotter, 300, -20, 420, 60);

  Lettering(plotter);
}

bool ReadFile(const char* path, std::string* text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  text->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return true;
}

// The catalogue's road: installs the model and its command set from the
// model file into the store under out/ (a registry key on Windows), checks
// that the catalogue lists it, and loads it back from there.
_NibREG_DATA* LoadFromStore(const std::string& path, const char* section, const std::string& text) {
  _NibREG_DATA* fromText = NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()), nullptr, 0, section);
  std::string set;  // the line Command= of the machine section names the command set
  for (const _NibREG_DATA* r = fromText; r != nullptr; r = r->next) {
    if (std::strcmp(r->name, "Command") == 0) set = reinterpret_cast<const char*>(r->data);
  }
  NibFreeRegistry2(fromText);
  HKEY store = OpenDemoStore();
  const std::string file = std::filesystem::absolute(path).string();
  NibSetupRegistry(store, "Models", section, section, file.c_str(), set.c_str(), set.c_str(), file.c_str());
  bool listed = false;
  char* names = NibGetRegModelNames(store, "Models");
  for (const char* name = names; name != nullptr && *name != '\0'; name += std::strlen(name) + 1) {
    listed = listed || std::strcmp(name, section) == 0;
  }
  NibFreeRegModelNames(names);
  _NibREG_DATA* list = listed ? NibGetRegistry(store, "Models", section) : nullptr;
  CloseDemoStore(store);
  return list;
}

// Loads one model from its file, draws the sheet, and writes the bytes.
bool Plot(const std::string& folder, const Model& model) {
  std::string text;
  const std::string path = folder + "/" + model.file;
  if (!ReadFile(path.c_str(), &text)) {
    std::fprintf(stderr, "demo: cannot read %s\n", path.c_str());
    return false;
  }
  _NibREG_DATA* list = LoadFromStore(path, model.section, text);
  if (list == nullptr) {
    std::fprintf(stderr, "demo: model [%s] of %s did not come back from the store\n", model.section, model.file);
    return false;
  }
  std::string bytes;
  _NibWorld2 size{400, 277};
  void* plotter = NibGetHandle(&size);
  _NibDeviceProc device{};
  device.cookie = &bytes;
  device.write = Write;
  bool ok = plotter != nullptr && NibSetDeviceProc(plotter, &device) && NibSetPlotter2(plotter, list);
  NibFreeRegistry2(list);
  // A pen of three strokes for pen 3; the rest as the model has them.
  _NibInfo info{};
  for (int i = 0; i < 17; ++i) info.pens[i] = {i, 1, 0.0};
  info.pens[3].strokes = 3;
  info.pens[3].strokeSpacing = 0.3;
  ok = ok && NibSetPlotterInfo(plotter, NIB_INFO_PENS, &info);
  ok = ok && NibInitiate(plotter) && NibStartPage(plotter);
  if (ok) DrawSheet(plotter);
  ok = ok && NibEndPage(plotter) && NibTerminate(plotter);
  NibFreeHandle(plotter);
  if (!ok) {
    std::fprintf(stderr, "demo: the plot through %s failed\n", model.section);
    return false;
  }
  std::ofstream out(model.output, std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) {
    std::fprintf(stderr, "demo: cannot write %s\n", model.output);
    return false;
  }
  std::printf("%-16s %8zu bytes  (%s)\n", model.output, bytes.size(), model.section);
  return true;
}

}  // namespace

// demo [models-folder]: the folder defaults to models/ of the working folder.
int main(int argc, char** argv) {
  const std::string folder = argc > 1 ? argv[1] : "models";
  std::error_code error;
  std::filesystem::create_directories("out", error);
  if (error) {
    std::fprintf(stderr, "demo: cannot make the folder out/\n");
    return 1;
  }
  bool ok = true;
  for (const Model& model : kModels) ok = Plot(folder, model) && ok;
  return ok ? 0 : 1;
}
