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

class Preparer {
 public:
  explicit Preparer(PreparedTemplate* t) : t_(t) {}

  void Bytes(const char* bytes, std::size_t count) {
    if (!t_->usable) return;
    if (used_ + count > sizeof t_->pool) {
      t_->usable = false;
      return;
    }
    std::memcpy(t_->pool + used_, bytes, count);
    PreparedStep* last = t_->count > 0 ? &t_->steps[t_->count - 1] : nullptr;
    if (last != nullptr && last->kind == PreparedStep::kBytes && last->at + last->count == used_) {
      last->count = static_cast<std::uint16_t>(last->count + count);
    } else if (PreparedStep* step = Add(PreparedStep::kBytes)) {
      step->at = static_cast<std::uint32_t>(used_);
      step->count = static_cast<std::uint16_t>(count);
    }
    used_ += count;
  }

  PreparedStep* Add(PreparedStep::Kind kind) {
    if (!t_->usable || t_->count == kPreparedSteps) {
      t_->usable = false;
      return nullptr;
    }
    PreparedStep* step = &t_->steps[t_->count++];
    *step = PreparedStep();
    step->kind = kind;
    return step;
  }

  void Escape(PreparedStep::Kind kind, std::size_t at, int local = 0) {
    if (PreparedStep* step = Add(kind)) {
      step->at = static_cast<std::uint32_t>(at);
      step->local = static_cast<std::uint8_t>(local);
    }
  }

 private:
  PreparedTemplate* t_;
  std::size_t used_ = 0;
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
  t->usable = true;
  t->count = 0;
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
        prepare.Escape(PreparedStep::kGlobal, at);
      }
    } else if ((used = LocalLength(p, names, nameCount, &index, &form)) > 0) {
      if (names[index].kind == PreparedName::kAction) {
        prepare.Escape(PreparedStep::kAction, at, static_cast<int>(index));
      } else if (PreparedStep* step = prepare.Add(PreparedStep::kNumber)) {
        step->local = static_cast<std::uint8_t>(index);
        step->form = form;
      }
    } else if ((used = ExtensionCallLength(p)) > 0) {
      prepare.Escape(PreparedStep::kExtension, at);
    } else {
      prepare.Bytes(p, 1);  // unrecognised: the byte behind the backslash
      used = 1;
    }
    p += used;
  }
}

int WalkPrepared(NibHandle* h, const PreparedTemplate& t, const PreparedName* names,
                 const PreparedCall& call) {
  char out[2 * kNumberTextSize];
  std::size_t used = 0;
  const auto flush = [&]() {
    if (used > 0) EmitBytes(h, out, static_cast<std::int32_t>(used));
    used = 0;
  };
  for (std::uint8_t i = 0; i < t.count; ++i) {
    const PreparedStep& step = t.steps[i];
    switch (step.kind) {
      case PreparedStep::kBytes:
        if (used + step.count > sizeof out) flush();
        std::memcpy(out + used, t.pool + step.at, step.count);
        used += step.count;
        break;
      case PreparedStep::kNumber: {
        if (used + kNumberTextSize > sizeof out) flush();
        const NumberForm& form = step.form;
        const double divisor = names[step.local].kind == PreparedName::kStepNumber ? h->step : 1.0;
        used += FormatNumber(out + used, form.width, form.pad,
                             form.decimals < 0 ? h->decimals : form.decimals,
                             ApplyNumberForm(form, call.values[step.local], divisor));
        break;
      }
      // Escapes that send by themselves: what waits goes first.
      case PreparedStep::kGlobal:
        flush();
        ExpandGlobalEscape(h, t.source + step.at);
        break;
      case PreparedStep::kExtension:
        flush();
        CallExtension(h, t.source + step.at, call.invoke, call.invokeData);
        break;
      case PreparedStep::kAction:
        flush();
        call.action(h, t.source + step.at, call.actionData);
        break;
    }
  }
  flush();
  return Result(h);
}

int WalkCommand(NibHandle* h, PreparedTemplate* t, const char* text, const PreparedName* names,
                std::size_t nameCount, const PreparedCall& call) {
  if (text == nullptr) return Result(h);
  if (t->source != text) PrepareTemplate(t, text, names, nameCount);
  if (t->usable) return WalkPrepared(h, *t, names, call);
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
