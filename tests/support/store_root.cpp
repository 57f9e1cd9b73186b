#include "support/store_root.h"

#include <fstream>

namespace konib::test {

std::string StoreRoot::WriteFile(const std::string& name, const std::string& text) const {
  const std::string path = folder_ + name;
  std::ofstream out(path, std::ios::binary);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  return path;
}

}  // namespace konib::test
