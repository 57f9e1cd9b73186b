// Loading a model from the registry: its machine values and its command set,
// merged into one list (see model/reg_data.h for the list's layout).
#include <cstring>

#include "model/catalogue.h"
#include "model/reg_data.h"
#include "platform/memory.h"
#include "platform/registry.h"

namespace konib {

bool FormKeyPath(char (&buffer)[kKeyPathSize], const char* path, const char* middle,
                 const char* name, std::size_t nameLength) {
  if (path == nullptr || middle == nullptr) return false;
  const std::size_t pathLength = std::strlen(path);
  const std::size_t middleLength = std::strlen(middle);
  if (name != nullptr) {
    const void* end = std::memchr(name, '\0', nameLength);
    if (end != nullptr) nameLength = static_cast<std::size_t>(static_cast<const char*>(end) - name);
  }
  const std::size_t total = pathLength + 1 + middleLength + (name != nullptr ? 1 + nameLength : 0);
  if (total >= kKeyPathSize) return false;
  char* p = buffer;
  std::memcpy(p, path, pathLength);
  p += pathLength;
  *p++ = '\\';
  std::memcpy(p, middle, middleLength);
  p += middleLength;
  if (name != nullptr) {
    *p++ = '\\';
    std::memcpy(p, name, nameLength);
    p += nameLength;
  }
  *p = '\0';
  return true;
}

namespace {

// The first pass: the number of values and their data bytes. An
// enumeration that fails, a name too long among them, ends the count; the
// result is the reason.
long MeasureValues(HKEY key, std::uint32_t* count, std::size_t* bytes) {
  char name[kNameSize];
  for (;;) {
    std::uint32_t nameSize = kNameSize;
    std::uint32_t dataSize = 0;
    const long rc = platform::EnumValue(key, *count, name, &nameSize, nullptr, nullptr, &dataSize);
    if (rc != platform::kStoreOk || *count == kMaxRecords) return rc;
    ++*count;
    *bytes += dataSize;
  }
}

// The second pass: each value straight into its record.
_NibREG_DATA* FillValues(HKEY key, std::uint32_t count, std::size_t bytes) {
  const std::size_t size = bytes + count * (kRecordHead + 3);
  auto* block = static_cast<unsigned char*>(platform::AllocBlock(size));
  if (block == nullptr) return nullptr;
  std::size_t used = 0;
  _NibREG_DATA* previous = nullptr;
  for (std::uint32_t i = 0; i < count; ++i) {
    auto* record = reinterpret_cast<_NibREG_DATA*>(block + used);
    std::uint32_t nameSize = kNameSize;
    std::uint32_t type = 0;
    auto length = static_cast<std::uint32_t>(size - used - kRecordHead);
    if (platform::EnumValue(key, i, record->name, &nameSize, &type, record->data, &length) !=
        platform::kStoreOk) {
      platform::FreeBlock(block);  // the key changed between the passes
      return nullptr;
    }
    record->type = type;
    record->length = length;
    if (previous != nullptr) previous->next = record;
    previous = record;
    used += kRecordHead + length;
    if (i + 1 < count && used + kRecordHead > size) {
      platform::FreeBlock(block);
      return nullptr;
    }
  }
  return reinterpret_cast<_NibREG_DATA*>(block);
}

// The values of `keyPath` below `root`, or null.
_NibREG_DATA* ReadKeyAt(HKEY root, const char* keyPath) {
  HKEY key;
  if (platform::OpenKey(root, keyPath, &key) != platform::kStoreOk) return nullptr;
  return ReadKeyValues(key);
}

}  // namespace

_NibREG_DATA* ReadKeyValues(HKEY key, bool* outOfMemory) {
  std::uint32_t count = 0;
  std::size_t bytes = 0;
  const bool measured = MeasureValues(key, &count, &bytes) != platform::kOutOfMemory;
  _NibREG_DATA* list = measured && count > 0 ? FillValues(key, count, bytes) : nullptr;
  if (outOfMemory != nullptr) *outOfMemory = !measured || (count > 0 && list == nullptr);
  platform::CloseKey(key);
  return list;
}

}  // namespace konib

using namespace konib;

extern "C" KONIB_API _NibREG_DATA* NibGetRegistry(HKEY root, const char* path, const char* model) {
  char keyPath[kKeyPathSize];
  if (root == nullptr || model == nullptr ||
      !FormKeyPath(keyPath, path, "Machine", model, std::strlen(model))) {
    return nullptr;
  }
  // One snapshot of the store: the machine values and the command set as
  // they stood together, whatever another process installs meanwhile.
  platform::StoreTransaction snapshot(root, false);
  _NibREG_DATA* machine = ReadKeyAt(root, keyPath);
  if (machine == nullptr) return nullptr;
  const _NibREG_DATA* set = FindRecord(machine, "Command");
  if (set == nullptr) return machine;  // the model is its machine values alone
  _NibREG_DATA* command = nullptr;
  if (FormKeyPath(keyPath, path, "Command", reinterpret_cast<const char*>(set->data),
                  set->length)) {
    command = ReadKeyAt(root, keyPath);
  }
  // A model whose command set is missing cannot be loaded.
  _NibREG_DATA* merged = command != nullptr ? MergeLists(machine, command) : nullptr;
  FreeModelBlock(command);
  FreeModelBlock(machine);
  return merged;
}
