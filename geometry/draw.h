// Lines, dots, arcs and circles: from the caller's call to the primitives.
//
// The order is fixed: the pen is selected first, then the ends are mapped
// to device coordinates, the dash pattern is laid along the device path,
// each dash is offset for each stroke of the pen, and only then is each
// stroke clipped, so that clipping never moves a dash. The device style is
// selected only for a stroke that survives the clip.
#pragma once

#include <cmath>

#include "core/handle.h"
#include "geometry/clip.h"

namespace konib {

// The tests every drawing call makes first: the handle works, the clip
// rectangle is not empty, the current pen draws. Null when the call is
// refused (result 0); `*skip` when it succeeds without drawing. Inline, as
// every drawing call makes them.
inline NibHandle* Admit(void* handle, bool* skip) {
  NibHandle* h = Working(handle);
  *skip = false;
  if (h == nullptr) return nullptr;
  if (h->clipEnabled != 0 && (kEpsilon > h->clipRect[2] || kEpsilon > h->clipRect[3])) *skip = true;
  // Pen 0 draws nothing; nor does an index beyond the table.
  if (h->currentPen < 1 || h->currentPen >= kPenCount) *skip = true;
  if (!*skip && h->pens[h->currentPen].strokes < 1) *skip = true;
  return h;
}

// One stroke, clipped, in device style `style`; `reversed` draws it from its
// end to its start. Returns 1 while the handle works.
int DrawStroke(NibHandle* h, const Stroke& stroke, int style, bool reversed);

// All strokes of the current pen along `stroke`, each offset from it:
// DrawPenStrokes' way for a pen of more than one stroke.
int DrawOffsetStrokes(NibHandle* h, const Stroke& stroke, int style);

// All strokes of the current pen along `stroke`, centred on it, to and fro.
// Inline, and the offsets kept apart: a line of the common pen of one
// stroke goes straight on to DrawStroke.
inline int DrawPenStrokes(NibHandle* h, const Stroke& stroke, int style) {
  const NibPenRow& pen = h->pens[h->currentPen];
  // A pen of one stroke is offset by a zero, which changes no coordinate
  // that is not itself a zero. A spacing of sane size keeps the normal
  // finite, so that the zero is not a NaN.
  if (pen.strokes == 1 && std::fabs(pen.strokeSpacing) < 1e250 && stroke.x != 0.0 &&
      stroke.y != 0.0) {
    return DrawStroke(h, stroke, style, false);
  }
  return DrawOffsetStrokes(h, stroke, style);
}

// The device's own circle (`angles` null) or arc, cut into arcs by the clip
// rectangle, for every stroke of the pen.
int DrawDeviceArc(NibHandle* h, const _NibWorld2& centre, const _NibWorld2* angles, int style, double radius);

// A circle or arc as chords, dashed by `style`, for every stroke of the pen.
int DrawStyledArc(NibHandle* h, const _NibWorld2* angles, const _NibWorld2& centre, int style, double radius);

// One solid arc as a chain of chords spanning `step` radians each, the last
// one shorter.
int DrawChordArc(NibHandle* h, const _NibWorld2& angles, const _NibWorld2& centre, double radius, double step);

}  // namespace konib
