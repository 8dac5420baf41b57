// The normal equations at the feet of inliers on their shape: at the points themselves noise makes levers
// longer than they are.
#ifndef PRIMFIT_SRC_ADAPTIVE_CONVERGE_FEET_H_
#define PRIMFIT_SRC_ADAPTIVE_CONVERGE_FEET_H_

#include <Eigen/Core>
#include <optional>
#include <span>

#include "adaptive/model/model.h"

namespace primfit::adaptive {

struct FeetSums {
  NormalEquations sums{};
  std::optional<NormalEquations> squared;  ///< where there are weights: with their squares in their place
};

/// @param held         parts that are not free
/// @param points       are replaced by their feet
/// @param sqrtWeights  none where all are alike; are replaced by the weights
FeetSums SumsAtFeet(const Model& model, unsigned held, std::span<Eigen::Vector3d> points,
                    std::span<double> sqrtWeights);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_CONVERGE_FEET_H_
