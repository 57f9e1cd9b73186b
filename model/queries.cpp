// The questions of a set-up dialog, answered from a model list alone: papers,
// bins, steps, extensions, the guide text, the defaults of a fresh _NibInfo
// and what the device does by itself. No handle and no device is touched.
//
// Each result is one block that the caller gives back through the free
// family. The blocks with texts inside are laid out so:
//
//   _NibSTEPSIZE_INFO    current, count, items[count]    then the item texts
//   _NibEXTENSION_INFO   selected, title, count, items[count]
//                                                        then title, item texts
//
// Every pointer of a block points into that same block.
//
// A list may come from the caller's own hands: a record's name need not be
// terminated within its 260 bytes, nor its value text within `length`. Names
// are read no further than their field, and a value text that is not
// terminated within its record is read from a terminated copy.
#include <cmath>
#include <cstddef>
#include <cstring>

#include "KoNib.h"
#include "config/value_text.h"
#include "model/reg_data.h"
#include "platform/memory.h"
#include "platform/number.h"
#include "platform/text.h"

namespace konib {
namespace {

// Two steps are the same step when they differ by less than this.
constexpr double kSameStep = 2.220446049250313e-16;
// Steps, extension titles and item names are read into buffers of this size:
// 127 bytes and the terminator.
constexpr std::size_t kFieldBuffer = 128;
// Guide lines are numbered 0 to this; higher numbers are no lines.
constexpr int kMaxGuideLine = 65535;
// Room for a step printed with six decimals: up to 309 digits before the
// point, the point, the decimals, a sign and the terminator.
constexpr std::size_t kFormatStepSize = 330;

// A record's value text, terminated within the record. A text without a
// terminator is copied; when memory runs out for the copy it reads as empty.
class ValueText {
 public:
  explicit ValueText(const _NibREG_DATA* record) {
    if (record == nullptr) return;
    const std::size_t length = record->length;
    const char* data = reinterpret_cast<const char*>(record->data);
    if (length == 0) return;
    if (std::memchr(data, '\0', length) != nullptr) {
      text_ = data;
      return;
    }
    copy_ = static_cast<char*>(platform::AllocBlock(length + 1));
    if (copy_ == nullptr) {
      lost_ = true;
      return;
    }
    std::memcpy(copy_, data, length);
    text_ = copy_;
  }
  ~ValueText() { platform::FreeBlock(copy_); }
  ValueText(const ValueText&) = delete;
  ValueText& operator=(const ValueText&) = delete;

  const char* get() const { return text_; }
  // Memory ran out for the copy.
  bool lost() const { return lost_; }

 private:
  const char* text_ = "";
  char* copy_ = nullptr;
  bool lost_ = false;
};

std::size_t NameLength(const _NibREG_DATA* record) {
  const void* end = std::memchr(record->name, '\0', kNameSize);
  return end != nullptr ? static_cast<std::size_t>(static_cast<const char*>(end) - record->name)
                        : kNameSize;
}

bool NameIs(const _NibREG_DATA* record, const char* name) {
  return std::strlen(name) < kNameSize &&
         platform::CompareNoCaseN(record->name, name, kNameSize) == 0;
}

// True when the name begins with `prefix`; `*number` is then atoi of the rest.
bool EntryOf(const _NibREG_DATA* record, const char* prefix, int* number) {
  const std::size_t length = std::strlen(prefix);
  if (platform::CompareNoCaseN(record->name, prefix, length) != 0) return false;
  *number = platform::ReadInt(record->name + length, record->name + NameLength(record));
  return true;
}

const _NibREG_DATA* FirstNamed(const _NibREG_DATA* list, const char* name) {
  for (; list != nullptr; list = list->next) {
    if (NameIs(list, name)) return list;
  }
  return nullptr;
}

const _NibREG_DATA* LastNamed(const _NibREG_DATA* list, const char* name) {
  const _NibREG_DATA* found = nullptr;
  for (; list != nullptr; list = list->next) {
    if (NameIs(list, name)) found = list;
  }
  return found;
}

bool IsCharacter(const char* p, const char* end) {
  return end - p >= 2 && platform::IsLeadByte(static_cast<unsigned char>(p[0])) &&
         platform::IsTrailByte(static_cast<unsigned char>(p[1]));
}

// Copies [begin, begin + length) into `destination` of `size` bytes,
// NUL-terminated, cut short rather than splitting a double-byte character.
void CopyCut(char* destination, std::size_t size, const char* begin, std::size_t length) {
  const char* end = begin + length;
  std::size_t used = 0;
  for (const char* p = begin; p < end;) {
    const std::size_t unit = IsCharacter(p, end) ? 2 : 1;
    if (used + unit > size - 1) break;
    used += unit;
    p += unit;
  }
  std::memcpy(destination, begin, used);
  destination[used] = '\0';
}

// Field `number` of a text, cut to fit `destination`; empty when missing.
void CopyFieldCut(const char* text, int number, char* destination, std::size_t size) {
  const char* begin = "";
  std::size_t length = 0;
  FindField(text, number, &begin, &length);
  CopyCut(destination, size, begin, length);
}

// An array of entries that grows by ten at a time, from nothing.
template <typename Entry>
class EntryArray {
 public:
  ~EntryArray() { platform::FreeBlock(items_); }
  // A fresh zeroed entry, or null when the array could not grow.
  Entry* Add() {
    if (count_ == room_) {
      void* grown =
          platform::ResizeBlock(items_, static_cast<std::size_t>(room_ + 10) * sizeof(Entry));
      if (grown == nullptr) return nullptr;
      items_ = static_cast<Entry*>(grown);
      room_ += 10;
    }
    return &items_[count_++];
  }
  int count() const { return count_; }
  // Lets go of the array.
  Entry* Release() {
    Entry* items = items_;
    items_ = nullptr;
    return items;
  }

