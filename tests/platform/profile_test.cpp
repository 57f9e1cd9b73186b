// Reading initialisation files, as both systems' readers do it.
#include "platform/profile.h"

#include <gtest/gtest.h>

#include <string>

#include "support/store_root.h"

namespace konib::platform {
namespace {

using test::StoreRoot;

const char kFile[] =
    "[Head]\r\n"
    "A=1\r\n"
    "  Name with blanks  =  value  \r\n"
    "Q=\"quoted\"\r\n"
    "Long=0123456789\r\n"
    "no equals sign\r\n"
    "\r\n"
    "[Other]\r\n"
    "A=x\r\n";

// What the reader gives, up to the last terminator it wrote (a list ends
// in two).
std::string Read(Profile* profile, const char* section, const char* name,
                 std::uint32_t size = 256) {
  std::string buffer(size, '#');
  const std::uint32_t length = ReadProfileString(profile, section, name, &buffer[0], size);
  return buffer.substr(0, length + 1);
}

TEST(Profile, SectionsNamesAndValues) {
  StoreRoot store;
  Profile* profile = OpenProfile(store.WriteFile("p.ini", kFile).c_str());
  ASSERT_NE(profile, nullptr);
  EXPECT_EQ(Read(profile, "head", nullptr), std::string("A\0Name with blanks\0Q\0Long\0\0", 27));
  EXPECT_EQ(Read(profile, "OTHER", nullptr), std::string("A\0\0", 3));
  EXPECT_EQ(Read(profile, "Head", "a"), std::string("1\0", 2));
  EXPECT_EQ(Read(profile, "Other", "A"), std::string("x\0", 2));
  EXPECT_EQ(Read(profile, "Head", "name with blanks"), std::string("value\0", 6));
  EXPECT_EQ(Read(profile, "Head", "Q"), std::string("quoted\0", 7));
  EXPECT_EQ(Read(profile, "Head", "Long", 5), std::string("0123\0", 5));  // cut to fit
  EXPECT_EQ(Read(profile, "Head", "Missing"), std::string("\0", 1));
  EXPECT_EQ(Read(profile, "Missing", "A"), std::string("\0", 1));
  CloseProfile(profile);
  EXPECT_EQ(Read(nullptr, "Head", "A"), std::string("\0", 1));
}

}  // namespace
}  // namespace konib::platform
