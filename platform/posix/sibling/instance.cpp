// The sibling library: gives the library the module in which functions
// named without a module are looked up. It holds none of its own yet; a
// team that adds some exports them from here.
#include <dlfcn.h>

extern "C" __attribute__((visibility("default"))) void* NibsGetInstance(void) {
  static void* const self = [] {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&NibsGetInstance), &info) == 0) return static_cast<void*>(nullptr);
    // Already loaded: this only takes a handle on it, which is never released.
    return dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
  }();
  return self;
}
