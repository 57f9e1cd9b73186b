// The arena of a handle: every value text and list entry taken in lives here
// until NibFreeHandle. Nothing is freed or reused before that; a replaced
// value simply stays behind as dead bytes.
//
// The arena is a chain of blocks that never move once taken, so the value
// text slots and list links point straight at their texts and never need
// correcting. Each new block is at least as large as all before it together,
// so a model of a thousand values costs a handful of allocations.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/handle.h"

namespace konib {

// One entry of the lists of papers, bins and extensions; the value text
// with its terminator follows directly behind it.
struct NibListEntry {
  NibListEntry* next;
  std::int32_t index;     // entry number: the digits behind `Paper.` and the like
  std::int32_t selected;  // extension item chosen by the settings; -1: field 0 decides
  const char* text() const { return reinterpret_cast<const char*>(this + 1); }
  char* text() { return reinterpret_cast<char*>(this + 1); }
};

// Makes room for `bytes` contiguous bytes. On exhaustion sets `failure` to
// out of memory, leaves the arena as it was and returns false.
bool ReserveArena(NibHandle* h, std::size_t bytes);

// Takes `bytes` from the room reserved last, aligned for a list entry when
// `aligned` is set. The caller has reserved enough.
char* TakeArena(NibHandle* h, std::size_t bytes, bool aligned);

// Bytes to reserve for one text, and for one list entry with its text.
std::size_t ArenaBytesForText(std::size_t length);
std::size_t ArenaBytesForEntry(std::size_t length);

void FreeArena(NibHandle* h);

}  // namespace konib
