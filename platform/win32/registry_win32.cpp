// The system registry, through its ANSI calls: key paths and names are
// CP932 text, which the system turns into its own, so a trail byte 0x5C
// never divides a path and names compare as the system compares them.
#include <windows.h>

#include "platform/registry.h"

namespace konib::platform {

long OpenKey(HKEY parent, const char* subkey, HKEY* key) {
  return RegOpenKeyA(parent, subkey, key);
}

long CreateKey(HKEY parent, const char* subkey, HKEY* key) {
  return RegCreateKeyA(parent, subkey, key);
}

void CloseKey(HKEY key) {
  if (key != nullptr) RegCloseKey(key);
}

long EnumKey(HKEY key, std::uint32_t index, char* name, std::uint32_t capacity) {
  return RegEnumKeyA(key, index, name, capacity);
}

long EnumValue(HKEY key, std::uint32_t index, char* name, std::uint32_t* nameSize,
               std::uint32_t* type, unsigned char* data, std::uint32_t* dataSize) {
  if (nameSize == nullptr) return ERROR_INVALID_PARAMETER;
  DWORD nameLength = *nameSize;
  DWORD valueType = 0;
  DWORD size = dataSize != nullptr ? *dataSize : 0;
  LONG rc =
      RegEnumValueA(key, index, name, &nameLength, nullptr, type != nullptr ? &valueType : nullptr,
                    data, dataSize != nullptr ? &size : nullptr);
  if (rc == ERROR_SUCCESS || rc == ERROR_MORE_DATA) {
    *nameSize = nameLength;
    if (type != nullptr) *type = valueType;
    if (dataSize != nullptr) *dataSize = size;
  }
  return rc;
}

long SetValue(HKEY key, const char* name, std::uint32_t type, const void* data,
              std::uint32_t size) {
  return RegSetValueExA(key, name, 0, type, static_cast<const BYTE*>(data), size);
}

// An empty subkey would name the parent itself, which is never meant here.
long DeleteKey(HKEY parent, const char* subkey) {
  if (subkey == nullptr || *subkey == '\0') return ERROR_INVALID_PARAMETER;
  return RegDeleteKeyA(parent, subkey);
}

// The system registry offers no transaction across these calls.
void BeginStoreTransaction(HKEY, bool) {}
void EndStoreTransaction(HKEY) {}

}  // namespace konib::platform
