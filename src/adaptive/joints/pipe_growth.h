// The pipes that go on from the ends of a bend, grown out of these.
//
// A torus that was found alone tells about where its pipes begin and how they run. A cylinder is fitted to
// the points there, then to those on ever longer pieces of it (region growing; Besl and Jain 1988). No search
// is needed, so pipes are found that are a small part of all points.
#ifndef PRIMFIT_SRC_ADAPTIVE_JOINTS_PIPE_GROWTH_H_
#define PRIMFIT_SRC_ADAPTIVE_JOINTS_PIPE_GROWTH_H_

#include <Eigen/Core>
#include <cstddef>
#include <optional>
#include <span>

#include "adaptive/joints/elbow_starts.h"
#include "adaptive/joints/piped_elbow.h"
#include "adaptive/model/budget.h"

namespace primfit::adaptive {

struct GrownPipe {
  FoundPipe pipe;
  double tolerance = 0;
  double length = 0;  ///< on which points support it, from the end of the arc on
  double beyond = 0;  ///< the same, from where the points of the torus end
};

/// The pipe that goes on from an end of the arc of a torus that was found alone, with about its radius.
/// @param end        0 where the arc begins, 1 where it ends
/// @param tolerance  of the torus's inliers, which decides how uncertain the end is
/// @return none where points do not support one that is long enough to be a pipe
std::optional<GrownPipe> GrowPipe(const PipedElbow& elbow, std::size_t end, double tolerance,
                                  std::span<const Eigen::Vector3d> points, Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_JOINTS_PIPE_GROWTH_H_
