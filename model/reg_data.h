// Model lists: a model as a linked list of named values in one block.
//
// Layout of a list block (one allocation; the first record is at the
// block's address; nothing is aligned):
//
//   offset          field
//   0               next     pointer to the following record, null in the last
//   +ptr            name     260 bytes, NUL-terminated
//   +ptr+260        length   32 bits: bytes of data, the terminator included
//   +ptr+264        type     32 bits: 1 for a value text
//   +ptr+268        data     `length` bytes  (offset 272 on 32-bit Windows)
//
// A block for n records with data lengths l1..ln is sized l1 + ... + ln +
// n * (head + 3) bytes, and a list has fewer than 65,536 records.
#pragma once

#include <cstddef>
#include <cstdint>

#include "KoNib.h"

namespace konib {

constexpr std::size_t kRecordHead = offsetof(_NibREG_DATA, data);
constexpr std::size_t kNameSize = sizeof(_NibREG_DATA::name);
constexpr std::uint32_t kMaxRecords = 65535;
constexpr std::uint32_t kTextType = 1;

// Fills a list block record by record.
class ListBuilder {
 public:
  // Takes the block for `count` records with `dataBytes` of data in all.
  // False when memory ran out or the count is too large.
  bool Start(std::uint32_t count, std::size_t dataBytes);
  // Appends a record; `name` of `nameLength` bytes is cut to 259.
  void Add(const char* name, std::size_t nameLength, std::uint32_t type, const void* data, std::uint32_t length);
  // Appends a value text of `length` bytes and its terminator.
  void AddText(const char* name, std::size_t nameLength, const char* text, std::size_t length);
  // The finished list (null when nothing was added); the builder lets go of it.
  _NibREG_DATA* Finish();

 private:
  unsigned char* block_ = nullptr;
  std::size_t used_ = 0;
  _NibREG_DATA* last_ = nullptr;
};

// The merged model: the command set's records whose names no machine record
// has (without regard to case), then all machine records. Null when memory
// ran out; the two lists are left to the caller.
_NibREG_DATA* MergeLists(const _NibREG_DATA* machine, const _NibREG_DATA* command);

// The last record of a list named `name`, without regard to case, or null.
const _NibREG_DATA* FindRecord(const _NibREG_DATA* list, const char* name);

// Returns a block that the library handed out. Null is allowed.
void FreeModelBlock(const void* block);

}  // namespace konib
