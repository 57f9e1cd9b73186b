// A model list built by hand, record by record, in the packed layout the
// library takes in.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "KoNib.h"

namespace konib::test {

class ModelList {
 public:
  ModelList(std::initializer_list<std::pair<std::string, std::string>> values) { Build(values); }
  explicit ModelList(const std::vector<std::pair<std::string, std::string>>& values) {
    Build(values);
  }
  const _NibREG_DATA* get() const {
    return block_.empty() ? nullptr : reinterpret_cast<const _NibREG_DATA*>(block_.data());
  }

 private:
  template <typename Values>
  void Build(const Values& values) {
    constexpr std::size_t kHead = offsetof(_NibREG_DATA, data);
    std::size_t size = 0;
    for (const auto& value : values) size += kHead + value.second.size() + 1;
    block_.assign(size, '\0');
    char* at = block_.data();
    _NibREG_DATA* previous = nullptr;
    for (const auto& value : values) {
      auto* record = reinterpret_cast<_NibREG_DATA*>(at);
      std::strncpy(record->name, value.first.c_str(), sizeof record->name - 1);
      record->length = static_cast<std::uint32_t>(value.second.size() + 1);
      record->type = 1;
      std::memcpy(record->data, value.second.c_str(), value.second.size() + 1);
      if (previous != nullptr) previous->next = record;
      previous = record;
      at += kHead + record->length;
    }
  }

  std::vector<char> block_;
};

}  // namespace konib::test
