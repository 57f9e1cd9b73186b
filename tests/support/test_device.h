// A recording device for tests: it keeps every byte the library sends, and
// can be told to refuse a byte or a block, as a real port refuses when the
// plotter is switched off.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KoNib.h"

namespace konib::test {

struct TestDevice {
  std::string bytes;                 // all that arrived, in order
  std::vector<std::uint32_t> blocks; // length of each writeProc call
  long putCalls = 0;
  long refusePutAt = -1;             // put call number (0-based) that returns 0
  long refuseWriteAt = -1;           // write call number (0-based) that returns 0
  std::string input;                 // bytes that read hands out
  std::size_t inputPos = 0;
  std::vector<std::uint32_t> checks; // values given to readCheck

  // A record with this device as cookie and the chosen callbacks bound.
  _NibDeviceProc Procs(bool put, bool write, bool read = false, bool readCheck = false);

  // Binds this device byte-wise or buffered to a handle.
  void BindPut(void* handle);
  void BindWrite(void* handle);

  static int Put(void* cookie, const char* byte);
  static int Write(void* cookie, const char* data, std::uint32_t length);
  static int Read(void* cookie, char* byte);
  static int ReadCheck(void* cookie, std::uint32_t value);
};

// A handle of the given size, freed at the end of the scope.
struct HandlePtr {
  void* handle;
  explicit HandlePtr(double x = 1000.0, double y = 800.0);
  ~HandlePtr();
  HandlePtr(const HandlePtr&) = delete;
  HandlePtr& operator=(const HandlePtr&) = delete;
  void* get() const { return handle; }
};

}  // namespace konib::test
