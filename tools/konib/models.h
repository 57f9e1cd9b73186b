// `konib models`: the catalogue of models in a store.
#pragma once

#include <KoNib.h>

#include <string>
#include <vector>

namespace konib::tool {

// The key path below the store's root where konib keeps its models.
constexpr const char* kStorePath = "KoNib";

// The store folder: `given`, else $XDG_DATA_HOME/konib, else ~/.local/share/konib.
std::string StoreFolder(const std::string& given);

// A store root, closed with the object.
struct Store {
  HKEY root = nullptr;
  explicit Store(const std::string& folder) : root(NibOpenRegistryDirectory(folder.c_str())) {}
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store() { NibCloseRegistryDirectory(root); }
};

int ModelsList(const std::string& store);
int ModelsShow(const std::string& store, const std::string& name);
int ModelsInstall(const std::string& store, const std::string& file,
                  const std::vector<std::string>& sections);
int ModelsRemove(const std::string& store, const std::string& name);

}  // namespace konib::tool
