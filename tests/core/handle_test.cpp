#include "core/handle.h"

#include <gtest/gtest.h>

#include "platform/memory.h"
#include "support/test_device.h"

namespace konib {
namespace {

using test::HandlePtr;
using test::TestDevice;

NibHandle* H(const HandlePtr& p) { return static_cast<NibHandle*>(p.get()); }

TEST(Handle, SizeSeedsPaperWindowViewAndClip) {
  HandlePtr p(100, 200);
  NibHandle* h = H(p);
  ASSERT_NE(h, nullptr);
  for (const _NibWorld2* pair : {&h->sizeXY, &h->paperXY, &h->windowExt, &h->viewExt}) {
    EXPECT_EQ(pair->x, 100.0);
    EXPECT_EQ(pair->y, 200.0);
  }
  EXPECT_EQ(h->clipRect[0], 0.0);
  EXPECT_EQ(h->clipRect[1], 0.0);
  EXPECT_EQ(h->clipRect[2], 100.0);
  EXPECT_EQ(h->clipRect[3], 200.0);
  EXPECT_EQ(h->windowOrg.x, 0.0);
  EXPECT_EQ(h->viewOrg.y, 0.0);
}

TEST(Handle, Defaults) {
  HandlePtr p;
  NibHandle* h = H(p);
  EXPECT_EQ(h->step, 1.0);
  EXPECT_EQ(h->decimals, 2);
  EXPECT_EQ(h->paperIndex, -1);
  EXPECT_EQ(h->binIndex, -1);
  EXPECT_EQ(h->orientation, -1);
  EXPECT_EQ(h->scale.x, 1.0);
  EXPECT_EQ(h->scale.y, 1.0);
  EXPECT_EQ(h->clipEnabled, 1);
  EXPECT_EQ(h->currentPen, 1);
  EXPECT_EQ(h->currentStyle, 0);
  EXPECT_EQ(h->arcLimit, 150.0);
  EXPECT_EQ(h->nextPageMode, 1);
  EXPECT_EQ(h->nextPenMode, 0);
  EXPECT_EQ(h->ankFont, 2);
  EXPECT_EQ(h->kanjiFont, 2);
  EXPECT_EQ(h->kanjiFlag, 1);
  const int numbers[kPenCount] = {1, 2, 3, 4, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  for (int i = 0; i < kPenCount; ++i) {
    EXPECT_EQ(h->pens[i].number, numbers[i]) << i;
    EXPECT_EQ(h->pens[i].strokes, 1);
    EXPECT_EQ(h->pens[i].strokeSpacing, 0.0);
  }
  const double pitch[kStyleCount] = {0, 2, 10, 10, 20, 50, 100, 20, 50, 100};
  for (int i = 0; i < kStyleCount; ++i) EXPECT_EQ(h->stylePitch[i], pitch[i]);
  for (const NibFontAdjustRow& row : h->fontAdjust) {
    EXPECT_EQ(row.xOffset, 0.0);
    EXPECT_EQ(row.yOffset, 0.0);
    EXPECT_EQ(row.width, 1.0);
    EXPECT_EQ(row.height, 1.0);
  }
  for (const char* slot : h->text) EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(h->stateFlags, 0u);
  EXPECT_EQ(h->failure, kGood);
  EXPECT_NE(h->outBuffer, nullptr);
  EXPECT_EQ(h->outUsed, 0u);
}

TEST(Handle, ModuleDirIsTheLibraryFolderWithItsSeparator) {
  HandlePtr p;
  std::string dir = H(p)->moduleDir;
  ASSERT_FALSE(dir.empty());
  EXPECT_TRUE(dir.back() == '/' || dir.back() == '\\') << dir;
}

TEST(Handle, OutOfMemoryGivesNull) {
  _NibWorld2 size{10, 10};
  platform::FailAllocationAt(1);  // the record
  EXPECT_EQ(NibGetHandle(&size), nullptr);
  platform::FailAllocationAt(2);  // the output buffer; the record is given back
  EXPECT_EQ(NibGetHandle(&size), nullptr);
  platform::FailAllocationAt(3);  // the room for prepared templates; all else is given back
  EXPECT_EQ(NibGetHandle(&size), nullptr);
  platform::FailAllocationAt(0);
}

TEST(Handle, FreeAcceptsNullAndFailedHandles) {
  NibFreeHandle(nullptr);
  HandlePtr p;
  TestDevice device;
  device.refusePutAt = 0;
  device.BindPut(p.get());
  H(p)->outUsed = 5;  // bytes waiting are dropped, never sent
  char byte = 'x';
  NibSpfuncCall call{};
  call.handle = p.get();
  EXPECT_EQ(_spfunc_write(&call, &byte, 1), 0);
  EXPECT_EQ(H(p)->failure, kDeviceFailure);
  // The destructor frees the failed handle; the sanitizer build proves that
  // nothing leaks and no callback runs.
  EXPECT_EQ(device.putCalls, 1);
}

TEST(Handle, FailureIsFinalAndRefusesBinding) {
  HandlePtr p;
  TestDevice first, second;
  first.BindPut(p.get());
  H(p)->failure = kDeviceFailure;
  _NibDeviceProc procs = second.Procs(true, false);
  EXPECT_EQ(NibSetDeviceProc(p.get(), &procs), 0);
  EXPECT_EQ(NibSetDevice(p.get(), &second, TestDevice::Put, nullptr), 0);
  EXPECT_EQ(H(p)->deviceCookie, &first);  // the old callbacks stay bound
  EXPECT_EQ(NibSetDevice(nullptr, &second, TestDevice::Put, nullptr), 0);
  EXPECT_EQ(NibSetDeviceProc(nullptr, &procs), 0);
}

}  // namespace
}  // namespace konib
