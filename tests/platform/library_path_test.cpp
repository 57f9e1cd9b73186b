// The library finds extension modules beside itself, however the program
// named it when it loaded it: here a copy in a folder of its own, loaded by
// a relative path from that folder, which is then left.
#include <filesystem>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "KoNib.h"
#include "platform/modules.h"

namespace konib {
namespace {

struct Api {
  decltype(&NibGetHandle) getHandle;
  decltype(&NibFreeHandle) freeHandle;
  decltype(&NibSetPlotter) setPlotter;
  decltype(&NibSetDevice) setDevice;
  decltype(&NibInitiate) initiate;
};

template <typename F>
void Find(platform::ModuleHandle module, const char* name, F* function) {
  *function = reinterpret_cast<F>(platform::FindFunction(module, name));
  ASSERT_NE(*function, nullptr) << name;
}

int Put(void* cookie, const char* byte) {
  static_cast<std::string*>(cookie)->push_back(*byte);
  return 1;
}

#ifdef KONIB_PROBE_FILE  // built with the example extension module
TEST(LibraryPath, ExtensionsBesideALibraryLoadedByARelativeName) {
  namespace fs = std::filesystem;
  const fs::path before = fs::current_path();
  const fs::path folder = fs::temp_directory_path() / ("konib-library-" + std::to_string(std::random_device{}()));
  fs::create_directories(folder);
  const fs::path built(KONIB_LIBRARY_DIR);
  // A name of its own, too: Windows would find a relative name beside the
  // program first.
  const std::string copy = std::string("KoNibCopy") + platform::kModuleSuffix;
  fs::copy_file(built / KONIB_LIBRARY_FILE, folder / copy);
  fs::copy_file(built / KONIB_SIBLING_FILE, folder / KONIB_SIBLING_FILE);
  // Under a name that no module beside this program has.
  fs::copy_file(built / KONIB_PROBE_FILE, folder / (std::string("stray") + platform::kModuleSuffix));

  fs::current_path(folder);
  const std::string relative = std::string(".") + platform::kPathSeparator + copy;
  platform::ModuleHandle library = platform::LoadModule(relative.c_str());
  fs::current_path(before);
  ASSERT_NE(library, nullptr);

  Api api{};
  Find(library, "NibGetHandle", &api.getHandle);
  Find(library, "NibFreeHandle", &api.freeHandle);
  Find(library, "NibSetPlotter", &api.setPlotter);
  Find(library, "NibSetDevice", &api.setDevice);
  Find(library, "NibInitiate", &api.initiate);
  if (!HasFatalFailure()) {
    const _NibWorld2 size{100, 100};
    void* h = api.getHandle(&size);
    std::string bytes;
    const _NibRegInfo init{NibKeyCommandInit, 0, "<\\[stray.Echo,hi]>"};
    EXPECT_EQ(api.setPlotter(h, &init, 1), 1);
    api.setDevice(h, &bytes, Put, nullptr);
    EXPECT_EQ(api.initiate(h), 1);
    EXPECT_EQ(bytes, "<<hi:3>>");
    api.freeHandle(h);
  }
  platform::ReleaseModule(library);
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}
#endif

}  // namespace
}  // namespace konib
