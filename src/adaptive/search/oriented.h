// Candidates through points that are known with their direction.
//
// A point with the normal of the surface there (for curves: the direction of the curve) says more than a
// point alone, so fewer of them determine a shape: two a cylinder instead of nine. The directions come from
// the neighbours of the points and are rough, so a candidate is only a start for the local optimisation.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_ORIENTED_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_ORIENTED_H_

#include <Eigen/Core>
#include <array>
#include <cstddef>
#include <span>

#include "adaptive/model/model.h"

namespace primfit::adaptive {

/// A point and the normal of the surface there, of either sign; of a curve its direction.
struct OrientedPoint {
  Eigen::Vector3d position;
  Eigen::Vector3d direction;
};

inline constexpr std::size_t kMostOriented = 4;

/// The shapes that oriented points determine, none where their directions agree with no such shape or with
/// any.
struct Candidates {
  int count = 0;
  std::array<Model, 2> models;
};

/// As many points as the name says.
using OrientedPoints = std::span<const OrientedPoint>;
Candidates LineThroughOne(OrientedPoints points);
Candidates PlaneThroughOne(OrientedPoints points);
Candidates ArcThroughTwo(OrientedPoints points);
Candidates SphereThroughTwo(OrientedPoints points);
Candidates CylinderThroughTwo(OrientedPoints points);
Candidates ConeThroughThree(OrientedPoints points);
Candidates ToriThroughFour(OrientedPoints points);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_ORIENTED_H_
