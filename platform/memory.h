// Memory blocks of the library.
//
// Every block the library owns or hands to a caller comes from here. The
// behaviour the rest of the library relies on, on every system:
//   - a new block is zero-filled;
//   - a block can grow; its contents are kept and the new part is zero-filled;
//   - growing may move the block, so pointers into it must be recomputed;
//   - exhaustion is reported by a null result, and a failed growth leaves the
//     old block untouched and valid.
// On Windows these are movable, zero-initialised global memory blocks, so a
// block handed to an application can be returned through any of the free
// operations of the public header.
#pragma once

#include <cstddef>

namespace konib::platform {

// A zero-filled block of `size` bytes (at least one byte is taken), or null.
void* AllocBlock(std::size_t size);

// Resizes `block` (which may be null) to `size` bytes. New bytes are zero.
// Returns the block's possibly new address, or null with `block` untouched.
void* ResizeBlock(void* block, std::size_t size);

// Returns a block to the system. Null is allowed.
void FreeBlock(void* block);

// Test and benchmark support. Not part of the library's behaviour.
//
// Both the switch and the count belong to the calling thread: a thread that
// sweeps failures through its own handle never makes another thread's
// allocation fail, and two threads allocating at once share nothing.
//
// FailAllocationAt(n): the n-th allocation or growth of this thread from now
// fails (1 is the next one); 0 switches failure off.
void FailAllocationAt(unsigned long n);
// Number of allocations and growths this thread has made since it started.
unsigned long AllocationCount();

namespace detail {
// Called by each system implementation before it takes memory; true means
// that this request must fail.
bool CountAndCheckFailure();
}  // namespace detail

}  // namespace konib::platform
