#include <gtest/gtest.h>

#include <string>

#include "config/arena.h"
#include "config/intake.h"
#include "platform/memory.h"
#include "support/model_list.h"
#include "support/test_device.h"

namespace konib {
namespace {

using test::HandlePtr;
using test::ModelList;

NibHandle* H(const HandlePtr& p) { return static_cast<NibHandle*>(p.get()); }

int Set(const HandlePtr& p, std::int32_t id, const char* text, std::int32_t index = 0) {
  _NibRegInfo item{id, index, text};
  return NibSetPlotter(p.get(), &item, 1);
}

std::string Entries(const NibListEntry* list) {
  std::string out;
  for (; list != nullptr; list = list->next) out += std::to_string(list->index) + "=" + list->text() + ";";
  return out;
}

TEST(Intake, TextsAreCopiedIntoTheHandle) {
  HandlePtr p;
  std::string text = "PU\\x1,\\y1;";
  ASSERT_EQ(Set(p, NibKeyCommandMove, text.c_str()), 1);
  text[0] = 'X';
  EXPECT_STREQ(H(p)->text[kCmdMove], "PU\\x1,\\y1;");
  ASSERT_EQ(Set(p, NibKeyCommandMove, ""), 1);
  EXPECT_STREQ(H(p)->text[kCmdMove], "");  // an empty text is a text
}

TEST(Intake, OriginAndScaleKeepDefaultsFieldByField) {
  HandlePtr p;
  Set(p, NibKeyOrigin, ",5");
  EXPECT_EQ(H(p)->origin.x, 0.0);
  EXPECT_EQ(H(p)->origin.y, 5.0);
  Set(p, NibKeyOrigin, "7");
  EXPECT_EQ(H(p)->origin.x, 7.0);
  EXPECT_EQ(H(p)->origin.y, 5.0);
  Set(p, NibKeyScale, ",0.5");
  EXPECT_EQ(H(p)->scale.x, 1.0);
  EXPECT_EQ(H(p)->scale.y, 0.5);
}

TEST(Intake, PenLayoutAndStylePitchIgnoreExtraFields) {
  HandlePtr p;
  Set(p, NibKeyPenLayout, "11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28");
  EXPECT_EQ(H(p)->pens[0].number, 11);
  EXPECT_EQ(H(p)->pens[16].number, 27);
  Set(p, NibKeyPenLayout, ",,9");
  EXPECT_EQ(H(p)->pens[1].number, 12);
  EXPECT_EQ(H(p)->pens[2].number, 9);
  H(p)->stylePitch[0] = 4.0;
  Set(p, NibKeyStylePitch, "1,2,30,4,5,6,7,8,9,10");
  EXPECT_EQ(H(p)->stylePitch[0], 4.0);  // style 0 is not the model's to set
  EXPECT_EQ(H(p)->stylePitch[1], 1.0);
  EXPECT_EQ(H(p)->stylePitch[3], 30.0);
  EXPECT_EQ(H(p)->stylePitch[9], 9.0);
}

TEST(Intake, ScalarKeys) {
  HandlePtr p;
  Set(p, NibKeyStep, "0.025,0.025,0.1");
  Set(p, NibKeyDecimal, "0");
  Set(p, NibKeyAnk, "5");
  Set(p, NibKeyCtrlDrawArc, "-1");
  EXPECT_EQ(H(p)->step, 0.025);
  EXPECT_EQ(H(p)->decimals, 0);
  EXPECT_EQ(H(p)->ankFont, 5);
  EXPECT_EQ(H(p)->arcLimit, -1.0);
  Set(p, NibKeyKanji, "3,7");
  EXPECT_EQ(H(p)->kanjiFont, 3);
  EXPECT_EQ(H(p)->kanjiFlag, 1);
  Set(p, NibKeyKanji, "4,0");
  EXPECT_EQ(H(p)->kanjiFlag, 0);
  Set(p, NibKeyKanji, "6");
  EXPECT_EQ(H(p)->kanjiFont, 6);
  EXPECT_EQ(H(p)->kanjiFlag, 0);  // one field leaves the flag as it was
  Set(p, NibKeyOrientation, "0,L,P,1");
  EXPECT_EQ(H(p)->rotateFlag, 1);
  Set(p, NibKeyOrientation, "0,L,P");
  EXPECT_EQ(H(p)->rotateFlag, 1);
  Set(p, NibKeyFontAdjust3, "0.8,0.9,0.1,0.2");
  const NibFontAdjustRow& row = H(p)->fontAdjust[2];
  EXPECT_EQ(row.xOffset, 0.1);
  EXPECT_EQ(row.yOffset, 0.2);
  EXPECT_EQ(row.width, 0.8);
  EXPECT_EQ(row.height, 0.9);
}

TEST(Intake, SecondEntryReplacesTheFirstAndGoesToTheTail) {
  HandlePtr p;
  Set(p, NibKeyPaperEntry, "A3,297,420", 3);
  Set(p, NibKeyPaperEntry, "B3,353,500", 3);
  EXPECT_EQ(Entries(H(p)->paperList), "3=B3,353,500;");
  Set(p, NibKeyPaperEntry, "A4,210,297", 4);
  Set(p, NibKeyPaperEntry, "A3,297,420", 3);
  EXPECT_EQ(Entries(H(p)->paperList), "4=A4,210,297;3=A3,297,420;");
  Set(p, NibKeyBinEntry, "Upper,\\$41", 1);
  Set(p, NibKeyExtensionEntry, "0,Speed,Slow,S0", 2);
  EXPECT_EQ(Entries(H(p)->binList), "1=Upper,\\$41;");
  EXPECT_EQ(Entries(H(p)->extensionList), "2=0,Speed,Slow,S0;");
  EXPECT_EQ(H(p)->extensionList->selected, -1);
}

TEST(Intake, PaperSizeFollowsTheChosenEntry) {
  HandlePtr p(400, 300);
  Set(p, NibKeyPaperEntry, "A3,297,420", 3);
  EXPECT_EQ(H(p)->paperXY.x, 400.0);  // no paper chosen: nothing moves
  H(p)->paperIndex = 3;
  Set(p, NibKeyPaperEntry, "A3,290,", 3);
  EXPECT_EQ(H(p)->paperXY.x, 290.0);
  EXPECT_EQ(H(p)->paperXY.y, 300.0);  // empty field keeps the coordinate
}

TEST(Intake, IdFourAndUnknownIdsAreKeptButMeanNothing) {
  HandlePtr p;
  ASSERT_EQ(Set(p, 4, "secret"), 1);
  EXPECT_STREQ(H(p)->key4Text, "secret");
  std::uint32_t used = H(p)->arenaUsed;
  ASSERT_EQ(Set(p, 73, "nothing"), 1);
  ASSERT_EQ(Set(p, -1, "nothing"), 1);
  EXPECT_GE(H(p)->arenaUsed, used + 16);  // charged all the same
  _NibRegInfo items[2] = {{NibKeyStep, 0, nullptr}, {NibKeyDecimal, 0, "1"}};
  EXPECT_EQ(NibSetPlotter(p.get(), items, 2), 1);
  EXPECT_EQ(H(p)->step, 1.0);
  EXPECT_EQ(H(p)->decimals, 1);
  EXPECT_EQ(NibSetPlotter(p.get(), items, 0), 1);
}

TEST(Intake, ArenaGrowsManyTimesAndEveryTextStaysReachable) {
  HandlePtr p;
  std::string big(700, 'x');
  for (int i = 0; i < 300; ++i) {
    std::string text = std::to_string(i) + big;
    ASSERT_EQ(Set(p, NibKeyPaperEntry, text.c_str(), i), 1);
    ASSERT_EQ(Set(p, NibKeyStyle0 + i % 10, text.c_str()), 1);
  }
  int i = 0;
  for (const NibListEntry* e = H(p)->paperList; e != nullptr; e = e->next, ++i) {
    ASSERT_EQ(e->index, i);
    ASSERT_EQ(std::string(e->text()), std::to_string(i) + big);
  }
  EXPECT_EQ(i, 300);
  for (int s = 0; s < 10; ++s) EXPECT_EQ(std::string(H(p)->text[kStyleText + s]), std::to_string(290 + s) + big);
  EXPECT_GE(H(p)->arenaSize, H(p)->arenaUsed);
}

TEST(Intake, AThousandValuesCostAHandfulOfAllocations) {
  HandlePtr p;
  unsigned long before = platform::AllocationCount();
  for (int i = 0; i < 1000; ++i) Set(p, NibKeyCommandLine, "PD\\x2,\\y2;PD\\x2,\\y2;");
  EXPECT_LE(platform::AllocationCount() - before, 6u);
}

TEST(Intake, OutOfMemoryFailsTheHandleAndChangesNothing) {
  HandlePtr p;
  Set(p, NibKeyStep, "0.5");
  std::string big(5000, 'y');
  platform::FailAllocationAt(1);
  EXPECT_EQ(Set(p, NibKeyCommandInit, big.c_str()), 0);
  EXPECT_EQ(H(p)->failure, kOutOfMemory);
  EXPECT_EQ(H(p)->text[kCmdInit], nullptr);
  EXPECT_STREQ(H(p)->text[kStepText], "0.5");
  EXPECT_EQ(Set(p, NibKeyDecimal, "1"), 0);  // the failure is final
  EXPECT_EQ(H(p)->decimals, 2);
}

TEST(Intake2, NamesFindTheirKeysAndLaterRecordsWin) {
  HandlePtr p;
  ModelList list{{"step", "0.1"},          {"Step2", "0.025"},   {"Command", "HPGL"},
                 {"#1", "Guide text"},     {"Unknown", "x"},     {"PAPER.12", "A4,210,297"},
                 {"Paper.x", "Z,1,2"},     {"PaperSize", "PS\\pp"}, {"Bin", ",1"},
                 {"Command.TextInit", "T"}, {"Step ", "9"}};
  ASSERT_EQ(NibSetPlotter2(p.get(), list.get()), 1);
  EXPECT_EQ(H(p)->step, 0.025);
  EXPECT_EQ(Entries(H(p)->paperList), "12=A4,210,297;0=Z,1,2;");
  EXPECT_STREQ(H(p)->text[kPaperSizeText], "PS\\pp");  // not the prefix Paper.
  EXPECT_STREQ(H(p)->text[kBinText], ",1");            // not the prefix Bin.
  EXPECT_EQ(H(p)->binList, nullptr);
  EXPECT_STREQ(H(p)->text[kCmdText], "T");
}

TEST(Intake2, RefusesNullsAndStopsAtTheFirstFailure) {
  HandlePtr p;
  ModelList list{{"Decimal", "1"}, {"Command.Init", std::string(4000, 'i')}, {"Step", "0.5"}};
  EXPECT_EQ(NibSetPlotter2(nullptr, list.get()), 0);
  EXPECT_EQ(NibSetPlotter2(p.get(), nullptr), 0);
  Set(p, NibKeyOrigin, "1,1");  // takes the first arena block
  platform::FailAllocationAt(1);
  EXPECT_EQ(NibSetPlotter2(p.get(), list.get()), 0);
  EXPECT_EQ(H(p)->decimals, 1);  // what came before stays
  EXPECT_EQ(H(p)->step, 1.0);
  EXPECT_EQ(H(p)->failure, kOutOfMemory);
}

TEST(CurrentEntries, ChosenOrDefaultEntry) {
  HandlePtr p;
  EXPECT_EQ(CurrentPaperEntry(H(p)), nullptr);
  Set(p, NibKeyPaperEntry, "A3,297,420", 3);
  Set(p, NibKeyPaperEntry, "A4,210,297", 4);
  EXPECT_EQ(CurrentPaperEntry(H(p)), nullptr);  // no Paper value to name a default
  Set(p, NibKeyPaper, "x,4");
  EXPECT_STREQ(CurrentPaperEntry(H(p)), "A4,210,297");
  H(p)->paperIndex = 3;
  EXPECT_STREQ(CurrentPaperEntry(H(p)), "A3,297,420");
  H(p)->paperIndex = 9;
  EXPECT_EQ(CurrentPaperEntry(H(p)), nullptr);
  Set(p, NibKeyBinEntry, "Lower,B2", 2);
  Set(p, NibKeyBin, ",-1");
  EXPECT_EQ(CurrentBinEntry(H(p)), nullptr);
  H(p)->binIndex = 2;
  EXPECT_STREQ(CurrentBinEntry(H(p)), "Lower,B2");
}

}  // namespace
}  // namespace konib
