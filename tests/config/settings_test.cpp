#include <gtest/gtest.h>

#include "config/arena.h"
#include "support/test_device.h"

namespace konib {
namespace {

using test::HandlePtr;

NibHandle* H(const HandlePtr& p) { return static_cast<NibHandle*>(p.get()); }

void Set(const HandlePtr& p, std::int32_t id, const char* text, std::int32_t index = 0) {
  _NibRegInfo item{id, index, text};
  ASSERT_EQ(NibSetPlotter(p.get(), &item, 1), 1);
}

TEST(SetPlotterInfo, MaskZeroChangesNothing) {
  HandlePtr p;
  EXPECT_EQ(NibSetPlotterInfo(p.get(), 0, nullptr), 1);
  EXPECT_EQ(NibSetPlotterInfo(nullptr, 0, nullptr), 0);
  EXPECT_EQ(H(p)->step, 1.0);
}

TEST(SetPlotterInfo, EachBitCopiesItsMember) {
  HandlePtr p;
  _NibInfo info{};
  info.step = 0.01;
  info.origin = {1, 2};
  info.scale = {3, 4};
  info.fontAdjust[4] = {0.5, 0.6, 0.7, 0.8};
  info.pens[3] = {9, 2, 0.3};
  info.stylePitch[0] = 7;
  info.stylePitch[9] = 70;
  info.binIndex = 5;
  info.orientation = 1;
  info.ankFont = 11;
  info.kanjiFont = 12;
  info.kanjiFlag = 0;
  info.nextPageMode = 2;
  info.nextPenMode = 1;
  unsigned long mask = 0x7FFF & ~(NIB_INFO_PAPERINDEX | NIB_INFO_EXTENSION);
  ASSERT_EQ(NibSetPlotterInfo(p.get(), mask, &info), 1);
  NibHandle* h = H(p);
  EXPECT_EQ(h->step, 0.01);
  EXPECT_EQ(h->origin.y, 2.0);
  EXPECT_EQ(h->scale.x, 3.0);
  EXPECT_EQ(h->fontAdjust[4].height, 0.8);
  EXPECT_EQ(h->pens[3].number, 9);
  EXPECT_EQ(h->pens[3].strokes, 2);
  EXPECT_EQ(h->pens[3].strokeSpacing, 0.3);
  EXPECT_EQ(h->pens[0].number, 0);  // all 17 rows
  EXPECT_EQ(h->stylePitch[0], 7.0);  // style 0 is reachable only this way
  EXPECT_EQ(h->stylePitch[9], 70.0);
  EXPECT_EQ(h->binIndex, 5);
  EXPECT_EQ(h->orientation, 1);
  EXPECT_EQ(h->ankFont, 11);
  EXPECT_EQ(h->kanjiFont, 12);
  EXPECT_EQ(h->kanjiFlag, 0);
  EXPECT_EQ(h->nextPageMode, 2);
  EXPECT_EQ(h->nextPenMode, 1);
  EXPECT_EQ(h->paperIndex, -1);
}

TEST(SetPlotterInfo, ChoosingAPaperTakesItsSize) {
  HandlePtr p(400, 300);
  Set(p, NibKeyPaperEntry, "A4,210,297", 4);
  Set(p, NibKeyPaperEntry, "Odd,100", 5);
  Set(p, NibKeyPaperEntry, "Blank,,", 6);
  _NibInfo info{};
  info.paperIndex = 4;
  NibSetPlotterInfo(p.get(), NIB_INFO_PAPERINDEX, &info);
  EXPECT_EQ(H(p)->paperXY.x, 210.0);
  EXPECT_EQ(H(p)->paperXY.y, 297.0);
  info.paperIndex = 5;
  NibSetPlotterInfo(p.get(), NIB_INFO_PAPERINDEX, &info);
  EXPECT_EQ(H(p)->paperXY.x, 100.0);
  EXPECT_EQ(H(p)->paperXY.y, 297.0);
  info.paperIndex = 6;
  NibSetPlotterInfo(p.get(), NIB_INFO_PAPERINDEX, &info);
  EXPECT_EQ(H(p)->paperXY.x, 100.0);
  info.paperIndex = -1;
  NibSetPlotterInfo(p.get(), NIB_INFO_PAPERINDEX, &info);
  EXPECT_EQ(H(p)->paperIndex, -1);
  EXPECT_EQ(H(p)->paperXY.x, 100.0);  // keeps its last value
  EXPECT_EQ(H(p)->sizeXY.x, 400.0);
  EXPECT_EQ(H(p)->clipRect[2], 400.0);
}

TEST(SetPlotterInfo, ExtensionItemsGoToTheFirstEntryOfEachNumber) {
  HandlePtr p;
  _NibInfo info{};
  info.extension[0] = 1;
  info.extension[2] = 0;
  EXPECT_EQ(NibSetPlotterInfo(p.get(), NIB_INFO_EXTENSION, &info), 1);  // no entries: fine
  Set(p, NibKeyExtensionEntry, "1,Speed,Slow,S0,Fast,S1", 2);
  Set(p, NibKeyExtensionEntry, "0,Force,Low,F0", 7);
  NibSetPlotterInfo(p.get(), NIB_INFO_EXTENSION, &info);
  EXPECT_EQ(H(p)->extensionList->selected, 0);
  EXPECT_EQ(H(p)->extensionList->next->selected, -1);  // index 7 is beyond the five
  info.extension[2] = -1;
  NibSetPlotterInfo(p.get(), NIB_INFO_EXTENSION, &info);
  EXPECT_EQ(H(p)->extensionList->selected, -1);
}

}  // namespace
}  // namespace konib
