// Loadable modules and the library's own location.
//
// Extension modules lie beside the library and are named by the models; the
// sibling library is found through its one exported function. These are the
// only ways in which the library touches the system's loader.
#pragma once

#include <cstddef>

namespace konib::platform {

using ModuleHandle = void*;

// Separator of the directory components of a path on this system.
extern const char kPathSeparator;
// Ending of the file name of a loadable module, with its point (".dll").
extern const char kModuleSuffix[];

// Writes the full path of this library (the shared library, or the program
// that links the library's objects in) into `buffer`, NUL-terminated.
// Returns false if the path is not available or does not fit.
bool GetLibraryPath(char* buffer, std::size_t size);

// Loads the module at a full path; null if it cannot be loaded.
ModuleHandle LoadModule(const char* path);
// Finds a function of a module by name; null if it has none of that name.
void* FindFunction(ModuleHandle module, const char* name);
// The sibling library, in which functions named without a module are
// found; never released.
ModuleHandle SiblingModule();
// Releases a module loaded by LoadModule. Null is allowed.
void ReleaseModule(ModuleHandle module);

}  // namespace konib::platform
