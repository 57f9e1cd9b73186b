#include <dlfcn.h>
#include <unistd.h>

#include <cstring>

#include "platform/modules.h"

namespace konib::platform {

const char kPathSeparator = '/';
#if defined(__APPLE__)
const char kModuleSuffix[] = ".dylib";
#else
const char kModuleSuffix[] = ".so";
#endif

bool GetLibraryPath(char* buffer, std::size_t size) {
  if (buffer == nullptr || size == 0) return false;
  Dl_info info{};
  // Any function of the library tells the loader which object holds it.
  if (dladdr(reinterpret_cast<void*>(&GetLibraryPath), &info) != 0 && info.dli_fname != nullptr &&
      info.dli_fname[0] == '/') {
    std::size_t length = std::strlen(info.dli_fname);
    if (length >= size) return false;
    std::memcpy(buffer, info.dli_fname, length + 1);
    return true;
  }
  // The objects are linked into a program that was started by a relative
  // name: the kernel knows its full path.
  ssize_t length = readlink("/proc/self/exe", buffer, size - 1);
  if (length <= 0 || static_cast<std::size_t>(length) >= size - 1) return false;
  buffer[length] = '\0';
  return true;
}

ModuleHandle LoadModule(const char* path) { return dlopen(path, RTLD_NOW | RTLD_LOCAL); }

void* FindFunction(ModuleHandle module, const char* name) {
  if (module == nullptr) return nullptr;
  return dlsym(module, name);
}

void ReleaseModule(ModuleHandle module) {
  if (module != nullptr) dlclose(module);
}

}  // namespace konib::platform
