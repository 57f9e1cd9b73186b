// Blocks on Windows: movable, zero-initialised global memory, locked for
// the time the library holds a pointer into it. A block handed to an
// application is returned through the same calls in any free operation.
#include <windows.h>

#include "platform/memory.h"

namespace konib::platform {
namespace {
constexpr UINT kFlags = GMEM_MOVEABLE | GMEM_ZEROINIT;  // 0x42
}

void* AllocBlock(std::size_t size) {
  if (detail::CountAndCheckFailure()) return nullptr;
  HGLOBAL memory = GlobalAlloc(kFlags, size == 0 ? 1 : size);
  if (memory == nullptr) return nullptr;
  return GlobalLock(memory);
}

void* ResizeBlock(void* block, std::size_t size) {
  if (block == nullptr) return AllocBlock(size);
  if (detail::CountAndCheckFailure()) return nullptr;
  HGLOBAL memory = GlobalHandle(block);
  GlobalUnlock(memory);
  HGLOBAL grown = GlobalReAlloc(memory, size == 0 ? 1 : size, kFlags);
  if (grown == nullptr) {
    GlobalLock(memory);  // the old block stays, at its old address
    return nullptr;
  }
  return GlobalLock(grown);
}

void FreeBlock(void* block) {
  if (block == nullptr) return;
  HGLOBAL memory = GlobalHandle(block);
  GlobalUnlock(memory);
  GlobalFree(memory);
}

}  // namespace konib::platform
