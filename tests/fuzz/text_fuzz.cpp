// Letters arbitrary strings through the bundled models that letter text, and
// through konib's conversion of Unicode to CP932:
// the bytes are CP932 or not (lead bytes at the end, lone trail bytes, kana,
// control bytes), and the sizes, pitch and angle come from a table of good
// and bad values. Whatever the string, the call must end, write nothing out
// of bounds and leak nothing, and a handle that has not failed takes the
// next text.
#include <KoNib.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>

#ifdef KONIB_LETTERING
#include "lettering/lettering.h"
#endif

#ifndef KONIB_MODELS_DIR
#error "KONIB_MODELS_DIR must name the bundled models' folder"
#endif

namespace {

struct Sink {
  std::size_t taken = 0;
};

int Put(void* cookie, const char*) { return ++static_cast<Sink*>(cookie)->taken < (1u << 20); }

// One handle per model, kept from input to input: a handle is far dearer to
// make than a text is to letter. Each input starts a page, which makes the
// handle forget what the device was told, so inputs do not lean on each
// other; a handle that failed is made anew.
struct Model {
  const char* file;
  const char* section;
  _NibREG_DATA* list = nullptr;
  void* handle = nullptr;
  Sink sink;
};

Model g_models[] = {{"hpgl.ini", "HP-GL A3 Pen Plotter"},
                    {"hpgl2.ini", "HP-GL/2 A1 Roll Plotter"},
                    {"dxygl.ini", "DXY-GL A3 Pen Plotter"},
                    {"svg.ini", "SVG Virtual Plotter"}};

bool LoadModels() {
  for (Model& model : g_models) {
    std::ifstream in(std::string(KONIB_MODELS_DIR) + "/" + model.file, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    model.list = NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()), nullptr, 0, model.section);
    if (model.list == nullptr) return false;
  }
  return true;
}

void* Handle(Model& model) {
  if (model.handle == nullptr) {
    const _NibWorld2 sheet{400, 277};
    model.handle = NibGetHandle(&sheet);
    if (model.handle == nullptr) return nullptr;
    NibSetDevice(model.handle, &model.sink, Put, nullptr);
    NibSetPlotter2(model.handle, model.list);
  }
  model.sink.taken = 0;
  return model.handle;
}

const double kValues[16] = {0,     1,    3,     4.5,   -2,     0.001,   1e-300, 1e300,
                            250.0, -1e9, 1.57,  -0.7,  3.1416, 1000.0, std::numeric_limits<double>::infinity(),
                            std::numeric_limits<double>::quiet_NaN()};

}  // namespace

// Input: one byte for the model and pen, one for the flags, two for the
// place, four for width, height, pitch and angle; the rest is the text,
// which is lettered whole and then from its middle on.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool loaded = LoadModels();
  if (!loaded) __builtin_trap();
  if (size < 8) return 0;
  Model& model = g_models[data[0] % 4];
  void* h = Handle(model);
  if (h == nullptr) return 0;
  NibStartPage(h);
  NibSetPen(h, data[0] >> 4);
  const _NibTextInfo info{data[1], kValues[data[4] & 15], kValues[data[5] & 15], kValues[data[6] & 15],
                          kValues[data[7] & 15]};
  const _NibWorld2 at{kValues[data[2] & 15] + (data[2] >> 4), kValues[data[3] & 15] + (data[3] >> 4) * 10};
  std::string text(reinterpret_cast<const char*>(data + 8), size - 8);
  const int first = NibDrawText(h, &at, text.c_str(), &info);
  const int second = NibDrawText(h, &at, text.c_str() + text.size() / 2, &info);
  if (first == 0 && second != 0) __builtin_trap();  // a failure is final
#ifdef KONIB_LETTERING
  // The same bytes as a drawing's UTF-8, through konib's conversion for a
  // device that carries what the flags byte says: no control byte may come
  // out, and the result is lettered too.
  const std::string device = konib::lettering::ToCp932(text, "?", nullptr, data[1] & 7u);
  for (char c : device)
    if (static_cast<unsigned char>(c) < 0x20) __builtin_trap();
  if (second != 0) NibDrawText(h, &at, device.c_str(), &info);
#endif
  if (second == 0 || NibEndPage(h) == 0) {
    NibFreeHandle(h);
    model.handle = nullptr;
  }
  return 0;
}
