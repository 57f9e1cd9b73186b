// The sibling library: gives the library the module in which functions
// named without a module are looked up.
#include <windows.h>

namespace {
HMODULE g_self = nullptr;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) g_self = instance;
  return TRUE;
}

extern "C" __declspec(dllexport) void* NibsGetInstance(void) { return g_self; }
