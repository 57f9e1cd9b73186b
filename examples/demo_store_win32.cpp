// The demo's model store on Windows: a key of the current user's registry.
#include "demo_store.h"

HKEY OpenDemoStore() {
  HKEY root = nullptr;
  return RegCreateKeyA(HKEY_CURRENT_USER, "Software\\KoNib demo", &root) == ERROR_SUCCESS ? root
                                                                                          : nullptr;
}
void CloseDemoStore(HKEY root) {
  if (root != nullptr) RegCloseKey(root);
}
