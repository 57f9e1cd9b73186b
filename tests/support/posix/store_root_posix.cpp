#include <unistd.h>

#include <atomic>
#include <filesystem>

#include "support/store_root.h"

namespace konib::test {
namespace {
std::atomic<int> g_serial{0};
}

StoreRoot::StoreRoot() {
  const auto folder =
      std::filesystem::temp_directory_path() /
      ("konib-store-" + std::to_string(::getpid()) + "-" + std::to_string(g_serial++));
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  folder_ = folder.string() + "/";
  root_ = NibOpenRegistryDirectory((folder_ + "root").c_str());
}

StoreRoot::~StoreRoot() {
  NibCloseRegistryDirectory(root_);
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

HKEY StoreRoot::OpenAgain() const { return NibOpenRegistryDirectory((folder_ + "root").c_str()); }

void StoreRoot::CloseAgain(HKEY root) { NibCloseRegistryDirectory(root); }

}  // namespace konib::test
