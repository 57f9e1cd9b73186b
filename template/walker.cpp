#include "template/walker.h"

#include "core/output.h"
#include "platform/text.h"
#include "template/extension.h"
#include "template/model_escapes.h"
#include "template/number.h"

namespace konib {
namespace {

// \$HH: one byte given by two hexadecimal digits. Decided at once: without
// two digits the escape is not recognised, and no later row could take it.
std::size_t HexEscape(NibHandle* h, const char* text) {
  char byte;
  if (text[0] != '$' || ParseHexByte(text + 1, &byte) == 0) return 0;
  EmitByte(h, byte);
  return 3;
}

// \n: a line end for the device, CR LF.
std::size_t LineEndEscape(NibHandle* h, const char* text) {
  if (text[0] != 'n' && text[0] != 'N') return 0;
  EmitBytes(h, "\r\n", 2);
  return 1;
}

std::size_t SizeEscape(NibHandle* h, const char* text) {
  return ExpandNumberPair(h, text, "sx", h->sizeXY.x, "sy", h->sizeXY.y);
}

std::size_t PaperEscape(NibHandle* h, const char* text) {
  return ExpandNumberPair(h, text, "px", h->paperXY.x, "py", h->paperXY.y);
}

using GlobalEscape = std::size_t (*)(NibHandle* h, const char* text);

// The global escapes in the order in which they are tried. The first that
// recognises the text has done its work.
const GlobalEscape kGlobalEscapes[] = {
    HexEscape,    LineEndEscape, PenEscape, LineStyleEscape, SizeEscape, PaperEscape,
    ChoiceEscape,  // \pp, \pb, \po, \e0 to \e9
};

std::size_t TryLocals(NibHandle* h, const char* text, const WalkRules& rules) {
  return TryLocalEscapes(h, text, rules.locals, rules.localCount);
}

bool MatchesGuard(const char* text, const char* guard) {
  return guard != nullptr && text[0] != '\0' &&
         platform::ToUpper(text[0]) == platform::ToUpper(guard[0]) &&
         platform::ToUpper(text[1]) == platform::ToUpper(guard[1]);
}

// The escape at `text` (just behind a backslash): bytes consumed, or 0 when
// nothing took it.
std::size_t ExpandEscape(NibHandle* h, const char* text, const WalkRules& rules) {
  std::size_t used = ExpandGlobalEscape(h, text);
  if (used == 0 && !rules.localsAfterExtension) used = TryLocals(h, text, rules);
  if (used > 0) return used;
  used = CallExtension(h, text, rules.invoke, rules.invokeData);
  if (used > 0) return used;
  if (rules.localsAfterExtension) used = TryLocals(h, text, rules);
  return used;
}

}  // namespace

std::size_t CallExtension(NibHandle* h, const char* text, ExtensionInvoker invoke,
                          const void* invokeData) {
  NibSpfuncCall call;
  void* function = nullptr;
  const std::size_t used = ExpandExtension(h, text, &call, &function);
  if (used == 0 || function == nullptr) return used;
  if (invoke != nullptr) {
    invoke(function, &call, invokeData);
  } else {
    reinterpret_cast<int (*)(NibSpfuncCall*)>(function)(&call);
  }
  return used;
}

std::size_t TryLocalEscapes(NibHandle* h, const char* text, const LocalEscape* locals,
                            std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const LocalEscape& local = locals[i];
    std::size_t used = local.action != nullptr
                           ? local.action(h, text, local.data)
                           : ExpandNumber(text, h, local.name, local.value, local.divisor);
    if (used > 0) return used;
  }
  return 0;
}

std::size_t ParseHexByte(const char* text, char* out) {
  static const char kDigits[] = "0123456789ABCDEF";
  int value = 0;
  for (int i = 0; i < 2; ++i) {
    char c = platform::ToUpper(text[i]);
    int digit = -1;
    for (int d = 0; d < 16 && c != '\0'; ++d) {
      if (kDigits[d] == c) digit = d;
    }
    if (digit < 0) return 0;
    value = value * 16 + digit;
  }
  *out = static_cast<char>(value);
  return 2;
}

std::size_t ExpandGlobalEscape(NibHandle* h, const char* text) {
  for (GlobalEscape row : kGlobalEscapes) {
    std::size_t used = row(h, text);
    if (used > 0) return used;
  }
  return 0;
}

int WalkTemplate(NibHandle* h, const char* text, const char* end, const WalkRules& rules) {
  if (text == nullptr) return Result(h);
  const char* p = text;
  while ((end == nullptr || p < end) && *p != '\0') {
    if (*p != '\\') {
      // A run of plain bytes goes out in one piece.
      const char* run = p;
      while ((end == nullptr || p < end) && *p != '\0' && *p != '\\') ++p;
      EmitBytes(h, run, static_cast<std::int32_t>(p - run));
      continue;
    }
    ++p;
    // A template that ends in a lone backslash: the backslash is dropped,
    // like that of any unrecognised escape, and nothing follows it. A field
    // that ends in one (a trail byte 0x5C) is followed by its comma, which
    // goes out as the unrecognised escape's byte.
    if (*p == '\0') break;
    if (MatchesGuard(p, rules.guard)) continue;  // the letters go out as plain text
    std::size_t used = ExpandEscape(h, p, rules);
    if (used > 0) {
      p += used;
      continue;
    }
    EmitByte(h, *p);
    ++p;
  }
  return Result(h);
}

}  // namespace konib
