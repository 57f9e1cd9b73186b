#include "template/model_escapes.h"

#include "config/arena.h"
#include "config/intake.h"
#include "config/value_text.h"
#include "core/output.h"
#include "platform/number.h"
#include "platform/text.h"
#include "template/walker.h"

namespace konib {
namespace {

bool Matches(const char* text, char first, char second) {
  return platform::ToUpper(text[0]) == platform::ToUpper(first) && text[0] != '\0' &&
         platform::ToUpper(text[1]) == platform::ToUpper(second);
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

Field NoField() { return {nullptr, nullptr}; }

Field FieldOf(const char* text, int number) {
  const char* begin;
  std::size_t length;
  if (!FindField(text, number, &begin, &length)) return NoField();
  return {begin, begin + length};
}

Field PaperField(const NibHandle* h) {
  if (h->paperIndex == -1) return FieldOf(h->text[kPaperSizeText], 0);
  return FieldOf(CurrentPaperEntry(h), 3);
}

Field BinField(const NibHandle* h) { return FieldOf(CurrentBinEntry(h), 1); }

// Field 0 names the default orientation; field k is the template of
// orientation k - 1.
Field OrientationField(const NibHandle* h) {
  int wanted = h->orientation;
  FieldWalk walk(h->text[kOrientationText]);
  while (walk.Next()) {
    if (walk.number() == 0) {
      if (wanted == -1) wanted = platform::ReadInt(walk.begin(), walk.end());
    } else if (walk.number() - 1 == wanted) {
      return {walk.begin(), walk.end()};
    }
  }
  return NoField();
}

// An Extension.N value: the default item, a title, then a name and a
// template for each item. Empty fields are passed over, so an empty field 0
// and no selection choose nothing.
Field ExtensionField(const NibHandle* h, int number) {
  const NibListEntry* entry = FindEntry(h->extensionList, number);
  if (entry == nullptr) return NoField();
  int wanted = entry->selected;
  FieldWalk walk(entry->text());
  while (walk.Next()) {
    if (walk.empty()) continue;
    int k = walk.number();
    if (k == 0 && wanted == -1) wanted = platform::ReadInt(walk.begin(), walk.end());
    if (k >= 3 && k % 2 == 1 && (k - 3) / 2 == wanted) return {walk.begin(), walk.end()};
  }
  return NoField();
}

}  // namespace

std::size_t FindChoiceField(const NibHandle* h, const char* text, Field* field) {
  if (Matches(text, 'p', 'p')) {
    *field = PaperField(h);
  } else if (Matches(text, 'p', 'b')) {
    *field = BinField(h);
  } else if (Matches(text, 'p', 'o')) {
    *field = OrientationField(h);
  } else if ((text[0] == 'e' || text[0] == 'E') && IsDigit(text[1])) {
    *field = ExtensionField(h, text[1] - '0');
  } else {
    return 0;
  }
  return 2;
}

std::size_t ChoiceEscape(NibHandle* h, const char* text) {
  Field field;
  std::size_t used = FindChoiceField(h, text, &field);
  if (used == 0) return 0;
  const char name[3] = {text[0], text[1], '\0'};
  if (field.begin != nullptr) ExpandField(h, field.begin, field.end, name);
  return used;
}

std::size_t PenEscape(NibHandle* h, const char* text) {
  int wanted;
  if (Matches(text, 'p', 'n')) {
    wanted = h->devicePen;
  } else if (Matches(text, 'p', '0')) {
    wanted = 0;
  } else {
    return 0;
  }
  Field field = FieldOf(h->text[kPenTblText], wanted);
  if (field.begin == nullptr) {
    char digits[12];
    EmitBytes(h, digits, static_cast<std::int32_t>(platform::WriteInt(wanted, digits)));
  } else {
    ExpandField(h, field.begin, field.end, "pn");
  }
  return 2;
}

std::size_t LineStyleEscape(NibHandle* h, const char* text) {
  if (!Matches(text, 'l', 's')) return 0;
  if (h->deviceStyle < 0 || h->deviceStyle >= kStyleCount) return 2;
  const char* value = h->text[kStyleText + h->deviceStyle];
  if (value == nullptr) return 2;
  // Fields 1 to 9 are the relative lengths of the pattern's segments; they
  // become fractions of the pitch.
  double d[kStyleCount] = {};
  Field pattern = NoField();
  FieldWalk walk(value);
  while (walk.Next()) {
    if (walk.number() == 0) pattern = {walk.begin(), walk.end()};
    if (walk.number() > 0 && walk.number() < kStyleCount && !walk.empty()) {
      d[walk.number()] = platform::ReadDouble(walk.begin(), walk.end());
    }
  }
  double sum = 0.0;
  for (double part : d) sum += part;
  if (sum >= kEpsilon) {
    for (double& part : d) part /= sum;
  }
  double pitch = h->stylePitch[h->deviceStyle];
  static const char* const kNames[kStyleCount] = {"l0", "l1", "l2", "l3", "l4",
                                                  "l5", "l6", "l7", "l8", "l9"};
  LocalEscape locals[1 + kStyleCount];
  locals[0] = {"ln", pitch, h->step, nullptr, nullptr};
  for (int k = 0; k < kStyleCount; ++k)
    locals[1 + k] = {kNames[k], pitch * d[k], h->step, nullptr, nullptr};
  WalkRules rules;
  rules.locals = locals;
  rules.localCount = 1 + kStyleCount;
  rules.localsAfterExtension = true;
  rules.guard = "ls";
  if (h->fieldDepth >= kMaxFieldDepth) return 2;
  ++h->fieldDepth;
  WalkTemplate(h, pattern.begin, pattern.end, rules);
  --h->fieldDepth;
  return 2;
}

void ExpandField(NibHandle* h, const char* begin, const char* end, const char* name) {
  if (h->fieldDepth >= kMaxFieldDepth) return;
  ++h->fieldDepth;
  WalkRules rules;
  rules.guard = name;
  WalkTemplate(h, begin, end, rules);
  --h->fieldDepth;
}

}  // namespace konib