 private:
  Entry* items_ = nullptr;
  int count_ = 0;
  int room_ = 0;
};

// Gives the array to the caller, or frees it when the caller wants none.
template <typename Entry>
int Hand(EntryArray<Entry>& array, const Entry** out) {
  const int count = array.count();
  Entry* items = array.Release();
  if (out != nullptr) {
    *out = items;
  } else {
    platform::FreeBlock(items);
  }
  return count;
}

// The entries of a list key (`Paper.` or `Bin.`) in list order. False when
// the array could not grow: it then holds what was found before.
template <typename Entry, typename Fill>
bool CollectEntries(const _NibREG_DATA* list, const char* prefix, EntryArray<Entry>& array,
                    Fill fill) {
  for (; list != nullptr; list = list->next) {
    int number = 0;
    if (!EntryOf(list, prefix, &number)) continue;
    Entry* entry = array.Add();
    if (entry == nullptr) return false;
    entry->index = number;
    ValueText text(list);
    fill(entry, text.get());
  }
  return true;
}

// A step the model did not write itself: "%lf" with the trailing zeros of
// the decimals cut, and the point when nothing is left behind it. A value
// that is no number prints as "nan", an infinite one as "inf" or "-inf".
std::size_t FormatStep(double step, char* buffer) {
  if (!std::isfinite(step)) {
    std::strcpy(buffer, std::isnan(step) ? "nan" : step < 0 ? "-inf" : "inf");
    return std::strlen(buffer);
  }
  std::size_t length = platform::WriteFixed(step, 6, buffer, kFormatStepSize);
  while (buffer[length - 1] == '0') --length;
  if (buffer[length - 1] == '.') --length;
  buffer[length] = '\0';
  return length;
}

bool SameStep(double a, double b) { return std::fabs(a - b) < kSameStep; }

// One pass over the choices of a `Step` value: the fields behind field 0,
// each cut to 127 bytes, an empty one included (it offers the step 0).
template <typename Visit>
void ForEachChoice(const char* text, Visit visit) {
  char buffer[kFieldBuffer];
  const char* p = CopyField(text, nullptr, 0);
  while (*p != '\0') {
    p = CopyField(p, buffer, sizeof buffer);
    visit(buffer);
  }
}

// Where the entries of a step list come from, and where the given step is.
struct StepPlan {
  double given = 0;
  double fallback = 0;  // the model's default step
  char givenText[kFormatStepSize] = {};
  char fallbackText[kFormatStepSize] = {};
  bool givenInFront = false;
  bool fallbackInFront = false;
  int choices = 0;
  std::size_t choiceBytes = 0;
  int current = 0;
};

StepPlan PlanSteps(const char* text, double given) {
  StepPlan plan;
  plan.given = given;
  char first[kFieldBuffer];
  CopyField(text, first, sizeof first);
  plan.fallback = platform::ReadDouble(first);
  int givenAt = -1;
  int fallbackAt = -1;
  ForEachChoice(text, [&](const char* choice) {
    const double value = platform::ReadDouble(choice);
    if (givenAt < 0 && SameStep(value, given)) givenAt = plan.choices;
    if (fallbackAt < 0 && SameStep(value, plan.fallback)) fallbackAt = plan.choices;
    ++plan.choices;
    plan.choiceBytes += std::strlen(choice) + 1;
  });
  plan.fallbackInFront = fallbackAt < 0;
  plan.givenInFront = givenAt < 0 && !SameStep(given, plan.fallback);
  const int front = (plan.givenInFront ? 1 : 0) + (plan.fallbackInFront ? 1 : 0);
  if (plan.givenInFront) {
    plan.current = 0;
  } else if (givenAt >= 0) {
    plan.current = front + givenAt;
  } else {
    // The given step is the default: the default's own entry.
    plan.current = plan.fallbackInFront ? 0 : front + fallbackAt;
  }
  FormatStep(given, plan.givenText);
  FormatStep(plan.fallback, plan.fallbackText);
  return plan;
}

// Appends texts behind the pointer table of a block.
class TextTail {
 public:
  explicit TextTail(char* at) : at_(at) {}
  const char* Put(const char* text) {
    const std::size_t length = std::strlen(text);
    std::memcpy(at_, text, length + 1);
    const char* placed = at_;
    at_ += length + 1;
    return placed;
  }

