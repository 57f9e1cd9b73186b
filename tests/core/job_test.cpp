#include "core/job.h"

#include <gtest/gtest.h>

#include "core/output.h"
#include "output/primitives.h"
#include "support/model_handle.h"

namespace konib {
namespace {

using test::ModelHandle;

// Each template names itself; with buffered output, every flush shows as F.
struct Job : ModelHandle {
  explicit Job(int nextPageMode)
      : ModelHandle({{"Command.Init", "I"},
                     {"Command.Term", "T"},
                     {"Command.StartPage", "S"},
                     {"Command.EndPage", "E"},
                     {"Command.NextPage", "N"},
                     {"Command.Pen", "P\\pn"},
                     {"Command.Style", "Y"},
                     {"Command.Move", "M"},
                     {"Command.Line", "L"}},
                    1000, 800, true) {
    _NibInfo info{};
    info.nextPageMode = nextPageMode;
    NibSetPlotterInfo(get(), NIB_INFO_NEXTPAGEMODE, &info);
  }
};

std::string Sequence(const test::TestDevice& device) {
  std::string out;
  std::size_t at = 0;
  for (std::uint32_t length : device.blocks) {
    out += device.bytes.substr(at, length) + "F";
    at += length;
  }
  return out;
}

void Page(ModelHandle& m) {
  ASSERT_EQ(NibStartPage(m.get()), 1);
  SelectPen(m.h(), 2);
  SelectStyle(m.h(), 0);
  CommandMove(m.h(), {1, 1});
  CommandLine(m.h(), {2, 2});
  ASSERT_EQ(NibEndPage(m.get()), 1);
}

std::string TwoPages(int mode) {
  Job m(mode);
  EXPECT_EQ(NibInitiate(m.get()), 1);
  Page(m);
  Page(m);
  EXPECT_EQ(NibTerminate(m.get()), 1);
  return Sequence(m.device);
}

TEST(Job, TwoPagesInEachNextPageMode) {
  EXPECT_EQ(TwoPages(1), "ISP3YMLEFNFSP3YMLEFTF");
  EXPECT_EQ(TwoPages(0), "ISP3YMLEFSP3YMLEFTF");
  EXPECT_EQ(TwoPages(2), "ISP3YMLEFNFSP3YMLEFTFNF");
  EXPECT_EQ(TwoPages(7), TwoPages(1));
}

TEST(Job, PagesAreCountedForTheLifeOfTheHandle) {
  Job m(1);
  ASSERT_EQ(NibStartPage(m.get()), 1);  // first call on a new handle
  NibEndPage(m.get());
  NibEndPage(m.get());
  NibTerminate(m.get());
  NibInitiate(m.get());
  NibStartPage(m.get());  // a second job still follows a page
  EXPECT_EQ(Sequence(m.device), "SEFEFTFINF");
  EXPECT_EQ(m.h()->pageCount, 2);
}

TEST(Job, ModeTwoWithoutNextPageTemplate) {
  ModelHandle m{{"Command.Term", "T"}};
  _NibInfo info{};
  info.nextPageMode = 2;
  NibSetPlotterInfo(m.get(), NIB_INFO_NEXTPAGEMODE, &info);
  EXPECT_EQ(NibTerminate(m.get()), 1);
  EXPECT_EQ(m.Take(), "T");
}

TEST(Job, StartPageForgetsTheDeviceStateButKeepsThePen) {
  ModelHandle m{{"Command.StartPage", "[\\pn]"}, {"Command.Pen", "SP\\pn;"}};
  SelectPen(m.h(), 3);
  m.h()->stateFlags = 0xF;
  NibStartPage(m.get());
  EXPECT_EQ(m.h()->stateFlags, 0u);
  EXPECT_EQ(m.Take(), "SP4;[4]");  // row 3 holds pen number 4
  SelectPen(m.h(), 3);             // the first drawing of a page selects its pen again
  EXPECT_EQ(m.Take(), "SP4;");
}

TEST(Job, HomeSendsTheTemplateOrAMove) {
  ModelHandle m{{"Command.Home", "H;"}, {"Command.Move", "PU\\x1,\\y1;"}, {"Decimal", "0"}};
  CommandMove(m.h(), {5, 5});
  m.Take();
  EXPECT_EQ(NibHome(m.get()), 1);
  EXPECT_EQ(m.Take(), "H;");
  EXPECT_FALSE(m.h()->stateFlags & kPositionKnown);

  ModelHandle empty{{"Command.Home", ""}, {"Command.Move", "PU\\x1,\\y1;"}, {"Decimal", "0"}};
  CommandMove(empty.h(), {0.01, 0});
  empty.Take();
  EXPECT_EQ(NibHome(empty.get()), 1);  // within 0.05 of 0, 0: nothing to send
  EXPECT_EQ(empty.Take(), "");
  EXPECT_FALSE(empty.h()->stateFlags & kPositionKnown);
  NibHome(empty.get());
  EXPECT_EQ(empty.Take(), "PU0,0;");
}

// Mode 0 judges by pen number; mode 1 by index and sends NextPen with the
// old pen; mode 2 sends NextPen but judges by number.
TEST(SelectPen, SentOnlyWhenTheDeviceMustChange) {
  const struct {
    int mode;
    int pens[3];  // rows of PenLayout 1,2,3,3 selected in turn
    const char* sent;
    int index;  // devicePenIndex afterwards
  } cases[] = {{0, {2, 2, 3}, "SP3;", 2},
               {1, {2, 3, 3}, "NP0;SP3;NP3;SP3;", 3},
               {2, {2, 3, 1}, "NP0;SP3;NP3;SP2;", 1}};
  for (const auto& c : cases) {
    ModelHandle m{
        {"Command.Pen", "SP\\pn;"}, {"Command.NextPen", "NP\\pn;"}, {"PenLayout", "1,2,3,3"}};
    m.h()->nextPenMode = c.mode;
    for (int pen : c.pens) SelectPen(m.h(), pen);
    EXPECT_EQ(m.Take(), c.sent) << c.mode;
    EXPECT_EQ(m.h()->devicePenIndex, c.index) << c.mode;
  }
}

TEST(SelectPen, RefusedNextPenChangesNoState) {
  ModelHandle m{{"Command.Pen", "SP\\pn;"}, {"Command.NextPen", "NP;"}};
  m.h()->nextPenMode = 1;
  m.device.refusePutAt = 0;
  EXPECT_EQ(SelectPen(m.h(), 2), 0);
  EXPECT_FALSE(m.h()->stateFlags & kPenSelected);
  EXPECT_EQ(m.h()->devicePen, 0);
}

TEST(SelectStyle, StateIsSetBeforeTheTemplate) {
  ModelHandle m{{"Command.Style", "LT\\ls;"}, {"Style0", ""}, {"Style3", "3"}};
  SelectStyle(m.h(), 3);
  SelectStyle(m.h(), 3);
  SelectStyle(m.h(), 0);
  EXPECT_EQ(m.Take(), "LT3;LT;");
}

TEST(Setters, StoreWithoutSendingAndRefuseAfterFailure) {
  ModelHandle m{{"Command.Pen", "SP\\pn;"}};
  EXPECT_EQ(NibSetPen(m.get(), 5), 1);
  EXPECT_EQ(NibSetStyle(m.get(), 12), 1);
  EXPECT_EQ(NibSetClip(m.get(), 0), 1);
  EXPECT_EQ(m.Take(), "");
  EXPECT_EQ(m.h()->currentPen, 5);
  EXPECT_EQ(m.h()->currentStyle, 12);
  EXPECT_EQ(m.h()->clipEnabled, 0);
  m.h()->failure = kDeviceFailure;
  EXPECT_EQ(NibSetPen(m.get(), 1), 0);
  EXPECT_EQ(NibSetStyle(m.get(), 1), 0);
  EXPECT_EQ(NibSetClip(m.get(), 1), 0);
  EXPECT_EQ(m.h()->currentPen, 5);
  EXPECT_EQ(NibSetPen(nullptr, 1), 0);
  EXPECT_EQ(NibInitiate(nullptr), 0);
  EXPECT_EQ(NibEndPage(m.get()), 0);
  EXPECT_EQ(m.h()->pageCount, 0);  // refused before counting
}

TEST(Job, EmptyHandleSucceeds) {
  test::HandlePtr p;
  EXPECT_EQ(NibInitiate(p.get()), 1);
  EXPECT_EQ(NibStartPage(p.get()), 1);
  EXPECT_EQ(NibEndPage(p.get()), 1);
  EXPECT_EQ(NibHome(p.get()), 1);
  EXPECT_EQ(NibTerminate(p.get()), 1);
}

// A device that refuses at byte k, for every k of a two-page job: each
// call reports the failure, and no byte reaches the device after it. The
// refusal test's sheets have one page; this job's second page starts with
// Command.NextPage, whose refusal must stop the page too.
TEST(Job, RefusalAtEveryByte) {
  // The whole job is the 12 bytes ISP3YMLENSET.
  for (long k = 0; k < 12; ++k) {
    Job m(1);
    _NibDeviceProc procs = m.device.Procs(true, false);
    NibSetDeviceProc(m.get(), &procs);
    m.device.refusePutAt = k;
    int ok = NibInitiate(m.get());
    ok &= NibStartPage(m.get());
    SelectPen(m.h(), 2);
    SelectStyle(m.h(), 0);
    CommandMove(m.h(), {1, 1});
    CommandLine(m.h(), {2, 2});
    ok &= NibEndPage(m.get());
    ok &= NibStartPage(m.get());
    ok &= NibEndPage(m.get());
    ok &= NibTerminate(m.get());
    EXPECT_EQ(ok, 0) << k;
    EXPECT_EQ(m.device.bytes.size(), static_cast<std::size_t>(k)) << k;
    EXPECT_EQ(m.h()->failure, kDeviceFailure);
  }
}

TEST(Job, RefusedFlushStopsTheStartOfThePage) {
  Job m(1);
  NibEndPage(m.get());
  m.device.refuseWriteAt = 1;
  EXPECT_EQ(NibStartPage(m.get()), 0);
  EXPECT_EQ(m.h()->outUsed, 1u);  // "N" waits, never sent; no "S" behind it
  EXPECT_EQ(Sequence(m.device), "EF");
}

}  // namespace
}  // namespace konib
