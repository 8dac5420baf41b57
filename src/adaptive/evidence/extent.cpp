#include "adaptive/evidence/extent.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "fit/vector_math.h"
#include "outline/azimuth.h"

using Eigen::Vector3d;
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
  // Whether azimuths are stray ones is decided in bins of the turn, and the gaps are told in finer ones.
  constexpr std::size_t kTurnBins = 256, kLeastValues = 1024, kFineBins = 16 * kTurnBins;
  AzimuthBins bins(kFineBins);
  std::vector<std::size_t> counts(kTurnBins);
  const auto turnBinOf = [](std::size_t fine) { return fine * kTurnBins / kFineBins; };
  for (const double a : squareAzimuths) ++counts[turnBinOf(bins.Add(a))];
  const double few = squareAzimuths.size() < kLeastValues ? 0 : kStrayShare * MedianCount(counts);
  const AzimuthGaps gaps =
      bins.Gaps([&](std::size_t fine) { return static_cast<double>(counts[turnBinOf(fine)]) >= few; });
  const double gapAcrossZero = gaps.first + 2 * pi - gaps.last;
  const bool wraps = gaps.gap >= gapAcrossZero;
  const double start = wraps ? gaps.behindGap : gaps.first;
  return {start, start + 2 * pi - (wraps ? gaps.gap : gapAcrossZero)};
}

namespace {

/// What `of` says of each point, about the frame's centre.
template <class Of>
std::vector<double> Each(const AxisFrame& frame, const Of& of) {
  std::vector<double> values(frame.points.size());
  std::transform(frame.points.begin(), frame.points.end(), values.begin(),
                 [&](const Vector3d& p) { return of(Vector3d(p - frame.center)); });
  return values;
}

}  // namespace

AxisFrame::AxisFrame(const Model& model, std::span<const Vector3d> inliers)
    : center(model.center),
      axis(model.axis),
      u(UnitOrthogonal(model.axis)),
      w(axis.cross(u)),
      points(inliers) {}

Extent MeasureExtent(Bounds bounds, const AxisFrame& frame) {
  if (bounds == Bounds::kAlongAxis) {
    const Reach reach = ReachAlong(Each(frame, [&](const Vector3d& q) { return q.dot(frame.axis); }));
    return {reach.low, reach.high, Vector3d::Zero()};
  }
  if (bounds == Bounds::kAboutAxis) {
    const Reach reach = ReachAround(
        Each(frame, [&](const Vector3d& q) { return SquareAzimuth(q.dot(frame.u), q.dot(frame.w)); }));
    return {reach.low, reach.high, std::cos(reach.low) * frame.u + std::sin(reach.low) * frame.w};
  }
  return {};
}

Loop MeasureOutline(const AxisFrame& frame) {
  std::vector<double> projected;
  projected.reserve(2 * frame.points.size());
  for (const Vector3d& p : frame.points) {
    projected.push_back((p - frame.center).dot(frame.u));
    projected.push_back((p - frame.center).dot(frame.w));
  }
  return OutlineOf(projected.data(), static_cast<int>(frame.points.size()));
}

}  // namespace primfit::adaptive
