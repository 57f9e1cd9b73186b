// The output path: every byte a template produces leaves through EmitBytes,
// byte-wise to putProc or gathered for writeProc in the handle's buffer.
#pragma once

#include <cstdint>

#include "core/handle.h"

namespace konib {

// Sends `length` bytes. Returns 1, or 0 if the handle has failed or the
// device refused them (then `failure` is 1 and the rest is dropped).
int EmitBytes(NibHandle* h, const char* data, std::int32_t length);

inline int EmitByte(NibHandle* h, char byte) { return EmitBytes(h, &byte, 1); }

// Hands the waiting bytes to writeProc. Returns 1, or 0 if it refused them.
// Callers test `failure` first.
int FlushOutput(NibHandle* h);

// Takes one byte from the device through readProc into `byte`. Returns 1,
// or 0 when the handle has failed (then no call is made), no reader is bound
// or the reader refused (then `failure` is 1 and `byte` is as it was).
// Reading does not flush: waiting output stays where it is.
int ReadByte(NibHandle* h, char* byte);

}  // namespace konib
