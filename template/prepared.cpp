#include "template/prepared.h"

#include <cstring>
#include <initializer_list>

#include "core/output.h"
#include "platform/text.h"
#include "template/extension.h"

namespace konib {
namespace {

bool Matches(const char* text, char first, char second) {
  return text[0] != '\0' && platform::ToUpper(text[0]) == platform::ToUpper(first) &&
         platform::ToUpper(text[1]) == platform::ToUpper(second);
}

std::size_t NumberLength(const char* text, const char* name) {
  NumberForm form;
  return ParseNumber(text, name, 2, &form);
}

// The bytes the global escapes take at `text`, tried in the walker's order,
// with what becomes of them: plain bytes (into `bytes`, `*byteCount` of them)
// or an escape looked up when it is sent. 0 when none of them is here.
std::size_t GlobalLength(const char* text, char* bytes, int* byteCount) {
  *byteCount = 0;
  if (text[0] == '$' && ParseHexByte(text + 1, bytes) != 0) {
    *byteCount = 1;
    return 3;
  }
  if (text[0] == 'n' || text[0] == 'N') {
    bytes[0] = '\r';
    bytes[1] = '\n';
    *byteCount = 2;
    return 1;
  }
  if (Matches(text, 'p', 'n') || Matches(text, 'p', '0') || Matches(text, 'l', 's')) return 2;
  for (const char* name : {"sx", "sy", "px", "py"}) {
    if (std::size_t used = NumberLength(text, name)) return used;
  }
  if (Matches(text, 'p', 'p') || Matches(text, 'p', 'b') || Matches(text, 'p', 'o')) return 2;
  if ((text[0] == 'e' || text[0] == 'E') && text[1] >= '0' && text[1] <= '9') return 2;
  return 0;
}

// What a whole number without width may take of the buffer.
constexpr std::uint32_t kWholeSize = kWholeNumberRoom;

class Preparer {
 public:
  explicit Preparer(PreparedTemplate* t) : t_(t) {
    t_->usable = true;
    t_->simple = true;
    t_->handleDecimals = false;
    t_->count = 0;
    t_->escapes = 0;
    t_->sweepRoom = 8;
  }

  // Plain bytes join the run of the step being made.
  void Bytes(const char* bytes, std::size_t count) {
    if (used_ + count > kPreparedPool || run_ + count > 255) {
      t_->usable = false;
      return;
    }
    std::memcpy(t_->pool + used_, bytes, count);
    used_ += count;
    run_ += count;
  }

  // Ends the step being made with an escape of `kind`.
  PreparedStep* End(PreparedStep::Kind kind, std::size_t at) {
    if (!t_->usable || t_->count == kPreparedSteps) {
      t_->usable = false;
      return nullptr;
    }
    PreparedStep* step = &t_->steps[t_->count++];
    *step = PreparedStep();
    step->kind = kind;
    step->count = static_cast<std::uint8_t>(run_);
    step->bytes = static_cast<std::uint16_t>(used_ - run_);
    step->at = static_cast<std::uint32_t>(at);
    t_->sweepRoom += static_cast<std::uint32_t>(run_);
    run_ = 0;
    if (kind != PreparedStep::kEnd) t_->escapes = t_->count;  // a closing run comes last
    if (kind != PreparedStep::kEnd && kind != PreparedStep::kNumber) t_->simple = false;
    return step;
  }

  void Number(std::size_t at, std::size_t local, bool unit, const NumberForm& form) {
    PreparedStep* step = End(PreparedStep::kNumber, at);
    if (step == nullptr) return;
    step->local = static_cast<std::uint8_t>(local);
    step->unit = unit;
    step->form = form;
    t_->sweepRoom += kWholeSize;
    if (form.width > 0 || form.decimals > 0) t_->simple = false;
    if (form.decimals < 0) t_->handleDecimals = true;
  }

  void Finish() {
    if (run_ > 0) End(PreparedStep::kEnd, 0);
  }

