// What the stages of the convergence work on: the points, their weights and what the options say.
#ifndef PRIMFIT_SRC_ADAPTIVE_CONVERGE_CONVERGE_TASK_H_
#define PRIMFIT_SRC_ADAPTIVE_CONVERGE_CONVERGE_TASK_H_

#include <Eigen/Core>
#include <optional>
#include <span>

#include "adaptive/scene/plausible.h"
#include "adaptive/scene/resolution.h"

namespace primfit::adaptive {

struct ConvergeTask {
  std::span<const Eigen::Vector3d> points{};
  std::span<const double> sqrtWeights{};   ///< of the points in least squares; none where all are alike
  std::span<const double> noiseWeights{};  ///< see EstimateNoise; none where all are alike
  unsigned held = 0;
  std::optional<double> noise{}, tolerance{};  ///< that the options say
  double startTolerance = 0;                   ///< of the inliers that the start model comes with
  int fadingRounds = 2;  ///< first rounds with a wider band at whose edge weights fade; 0 to 2
  const Plausible* plausible = nullptr;  ///< in the units of the points; null: every shape is plausible
  double size = 0;  ///< of the cloud, to tell a small step from a large one; 0: the shape's own
  const Resolution* resolution = nullptr;  ///< of the coordinates; null: exact ones

  /// Moves a model into the plausible ranges. @return the parts at an end of theirs
  unsigned Clamp(Model& m) const { return plausible == nullptr ? 0 : plausible->Clamp(m); }
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_CONVERGE_CONVERGE_TASK_H_
