#include "adaptive/scene/nested_balls.h"

#include <algorithm>
#include <cmath>
#include <utility>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points of the smallest ball: fewer tell no shape from another.
constexpr std::size_t kLeastPoints = 32;

/// Equal distances are ordered by index, so that the balls do not depend on the standard library.
using Keyed = std::pair<double, std::uint32_t>;

}  // namespace

// From the largest ball to the smallest, each one's points are set apart among those of the one before: in
// all twice the work of one pass.
NestedBalls::NestedBalls(std::span<const Vector3d> points, const Vector3d& place) : order_(points.size()) {
  std::vector<Keyed> keyed(points.size());
  for (std::size_t i = 0; i < points.size(); ++i)
    keyed[i] = {(points[i] - place).squaredNorm(), static_cast<std::uint32_t>(i)};
  for (std::size_t size = kLeastPoints; size < points.size(); size *= 2) sizes_.push_back(size);
  sizes_.push_back(points.size());
  radii_.resize(sizes_.size());
  radii_.back() = std::sqrt(std::max_element(keyed.begin(), keyed.end())->first);
  auto end = keyed.end();
  for (std::size_t ball = sizes_.size() - 1; ball-- > 0;) {
    const auto last = keyed.begin() + static_cast<std::ptrdiff_t>(sizes_[ball]) - 1;
    std::nth_element(keyed.begin(), last, end);
    radii_[ball] = std::sqrt(last->first);
    end = last + 1;
  }
  std::transform(keyed.begin(), keyed.end(), order_.begin(), [](const Keyed& k) { return k.second; });
}

}  // namespace primfit::adaptive
