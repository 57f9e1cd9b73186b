#include "template/extension.h"

#include <cstring>

#include "platform/memory.h"
#include "platform/text.h"
#include "template/model_escapes.h"
#include "template/walker.h"

namespace konib {
namespace {

constexpr std::size_t kMaxModuleName = 62;
constexpr std::size_t kMaxNames = 63;  // module and function bytes together
constexpr std::uint32_t kArgumentGranule = 512;

struct CallText {
  char module[kMaxModuleName + 1];
  char function[kMaxNames + 1];
  const char* arguments;  // null without arguments
  std::size_t argumentsLength;
  std::size_t consumed;
};

// Reads the call's syntax; false when the text is no call.
bool ParseCall(const char* text, CallText* out) {
  if (text[0] != '[' || text[1] == '\0') return false;
  const char* p = text + 1;
  std::size_t count = 0;  // bytes of both names
  std::size_t functionLength = 0;
  bool haveModule = false;
  for (; *p != ']' && *p != ','; ++p) {
    if (*p == '\0' || count == kMaxNames) return false;
    if (*p == '.' && !haveModule) {
      std::memcpy(out->module, out->function, functionLength);
      out->module[functionLength] = '\0';
      functionLength = 0;
      haveModule = true;
      continue;
    }
    out->function[functionLength++] = *p;
    ++count;
  }
  out->function[functionLength] = '\0';
  if (!haveModule) out->module[0] = '\0';
  out->arguments = nullptr;
  out->argumentsLength = 0;
  if (*p == ',') {
    const char* arguments = ++p;
    while (*p != ']') {
      if (*p == '\0') return false;
      ++p;
    }
    if (p > arguments) {
      out->arguments = arguments;
      out->argumentsLength = static_cast<std::size_t>(p - arguments);
    }
  }
  out->consumed = static_cast<std::size_t>(p + 1 - text);
  return true;
}

// A model is data from anywhere: it may name modules in the library's own
// folder only, never a path.
bool IsPlainName(const char* name) {
  return std::strpbrk(name, "/\\:") == nullptr && std::strstr(name, "..") == nullptr;
}

platform::ModuleHandle LoadByName(const NibHandle* h, const char* name) {
  if (name[0] == '\0') return platform::SiblingModule();
  if (!IsPlainName(name)) return nullptr;
  char path[kModuleDirSize];
  std::size_t dir = std::strlen(h->moduleDir);
  std::size_t length = std::strlen(name);
  std::size_t suffix = std::strlen(platform::kModuleSuffix);
  if (dir + length + suffix >= sizeof path) return nullptr;
  std::memcpy(path, h->moduleDir, dir);
  std::memcpy(path + dir, name, length);
  std::memcpy(path + dir + length, platform::kModuleSuffix, suffix + 1);
  return platform::LoadModule(path);
}

// The slot of a module, taken up at its first use. Null when the module
// cannot be had; then the next expansion tries again.
NibExtensionSlot* FindSlot(NibHandle* h, const char* name) {
  NibExtensionSlot* slot = nullptr;
  for (std::int32_t i = 0; i < h->extensionCount; ++i) {
    if (platform::CompareNoCase(h->extensions[i].name, name) == 0) {
      slot = &h->extensions[i];
      break;
    }
  }
  if (slot != nullptr && slot->module != nullptr) return slot;
  platform::ModuleHandle module = LoadByName(h, name);
  if (module == nullptr) return nullptr;
  if (slot == nullptr) {
    std::size_t count = static_cast<std::size_t>(h->extensionCount) + 1;
    auto* grown = static_cast<NibExtensionSlot*>(
        platform::ResizeBlock(h->extensions, count * sizeof(NibExtensionSlot)));
    if (grown == nullptr) {
      if (name[0] != '\0') platform::ReleaseModule(module);
      return nullptr;
    }
    h->extensions = grown;
    h->extensionCount = static_cast<std::int32_t>(count);
    slot = &grown[count - 1];
    std::strcpy(slot->name, name);
  }
  slot->module = module;
  std::memset(slot->privateArea, 0, sizeof slot->privateArea);
  return slot;
}

void FillRecord(NibHandle* h, NibExtensionSlot* slot, NibSpfuncCall* call) {
  static const std::uint16_t kDataCodes[4] = {0, 1, 2, 3};
  std::memset(call, 0, sizeof *call);
  call->privateArea = slot->privateArea;
  call->paperX = h->paperXY.x;
  call->paperY = h->paperXY.y;
  call->sizeX = h->sizeXY.x;
  call->sizeY = h->sizeXY.y;
  call->step = h->step;
  call->decimals = h->decimals;
  std::memcpy(call->stylePitch, h->stylePitch, sizeof call->stylePitch);
  call->stateFlags = h->stateFlags;
  call->devicePosX = h->devicePos.x;
  call->devicePosY = h->devicePos.y;
  call->deviceStyle = h->deviceStyle;
  call->devicePen = h->devicePen;
  call->dataCode = h->dataCode < 4 ? kDataCodes[h->dataCode] : 0;
  call->write = _spfunc_write;
  call->read = _spfunc_read;
  call->readCheck = _spfunc_readcheck;
  call->handle = h;
}

// Puts the bytes of [p, end) into the arguments, with the argument escapes.
// Inside the field of a choice `guard` is that choice's name, which is not
// followed there. False when memory ran out.
bool PutEscapedBytes(NibHandle* h, const char* p, const char* end, const char* guard,
                     std::uint32_t* count) {
  while (p < end && *p != '\0') {
    if (*p == '\\') {
      ++p;
      // A backslash that ends the arguments or a field is followed by the
      // byte behind them (the "]" or the comma), which counts as plain; only
      // the terminator is never passed.
      if (*p == '\0') break;
      bool guarded = guard != nullptr && platform::ToUpper(p[0]) == platform::ToUpper(guard[0]) &&
                     platform::ToUpper(p[1]) == platform::ToUpper(guard[1]);
      std::size_t used = guarded ? 0 : ExpandArgumentEscape(h, p, count);
      if (used > 0) {
        p += used;
        continue;
      }
    }
    if (PutArgumentByte(h, *p++, count) == 0) return false;
  }
  return true;
}

void ExpandArguments(NibHandle* h, const CallText& text, NibSpfuncCall* call) {
  std::uint32_t count = 0;
  if (!PutEscapedBytes(h, text.arguments, text.arguments + text.argumentsLength, nullptr, &count))
    return;
  if (PutArgumentByte(h, '\0', &count) == 0) return;
  call->arguments = h->extArgBuffer;
  call->argumentsLength = count;
}

}  // namespace

std::size_t ExtensionCallLength(const char* text) {
  CallText parsed;
  return ParseCall(text, &parsed) ? parsed.consumed : 0;
}

std::size_t ExpandExtension(NibHandle* h, const char* text, NibSpfuncCall* call, void** function) {
  *function = nullptr;
  CallText parsed;
  if (!ParseCall(text, &parsed)) return 0;
  if (parsed.function[0] == '\0') return parsed.consumed;
  NibExtensionSlot* slot = FindSlot(h, parsed.module);
  if (slot == nullptr) return parsed.consumed;
  void* found = platform::FindFunction(slot->module, parsed.function);
  if (found == nullptr) return parsed.consumed;
  FillRecord(h, slot, call);
  if (parsed.arguments != nullptr) ExpandArguments(h, parsed, call);
  *function = found;
  return parsed.consumed;
}

int PutArgumentByte(NibHandle* h, char byte, std::uint32_t* count) {
  std::uint32_t needed = (*count + kArgumentGranule) / kArgumentGranule * kArgumentGranule;
  if (h->extArgBuffer == nullptr || needed > h->extArgSize) {
    void* grown = platform::ResizeBlock(h->extArgBuffer, needed);
    if (grown == nullptr) return 0;
    h->extArgBuffer = static_cast<char*>(grown);
    h->extArgSize = needed;
  }
  h->extArgBuffer[(*count)++] = byte;
  return 1;
}

std::size_t ExpandArgumentEscape(NibHandle* h, const char* text, std::uint32_t* count) {
  char byte;
  if (text[0] == '$') {
    if (ParseHexByte(text + 1, &byte) == 0) return 0;
    return PutArgumentByte(h, byte, count) != 0 ? 3 : 0;
  }
  if (text[0] == 'n' || text[0] == 'N') {
    return PutArgumentByte(h, '\r', count) != 0 && PutArgumentByte(h, '\n', count) != 0 ? 1 : 0;
  }
  Field field;
  std::size_t used = FindChoiceField(h, text, &field);
  if (used == 0) return 0;
  const char name[3] = {text[0], text[1], '\0'};
  if (field.begin == nullptr) return used;
  if (h->fieldDepth >= kMaxFieldDepth) return used;
  ++h->fieldDepth;
  bool ok = PutEscapedBytes(h, field.begin, field.end, name, count);
  --h->fieldDepth;
  if (!ok) return 0;
  return used;
}

void ReleaseExtensions(NibHandle* h) {
  for (std::int32_t i = 0; i < h->extensionCount; ++i) {
    NibExtensionSlot& slot = h->extensions[i];
    if (slot.name[0] != '\0' && slot.module != nullptr) platform::ReleaseModule(slot.module);
  }
  platform::FreeBlock(h->extensions);
  h->extensions = nullptr;
  h->extensionCount = 0;
}

}  // namespace konib
