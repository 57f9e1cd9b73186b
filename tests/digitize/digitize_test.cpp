#include "digitize/digitize.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "support/model_list.h"
#include "support/scripted_device.h"
#include "support/test_device.h"

namespace konib {
namespace {

using test::ScriptedDevice;

const _NibWorld2 kBefore{-7.0, -7.0};  // what the caller's pair holds before a reading

struct Digitizer {
  test::HandlePtr handle;
  ScriptedDevice device;
  Digitizer(std::initializer_list<std::pair<std::string, std::string>> values,
            bool buffered = false, double x = 1000, double y = 800)
      : handle(x, y) {
    test::ModelList list(values);
    if (list.get() != nullptr) {
      EXPECT_EQ(NibSetPlotter2(handle.get(), list.get()), 1);
    }
    if (buffered) {
      device.BindWrite(handle.get());
    } else {
      device.BindPut(handle.get());
    }
  }
  void* get() const { return handle.get(); }
  NibHandle* h() const { return static_cast<NibHandle*>(handle.get()); }
  // Answers `reply` to whatever is asked.
  void Answer(const std::string& reply) { device.script = {{"", reply}}; }
};

struct PatternCase {
  const char* name;
  const char* position;  // Digitize.Position
  std::string reply;
  std::string sent;
  _NibWorld2 result;
  std::string unread;
  const char* step = "1";
};

const std::string kLong31 = "0000000000000000000000000012.50";  // 31 bytes
const std::string kBlanks200(200, ' ');

TEST(DigitizePosition, PatternsPickNumbersOutOfTheReply) {
  // clang-format off
  const PatternCase cases[] = {
      {"a point with its pen state", "OA;\\<\\x1,\\y1,\\d\\n>", "123.5,40,2\r\n", "OA;",
        {61.75, 20}, "", "0.5"},
      {"only x: pair untouched", "\\<\\x1\\n>", "5\r\n", "", kBefore, ""},
      {"x2 and y2 count from the centre", "\\<\\x2,\\y2\\n>", "-200,-100\r\n", "", {480, 390}, "",
        "0.1"},
      {"\\$2C ends a number as a comma", "\\<\\x1\\$2C\\y1\\n>", "3,4\r\n", "", {3, 4}, ""},
      {"\\n ends at CR and drops any byte", "\\<\\x1\\n\\y1\\n>", "3\rX4\r\n", "", {3, 4}, ""},
      {"element \\n compares CR LF", "\\<\\x1,\\y1,\\n>", "1,2,\r\n", "", {1, 2}, ""},
      {"element \\n that fails stops at n", "\\<\\x1,\\y1,\\nZ>", "1,2,\rXY", "nZ>", {1, 2}, "Y"},
      {"names without regard to case", "\\<\\X1,\\Y1,\\D\\N>", "1,2,3\r\n", "", {1, 2}, ""},
      {"\\N in a pattern is the letter N", "\\<\\NO\\x1,\\y1\\n>", "NO1,2\r\n", "", {1, 2}, ""},
      {"x3 is no number here", "\\<\\x3\\x1,\\y1\\n>", "x31,2\r\n", "", {1, 2}, ""},
      {"blanks lead, letters spoil", "\\<\\x1,\\y1\\n>", "  12.5,X12\r\n", "", {12.5, 0}, ""},
      {"signs in odd places", "\\<\\x1,\\y1\\n>", "1-2,+-3\r\n", "", {1, 0}, ""},
      {"plain decimals only", "\\<\\x1,\\y1\\n>", "0x10,inf\r\n", "", {0, 0}, ""},
      {"nan is no number", "\\<\\x1,\\y1\\n>", "nan,-1.5e1x\r\n", "", {0, -15}, ""},
      {"bytes above 0x7F", "\\<\\x1,\\y1\\n>", "\xff" "12,3\xa0\r\n", "", {0, 3}, ""},
      {"a literal that fits", "\\<OK\\n>", "OK\r\n", "", kBefore, ""},
      {"a literal that does not", "\\<AB>", "XY", "AB>", kBefore, "Y"},
      {"> behind a number ends it", "\\<\\x1>\\y1\\n>", "5>6\r\n", "", {5, 6}, ""},
      {"hexadecimal literal", "\\<\\$02\\x1,\\y1\\n>", "\x02" "1,2\r\n", "", {1, 2}, ""},
      {"hexadecimal literal, other byte", "\\<\\$02\\x1,\\y1\\n>", "\x03" "1,2\r\n",
        "$02x1,y1\r\n>", kBefore, "1,2\r\n"},
      {"\\$ without digits reads nothing", "\\<\\$G1>", "Z", "$G1>", kBefore, "Z"},
      {"terminator \\$ without digits", "\\<\\x1\\$G1,\\y1\\n>", "5,6\r\n", "$G1,y1\r\n>", kBefore,
        "5,6\r\n"},
      {"a number at the template's end", "\\<\\x1", "5,", "", kBefore, "5,"},
      {"31 bytes are a number", "\\<\\x1,\\y1\\n>", kLong31 + ",1\r\n", "", {12.5, 1}, ""},
      {"32 are not, the reply stays in step", "\\<\\x1,\\y1\\n>", "0" + kLong31 + ",1\r\n", "",
        kBefore, ""},
      {"padding blanks are not stored", "\\<\\x1,\\y1\\n>",
        kBlanks200 + "7," + kBlanks200 + "8\r\n", "", {7, 8}, ""},
      {"a function delivers both axes", "\\[probe.Deliver,1,3,10,20]", "", "{word0}", {10, 20}, ""},
      {"a function's result 0 counts nothing", "\\[probe.Deliver,0,3,10,20]", "", "{word0}",
        kBefore, ""},
      {"only the low byte's x, and a reply's y", "\\[probe.Deliver,1,257,10,20]\\<\\y1\\n>",
        "9\r\n", "{word0}", {10, 9}, ""},
      {"high bits deliver nothing", "\\[probe.Deliver,1,256,10,20]\\<\\y1\\n>", "9\r\n", "{word0}",
        kBefore, ""},
  };
  // clang-format on
  for (const PatternCase& c : cases) {
    Digitizer d({{"Step", c.step}, {"Digitize.Position", c.position}});
    d.Answer(c.reply);
    _NibWorld2 pair = kBefore;
    EXPECT_EQ(NibDigitizePosition(d.get(), &pair), 1) << c.name;
    EXPECT_EQ(d.device.heard, c.sent) << c.name;
    EXPECT_DOUBLE_EQ(pair.x, c.result.x) << c.name;
    EXPECT_DOUBLE_EQ(pair.y, c.result.y) << c.name;
    EXPECT_EQ(d.device.Unread(), c.unread) << c.name;
  }
}

TEST(DigitizePosition, PlotUnitsWhateverTheMappingAndNoPositionBelief) {
  Digitizer d(
      {{"Step", "0.5"}, {"Origin", "30,40"}, {"Digitize.Position", "OA;\\<\\x1,\\y1,\\d\\n>"}});
  d.Answer("123.5,40,2\r\n");
  _NibWorld4 window{{-100, -100}, {10, 10}};
  _NibWorld4 view{{50, 50}, {300, 200}};
  _NibInfo info{};
  info.step = 0.5;
  info.origin = {12, 34};
  info.scale = {2, 3};
  ASSERT_TRUE(NibSetWindow(d.get(), &window) && NibSetView(d.get(), &view) &&
              NibSetPlotterInfo(d.get(), NIB_INFO_STEP | NIB_INFO_ORIGIN | NIB_INFO_SCALE, &info));
  d.h()->orientation = 0;
  d.h()->rotateFlag = 1;  // the sheet turned
  d.h()->devicePos = {1, 2};
  d.h()->stateFlags = kPositionKnown;
  _NibWorld2 pair = kBefore;
  EXPECT_EQ(NibDigitizePosition(d.get(), &pair), 1);
  EXPECT_DOUBLE_EQ(pair.x, 61.75);
  EXPECT_DOUBLE_EQ(pair.y, 20);
  EXPECT_EQ(d.h()->stateFlags, static_cast<std::uint32_t>(kPositionKnown));
  EXPECT_DOUBLE_EQ(d.h()->devicePos.x, 1);
}

TEST(DigitizePosition, RequestsAndRepliesTakeTurns) {
  // The device answers only what it was asked; a buffered binding gets each
  // request flushed before its reply is awaited.
  for (bool buffered : {false, true}) {
    Digitizer d({{"Digitize.Position", "A;\\<\\x1\\n>B;\\<\\y1\\n>"}, {"Digitize.Start", "S<\\<;"}},
                buffered);
    d.device.script = {{"A;", "7\r\n"}, {"B;", "9\r\n"}};
    _NibWorld2 pair = kBefore;
    EXPECT_EQ(NibStartDigitize(d.get()), 1);
    EXPECT_EQ(NibDigitizePosition(d.get(), &pair), 1) << buffered;
    EXPECT_EQ(d.device.heard, "S<<;A;B;");  // \< opens a pattern only in Digitize.Position
    EXPECT_EQ(pair.x, 7);
    EXPECT_EQ(pair.y, 9);
    EXPECT_EQ(d.device.blocks,
              buffered ? (std::vector<std::uint32_t>{6, 2}) : std::vector<std::uint32_t>{});
  }
}

struct FailureCase {
  const char* name;
  std::string reply;
  std::string endless;
  long reads;  // read calls made, the last one failed or was the one too many
};

TEST(DigitizePosition, DevicesThatDoNotAnswerEndTheHandle) {
  const std::string blanks254(254, ' ');
  const FailureCase cases[] = {
      {"silent", "", "", 1},
      {"no separator", "12 34\r\n", "", 8},
      {"no line end", "1,2\r", "", 5},
      {"endless digits", "", "1", 256},
      {"endless garbage", "", "\x80\xfe\x01 ", 256},
      {"terminator one read too late", blanks254 + " 5,6\r\n", "", 256},
  };
  for (const FailureCase& c : cases) {
    Digitizer d({{"Digitize.Position", "OD;\\<\\x1,\\y1\\n>"}, {"Digitize.End", "DC;"}});
    d.Answer(c.reply);
    d.device.endless = c.endless;
    _NibWorld2 pair = kBefore;
    EXPECT_EQ(NibDigitizePosition(d.get(), &pair), 0) << c.name;
    EXPECT_EQ(d.h()->failure, kDeviceFailure) << c.name;
    EXPECT_EQ(d.device.reads, c.reads) << c.name;
    EXPECT_EQ(pair.x, kBefore.x) << c.name;
    EXPECT_EQ(NibDigitizePosition(d.get(), &pair) + NibEndDigitize(d.get()), 0) << c.name;
    EXPECT_EQ(d.device.reads, c.reads) << c.name;
    EXPECT_EQ(d.device.heard, "OD;") << c.name;
  }
  // The last read that still counts: a terminator at the 256th byte.
  Digitizer d({{"Digitize.Position", "\\<\\x1,\\y1\\n>"}});
  d.Answer(blanks254 + "5,6\r\n");
  _NibWorld2 pair = kBefore;
  EXPECT_EQ(NibDigitizePosition(d.get(), &pair), 1);
  EXPECT_EQ(pair.x, 5);
  EXPECT_EQ(pair.y, 6);
  // No read callback at all.
  test::HandlePtr bare;
  test::ModelList list({{"Digitize.Position", "\\<\\x1,\\y1\\n>"}});
  ASSERT_EQ(NibSetPlotter2(bare.get(), list.get()), 1);
  EXPECT_EQ(NibDigitizePosition(bare.get(), &pair), 0);
  EXPECT_EQ(static_cast<NibHandle*>(bare.get())->failure, kDeviceFailure);
}

// A whole conversation: start, pen, two positions, pen up, end, and the
// job's end, the flush point that sends what digitizing left in the buffer.
struct Session {
  int results = 0;  // one bit per operation that gave 1
  _NibWorld2 first = kBefore;
  _NibWorld2 second = kBefore;
};

Session Converse(Digitizer& d) {
  Session s;
  int bit = 1;
  auto step = [&](int result) {
    if (result == 1) s.results |= bit;
    bit <<= 1;
  };
  step(NibStartDigitize(d.get()));
  step(NibDigitizePen(d.get(), 1));
  step(NibDigitizePosition(d.get(), &s.first));
  step(NibDigitizePosition(d.get(), &s.second));
  step(NibDigitizePen(d.get(), 0));
  step(NibEndDigitize(d.get()));
  step(NibTerminate(d.get()));
  return s;
}

std::unique_ptr<Digitizer> NewConversation(bool buffered) {
  auto d = std::make_unique<Digitizer>(
      std::initializer_list<std::pair<std::string, std::string>>{
          {"Step", "0.5"},
          {"PenLayout", "0,1"},
          {"Digitize.Start", "IN;"},
          {"Digitize.Pen", "SP\\pn;"},
          {"Digitize.ReleasePen", "SP0;"},
          {"Digitize.Position", "OD;\\<\\x1,\\y1,\\d\\n>"},
          {"Digitize.End", "DC;"}},
      buffered);
  d->device.script = {{"OD;", "100,200,1\r\n"}, {"OD;", "-5,7.5,0\r\n"}};
  return d;
}

TEST(DigitizeSession, EveryFailingReadAndRefusedByteEndsItCleanly) {
  for (bool buffered : {false, true}) {
    std::unique_ptr<Digitizer> clean = NewConversation(buffered);
    Session ok = Converse(*clean);
    ASSERT_EQ(ok.results, 0x7F);
    EXPECT_EQ(ok.first.x, 50);
    EXPECT_EQ(ok.first.y, 100);
    EXPECT_EQ(ok.second.x, -2.5);
    EXPECT_EQ(ok.second.y, 3.75);
    EXPECT_EQ(clean->device.heard, "IN;SP1;OD;OD;SP0;DC;");
    EXPECT_EQ(clean->device.reads, 21);
    // Buffered: flushed before each reply is awaited, and at the job's end,
    // not by the end of digitizing.
    EXPECT_EQ(clean->device.blocks,
              buffered ? (std::vector<std::uint32_t>{10, 3, 7}) : std::vector<std::uint32_t>{});

    for (long n = 0; n < 21; ++n) {
      std::unique_ptr<Digitizer> d = NewConversation(buffered);
      d->device.failReadAt = n;
      Session s = Converse(*d);
      const bool firstFails = n < 11;
      EXPECT_EQ(s.results, firstFails ? 0x3 : 0x7) << n;
      EXPECT_EQ(s.first.x, firstFails ? kBefore.x : 50) << n;
      EXPECT_EQ(s.second.x, kBefore.x) << n;
      EXPECT_EQ(d->device.reads, n + 1) << n;  // nothing read after the failed one
      EXPECT_EQ(d->device.heard, firstFails ? "IN;SP1;OD;" : "IN;SP1;OD;OD;") << n;
      EXPECT_EQ(d->h()->failure, kDeviceFailure) << n;
    }
    for (long k = 0; k < 20; ++k) {
      std::unique_ptr<Digitizer> d = NewConversation(buffered);
      d->device.refuseSendAt = k;
      Session s = Converse(*d);
      EXPECT_EQ(d->device.reads, k < 10 ? 0 : k < 13 ? 11 : 21) << k;
      EXPECT_EQ(d->device.heard,
                std::string("IN;SP1;OD;OD;SP0;DC;").substr(0, static_cast<std::size_t>(k)))
          << k;
      EXPECT_EQ(s.results & 0x40, 0) << k;
      EXPECT_EQ(d->h()->failure, kDeviceFailure) << k;
    }
  }
}

TEST(DigitizePen, SendsOnlyWhenThePenNumberChanges) {
  struct Case {
    const char* name;
    const char* pen;        // Digitize.Pen; null: absent
    std::vector<int> pens;  // NibDigitizePen calls in order
    std::string sent;
  };
  const Case cases[] = {
      {"release once, equal numbers once", "P\\pn;", {0, 0, 1, 2, 3, 0}, "R;P3;P4;R;"},
      {"Command.Pen stands in", nullptr, {1, 3}, "SP3;SP4;"},
      {"an empty value sends nothing", "", {1, 0}, "R;"},
      {"indexes outside the table send nothing", "P\\pn;", {-1, 17, 99999}, ""},
  };
  for (const Case& c : cases) {
    Digitizer d({{"PenLayout", "0,3,3,4"},
                 {"Command.Pen", "SP\\pn;"},
                 {"Command.NextPen", "N;"},
                 {"Command.Line", "L;"},
                 {"Digitize.ReleasePen", "R;"}});
    if (c.pen != nullptr) {
      _NibRegInfo item{NibKeyDigitizePen, 0, c.pen};
      ASSERT_EQ(NibSetPlotter(d.get(), &item, 1), 1);
    }
    _NibInfo info{};
    info.nextPenMode = 1;  // a drawing would judge by index and send N;, digitizing does not
    ASSERT_EQ(NibSetPlotterInfo(d.get(), NIB_INFO_NEXTPENMODE, &info), 1);
    ASSERT_EQ(NibStartPage(d.get()), 1);
    for (int pen : c.pens) EXPECT_EQ(NibDigitizePen(d.get(), pen), 1) << c.name;
    EXPECT_EQ(d.device.heard, c.sent) << c.name;
  }
  // A drawing after it sees the digitizer's pen as selected.
  Digitizer d({{"PenLayout", "0,3,3,4"}, {"Command.Pen", "SP\\pn;"}, {"Command.Line", "L;"}});
  ASSERT_EQ(NibDigitizePen(d.get(), 1), 1);
  _NibWorld4 line{{10, 10}, {5, 0}};
  ASSERT_EQ(NibDrawLine(d.get(), &line), 1);
  EXPECT_EQ(d.device.heard, "SP3;L;");
  EXPECT_EQ(d.h()->devicePenIndex, 1);
}

TEST(DigitizeKey, HandsOutTheEnterText) {
  Digitizer with({{"Digitize.Enter", "PRESS \\n"}});
  Digitizer without({{"Step", "1"}});
  char text[16] = "junk";
  int length = -1;
  EXPECT_EQ(NibDigitizeKey(with.get(), nullptr, nullptr), 1);
  EXPECT_EQ(NibDigitizeKey(with.get(), nullptr, &length), 1);
  EXPECT_EQ(length, 8);
  EXPECT_EQ(NibDigitizeKey(with.get(), text, &length), 1);
  EXPECT_STREQ(text, "PRESS \\n");  // never expanded
  EXPECT_EQ(NibDigitizeKey(without.get(), text, &length), 1);
  EXPECT_EQ(length, 0);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(with.device.heard + without.device.heard, "");
}

TEST(Digitize, RefusedOnNullAndFailedHandles) {
  _NibWorld2 pair = kBefore;
  char text[4] = "abc";
  int length = 5;
  EXPECT_EQ(NibStartDigitize(nullptr) + NibEndDigitize(nullptr) + NibDigitizePen(nullptr, 1) +
                NibDigitizePosition(nullptr, &pair) + NibDigitizeKey(nullptr, text, &length),
            0);
  Digitizer d({{"Digitize.Start", "S"},
               {"Digitize.Position", "\\<\\x1,\\y1\\n>"},
               {"Digitize.Enter", "E"}});
  EXPECT_EQ(NibDigitizePosition(d.get(), nullptr), 0);  // nobody to take the answer: nothing asked
  EXPECT_EQ(d.device.reads, 0);
  EXPECT_EQ(d.h()->failure, kGood);
  EXPECT_EQ(NibDigitizePosition(d.get(), &pair), 0);  // silent device
  EXPECT_EQ(NibStartDigitize(d.get()) + NibEndDigitize(d.get()) + NibDigitizePen(d.get(), 1) +
                NibDigitizePosition(d.get(), &pair) + NibDigitizeKey(d.get(), text, &length),
            0);
  EXPECT_EQ(d.device.heard, "");
  EXPECT_EQ(d.device.reads, 1);
  EXPECT_STREQ(text, "abc");
  EXPECT_EQ(length, 5);
  // No Digitize.Position: nothing asked, nothing read, the pair alone.
  Digitizer none({{"Step", "1"}});
  none.Answer("1,2\r\n");
  EXPECT_EQ(NibDigitizePosition(none.get(), &pair), 1);
  EXPECT_EQ(none.device.reads, 0);
  EXPECT_EQ(pair.x, kBefore.x);
}

}  // namespace
}  // namespace konib
