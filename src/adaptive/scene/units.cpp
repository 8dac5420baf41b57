#include "adaptive/scene/units.h"

#include <algorithm>
#include <cstddef>
#include <vector>

using Eigen::Vector3d;

namespace primfit::adaptive {

Model Units::Into(Model m) const {
  m.center = (m.center - middle) / size;
  m.major /= size;
  if (FactsOf(m.kind).minor != ParameterKind::kHalfAngle) m.minor /= size;  // a cone's is an angle
  return m;
}

Model Units::Back(Model m) const {
  m.center = m.center * size + middle;
  m.major *= size;
  if (FactsOf(m.kind).minor != ParameterKind::kHalfAngle) m.minor *= size;
  return m;
}

Units UnitsOf(std::span<const Vector3d> points) {
  if (points.empty()) return {.size = 0};
  // Medians need an order only about their middle, so nothing is sorted.
  std::vector<double> values(points.size());
  const auto median = [&](const auto& of) {
    std::transform(points.begin(), points.end(), values.begin(), of);
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), at, values.end());
    return *at;
  };
  Units units;
  for (Eigen::Index axis = 0; axis < 3; ++axis)
    units.middle[axis] = median([&](const Vector3d& p) { return p[axis]; });
  units.size = median([&](const Vector3d& p) { return (p - units.middle).norm(); });
  return units;
}

}  // namespace primfit::adaptive
