#include "geometry/dash.h"

#include <cmath>

namespace konib {
namespace {

struct Pattern {
  int count;
  double fractions[6];
};

// By style 1 to 9: styles of one row differ only by their pitch.
const Pattern kPatterns[] = {
    {2, {0.5, 0.5}},                                // 1: even dashes
    {2, {0.8, 0.2}},                                // 2, 3: long dashes
    {2, {0.8, 0.2}},
    {4, {0.8, 0.05, 0.1, 0.05}},                    // 4, 5, 6: long and short
    {4, {0.8, 0.05, 0.1, 0.05}},
    {4, {0.8, 0.05, 0.1, 0.05}},
    {6, {0.75, 0.05, 0.05, 0.05, 0.05, 0.05}},      // 7, 8, 9: long and two short
    {6, {0.75, 0.05, 0.05, 0.05, 0.05, 0.05}},
    {6, {0.75, 0.05, 0.05, 0.05, 0.05, 0.05}},
};

}  // namespace

void StylePattern(int style, double* fractions, int* count) {
  const Pattern& pattern = kPatterns[style - 1];
  *count = pattern.count;
  for (int i = 0; i < pattern.count; ++i) fractions[i] = pattern.fractions[i];
}

std::uint32_t RepeatCount(double length, double pitch) {
  if (!(pitch > 0.0)) return 0;
  const double quotient = std::floor(length / pitch);
  if (!(quotient < kMaxPeriods)) return kMaxPeriods;
  std::uint32_t m = quotient > 0 ? static_cast<std::uint32_t>(quotient) : 0;
  if (std::fabs((length - m * pitch) - pitch) < 0.01) ++m;
  return m;
}

DashLayout::DashLayout(const NibHandle* h, int style, double length, bool closed) : length_(length) {
  if (style < 1 || style > 9) return;  // one solid piece
  double fractions[6];
  StylePattern(style, fractions, &count_);
  double p = h->stylePitch[style];
  if (!(p > 0.0)) p = 0.0;
  if (p > length) p = length;  // a path shorter than a period gets one, scaled
  if (p > 0.0 && length / p > kMaxPeriods) p = length / kMaxPeriods;
  if (closed) {
    std::uint32_t m = RepeatCount(length, p);
    if (m != 0) p = length / m;
  }
  for (int i = 0; i < count_; ++i) elements_[i] = fractions[i] * p;
  periods_ = RepeatCount(length, p);
  double rest = length - periods_ * p;
  if (rest < 0) rest = 0;
  pitch_ = p;
  adjust_ = (elements_[0] + rest) * 0.5 - elements_[0];
}

bool DashLayout::Next(double* position, double* length) {
  if (done_) return false;
  if (periods_ == 0) {  // the whole path, solid
    done_ = true;
    *position = 0.0;
    *length = length_;
    return true;
  }
  while (period_ < periods_) {
    if (element_ == 0) position_ = period_ * pitch_ + adjust_;
    double seg = elements_[element_];
    if (period_ == 0 && element_ == 0) {  // the first dash starts at the path's start
      position_ = 0.0;
      seg = elements_[0] + adjust_;
    }
    const bool dash = element_ % 2 == 0;
    const double at = position_;
    position_ += seg;
    if (++element_ == count_) {
      element_ = 0;
      ++period_;
    }
    if (dash) {
      *position = at;
      *length = seg;
      return true;
    }
  }
  // The closing dash, as long as the first.
  done_ = true;
  *position = periods_ * pitch_ + adjust_;
  *length = length_ - *position;
  return true;
}

}  // namespace konib
