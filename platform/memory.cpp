#include "platform/memory.h"

namespace konib::platform {
namespace {
unsigned long g_allocations = 0;
unsigned long g_failAt = 0;  // absolute count at which to fail, 0 = never
}  // namespace

void FailAllocationAt(unsigned long n) { g_failAt = n == 0 ? 0 : g_allocations + n; }

unsigned long AllocationCount() { return g_allocations; }

namespace detail {
bool CountAndCheckFailure() {
  ++g_allocations;
  if (g_failAt != 0 && g_allocations == g_failAt) {
    g_failAt = 0;
    return true;
  }
  return false;
}
}  // namespace detail

}  // namespace konib::platform
