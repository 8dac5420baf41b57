#include "adaptive/evidence/extent.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "outline/azimuth.h"

using std::numbers::pi;

namespace primfit::adaptive {

namespace {

/// Pieces with less than this share of the median piece hold stray points only.
constexpr double kStrayShare = 0.1;

std::vector<std::size_t> CountInPieces(const std::vector<double>& values, double low, double length,
                                       std::size_t pieces) {
  std::vector<std::size_t> counts(pieces);
  for (const double v : values) {
    const double at = (v - low) / length * static_cast<double>(pieces);
    ++counts[std::min(static_cast<std::size_t>(std::max(at, 0.0)), pieces - 1)];
  }
  return counts;
}

/// Of the pieces that are not empty.
double MedianCount(std::vector<std::size_t> counts) {
  std::erase(counts, 0U);
  const auto middle = counts.begin() + static_cast<std::ptrdiff_t>(counts.size() / 2);
  std::nth_element(counts.begin(), middle, counts.end());
  return static_cast<double>(*middle);
}

}  // namespace

Reach ReachAlong(std::vector<double> values) {
  constexpr std::size_t kPieces = 64, kLeastValues = 256;
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  Reach whole{*least, *most};
  if (values.size() < kLeastValues || !(whole.Length() > 0)) return whole;
  const auto counts = CountInPieces(values, whole.low, whole.Length(), kPieces);
  const double few = kStrayShare * MedianCount(counts);
  std::size_t first = 0, last = kPieces - 1;
  while (static_cast<double>(counts[first]) < few) ++first;
  while (static_cast<double>(counts[last]) < few) --last;
  const double piece = whole.Length() / kPieces;
  const double low = whole.low + static_cast<double>(first) * piece,
               high = whole.low + static_cast<double>(last + 1) * piece;
  Reach reach{whole.high, whole.low};
  for (const double v : values) {
    if (v < low || v > high) continue;
    reach.low = std::min(reach.low, v);
    reach.high = std::max(reach.high, v);
  }
  return reach;
}

Reach ReachAround(const std::vector<double>& squareAzimuths) {
  constexpr std::size_t kPieces = 256, kLeastValues = 1024, kBins = 16 * kPieces;
  AzimuthBins bins(kBins);
  std::vector<std::size_t> counts(kPieces);
  const auto pieceOf = [](std::size_t bin) { return bin * kPieces / kBins; };
  for (const double a : squareAzimuths) ++counts[pieceOf(bins.Add(a))];
  const double few = squareAzimuths.size() < kLeastValues ? 0 : kStrayShare * MedianCount(counts);
  const AzimuthGaps gaps =
      bins.Gaps([&](std::size_t bin) { return static_cast<double>(counts[pieceOf(bin)]) >= few; });
  const double gapAcrossZero = gaps.first + 2 * pi - gaps.last;
  const bool wraps = gaps.gap >= gapAcrossZero;
  const double start = wraps ? gaps.behindGap : gaps.first;
  return {start, start + 2 * pi - (wraps ? gaps.gap : gapAcrossZero)};
}

}  // namespace primfit::adaptive
