#include "platform/modules.h"

// The one function of the sibling library.
extern "C" void* NibsGetInstance(void);

namespace konib::platform {

ModuleHandle SiblingModule() { return NibsGetInstance(); }

}  // namespace konib::platform
