// Text: the characters of a CP932 string handed to the device's lettering.
//
// The library has no fonts. A model describes its lettering with eleven
// text templates and seven font templates, and the stages below turn a
// text, a device position and the text's attributes in device units into
// bytes, from the outside in:
//
//   EmitReplacedText    FontReplace, character by character
//   SplitRuns           runs of one character class, each placed and sized
//                       by the FontAdjust of its class
//   EmitRun             Command.Text ... Command.TextTerm around a run; each
//                       character through the draw, char or kana set
//   ExpandTextTemplate  one template with the text escapes
//
// Each returns 1 while the handle works, 0 once `failure` is set.
#pragma once

#include <cstddef>

#include "core/handle.h"

namespace konib {

// The longest run and the longest FontReplace field the stages hold. A
// longer run is sent as several runs of at most this many bytes, cut
// between characters; a longer replacement is cut short.
constexpr std::size_t kMaxRunBytes = 259;
constexpr std::size_t kMaxReplaceBytes = 31;

int EmitReplacedText(NibHandle* h, const _NibTextInfo& info, const _NibWorld2& position,
                     const char* text);
int SplitRuns(NibHandle* h, const _NibWorld2& position, const char* text, const _NibTextInfo& info);
int EmitRun(NibHandle* h, const char* run, const _NibWorld2& position, const _NibTextInfo& info);

// Walks `text` (a template; null sends nothing) with the escapes of what is
// given: x1 y1 x3 y3 with a position, \c1 to \c9 with a code other than 0,
// the size, angle and font escapes with an info. `run` is the text handed
// to an extension function of Command.Text.
int ExpandTextTemplate(NibHandle* h, const char* text, const _NibWorld2* position, const char* run,
                       unsigned code, const _NibTextInfo* info);

// The angle of `info` in degrees as the templates print it: rounded to the
// handle's decimals, brought into [0, 360).
double TextDegrees(const NibHandle* h, double angle);

}  // namespace konib
