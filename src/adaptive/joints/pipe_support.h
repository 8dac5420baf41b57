// How far points support the pipes of an elbow.
//
// A cylinder without an end passes points far from the pipe that it stands for, and whatever lies beside an
// elbow has some points within the band of a pipe that is not there. So a pipe reaches only as far as its
// points go on from the end of the arc, are denser within the band than beside it, and cover more around it
// than the strip in which a plane touches it.
#ifndef PRIMFIT_SRC_ADAPTIVE_JOINTS_PIPE_SUPPORT_H_
#define PRIMFIT_SRC_ADAPTIVE_JOINTS_PIPE_SUPPORT_H_

#include <Eigen/Core>
#include <array>
#include <span>

#include "adaptive/joints/piped_elbow.h"

namespace primfit::adaptive {

/// A pipe shorter than this, in radii, says nothing that a bend could not.
inline constexpr double kLeastPipe = 2.5;
/// Farther from the elbow, in radii, real pipes are not straight enough to say more of it.
inline constexpr double kLongestPipe = 40;

/// The length of each pipe that points support; zero where the points are no pipe's.
std::array<double, 2> SupportedLengths(const PipedElbow& elbow, std::span<const Eigen::Vector3d> points,
                                       double tolerance);

/// Whether points lie on most of the arc, and more within the tolerance than beside it.
bool IsArcSupported(const PipedElbow& elbow, std::span<const Eigen::Vector3d> points, double tolerance);

/// The share of the distances' squares that is explained by the tube's being off sideways, otherwise from one
/// piece along the centre line to the next, beside what that explains by chance: a torus that has taken in
/// points of straight pipes is off inward and outward in turns.
double ShareExplainedAlong(const PipedElbow& elbow, std::span<const Eigen::Vector3d> points,
                           double tolerance);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_JOINTS_PIPE_SUPPORT_H_
