// NibSetPlotter and NibSetPlotter2: the door through which a model's values
// enter a handle. Every text is copied into the handle's arena; the keys
// that have fields of their own are parsed once, here, from that copy.
#include "config/intake.h"

#include <cstring>

#include "config/keys.h"
#include "config/value_text.h"
#include "platform/number.h"

namespace konib {
namespace {

// Reads numeric fields into their targets; empty and missing fields leave
// the defaults in place, field by field.
template <typename Setter>
void ForEachField(const char* text, int first, int last, Setter set) {
  FieldWalk walk(text);
  while (walk.Next()) {
    if (walk.number() > last) break;
    if (walk.number() >= first && !walk.empty()) set(walk.number(), walk.begin(), walk.end());
  }
}

double Real(const char* begin, const char* end) { return platform::ReadDouble(begin, end); }
int Integer(const char* begin, const char* end) { return platform::ReadInt(begin, end); }

void ParsePenLayout(NibHandle* h, const char* text, int) {
  ForEachField(text, 0, kPenCount - 1, [h](int i, const char* b, const char* e) { h->pens[i].number = Integer(b, e); });
}

// Styles 1 to 9: the pitch of style 0 is not a model's to set.
void ParseStylePitch(NibHandle* h, const char* text, int) {
  ForEachField(text, 0, kStyleCount - 2, [h](int i, const char* b, const char* e) { h->stylePitch[i + 1] = Real(b, e); });
}

void ParsePair(_NibWorld2* pair, const char* text) {
  ForEachField(text, 0, 1, [pair](int i, const char* b, const char* e) { (i == 0 ? pair->x : pair->y) = Real(b, e); });
}

void ParseOrigin(NibHandle* h, const char* text, int) { ParsePair(&h->origin, text); }
void ParseScale(NibHandle* h, const char* text, int) { ParsePair(&h->scale, text); }
void ParsePaper(NibHandle* h, const char*, int) { ApplyPaperSize(h); }

void ParseOrientation(NibHandle* h, const char* text, int) {
  h->rotateFlag = FieldInt(text, 3, h->rotateFlag);
}

void ParseStep(NibHandle* h, const char* text, int) { h->step = FieldDouble(text, 0, h->step); }
void ParseDecimal(NibHandle* h, const char* text, int) { h->decimals = FieldInt(text, 0, h->decimals); }
void ParseAnk(NibHandle* h, const char* text, int) { h->ankFont = FieldInt(text, 0, h->ankFont); }

void ParseKanji(NibHandle* h, const char* text, int) {
  h->kanjiFont = FieldInt(text, 0, h->kanjiFont);
  const char* begin;
  std::size_t length;
  if (FindField(text, 1, &begin, &length) && length > 0) {
    h->kanjiFlag = Integer(begin, begin + length) != 0 ? 1 : 0;
  }
}

// The fields are width, height, x offset, y offset; the record keeps the
// offsets first.
void ParseFontAdjust(NibHandle* h, const char* text, int id) {
  NibFontAdjustRow& row = h->fontAdjust[id - NibKeyFontAdjust1];
  double* targets[4] = {&row.width, &row.height, &row.xOffset, &row.yOffset};
  ForEachField(text, 0, 3, [&targets](int i, const char* b, const char* e) { *targets[i] = Real(b, e); });
}

void ParseDrawArc(NibHandle* h, const char* text, int) { h->arcLimit = FieldDouble(text, 0, h->arcLimit); }

// What a key does on intake: the slot that keeps its text, and the parse of
// its fields. List keys have no slot; id 4 keeps its text aside.
struct KeyAction {
  int slot;  // -1: none
  void (*parse)(NibHandle* h, const char* text, int id);
};

constexpr int kNoSlot = -1;
constexpr int kMaxKey = NibKeyCtrlDrawArc;

constexpr KeyAction ActionFor(int id) {
  switch (id) {
    case NibKeyPenLayout: return {kPenLayoutText, ParsePenLayout};
    case NibKeyStylePitch: return {kStylePitchText, ParseStylePitch};
    case NibKeyOrigin: return {kOriginText, ParseOrigin};
    case NibKeyScale: return {kScaleText, ParseScale};
    case NibKeyPaper: return {kPaperText, ParsePaper};
    case NibKeyPaperEntry: return {kNoSlot, ParsePaper};
    case NibKeyPaperSize: return {kPaperSizeText, ParsePaper};
    case NibKeyBin: return {kBinText, nullptr};
    case NibKeyBinEntry: return {kNoSlot, nullptr};
    case NibKeyOrientation: return {kOrientationText, ParseOrientation};
    case NibKeyStep: return {kStepText, ParseStep};
    case NibKeyDecimal: return {kDecimalText, ParseDecimal};
    case NibKeyAnk: return {kAnkText, ParseAnk};
    case NibKeyKanji: return {kKanjiText, ParseKanji};
    case NibKeyFontReplace: return {kFontReplaceText, nullptr};
    case NibKeyPenTbl: return {kPenTblText, nullptr};
    case NibKeyExtensionEntry: return {kNoSlot, nullptr};
    case NibKeyCtrlDrawArc: return {kCtrlDrawArcText, ParseDrawArc};
    default: break;
  }
  if (id >= NibKeyFontAdjust1 && id <= NibKeyFontAdjust5) {
    return {kFontAdjustText + id - NibKeyFontAdjust1, ParseFontAdjust};
  }
  if (id >= NibKeyStyle0 && id <= NibKeyStyle9) return {kStyleText + id - NibKeyStyle0, nullptr};
  // Commands 32 to 64 and digitizing 66 to 71 stand in the slots in key order.
  if (id >= NibKeyCommandPen && id <= NibKeyCommandFontAngle) {
    constexpr int kCommandSlots[] = {
        kCmdPen, kCmdNextPen, kCmdStyle, kCmdInit, kCmdTerm, kCmdAbort, kCmdStartPage,
        kCmdEndPage, kCmdNextPage, kCmdHome, kCmdMove, kCmdLine, kCmdCircle, kCmdArc,
        kCmdText, kCmdTextDrawInit, kCmdTextDraw, kCmdTextDrawTerm, kCmdTextCharInit,
        kCmdTextChar, kCmdTextCharTerm, kCmdTextKanaInit, kCmdTextKana, kCmdTextKanaTerm,
        kCmdTextTerm, kCmdFontBoldOff, kCmdFontBoldOn, kCmdFontItalicOff, kCmdFontItalicOn,
        kCmdFontWidth, kCmdFontHeight, kCmdFontPitch, kCmdFontAngle};
    return {kCommandSlots[id - NibKeyCommandPen], nullptr};
  }
  if (id >= NibKeyDigitizeStart && id <= NibKeyDigitizeReleasePen) {
    return {kDigitizeStart + id - NibKeyDigitizeStart, nullptr};
  }
  return {kNoSlot, nullptr};
}

bool IsListKey(std::int32_t id) {
  return id == NibKeyPaperEntry || id == NibKeyBinEntry || id == NibKeyExtensionEntry;
}

NibListEntry** ListOf(NibHandle* h, std::int32_t id) {
  if (id == NibKeyPaperEntry) return &h->paperList;
  if (id == NibKeyBinEntry) return &h->binList;
  return &h->extensionList;
}

// Unlinks every entry with the item's number and appends the new one at
// the tail, so that numbers stay unique and the list keeps intake order.
void StoreEntry(NibHandle* h, const _NibRegInfo& item, std::size_t length) {
  NibListEntry** link = ListOf(h, item.id);
  while (*link != nullptr) {
    if ((*link)->index == item.index) {
      *link = (*link)->next;
    } else {
      link = &(*link)->next;
    }
  }
  auto* entry = reinterpret_cast<NibListEntry*>(TakeArena(h, sizeof(NibListEntry) + length + 1, true));
  entry->next = nullptr;
  entry->index = item.index;
  entry->selected = -1;
  std::memcpy(entry->text(), item.text, length + 1);
  *link = entry;
}

void StoreItem(NibHandle* h, const _NibRegInfo& item) {
  std::size_t length = std::strlen(item.text);
  if (IsListKey(item.id)) {
    StoreEntry(h, item, length);
    if (item.id == NibKeyPaperEntry) ApplyPaperSize(h);
    return;
  }
  char* text = TakeArena(h, length + 1, false);
  std::memcpy(text, item.text, length + 1);
  if (item.id == 4) {  // a key without a name: kept, read by nobody
    h->key4Text = text;
    return;
  }
  if (item.id < 0 || item.id > kMaxKey) return;  // stored, and nothing points at it
  KeyAction action = ActionFor(item.id);
  if (action.slot != kNoSlot) h->text[action.slot] = text;
  if (action.parse != nullptr) action.parse(h, text, item.id);
}

}  // namespace

const NibListEntry* FindEntry(const NibListEntry* list, int index) {
  for (; list != nullptr; list = list->next) {
    if (list->index == index) return list;
  }
  return nullptr;
}

namespace {
const char* ChosenEntry(const NibListEntry* list, int chosen, const char* defaultText) {
  if (list == nullptr) return nullptr;
  if (chosen == -1) chosen = FieldInt(defaultText, 1, -1);
  if (chosen == -1) return nullptr;
  const NibListEntry* entry = FindEntry(list, chosen);
  return entry != nullptr ? entry->text() : nullptr;
}
}  // namespace

const char* CurrentPaperEntry(const NibHandle* h) {
  return ChosenEntry(h->paperList, h->paperIndex, h->text[kPaperText]);
}

const char* CurrentBinEntry(const NibHandle* h) {
  return ChosenEntry(h->binList, h->binIndex, h->text[kBinText]);
}

void ApplyPaperSize(NibHandle* h) {
  if (h->paperIndex == -1) return;
  const char* text = CurrentPaperEntry(h);
  if (text == nullptr) return;
  h->paperXY.x = FieldDouble(text, 1, h->paperXY.x);
  h->paperXY.y = FieldDouble(text, 2, h->paperXY.y);
}

}  // namespace konib

