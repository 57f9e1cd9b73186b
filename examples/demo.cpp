// Draws one sample sheet through every bundled device model and writes the
// device bytes of each into out/: out/demo.hpgl, out/demo.svg and so on.
//
// Each model is installed from its file into a model store under out/ and
// loaded back from there, as an installer and an application would do. The
// sheet and the job around it are in demo_sheet.cpp.
#include <KoNib.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "demo_sheet.h"
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
    {"gcode.ini", "G-code Servo Pen Plotter", "out/demo.gcode"},
    {"gcode.ini", "G-code Z Pen Plotter", "out/demo-z.gcode"},
    {"gpgl.ini", "GP-GL Pen Plotter", "out/demo.gpgl"},
    {"gpgl.ini", "GP-GL Media-Feed Cutter", "out/demo-feed.gpgl"},
    {"cammgl.ini", "CAMM-GL Mode 2 Cutter", "out/demo.camm2"},
    {"cammgl.ini", "CAMM-GL Mode 1 Cutter", "out/demo.camm1"},
    {"dmpl.ini", "DM/PL Pen Plotter", "out/demo.dmpl"},
    {"hp75xx.ini", "HP 7475A", "out/demo.7475a"},
    {"hp75xx.ini", "HP 7550A", "out/demo.7550a"},
    {"ebb.ini", "AxiDraw EiBotBoard", "out/demo.ebb"},
};

int Write(void* cookie, const char* data, uint32_t length) {
  static_cast<std::string*>(cookie)->append(data, length);
  return 1;
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
  _NibREG_DATA* fromText =
      NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()), nullptr, 0, section);
  std::string set;  // the line Command= of the machine section names the command set
  for (const _NibREG_DATA* r = fromText; r != nullptr; r = r->next) {
    if (std::strcmp(r->name, "Command") == 0) set = reinterpret_cast<const char*>(r->data);
  }
  NibFreeRegistry2(fromText);
  HKEY store = OpenDemoStore();
  const std::string file = std::filesystem::absolute(path).string();
  NibSetupRegistry(store, "Models", section, section, file.c_str(), set.c_str(), set.c_str(),
                   file.c_str());
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
    std::fprintf(stderr, "demo: model [%s] of %s did not come back from the store\n", model.section,
                 model.file);
    return false;
  }
  std::string bytes;
  _NibWorld2 size{400, 277};
  void* plotter = NibGetHandle(&size);
  _NibDeviceProc device{};
  device.cookie = &bytes;
  device.write = Write;
  bool ok =
      plotter != nullptr && NibSetDeviceProc(plotter, &device) && NibSetPlotter2(plotter, list);
  NibFreeRegistry2(list);
  ok = ok && demo::SheetJob(plotter).Run();
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
