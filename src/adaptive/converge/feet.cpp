#include "adaptive/converge/feet.h"

#include <algorithm>

#include "adaptive/model/refine.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

FeetSums SumsAtFeet(const Model& model, unsigned held, std::span<Vector3d> points,
                    std::span<double> sqrtWeights) {
  WithShape(model, [&](const auto& shape) {
    for (Vector3d& p : points) p = shape.ClosestPoint(p);
  });
  const PointRefs feet = RefsOf(points, sqrtWeights.empty() ? nullptr : sqrtWeights.data());
  FeetSums sums{SumsAt(model, held, feet), std::nullopt};
  if (sqrtWeights.empty()) return sums;
  std::transform(sqrtWeights.begin(), sqrtWeights.end(), sqrtWeights.begin(), [](double w) { return w * w; });
  sums.squared = SumsAt(model, held, feet);
  return sums;
}

}  // namespace primfit::adaptive
