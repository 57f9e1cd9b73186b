// Each test works in a key of its own below HKEY_CURRENT_USER and removes
// it, with all it holds, at its end.
#include <windows.h>

#include <filesystem>

#include "support/store_root.h"

namespace konib::test {
namespace {

int g_serial = 0;

void DeleteTree(HKEY parent, const char* name) {
  HKEY key;
  if (RegOpenKeyA(parent, name, &key) == ERROR_SUCCESS) {
    char child[260];
    while (RegEnumKeyA(key, 0, child, sizeof child) == ERROR_SUCCESS) {
      DeleteTree(key, child);
      HKEY left;
      if (RegOpenKeyA(key, child, &left) != ERROR_SUCCESS) continue;
      RegCloseKey(left);  // it would not go: stop rather than loop
      break;
    }
    RegCloseKey(key);
  }
  RegDeleteKeyA(parent, name);
}

}  // namespace

StoreRoot::StoreRoot() {
  const std::string id = std::to_string(GetCurrentProcessId()) + "-" + std::to_string(g_serial++);
  key_ = "Software\\KoNib tests\\" + id;
  DeleteTree(HKEY_CURRENT_USER, key_.c_str());
  RegCreateKeyA(HKEY_CURRENT_USER, key_.c_str(), &root_);
  const auto folder = std::filesystem::temp_directory_path() / ("konib-store-" + id);
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  folder_ = folder.string() + "\\";
}

StoreRoot::~StoreRoot() {
  RegCloseKey(root_);
  DeleteTree(HKEY_CURRENT_USER, key_.c_str());
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

HKEY StoreRoot::OpenAgain() const {
  HKEY root = nullptr;
  return RegOpenKeyA(HKEY_CURRENT_USER, key_.c_str(), &root) == ERROR_SUCCESS ? root : nullptr;
}

void StoreRoot::CloseAgain(HKEY root) {
  if (root != nullptr) RegCloseKey(root);
}

}  // namespace konib::test
