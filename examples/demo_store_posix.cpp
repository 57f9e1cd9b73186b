// The demo's model store where the system has no registry: a directory
// under out/.
#include "demo_store.h"

HKEY OpenDemoStore() { return NibOpenRegistryDirectory("out/store"); }
void CloseDemoStore(HKEY root) { NibCloseRegistryDirectory(root); }
