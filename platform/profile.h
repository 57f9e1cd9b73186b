// Initialisation files: sections headed by a line [section], each with lines
// name=value.
//
// On Windows the system's own profile functions read the file (a file name
// without a folder is looked for where the system looks for it). Elsewhere
// the library reads it itself, by these rules:
//   - A line ends at LF, CR LF or CR; the byte 0x1A ends the file. Only the
//     first 16 MiB of a file are read, and only a regular file is read.
//   - A section head is a line whose first byte after blanks is '[', its
//     name everything up to the next ']' (a CP932 character whose second
//     byte is ']' does not end it). Only the first section of a name counts.
//   - A line of a section with an '=' is a value: the name is what stands
//     before the first '=', the value what stands behind it, each without
//     blanks (spaces and tabs) at either end; a value enclosed in a pair of
//     the same quote (" or ') loses that pair. A line whose first byte after
//     blanks is ';', or that has no '=', carries nothing.
//   - Section and value names compare without regard to case; of two lines
//     with the same name only the first counts.
#pragma once

#include <cstdint>

namespace konib::platform {

// An initialisation file, opened for reading.
struct Profile;

// Opens `file` for reading; null when it cannot be read (or memory ran out).
// On Windows the system reads the file at each call, so `file` must stay
// valid until the profile is closed.
Profile* OpenProfile(const char* file);
// Null is allowed.
void CloseProfile(Profile* profile);

// As the system's profile reader: with a null `name` writes the names of
// `section` into `buffer`, each NUL-terminated, ended by one further NUL;
// names that do not fit whole are left out. With a name, writes its value,
// or the empty text if there is none, cut to `size` - 1 bytes and
// terminated. Returns the number of bytes written before the last
// terminator. A null `profile` reads as a file without sections. `size`
// must be at least 2.
std::uint32_t ReadProfileString(Profile* profile, const char* section, const char* name,
                                char* buffer, std::uint32_t size);

}  // namespace konib::platform
