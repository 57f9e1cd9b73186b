#include "template/walker.h"

#include <gtest/gtest.h>

#include "support/expand.h"

namespace konib {
namespace {

using test::Expander;

TEST(Walker, PlainBytesAndEscapes) {
  const struct {
    const char* text;
    std::string bytes;
  } cases[] = {
      {"IN;SP1;", "IN;SP1;"},
      {"A\\nB\\N", "A\r\nB\r\n"},
      {"\\$1B.\\$0a\\$Ff", "\x1b.\x0a\xff"},
      {"", ""},
      // Unrecognised escapes lose their backslash.
      {"\\\\", "\\"},
      {"a\\,b", "a,b"},
      {"\\zz", "zz"},
      {"\\$G1", "$G1"},  // not two hex digits: not an escape
      {"\\$4", "$4"},
      {"\\5c", "5c"},  // only \$5c is the byte 0x5C
      {"\\$5c", "\\"},
      // A lone backslash at the end is dropped.
      {"PU;\\", "PU;"},
      {"\\", ""},
      // 0x95 0x5C is one character to the value scanner, but the walker
      // knows no double-byte characters: its second byte is a backslash.
      {"\x95\\n", "\x95\r\n"},
      {"\x95\\\x81", "\x95\x81"},
  };
  Expander expand;
  for (const auto& c : cases) EXPECT_EQ(expand(c.text), c.bytes) << c.text;
  expand.device.bytes.clear();
  EXPECT_EQ(ExpandTemplate(expand.h(), nullptr), 1);  // no template: nothing
  EXPECT_EQ(expand.device.bytes, "");
}

TEST(Walker, SizeAndPaperNumbers) {
  Expander expand;
  expand.h()->paperXY = {210.0, 297.0};
  expand.h()->step = 0.5;
  EXPECT_EQ(expand("\\sx,\\sy;"), "2000.00,1600.00;");
  EXPECT_EQ(expand("\\(px,0),\\(PY,0)"), "420,594");
  EXPECT_EQ(expand("\\sxyz"), "2000.00yz");  // nothing ends a name
  EXPECT_EQ(expand("\\(sx,6.1"), "(sx,6.1");
}

TEST(Walker, GuardedNameGoesOutPlain) {
  Expander expand;
  WalkRules rules;
  rules.guard = "pp";
  const char field[] = "A\\pp\\PPB\\n";
  ExpandTemplate(expand.h(), nullptr);
  WalkTemplate(expand.h(), field, field + sizeof field - 1, rules);
  EXPECT_EQ(expand.device.bytes, "AppPPB\r\n");
}

TEST(Walker, StopsAtTheGivenEnd) {
  Expander expand;
  const char text[] = "ABC,DEF";
  WalkTemplate(expand.h(), text, text + 3, WalkRules{});
  EXPECT_EQ(expand.device.bytes, "ABC");
}

std::size_t StarAction(NibHandle* h, const char* text, const void* data) {
  if (text[0] != '*') return 0;
  const char* word = static_cast<const char*>(data);
  ExpandTemplate(h, word);
  return 1;
}

TEST(Walker, LocalEscapesComeBehindTheGlobalOnes) {
  Expander expand;
  expand.h()->step = 0.025;
  expand.h()->decimals = 0;
  const LocalEscape locals[] = {
      {"x1", 10.0, 0.025, nullptr, nullptr},
      {"n1", 5.0, 1.0, nullptr, nullptr},  // shadowed by \n, which is tried first
      {"", 0, 0, StarAction, "STAR"},
  };
  WalkRules rules;
  rules.locals = locals;
  rules.localCount = 3;
  WalkTemplate(expand.h(), "PA\\x1;\\n1;\\*;\\y1", nullptr, rules);
  EXPECT_EQ(expand.device.bytes, "PA400;\r\n1;STAR;y1");
}

TEST(Walker, FailureMidwayRefusesTheRestButWalksOn) {
  Expander expand;
  expand.device.refusePutAt = 2;
  EXPECT_EQ(ExpandTemplate(expand.h(), "ABCDE\\n"), 0);
  EXPECT_EQ(expand.device.bytes, "AB");
  EXPECT_EQ(expand.h()->failure, kDeviceFailure);
  EXPECT_EQ(ExpandTemplate(expand.h(), ""), 0);  // the result reports the failure
}

}  // namespace
}  // namespace konib
