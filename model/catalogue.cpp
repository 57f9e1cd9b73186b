// The catalogue of models below a registry root: listing, installing from
// initialisation files, and deleting a model with its command set once no
// other model uses that set.
#include "model/catalogue.h"

#include <cstring>

#include "model/reg_data.h"
#include "platform/memory.h"
#include "platform/profile.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace konib {
namespace {

// The import reads a section's names into the first half of one block and
// each value into the second: each fits 32,767 bytes and a terminator.
constexpr std::uint32_t kImportBlock = 65536;
constexpr std::uint32_t kImportHalf = kImportBlock / 2;

// Fills the open key `key` with the values of the section.
void CopySection(HKEY key, platform::Profile* profile, const char* section, char* block) {
  char* names = block;
  char* value = block + kImportHalf;
  platform::ReadProfileString(profile, section, nullptr, names, kImportHalf);
  for (const char* name = names; *name != '\0'; name += std::strlen(name) + 1) {
    const std::uint32_t length =
        platform::ReadProfileString(profile, section, name, value, kImportHalf);
    platform::SetValue(key, name, kTextType, value,
                       length + 1);  // the terminator is stored with it
  }
}

// Whether a model other than the one deleted uses the command set `set`.
// A model whose key cannot be opened or holds no values uses none. When
// memory runs out on the way the answer is yes: a set that nobody uses is
// invisible, a model without its set cannot be loaded.
bool SetInUse(HKEY root, const char* path, const char* set) {
  bool outOfMemory = false;
  char* names = ReadModelNames(root, path, &outOfMemory);
  bool used = outOfMemory;
  char keyPath[kKeyPathSize];
  for (const char* name = names; !used && name != nullptr && *name != '\0';
       name += std::strlen(name) + 1) {
    HKEY key;
    if (!FormKeyPath(keyPath, path, "Machine", name, std::strlen(name))) continue;
    const long opened = platform::OpenKey(root, keyPath, &key);
    if (opened != platform::kStoreOk) {
      used = opened == platform::kOutOfMemory;
      continue;
    }
    _NibREG_DATA* values = ReadKeyValues(key, &outOfMemory);
    const _NibREG_DATA* command = FindRecord(values, "Command");
    used = outOfMemory ||
           (command != nullptr &&
            platform::CompareNoCase(reinterpret_cast<const char*>(command->data), set) == 0);
    FreeModelBlock(values);
  }
  FreeModelBlock(names);
  return used;
}

}  // namespace

void ImportProfileSection(HKEY root, const char* keyPath, const char* section, const char* file) {
  auto* block = static_cast<char*>(platform::AllocBlock(kImportBlock));
  if (block == nullptr) return;  // the key stays as it was
  // A file that cannot be read leaves the new key empty, as a missing
  // section does.
  platform::Profile* profile = platform::OpenProfile(file);
  {
    // Delete, create and fill: one transaction, so that no reader ever sees
    // the key half filled, and a crash leaves the old key whole.
    platform::StoreTransaction update(root, true);
    platform::DeleteKey(root, keyPath);
    HKEY key;
    if (platform::CreateKey(root, keyPath, &key) == platform::kStoreOk) {
      if (section != nullptr) CopySection(key, profile, section, block);
      platform::CloseKey(key);
    }
  }
  platform::CloseProfile(profile);
  platform::FreeBlock(block);
}

char* ReadModelNames(HKEY root, const char* path, bool* outOfMemory) {
  *outOfMemory = false;
  char keyPath[kKeyPathSize];
  HKEY machines;
  if (root == nullptr || !FormKeyPath(keyPath, path, "Machine", nullptr, 0)) return nullptr;
  long rc = platform::OpenKey(root, keyPath, &machines);
  if (rc != platform::kStoreOk) {
    *outOfMemory = rc == platform::kOutOfMemory;
    return nullptr;
  }
  char* names = nullptr;
  std::size_t used = 0, capacity = 0;
  char name[kNameSize];
  for (std::uint32_t i = 0;
       (rc = platform::EnumKey(machines, i, name, sizeof name)) == platform::kStoreOk; ++i) {
    const std::size_t length = std::strlen(name);
    if (used + length + 1 > capacity) {
      // Grown in steps of 16 bytes, with room for the closing empty name.
      const std::size_t grown = (used + length + 1 + 15) / 16 * 16;
      void* block = platform::ResizeBlock(names, grown + 1);
      if (block == nullptr) {  // what was gathered so far is the result
        *outOfMemory = true;
        break;
      }
      names = static_cast<char*>(block);
      capacity = grown;
    }
    std::memcpy(names + used, name, length + 1);
    used += length + 1;
  }
  if (rc == platform::kOutOfMemory) *outOfMemory = true;
  if (names != nullptr) names[used] = '\0';
  platform::CloseKey(machines);
  return names;
}

}  // namespace konib

using namespace konib;

extern "C" KONIB_API char* NibGetRegModelNames(HKEY root, const char* path) {
  bool outOfMemory;
  return ReadModelNames(root, path, &outOfMemory);
}

extern "C" KONIB_API void NibSetupRegistry(HKEY root, const char* path, const char* model,
                                           const char* modelSection, const char* modelFile,
                                           const char* command, const char* commandSection,
                                           const char* commandFile) {
  if (root == nullptr) return;
  // A model and its set arrive together: a reader never sees the model
  // without the set it was installed with.
  platform::StoreTransaction update(root, true);
  char keyPath[kKeyPathSize];
  if (model != nullptr && *model != '\0' &&
      FormKeyPath(keyPath, path, "Machine", model, std::strlen(model))) {
    ImportProfileSection(root, keyPath, modelSection, modelFile);
  }
  if (command != nullptr && *command != '\0' &&
      FormKeyPath(keyPath, path, "Command", command, std::strlen(command))) {
    ImportProfileSection(root, keyPath, commandSection, commandFile);
  }
}

extern "C" KONIB_API void NibDeleteRegistry(HKEY root, const char* path, const char* model) {
  char keyPath[kKeyPathSize];
  if (root == nullptr || model == nullptr ||
      !FormKeyPath(keyPath, path, "Machine", model, std::strlen(model))) {
    return;
  }
  // The model, the look for other users of its set and the set itself: one
  // transaction, so that no model installed meanwhile loses the set it uses.
  platform::StoreTransaction update(root, true);
  HKEY key;
  _NibREG_DATA* values = nullptr;
  if (platform::OpenKey(root, keyPath, &key) == platform::kStoreOk) values = ReadKeyValues(key);
  platform::DeleteKey(root, keyPath);
  const _NibREG_DATA* set = FindRecord(values, "Command");
  char setName[kNameSize];
  if (set != nullptr) {
    const void* end = std::memchr(set->data, '\0', set->length);
    const std::size_t length =
        end != nullptr
            ? static_cast<std::size_t>(static_cast<const unsigned char*>(end) - set->data)
            : set->length;
    if (length < sizeof setName) {
      std::memcpy(setName, set->data, length);
      setName[length] = '\0';
      if (!SetInUse(root, path, setName) &&
          FormKeyPath(keyPath, path, "Command", setName, length)) {
        platform::DeleteKey(root, keyPath);
      }
    }
  }
  FreeModelBlock(values);
}
