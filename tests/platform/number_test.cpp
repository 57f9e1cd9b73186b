#include "platform/number.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <string>

namespace konib::platform {
namespace {

std::string Fixed(double value, int decimals) {
  char buffer[512];
  WriteFixed(value, decimals, buffer, sizeof buffer);
  return buffer;
}

TEST(ReadInt, BehavesAsAtoi) {
  EXPECT_EQ(ReadInt("  42xyz"), 42);
  EXPECT_EQ(ReadInt("-17"), -17);
  EXPECT_EQ(ReadInt("+8"), 8);
  EXPECT_EQ(ReadInt("x12"), 0);
  EXPECT_EQ(ReadInt(""), 0);
  EXPECT_EQ(ReadInt("- 5"), 0);
  EXPECT_EQ(ReadInt("99999999999999999999"), 2147483647);
  EXPECT_EQ(ReadInt("-99999999999999999999"), -2147483647 - 1);
  const char text[] = "1234";
  EXPECT_EQ(ReadInt(text, text + 2), 12);  // stops at the given end
}

TEST(ReadDouble, BehavesAsAtof) {
  EXPECT_EQ(ReadDouble(" 0.025"), 0.025);
  EXPECT_EQ(ReadDouble("-3.5e2mm"), -350.0);
  EXPECT_EQ(ReadDouble("+.5"), 0.5);
  EXPECT_EQ(ReadDouble("5."), 5.0);
  EXPECT_EQ(ReadDouble("1.2.3"), 1.2);
  EXPECT_EQ(ReadDouble("abc"), 0.0);
  EXPECT_EQ(ReadDouble("+-5"), 0.0);
  EXPECT_EQ(ReadDouble("1e999"), HUGE_VAL);
  EXPECT_EQ(ReadDouble("-1e999"), -HUGE_VAL);
  EXPECT_EQ(ReadDouble("1e-999"), 0.0);
  EXPECT_EQ(ReadDouble(" -0x10"), -16.0);  // hexadecimal, as atof reads it
  EXPECT_EQ(ReadDouble("0X1.8p1,5"), 3.0);
  EXPECT_EQ(ReadDouble("0x1p99999"), HUGE_VAL);
  EXPECT_EQ(ReadDouble("0xg"), 0.0);  // the 0 alone
  EXPECT_EQ(ReadDouble("0e"), 0.0);
  const char text[] = "12.75";
  EXPECT_EQ(ReadDouble(text, text + 4), 12.7);
}

TEST(WriteFixed, PlainFixedNotationRoundedToTheDecimals) {
  EXPECT_EQ(Fixed(400.0, 2), "400.00");
  EXPECT_EQ(Fixed(0.05, 2), "0.05");
  EXPECT_EQ(Fixed(-3.1, 2), "-3.10");
  EXPECT_EQ(Fixed(133.333, 0), "133");
  EXPECT_EQ(Fixed(1e20, 1), "100000000000000000000.0");
  EXPECT_EQ(Fixed(0.000001, 3), "0.000");
  EXPECT_EQ(Fixed(-0.001, 2), "-0.00");
  EXPECT_EQ(Fixed(NAN, 2), "0.00");
  EXPECT_EQ(Fixed(HUGE_VAL, 0), "0");
}

// No number read or printed depends on the process's locale. The test runs
// in every locale of this machine that writes numbers with a decimal comma.
TEST(Numbers, IndependentOfTheCLocale) {
  const char* locales[] = {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "ru_RU.UTF-8", ""};
  std::string old = std::setlocale(LC_ALL, nullptr);
  for (const char* name : locales) {
    if (std::setlocale(LC_ALL, name) == nullptr) continue;
    SCOPED_TRACE(name);
    EXPECT_EQ(ReadDouble("0.025"), 0.025);
    EXPECT_EQ(ReadDouble("2,5"), 2.0);
    EXPECT_EQ(Fixed(1234.5, 2), "1234.50");
  }
  std::setlocale(LC_ALL, old.c_str());
}

}  // namespace
}  // namespace konib::platform
