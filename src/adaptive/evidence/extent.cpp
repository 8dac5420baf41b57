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

Reach ReachAround(const std::vector<double>& squareAzimuths) {
  constexpr std::size_t kPieces = 256, kEnough = 1024, kBins = 16 * kPieces;
  struct Bin {
    double low = 4, high = -1;
    std::size_t count = 0;
  };
  std::vector<Bin> bins(kBins);
  for (const double a : squareAzimuths) {
    Bin& bin = bins[std::min(static_cast<std::size_t>(a / 4 * kBins), kBins - 1)];
    bin.low = std::min(bin.low, a);
    bin.high = std::max(bin.high, a);
    ++bin.count;
  }
  std::vector<std::size_t> counts(kPieces);
  for (std::size_t i = 0; i < kBins; ++i) counts[i * kPieces / kBins] += bins[i].count;
  const double few = squareAzimuths.size() < kEnough ? 0 : kStray * MedianCount(counts);
  const Bin *first = nullptr, *before = nullptr;
  double gap = -1, start = 0;
  const auto look = [&](double from, const Bin& to, double turn) {
    const double width = AzimuthOf(to.low) + turn - from;
    if (width <= gap) return;
    gap = width;
    start = AzimuthOf(to.low);
  };
  for (std::size_t i = 0; i < kBins; ++i) {
    if (bins[i].count == 0 || static_cast<double>(counts[i * kPieces / kBins]) < few) continue;
    if (first == nullptr) first = &bins[i];
    if (before != nullptr) look(AzimuthOf(before->high), bins[i], 0);
    before = &bins[i];
  }
  look(AzimuthOf(before->high), *first, 2 * pi);
  return {start, start + 2 * pi - gap};
}

}  // namespace primfit::adaptive
