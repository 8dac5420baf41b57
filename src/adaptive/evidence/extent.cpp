#include "adaptive/evidence/extent.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "outline/azimuth.h"

using std::numbers::pi;

namespace primfit::adaptive {

namespace {

/// Bins with less than this share of the median bin hold stray points only.
constexpr double kStrayShare = 0.1;

/// Of `bins` equal ones from `low` on.
std::vector<std::size_t> CountInBins(const std::vector<double>& values, double low, double length,
                                     std::size_t bins) {
  std::vector<std::size_t> counts(bins);
  for (const double v : values) {
    const double at = (v - low) / length * static_cast<double>(bins);
    ++counts[std::min(static_cast<std::size_t>(std::max(at, 0.0)), bins - 1)];
  }
  return counts;
}

/// Of the bins that are not empty.
double MedianCount(std::vector<std::size_t> counts) {
  std::erase(counts, 0U);
  const auto middle = counts.begin() + static_cast<std::ptrdiff_t>(counts.size() / 2);
  std::nth_element(counts.begin(), middle, counts.end());
  return static_cast<double>(*middle);
}

/// The azimuths in one bin.
struct AzimuthBin {
  double low = 4, high = -1;  // as SquareAzimuth has them
  std::size_t count = 0;
};

/// Bins that decide whether azimuths are stray ones, and the finer ones, so many in each, that tell the gaps.
constexpr std::size_t kTurnBins = 256, kFinePerBin = 16, kFineBins = kFinePerBin * kTurnBins;

/// Bins so fine that a gap between two of them is known to a four-thousandth of a turn without sorting the
/// azimuths. Each keeps its smallest and largest azimuth, so that ends are exact.
std::vector<AzimuthBin> FineBinsOf(const std::vector<double>& squareAzimuths) {
  std::vector<AzimuthBin> bins(kFineBins);
  for (const double a : squareAzimuths) {
    AzimuthBin& bin = bins[std::min(static_cast<std::size_t>(a / 4 * kFineBins), kFineBins - 1)];
    bin.low = std::min(bin.low, a);
    bin.high = std::max(bin.high, a);
    ++bin.count;
  }
  return bins;
}

/// Empties the bins that hold stray azimuths only.
void EmptyStray(std::vector<AzimuthBin>& bins) {
  std::vector<std::size_t> counts(kTurnBins);
  for (std::size_t i = 0; i < kFineBins; ++i) counts[i / kFinePerBin] += bins[i].count;
  const double few = kStrayShare * MedianCount(counts);
  for (std::size_t i = 0; i < kFineBins; ++i) {
    if (static_cast<double>(counts[i / kFinePerBin]) < few) bins[i].count = 0;
  }
}

}  // namespace

// The ends that are left are those of values, not of bins.
Reach ReachAlong(std::vector<double> values) {
  constexpr std::size_t kBins = 64, kLeastValues = 256;
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  Reach whole{*least, *most};
  if (values.size() < kLeastValues || !(whole.Length() > 0)) return whole;
  const auto counts = CountInBins(values, whole.low, whole.Length(), kBins);
  const double few = kStrayShare * MedianCount(counts);
  std::size_t first = 0, last = kBins - 1;
  while (static_cast<double>(counts[first]) < few) ++first;
  while (static_cast<double>(counts[last]) < few) --last;
  const double width = whole.Length() / kBins;
  const double low = whole.low + static_cast<double>(first) * width,
               high = whole.low + static_cast<double>(last + 1) * width;
  Reach reach{whole.high, whole.low};
  for (const double v : values) {
    if (v < low || v > high) continue;
    reach.low = std::min(reach.low, v);
    reach.high = std::max(reach.high, v);
  }
  return reach;
}

// The largest gap decides where the covered part begins; the one across zero azimuth is a gap like the
// others.
Reach ReachAround(const std::vector<double>& squareAzimuths) {
  constexpr std::size_t kLeastValues = 1024;
  std::vector<AzimuthBin> bins = FineBinsOf(squareAzimuths);
  if (squareAzimuths.size() >= kLeastValues) EmptyStray(bins);
  std::erase_if(bins, [](const AzimuthBin& bin) { return bin.count == 0; });
  double gap = -1, start = 0;
  for (std::size_t i = 0; i < bins.size(); ++i) {  // the gap after bin i
    const bool isLast = i + 1 == bins.size();
    const double next = AzimuthOf(bins[isLast ? 0 : i + 1].low);
    const double width = next + (isLast ? 2 * pi : 0) - AzimuthOf(bins[i].high);
    if (width <= gap) continue;
    gap = width;
    start = next;
  }
  return {start, start + 2 * pi - gap};
}

}  // namespace primfit::adaptive