 private:
  char* at_;
};

template <typename Block>
Block* TakeBlock(int count, std::size_t textBytes, char** texts) {
  const std::size_t head =
      offsetof(Block, items) + static_cast<std::size_t>(count) * sizeof(const char*);
  auto* bytes = static_cast<char*>(platform::AllocBlock(head + textBytes));
  if (bytes == nullptr) return nullptr;
  *texts = bytes + head;
  return reinterpret_cast<Block*>(bytes);
}

// The shape of an `Extension.`N value: field 0 the default item, field 1
// the title, then pairs of an item's name and its template.
struct ExtensionShape {
  int selected = 0;
  int items = 0;
  std::size_t bytes = 0;
};

template <typename Visit>
ExtensionShape ReadExtension(const char* text, Visit visit) {
  ExtensionShape shape;
  char buffer[kFieldBuffer];
  const char* p = CopyField(text, buffer, sizeof buffer);
  shape.selected = platform::ReadInt(buffer);
  if (*p == '\0') return shape;
  p = CopyField(p, buffer, sizeof buffer);
  shape.bytes += std::strlen(buffer) + 1;
  visit(-1, buffer);
  while (*p != '\0') {
    p = CopyField(p, buffer, sizeof buffer);
    shape.bytes += std::strlen(buffer) + 1;
    visit(shape.items++, buffer);
    if (*p != '\0') p = CopyField(p, nullptr, 0);  // the item's template
  }
  return shape;
}

// The guide: the last record of each line number, in a table of the lines
// from 0 to the highest number found.
struct GuideLines {
  const _NibREG_DATA** lines = nullptr;
  int first = 1;
  int last = -1;
  ~GuideLines() { platform::FreeBlock(lines); }
};

bool GuideNumber(const _NibREG_DATA* record, int* number) {
  return EntryOf(record, "#", number) && *number >= 0 && *number <= kMaxGuideLine;
}

bool FindGuideLines(const _NibREG_DATA* list, GuideLines* guide) {
  for (const _NibREG_DATA* r = list; r != nullptr; r = r->next) {
    int number = 0;
    if (!GuideNumber(r, &number)) continue;
    if (number > guide->last) guide->last = number;
    if (number == 0) guide->first = 0;
  }
  if (guide->last < 0) return false;
  guide->lines = static_cast<const _NibREG_DATA**>(platform::AllocBlock(
      (static_cast<std::size_t>(guide->last) + 1) * sizeof(const _NibREG_DATA*)));
  if (guide->lines == nullptr) return false;
  for (const _NibREG_DATA* r = list; r != nullptr; r = r->next) {
    int number = 0;
    if (GuideNumber(r, &number)) guide->lines[number] = r;
  }
  return true;
}

// Writes one guide line with each "\t" made a TAB, unless the backslash is
// the second byte of a double-byte character; returns the bytes written.
// With a null `out` it only counts.
std::size_t GuideLine(const char* text, char* out) {
  const char* end = text + std::strlen(text);
  std::size_t written = 0;
  for (const char* p = text; p < end;) {
    if (IsCharacter(p, end)) {
      if (out != nullptr) std::memcpy(out + written, p, 2);
      written += 2;
      p += 2;
      continue;
    }
    const bool tab = p[0] == '\\' && p[1] == 't';
    if (out != nullptr) out[written] = tab ? '\t' : p[0];
    ++written;
    p += tab ? 2 : 1;
  }
  return written;
}

// The whole guide text, or null when memory ran out.
char* BuildGuide(const GuideLines& guide) {
  std::size_t size = 1;
  bool lost = false;
  for (int n = guide.first; n <= guide.last; ++n) {
    if (n > guide.first) size += 2;
    if (guide.lines[n] == nullptr) continue;
    ValueText text(guide.lines[n]);
    lost = lost || text.lost();
    size += GuideLine(text.get(), nullptr);
  }
  auto* block = static_cast<char*>(platform::AllocBlock(size));
  if (block == nullptr || lost) {
    platform::FreeBlock(block);
    return nullptr;
  }
  std::size_t at = 0;
  for (int n = guide.first; n <= guide.last; ++n) {
    if (n > guide.first) {
      block[at++] = '\r';
      block[at++] = '\n';
    }
    if (guide.lines[n] == nullptr) continue;
    ValueText text(guide.lines[n]);
    if (text.lost()) {
      platform::FreeBlock(block);
      return nullptr;
    }
    at += GuideLine(text.get(), block + at);
  }
  return block;
}

// The defaults of a fresh _NibInfo, before a model is read.
void FillDefaultInfo(_NibInfo* info) {
  std::memset(info, 0, sizeof *info);
  info->step = 1.0;
  info->scale = {1.0, 1.0};
  for (_NibFontAdjust& adjust : info->fontAdjust) adjust = {0.0, 0.0, 1.0, 1.0};
  for (int i = 0; i < 17; ++i) info->pens[i] = {i <= 8 ? i : 1, 1, 0.0};
  const double pitch[10] = {0.0, 2.0, 5.0, 10.0, 10.0, 20.0, 50.0, 10.0, 20.0, 50.0};
  std::memcpy(info->stylePitch, pitch, sizeof pitch);
  for (std::int32_t& item : info->extension) item = -1;
  info->ankFont = 2;
  info->kanjiFont = 2;
  info->kanjiFlag = 1;
  info->nextPageMode = 1;
}

double Real(const char* text, int field, double fallback) {
  return FieldDouble(text, field, fallback);
}
std::int32_t Integer(const char* text, int field, std::int32_t fallback) {
  return FieldInt(text, field, fallback);
}

// One record's say in the defaults, tested in the order of the names:
// `Extension.` and `FontAdjust` are prefixes and go first.
void ReadDefault(const _NibREG_DATA* record, _NibInfo* info) {
  int number = 0;
  ValueText value(record);
  const char* text = value.get();
  if (EntryOf(record, "Extension.", &number)) {
    if (number >= 0 && number <= 4)
      info->extension[number] = Integer(text, 0, info->extension[number]);
  } else if (NameIs(record, "Step") || NameIs(record, "Step2")) {
    info->step = Real(text, 0, info->step);
  } else if (EntryOf(record, "FontAdjust", &number)) {
    if (number < 1 || number > 5) return;
    _NibFontAdjust& adjust = info->fontAdjust[number - 1];
    adjust.width = Real(text, 0, adjust.width);
    adjust.height = Real(text, 1, adjust.height);
    adjust.xOffset = Real(text, 2, adjust.xOffset);
    adjust.yOffset = Real(text, 3, adjust.yOffset);
  } else if (NameIs(record, "Origin")) {
    info->origin = {Real(text, 0, info->origin.x), Real(text, 1, info->origin.y)};
  } else if (NameIs(record, "Scale")) {
    info->scale = {Real(text, 0, info->scale.x), Real(text, 1, info->scale.y)};
  } else if (NameIs(record, "Paper")) {
    info->paperIndex = Integer(text, 1, info->paperIndex);
  } else if (NameIs(record, "Bin")) {
    info->binIndex = Integer(text, 1, info->binIndex);
  } else if (NameIs(record, "Orientation")) {
    info->orientation = Integer(text, 0, info->orientation);
  } else if (NameIs(record, "ANK")) {
    info->ankFont = Integer(text, 0, info->ankFont);
  } else if (NameIs(record, "Kanji")) {
    info->kanjiFont = Integer(text, 0, info->kanjiFont);
    const char* begin;
    std::size_t length;
    if (FindField(text, 1, &begin, &length) && length > 0) {
      info->kanjiFlag = platform::ReadInt(begin, begin + length) != 0 ? 1 : 0;
    }
  }
}

// 1 when the first record of that name has a text that is not empty.
int HasText(const _NibREG_DATA* list, const char* name) {
  const _NibREG_DATA* record = FirstNamed(list, name);
  if (record == nullptr) return 0;
  ValueText text(record);
  return text.get()[0] != '\0' ? 1 : 0;
}

// The paper table of a model that names none, in millimetres.
const _NibPAPER_INFO kDefaultPapers[10] = {
    {0, 841, 1189, "A0 (841 x 1189 mm)"}, {1, 594, 841, "A1 (594 x 841 mm)"},
    {2, 420, 594, "A2 (420 x 594 mm)"},   {3, 297, 420, "A3 (297 x 420 mm)"},
    {4, 210, 297, "A4 (210 x 297 mm)"},   {5, 728, 1030, "B1 (728 x 1030 mm)"},
    {6, 515, 728, "B2 (515 x 728 mm)"},   {7, 364, 515, "B3 (364 x 515 mm)"},
    {8, 257, 364, "B4 (257 x 364 mm)"},   {9, 182, 257, "B5 (182 x 257 mm)"},
};

// The one bin of a model that names none: "manual feed", in CP932.
const _NibBIN_INFO kDefaultBin = {0, "\x8e\xe8\x93\xae"};

// "For details, see the hardware's manual.", in CP932: the guide of a model
// that has none. A constant, which the free operation leaves alone.
const char kFixedGuide[] =
    "\x8f\xda\x82\xb5\x82\xad\x82\xcd\x81\x41\xca\xb0\xc4\xde\xb3\xaa\xb1\x82\xcc\xcf\xc6\xad"
    "\xb1\xd9\x82\xf0\x8e\x51\x8f\xc6\x82\xb5\x82\xc4\x82\xad\x82\xbe\x82\xb3\x82\xa2\x81\x42";

}  // namespace
}  // namespace konib

