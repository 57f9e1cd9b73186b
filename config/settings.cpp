// NibSetPlotterInfo: the user's choices for a job, pressed on a handle.
#include <cstring>

#include "config/arena.h"
#include "config/intake.h"

using namespace konib;

namespace {

void CopyPens(NibHandle* h, const _NibPen* pens) {
  for (int i = 0; i < kPenCount; ++i) h->pens[i] = {pens[i].number, pens[i].strokes, pens[i].strokeSpacing};
}

void CopyFontAdjust(NibHandle* h, const _NibFontAdjust* adjust) {
  for (int i = 0; i < kFontAdjustCount; ++i) {
    h->fontAdjust[i] = {adjust[i].xOffset, adjust[i].yOffset, adjust[i].width, adjust[i].height};
  }
}

void SelectExtensionItems(NibHandle* h, const std::int32_t* items) {
  for (int i = 0; i < 5; ++i) {
    for (NibListEntry* entry = h->extensionList; entry != nullptr; entry = entry->next) {
      if (entry->index == i) {
        entry->selected = items[i];
        break;
      }
    }
  }
}

}  // namespace

extern "C" KONIB_API int NibSetPlotterInfo(void* handle, unsigned long mask, const _NibInfo* info) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  if (mask & NIB_INFO_STEP) h->step = info->step;
  if (mask & NIB_INFO_ORIGIN) h->origin = info->origin;
  if (mask & NIB_INFO_SCALE) h->scale = info->scale;
  if (mask & NIB_INFO_FONTADJUST) CopyFontAdjust(h, info->fontAdjust);
  if (mask & NIB_INFO_PENS) CopyPens(h, info->pens);
  if (mask & NIB_INFO_STYLEPITCH) std::memcpy(h->stylePitch, info->stylePitch, sizeof h->stylePitch);
  if (mask & NIB_INFO_PAPERINDEX) {
    h->paperIndex = info->paperIndex;
    ApplyPaperSize(h);
  }
  if (mask & NIB_INFO_BININDEX) h->binIndex = info->binIndex;
  if (mask & NIB_INFO_ORIENTATION) h->orientation = info->orientation;
  if (mask & NIB_INFO_EXTENSION) SelectExtensionItems(h, info->extension);
  if (mask & NIB_INFO_ANKFONT) h->ankFont = info->ankFont;
  if (mask & NIB_INFO_KANJIFONT) h->kanjiFont = info->kanjiFont;
  if (mask & NIB_INFO_KANJIFLAG) h->kanjiFlag = info->kanjiFlag;
  if (mask & NIB_INFO_NEXTPAGEMODE) h->nextPageMode = info->nextPageMode;
  if (mask & NIB_INFO_NEXTPENMODE) h->nextPenMode = info->nextPenMode;
  return 1;
}
