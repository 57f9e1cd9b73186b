// The template walker.
//
// A template is a value text of the model, walked from left to right: plain
// bytes go out unchanged, and a backslash starts an escape that is replaced
// by computed bytes. At each backslash the walk asks, in this order: the
// global escapes, the local escapes of the command being walked, an
// extension call; what none of them takes goes out as a plain byte with the
// backslash dropped. Every routine here returns the number of template bytes
// it consumed behind the backslash, 0 meaning "not mine, nothing sent".
#pragma once

#include <cstddef>

#include "core/handle.h"

namespace konib {

// One local escape of a command: a number variable with its value and
// divisor, printed by ExpandNumber, or an escape with an action of its own.
struct LocalEscape {
  const char* name;  // matched without regard to case, as far as it goes
  double value;      // plot units or degrees
  double divisor;    // step, or 1.0
  // Null for a number variable. Otherwise the escape's own test: returns the
  // bytes consumed at `text` (just behind the backslash), 0 if not here.
  std::size_t (*action)(NibHandle* h, const char* text, const void* data);
  const void* data;
};

// How an extension function found during a walk is called: with the call
// record, then the further arguments of the command being walked.
using ExtensionInvoker = void (*)(void* function, NibSpfuncCall* call, const void* data);

// What distinguishes one walk from another. A plain template has none of it.
struct WalkRules {
  const LocalEscape* locals = nullptr;
  std::size_t localCount = 0;
  // The walk of a line style's template tries its variables last, behind the
  // extension call; commands try theirs before it.
  bool localsAfterExtension = false;
  // Two-letter name of a model escape whose field is being walked: that
  // escape is not followed inside its own field, its letters go out plain.
  const char* guard = nullptr;
  ExtensionInvoker invoke = nullptr;  // null: the function gets the record alone
  const void* invokeData = nullptr;
};

// Walks [text, end), or up to the NUL when `end` is null; a null text sends
// nothing. Returns 1 if `failure` is 0 when the walk ends, else 0. A failure
// does not stop the walk: later bytes are refused by the output path, and
// extension functions named later are still called.
int WalkTemplate(NibHandle* h, const char* text, const char* end, const WalkRules& rules);

// An extension call at `text` (just behind a backslash): the function it
// names, if there is one to call, is called at once, with `invoke` (null:
// with the call record alone). Returns the bytes the call takes, 0 if this
// is no call.
std::size_t CallExtension(NibHandle* h, const char* text, ExtensionInvoker invoke,
                          const void* invokeData);

// Tries `count` local escapes in order at `text`; the first that consumes
// bytes wins. Returns the bytes consumed, 0 if none.
std::size_t TryLocalEscapes(NibHandle* h, const char* text, const LocalEscape* locals,
                            std::size_t count);

// The walk of a template without local escapes.
inline int ExpandTemplate(NibHandle* h, const char* text) {
  return WalkTemplate(h, text, nullptr, WalkRules{});
}

// Tries the global escapes in their order at `text`, just behind a backslash.
std::size_t ExpandGlobalEscape(NibHandle* h, const char* text);

// Two hexadecimal digits, upper or lower case, into `out`: returns 2, or 0.
std::size_t ParseHexByte(const char* text, char* out);

}  // namespace konib
