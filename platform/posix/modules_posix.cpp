#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/modules.h"

namespace konib::platform {

const char kPathSeparator = '/';
#if defined(__APPLE__)
const char kModuleSuffix[] = ".dylib";
#else
const char kModuleSuffix[] = ".so";
#endif

namespace {

// The full path of the mapped file that holds `address`, from the kernel's
// list of this process's mappings; false where there is no such list.
bool MappedPath(const void* address, char* buffer, std::size_t size) {
  std::FILE* maps = std::fopen("/proc/self/maps", "r");
  if (maps == nullptr) return false;
  const auto at = reinterpret_cast<std::uintptr_t>(address);
  bool found = false;
  char line[4096 + 256];
  while (!found && std::fgets(line, sizeof line, maps) != nullptr) {
    // start-end perms offset dev inode path
    char* rest = nullptr;
    const std::uintptr_t start = std::strtoull(line, &rest, 16);
    if (rest == nullptr || *rest != '-') continue;
    const std::uintptr_t end = std::strtoull(rest + 1, &rest, 16);
    if (at < start || at >= end) continue;
    char* path = std::strchr(rest, '/');
    if (path == nullptr) break;
    std::size_t length = std::strcspn(path, "\n");
    if (length < size) {
      std::memcpy(buffer, path, length);
      buffer[length] = '\0';
      found = true;
    }
    break;
  }
  std::fclose(maps);
  return found;
}

}  // namespace

bool GetLibraryPath(char* buffer, std::size_t size) {
  if (buffer == nullptr || size == 0) return false;
  const void* self = reinterpret_cast<const void*>(&GetLibraryPath);
  Dl_info info{};
  // Any function of the library tells the loader which object holds it. The
  // loader keeps the name the object was loaded by, which may be relative
  // to a folder long left; then the kernel's mappings know the full path.
  if (dladdr(self, &info) != 0 && info.dli_fname != nullptr && info.dli_fname[0] == '/') {
    std::size_t length = std::strlen(info.dli_fname);
    if (length >= size) return false;
    std::memcpy(buffer, info.dli_fname, length + 1);
    return true;
  }
  return MappedPath(self, buffer, size);
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
