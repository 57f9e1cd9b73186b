// A set-up dialog on a terminal: prints for one model everything a dialog
// offers (papers, bins, steps, extensions, the guide, the defaults and what
// the device does by itself), then applies the choices given on the command
// line and draws one frame with them, printing the device bytes.
//
//   setup MODEL-FILE SECTION [paper=N] [orientation=N] [bin=N] [step=X]
//         [extensionI=K]...
//
// The frame is drawn 10 mm inside the chosen paper, with the handle's
// plotting area set to that paper's size, as an application does that
// plots on the whole sheet. Texts are CP932; bytes outside printable ASCII
// are shown as \xHH, and CR, LF and TAB as \r, \n and \t.
#include <KoNib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace {

std::string Shown(const char* text, std::size_t length) {
  std::string out;
  for (std::size_t i = 0; i < length; ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    char hex[8];
    if (c == '\r') {
      out += "\\r";
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c < 0x20 || c > 0x7E || c == '\\') {
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      out += hex;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

std::string Shown(const char* text) { return Shown(text, std::strlen(text)); }

const char* YesNo(int value) { return value != 0 ? "yes" : "no"; }

int Write(void* cookie, const char* data, uint32_t length) {
  static_cast<std::string*>(cookie)->append(data, length);
  return 1;
}

void ShowPapersAndBins(const _NibREG_DATA* list) {
  const _NibPAPER_INFO* papers = nullptr;
  const int paperCount = NibGetPaperInfo(list, &papers);
  for (int i = 0; i < paperCount; ++i) {
    std::printf("paper %d: %s, %d x %d mm\n", papers[i].index, Shown(papers[i].name).c_str(),
                papers[i].width, papers[i].height);
  }
  NibFreePaperInfo(papers);
  const _NibBIN_INFO* bins = nullptr;
  const int binCount = NibGetBinInfo(list, &bins);
  for (int i = 0; i < binCount; ++i)
    std::printf("bin %d: %s\n", bins[i].index, Shown(bins[i].name).c_str());
  NibFreeBinInfo(bins);
}

void ShowSteps(const _NibREG_DATA* list, double current) {
  const _NibSTEPSIZE_INFO* steps = NibGetStepSizeInfo(list, current);
  if (steps == nullptr) {
    std::printf("steps: none to choose\n");
    return;
  }
  for (int i = 0; i < steps->count; ++i) {
    std::printf("step %s%s\n", Shown(steps->items[i]).c_str(),
                i == steps->current ? " (current)" : "");
  }
  NibFreeStepSizeInfo(steps);
}

void ShowExtensions(const _NibREG_DATA* list) {
  for (int index = 0; index < 5; ++index) {
    const _NibEXTENSION_INFO* extension = NibGetExtensionInfo(list, index);
    if (extension == nullptr) continue;
    std::printf("extension %d: %s:", index, Shown(extension->title).c_str());
    for (int i = 0; i < extension->count; ++i) {
      std::printf("%s %s%s", i == 0 ? "" : ",", Shown(extension->items[i]).c_str(),
                  i == extension->selected ? " (default)" : "");
    }
    std::printf("\n");
    NibFreeExtensionInfo(extension);
  }
}

void ShowGuide(const _NibREG_DATA* list) {
  const char* guide = NibGetGuideText(list);
  const char* line = guide;
  for (;;) {
    const char* end = std::strstr(line, "\r\n");
    const std::size_t length =
        end != nullptr ? static_cast<std::size_t>(end - line) : std::strlen(line);
    std::printf("guide: %s\n", Shown(line, length).c_str());
    if (end == nullptr) break;
    line = end + 2;
  }
  NibFreeGuideText(guide);
}

void ShowDefaults(const _NibREG_DATA* list, const _NibInfo& info) {
  std::printf(
      "defaults: step %g, paper %d, bin %d, orientation %d, origin %g %g, scale %g %g, ANK %d, "
      "Kanji %d %d\n",
      info.step, static_cast<int>(info.paperIndex), static_cast<int>(info.binIndex),
      static_cast<int>(info.orientation), info.origin.x, info.origin.y, info.scale.x, info.scale.y,
      static_cast<int>(info.ankFont), static_cast<int>(info.kanjiFont),
      static_cast<int>(info.kanjiFlag));
  std::printf("defaults: extensions %d %d %d %d %d\n", static_cast<int>(info.extension[0]),
              static_cast<int>(info.extension[1]), static_cast<int>(info.extension[2]),
              static_cast<int>(info.extension[3]), static_cast<int>(info.extension[4]));
  std::printf("pages: %s, pens: %s, arcs: %s, digitizes: %s\n", YesNo(NibIsNextPage(list)),
              YesNo(NibIsNextPen(list)), YesNo(NibIsDrawArc(list)), YesNo(NibIsDigitize(list)));
}

// Takes `name=value` choices into `info`; returns the mask of what was chosen.
bool Choose(int argc, char** argv, _NibInfo* info, unsigned long* mask) {
  for (int i = 3; i < argc; ++i) {
    const char* equals = std::strchr(argv[i], '=');
    if (equals == nullptr) return false;
    const std::string name(argv[i], static_cast<std::size_t>(equals - argv[i]));
    const char* value = equals + 1;
    if (name == "paper") {
      info->paperIndex = std::atoi(value);
    } else if (name == "orientation") {
      info->orientation = std::atoi(value);
    } else if (name == "bin") {
      info->binIndex = std::atoi(value);
    } else if (name == "step") {
      info->step = std::atof(value);
    } else if (name.size() == 10 && name.compare(0, 9, "extension") == 0 && name[9] >= '0' &&
               name[9] <= '4') {
      info->extension[name[9] - '0'] = std::atoi(value);
    } else {
      return false;
    }
  }
  *mask |= NIB_INFO_STEP | NIB_INFO_PAPERINDEX | NIB_INFO_BININDEX | NIB_INFO_ORIENTATION |
           NIB_INFO_EXTENSION;
  return true;
}

// Applies the choices to a handle on the chosen paper and draws a frame.
bool DrawFrame(const _NibREG_DATA* list, const _NibInfo& info, unsigned long mask) {
  POINT paper{0, 0};
  NibGetPaperSize(list, info.paperIndex, &paper);
  std::printf(
      "chosen: paper %d (%d x %d mm), bin %d, orientation %d, step %g, extensions %d %d %d %d %d\n",
      static_cast<int>(info.paperIndex), static_cast<int>(paper.x), static_cast<int>(paper.y),
      static_cast<int>(info.binIndex), static_cast<int>(info.orientation), info.step,
      static_cast<int>(info.extension[0]), static_cast<int>(info.extension[1]),
      static_cast<int>(info.extension[2]), static_cast<int>(info.extension[3]),
      static_cast<int>(info.extension[4]));
  _NibWorld2 size{static_cast<double>(paper.x), static_cast<double>(paper.y)};
  void* plotter = NibGetHandle(&size);
  std::string bytes;
  _NibDeviceProc device{};
  device.cookie = &bytes;
  device.write = Write;
  bool ok = plotter != nullptr && NibSetDeviceProc(plotter, &device) &&
            NibSetPlotter2(plotter, list) && NibSetPlotterInfo(plotter, mask, &info) &&
            NibInitiate(plotter) && NibStartPage(plotter) && NibSetPen(plotter, 1);
  const double x0 = 10, y0 = 10, x1 = size.x - 10, y1 = size.y - 10;
  const _NibWorld4 sides[4] = {{{x0, y0}, {x1 - x0, 0}},
                               {{x1, y0}, {0, y1 - y0}},
                               {{x1, y1}, {x0 - x1, 0}},
                               {{x0, y1}, {0, y0 - y1}}};
  for (const _NibWorld4& side : sides) ok = ok && NibDrawLine(plotter, &side);
  ok = ok && NibEndPage(plotter) && NibTerminate(plotter);
  NibFreeHandle(plotter);
  std::printf("bytes: %s\n", Shown(bytes.data(), bytes.size()).c_str());
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr,
                 "usage: setup MODEL-FILE SECTION [paper=N] [orientation=N] [bin=N] [step=X] "
                 "[extensionI=K]...\n");
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  _NibREG_DATA* list =
      NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()), nullptr, 0, argv[2]);
  if (list == nullptr) {
    std::fprintf(stderr, "setup: no model [%s] in %s\n", argv[2], argv[1]);
    return 1;
  }
  _NibInfo info;
  NibGetDefaultInfo(list, &info);
  std::printf("model: %s\n", argv[2]);
  ShowPapersAndBins(list);
  ShowSteps(list, info.step);
  ShowExtensions(list);
  ShowGuide(list);
  ShowDefaults(list, info);
  unsigned long mask = 0;
  bool ok = Choose(argc, argv, &info, &mask);
  if (!ok)
    std::fprintf(stderr,
                 "setup: choices are paper=, orientation=, bin=, step= and extension0= to 4=\n");
  ok = ok && DrawFrame(list, info, mask);
  NibFreeRegistry2(list);
  return ok ? 0 : 1;
}
