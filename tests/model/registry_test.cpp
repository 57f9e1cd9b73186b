// The model store over a real root: the system registry on Windows, the
// library's directory store elsewhere. The system registry may enumerate in
// an order of its own, so lists are compared as sets where the order is
// the store's affair.
#include "platform/registry.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "model/reg_data.h"
#include "platform/memory.h"
#include "support/store_records.h"
#include "support/store_root.h"

namespace konib {
namespace {

using test::Sorted;
using test::StoreRecords;
using test::StoreRoot;
using test::TakeNames;
using test::TakeRecords;
using test::Text;

const char kSample[] =
    "[Sample A3]\r\n"
    "Command=Sample language\r\n"
    "Step=0.025,0.025,0.1\r\n"
    "Paper=,3\r\n"
    "Paper.3=A3,297,420,\\$41\r\n"
    "Paper.4=A4,210,297,\\$42\r\n"
    "#1=Load the sheet before you start.\r\n"
    "[Sample language]\r\n"
    "Command.Init=IN;\\n\r\n"
    "Command.Move=PU\\x1,\\y1;\r\n";

// Installs a model and its set from one file.
void Install(const StoreRoot& store, const std::string& file, const char* model, const char* set) {
  NibSetupRegistry(store.root(), "Models", model, model, file.c_str(), set, set, file.c_str());
}

bool KeyExists(const StoreRoot& store, const char* path) {
  HKEY key;
  if (platform::OpenKey(store.root(), path, &key) != platform::kStoreOk) return false;
  platform::CloseKey(key);
  return true;
}

TEST(Registry, TheSampleModelLoadsWithItsCommandSetFirst) {
  StoreRoot store;
  Install(store, store.WriteFile("sample.ini", kSample), "Sample A3", "Sample language");
  _NibREG_DATA* list = NibGetRegistry(store.root(), "Models", "sample a3");
  ASSERT_NE(list, nullptr);
  // The block's layout: each record right behind the data of the one before.
  std::size_t records = 0;
  for (const _NibREG_DATA* r = list; r != nullptr; r = r->next, ++records) {
    const std::uint32_t length = r->length;
    const auto* behind = reinterpret_cast<const unsigned char*>(r) + kRecordHead + length;
    if (r->next != nullptr) {
      EXPECT_EQ(reinterpret_cast<const unsigned char*>(r->next), behind);
    }
  }
  EXPECT_EQ(records, 8u);
  StoreRecords all = TakeRecords(list);
  EXPECT_EQ(Sorted({all.begin(), all.begin() + 2}),
            Sorted({Text("Command.Init", "IN;\\n"), Text("Command.Move", "PU\\x1,\\y1;")}));
  EXPECT_EQ(Sorted({all.begin() + 2, all.end()}),
            Sorted({Text("Command", "Sample language"), Text("Step", "0.025,0.025,0.1"),
                    Text("Paper", ",3"), Text("Paper.3", "A3,297,420,\\$41"),
                    Text("Paper.4", "A4,210,297,\\$42"),
                    Text("#1", "Load the sheet before you start.")}));
}

TEST(Registry, MachineValuesOverrideTheSetWithoutRegardToCase) {
  StoreRoot store;
  const std::string file = store.WriteFile("m.ini",
                                           "[M]\r\nCommand=Set\r\ncommand.move=mine\r\nEmpty=\r\n["
                                           "Set]\r\nCommand.Move=theirs\r\nX=1\r\n");
  Install(store, file, "M", "Set");
  StoreRecords all = TakeRecords(NibGetRegistry(store.root(), "Models", "M"));
  ASSERT_EQ(all.size(), 4u);
  EXPECT_EQ(all[0], Text("X", "1"));
  EXPECT_EQ(Sorted({all.begin() + 1, all.end()}),
            Sorted({Text("Command", "Set"), Text("command.move", "mine"), Text("Empty", "")}));
}

TEST(Registry, LoadFailsWithoutTheModelOrItsSet) {
  StoreRoot store;
  const std::string file =
      store.WriteFile("m.ini", "[Alone]\r\nStep=1\r\n[Orphan]\r\nCommand=Gone\r\n[Empty]\r\n");
  Install(store, file, "Alone", nullptr);
  Install(store, file, "Orphan", nullptr);
  Install(store, file, "Empty", nullptr);
  EXPECT_EQ(TakeRecords(NibGetRegistry(store.root(), "Models", "Alone")),
            StoreRecords{Text("Step", "1")});
  EXPECT_EQ(NibGetRegistry(store.root(), "Models", "Orphan"), nullptr);  // its set is missing
  EXPECT_EQ(NibGetRegistry(store.root(), "Models", "Empty"), nullptr);   // a key without values
  EXPECT_EQ(NibGetRegistry(store.root(), "Models", "Missing"), nullptr);
  EXPECT_EQ(NibGetRegistry(store.root(), "Other", "Alone"), nullptr);
  EXPECT_EQ(NibGetRegistry(store.root(), nullptr, "Alone"), nullptr);
  EXPECT_EQ(NibGetRegistry(nullptr, "Models", "Alone"), nullptr);
  EXPECT_EQ(TakeNames(NibGetRegModelNames(store.root(), "Models")),
            (std::vector<std::string>{"Alone", "Empty", "Orphan"}));
}

// What is left after each step of a series of installs and deletes.
struct CatalogueCase {
  const char* name;
  std::vector<std::pair<const char*, const char*>>
      installs;  // model, its line Command= (null: none)
  std::vector<const char*> deletes;
  std::vector<std::string> models;  // listed afterwards
  bool setLeft;                     // the set "Pens" is still there
};

const CatalogueCase kCatalogue[] = {
    {"a shared set outlives its first user", {{"A", "Pens"}, {"B", "PENS"}}, {"A"}, {"B"}, true},
    {"and goes with its last", {{"A", "Pens"}, {"B", "pens"}}, {"A", "b"}, {}, false},
    {"a model without a set takes no set along", {{"A", nullptr}}, {"A"}, {}, true},
    {"a model that is not there deletes nothing", {{"A", "Pens"}}, {"Z"}, {"A"}, true},
    {"another set's model keeps nothing", {{"A", "Pens"}, {"B", "Inks"}}, {"A"}, {"B"}, false},
    {"an unused set stays until a user goes", {}, {"A"}, {}, true},
};

TEST(Catalogue, CommandSetsGoWithTheirLastModel) {
  for (const CatalogueCase& c : kCatalogue) {
    SCOPED_TRACE(c.name);
    StoreRoot store;
    std::string text = "[Pens]\r\nCommand.Init=IN;\r\n";
    for (const auto& install : c.installs) {
      text += std::string("[") + install.first + "]\r\nStep=1\r\n";
      if (install.second != nullptr) text += std::string("Command=") + install.second + "\r\n";
    }
    const std::string file = store.WriteFile("c.ini", text);
    NibSetupRegistry(store.root(), "Models", nullptr, nullptr, nullptr, "Pens", "Pens",
                     file.c_str());
    for (const auto& install : c.installs) Install(store, file, install.first, nullptr);
    for (const char* model : c.deletes) NibDeleteRegistry(store.root(), "Models", model);
    EXPECT_EQ(TakeNames(NibGetRegModelNames(store.root(), "Models")), c.models);
    EXPECT_EQ(KeyExists(store, "Models\\Command\\Pens"), c.setLeft);
    for (const std::string& model : c.models) {
      EXPECT_EQ(TakeRecords(NibGetRegistry(store.root(), "Models", model.c_str())).size(),
                c.setLeft ? 3u : 0u);
    }
  }
}

TEST(Catalogue, SetupReplacesAKeyWhole) {
  StoreRoot store;
  const std::string first = store.WriteFile("1.ini", "[M]\r\nA=1\r\nB=2\r\n");
  const std::string second = store.WriteFile("2.ini", "[M]\r\nb=3\r\n");
  Install(store, first, "M", nullptr);
  Install(store, second, "M", nullptr);
  EXPECT_EQ(TakeRecords(NibGetRegistry(store.root(), "Models", "M")), StoreRecords{Text("b", "3")});
  Install(store, store.folder() + "missing.ini", "M",
          nullptr);  // an unreadable file empties the key
  EXPECT_EQ(NibGetRegistry(store.root(), "Models", "M"), nullptr);
  EXPECT_EQ(TakeNames(NibGetRegModelNames(store.root(), "Models")), std::vector<std::string>{"M"});
}

TEST(Catalogue, NamesComeInOneBlockEndedByAnEmptyName) {
  StoreRoot store;
  EXPECT_EQ(NibGetRegModelNames(store.root(), "Models"),
            nullptr);  // no models: null, not an empty list
  const std::string file = store.WriteFile("n.ini", "[S]\r\nA=1\r\n");
  for (const char* model : {"b", "A", "a longer name of a model", "c"}) {
    NibSetupRegistry(store.root(), "Models", model, "S", file.c_str(), nullptr, nullptr, nullptr);
  }
  char* names = NibGetRegModelNames(store.root(), "Models");
  const char expected[] = "A\0a longer name of a model\0b\0c\0";
  ASSERT_NE(names, nullptr);
  EXPECT_EQ(std::string(names, sizeof expected), std::string(expected, sizeof expected));
  NibFreeRegModelNames(names);
}

// path\Machine\model is formed in 260 bytes: 259 and its terminator fit.
TEST(Catalogue, KeyPathsStopBelow260Bytes) {
  StoreRoot store;
  const std::string file = store.WriteFile("l.ini", "[S]\r\nA=1\r\n");
  const std::string fits(259 - std::strlen("P\\Machine\\"), 'm');
  const std::string longer = fits + "m";
  for (const std::string& model : {fits, longer}) {
    NibSetupRegistry(store.root(), "P", model.c_str(), "S", file.c_str(), nullptr, nullptr,
                     nullptr);
  }
  EXPECT_EQ(TakeNames(NibGetRegModelNames(store.root(), "P")), std::vector<std::string>{fits});
  EXPECT_EQ(TakeRecords(NibGetRegistry(store.root(), "P", fits.c_str())).size(), 1u);
  EXPECT_EQ(NibGetRegistry(store.root(), "P", longer.c_str()), nullptr);
  NibDeleteRegistry(store.root(), "P", longer.c_str());
  NibDeleteRegistry(store.root(), "P", fits.c_str());
  EXPECT_EQ(NibGetRegModelNames(store.root(), "P"), nullptr);
}

// The n-th allocation fails, for every n in turn: each operation ends in a
// result it may give, and the sanitizer build sees no leak.
TEST(Catalogue, EveryOutOfMemoryPointEndsInADefinedState) {
  StoreRoot store;
  const std::string file = store.WriteFile("s.ini", kSample);
  const std::string other =
      store.WriteFile("o.ini", "[Sample A3]\r\nCommand=Sample language\r\nStep=9\r\n");
  Install(store, file, "Sample A3", "Sample language");
  NibSetupRegistry(store.root(), "Models", "Second", "Sample A3", other.c_str(), nullptr, nullptr,
                   nullptr);
  const StoreRecords whole =
      Sorted(TakeRecords(NibGetRegistry(store.root(), "Models", "Sample A3")));
  ASSERT_EQ(whole.size(), 8u);
  ASSERT_EQ(TakeRecords(NibGetRegistry(store.root(), "Models", "Second")).size(), 4u);
  // Every operation takes fewer blocks than a clean delete and reinstall.
  const unsigned long before = platform::AllocationCount();
  NibDeleteRegistry(store.root(), "Models", "Sample A3");
  Install(store, file, "Sample A3", nullptr);
  const unsigned long limit = platform::AllocationCount() - before + 1;
  const StoreRecords replaced =
      Sorted({Text("Command", "Sample language"), Text("Command.Init", "IN;\\n"),
              Text("Command.Move", "PU\\x1,\\y1;"), Text("Step", "9")});
  for (unsigned long n = 1; n <= limit; ++n) {
    SCOPED_TRACE(n);
    platform::FailAllocationAt(n);
    _NibREG_DATA* list = NibGetRegistry(store.root(), "Models", "Sample A3");
    const bool loaded = list != nullptr;
    if (loaded) {
      EXPECT_EQ(Sorted(TakeRecords(list)), whole);
    }

    platform::FailAllocationAt(n);  // the names gathered before memory ran out
    std::vector<std::string> names = TakeNames(NibGetRegModelNames(store.root(), "Models"));
    EXPECT_TRUE(names.empty() || names == (std::vector<std::string>{"Sample A3"}) ||
                names == (std::vector<std::string>{"Sample A3", "Second"}));

    platform::FailAllocationAt(n);  // setup: the old model, the new one, or an empty key
    Install(store, other, "Sample A3", nullptr);
    platform::FailAllocationAt(0);
    StoreRecords now = Sorted(TakeRecords(NibGetRegistry(store.root(), "Models", "Sample A3")));
    EXPECT_TRUE(now.empty() || now == whole || now == replaced);
    if (n == limit) {  // past the last allocation every operation succeeds
      EXPECT_TRUE(loaded && names.size() == 2 && now == replaced);
    }
    Install(store, file, "Sample A3", nullptr);

    platform::FailAllocationAt(n);  // delete: the model goes; the set stays for Second
    NibDeleteRegistry(store.root(), "Models", "Sample A3");
    platform::FailAllocationAt(0);
    EXPECT_EQ(TakeNames(NibGetRegModelNames(store.root(), "Models")),
              std::vector<std::string>{"Second"});
    EXPECT_EQ(TakeRecords(NibGetRegistry(store.root(), "Models", "Second")).size(), 4u);
    Install(store, file, "Sample A3", nullptr);
  }
  platform::FailAllocationAt(0);
}

}  // namespace
}  // namespace konib
