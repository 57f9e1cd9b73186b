// Extension calls: \[module.function,arguments] in a template.
//
// Where the template language is not enough, a model can call a native
// function in a module beside the library (or, without a module name, in
// the sibling library). The handle keeps each module it took up, with a
// private area of 1024 bytes per module, until the handle is freed.
//
// Syntax, behind the backslash:
//   [function]  [module.function]  [module.function,arguments]
// The first point ends the module name; later points belong to the
// function's name. Module and function names together hold at most 63
// bytes, the module name at most 62. The arguments run to the first ']'
// whatever they hold; a ']' can reach a function only as \$5D.
#pragma once

#include <cstddef>

#include "core/handle.h"
#include "platform/modules.h"

namespace konib {

constexpr std::size_t kPrivateAreaSize = 1024;

struct NibExtensionSlot {
  char name[kModuleDirSize];  // as written in the template; empty for the sibling library
  platform::ModuleHandle module;
  unsigned char privateArea[kPrivateAreaSize];
};

// Tries an extension call at `text` (just behind a backslash). Returns the
// bytes consumed, 0 when this is no call; with a count above 0, `*function`
// is the function to call with `call`, or null when there is none to call.
// `call` is filled from the handle and holds the expanded arguments.
std::size_t ExpandExtension(NibHandle* h, const char* text, NibSpfuncCall* call, void** function);

// The bytes an extension call at `text` takes, as ExpandExtension counts
// them, without looking for its module; 0 when this is no call.
std::size_t ExtensionCallLength(const char* text);

// The escapes that work inside the arguments of a call: \$HH, \n and the
// choices \pp, \pb, \po, \e0 to \e9; their bytes go to the arguments.
// Returns the bytes consumed, 0 if not recognised or out of memory.
std::size_t ExpandArgumentEscape(NibHandle* h, const char* text, std::uint32_t* count);

// Appends one byte to the handle's argument buffer. Returns 1, or 0 when
// memory ran out (the handle does not fail for it).
int PutArgumentByte(NibHandle* h, char byte, std::uint32_t* count);

// Releases every module the handle took up, but the sibling library.
void ReleaseExtensions(NibHandle* h);

}  // namespace konib
