#include "config/value_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace konib {
namespace {

std::vector<std::string> Fields(const char* text) {
  std::vector<std::string> fields;
  FieldWalk walk(text);
  while (walk.Next()) fields.emplace_back(walk.begin(), walk.length());
  return fields;
}

using V = std::vector<std::string>;

TEST(FieldLength, CommasInsideEscapedBracketsDoNotSplit) {
  EXPECT_EQ(Fields("LT\\(l1,0)\\,\\(l2,0);,3,1"), (V{"LT\\(l1,0)\\,\\(l2,0);", "3", "1"}));
  EXPECT_EQ(Fields("\\[mod.fn,a,b],x"), (V{"\\[mod.fn,a,b]", "x"}));
  EXPECT_EQ(Fields("a\\,b,c"), (V{"a\\,b", "c"}));
  EXPECT_EQ(Fields("a\\\\,b"), (V{"a\\\\", "b"}));
  // Plain brackets open nothing, and a closer without its opener does nothing.
  EXPECT_EQ(Fields("(a,b)"), (V{"(a", "b)"}));
  EXPECT_EQ(Fields("a),b]"), (V{"a)", "b]"}));
  EXPECT_EQ(Fields("\\(\\(x),y),z"), (V{"\\(\\(x),y)", "z"}));
}

TEST(FieldLength, Cp932CharactersAreOnePiece) {
  // 0x95 0x5C: the trail byte is a backslash, yet no escape starts there.
  EXPECT_EQ(Fields("\x95\\,B"), (V{"\x95\\", "B"}));
  // 0x83 0x5B: the trail byte is '[', and opens nothing.
  EXPECT_EQ(Fields("\x83[,B"), (V{"\x83[", "B"}));
  // A lead byte before a byte that is no trail byte counts alone.
  EXPECT_EQ(Fields("\x95\x7F,B"), (V{"\x95\x7F", "B"}));
  EXPECT_EQ(Fields("\x95,B"), (V{"\x95", "B"}));
}

TEST(FieldLength, LoneBackslashAtTheEndIsAnOrdinaryByte) {
  EXPECT_EQ(FieldLength("ab\\"), 3u);
  EXPECT_EQ(FieldLength(nullptr), 0u);
  EXPECT_EQ(FieldLength(""), 0u);
}

TEST(FieldLength, DepthCountersWrapAt16Bits) {
  std::string text;
  for (int i = 0; i < 65536; ++i) text += "\\(";
  text += ",x";
  EXPECT_EQ(FieldLength(text.c_str()), 65536u * 2);  // wrapped to zero: the comma ends
}

TEST(FieldWalk, EmptyFieldsAtBothEnds) {
  EXPECT_EQ(Fields(""), V{});
  EXPECT_EQ(Fields(","), (V{"", ""}));
  EXPECT_EQ(Fields(",5"), (V{"", "5"}));
  EXPECT_EQ(Fields("1,"), (V{"1", ""}));
  EXPECT_EQ(Fields("1,,3"), (V{"1", "", "3"}));
}

TEST(FieldWalk, NumbersKeepDefaultsForEmptyAndMissingFields) {
  EXPECT_EQ(FieldInt(",5", 0, -9), -9);
  EXPECT_EQ(FieldInt(",5", 1, -9), 5);
  EXPECT_EQ(FieldInt(",5", 2, -9), -9);
  EXPECT_EQ(FieldInt(nullptr, 0, 7), 7);
  EXPECT_EQ(FieldDouble(" 2.5mm,x", 0, 0), 2.5);
  EXPECT_EQ(FieldDouble("x,1", 0, 3), 0.0);  // present but not a number: atof gives 0
}

struct Copied {
  std::string text;
  std::string rest;
};

Copied Copy(const char* source, std::size_t size = 64) {
  std::vector<char> buffer(size + 1, '#');
  const char* next = CopyField(source, buffer.data(), size);
  return {buffer.data(), next};
}

TEST(CopyField, CopiesAndPointsBehindTheComma) {
  Copied c = Copy("A3,297,420");
  EXPECT_EQ(c.text, "A3");
  EXPECT_EQ(c.rest, "297,420");
  c = Copy("last");
  EXPECT_EQ(c.text, "last");
  EXPECT_EQ(c.rest, "");
  EXPECT_EQ(std::string(CopyField("a,b", nullptr, 0)), "b");
}

TEST(CopyField, CutsShortWithoutSplittingACharacter) {
  Copied c = Copy("abcdef,g", 4);
  EXPECT_EQ(c.text, "abc");
  EXPECT_EQ(c.rest, "g");  // the scan goes on to the end of the field
  c = Copy("ab\x88\x9f,g", 4);
  EXPECT_EQ(c.text, "ab");  // the character would need the terminator's byte
  c = Copy("a\x88\x9f,g", 4);
  EXPECT_EQ(c.text, "a\x88\x9f");
}

TEST(CopyField, DepthFallsOneByteEarly) {
  // The ')' directly behind the unit "\," is not seen: the depth stays open
  // and no later comma ends the field, unlike FieldLength.
  Copied c = Copy("\\(a\\,),b,c");
  EXPECT_EQ(c.text, "\\(a\\,),b,c");
  EXPECT_EQ(c.rest, "");
  EXPECT_EQ(FieldLength("\\(a\\,),b,c"), 6u);
  // A ')' behind an ordinary byte is seen.
  c = Copy("\\(ab),c");
  EXPECT_EQ(c.text, "\\(ab)");
  EXPECT_EQ(c.rest, "c");
}

}  // namespace
}  // namespace konib
