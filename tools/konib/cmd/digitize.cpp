#include "cmd/digitize.h"

#include <KoNib.h>

#include <cmath>
#include <cstdio>

#include "cmd/models.h"
#include "model/model.h"

namespace konib::tool {
namespace {

struct Device {
  Line* line;
  bool closing;  // after Ctrl-C: the last words go out all the same
  bool failed = false;
};

int Write(void* cookie, const char* data, uint32_t length) {
  Device* device = static_cast<Device*>(cookie);
  uint32_t done = 0;
  for (int tries = 0; done < length && (device->closing ? tries < 10 : !Interrupted()); ++tries) {
    long wrote = device->line->Write(data + done, length - done, 200);
    if (wrote < 0) return device->failed = true, 0;
    done += static_cast<uint32_t>(wrote);
  }
  return done == length;
}

// One byte at a time, for the closing handle: its Digitize.End must go out
// before the handle is freed, which drops waiting output.
int Put(void* cookie, const char* one) { return Write(cookie, one, 1); }

// Waits for the digitizer as long as it takes; Ctrl-C ends the wait, and
// with it the handle.
int Read(void* cookie, char* byte) {
  Device* device = static_cast<Device*>(cookie);
  while (!Interrupted()) {
    long got = device->line->Read(byte, 200);
    if (got < 0) return device->failed = true, 0;
    if (got == 1) return 1;
  }
  return 0;
}

bool LoadList(const DigitizeOptions& o, ModelList* model, std::string* message) {
  if (o.store.empty()) {
    ModelFile file;
    std::string section;
    return LoadModel(o.model, o.section, o.models, &file, &section, model, message);
  }
  Store store(o.store);
  model->list =
      store.root != nullptr ? NibGetRegistry(store.root, kStorePath, o.model.c_str()) : nullptr;
  if (model->list == nullptr) *message = "no model \"" + o.model + "\" in the store " + o.store;
  return model->list != nullptr;
}

}  // namespace

int Digitize(const DigitizeOptions& o) {
  ModelList model;
  std::string message;
  if (!LoadList(o, &model, &message)) {
    std::fprintf(stderr, "konib: %s\n", message.c_str());
    return kBadInput;
  }
  if (!NibIsDigitize(model.list)) {
    std::fprintf(stderr, "konib: the model \"%s\" has no Digitize.Position: it cannot digitize\n",
                 o.model.c_str());
    return kBadInput;
  }
  std::unique_ptr<Line> line = OpenLine(o.from, &message);
  if (line == nullptr) {
    std::fprintf(stderr, "konib: %s: %s\n", o.from.port.c_str(), message.c_str());
    return kDeviceError;
  }
  Device device{line.get(), false};
  _NibWorld2 size{1000, 1000};
  void* h = NibGetHandle(&size);
  NibSetPlotter2(h, model.list);
  _NibDeviceProc procs{};
  procs.cookie = &device;
  procs.write = Write;
  procs.read = Read;
  NibSetDeviceProc(h, &procs);
  NibStartDigitize(h);
  while (!Interrupted()) {
    _NibWorld2 point{std::nan(""), std::nan("")};
    if (!NibDigitizePosition(h, &point)) break;
    // A reply that did not fit the model's pattern leaves the pair unread.
    if (std::isnan(point.x) || std::isnan(point.y)) continue;
    std::printf("%.3f %.3f\n", point.x, point.y);
    std::fflush(stdout);
  }
  NibFreeHandle(h);
  if (device.failed) {
    std::fprintf(stderr, "konib: %s: %s\n", o.from.port.c_str(), line->error.c_str());
    return kDeviceError;
  }
  // The handle ended with the wait; a fresh one tells the device we are done.
  Device closing{line.get(), true};
  void* end = NibGetHandle(&size);
  NibSetPlotter2(end, model.list);
  procs.cookie = &closing;
  procs.write = nullptr;
  procs.put = Put;
  NibSetDeviceProc(end, &procs);
  NibEndDigitize(end);
  NibFreeHandle(end);
  return Interrupted() ? kOk : kDeviceError;
}

}  // namespace konib::tool
