#include "config/arena.h"

#include "platform/memory.h"

namespace konib {
namespace {

constexpr std::size_t kGranule = 2048;
constexpr std::size_t kAlign = alignof(NibListEntry);

struct alignas(std::max_align_t) ArenaBlock {
  ArenaBlock* older;
  std::size_t size;  // bytes behind the head
  std::size_t used;
  char* bytes() { return reinterpret_cast<char*>(this + 1); }
};

ArenaBlock* Newest(NibHandle* h) { return static_cast<ArenaBlock*>(h->arena); }

std::size_t AlignUp(std::size_t n, std::size_t to) { return (n + to - 1) / to * to; }

}  // namespace

std::size_t ArenaBytesForText(std::size_t length) { return length + 1; }

std::size_t ArenaBytesForEntry(std::size_t length) {
  return (kAlign - 1) + sizeof(NibListEntry) + length + 1;
}

bool ReserveArena(NibHandle* h, std::size_t bytes) {
  ArenaBlock* newest = Newest(h);
  if (newest != nullptr && newest->size - newest->used >= bytes) return true;
  std::size_t size = AlignUp(bytes, kGranule);
  if (size < h->arenaSize) size = AlignUp(h->arenaSize, kGranule);  // doubles the total
  if (size < bytes || size > 0x7FFFFFFFu - h->arenaSize) {
    h->failure = kOutOfMemory;
    return false;
  }
  auto* block = static_cast<ArenaBlock*>(platform::AllocBlock(sizeof(ArenaBlock) + size));
  if (block == nullptr) {
    h->failure = kOutOfMemory;
    return false;
  }
  block->older = newest;
  block->size = size;
  // What is left in the older block stays unused: a text never straddles.
  if (newest != nullptr) h->arenaUsed += static_cast<std::uint32_t>(newest->size - newest->used);
  h->arena = block;
  h->arenaSize += static_cast<std::uint32_t>(size);
  return true;
}

char* TakeArena(NibHandle* h, std::size_t bytes, bool aligned) {
  ArenaBlock* block = Newest(h);
  std::size_t start = block->used;
  if (aligned) {
    // The block's bytes start on a max_align_t boundary, so aligning the
    // offset aligns the address.
    start = AlignUp(start, kAlign);
  }
  h->arenaUsed += static_cast<std::uint32_t>(start + bytes - block->used);
  block->used = start + bytes;
  return block->bytes() + start;
}

void FreeArena(NibHandle* h) {
  ArenaBlock* block = Newest(h);
  while (block != nullptr) {
    ArenaBlock* older = block->older;
    platform::FreeBlock(block);
    block = older;
  }
  h->arena = nullptr;
}

}  // namespace konib
