#include "template/number.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <string>

#include "support/expand.h"

namespace konib {
namespace {

using test::Expander;

// Expands `text` with one local number variable x1 of value `value`.
struct NumberExpander : Expander {
  double value = 10.0;
  std::string operator()(const char* text) {
    device.bytes.clear();
    const LocalEscape locals[] = {{"x1", value, h()->step, nullptr, nullptr}};
    WalkRules rules;
    rules.locals = locals;
    rules.localCount = 1;
    WalkTemplate(h(), text, nullptr, rules);
    return device.bytes;
  }
};

// One number variable x1 through every form of the escape: sign, width,
// pad, decimals and the one operator, which acts after the division.
TEST(ExpandNumber, Forms) {
  const struct {
    double value, step;
    const char* text;
    const char* bytes;
  } cases[] = {
      // Step 0.025, two decimals, x1 = 10: the printed value is 400.
      {10, 0.025, "\\x1", "400.00"},
      {10, 0.025, "\\-x1", "-400.00"},
      {10, 0.025, "\\+x1", "400.00"},
      {10, 0.025, "\\X1;\\(x1)", "400.00;400.00"},  // names ignore case
      {10, 0.025, "\\(x1,0)", "400"},
      {10, 0.025, "\\(x1,6.1)", "   400.0"},
      {10, 0.025, "\\(x1,06.1)", "000400.0"},
      {10, 0.025, "\\(-x1,06.1)", "-000400.0"},
      {10, 0.025, "\\(x1,*6.0)", "***400"},
      {10, 0.025, "\\(x1,0,+5)", "405"},
      {10, 0.025, "\\(x1,0,+5s)", "600"},
      {10, 0.025, "\\(x1,0,/3)", "133"},
      {10, 0.025, "\\(x1,,%7)", "1.00"},
      {10, 0.025, "\\(x1,0,/0)", "0"},
      {10, 0.025, "\\(x1,0,*2)", "800"},
      {10, 0.025, "\\(x1,0,-5)", "395"},
      {10, 0.025, "\\(x1,0,-5s)", "200"},
      {10, 0.025, "\\(x1,0,+1.5.7)", "402"},  // atof stops at the second point
      {10, 0.025, "\\x10", "400.000"},
      {3.14159, 1, "[\\(x1,6.)]", "[     3.14]"},  // width 6, default decimals
      {3.14159, 1, "[\\(x1,3)]", "[3.142]"},       // digits alone are decimals
      {3.14159, 1, "[\\(x1,0.2)]", "[3.14]"},
      {3.14159, 1, "[\\(x1,03)]", "[3.142]"},      // pad 0, width 0
      {3.14159, 1, "[\\(x1,.2)]", "[3.14]"},       // pad '.', no width
      {3.14159, 1, "[\\(x1,1.2.3)]", "[ 3.142]"},  // width 2, decimals 3
      {3.14159, 1, "[\\(x1,x4.1)]", "[xxx3.1]"},   // any non-digit pads
      {3.14159, 1, "\\(x1)|\\(x1,)|\\(x1,,)|\\(x1,0,)", "3.14|3.14|3.14|3"},
      {3.14159, 1, "\\(x1,,*2)", "6.28"},
      {-0.001, 1, "\\x1", "0.00"},  // rounds to zero: no sign
      {-0.001, 1, "\\(x1,05.2)", "00000.00"},
      {12345, 1, "\\(x1,03.0)", "12345"},   // width only ever adds
      {12345, 1, "\\(x1,7.0)", "  12345"},  // without a point every digit counts
      {-2.5, 1, "\\(x1,4.1)", "-   2.5"},   // the sign goes before the pad
      {-2.5, 1, "\\(x1,,%2)", "-0.50"},     // remainder keeps the sign of r
      {0, 1, "\\-x1", "0.00"},              // never "-0"
      // Malformed forms are not recognised.
      {10, 1, "\\(x1,0,*)", "(x1,0,*)"},
      {10, 1, "\\(x1,0,*-1)", "(x1,0,*-1)"},
      {10, 1, "\\(x1,6.1", "(x1,6.1"},
      {10, 1, "\\(x1,6.1x)", "(x1,6.1x)"},
      {10, 1, "\\(x1;", "(x1;"},
      {10, 1, "\\(x1,0,^2)", "(x1,0,^2)"},
      {10, 1, "\\(x1,0,+2", "(x1,0,+2"},
      {10, 1, "\\(y1,0)", "(y1,0)"},
  };
  for (const auto& c : cases) {
    NumberExpander expand;
    expand.value = c.value;
    expand.h()->step = c.step;
    EXPECT_EQ(expand(c.text), c.bytes) << c.text << " of " << c.value;
  }
}

TEST(ExpandNumber, TriesTheNextVariableAfterAFailedAttempt) {
  Expander expand;
  const LocalEscape locals[] = {{"x1", 1.0, 1.0, nullptr, nullptr},
                                {"y1", 2.0, 1.0, nullptr, nullptr}};
  WalkRules rules;
  rules.locals = locals;
  rules.localCount = 2;
  WalkTemplate(expand.h(), "\\(y1,0)", nullptr, rules);
  EXPECT_EQ(expand.device.bytes, "2");
  EXPECT_EQ(ExpandNumber("(y1,0)", expand.h(), "x1", 1.0, 1.0), 0u);
}

TEST(ExpandNumber, DivisorOfOneMakesSNoDifference) {
  Expander expand;
  const LocalEscape locals[] = {{"a1", 90.0, 1.0, nullptr, nullptr}};
  WalkRules rules;
  rules.locals = locals;
  rules.localCount = 1;
  WalkTemplate(expand.h(), "\\(a1,0,+5s)|\\(a1,0,+5)", nullptr, rules);
  EXPECT_EQ(expand.device.bytes, "95|95");
}

TEST(ExpandNumber, HugeWidthIsBounded) {
  NumberExpander expand;
  std::string out = expand("\\(x1,9999999.0)");
  EXPECT_EQ(out.size(), 255u);
  EXPECT_EQ(out.substr(253), "10");
}

// A program that has switched to a locale with a decimal comma gets the
// same device bytes, and reads the model's numbers the same way.
TEST(Numbers, TemplatesIgnoreTheCLocale) {
  std::string old = std::setlocale(LC_ALL, nullptr);
  const char* names[] = {"de_DE.UTF-8", "de_DE.utf8"};
  bool switched = false;
  for (const char* name : names) switched = switched || std::setlocale(LC_ALL, name) != nullptr;
  if (!switched) GTEST_SKIP() << "no locale with a decimal comma on this machine";
  NumberExpander expand;
  _NibRegInfo step{NibKeyStep, 0, "0.025"};
  NibSetPlotter(expand.handle.get(), &step, 1);
  EXPECT_EQ(expand.h()->step, 0.025);
  EXPECT_EQ(expand("\\x1;\\(x1,06.1,/3)"), "400.00;000133.3");
  std::setlocale(LC_ALL, old.c_str());
}

}  // namespace
}  // namespace konib

