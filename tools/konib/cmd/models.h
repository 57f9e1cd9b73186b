// `konib models`: the catalogue of models in a store.
#pragma once

#include <string>
#include <vector>

#include "model/model.h"

namespace konib::tool {

int ModelsList(const std::string& store);
int ModelsShow(const std::string& store, const std::string& name);
int ModelsInstall(const std::string& store, const std::string& file,
                  const std::vector<std::string>& sections);
int ModelsRemove(const std::string& store, const std::string& name);

}  // namespace konib::tool
