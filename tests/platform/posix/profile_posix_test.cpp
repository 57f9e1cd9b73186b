// The library's own reader of initialisation files: the rules it chose
// where the file form leaves things open.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "platform/profile.h"
#include "support/store_root.h"

namespace konib::platform {
namespace {

using test::StoreRoot;

std::string Read(Profile* profile, const char* section, const char* name,
                 std::uint32_t size = 256) {
  std::string buffer(size, '#');
  const std::uint32_t length = ReadProfileString(profile, section, name, &buffer[0], size);
  return buffer.substr(0, length + 1);
}

struct Case {
  const char* what;
  std::string file;
  const char* section;
  std::string names;  // the list, both terminators included
  const char* name;
  std::string value;  // its terminator included
};

// clang-format off
const Case kCases[] = {
    {"empty lines of every kind", "[S]\n\n\r\r\n\r\nA=1\n\n", "S", {"A\0\0", 3}, "A", {"1\0", 2}},
    {"lines may end in LF or CR alone", "[S]\nA=1\rB=2\r\nC=3", "S", {"A\0B\0C\0\0", 7}, "B",
     {"2\0", 2}},
    {"comments and lines without '='", "[S]\r\n;A=1\r\n  ; B=2\r\nplain\r\nC = 3\r\n", "S",
     {"C\0\0", 3}, "C", {"3\0", 2}},
    {"the first of two lines of a name counts", "[S]\r\nA=1\r\na=2\r\nB=3\r\n", "S",
     {"A\0B\0\0", 5}, "A", {"1\0", 2}},
    {"the first of two sections of a name counts", "[S]\r\nA=1\r\n[s]\r\nA=2\r\nB=3\r\n", "S",
     {"A\0\0", 3}, "B", {"\0", 1}},
    {"0x1A ends the file", "[S]\r\nA=1\x1A\r\nB=2\r\n", "S", {"A\0\0", 3}, "A", {"1\0", 2}},
    {"a trail byte ']' stays in the section name", "[\x83]x]\r\nA=1\r\n", "\x83]x", {"A\0\0", 3},
     "A", {"1\0", 2}},
    {"a quote only at one end stays", "[S]\r\nA=\"x\r\nB='y\"\r\n", "S", {"A\0B\0\0", 5}, "B",
     {"'y\"\0", 4}},
    {"blanks around the head", "  [S]  \r\nA=\t1\t\r\n", "S", {"A\0\0", 3}, "A", {"1\0", 2}},
};
// clang-format on

TEST(ProfileReader, RulesOfTheFileForm) {
  StoreRoot store;
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.what);
    const std::string file = store.WriteFile("c.ini", c.file);
    Profile* profile = OpenProfile(file.c_str());
    ASSERT_NE(profile, nullptr);
    EXPECT_EQ(Read(profile, c.section, nullptr), c.names);
    EXPECT_EQ(Read(profile, c.section, c.name), c.value);
    CloseProfile(profile);
  }
}

TEST(ProfileReader, NamesThatDoNotFitWholeAreLeftOut) {
  StoreRoot store;
  const std::string file = store.WriteFile("n.ini", "[S]\r\nAB=1\r\nLONGER=2\r\nC=3\r\n");
  Profile* profile = OpenProfile(file.c_str());
  EXPECT_EQ(Read(profile, "S", nullptr, 8), std::string("AB\0C\0\0", 6));
  EXPECT_EQ(Read(profile, "S", nullptr, 2), std::string("\0", 1));
  CloseProfile(profile);
}

TEST(ProfileReader, OnlyRegularFilesAreRead) {
  StoreRoot store;
  const std::string pipe = store.folder() + "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(OpenProfile(pipe.c_str()), nullptr);  // at once: nobody writes to it
  EXPECT_EQ(OpenProfile(store.folder().c_str()), nullptr);
  EXPECT_EQ(OpenProfile((store.folder() + "missing.ini").c_str()), nullptr);
  EXPECT_EQ(OpenProfile(""), nullptr);
  EXPECT_EQ(OpenProfile(nullptr), nullptr);
}

}  // namespace
}  // namespace konib::platform
