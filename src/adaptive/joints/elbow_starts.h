// Where the refinement of an elbow with its pipes starts from.
//
// Two pipes that a bend joins fix all of it but one number: where on their axes the bend begins. Its radius
// follows from that, and a search in one dimension finds it. The pipes are two cylinders that were found, or
// the tangents at both ends of a torus that was.
#ifndef PRIMFIT_SRC_ADAPTIVE_JOINTS_ELBOW_STARTS_H_
#define PRIMFIT_SRC_ADAPTIVE_JOINTS_ELBOW_STARTS_H_

#include <Eigen/Core>
#include <optional>
#include <span>
#include <vector>

#include "adaptive/joints/piped_elbow.h"

namespace primfit::adaptive {

/// Two pipes of one radius: how they run towards the bend and away from it.
struct PipePair {
  Eigen::Vector3d first, towards;  ///< any point of the axis, and its direction
  Eigen::Vector3d second, awayFrom;
  double radius = 0;
};

/// A cylinder and where its points are.
struct FoundPipe {
  Model cylinder;
  Eigen::Vector3d middle;  ///< of its points
};

/// The ways in which an elbow may join two pipes: one where their axes meet, two where these are parallel, as
/// a half turn at either end; none where they are too different in radius or pass each other too far away.
std::vector<PipePair> PairsOf(const FoundPipe& one, const FoundPipe& other);

/// The elbow between two pipes that has the most points within the bound, these counted by their distance.
/// @return none where no bend of a radius above the pipe's is near the points
std::optional<PipedElbow> BestBetween(const PipePair& pair, std::span<const Eigen::Vector3d> points,
                                      double bound);

/// A torus of which points within the bound cover a part of the turn, with tangents at both ends of that.
/// @return none where they cover nearly a full turn, or hardly any
std::optional<PipedElbow> WithTangents(const Model& torus, std::span<const Eigen::Vector3d> points,
                                       double bound);

/// The piece of an arc, in radians, that a torus takes in of a straight pipe: this leaves it by s^2 / 2R on a
/// length s, so its points are within the tolerance on the first sqrt(2 tolerance R).
double PieceOfPipe(const PipedElbow& elbow, double tolerance);

/// The elbow with its arc shorter by a piece at both ends; longer where the piece is negative.
PipedElbow Shortened(PipedElbow elbow, double piece);

/// Sum of the squared distances, none larger than that of the bound (MSAC: Torr and Zisserman 2000).
double TruncatedSquares(const PipedElbow& elbow, std::span<const Eigen::Vector3d> points, double bound);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_JOINTS_ELBOW_STARTS_H_
