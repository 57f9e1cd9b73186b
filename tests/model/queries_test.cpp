// The set-up queries, read from model lists built by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "KoNib.h"
#include "platform/memory.h"
#include "support/model_list.h"

namespace konib {
namespace {

using test::ModelList;

// Results as text, so that one comparison shows every field.
std::string Papers(const _NibREG_DATA* list) {
  const _NibPAPER_INFO* papers = nullptr;
  const int count = NibGetPaperInfo(list, &papers);
  std::string out = std::to_string(count);
  for (int i = 0; i < count; ++i) {
    out += "|" + std::to_string(papers[i].index) + " " + std::to_string(papers[i].width) + "x" +
           std::to_string(papers[i].height) + " " + papers[i].name;
  }
  NibFreePaperInfo(papers);
  return out;
}

std::string Bins(const _NibREG_DATA* list) {
  const _NibBIN_INFO* bins = nullptr;
  const int count = NibGetBinInfo(list, &bins);
  std::string out = std::to_string(count);
  for (int i = 0; i < count; ++i) out += "|" + std::to_string(bins[i].index) + " " + bins[i].name;
  NibFreeBinInfo(bins);
  return out;
}

std::string Guide(const _NibREG_DATA* list) {
  const char* text = NibGetGuideText(list);
  std::string out = text;
  NibFreeGuideText(text);
  return out;
}

std::string Steps(const _NibREG_DATA* list, double step) {
  const _NibSTEPSIZE_INFO* info = NibGetStepSizeInfo(list, step);
  if (info == nullptr) return "null";
  std::string out = std::to_string(info->current);
  for (int i = 0; i < info->count; ++i) out += std::string(i == 0 ? ":" : "|") + info->items[i];
  NibFreeStepSizeInfo(info);
  return out;
}

std::string Extension(const _NibREG_DATA* list, int index) {
  const _NibEXTENSION_INFO* info = NibGetExtensionInfo(list, index);
  if (info == nullptr) return "null";
  std::string out = std::to_string(info->selected) + " " + info->title;
  for (int i = 0; i < info->count; ++i) out += std::string(i == 0 ? ":" : "|") + info->items[i];
  NibFreeExtensionInfo(info);
  return out;
}

std::string PaperSize(const _NibREG_DATA* list, int index) {
  POINT size{-1, -1};
  const int position = NibGetPaperSize(list, index, &size);
  return std::to_string(position) + " " + std::to_string(size.x) + "x" + std::to_string(size.y);
}

const char kFixedGuide[] =
    "\x8f\xda\x82\xb5\x82\xad\x82\xcd\x81\x41\xca\xb0\xc4\xde\xb3\xaa\xb1\x82\xcc\xcf\xc6\xad"
    "\xb1\xd9\x82\xf0\x8e\x51\x8f\xc6\x82\xb5\x82\xc4\x82\xad\x82\xbe\x82\xb3\x82\xa2\x81\x42";

const char kDefaultPapers[] =
    "10|0 841x1189 A0 (841 x 1189 mm)|1 594x841 A1 (594 x 841 mm)|2 420x594 A2 (420 x 594 mm)"
    "|3 297x420 A3 (297 x 420 mm)|4 210x297 A4 (210 x 297 mm)|5 728x1030 B1 (728 x 1030 mm)"
    "|6 515x728 B2 (515 x 728 mm)|7 364x515 B3 (364 x 515 mm)|8 257x364 B4 (257 x 364 mm)"
    "|9 182x257 B5 (182 x 257 mm)";

TEST(Queries, NullListGivesEveryDefault) {
  EXPECT_EQ(Papers(nullptr), kDefaultPapers);
  EXPECT_EQ(Bins(nullptr), "1|0 \x8e\xe8\x93\xae");
  EXPECT_EQ(Guide(nullptr), kFixedGuide);
  EXPECT_EQ(Steps(nullptr, 1.0), "null");
  EXPECT_EQ(Extension(nullptr, 0), "null");
  EXPECT_EQ(PaperSize(nullptr, 4), "4 210x297");
  EXPECT_EQ(PaperSize(nullptr, 10), "0 841x1189");  // beyond the table: the first row
  EXPECT_EQ(NibIsNextPage(nullptr) + NibIsNextPen(nullptr) + NibIsDrawArc(nullptr) +
                NibIsDigitize(nullptr),
            0);
  char key[4] = "xyz";
  int length = 7;
  EXPECT_EQ(NibDigitizeKey2(nullptr, key, &length), 1);
  EXPECT_EQ(key[0], '\0');
  EXPECT_EQ(length, 0);
  // A model with other values, but no papers or bins, also gets the tables.
  ModelList other{{"PaperSize", "A,1,2"}, {"Bin", "B,1"}, {"Paper", "P,3"}};
  EXPECT_EQ(Papers(other.get()), kDefaultPapers);
  EXPECT_EQ(Bins(other.get()), "1|0 \x8e\xe8\x93\xae");
}

TEST(Queries, PapersAndBinsInListOrderWithTheirOwnNumbers) {
  const std::string longName(200, 'N');
  // A double-byte character that would straddle byte 63 is left out whole.
  const std::string straddling = std::string(62, 'a') + "\x82\xa0" + "z";
  ModelList list{{"Paper.3", "A3,420,297,PS"}, {"paper.1", "A1 \\,wide,841.9,594.5"},
                 {"Paper.", "bare"},           {"Paper.x", ",5"},
                 {"Paper.9", longName},        {"Paper.7", straddling},
                 {"Bin.2", "Tray 2,\\pb"},     {"BIN.05", "Roll feeder with a long name"}};
  EXPECT_EQ(Papers(list.get()), "6|3 420x297 A3|1 841x594 A1 \\,wide|0 0x0 bare|0 5x0 |9 0x0 " +
                                    std::string(63, 'N') + "|7 0x0 " + std::string(62, 'a'));
  EXPECT_EQ(Bins(list.get()), "2|2 Tray 2|5 Roll feeder with a long");
  const _NibPAPER_INFO* unwanted = nullptr;
  EXPECT_EQ(NibGetPaperInfo(list.get(), nullptr), 6);  // only the count
  EXPECT_EQ(NibGetPaperInfo(nullptr, &unwanted), 10);
  NibFreePaperInfo(unwanted);
}

TEST(Queries, PapersGrowPastTen) {
  ModelList list{{"Paper.0", "a"}, {"Paper.1", "b"}, {"Paper.2", "c"},  {"Paper.3", "d"},
                 {"Paper.4", "e"}, {"Paper.5", "f"}, {"Paper.6", "g"},  {"Paper.7", "h"},
                 {"Paper.8", "i"}, {"Paper.9", "j"}, {"Paper.10", "k"}, {"Paper.3", "l,1,2"}};
  EXPECT_EQ(Papers(list.get()),
            "12|0 0x0 a|1 0x0 b|2 0x0 c|3 0x0 d|4 0x0 e|5 0x0 f|6 0x0 g|7 0x0 h|8 0x0 i|9 0x0 j|10 "
            "0x0 k|3 1x2 l");
  EXPECT_EQ(PaperSize(list.get(), 3), "3 0x0");  // the first entry of that number
  EXPECT_EQ(PaperSize(list.get(), 10), "10 0x0");
}

TEST(Queries, PaperSizeFallsBackToTheFirstEntry) {
  ModelList only3{{"Paper.3", "A3,400,277"}};
  ModelList two{{"Paper.2", "x,100,50"}, {"Paper.-4", "y,7,8"}};
  struct Case {
    const _NibREG_DATA* list;
    int index;
    const char* expected;
  } cases[] = {{only3.get(), 3, "0 400x277"},
               {only3.get(), 0, "0 400x277"},
               {two.get(), -4, "1 7x8"},
               {two.get(), 2147483647, "0 100x50"},
               {two.get(), -2147483647 - 1, "0 100x50"}};
  for (const Case& c : cases) EXPECT_EQ(PaperSize(c.list, c.index), c.expected) << c.index;
  EXPECT_EQ(NibGetPaperSize(two.get(), -4, nullptr), 1);
}

TEST(Queries, GuideLines) {
  struct Case {
    ModelList list;
    std::string expected;
  } cases[] = {
      {{{"#1", "one"}, {"#3", "three"}}, "one\r\n\r\nthree"},
      {{{"#1", "one"}, {"#0", "zero"}}, "zero\r\none"},
      {{{"#", "bare"}, {"#2", "two"}}, "bare\r\n\r\ntwo"},
      {{{"#1", "a\\tb\\\\tc\\"}}, "a\tb\\\tc\\"},
      // 0x5C as the trail byte of a character is no backslash.
      {{{"#1", "\x95\\t\\t"}}, "\x95\\t\t"},
      {{{"#2", "old"}, {"#2", "new"}, {"#1", ""}}, "\r\nnew"},
      {{{"#-1", "no line"}, {"#70000", "no line"}, {"#1", "x"}}, "x"},
      {{{"#-1", "no line"}}, kFixedGuide},
      {{{"Step", "1"}}, kFixedGuide},
  };
  for (const Case& c : cases) EXPECT_EQ(Guide(c.list.get()), c.expected);
  NibFreeGuideText(nullptr);
}

TEST(Queries, StepListOrder) {
  struct Case {
    const char* value;
    double step;
    const char* expected;
  } cases[] = {
      {"0.025", 0.025, "0:0.025"},
      {"0.025", 0.1, "0:0.1|0.025"},  // the given step in front
      {"0.025,0.01,0.025,0.05", 0.05, "2:0.01|0.025|0.05"},
      {"0.025,0.01,0.05", 0.05, "2:0.025|0.01|0.05"},  // the default in front
      {"0.025,0.01,0.05", 0.025, "0:0.025|0.01|0.05"},
      {"0.025,0.01,0.05", 1.0, "0:1|0.025|0.01|0.05"},
      {"0.1000,0.1000,.1", 0.1, "0:0.1000|.1"},  // written texts stay as they are
      {"0.1,0.20,0.2", 0.2, "1:0.1|0.20|0.2"},   // the first that is the step
      {",0.5,,2", 1.0, "0:1|0.5||2"},            // empty fields: default 0, a choice of 0
      {"2,3", std::numeric_limits<double>::quiet_NaN(), "0:nan|2|3"},
      {"2", -std::numeric_limits<double>::infinity(), "0:-inf|2"},
      {"2", 1e20, "0:100000000000000000000|2"},
      {"2", 0.0000004, "0:0|2"},
      {"1,\\(a\\\\),b", 1.0, "0:1|\\(a\\\\),b"},  // a closer behind "\\\\" is not seen
  };
  for (const Case& c : cases) {
    ModelList list{{"Step2", "9"}, {"Step", "7"}, {"step", c.value}};
    EXPECT_EQ(Steps(list.get(), c.step), c.expected) << c.value;
  }
  ModelList long_choice{{"Step", "1," + std::string(200, '5')}};
  EXPECT_EQ(Steps(long_choice.get(), 1.0), "0:1|" + std::string(127, '5'));
  ModelList only_step2{{"Step2", "0.1"}};
  EXPECT_EQ(Steps(only_step2.get(), 0.1), "null");
}

TEST(Queries, ExtensionItems) {
  struct Case {
    const char* value;
    int index;
    const char* expected;
  } cases[] = {
      {"1,Speed,Slow,VS10;,Fast,VS40;", 2, "1 Speed:Slow|Fast"},
      {"0,Speed,Slow,VS10;,Fast", 2, "0 Speed:Slow|Fast"},  // the last pair lacks its template
      {"0,Speed,Slow,VS10;", 2, "null"},
      {"0,Speed", 2, "null"},
      {"", 2, "null"},
      {",T,A,\\[m.f,1,2],B,b", 2, "0 T:A|B"},  // empty default item: 0; a call is one field
      {"3,Mode,A,a,,b,C", 2, "3 Mode:A||C"},   // an empty name keeps its place
      {"1,Speed,Slow,VS10;,Fast,VS40;", 3, "null"},
  };
  for (const Case& c : cases) {
    ModelList list{{"Extension.2", "5,Old,X,x,Y,y"},
                   {"Extension.02", c.value},
                   {"Extension.7", "2,Pen,A,,B,,C"}};
    EXPECT_EQ(Extension(list.get(), c.index), c.expected) << c.value;
  }
  ModelList list{{"Extension.7", "2,Pen,A,,B,,C"}, {"Extension.-1", "0,N,P,p,Q"}};
  EXPECT_EQ(Extension(list.get(), 7), "2 Pen:A|B|C");
  EXPECT_EQ(Extension(list.get(), -1), "0 N:P|Q");
  ModelList cut{{"Extension.0", "0," + std::string(130, 't') + ",a,,b"}};
  EXPECT_EQ(Extension(cut.get(), 0), "0 " + std::string(127, 't') + ":a|b");
}

TEST(Queries, DefaultInfo) {
  ModelList list{{"Extension.1", "3,T,a,b"}, {"Extension.7", "4"},   {"Extension.4", ",T"},
                 {"Step", "0.025,1"},        {"Step2", "0.05"},      {"FontAdjust2", "2,3,4,5"},
                 {"FontAdjust5", ",,7"},     {"FontAdjust6", "9,9"}, {"Origin", ",5"},
                 {"Scale", "50,2"},          {"Paper", "A3,3"},      {"Bin", "B"},
                 {"Orientation", "1,L,P"},   {"ANK", "4"},           {"Kanji", "3"},
                 {"PenLayout", "5,5,5"},     {"StylePitch", "1,1"}};
  _NibInfo info;
  std::memset(&info, 0x5A, sizeof info);
  NibGetDefaultInfo(list.get(), &info);
  EXPECT_EQ(info.step, 0.05);
  EXPECT_EQ(info.origin.x, 0.0);
  EXPECT_EQ(info.origin.y, 5.0);
  EXPECT_EQ(info.scale.x, 50.0);
  EXPECT_EQ(info.scale.y, 2.0);
  const double adjust[5][4] = {
      {0, 0, 1, 1}, {4, 5, 2, 3}, {0, 0, 1, 1}, {0, 0, 1, 1}, {7, 0, 1, 1}};
  for (int k = 0; k < 5; ++k) {
    EXPECT_EQ(info.fontAdjust[k].xOffset, adjust[k][0]) << k;
    EXPECT_EQ(info.fontAdjust[k].yOffset, adjust[k][1]) << k;
    EXPECT_EQ(info.fontAdjust[k].width, adjust[k][2]) << k;
    EXPECT_EQ(info.fontAdjust[k].height, adjust[k][3]) << k;
  }
  for (int i = 0; i < 17; ++i) {
    EXPECT_EQ(info.pens[i].number, i <= 8 ? i : 1) << i;  // PenLayout is no default of a dialog
    EXPECT_EQ(info.pens[i].strokes, 1);
    EXPECT_EQ(info.pens[i].strokeSpacing, 0.0);
  }
  const double pitch[10] = {0, 2, 5, 10, 10, 20, 50, 10, 20, 50};
  for (int i = 0; i < 10; ++i) EXPECT_EQ(info.stylePitch[i], pitch[i]) << i;
  EXPECT_EQ(info.paperIndex, 3);
  EXPECT_EQ(info.binIndex, 0);
  EXPECT_EQ(info.orientation, 1);
  const int extension[5] = {-1, 3, -1, -1, -1};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(info.extension[i], extension[i]) << i;
  EXPECT_EQ(info.ankFont, 4);
  EXPECT_EQ(info.kanjiFont, 3);
  EXPECT_EQ(info.kanjiFlag, 1);
  EXPECT_EQ(info.nextPageMode, 1);
  EXPECT_EQ(info.nextPenMode, 0);
  ModelList kanji{{"Kanji", "1,0"}, {"Step2", "0.1"}, {"Step", "0.2"}};
  NibGetDefaultInfo(kanji.get(), &info);
  EXPECT_EQ(info.kanjiFlag, 0);
  EXPECT_EQ(info.step, 0.2);
  EXPECT_EQ(info.orientation, 0);  // refilled before the list is read
  NibGetDefaultInfo(nullptr, nullptr);
}

// Next page, next pen, device arcs, digitizing.
TEST(Queries, YesOrNo) {
  struct Case {
    ModelList list;
    const char* answers;
  } cases[] = {
      {{{"Command.NextPage", "PG;"},
        {"command.nextpen", "SP0;"},
        {"Ctrl.DrawArc", "-1"},
        {"Digitize.Position", "OD;"}},
       "1111"},
      // The first record of a name decides, even when a later one has text.
      {{{"Command.NextPage", ""},
        {"Command.NextPage", "PG;"},
        {"Ctrl.DrawArc", ""},
        {"Ctrl.DrawArc", "-1"}},
       "0000"},
      {{{"Ctrl.DrawArc", "150"}, {"Command.NextPageX", "PG;"}}, "0000"},
      {{{"Ctrl.DrawArc", "-0.5,9"}}, "0010"},
      {{{"Ctrl.DrawArc", "0"}}, "0000"},
  };
  for (const Case& c : cases) {
    const _NibREG_DATA* list = c.list.get();
    EXPECT_EQ(std::to_string(NibIsNextPage(list)) + std::to_string(NibIsNextPen(list)) +
                  std::to_string(NibIsDrawArc(list)) + std::to_string(NibIsDigitize(list)),
              c.answers);
  }
}

TEST(Queries, DigitizeKey) {
  ModelList list{{"Digitize.Enter", "KEY\\,1"}, {"Digitize.Enter", "other"}};
  int length = -1;
  EXPECT_EQ(NibDigitizeKey2(list.get(), nullptr, &length), 1);
  EXPECT_EQ(length, 6);
  char text[8];
  std::memset(text, '#', sizeof text);
  EXPECT_EQ(NibDigitizeKey2(list.get(), text, nullptr), 1);
  EXPECT_EQ(std::string(text, 8), std::string("KEY\\,1\0#", 8));
}

// A one-record list in a block of exactly its size, whose name and value
// text need not be terminated within their fields.
struct RawList {
  std::unique_ptr<unsigned char[]> block;
  RawList(const std::string& name, const std::string& data) {
    const std::size_t head = offsetof(_NibREG_DATA, data);
    block.reset(new unsigned char[head + data.size()]());
    auto* record = reinterpret_cast<_NibREG_DATA*>(block.get());
    std::memcpy(record->name, name.data(), std::min(name.size(), sizeof record->name));
    record->length = static_cast<std::uint32_t>(data.size());
    record->type = 1;
    std::memcpy(block.get() + head, data.data(), data.size());
  }
  const _NibREG_DATA* get() const { return reinterpret_cast<const _NibREG_DATA*>(block.get()); }
};

TEST(Queries, TextsNotTerminatedWithinTheirRecord) {
  EXPECT_EQ(Guide(RawList("#1", "a\\t").get()), "a\t");
  EXPECT_EQ(Guide(RawList("#1", "").get()), "");
  EXPECT_EQ(Papers(RawList("Paper.12" + std::string(252, 'x'), "A4,210,297").get()),
            "1|12 210x297 A4");
  EXPECT_EQ(Steps(RawList("Step", "0.5,0.25").get(), 0.25), "1:0.5|0.25");
  EXPECT_EQ(Extension(RawList("Extension.0", "1,T,a,x,b").get(), 0), "1 T:a|b");
  EXPECT_EQ(NibIsDrawArc(RawList("Ctrl.DrawArc", "-2").get()), 1);
  EXPECT_EQ(NibIsNextPage(RawList("Command.NextPage", "").get()), 0);
  char text[4];
  int length = 0;
  EXPECT_EQ(NibDigitizeKey2(RawList("Digitize.Enter", "abc").get(), text, &length), 1);
  EXPECT_EQ(std::string(text), "abc");
  _NibInfo info;
  NibGetDefaultInfo(RawList("Step2", "0.125").get(), &info);
  EXPECT_EQ(info.step, 0.125);
}

// Every allocation of every query fails in turn: each gives the reduced
// result its contract names, and nothing leaks (the sanitizer build checks).
TEST(Queries, EveryOutOfMemoryPoint) {
  ModelList twelve{{"Paper.0", "a"}, {"Paper.1", "b"},  {"Paper.2", "c"},
                   {"Paper.3", "d"}, {"Paper.4", "e"},  {"Paper.5", "f"},
                   {"Paper.6", "g"}, {"Paper.7", "h"},  {"Paper.8", "i"},
                   {"Paper.9", "j"}, {"Paper.10", "k"}, {"Paper.11", "l,3,4"},
                   {"#1", "x"},      {"Step", "1,2"},   {"Extension.0", "0,T,a,,b"},
                   {"Bin.1", "b"}};
  const RawList unterminated("#2", "y");
  const std::string ten =
      "10|0 0x0 a|1 0x0 b|2 0x0 c|3 0x0 d|4 0x0 e|5 0x0 f|6 0x0 g|7 0x0 h|8 0x0 i|9 0x0 j";
  struct Case {
    std::function<std::string()> query;
    std::vector<std::string> reduced;  // the result when allocation 1, 2, ... fails
    std::string whole;
  } cases[] = {
      {[&] { return Papers(twelve.get()); },
       {"0", ten},
       "12" + ten.substr(2) + "|10 0x0 k|11 3x4 l"},
      {[&] { return Papers(nullptr); }, {"0"}, kDefaultPapers},
      {[&] { return Bins(nullptr); }, {"0"}, "1|0 \x8e\xe8\x93\xae"},
      {[&] { return Bins(twelve.get()); }, {"0"}, "1|1 b"},
      {[&] { return PaperSize(twelve.get(), 11); }, {"0 841x1189", "0 0x0"}, "11 3x4"},
      {[&] { return Guide(twelve.get()); }, {kFixedGuide, kFixedGuide}, "x"},
      {[&] { return Guide(unterminated.get()); },
       {kFixedGuide, kFixedGuide, kFixedGuide, kFixedGuide},
       "\r\ny"},
      {[&] { return Steps(twelve.get(), 3); }, {"null"}, "0:3|1|2"},
      {[&] { return Extension(twelve.get(), 0); }, {"null"}, "0 T:a|b"},
  };
  for (const Case& c : cases) {
    for (unsigned long n = 1;; ++n) {
      const unsigned long before = platform::AllocationCount();
      platform::FailAllocationAt(n);
      const std::string result = c.query();
      platform::FailAllocationAt(0);
      if (platform::AllocationCount() - before < n) {
        EXPECT_EQ(result, c.whole);
        EXPECT_EQ(n - 1, c.reduced.size()) << c.whole;  // every allocation point was reached
        break;
      }
      ASSERT_LE(n, c.reduced.size()) << c.whole;
      EXPECT_EQ(result, c.reduced[n - 1]) << n;
    }
  }
}

}  // namespace
}  // namespace konib
