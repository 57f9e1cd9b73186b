#include "template/extension.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/memory.h"
#include "platform/modules.h"
#include "support/expand.h"

namespace konib {
namespace {

using test::Expander;

std::string ModulePath(const NibHandle* h, const std::string& name) {
  return std::string(h->moduleDir) + name + platform::kModuleSuffix;
}

void CopyFile(const std::string& from, const std::string& to) {
  std::ifstream in(from, std::ios::binary);
  std::ofstream out(to, std::ios::binary);
  out << in.rdbuf();
}

TEST(Extension, ArgumentsAreExpandedAndHandedOver) {
  Expander expand;
  EXPECT_EQ(expand("<\\[probe.Echo,A\\$42\\n]>"), "<<AB\r\n:5>>");
  EXPECT_EQ(expand("\\[probe.Echo]"), "<null:0>");
  EXPECT_EQ(expand("\\[probe.Echo,]"), "<null:0>");
  EXPECT_EQ(expand("\\[probe.Echo,x,y]"), "<x,y:4>");
  EXPECT_EQ(expand("\\[probe.Echo,\\$5D]"), "<]:2>");
  EXPECT_EQ(expand("\\[probe.Echo,\\x1\\pn\\ls\\\\]"), "<x1pnls\\:8>");
  // The first ] ends the call; a backslash before it takes it as plain.
  EXPECT_EQ(expand("\\[probe.Echo,a\\]b"), "<a]:3>b");
}

TEST(Extension, ChoicesReachTheArguments) {
  Expander expand;
  _NibRegInfo items[] = {{NibKeyPaperSize, 0, "P\\$41\\pp\\po"}, {NibKeyOrientation, 0, "0,L\\n"}};
  ASSERT_EQ(NibSetPlotter(expand.handle.get(), items, 2), 1);
  EXPECT_EQ(expand("\\[probe.Echo,\\pp]"), "<PAppL\r\n:8>");
  // A field that ends in a trail byte 0x5C: that backslash takes the comma.
  _NibRegInfo kanji[] = {{NibKeyPaperSize, 0, "X\x83\\,Y"}};
  ASSERT_EQ(NibSetPlotter(expand.handle.get(), kanji, 1), 1);
  EXPECT_EQ(expand("\\pp|\\[probe.Echo,\\pp]"), std::string("X\x83,|<X\x83,:4>"));
}

TEST(Extension, SyntaxThatIsNoCall) {
  Expander expand;
  EXPECT_EQ(expand("\\[a.b"), "[a.b");
  EXPECT_EQ(expand("\\[probe.Echo,x"), "[probe.Echo,x");
  EXPECT_EQ(expand("\\["), "[");
  EXPECT_EQ(expand("[\\[]|\\[probe.]]"), "[|]");  // empty function names: consumed
  EXPECT_EQ(expand("\\[probe.Echo.x]"), "");      // calls "Echo.x", which is not there
  EXPECT_EQ(expand("\\[probe.Nothing]"), "");
}

TEST(Extension, NameLimits) {
  Expander expand;
  std::string f63(63, 'f');
  EXPECT_EQ(expand(("\\[" + f63 + "]").c_str()), "");
  EXPECT_EQ(expand(("\\[" + f63 + "g]").c_str()), "[" + f63 + "g]");
  std::string m62(62, 'm');
  EXPECT_EQ(expand(("\\[" + m62 + ".f]").c_str()), "");
  EXPECT_EQ(expand(("\\[" + m62 + "n.f]").c_str()), "[" + m62 + "n.f]");
  EXPECT_EQ(expand(("\\[" + m62 + ".fg]").c_str()), "[" + m62 + ".fg]");  // 64 bytes of names
}

TEST(Extension, TheRecordShowsTheHandle) {
  Expander expand;
  NibHandle* h = expand.h();
  h->paperXY = {210, 297};
  h->step = 0.025;
  h->decimals = 3;
  h->stylePitch[1] = 4.5;
  h->stateFlags = kPositionKnown | kPenSelected;
  h->devicePos = {12.5, -3};
  h->deviceStyle = 2;
  h->devicePen = 6;
  h->dataCode = 3;
  EXPECT_EQ(expand("\\[probe.Record]"),
            "paper=210,297 size=1000,800 step=0.025 decimals=3 pitch1=4.5 flags=5 pos=12.5,-3 style=2 "
            "pen=6 code=3 entries=yes");
}

TEST(Extension, PrivateAreaPerModuleAndHandle) {
  Expander one, two;
  EXPECT_EQ(one("\\[probe.Count]\\[probe.Count]"), "#1#2");
  EXPECT_EQ(two("\\[probe.Count]"), "#1");
  EXPECT_EQ(one("\\[PROBE.Count]"), "#3");  // module names ignore case: the same slot
  EXPECT_EQ(one.h()->extensionCount, 1);
}

TEST(Extension, FunctionsWithoutAModuleAreLookedUpInTheSiblingLibrary) {
  Expander expand;
  EXPECT_EQ(expand("\\[Echo]"), "");  // the sibling library has no such function
  ASSERT_EQ(expand.h()->extensionCount, 1);
  EXPECT_STREQ(expand.h()->extensions[0].name, "");
  EXPECT_NE(expand.h()->extensions[0].module, nullptr);
}

TEST(Extension, FailedLoadIsTriedAgain) {
  std::string late;
  {
    Expander expand;
    late = ModulePath(expand.h(), "late");
    std::remove(late.c_str());
    EXPECT_EQ(expand("\\[late.Echo]"), "");
    EXPECT_EQ(expand.h()->extensionCount, 0);
    CopyFile(ModulePath(expand.h(), "probe"), late);
    EXPECT_EQ(expand("\\[late.Echo]"), "<null:0>");
    EXPECT_EQ(expand.h()->extensionCount, 1);
  }  // the handle releases the module, so that its file can go
  std::remove(late.c_str());
}

TEST(Extension, ModelsCannotNameAPath) {
  Expander expand;
  std::string dir = std::string(expand.h()->moduleDir) + "sub";
  std::string nested = dir + "/probe" + platform::kModuleSuffix;
  std::filesystem::create_directories(dir);
  CopyFile(ModulePath(expand.h(), "probe"), nested);
  EXPECT_EQ(expand("\\[sub/probe.Echo]"), "");
  EXPECT_EQ(expand(("\\[" + dir + "/probe.Echo]").c_str()), "");
  EXPECT_EQ(expand("\\[sub\\probe.Echo]"), "");
  EXPECT_EQ(expand("\\[C:probe.Echo]"), "");
  EXPECT_EQ(expand.h()->extensionCount, 0);
  std::remove(nested.c_str());
}

TEST(Extension, FunctionsAfterADeviceFailureAreStillCalled) {
  Expander expand;
  expand.device.refusePutAt = 0;
  EXPECT_EQ(ExpandTemplate(expand.h(), "A\\[probe.Count]\\[probe.Count]"), 0);
  unsigned count;
  std::memcpy(&count, expand.h()->extensions[0].privateArea, sizeof count);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(expand.device.bytes, "");
}

TEST(Extension, ReadThroughTheRecord) {
  Expander expand;
  expand.device.input = "Z";
  EXPECT_EQ(expand("\\[probe.Relay]"), "Z");
  EXPECT_EQ(ExpandTemplate(expand.h(), "\\[probe.Relay]"), 0);  // no more input: refused
  EXPECT_EQ(expand.h()->failure, kDeviceFailure);
}

TEST(Extension, OutOfMemoryNeverFailsTheHandle) {
  Expander expand;
  platform::FailAllocationAt(1);  // the slot
  EXPECT_EQ(expand("\\[probe.Echo,abc]"), "");
  EXPECT_EQ(expand.h()->extensionCount, 0);
  platform::FailAllocationAt(2);  // the slot, then the argument buffer: no arguments
  EXPECT_EQ(expand("\\[probe.Echo,abc]"), "<null:0>");
  EXPECT_EQ(expand("\\[probe.Echo,abc]"), "<abc:4>");
  EXPECT_EQ(expand.h()->failure, kGood);
}

TEST(Extension, LongArgumentsGrowTheBufferInSteps) {
  Expander expand;
  std::string long_text(1500, 'q');
  EXPECT_EQ(expand(("\\[probe.Echo," + long_text + "]").c_str()), "<" + long_text + ":1501>");
  EXPECT_EQ(expand.h()->extArgSize, 1536u);
}

}  // namespace
}  // namespace konib
