// The model store below a registry root: what the catalogue and the model
// queries share.
//
// Layout below a root and a path that the caller gives:
//
//   key                      values
//   path\Machine\model       the machine values of one model; the value
//                            `Command`, if present, names its command set
//   path\Command\name        the values of one command set
//
// Every value that the library writes is a text of type 1 (REG_SZ) stored
// with its terminator. Each key path is formed in a buffer of 260 bytes; a
// path that would not fit below 260 bytes names no key at all, so that an
// operation given it finds nothing and changes nothing.
#pragma once

#include <cstddef>

#include "KoNib.h"

namespace konib {

constexpr std::size_t kKeyPathSize = 260;

// Forms "path\middle\name" (or "path\middle" when `name` is null) into
// `buffer`. `name` has `nameLength` bytes, or ends at a NUL before them.
// False if an argument is null or the path does not fit.
bool FormKeyPath(char (&buffer)[kKeyPathSize], const char* path, const char* middle,
                 const char* name, std::size_t nameLength);

// All values of an open key as one list block, or null (no values, a
// change between the two passes, or no memory, which sets `*outOfMemory`
// when that is given). Closes the key in every case.
_NibREG_DATA* ReadKeyValues(HKEY key, bool* outOfMemory = nullptr);

// The names of the models below `path`, as NibGetRegModelNames gives them;
// `*outOfMemory` tells whether memory ran out before the end.
char* ReadModelNames(HKEY root, const char* path, bool* outOfMemory);

// Replaces the key `keyPath` below `root` by the section `section` of the
// initialisation file `file`: the old key goes, a new one takes every
// value of the section. One transaction where the store has them. Also the
// way in for a command set alone.
void ImportProfileSection(HKEY root, const char* keyPath, const char* section, const char* file);

}  // namespace konib
