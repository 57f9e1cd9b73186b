// Taking a model's values into a handle, and the choices among its lists.
#pragma once

#include "config/arena.h"
#include "core/handle.h"

namespace konib {

// Value text of the chosen paper (bin) entry: `paperIndex`, or with -1 the
// default named by field 1 of `Paper` (`Bin`). Null when there is none.
const char* CurrentPaperEntry(const NibHandle* h);
const char* CurrentBinEntry(const NibHandle* h);

// With a paper chosen, takes `paperXY` from fields 1 and 2 of its entry;
// an empty or missing field leaves its coordinate.
void ApplyPaperSize(NibHandle* h);

// The first entry of a list with the given number, or null.
const NibListEntry* FindEntry(const NibListEntry* list, int index);

}  // namespace konib
