// Points of a scene that stages work on, all or a part of them.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_CLOUD_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_CLOUD_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "adaptive/scene/dice.h"
#include "adaptive/scene/sample.h"
#include "adaptive/scene/scene.h"

namespace primfit::adaptive {

/// Points relative to the scene's origin with their weights in least squares and their trust.
struct Cloud {
  std::span<const Eigen::Vector3d> points;
  std::span<const double> sqrtWeights, trust;  ///< none where all are alike
};

inline Cloud CloudOf(const Scene& scene) { return {scene.Points(), scene.SqrtWeights(), scene.Trust()}; }

/// Some points of a scene, copied, so that stages work on them as on a cloud of their own.
struct ScenePart {
  /// @param of  indices in the scene, which the part keeps
  ScenePart(const Scene& scene, std::vector<std::uint32_t> of);
  Cloud AsCloud() const { return {points, sqrtWeights, trust}; }

  std::vector<std::uint32_t> indices;
  std::vector<Eigen::Vector3d> points;
  std::vector<double> sqrtWeights, trust;
};

/// All points of a part as the search wants them, in their order.
Sample SampleOf(const ScenePart& part);

/// Some of the elements by lot, in random order and none twice; all of them where they are no more than
/// `most`, else a little fewer than that.
std::vector<std::uint32_t> DrawSome(std::span<const std::uint32_t> from, std::size_t most, Dice& dice);

/// The distance of the farthest of some points from a place.
double FarthestOf(std::span<const std::uint32_t> indices, std::span<const Eigen::Vector3d> points,
                  const Eigen::Vector3d& place);

/// The indices of the points within a bound of a shape.
std::vector<std::uint32_t> PointsWithin(double bound, const Model& model,
                                        std::span<const Eigen::Vector3d> points);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_CLOUD_H_
