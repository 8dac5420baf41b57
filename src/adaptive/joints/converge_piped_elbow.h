// From a rough elbow with its pipes to the final one: first on a sample in ever narrower bands, then on all
// points until the inliers stay the same.
#ifndef PRIMFIT_SRC_ADAPTIVE_JOINTS_CONVERGE_PIPED_ELBOW_H_
#define PRIMFIT_SRC_ADAPTIVE_JOINTS_CONVERGE_PIPED_ELBOW_H_

#include <Eigen/Core>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "adaptive/converge/converge.h"
#include "adaptive/converge/converge_task.h"
#include "adaptive/joints/piped_elbow.h"
#include "adaptive/joints/refine_piped_elbow.h"
#include "adaptive/model/budget.h"

namespace primfit::adaptive {

struct SettledElbow {
  PipedElbow elbow;
  double tolerance = 0;
};

/// Refines an elbow on the points within a band that narrows from a part of its tube to the bound of the
/// noise. A pipe that points support on less than three radii is let go.
/// @param held   parts of the torus
/// @param least  the narrowest band
/// @return none where no pipe is left
std::optional<SettledElbow> Settle(PipedElbow start, unsigned held, double least,
                                   std::span<const Eigen::Vector3d> points, Budget& budget);

struct ConvergedElbow {
  PipedElbow elbow;
  /// The torus and the points of the arc, which are its inliers. The sums are those of arc and pipes for the
  /// parameters of the torus, the ends of the arc being the best ones for each; per point of the arc.
  Converged arc;
  std::vector<std::uint32_t> ofPipes;  ///< points of the pipes within the tolerance
  ElbowMatrix covariance;              ///< of all parameters; zero for those that are held
};

/// The orthogonal least-squares elbow of its own inliers and those of its pipes.
std::optional<ConvergedElbow> Converge(const SettledElbow& start, const ConvergeTask& task, Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_JOINTS_CONVERGE_PIPED_ELBOW_H_
