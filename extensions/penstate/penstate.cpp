// penstate: an extension module that remembers whether the pen is up or
// down, so that a model whose device has no pen-up or pen-down state of its
// own (G-code: a servo on the spindle output, a pen on the Z axis) sends the
// lifting or lowering text only when the pen must change. The library hands
// every move and every line to its template; without this module a servo
// pen would drop and settle before each of thousands of short segments.
//
// A model calls it from its templates, with the text to send as arguments:
//
//   Command.Init=...\[penstate.Reset]
//   Command.Move=\[penstate.Up,M3 S20\$0AG4 P0.15\$0A]G0 X\x1 Y\y1\$0A
//   Command.Line=\[penstate.Down,M3 S30\$0AG4 P0.15\$0A]G1 X\x2 Y\y2\$0A
//
// The state lives in the private area that the library keeps per handle
// and module, which starts zeroed: unknown, so the first Up or Down of a
// handle always sends. Reset makes it unknown again (a new job on the same
// handle may find the pen anywhere).
//
// The module links to nothing of the library; it lies beside it as
// penstate.so or penstate.dll.
#include <KoNib.h>

#include <cstring>

namespace {

// The first byte of the private area.
enum PenState : unsigned char { kUnknown = 0, kUp = 1, kDown = 2 };

PenState Get(const NibSpfuncCall* call) {
  unsigned char state;
  std::memcpy(&state, call->privateArea, 1);
  return state == kUp || state == kDown ? static_cast<PenState>(state) : kUnknown;
}

void Set(NibSpfuncCall* call, PenState state) {
  unsigned char byte = state;
  std::memcpy(call->privateArea, &byte, 1);
}

// Sends the arguments (without their terminator) when the pen is not in
// `wanted` yet. A device that refuses leaves the state unknown, so that a
// later call sends again.
int Change(NibSpfuncCall* call, PenState wanted) {
  if (Get(call) == wanted) return 1;
  Set(call, kUnknown);
  if (call->arguments != nullptr && call->argumentsLength > 1 &&
      call->write(call, call->arguments, call->argumentsLength - 1) == 0)
    return 0;
  Set(call, wanted);
  return 1;
}

}  // namespace

extern "C" {

int Reset(NibSpfuncCall* call) {
  Set(call, kUnknown);
  return 1;
}

int Up(NibSpfuncCall* call) { return Change(call, kUp); }

int Down(NibSpfuncCall* call) { return Change(call, kDown); }

}  // extern "C"
