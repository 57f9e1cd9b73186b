// Digitizing: positions read back from the device.
//
// A digitizer is driven by templates like a plotter, with one addition: the
// template of Digitize.Position can hold patterns of the device's reply,
// opened by \< and closed by >. The walk sends what stands in front of a
// pattern, then reads the reply byte by byte through readProc and compares
// it with the pattern, picking the numbers out of it:
//
//   Pattern element   Reads
//   >                 nothing: the pattern ends
//   \n                two bytes, which must be CR and LF
//   \$HH              one byte, which must be the value HH
//   \x1 \y1           a number into x or y, up to its terminator (below)
//   \x2 \y2           the same, plus half of the plotting area in steps
//   \d                a number that is dropped (a pen state, a key)
//   \ and a byte      that byte literally (\N is the letter N)
//   any other byte    one byte, which must be this one
//
// Names of numbers are compared without regard to case, \n and \$ with it.
// The byte behind a number's name is its terminator: \n (or \N) stands for
// CR and then drops the byte behind it whatever it is, \$HH for the value HH,
// any other byte for itself, > included. A byte that does not fit stops the
// pattern: the rest of it goes out as template text, and what was delivered
// so far stands. That is no error. A number escape with no terminator
// behind its name (at the template's end, or \$ without two hexadecimal
// digits) reads nothing and delivers nothing; the pattern goes on where the
// terminator should stand, and a bad \$ there stops it.
//
// The position is in plot units: the numbers read are device steps, and
// the result is step times each. Nothing of the mapping is undone: window,
// view, origin, scale and the turn of the sheet have no effect on it,
// although the pair has the type of world coordinates.
//
// Reads are bounded. A number is kept in a buffer of 32 bytes, so at most
// 31 bytes of it count; blanks in front of it are not stored (they would be
// skipped anyway), so a device that pads its fields to a fixed width reads
// whatever the width. A number of more bytes than that is not read: the
// reply is still taken up to its terminator, so the conversation stays in
// step, but the axis counts as not delivered and no failure is set. At most
// kReplyReadLimit bytes are read for one number, its terminator included: a
// device that goes on without a terminator for that long is not speaking
// the model's language, no later byte of it could be trusted, and the
// handle fails as it would if readProc had given up. 256 is eight buffers:
// room for any padded field, and at 9600 baud a runaway stream is given up
// within a third of a second. One reply is thus bounded too: its template
// is finite and every element of it reads at most that many bytes.
//
// With a device bound through writeProc alone, the request of a pattern
// would still wait in the output buffer while the library waits for the
// reply; so before a pattern reads its first byte, waiting output is
// flushed. Digitize.End is not flushed: it waits for the job's next flush
// point, as every other command does. A device bound byte-wise has nothing
// waiting.
//
// Nothing here is shared between calls or handles: each number is read into
// a buffer of its own call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/handle.h"

namespace konib {

constexpr std::size_t kReplyNumberSize = 32;  // 31 bytes and the terminator
constexpr int kReplyReadLimit = 256;          // bytes read for one number, terminator included

// Marks of the axes that one reading has delivered.
enum AxisMark : std::uint32_t { kMarkX = 1, kMarkY = 2 };

// What one NibDigitizePosition gathers, in device steps.
struct Reading {
  _NibWorld2 value{0.0, 0.0};
  std::uint32_t marks = 0;
};

// Walks Digitize.Position and, when both axes were delivered and the handle
// has not failed, sets `*position` to them in plot units; otherwise it stays
// as it was. Returns 1 if `failure` is 0, else 0.
int ReadPosition(NibHandle* h, _NibWorld2* position);

// A reply pattern at `text` (just behind a backslash): returns the template
// bytes consumed, up to where the pattern ended or stopped; 0 if no pattern
// starts here.
std::size_t MatchReply(NibHandle* h, const char* text, Reading* reading);

// One number of a reply, with the terminator written at `text` (just behind
// the number's name). Returns the template bytes of the terminator once the
// reply has been read up to it, 0 if none was read: no terminator in the
// template (a bad \$, the template's end) or a read failed. `*target` is
// written and `*delivered` set only when the number fitted the buffer.
std::size_t ReadReplyNumber(NibHandle* h, const char* text, double* target, bool* delivered);

// Digitize.ReleasePen for pen index 0, Digitize.Pen for any other (or
// Command.Pen when the model has no such value), if the device holds
// another pen number. An index outside the pen table sends nothing.
int DigitizeSelectPen(NibHandle* h, int penIndex);

}  // namespace konib