using namespace konib;

extern "C" KONIB_API int NibSetPlotter(void* handle, const _NibRegInfo* items, int count) {
  auto* h = static_cast<NibHandle*>(handle);
  if (h->failure != kGood) return 0;
  // All room first: an intake that cannot be had changes nothing.
  std::size_t needed = 0;
  for (int i = 0; i < count; ++i) {
    if (items[i].text == nullptr) continue;
    std::size_t length = std::strlen(items[i].text);
    needed += IsListKey(items[i].id) ? ArenaBytesForEntry(length) : ArenaBytesForText(length);
  }
  if (needed > 0 && !ReserveArena(h, needed)) return 0;
  for (int i = 0; i < count; ++i) {
    if (items[i].text != nullptr) StoreItem(h, items[i]);
  }
  return 1;
}

extern "C" KONIB_API int NibSetPlotter2(void* handle, const _NibREG_DATA* list) {
  NibHandle* h = Working(handle);
  if (h == nullptr || list == nullptr) return 0;
  for (const _NibREG_DATA* record = list; record != nullptr; record = record->next) {
    int entry = 0;
    const KeyRow* row = FindKey(record->name, &entry);
    if (row == nullptr) continue;  // Command, guide lines and names of no meaning
    _NibRegInfo item{row->id, entry, reinterpret_cast<const char*>(record->data)};
    if (NibSetPlotter(h, &item, 1) == 0) return 0;
  }
  return 1;
}
