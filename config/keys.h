// The vocabulary of a model: the names of the values that mean something to
// the library, and their key numbers.
#pragma once

#include <cstddef>

#include "KoNib.h"

namespace konib {

struct KeyRow {
  bool prefix;      // a list key: the digits behind the name are the entry number
  NibKeyId id;
  const char* name;
};

extern const KeyRow kKeyTable[];
extern const std::size_t kKeyTableSize;

// The first row of the table that names `valueName` (without regard to
// case; a prefix row matches the start of the name), or null. For a prefix
// row `*entry` is the atoi of the rest of the name, else 0.
const KeyRow* FindKey(const char* valueName, int* entry);

}  // namespace konib
