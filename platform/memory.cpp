#include "platform/memory.h"

namespace konib::platform {
namespace {
// Per thread, so that handles on different threads share no state; constant
// initialisers keep the first access free of any set-up call.
thread_local unsigned long t_allocations = 0;
thread_local unsigned long t_failAt = 0;  // absolute count at which to fail, 0 = never
}  // namespace

void FailAllocationAt(unsigned long n) { t_failAt = n == 0 ? 0 : t_allocations + n; }

unsigned long AllocationCount() { return t_allocations; }

namespace detail {
bool CountAndCheckFailure() {
  ++t_allocations;
  if (t_failAt != 0 && t_allocations == t_failAt) {
    t_failAt = 0;
    return true;
  }
  return false;
}
}  // namespace detail

}  // namespace konib::platform
