// The directory store under hard conditions: installers killed at random
// moments, eight processes at once, and names that try to leave the
// directory.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "support/store_records.h"
#include "support/store_root.h"

namespace konib {
namespace {

using test::StoreRecords;
using test::StoreRoot;
using test::TakeNames;
using test::TakeRecords;

// A model file of `count` models M0, M1, ... each with `values` values;
// the even ones use the set Even, the odd ones the set Odd.
std::string ModelFile(int count, int values) {
  std::string text =
      "[Even]\r\nCommand.Init=IN;\r\nCommand.Move=PU\\x1,\\y1;\r\n[Odd]\r\nCommand.Init=IN;DF;\r\n";
  for (int m = 0; m < count; ++m) {
    text += "[M" + std::to_string(m) + "]\r\nCommand=" + (m % 2 == 0 ? "Even" : "Odd") + "\r\n";
    for (int v = 0; v < values; ++v) {
      text += "Paper." + std::to_string(v) + "=Sheet " + std::to_string(m) + "," +
              std::to_string(100 + v) + ",200," +
              std::string(static_cast<std::size_t>(v % 40), 'x') + "\r\n";
    }
  }
  return text;
}

const char* SetOf(int m) { return m % 2 == 0 ? "Even" : "Odd"; }

std::map<std::string, StoreRecords> Expected(const std::string& text, int count) {
  std::map<std::string, StoreRecords> expected;
  for (int m = 0; m < count; ++m) {
    const std::string name = "M" + std::to_string(m);
    expected[name] = TakeRecords(NibGetRegistry2(
        text.data(), static_cast<unsigned long>(text.size()), nullptr, 0, name.c_str()));
  }
  return expected;
}

[[noreturn]] void InstallForever(const std::string& directory, const std::string& file,
                                 unsigned seed) {
  std::mt19937 random(seed);
  HKEY root = NibOpenRegistryDirectory(directory.c_str());
  for (;;) {
    const int m = static_cast<int>(random() % 4);
    const std::string name = "M" + std::to_string(m);
    if (random() % 3 != 0) {
      NibSetupRegistry(root, "Models", name.c_str(), name.c_str(), file.c_str(), SetOf(m), SetOf(m),
                       file.c_str());
    } else {
      NibDeleteRegistry(root, "Models", name.c_str());
    }
  }
}

// The processes use a directory of their own: SQLite forbids a child to
// use a database that its parent had open when it forked, so the parent
// opens it only between the children's lives.
TEST(StoreProcess, AKilledInstallerNeverLeavesHalfAModel) {
  StoreRoot store;
  const std::string directory = store.folder() + "killed";
  const std::string text = ModelFile(4, 60);
  const std::string file = store.WriteFile("models.ini", text);
  const std::map<std::string, StoreRecords> expected = Expected(text, 4);
  std::mt19937 random(7);
  int listed = 0;
  for (int kill = 0; kill < 220; ++kill) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) InstallForever(directory, file, static_cast<unsigned>(kill));
    ::usleep(static_cast<useconds_t>(1000 + random() % 30000));
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));

    HKEY root = NibOpenRegistryDirectory(directory.c_str());
    ASSERT_NE(root, nullptr) << "after kill " << kill;
    for (const std::string& name : TakeNames(NibGetRegModelNames(root, "Models"))) {
      ASSERT_EQ(expected.count(name), 1u) << name;
      EXPECT_EQ(TakeRecords(NibGetRegistry(root, "Models", name.c_str())), expected.at(name))
          << name << " after kill " << kill;
      ++listed;
    }
    NibCloseRegistryDirectory(root);
  }
  std::printf("%d models checked after the kills\n", listed);
  EXPECT_GT(listed, 100);  // the installers got far enough to be interrupted in earnest
}

// One process's part: install, load, delete and list its own models, with
// one command set that all processes share. The result is the number of
// operations that did not give what they should.
int Worker(const std::string& directory, const std::string& file, int process,
           const StoreRecords& whole) {
  HKEY root = NibOpenRegistryDirectory(directory.c_str());
  if (root == nullptr) return 100;
  int failures = 0;
  for (int op = 0; op < 1000; op += 4) {
    const std::string name = "P" + std::to_string(process) + "-" + std::to_string(op / 4 % 5);
    NibSetupRegistry(root, "Models", name.c_str(), "Model", file.c_str(), "Shared", "Shared",
                     file.c_str());
    failures += TakeRecords(NibGetRegistry(root, "Models", name.c_str())) != whole;
    NibDeleteRegistry(root, "Models", name.c_str());
    const std::vector<std::string> names = TakeNames(NibGetRegModelNames(root, "Models"));
    for (const std::string& other : names) failures += other == name;
  }
  const std::string last = "P" + std::to_string(process) + "-last";
  NibSetupRegistry(root, "Models", last.c_str(), "Model", file.c_str(), "Shared", "Shared",
                   file.c_str());
  NibCloseRegistryDirectory(root);
  return failures < 100 ? failures : 99;
}

