#include "template/model_escapes.h"

#include <gtest/gtest.h>

#include "config/arena.h"
#include "support/expand.h"

namespace konib {
namespace {

using test::Expander;

struct ModelExpander : Expander {
  void Set(std::int32_t id, const char* text, std::int32_t index = 0) {
    _NibRegInfo item{id, index, text};
    ASSERT_EQ(NibSetPlotter(handle.get(), &item, 1), 1);
  }
};

TEST(PenEscape, TableFieldOrTheNumber) {
  ModelExpander expand;
  expand.h()->devicePen = 2;
  EXPECT_EQ(expand("SP\\pn;\\n"), "SP2;\r\n");
  EXPECT_EQ(expand("\\p0|\\P0"), "0|0");
  expand.Set(NibKeyPenTbl, "A,B,C");
  expand.h()->devicePen = 1;
  EXPECT_EQ(expand("\\pn\\p0"), "BA");
  expand.h()->devicePen = 7;
  EXPECT_EQ(expand("\\PN"), "7");
  expand.Set(NibKeyPenTbl, "A,,C");
  expand.h()->devicePen = 1;
  EXPECT_EQ(expand("[\\pn]"), "[]");
}

TEST(PenEscape, FieldsAreSmallTemplates) {
  ModelExpander expand;
  expand.Set(NibKeyPaperSize, "PS4");
  expand.Set(NibKeyPenTbl, "x,SP1\\,\\$41 \\pn \\pp \\x1");
  expand.h()->devicePen = 1;
  // \, is a comma of the field, \pn inside PenTbl gives its letters, \pp is
  // followed, and a command's own escapes do not exist in a field.
  EXPECT_EQ(expand("\\pn"), "SP1,A pn PS4 x1");
}

TEST(PenEscape, TrailByte5CInAFieldStillStartsAnEscape) {
  ModelExpander expand;
  expand.Set(NibKeyPenTbl, "0,\x95\\n,2");  // the field is two bytes and "n"
  expand.h()->devicePen = 1;
  EXPECT_EQ(expand("\\pn"), std::string("\x95\r\n"));
  // At the field's end, the backslash takes the comma behind it.
  expand.Set(NibKeyPenTbl, "\x95\\,B");
  EXPECT_EQ(expand("[\\p0]"), std::string("[\x95,]"));
  expand.Set(NibKeyPenTbl, "0,1,\x95\\");  // the last field: nothing follows
  expand.h()->devicePen = 2;
  EXPECT_EQ(expand("[\\pn]"), std::string("[\x95]"));
}

TEST(LineStyleEscape, WorkedExample) {
  ModelExpander expand;
  expand.Set(NibKeyStep, "0.025");
  expand.Set(NibKeyDecimal, "0");
  expand.Set(NibKeyStyle0, "LT\\(l1,0)\\,\\(l2,0);,3,1");
  expand.h()->stylePitch[0] = 10;
  expand.h()->deviceStyle = 0;
  EXPECT_EQ(expand("\\ls"), "LT300,100;");
}

TEST(LineStyleEscape, Variables) {
  ModelExpander expand;
  expand.Set(NibKeyDecimal, "1");
  expand.Set(NibKeyStyle2, "\\ln|\\l0|\\l1|\\l3|\\ls|\\l9,1,,3");
  expand.h()->deviceStyle = 2;  // pitch 10
  EXPECT_EQ(expand("\\ls"), "10.0|0.0|2.5|7.5|ls|0.0");
  expand.Set(NibKeyStyle2, "\\ln;\\l1");  // no numbers: all fractions 0
  EXPECT_EQ(expand("\\ls"), "10.0;0.0");
  EXPECT_EQ(expand("\\ln\\l1"), "lnl1");  // only inside a style's template
  expand.h()->deviceStyle = 3;            // no Style3
  EXPECT_EQ(expand("[\\ls]"), "[]");
  expand.h()->deviceStyle = 12;
  EXPECT_EQ(expand("[\\ls]"), "[]");
}

TEST(ChoiceEscapes, PaperFromSizeOrChosenEntry) {
  ModelExpander expand;
  EXPECT_EQ(expand("[\\pp]"), "[]");
  expand.Set(NibKeyPaperSize, "PS0,ignored");
  expand.Set(NibKeyPaperEntry, "A3,297,420,PS3\\pp", 3);
  EXPECT_EQ(expand("\\pp"), "PS0");
  expand.h()->paperIndex = 3;
  EXPECT_EQ(expand("\\pp"), "PS3pp");  // not followed inside its own field
  expand.h()->paperIndex = 5;
  EXPECT_EQ(expand("[\\pp]"), "[]");
}

TEST(ChoiceEscapes, BinOrientationAndExtensionItems) {
  ModelExpander expand;
  expand.Set(NibKeyBin, "Tray,2");
  expand.Set(NibKeyBinEntry, "Lower,BIN2", 2);
  EXPECT_EQ(expand("\\pb"), "BIN2");
  expand.Set(NibKeyOrientation, "1,L,P");
  EXPECT_EQ(expand("\\po"), "P");
  expand.h()->orientation = 0;
  EXPECT_EQ(expand("\\PO"), "L");
  expand.h()->orientation = 2;
  EXPECT_EQ(expand("[\\po]"), "[]");
  expand.Set(NibKeyExtensionEntry, "1,Speed,Slow,S0,Fast,S1", 2);
  EXPECT_EQ(expand("\\e2"), "S1");
  expand.h()->extensionList->selected = 0;
  EXPECT_EQ(expand("\\E2"), "S0");
  EXPECT_EQ(expand("[\\e5]"), "[]");
  EXPECT_EQ(expand("\\ex"), "ex");  // no digit: not an escape
  expand.Set(NibKeyExtensionEntry, ",Speed,Slow,S0", 3);
  EXPECT_EQ(expand("[\\e3]"), "[]");  // empty default and nothing chosen
}

TEST(ChoiceEscapes, ACycleThroughSeveralEscapesEnds) {
  ModelExpander expand;
  expand.Set(NibKeyPaperSize, "P\\po");
  expand.Set(NibKeyOrientation, "0,O\\pp");
  expand.Set(NibKeyPenTbl, "\\p0");
  std::string out = expand("\\pp");
  std::string expected;
  for (int i = 0; i < kMaxFieldDepth / 2; ++i) expected += "PO";
  EXPECT_EQ(out, expected);
  EXPECT_EQ(expand("<\\p0>"), "<>");  // a pen table that names itself sends nothing
  EXPECT_EQ(expand.h()->fieldDepth, 0);
  EXPECT_EQ(expand.h()->failure, kGood);
}

}  // namespace
}  // namespace konib
