// Escapes that reach the model's other values: the pen table, the line
// styles, the chosen paper, bin and orientation, and the chosen items of
// the model's extensions. Each picks one field of a value text and walks it
// in place as a small template.
#pragma once

#include <cstddef>

#include "core/handle.h"

namespace konib {

// A piece of a value text.
struct Field {
  const char* begin;
  const char* end;
};

// \pn and \p0: the PenTbl field of the device's pen (or of pen 0), or the
// pen number itself when the table has no such field.
std::size_t PenEscape(NibHandle* h, const char* text);

// \ls: field 0 of the device style's Style value, walked with the
// variables ln and l0 to l9 of its dash pattern.
std::size_t LineStyleEscape(NibHandle* h, const char* text);

// \pp, \pb, \po, \e0 to \e9: the field of the chosen paper, bin,
// orientation or extension item. Returns the bytes consumed (2) and the
// field, which is absent (begin null) when there is nothing to send, and the
// two letters as written, for the walk's guard; 0 if no such escape.
std::size_t FindChoiceField(const NibHandle* h, const char* text, Field* field);

// The global escape of the choices: FindChoiceField, then ExpandField.
std::size_t ChoiceEscape(NibHandle* h, const char* text);

// Walks [begin, end) with the global escapes and extension calls, but does
// not follow the escape `name` (two letters) inside its own field. Model
// escapes may name one another; the nesting is bounded, and a field deeper
// than that sends nothing, so a model with a cycle cannot hang the library.
void ExpandField(NibHandle* h, const char* begin, const char* end, const char* name);

// Deepest nesting of model escapes within one another.
constexpr int kMaxFieldDepth = 16;

}  // namespace konib
