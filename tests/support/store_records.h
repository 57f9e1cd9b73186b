// A model list read back as plain records, for comparing lists from the
// store with lists from model text.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "KoNib.h"

namespace konib::test {

struct StoreRecord {
  std::string name;
  std::uint32_t type;
  std::string data;  // all `length` bytes, the terminator included
  bool operator==(const StoreRecord& o) const {
    return std::tie(name, type, data) == std::tie(o.name, o.type, o.data);
  }
  bool operator<(const StoreRecord& o) const {
    return std::tie(name, type, data) < std::tie(o.name, o.type, o.data);
  }
};

using StoreRecords = std::vector<StoreRecord>;

// Records are packed: each field is copied out before use.
inline StoreRecords RecordsOf(const _NibREG_DATA* list) {
  StoreRecords out;
  for (; list != nullptr; list = list->next) {
    const std::uint32_t type = list->type;
    const std::uint32_t length = list->length;
    out.push_back(
        {list->name, type, std::string(reinterpret_cast<const char*>(list->data), length)});
  }
  return out;
}

// The records of a list that the caller owns, which is then freed.
inline StoreRecords TakeRecords(_NibREG_DATA* list) {
  StoreRecords out = RecordsOf(list);
  NibFreeRegistry(list);
  return out;
}

// A value text as the store keeps it: with its terminator.
inline StoreRecord Text(const std::string& name, const std::string& text) {
  return {name, 1, text + std::string(1, '\0')};
}

// The system registry may enumerate in an order of its own: compare as sets.
inline StoreRecords Sorted(StoreRecords records) {
  std::sort(records.begin(), records.end());
  return records;
}

// The block of names from NibGetRegModelNames, split; freed.
inline std::vector<std::string> TakeNames(char* block) {
  std::vector<std::string> names;
  for (const char* p = block; p != nullptr && *p != '\0'; p += names.back().size() + 1)
    names.emplace_back(p);
  NibFreeRegModelNames(block);
  return names;
}

}  // namespace konib::test
