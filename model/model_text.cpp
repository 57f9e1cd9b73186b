#include "model/model_text.h"

#include <cstring>

#include "model/reg_data.h"
#include "platform/text.h"

namespace konib {
namespace {

constexpr char kEndOfText = 0x1A;

bool LineEndAt(const char* p, const char* end) { return p + 1 < end && p[0] == '\r' && p[1] == '\n'; }

// Behind the next CR LF, or the end.
const char* NextLine(const char* p, const char* end) {
  while (p < end && !LineEndAt(p, end)) ++p;
  return p < end ? p + 2 : end;
}

// The byte 0x1A ends the text as its end does.
const char* TextEnd(const char* text, std::size_t size) {
  const void* stop = std::memchr(text, kEndOfText, size);
  return stop != nullptr ? static_cast<const char*>(stop) : text + size;
}

// Walks the value lines of a section body, one at a time.
class ValueCursor {
 public:
  ValueCursor(const char* body, const char* end) : p_(body), end_(end) {}
  // The next value: its name and value text as spans. False at the end of
  // the section.
  bool Next(const char** name, std::size_t* nameLength, const char** value, std::size_t* valueLength) {
    for (;;) {
      const char* line = p_;
      const char* q = line;
      while (q < end_ && *q != '=' && *q != '[' && !LineEndAt(q, end_)) ++q;
      if (q >= end_ || *q == '[') return false;
      if (*q != '=') {  // a line without '=' carries nothing
        p_ = q + 2;
        continue;
      }
      *name = line;
      *nameLength = static_cast<std::size_t>(q - line);
      const char* v = q + 1;
      const char* e = v;
      while (e < end_ && !LineEndAt(e, end_)) ++e;
      *value = v;
      *valueLength = static_cast<std::size_t>(e - v);
      p_ = e < end_ ? e + 2 : end_;
      return true;
    }
  }

 private:
  const char* p_;
  const char* end_;
};

}  // namespace

const char* FindSection(const char* text, const char* end, const char* name) {
  const std::size_t length = std::strlen(name);
  bool inValue = false;
  const char* p = text;
  while (p < end) {
    if (inValue) {
      if (LineEndAt(p, end)) {
        inValue = false;
        p += 2;
      } else {
        ++p;
      }
      continue;
    }
    if (*p == '=') {
      inValue = true;
      ++p;
      continue;
    }
    if (*p != '[') {
      ++p;
      continue;
    }
    // The head needs its name, its ']' and at least one byte behind them.
    if (static_cast<std::size_t>(end - p) <= length + 2) return nullptr;
    if (platform::CompareNoCaseN(p + 1, name, length) == 0 && p[1 + length] == ']') {
      return NextLine(p, end);
    }
    p = NextLine(p, end);
  }
  return nullptr;
}

int EnumTextValue(const char* body, const char* end, std::uint32_t index, char* name, std::uint32_t* nameSize,
                  std::uint32_t* type, char* data, std::uint32_t* dataSize) {
  ValueCursor cursor(body, end);
  const char* n;
  const char* v;
  std::size_t nLength, vLength;
  for (std::uint32_t i = 0; i <= index; ++i) {
    if (!cursor.Next(&n, &nLength, &v, &vLength)) return 1;
  }
  std::size_t keep = *nameSize > 0 ? *nameSize - 1 : 0;
  if (nLength > keep) nLength = keep;
  if (*nameSize > 0) {
    std::memcpy(name, n, nLength);
    name[nLength] = '\0';
  }
  *nameSize = static_cast<std::uint32_t>(nLength);
  if (data != nullptr && *dataSize > 0) {
    std::size_t fit = vLength < *dataSize - 1 ? vLength : *dataSize - 1;
    std::memcpy(data, v, fit);
    data[fit] = '\0';
  }
  *dataSize = static_cast<std::uint32_t>(vLength + 1);
  if (type != nullptr) *type = kTextType;
  return 0;
}

_NibREG_DATA* ReadTextSection(const char* text, const char* name, std::size_t size) {
  if (text == nullptr || size == 0) return nullptr;
  const char* end = TextEnd(text, size);
  const char* body = FindSection(text, end, name);
  if (body == nullptr) return nullptr;
  const char* n;
  const char* v;
  std::size_t nLength, vLength;
  std::uint32_t count = 0;
  std::size_t bytes = 0;
  for (ValueCursor cursor(body, end); cursor.Next(&n, &nLength, &v, &vLength);) {
    if (++count > kMaxRecords) return nullptr;
    bytes += vLength + 1;
  }
  ListBuilder builder;
  if (!builder.Start(count, bytes)) return nullptr;
  for (ValueCursor cursor(body, end); cursor.Next(&n, &nLength, &v, &vLength);) {
    builder.AddText(n, nLength, v, vLength);
  }
  return builder.Finish();
}

}  // namespace konib

using namespace konib;

extern "C" KONIB_API _NibREG_DATA* NibGetRegistry2(const void* modelText, unsigned long modelSize,
                                                   const void* commandText, unsigned long commandSize,
                                                   const char* model) {
  if (modelText == nullptr || modelSize == 0 || model == nullptr) return nullptr;
  const auto* text = static_cast<const char*>(modelText);
  _NibREG_DATA* machine = ReadTextSection(text, model, modelSize);
  if (machine == nullptr) return nullptr;
  const _NibREG_DATA* set = FindRecord(machine, "Command");
  if (set == nullptr) return machine;  // the model is its machine values alone
  // One text may hold the machine section and the command section together.
  if (commandText == nullptr || commandSize == 0) {
    commandText = modelText;
    commandSize = modelSize;
  }
  _NibREG_DATA* command = ReadTextSection(static_cast<const char*>(commandText),
                                          reinterpret_cast<const char*>(set->data), commandSize);
  _NibREG_DATA* merged = command != nullptr ? MergeLists(machine, command) : nullptr;
  FreeModelBlock(command);
  FreeModelBlock(machine);
  return merged;
}