namespace konib {
namespace {

// Whole numbers have their own writer; it must round exactly as the fixed
// notation of the platform does: to the nearest, ties to the even digit,
// and on the exact binary value (0.49999999999999994 is below a half).
TEST(FormatWhole, RoundsAsTheFixedNotation) {
  // clang-format off
  const struct {
    double value;
    const char* text;
  } cases[] = {
      {0.0, "0"}, {-0.0, "0"}, {0.5, "0"}, {1.5, "2"}, {2.5, "2"}, {-0.5, "0"}, {-1.5, "-2"},
      {-2.5, "-2"}, {0.49999999999999994, "0"}, {9.5, "10"}, {99.5, "100"}, {-99.49, "-99"},
      {1000000.0, "1000000"}, {-12345678.0, "-12345678"}, {99999999.0, "99999999"},
      {99999999.5, "100000000"}, {4294967295.5, "4294967296"}, {-4294967296.0, "-4294967296"},
      {9007199254740991.0, "9007199254740991"}, {-4503599627370495.5, "-4503599627370496"},
  };
  // clang-format on
  for (const auto& c : cases) {
    char out[kWholeNumberRoom];
    EXPECT_EQ(std::string(out, FormatWhole(c.value, out)), c.text) << c.value;
  }
}

// Against the general writer, over values of every size up to where a double
// stops holding halves, with ties among them.
TEST(FormatWhole, AgreesWithTheGeneralWriter) {
  std::uint64_t state = 12345;
  for (int i = 0; i < 200000; ++i) {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    const int scale = static_cast<int>(state >> 58);  // 0 to 63
    double value =
        std::ldexp(static_cast<double>(state >> 11), scale - 53) - std::ldexp(1.0, scale - 1);
    if (i % 4 == 0) value = std::floor(value) + 0.5;
    if (!IsWholeNumber(0, value)) continue;
    char general[kFixedBufferSize];
    FormatFixed(value, 0, general);
    std::string expected = general;
    if (expected == "-0") expected = "0";
    char out[kWholeNumberRoom];
    ASSERT_EQ(std::string(out, FormatWhole(value, out)), expected) << value;
  }
}

// Every number the short road writes, and both sides of each power of ten
// up to 2^32, against the digits std::to_string gives.
TEST(FormatWhole, EveryShortNumberAndEachPowerOfTen) {
  for (std::uint32_t v = 0; v < 200000; ++v) {
    char out[kWholeNumberRoom];
    const std::string expected = std::to_string(v);
    ASSERT_EQ(std::string(out, FormatWhole(v, out)), expected);
    ASSERT_EQ(std::string(out, FormatWhole(-static_cast<double>(v), out)),
              v == 0 ? expected : "-" + expected);
  }
  for (std::uint64_t power = 10; power < (std::uint64_t{1} << 32); power *= 10) {
    for (const std::uint64_t v : {power - 1, power}) {
      EXPECT_EQ(DigitCount(static_cast<std::uint32_t>(v)), std::to_string(v).size()) << v;
    }
  }
  EXPECT_EQ(DigitCount(0), 1u);
  EXPECT_EQ(DigitCount(0xFFFFFFFFu), 10u);
}

// What PrintNumber sends and FormatNumber writes are the same bytes, whole
// or not, with width and pad.
TEST(FormatNumber, WholeAndFixedWithWidth) {
  const struct {
    double value;
    int width;
    char pad;
    int decimals;
    const char* text;
  } cases[] = {
      {-0.4, 3, '0', 0, "000"},        {-12.5, 5, '*', 0, "-***12"},
      {7.0, 0, ' ', -3, "7"},          {1e20, 0, ' ', 0, "100000000000000000000"},
      {-0.001, 5, '0', 2, "00000.00"}, {2.25, 2, ' ', 1, " 2.2"},
  };
  for (const auto& c : cases) {
    char out[kNumberTextSize];
    EXPECT_EQ(std::string(out, FormatNumber(out, c.width, c.pad, c.decimals, c.value)), c.text)
        << c.value;
  }
}

}  // namespace
}  // namespace konib
