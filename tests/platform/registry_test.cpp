// The registry seam against a real root: the system registry on Windows,
// the directory store elsewhere. Only what both must do is asserted here.
#include "platform/registry.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/store_root.h"

namespace konib::platform {
namespace {

using test::StoreRoot;

std::vector<std::string> Subkeys(HKEY root, const char* path) {
  std::vector<std::string> names;
  HKEY key;
  if (OpenKey(root, path, &key) != kStoreOk) return names;
  char name[260];
  long rc;
  for (std::uint32_t i = 0; (rc = EnumKey(key, i, name, sizeof name)) == kStoreOk; ++i)
    names.emplace_back(name);
  EXPECT_EQ(rc, kNoMoreItems);
  CloseKey(key);
  return names;
}

// name -> (type, bytes)
std::map<std::string, std::pair<std::uint32_t, std::string>> Values(HKEY key) {
  std::map<std::string, std::pair<std::uint32_t, std::string>> values;
  char name[260];
  unsigned char data[64];
  for (std::uint32_t i = 0;; ++i) {
    std::uint32_t nameSize = sizeof name, type = 0, size = sizeof data;
    const long rc = EnumValue(key, i, name, &nameSize, &type, data, &size);
    if (rc != kStoreOk) {
      EXPECT_EQ(rc, kNoMoreItems);
      break;
    }
    EXPECT_EQ(nameSize, std::string(name).size());
    values[name] = {type, std::string(reinterpret_cast<char*>(data), size)};
  }
  return values;
}

TEST(RegistrySeam, KeysNestAndTheirNamesIgnoreCase) {
  StoreRoot store;
  HKEY key;
  ASSERT_EQ(CreateKey(store.root(), "Top\\Mid\\Leaf", &key), kStoreOk);
  CloseKey(key);
  ASSERT_EQ(CreateKey(store.root(), "TOP\\other", &key), kStoreOk);
  CloseKey(key);
  EXPECT_EQ(Subkeys(store.root(), "top"), (std::vector<std::string>{"Mid", "other"}));
  EXPECT_EQ(OpenKey(store.root(), "top\\MID\\leaf", &key), kStoreOk);
  CloseKey(key);
  EXPECT_NE(OpenKey(store.root(), "Top\\Leaf", &key), kStoreOk);
  EXPECT_NE(DeleteKey(store.root(), "Top\\Mid"), kStoreOk);  // it still has a subkey
  EXPECT_EQ(Subkeys(store.root(), "Top\\Mid"), std::vector<std::string>{"Leaf"});
  EXPECT_EQ(DeleteKey(store.root(), "Top\\Mid\\LEAF"), kStoreOk);
  EXPECT_EQ(DeleteKey(store.root(), "Top\\Mid"), kStoreOk);
  EXPECT_EQ(Subkeys(store.root(), "Top"), std::vector<std::string>{"other"});
  EXPECT_NE(DeleteKey(store.root(), "Top\\Mid"), kStoreOk);
}

TEST(RegistrySeam, ValuesKeepTheirTypeAndBytes) {
  StoreRoot store;
  HKEY key;
  ASSERT_EQ(CreateKey(store.root(), "K", &key), kStoreOk);
  EXPECT_EQ(SetValue(key, "Text", 1, "PU\\x1;\0", 7), kStoreOk);
  EXPECT_EQ(SetValue(key, "Bytes", 3, "\0\x01\xff\x5c", 4), kStoreOk);
  EXPECT_EQ(SetValue(key, "Nothing", 3, "", 0), kStoreOk);
  EXPECT_EQ(SetValue(key, "text", 1, "IN;\0", 4), kStoreOk);  // the same value, replaced
  using Value = std::pair<std::uint32_t, std::string>;
  const std::map<std::string, Value> expected = {{"Bytes", {3, std::string("\0\x01\xff\x5c", 4)}},
                                                 {"Nothing", {3, ""}},
                                                 {"Text", {1, std::string("IN;\0", 4)}}};
  auto values = Values(key);
  ASSERT_EQ(values.size(), 3u);
  EXPECT_EQ(values.at("Bytes"), expected.at("Bytes"));
  EXPECT_EQ(values.at("Nothing"), expected.at("Nothing"));
  EXPECT_EQ(values.count("Text") + values.count("text"), 1u);
  EXPECT_EQ(values.count("Text") ? values.at("Text") : values.at("text"), expected.at("Text"));
  CloseKey(key);
}

TEST(RegistrySeam, EnumerationReportsSizesAndShortBuffers) {
  StoreRoot store;
  HKEY key;
  ASSERT_EQ(CreateKey(store.root(), "K", &key), kStoreOk);
  ASSERT_EQ(SetValue(key, "Command.Init", 1, "IN;DF;\0", 7), kStoreOk);
  char name[260];
  unsigned char data[8] = {};
  std::uint32_t nameSize = sizeof name, size = 0;
  EXPECT_EQ(EnumValue(key, 0, name, &nameSize, nullptr, nullptr, &size),
            kStoreOk);  // the size alone
  EXPECT_EQ(size, 7u);
  EXPECT_EQ(nameSize, 12u);
  nameSize = sizeof name;
  size = 3;
  EXPECT_EQ(EnumValue(key, 0, name, &nameSize, nullptr, data, &size), kMoreData);
  nameSize = 12;  // no room for the terminator
  size = sizeof data;
  EXPECT_EQ(EnumValue(key, 0, name, &nameSize, nullptr, data, &size), kMoreData);
  nameSize = sizeof name;
  EXPECT_EQ(EnumValue(key, 1, name, &nameSize, nullptr, data, &size), kNoMoreItems);
  EXPECT_EQ(EnumKey(key, 0, name, sizeof name), kNoMoreItems);
  CloseKey(key);
}

TEST(RegistrySeam, AHandleOfADeletedKeyWritesNowhere) {
  StoreRoot store;
  HKEY stale, fresh;
  ASSERT_EQ(CreateKey(store.root(), "K", &stale), kStoreOk);
  ASSERT_EQ(DeleteKey(store.root(), "K"), kStoreOk);
  ASSERT_EQ(CreateKey(store.root(), "K", &fresh), kStoreOk);
  EXPECT_NE(SetValue(stale, "A", 1, "1\0", 2), kStoreOk);
  EXPECT_TRUE(Values(fresh).empty());
  CloseKey(stale);
  CloseKey(fresh);
}

}  // namespace
}  // namespace konib::platform
