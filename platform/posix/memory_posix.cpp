// Blocks on POSIX systems: malloc'd memory with a small header that remembers
// the size, so that growth can zero exactly the new part, as Windows' movable
// zero-initialised blocks do.
#include <cstdlib>
#include <cstring>

#include "platform/memory.h"

namespace konib::platform {
namespace {

// Keeps the payload aligned for any type the library stores in a block.
struct alignas(std::max_align_t) Header {
  std::size_t size;
};

Header* HeaderOf(void* block) { return static_cast<Header*>(block) - 1; }

}  // namespace

void* AllocBlock(std::size_t size) {
  if (detail::CountAndCheckFailure()) return nullptr;
  if (size == 0) size = 1;
  if (size > static_cast<std::size_t>(-1) - sizeof(Header)) return nullptr;
  auto* header = static_cast<Header*>(std::calloc(1, sizeof(Header) + size));
  if (header == nullptr) return nullptr;
  header->size = size;
  return header + 1;
}

void* ResizeBlock(void* block, std::size_t size) {
  if (block == nullptr) return AllocBlock(size);
  if (detail::CountAndCheckFailure()) return nullptr;
  if (size == 0) size = 1;
  if (size > static_cast<std::size_t>(-1) - sizeof(Header)) return nullptr;
  std::size_t old = HeaderOf(block)->size;
  auto* header = static_cast<Header*>(std::realloc(HeaderOf(block), sizeof(Header) + size));
  if (header == nullptr) return nullptr;
  if (size > old) std::memset(reinterpret_cast<char*>(header + 1) + old, 0, size - old);
  header->size = size;
  return header + 1;
}

void FreeBlock(void* block) {
  if (block != nullptr) std::free(HeaderOf(block));
}

}  // namespace konib::platform
