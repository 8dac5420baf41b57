#include "robust/extent.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

using std::numbers::pi;

namespace primfit::robust {

namespace {

/// Pieces with less than this share of the median piece hold stray points only.
constexpr double kStray = 0.1;

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
  constexpr std::size_t kPieces = 64, kEnough = 256;
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  Reach whole{*least, *most};
  if (values.size() < kEnough || !(whole.Length() > 0)) return whole;
  const auto counts = CountInPieces(values, whole.low, whole.Length(), kPieces);
  const double few = kStray * MedianCount(counts);
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

Reach ReachAround(std::vector<double> azimuths) {
  constexpr std::size_t kPieces = 180, kEnough = 720;
  for (double& a : azimuths) a += a < 0 ? 2 * pi : 0;
  if (azimuths.size() >= kEnough) {
    const auto counts = CountInPieces(azimuths, 0, 2 * pi, kPieces);
    const double few = kStray * MedianCount(counts);
    std::erase_if(azimuths, [&](double a) {
      const auto piece = std::min(static_cast<std::size_t>(a / (2 * pi) * kPieces), kPieces - 1);
      return static_cast<double>(counts[piece]) < few;
    });
  }
  std::sort(azimuths.begin(), azimuths.end());
  double gap = azimuths.front() + 2 * pi - azimuths.back(), start = azimuths.front();
  for (std::size_t i = 1; i < azimuths.size(); ++i) {
    if (azimuths[i] - azimuths[i - 1] <= gap) continue;
    gap = azimuths[i] - azimuths[i - 1];
    start = azimuths[i];
  }
  return {start, start + 2 * pi - gap};
}

}  // namespace primfit::robust