using namespace konib;

extern "C" KONIB_API int NibGetPaperInfo(const _NibREG_DATA* list, const _NibPAPER_INFO** papers) {
  if (papers != nullptr) *papers = nullptr;
  EntryArray<_NibPAPER_INFO> array;
  const bool whole =
      CollectEntries(list, "Paper.", array, [](_NibPAPER_INFO* paper, const char* text) {
        CopyFieldCut(text, 0, paper->name, sizeof paper->name);
        paper->width = FieldInt(text, 1, 0);
        paper->height = FieldInt(text, 2, 0);
      });
  // Out of memory: what there is, and never the fixed table.
  if (!whole || array.count() > 0) return Hand(array, papers);
  for (const _NibPAPER_INFO& paper : kDefaultPapers) {
    _NibPAPER_INFO* entry = array.Add();
    if (entry == nullptr) return 0;
    *entry = paper;
  }
  return Hand(array, papers);
}

extern "C" KONIB_API int NibGetBinInfo(const _NibREG_DATA* list, const _NibBIN_INFO** bins) {
  if (bins != nullptr) *bins = nullptr;
  EntryArray<_NibBIN_INFO> array;
  const bool whole = CollectEntries(list, "Bin.", array, [](_NibBIN_INFO* bin, const char* text) {
    CopyFieldCut(text, 0, bin->name, sizeof bin->name);
  });
  if (!whole || array.count() > 0) return Hand(array, bins);
  _NibBIN_INFO* entry = array.Add();
  if (entry == nullptr) return 0;
  *entry = kDefaultBin;
  return Hand(array, bins);
}

