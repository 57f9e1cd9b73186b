#include "core/output.h"

#include <gtest/gtest.h>

#include <string>

#include "support/test_device.h"

namespace konib {
namespace {

using test::HandlePtr;
using test::TestDevice;

NibHandle* H(const HandlePtr& p) { return static_cast<NibHandle*>(p.get()); }

std::string Pattern(std::size_t n) {
  std::string s(n, '\0');
  for (std::size_t i = 0; i < n; ++i) s[i] = static_cast<char>('a' + i % 26);
  return s;
}

TEST(Output, PutWinsOverWrite) {
  HandlePtr p;
  TestDevice device;
  _NibDeviceProc procs = device.Procs(true, true);
  ASSERT_EQ(NibSetDeviceProc(p.get(), &procs), 1);
  EXPECT_EQ(EmitBytes(H(p), "abc", 3), 1);
  EXPECT_EQ(device.bytes, "abc");
  EXPECT_EQ(H(p)->outUsed, 0u);
  EXPECT_EQ(FlushOutput(H(p)), 1);
  EXPECT_TRUE(device.blocks.empty());
}

TEST(Output, BufferGoesOutWhenFull) {
  HandlePtr p;
  TestDevice device;
  device.BindWrite(p.get());
  std::string data = Pattern(16384);
  EXPECT_EQ(EmitBytes(H(p), data.data(), 16383), 1);
  EXPECT_TRUE(device.blocks.empty());
  EXPECT_EQ(EmitBytes(H(p), data.data() + 16383, 1), 1);
  ASSERT_EQ(device.blocks.size(), 1u);
  EXPECT_EQ(device.blocks[0], 16384u);
  EXPECT_EQ(H(p)->outUsed, 0u);
  EXPECT_EQ(device.bytes, data);
}

TEST(Output, FortyThousandBytesMakeTwoBlocksAndLeaveTheRest) {
  HandlePtr p;
  TestDevice device;
  device.BindWrite(p.get());
  std::string data = Pattern(40000);
  EXPECT_EQ(EmitBytes(H(p), data.data(), 40000), 1);
  EXPECT_EQ(device.blocks, (std::vector<std::uint32_t>{16384, 16384}));
  EXPECT_EQ(H(p)->outUsed, 7232u);
  EXPECT_EQ(FlushOutput(H(p)), 1);
  EXPECT_EQ(device.blocks.back(), 7232u);
  EXPECT_EQ(device.bytes, data);
  EXPECT_EQ(FlushOutput(H(p)), 1);  // empty: no call
  EXPECT_EQ(device.blocks.size(), 3u);
}

TEST(Output, RefusedWriteKeepsTheBlockAndEndsTheHandle) {
  HandlePtr p;
  TestDevice device;
  device.refuseWriteAt = 0;
  device.BindWrite(p.get());
  std::string data = Pattern(16384);
  EXPECT_EQ(EmitBytes(H(p), data.data(), 16384), 0);
  EXPECT_EQ(H(p)->failure, kDeviceFailure);
  EXPECT_EQ(H(p)->outUsed, 16384u);

  HandlePtr q;
  TestDevice other;
  other.refuseWriteAt = 0;
  other.BindWrite(q.get());
  EXPECT_EQ(EmitBytes(H(q), "abc", 3), 1);
  EXPECT_EQ(FlushOutput(H(q)), 0);
  EXPECT_EQ(H(q)->outUsed, 3u);
  EXPECT_EQ(H(q)->failure, kDeviceFailure);
}

TEST(Output, NothingBoundDropsWithSuccess) {
  HandlePtr p;
  EXPECT_EQ(EmitBytes(H(p), "abc", 3), 1);
  EXPECT_EQ(EmitBytes(H(p), "abc", 0), 1);
  EXPECT_EQ(EmitBytes(H(p), "abc", -4), 1);
  TestDevice device;
  _NibDeviceProc none = device.Procs(false, false);
  ASSERT_EQ(NibSetDeviceProc(p.get(), &none), 1);
  EXPECT_EQ(EmitBytes(H(p), "abc", 3), 1);
  EXPECT_EQ(H(p)->outUsed, 0u);
}

TEST(Output, RebindingKeepsWaitingBytesForTheNextWriter) {
  HandlePtr p;
  TestDevice first, second;
  first.BindWrite(p.get());
  EmitBytes(H(p), "wait", 4);
  ASSERT_EQ(NibSetDevice(p.get(), &second, nullptr, nullptr), 1);
  EXPECT_EQ(H(p)->writeProc, nullptr);
  EXPECT_EQ(H(p)->dataCode, 0);
  EXPECT_EQ(FlushOutput(H(p)), 1);  // no writer: the bytes stay
  EXPECT_EQ(H(p)->outUsed, 4u);
  second.BindWrite(p.get());
  EXPECT_EQ(FlushOutput(H(p)), 1);
  EXPECT_EQ(second.bytes, "wait");
  EXPECT_TRUE(first.bytes.empty());
}

TEST(ExtensionEntries, WriteReadAndCheck) {
  HandlePtr p;
  TestDevice device;
  device.input = "Q";
  device.BindPut(p.get());
  NibSpfuncCall call{};
  call.handle = p.get();
  EXPECT_EQ(_spfunc_write(&call, "", 0xFFFFFFFFu), 1);
  EXPECT_EQ(_spfunc_write(&call, "PU;", 0xFFFFFFFFu), 1);
  EXPECT_EQ(_spfunc_write(&call, "PD;", 2), 1);
  EXPECT_EQ(_spfunc_write(&call, "AB", 0xFFFFFFFEu), 1);  // a length below 0: nothing
  EXPECT_EQ(_spfunc_write(&call, "AB", 0x80000000u), 1);
  EXPECT_EQ(device.bytes, "PU;PD");
  char byte = 0;
  EXPECT_EQ(_spfunc_read(&call, &byte), 1);
  EXPECT_EQ(byte, 'Q');
  EXPECT_EQ(_spfunc_readcheck(&call, 77), 1);
  EXPECT_EQ(device.checks, std::vector<std::uint32_t>{77});
}

TEST(ExtensionEntries, MissingReaderIsADeviceFailure) {
  HandlePtr p;
  TestDevice device;
  ASSERT_EQ(NibSetDevice(p.get(), &device, TestDevice::Put, nullptr), 1);
  NibSpfuncCall call{};
  call.handle = p.get();
  char byte = 'u';
  EXPECT_EQ(_spfunc_read(&call, &byte), 0);
  EXPECT_EQ(byte, 'u');
  EXPECT_EQ(H(p)->failure, kDeviceFailure);
  EXPECT_EQ(_spfunc_write(&call, "x", 1), 0);
  EXPECT_TRUE(device.bytes.empty());

  HandlePtr q;
  ASSERT_EQ(NibSetDevice(q.get(), &device, TestDevice::Put, TestDevice::Read), 1);
  call.handle = q.get();
  EXPECT_EQ(_spfunc_readcheck(&call, 1), 0);  // NibSetDevice binds no checker
  EXPECT_EQ(H(q)->failure, kDeviceFailure);
}

}  // namespace
}  // namespace konib
