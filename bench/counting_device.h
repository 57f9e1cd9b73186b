// A device for the benchmarks: takes every block and counts its bytes.
#pragma once

#include <cstdint>

struct Counter {
  std::uint64_t bytes = 0;
};

inline int Count(void* cookie, const char*, uint32_t length) {
  static_cast<Counter*>(cookie)->bytes += length;
  return 1;
}