TEST(StoreProcess, EightProcessesInstallAndDeleteAtOnce) {
  StoreRoot store;
  const std::string directory = store.folder() + "shared";
  const std::string text =
      "[Shared]\r\nCommand.Init=IN;\r\n[Model]\r\nCommand=Shared\r\nStep=0.025\r\nPaper.3=A3,400,"
      "277,\r\n";
  const std::string file = store.WriteFile("models.ini", text);
  const StoreRecords whole = TakeRecords(
      NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()), nullptr, 0, "Model"));
  ASSERT_EQ(whole.size(), 4u);
  std::vector<pid_t> children;
  for (int process = 0; process < 8; ++process) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) ::_exit(Worker(directory, file, process, whole));
    children.push_back(child);
  }
  for (pid_t child : children) {
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "operations that failed in one process";
  }
  std::vector<std::string> expected;
  for (int process = 0; process < 8; ++process)
    expected.push_back("P" + std::to_string(process) + "-last");
  HKEY root = NibOpenRegistryDirectory(directory.c_str());
  EXPECT_EQ(TakeNames(NibGetRegModelNames(root, "Models")), expected);
  for (const std::string& name : expected) {
    EXPECT_EQ(TakeRecords(NibGetRegistry(root, "Models", name.c_str())), whole) << name;
  }
  NibCloseRegistryDirectory(root);
}

// Every file below a folder, as paths relative to it.
std::set<std::string> FilesBelow(const std::string& folder) {
  std::set<std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    files.insert(std::filesystem::relative(entry.path(), folder).string());
  }
  return files;
}

struct HostileName {
  std::string model;
  bool loads;            // installed and loaded back whole
  std::string listedAs;  // the name under Machine, or empty when nothing was installed
};

const HostileName kHostile[] = {
    {"..", true, ".."},
    {"../../escape", true, "../../escape"},
    {"/etc/escape", true, "/etc/escape"},
    {"..\\..\\escape", true, ".."},  // keys within keys, all inside the database
    {"\\escape", false, ""},         // an empty key name is refused
    {"escape\\", false, ""},
    {"a\\\\b", false, ""},
    {"\x95\x5c", true, "\x95\x5c"},  // 0x5C as a trail byte divides nothing
    {"\x95\x5c\\x", true, "\x95\x5c"},
    {"\x95\\x", true, "\x95\\x"},              // a lead byte takes the '\' behind it
    {"\x95", true, "\x95"},                    // a lead byte at the end stands alone
    {std::string("a\0..\\..", 7), true, "a"},  // a name ends at its NUL
};

TEST(StoreProcess, HostileNamesStayInsideTheDatabase) {
  for (const HostileName& c : kHostile) {
    SCOPED_TRACE(c.model);
    StoreRoot store;
    const std::string file = store.WriteFile("h.ini", "[S]\r\nStep=1\r\n");
    const char* model = c.model.c_str();
    NibSetupRegistry(store.root(), "Models", model, "S", file.c_str(), model, "S", file.c_str());
    const std::vector<std::string> names = TakeNames(NibGetRegModelNames(store.root(), "Models"));
    EXPECT_EQ(names, c.listedAs.empty() ? std::vector<std::string>{}
                                        : std::vector<std::string>{c.listedAs});
    EXPECT_EQ(TakeRecords(NibGetRegistry(store.root(), "Models", model)).size(), c.loads ? 1u : 0u);
    NibDeleteRegistry(store.root(), "Models", model);
    EXPECT_EQ(NibGetRegistry(store.root(), "Models", model), nullptr);
    const std::set<std::string> files = FilesBelow(store.folder());
    EXPECT_TRUE(files == (std::set<std::string>{"h.ini", "root", "root/models.db",
                                                "root/models.db-wal", "root/models.db-shm"}))
        << files.size();
  }
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::temp_directory_path() / "escape"));
}

TEST(StoreProcess, RootDirectories) {
  StoreRoot store;
  const std::string file = store.WriteFile("f.ini", "[S]\r\nStep=1\r\n");
  HKEY nested = NibOpenRegistryDirectory((store.folder() + "a/b/c").c_str());  // made as needed
  ASSERT_NE(nested, nullptr);
  NibSetupRegistry(nested, "Models", "M", "S", file.c_str(), nullptr, nullptr, nullptr);
  HKEY second = NibOpenRegistryDirectory((store.folder() + "a/b/c/").c_str());  // the same store
  NibCloseRegistryDirectory(nested);
  EXPECT_EQ(TakeRecords(NibGetRegistry(second, "Models", "M")).size(), 1u);
  NibCloseRegistryDirectory(second);
  NibCloseRegistryDirectory(nullptr);
  for (const std::string& bad :
       {std::string(), file, file + "/below", std::string("/proc/konib")}) {
    EXPECT_EQ(NibOpenRegistryDirectory(bad.c_str()), nullptr) << bad;
  }
  EXPECT_EQ(NibOpenRegistryDirectory(nullptr), nullptr);
}

}  // namespace
}  // namespace konib
