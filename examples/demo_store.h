// The demo's model store, of the system's kind: a directory under out/
// where there is no registry, a key of the current user's registry on
// Windows (demo_store_posix.cpp, demo_store_win32.cpp; CMake picks one).
#pragma once

#include <KoNib.h>

HKEY OpenDemoStore();
void CloseDemoStore(HKEY root);
