// Candidates of an elbow with its pipes, on a random choice of the points.
//
// They start from cylinders that go on from the ends of a torus, from the tangents there, and from cylinders
// found anywhere. Each is refined in ever narrower bands (joints/converge_piped_elbow.h).
#ifndef PRIMFIT_SRC_ADAPTIVE_ELBOW_SEARCH_H_
#define PRIMFIT_SRC_ADAPTIVE_ELBOW_SEARCH_H_

#include <Eigen/Core>
#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "adaptive/fit_tasks.h"
#include "adaptive/joints/converge_piped_elbow.h"
#include "adaptive/joints/pipe_growth.h"
#include "adaptive/outcome.h"
#include "adaptive/scene/cloud.h"

namespace primfit::adaptive {

/// A shape with this share of the points leaves none for pipes.
inline constexpr double kAllPoints = 0.95;
/// The share of the distances' squares that bends along the centre line may explain beside what they do by
/// chance: of a torus that leaves nothing to be looked for, and of an elbow with its pipes.
inline constexpr double kStructure = 0.05, kMostStructure = 0.2;
/// A band of less than this share of the tube's radius is narrow.
inline constexpr double kClear = 0.15;
/// Points that tell a good bend from others.
inline constexpr std::size_t kScored = 1536;

/// Everything that looking for pipes takes from the fit.
struct ElbowTask {
  Scene& scene;
  Cloud cloud;  ///< of the scene, or about a place that was told
  const FitOptionsBase& options;
  const Start& start;
  Sample& sample;
  Budget& budget;
  std::vector<Eigen::Vector3d> points;     ///< a random choice, relative to the scene's origin
  double least = 0;                        ///< smallest tolerance of a point
  std::vector<Eigen::Vector3d> ofTorus{};  ///< inliers of the torus that was found without pipes
  /// The torus at a place that was told; null where none was.
  const Model* atPlace = nullptr;
  std::array<std::optional<GrownPipe>, 2> grown{};  ///< pipes that go on from the ends of the torus

  std::span<const Eigen::Vector3d> Scored() const {
    return std::span(points).first(std::min(points.size(), kScored));
  }
};

/// The pipes that go on from the ends of a torus.
std::array<std::optional<GrownPipe>, 2> GrowPipes(const Outcome& torus, const ElbowTask& task);

/// Elbows that start from what goes on from the ends of a torus: first between pipes that were grown there,
/// then from tangents. @return whether the last one is clear: nothing is left to be explained or looked for
bool JoinEnds(const Outcome& torus, const ElbowTask& task, std::vector<SettledElbow>& settled);

/// Elbows between cylinders, first fine ones, then coarse ones, until one has both pipes.
void JoinFoundPipes(const ElbowTask& task, std::vector<SettledElbow>& settled);

/// The one that explains the points best, by the narrowest of their tolerances; null where there is none.
const SettledElbow* BestOf(const std::vector<SettledElbow>& settled, const ElbowTask& task);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_ELBOW_SEARCH_H_