extern "C" KONIB_API int NibGetPaperSize(const _NibREG_DATA* list, int index, POINT* size) {
  std::int32_t width = kDefaultPapers[0].width;
  std::int32_t height = kDefaultPapers[0].height;
  int position = 0;
  const _NibPAPER_INFO* papers = nullptr;
  const int count = NibGetPaperInfo(list, &papers);
  if (count > 0) {
    width = papers[0].width;
    height = papers[0].height;
    for (int i = 0; i < count; ++i) {
      if (papers[i].index == index) {
        width = papers[i].width;
        height = papers[i].height;
        position = i;
        break;
      }
    }
  }
  NibFreePaperInfo(papers);
  if (size != nullptr) {
    size->x = width;
    size->y = height;
  }
  return position;
}

extern "C" KONIB_API const char* NibGetGuideText(const _NibREG_DATA* list) {
  GuideLines guide;
  if (!FindGuideLines(list, &guide)) return kFixedGuide;
  char* text = BuildGuide(guide);
  return text != nullptr ? text : kFixedGuide;
}

extern "C" KONIB_API void NibFreeGuideText(const char* text) {
  if (text != kFixedGuide) FreeModelBlock(text);
}

extern "C" KONIB_API const _NibSTEPSIZE_INFO* NibGetStepSizeInfo(const _NibREG_DATA* list,
                                                                 double step) {
  const _NibREG_DATA* record = LastNamed(list, "Step");
  if (record == nullptr) return nullptr;
  ValueText value(record);
  if (value.lost()) return nullptr;
  const StepPlan plan = PlanSteps(value.get(), step);
  std::size_t bytes = plan.choiceBytes;
  if (plan.givenInFront) bytes += std::strlen(plan.givenText) + 1;
  if (plan.fallbackInFront) bytes += std::strlen(plan.fallbackText) + 1;
  const int count = plan.choices + (plan.givenInFront ? 1 : 0) + (plan.fallbackInFront ? 1 : 0);
  char* texts = nullptr;
  auto* info = TakeBlock<_NibSTEPSIZE_INFO>(count, bytes, &texts);
  if (info == nullptr) return nullptr;
  TextTail tail(texts);
  int n = 0;
  if (plan.givenInFront) info->items[n++] = tail.Put(plan.givenText);
  if (plan.fallbackInFront) info->items[n++] = tail.Put(plan.fallbackText);
  ForEachChoice(value.get(), [&](const char* choice) { info->items[n++] = tail.Put(choice); });
  info->current = plan.current;
  info->count = count;
  return info;
}

