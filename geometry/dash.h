// Line styles: the library cuts a dashed line or arc into solid pieces
// itself rather than leaving dashes to the device, so every model dashes
// alike and dashes have device lengths whatever the scale.
#pragma once

#include <cstdint>

#include "core/handle.h"

namespace konib {

// Element fractions of a style's pattern, dash and gap alternating, in
// `fractions` (six at most); the number of elements in `*count`.
void StylePattern(int style, double* fractions, int* count);

// Whole periods of `pitch` in `length`. A quotient that falls just short of
// a whole number counts the whole number. A pitch not above 0 holds no
// period; the count is bounded by kMaxPeriods.
std::uint32_t RepeatCount(double length, double pitch);

// No path is cut into more periods than this: a pitch tiny against its path
// is stretched, so that a call always ends in reasonable time.
constexpr std::uint32_t kMaxPeriods = 1000000;

// The pieces to draw of a path of `length` in `style`, in order from
// position 0, given one at a time so that each can be drawn as it falls due.
// A dashed path begins and ends with the same half-long dash; on a closed
// path (a full circle) the period is stretched to fill it a whole number of
// times. A style outside 1 to 9 gives the whole path as one piece.
class DashLayout {
 public:
  DashLayout(const NibHandle* h, int style, double length, bool closed);
  // The next piece as position and length along the path; false when done.
  bool Next(double* position, double* length);

 private:
  double length_;
  double pitch_ = 0.0;
  double adjust_ = 0.0;
  double elements_[6] = {};
  int count_ = 0;
  std::uint32_t periods_ = 0;
  std::uint32_t period_ = 0;  // the period being walked
  int element_ = 0;           // the element being walked in it
  double position_ = 0.0;
  bool done_ = false;
};

}  // namespace konib
