#include "adaptive/scene/sample.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points that the search works on; a shape that is found among these is found among all.
constexpr std::size_t kSampled = 20000;
/// Points that tell the size of the cloud.
constexpr std::size_t kForUnits = 2048;

/// The weight below which a point's chance to be among `count` is its weight over this one.
double Threshold(std::span<const double> weights, std::size_t count) {
  if (count >= weights.size()) return 0;
  double threshold = std::numeric_limits<double>::infinity(), before = 0;
  while (threshold != before) {
    before = threshold;
    double light = 0;
    std::size_t heavy = 0;
    for (const double w : weights) {
      if (w < before)
        light += w;
      else
        ++heavy;
    }
    if (heavy >= count) break;
    threshold = std::min(before, light / static_cast<double>(count - heavy));
  }
  return threshold;
}

/// Each point has the key -ln(u) / trust with u uniform in (0, 1], and the smallest keys are drawn: a point
/// of twice the trust comes as if it were there twice.
/// @param remaining receives what each drawn point counts: points that were drawn for certain keep their
///     trust, the others stand for those that were not drawn
std::vector<std::uint32_t> DrawByTrust(std::span<const double> trust, Dice& dice,
                                       std::vector<double>& remaining) {
  std::vector<std::pair<double, std::size_t>> keys(trust.size());
  for (std::size_t i = 0; i < keys.size(); ++i) keys[i] = {-std::log(dice.Share()) / trust[i], i};
  const std::size_t count = std::min(kSampled, keys.size());
  std::partial_sort(keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(count), keys.end());
  const double threshold = Threshold(trust, count);
  std::vector<std::uint32_t> indices;
  for (std::size_t k = 0; k < count; ++k) {
    indices.push_back(static_cast<std::uint32_t>(keys[k].second));
    remaining.push_back(std::max(trust[keys[k].second], threshold));
  }
  return indices;
}

/// With replacement where there are more than are drawn: of many points few come twice.
std::vector<std::uint32_t> DrawAlike(std::size_t points, Dice& dice) {
  std::vector<std::uint32_t> indices(std::min(points, kSampled));
  if (points > kSampled) {
    for (std::uint32_t& i : indices) i = static_cast<std::uint32_t>(dice.Below(points));
    return indices;
  }
  std::iota(indices.begin(), indices.end(), std::uint32_t{0});
  for (std::size_t i = indices.size(); i > 1; --i) std::swap(indices[i - 1], indices[dice.Below(i)]);
  return indices;
}

}  // namespace

Sample::Sample(Units unit, std::vector<std::uint32_t> drawn, std::vector<Vector3d> inUnits,
               std::vector<double> trusted)
    : units(std::move(unit)),
      indices(std::move(drawn)),
      points(std::move(inUnits)),
      trust(std::move(trusted)),
      free(points.size()),
      neighbours(points) {}

Sample DrawSample(std::span<const Vector3d> points, std::span<const double> trust, Dice& dice) {
  std::vector<double> remaining;
  std::vector<std::uint32_t> indices =
      trust.empty() ? DrawAlike(points.size(), dice) : DrawByTrust(trust, dice, remaining);
  std::vector<Vector3d> drawn(indices.size());
  std::transform(indices.begin(), indices.end(), drawn.begin(), [&](std::uint32_t i) { return points[i]; });
  const Units units = UnitsOf(std::span(drawn).first(std::min(drawn.size(), kForUnits)));
  std::transform(drawn.begin(), drawn.end(), drawn.begin(), [&](const Vector3d& p) { return units.Into(p); });
  return {units, std::move(indices), std::move(drawn), std::move(remaining)};
}

}  // namespace primfit::adaptive
