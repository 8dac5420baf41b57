#include "fit/histogram_bins.h"

#include <algorithm>
#include <limits>

namespace primfit {

HistogramBins::HistogramBins(double sigma) {
  const double width = (sigma + sigma) * 0.125;
  bounds_[0] = -std::numeric_limits<double>::infinity();
  for (int k = 1; k <= 8; ++k) bounds_[k] = k * width;
  bounds_[9] = sigma * 4.0;
  inverseWidth_ = 1 / width;
}

/// The slot by a multiplication, which may round into a neighbour, corrected by the bounds themselves. There
/// are no branches, because no processor predicts which slot noise falls into.
int HistogramBins::SlotOf(double residual) const {
  const double quotient = residual * inverseWidth_;
  const int slot = quotient < 8 ? static_cast<int>(std::max(quotient, 0.0)) : 8;
  return slot + static_cast<int>(!(residual < bounds_[slot + 1])) -
         static_cast<int>(residual < bounds_[slot]);
}

void HistogramBins::Add(const double* residuals, int n) {
  for (int i = 0; i < n; ++i) ++turns_[i & 3][SlotOf(residuals[i])];
}

std::array<int, HistogramBins::kSlots> HistogramBins::Counts() const {
  std::array<int, kSlots> counts{};
  for (const auto& turn : turns_) {
    for (int k = 0; k < kSlots; ++k) counts[k] += turn[k];
  }
  return counts;
}

}  // namespace primfit
