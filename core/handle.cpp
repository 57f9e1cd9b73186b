// NibGetHandle and NibFreeHandle.
#include "core/handle.h"

#include <algorithm>
#include <cstring>

#include "config/arena.h"
#include "platform/memory.h"
#include "platform/modules.h"
#include "template/extension.h"
#include "template/prepared.h"

namespace konib {
namespace {

void SetDefaults(NibHandle* h, const _NibWorld2& size) {
  h->sizeXY = size;
  h->paperXY = size;
  h->windowExt = size;
  h->viewExt = size;
  h->clipRect[2] = size.x;
  h->clipRect[3] = size.y;
  // Either extent may be negative: the box runs from the lesser corner.
  h->clipBox[0] = std::min(0.0, size.x) - kClipTolerance;
  h->clipBox[1] = std::min(0.0, size.y) - kClipTolerance;
  h->clipBox[2] = std::max(0.0, size.x) + kClipTolerance;
  h->clipBox[3] = std::max(0.0, size.y) + kClipTolerance;
  h->clipEnabled = 1;
  h->step = 1.0;
  h->decimals = 2;
  h->paperIndex = -1;
  h->binIndex = -1;
  h->orientation = -1;
  h->scale = {1.0, 1.0};
  for (int i = 0; i < kPenCount; ++i) {
    h->pens[i].number = i < 4 ? i + 1 : 1;
    h->pens[i].strokes = 1;
  }
  static const double kPitch[kStyleCount] = {0, 2, 10, 10, 20, 50, 100, 20, 50, 100};
  std::memcpy(h->stylePitch, kPitch, sizeof kPitch);
  h->arcLimit = 150.0;
  h->currentPen = 1;
  for (auto& adjust : h->fontAdjust) adjust = {0.0, 0.0, 1.0, 1.0};
  h->ankFont = 2;
  h->kanjiFont = 2;
  h->kanjiFlag = 1;
  h->nextPageMode = 1;
}

// The directory of this library with its trailing separator, so that an
// extension module's name can be appended to it. Left empty when the system
// does not tell; only loading an extension by name depends on it.
void FindModuleDir(NibHandle* h) {
  if (!platform::GetLibraryPath(h->moduleDir, sizeof h->moduleDir)) {
    h->moduleDir[0] = '\0';
    return;
  }
  std::size_t i = std::strlen(h->moduleDir);
  if (i == 0) return;
  --i;
  while (i > 0 && h->moduleDir[i] != platform::kPathSeparator) --i;
  h->moduleDir[i + 1] = '\0';
}

}  // namespace
}  // namespace konib

using namespace konib;

extern "C" KONIB_API void* NibGetHandle(const _NibWorld2* size) {
  auto* h = static_cast<NibHandle*>(platform::AllocBlock(sizeof(NibHandle)));
  if (h == nullptr) return nullptr;
  SetDefaults(h, *size);
  FindModuleDir(h);
  h->outUsed = 0;
  h->outBuffer = static_cast<char*>(platform::AllocBlock(kOutBufferSize));
  h->prepared = static_cast<PreparedTemplate*>(
      platform::AllocBlock(kPreparedCount * sizeof(PreparedTemplate)));
  if (h->outBuffer == nullptr || h->prepared == nullptr) {
    h->failure = kOutOfMemory;
    NibFreeHandle(h);
    return nullptr;
  }
  return h;
}

extern "C" KONIB_API void NibFreeHandle(void* handle) {
  auto* h = static_cast<NibHandle*>(handle);
  if (h == nullptr) return;
  platform::FreeBlock(h->outBuffer);
  platform::FreeBlock(h->prepared);
  FreeArena(h);
  ReleaseExtensions(h);
  platform::FreeBlock(h->extArgBuffer);
  platform::FreeBlock(h->viewStack);
  platform::FreeBlock(h);
}