 private:
  PreparedTemplate* t_;
  std::size_t used_ = 0;  // bytes of the pool taken
  std::size_t run_ = 0;   // bytes of the run being gathered
};

// The local escape at `text`: bytes taken, 0 if none; the step it makes.
std::size_t LocalLength(const char* text, const PreparedName* names, std::size_t nameCount,
                        std::size_t* index, NumberForm* form) {
  for (std::size_t i = 0; i < nameCount; ++i) {
    const std::size_t length = std::strlen(names[i].name);
    std::size_t used;
    if (names[i].kind == PreparedName::kAction) {
      used = platform::CompareNoCaseN(text, names[i].name, length) == 0 ? length : 0;
    } else {
      used = ParseNumber(text, names[i].name, length, form);
    }
    if (used > 0) {
      *index = i;
      return used;
    }
  }
  return 0;
}

}  // namespace

void PrepareTemplate(PreparedTemplate* t, const char* text, const PreparedName* names,
                     std::size_t nameCount) {
  t->source = text;
  Preparer prepare(t);
  const char* p = text;
  while (*p != '\0' && t->usable) {
    if (*p != '\\') {
      const char* run = p;
      while (*p != '\0' && *p != '\\') ++p;
      prepare.Bytes(run, static_cast<std::size_t>(p - run));
      continue;
    }
    ++p;
    if (*p == '\0') break;  // a lone backslash at the end: dropped
    const std::size_t at = static_cast<std::size_t>(p - text);
    char bytes[2];
    int byteCount;
    std::size_t index = 0;
    NumberForm form;
    std::size_t used = GlobalLength(p, bytes, &byteCount);
    if (used > 0) {
      if (byteCount > 0) {
        prepare.Bytes(bytes, static_cast<std::size_t>(byteCount));
      } else {
        prepare.End(PreparedStep::kGlobal, at);
      }
    } else if ((used = LocalLength(p, names, nameCount, &index, &form)) > 0) {
      if (names[index].kind == PreparedName::kAction) {
        prepare.End(PreparedStep::kAction, at);
      } else {
        prepare.Number(at, index, names[index].kind == PreparedName::kUnitNumber, form);
      }
    } else if ((used = ExtensionCallLength(p)) > 0) {
      prepare.End(PreparedStep::kExtension, at);
    } else {
      prepare.Bytes(p, 1);  // unrecognised: the byte behind the backslash
      used = 1;
    }
    p += used;
  }
  prepare.Finish();
}

namespace {

// Whether bytes may go straight into the output buffer: buffered mode, on a
// handle that has not failed. Only EmitBytes and the escapes that send by
// themselves can change that during a walk.
bool Buffered(const NibHandle* h) {
  return h->putProc == nullptr && h->writeProc != nullptr && h->failure == kGood;
}

// Room in the buffer for `bytes` more without filling it: a full buffer is
// handed to the device by EmitBytes alone.
bool Room(const NibHandle* h, std::uint32_t bytes) { return kOutBufferSize - h->outUsed > bytes; }

// Eight bytes at a time: the pool and the room both have the slack.
void CopyRun(char* to, const char* from, std::uint32_t count) {
  for (std::uint32_t k = 0; k < count; k += 8) std::memcpy(to + k, from + k, 8);
}

double StepValue(const NibHandle* h, const PreparedStep& step, const PreparedCall& call) {
  return ApplyNumberForm(step.form, call.values[step.local], step.unit ? 1.0 : h->step);
}

// The template from step `i` on, one step at a time: runs and whole numbers
// straight into the buffer while there is room, everything else the way the
// walker sends it.
void WalkSteps(NibHandle* h, const PreparedTemplate& t, std::uint8_t i, const PreparedCall& call) {
  bool direct = Buffered(h);
  for (; i < t.count; ++i) {
    const PreparedStep& step = t.steps[i];
    const char* run = t.pool + step.bytes;
    if (direct && Room(h, step.count + 8u)) {
      CopyRun(h->outBuffer + h->outUsed, run, step.count);
      h->outUsed += step.count;
    } else if (step.count > 0) {
      EmitBytes(h, run, step.count);
      direct = Buffered(h);
    }
    switch (step.kind) {
      case PreparedStep::kEnd:
        break;
      case PreparedStep::kNumber: {
        const NumberForm& form = step.form;
        const double value = StepValue(h, step, call);
        const int decimals = form.decimals < 0 ? h->decimals : form.decimals;
        if (direct && form.width <= 0 && IsWholeNumber(decimals, value) && Room(h, kWholeSize)) {
          h->outUsed += static_cast<std::uint32_t>(FormatWhole(value, h->outBuffer + h->outUsed));
        } else {
          PrintNumber(h, form.width, form.pad, decimals, value);
          direct = Buffered(h);
        }
        break;
      }
      case PreparedStep::kGlobal:
        ExpandGlobalEscape(h, t.source + step.at);
        direct = Buffered(h);
        break;
      case PreparedStep::kExtension:
        CallExtension(h, t.source + step.at, call.invoke, call.invokeData);
        direct = Buffered(h);
        break;
      case PreparedStep::kAction:
        call.action(h, t.source + step.at, call.actionData);
        direct = Buffered(h);
        break;
    }
  }
}

}  // namespace

int WalkPrepared(NibHandle* h, const PreparedTemplate& t, const PreparedCall& call) {
  std::uint8_t i = 0;
  // The common case in one sweep: runs and whole numbers, room for all.
  if (t.simple && (!t.handleDecimals || h->decimals <= 0) && Buffered(h) && Room(h, t.sweepRoom)) {
    char* out = h->outBuffer + h->outUsed;
    char* const start = out;
    // A number too large to round here goes the way of the walker.
    const PreparedStep* at = SweepSteps(t, call.values, h->step, &out);
    const PreparedStep* const end = t.steps + t.count;
    h->outUsed += static_cast<std::uint32_t>(out - start);
    if (at == end) return Result(h);
    PrintNumber(h, at->form.width, at->form.pad, 0, StepValue(h, *at, call));
    i = static_cast<std::uint8_t>(at - t.steps + 1);
  }
  WalkSteps(h, t, i, call);
  return Result(h);
}

int WalkUnprepared(NibHandle* h, const char* text, const PreparedName* names, std::size_t nameCount,
                   const PreparedCall& call) {
  LocalEscape locals[kMaxPreparedNames];
  for (std::size_t i = 0; i < nameCount; ++i) {
    if (names[i].kind == PreparedName::kAction) {
      locals[i] = {names[i].name, 0.0, 0.0, call.action, call.actionData};
    } else {
      const double divisor = names[i].kind == PreparedName::kStepNumber ? h->step : 1.0;
      locals[i] = {names[i].name, call.values[i], divisor, nullptr, nullptr};
    }
  }
  WalkRules rules;
  rules.locals = locals;
  rules.localCount = nameCount;
  rules.invoke = call.invoke;
  rules.invokeData = call.invokeData;
  return WalkTemplate(h, text, nullptr, rules);
}

}  // namespace konib
