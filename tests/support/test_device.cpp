#include "support/test_device.h"

#include <gtest/gtest.h>

namespace konib::test {

_NibDeviceProc TestDevice::Procs(bool put, bool write, bool read, bool readCheck) {
  _NibDeviceProc procs{};
  procs.cookie = this;
  procs.put = put ? &Put : nullptr;
  procs.write = write ? &Write : nullptr;
  procs.read = read ? &Read : nullptr;
  procs.readCheck = readCheck ? &ReadCheck : nullptr;
  return procs;
}

void TestDevice::BindPut(void* handle) {
  _NibDeviceProc procs = Procs(true, false, true, true);
  ASSERT_EQ(NibSetDeviceProc(handle, &procs), 1);
}

void TestDevice::BindWrite(void* handle) {
  _NibDeviceProc procs = Procs(false, true, true, true);
  ASSERT_EQ(NibSetDeviceProc(handle, &procs), 1);
}

int TestDevice::Put(void* cookie, const char* byte) {
  auto* device = static_cast<TestDevice*>(cookie);
  if (device->putCalls++ == device->refusePutAt) return 0;
  device->bytes.push_back(*byte);
  return 1;
}

int TestDevice::Write(void* cookie, const char* data, std::uint32_t length) {
  auto* device = static_cast<TestDevice*>(cookie);
  if (static_cast<long>(device->blocks.size()) == device->refuseWriteAt) return 0;
  EXPECT_GE(length, 1u);
  EXPECT_LE(length, 16384u);
  device->blocks.push_back(length);
  device->bytes.append(data, length);
  return 1;
}

int TestDevice::Read(void* cookie, char* byte) {
  auto* device = static_cast<TestDevice*>(cookie);
  if (device->inputPos >= device->input.size()) return 0;
  *byte = device->input[device->inputPos++];
  return 1;
}

int TestDevice::ReadCheck(void* cookie, std::uint32_t value) {
  static_cast<TestDevice*>(cookie)->checks.push_back(value);
  return 1;
}

HandlePtr::HandlePtr(double x, double y) {
  _NibWorld2 size{x, y};
  handle = NibGetHandle(&size);
}

HandlePtr::~HandlePtr() { NibFreeHandle(handle); }

}  // namespace konib::test
