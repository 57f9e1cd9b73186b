// A model store of a test's own: a fresh registry root that is removed with
// everything below it when the test ends, and a folder for the test's
// initialisation files. On Windows the root is a key below
// HKEY_CURRENT_USER\Software\KoNib tests; elsewhere a directory in the
// system's temporary folder.
#pragma once

#include <string>

#include "KoNib.h"

namespace konib::test {

class StoreRoot {
 public:
  StoreRoot();
  ~StoreRoot();
  StoreRoot(const StoreRoot&) = delete;
  StoreRoot& operator=(const StoreRoot&) = delete;

  HKEY root() const { return root_; }
  // The test's folder, with a separator at its end.
  const std::string& folder() const { return folder_; }
  // Writes `text` as the file `name` in the test's folder; its full path.
  std::string WriteFile(const std::string& name, const std::string& text) const;
  // Another root on the same store, for a second thread or object; closed
  // with CloseAgain.
  HKEY OpenAgain() const;
  static void CloseAgain(HKEY root);

 private:
  HKEY root_ = nullptr;
  std::string folder_;
  std::string key_;  // Windows: the key below HKEY_CURRENT_USER
};

}  // namespace konib::test
