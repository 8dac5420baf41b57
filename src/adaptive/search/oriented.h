// Candidates through points that are known with their direction.
//
// A point with the normal of the surface there (for curves: the direction of the curve) says more than a
// point alone, so fewer of them determine a shape: two a cylinder instead of nine. The directions come from
// the neighbours of the points and are rough, so a candidate is only a start for the local optimisation.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_ORIENTED_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_ORIENTED_H_

#include <Eigen/Core>
#include <array>
#include <span>

#include "adaptive/model/model.h"

namespace primfit::adaptive {

/// A point and the normal of the surface there, of either sign; of a curve its direction.
struct OrientedPoint {
  Eigen::Vector3d position;
  Eigen::Vector3d direction;
};

inline constexpr int kMostOriented = 4;
/// Oriented points that determine a shape: of a line or plane 1, an arc, sphere or cylinder 2, a cone 3, a
/// torus 4.
int OrientedSampleSize(ShapeKind kind);

/// The shapes that they determine, none where their directions agree with no such shape or with any.
struct Candidates {
  int count = 0;
  std::array<Model, 2> models;
};
Candidates ThroughOriented(ShapeKind kind, std::span<const OrientedPoint> sample);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_ORIENTED_H_
