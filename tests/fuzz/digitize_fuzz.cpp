// Reads positions through an arbitrary reply pattern from an arbitrary
// device: the input up to its first NUL is the model's Digitize.Position,
// the rest is all the device ever answers, one byte per read, and then its
// reads fail. Whatever the two, every reading must end, read no byte after
// a failed one, write nothing out of bounds and leak nothing.
#include <KoNib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

struct Device {
  const char* reply;
  std::size_t size;
  std::size_t next = 0;
  bool failed = false;
};

int Put(void*, const char*) { return 1; }

int Read(void* cookie, char* byte) {
  Device* device = static_cast<Device*>(cookie);
  if (device->failed) std::abort();  // the library read on after a failure
  if (device->next == device->size) {
    device->failed = true;
    return 0;
  }
  *byte = device->reply[device->next++];
  return 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const char* text = reinterpret_cast<const char*>(data);
  const char* nul = static_cast<const char*>(std::memchr(text, '\0', size));
  const std::size_t split = nul != nullptr ? static_cast<std::size_t>(nul - text) : size;
  const std::string position(text, split);
  Device device{text + split + (nul != nullptr ? 1 : 0), size - split - (nul != nullptr ? 1 : 0)};

  const _NibWorld2 sheet{400, 277};
  void* h = NibGetHandle(&sheet);
  if (h == nullptr) return 0;
  const _NibRegInfo items[] = {{NibKeyStep, 0, "0.025"}, {NibKeyDigitizePosition, 0, position.c_str()}};
  NibSetPlotter(h, items, 2);
  NibSetDevice(h, &device, Put, Read);
  _NibWorld2 pair{0, 0};
  for (int i = 0; i < 4; ++i) NibDigitizePosition(h, &pair);
  NibFreeHandle(h);
  return 0;
}
