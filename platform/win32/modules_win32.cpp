#include <windows.h>

#include "platform/modules.h"

namespace {
// Kept by the library's load entry. In a program that links the library's
// objects itself, it stays null and names the program.
HMODULE g_library = nullptr;
}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) g_library = instance;
  return TRUE;
}

namespace konib::platform {

const char kPathSeparator = '\\';
const char kModuleSuffix[] = ".dll";

bool GetLibraryPath(char* buffer, std::size_t size) {
  if (buffer == nullptr || size == 0) return false;
  DWORD length = GetModuleFileNameA(g_library, buffer, static_cast<DWORD>(size));
  return length > 0 && length < size;
}

ModuleHandle LoadModule(const char* path) { return LoadLibraryA(path); }

void* FindFunction(ModuleHandle module, const char* name) {
  if (module == nullptr) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

void ReleaseModule(ModuleHandle module) {
  if (module != nullptr) FreeLibrary(static_cast<HMODULE>(module));
}

}  // namespace konib::platform