extern "C" KONIB_API const _NibEXTENSION_INFO* NibGetExtensionInfo(const _NibREG_DATA* list,
                                                                   int index) {
  const _NibREG_DATA* record = nullptr;
  for (const _NibREG_DATA* r = list; r != nullptr; r = r->next) {
    int number = 0;
    if (EntryOf(r, "Extension.", &number) && number == index) record = r;
  }
  if (record == nullptr) return nullptr;
  ValueText value(record);
  const ExtensionShape shape = ReadExtension(value.get(), [](int, const char*) {});
  if (shape.items < 2) return nullptr;
  char* texts = nullptr;
  auto* info = TakeBlock<_NibEXTENSION_INFO>(shape.items, shape.bytes, &texts);
  if (info == nullptr) return nullptr;
  TextTail tail(texts);
  ReadExtension(value.get(), [&](int item, const char* text) {
    if (item < 0) {
      info->title = tail.Put(text);
    } else {
      info->items[item] = tail.Put(text);
    }
  });
  info->selected = shape.selected;
  info->count = shape.items;
  return info;
}

extern "C" KONIB_API void NibGetDefaultInfo(const _NibREG_DATA* list, _NibInfo* info) {
  if (info == nullptr) return;
  FillDefaultInfo(info);
  for (; list != nullptr; list = list->next) ReadDefault(list, info);
}

extern "C" KONIB_API int NibIsNextPage(const _NibREG_DATA* list) {
  return HasText(list, "Command.NextPage");
}
extern "C" KONIB_API int NibIsNextPen(const _NibREG_DATA* list) {
  return HasText(list, "Command.NextPen");
}
extern "C" KONIB_API int NibIsDigitize(const _NibREG_DATA* list) {
  return HasText(list, "Digitize.Position");
}

extern "C" KONIB_API int NibIsDrawArc(const _NibREG_DATA* list) {
  const _NibREG_DATA* record = FirstNamed(list, "Ctrl.DrawArc");
  if (record == nullptr) return 0;
  ValueText text(record);
  return text.get()[0] != '\0' && platform::ReadDouble(text.get()) < 0.0 ? 1 : 0;
}

extern "C" KONIB_API int NibDigitizeKey2(const _NibREG_DATA* list, char* text, int* length) {
  if (length != nullptr) *length = 0;
  if (text != nullptr) text[0] = '\0';
  const _NibREG_DATA* record = FirstNamed(list, "Digitize.Enter");
  if (record == nullptr) return 1;
  ValueText value(record);
  const std::size_t bytes = std::strlen(value.get());
  if (length != nullptr) *length = static_cast<int>(bytes);
  if (text != nullptr) std::memcpy(text, value.get(), bytes + 1);
  return 1;
}
