// Models given as text in memory, in the form of a model file:
//
//   [Section name]\r\n
//   Name=value text\r\n
//
// Lines end in CR LF (a lone CR or LF ends nothing). A name is everything
// before the first '=' of its line, the value everything behind it, blanks
// included on both sides. A line without '=' carries nothing. A section ends
// at the first '[' that has no '=' before it in its line, and the byte 0x1A
// ends the whole text. The scan knows no double-byte characters. Only the
// first section of a name counts.
#pragma once

#include <cstddef>
#include <cstdint>

#include "KoNib.h"

namespace konib {

// The start of the body of section `name` (behind its head's line end), or
// null. `end` is the end of the text.
const char* FindSection(const char* text, const char* end, const char* name);

// The value of index `index` of the section body at `body`, in the manner
// of the registry's enumeration: the name into `name` (capacity in/out:
// the name's length comes back), the type, and as much of the value text as
// `*dataSize` allows into `data` (may be null: then it only counts);
// `*dataSize` comes back as the value's length plus its terminator.
// Returns 0 if the value exists, 1 if not.
int EnumTextValue(const char* body, const char* end, std::uint32_t index, char* name, std::uint32_t* nameSize,
                  std::uint32_t* type, char* data, std::uint32_t* dataSize);

// All values of a section as one list block, or null (no text, no section,
// no value line, or no memory). Reads the section in one pass per stage.
_NibREG_DATA* ReadTextSection(const char* text, const char* name, std::size_t size);

}  // namespace konib
