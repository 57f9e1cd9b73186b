// Templates prepared for the drawing path.
//
// Which escape stands at each backslash of a template depends on its text
// alone: the values behind the escapes change from call to call, the choice
// among them never does. So the primitives' templates are read once, when a
// drawing call first meets them, into a short list of steps: runs of plain
// bytes (with \$HH, \n and unrecognised escapes already turned into their
// bytes), numbers with their format resolved, and the few escapes that must
// still be looked up in the model when they are sent (pens, styles, papers,
// the numbers of sizes, extension calls). Walking the list sends exactly
// the bytes the walker sends for the text, in one piece where it can.
//
// A prepared template lives in the handle and remembers the value text it
// was made from. A text taken in later stands at another place in the arena,
// which never reuses its bytes, so a changed value is noticed by its address
// and prepared anew. A template too long for the room here is walked the
// ordinary way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/handle.h"
#include "template/number.h"
#include "template/walker.h"

namespace konib {

// One local escape of a command as the preparation sees it.
struct PreparedName {
  const char* name;  // matched without regard to case, as far as it goes
  enum Kind : std::uint8_t {
    kStepNumber,  // a number variable divided by `step`
    kUnitNumber,  // a number variable divided by 1.0 (degrees)
    kAction,      // an escape with an action of its own, such as \mv
  } kind;
};

// A run of plain bytes, and the escape that follows it.
struct PreparedStep {
  enum Kind : std::uint8_t {
    kEnd,        // the run ends the template
    kNumber,     // a number variable of the command
    kGlobal,     // a global escape that reads the model or the handle
    kExtension,  // an extension call
    kAction,     // a local escape with an action of its own
  } kind;
  bool unit;            // kNumber: divided by 1.0, not by `step`
  std::uint8_t local;   // kNumber: the index of its value
  std::uint8_t count;   // bytes of the run
  std::uint16_t bytes;  // where the run stands in the pool
  std::uint32_t at;     // the escape's offset behind its backslash in the text
  NumberForm form;      // kNumber
};

constexpr int kPreparedSteps = 16;
constexpr int kPreparedPool = 192;

struct PreparedTemplate {
  const char* source;  // the value text it was made from; null: not made yet
  bool usable;         // false: the template did not fit, walk it the ordinary way
  // Only runs and numbers without width, whose decimals are 0 where the
  // template gives them: whole numbers whenever the handle's `decimals` is
  // 0 too, written in one sweep.
  bool simple;
  bool handleDecimals;      // some number takes the handle's `decimals`
  std::uint8_t count;       // steps
  std::uint8_t escapes;     // steps that end in an escape: all but a closing run
  std::uint32_t sweepRoom;  // what the sweep may write, slack included
  PreparedStep steps[kPreparedSteps];
  char pool[kPreparedPool + 8];  // runs are copied eight bytes at a time
};

// What one walk of a prepared template needs besides the handle: the
// values of the command's number variables in the order of its names, the
// action behind kAction names, and how an extension function is called.
struct PreparedCall {
  const double* values;
  std::size_t (*action)(NibHandle* h, const char* text, const void* data);
  const void* actionData;
  ExtensionInvoker invoke;
  const void* invokeData;
};

// The most local escapes a command has.
constexpr std::size_t kMaxPreparedNames = 32;

// Reads `text` (not null) with the command's local escapes `names` into `t`.
void PrepareTemplate(PreparedTemplate* t, const char* text, const PreparedName* names,
                     std::size_t nameCount);

// Whether `t`, prepared from `text`, is all runs and whole numbers on this
// handle: a template that SweepSteps writes by itself.
inline bool Sweepable(const NibHandle* h, const PreparedTemplate& t, const char* text) {
  return text != nullptr && t.source == text && t.usable && t.simple &&
         (!t.handleDecimals || h->decimals <= 0);
}

// Copies the run of `step` to `to`; returns the place behind it. Eight
// bytes at a time, the first eight always: the pool and the room both have
// the slack.
inline char* SweepRun(const PreparedTemplate& t, const PreparedStep& step, char* to) {
  const char* run = t.pool + step.bytes;
  std::memcpy(to, run, 8);
  for (std::uint32_t k = 8; k < step.count; k += 8) std::memcpy(to + k, run + k, 8);
  return to + step.count;
}

// Writes a sweepable template's runs and numbers (`values` over `step`) at
// `*out`, which has t.sweepRoom bytes, and moves `*out` past them. Stops at
// a number of 2^51 or more, which the walker writes; returns the step it
// stopped at, or the end of the steps. All steps but a closing run end in a
// number, so the loop goes over the numbers.
inline const PreparedStep* SweepSteps(const PreparedTemplate& t, const double* values, double step,
                                      char** out) {
  char* to = *out;
  const PreparedStep* at = t.steps;
  for (const PreparedStep* const last = at + t.escapes; at != last; ++at) {
    to = SweepRun(t, *at, to);
    const double value = ApplyNumberForm(at->form, values[at->local], at->unit ? 1.0 : step);
    if (!IsShortWhole(value)) {
      *out = to;
      return at;
    }
    to += WriteWhole(RoundShortWhole(value), to);
  }
  if (t.escapes != t.count) to = SweepRun(t, *at++, to);  // the closing run
  *out = to;
  return at;
}

// SweepSteps to the end: false when it stopped at a number.
inline bool SweepAll(const PreparedTemplate& t, const double* values, double step, char** out) {
  return SweepSteps(t, values, step, out) == t.steps + t.count;
}

// Sends a prepared template. Returns 1 if `failure` is 0 at the end, else 0.
int WalkPrepared(NibHandle* h, const PreparedTemplate& t, const PreparedCall& call);

// Walks `text` with the local escapes `names` the ordinary way, byte by
// byte: for a template too long to prepare.
int WalkUnprepared(NibHandle* h, const char* text, const PreparedName* names, std::size_t nameCount,
                   const PreparedCall& call);

// Walks the template `text` (null sends nothing) of a command with the local
// escapes `names`: through `t`, prepared first if `text` is new to it, or the
// ordinary way when it does not fit. Returns 1 if `failure` is 0 at the end.
inline int WalkCommand(NibHandle* h, PreparedTemplate* t, const char* text,
                       const PreparedName* names, std::size_t nameCount, const PreparedCall& call) {
  if (text == nullptr) return Result(h);
  if (t->source != text) PrepareTemplate(t, text, names, nameCount);
  if (t->usable) return WalkPrepared(h, *t, call);
  return WalkUnprepared(h, text, names, nameCount, call);
}

}  // namespace konib
