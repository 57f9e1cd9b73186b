#include "model/reg_data.h"

#include <cstring>

#include "platform/memory.h"
#include "platform/text.h"

namespace konib {

bool ListBuilder::Start(std::uint32_t count, std::size_t dataBytes) {
  if (count == 0 || count > kMaxRecords) return false;
  block_ = static_cast<unsigned char*>(platform::AllocBlock(dataBytes + count * (kRecordHead + 3)));
  used_ = 0;
  last_ = nullptr;
  return block_ != nullptr;
}

void ListBuilder::Add(const char* name, std::size_t nameLength, std::uint32_t type, const void* data,
                      std::uint32_t length) {
  auto* record = reinterpret_cast<_NibREG_DATA*>(block_ + used_);
  if (nameLength > kNameSize - 1) nameLength = kNameSize - 1;
  std::memcpy(record->name, name, nameLength);
  record->name[nameLength] = '\0';
  record->length = length;
  record->type = type;
  std::memcpy(record->data, data, length);
  record->next = nullptr;
  if (last_ != nullptr) last_->next = record;
  last_ = record;
  used_ += kRecordHead + length;
}

void ListBuilder::AddText(const char* name, std::size_t nameLength, const char* text, std::size_t length) {
  // The block is zero-filled: the byte behind the text is its terminator.
  Add(name, nameLength, kTextType, text, static_cast<std::uint32_t>(length));
  last_->length = static_cast<std::uint32_t>(length + 1);
  ++used_;
}

_NibREG_DATA* ListBuilder::Finish() {
  auto* first = reinterpret_cast<_NibREG_DATA*>(block_);
  if (last_ == nullptr) {
    platform::FreeBlock(block_);
    first = nullptr;
  }
  block_ = nullptr;
  return first;
}

const _NibREG_DATA* FindRecord(const _NibREG_DATA* list, const char* name) {
  const _NibREG_DATA* found = nullptr;
  for (; list != nullptr; list = list->next) {
    if (platform::CompareNoCase(list->name, name) == 0) found = list;
  }
  return found;
}

namespace {

bool NamedIn(const _NibREG_DATA* list, const char* name) {
  for (; list != nullptr; list = list->next) {
    if (platform::CompareNoCase(list->name, name) == 0) return true;
  }
  return false;
}

void Measure(const _NibREG_DATA* list, std::uint32_t* count, std::size_t* bytes) {
  for (; list != nullptr; list = list->next) {
    ++*count;
    *bytes += list->length;
  }
}

}  // namespace

_NibREG_DATA* MergeLists(const _NibREG_DATA* machine, const _NibREG_DATA* command) {
  // Sized over both lists: the command records a machine value overrides
  // still count, so the block may be larger than what it holds.
  std::uint32_t count = 0;
  std::size_t bytes = 0;
  Measure(machine, &count, &bytes);
  Measure(command, &count, &bytes);
  ListBuilder builder;
  if (!builder.Start(count, bytes)) return nullptr;
  for (const _NibREG_DATA* r = command; r != nullptr; r = r->next) {
    if (!NamedIn(machine, r->name)) builder.Add(r->name, std::strlen(r->name), r->type, r->data, r->length);
  }
  for (const _NibREG_DATA* r = machine; r != nullptr; r = r->next) {
    builder.Add(r->name, std::strlen(r->name), r->type, r->data, r->length);
  }
  return builder.Finish();
}

void FreeModelBlock(const void* block) { platform::FreeBlock(const_cast<void*>(block)); }

}  // namespace konib

using namespace konib;

// One routine under seven names: every block the model store hands out is
// one allocation of the same kind.
extern "C" KONIB_API void NibFreeRegistry(const _NibREG_DATA* list) { FreeModelBlock(list); }
extern "C" KONIB_API void NibFreeRegistry2(const _NibREG_DATA* list) { FreeModelBlock(list); }
extern "C" KONIB_API void NibFreePaperInfo(const _NibPAPER_INFO* info) { FreeModelBlock(info); }
extern "C" KONIB_API void NibFreeBinInfo(const _NibBIN_INFO* info) { FreeModelBlock(info); }
extern "C" KONIB_API void NibFreeStepSizeInfo(const _NibSTEPSIZE_INFO* info) { FreeModelBlock(info); }
extern "C" KONIB_API void NibFreeExtensionInfo(const _NibEXTENSION_INFO* info) { FreeModelBlock(info); }
extern "C" KONIB_API void NibFreeRegModelNames(const char* names) { FreeModelBlock(names); }
