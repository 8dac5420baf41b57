// One shape of each kind as the stages of the adaptive fit see it, and points on it.
#ifndef PRIMFIT_TESTS_ADAPTIVE_KNOWN_SHAPES_H_
#define PRIMFIT_TESTS_ADAPTIVE_KNOWN_SHAPES_H_

#include <array>
#include <vector>

#include "adaptive/model/model.h"
#include "support/scenes.h"

namespace primfit::testing {

inline constexpr std::array kAllKinds = {ShapeKind::kLine,   ShapeKind::kArc,      ShapeKind::kPlane,
                                         ShapeKind::kSphere, ShapeKind::kCylinder, ShapeKind::kCone,
                                         ShapeKind::kTorus};

/// About a metre in size, in any pose.
inline Model KnownShape(ShapeKind kind, Random& random) {
  const bool cone = kind == ShapeKind::kCone;
  return {kind, random.InCube(1), random.Direction(), 1, cone ? 0.4 : 0.3};
}

/// Points on all of a shape, of unbounded ones on a metre or two of it.
inline Points PointsOn(const Model& m, int n, double noise, Random& random) {
  switch (m.kind) {
    case ShapeKind::kLine:
      return PointsOn(OutputLine(m.center, m.axis), n, {-1, 1}, noise, random);
    case ShapeKind::kArc:
      return PointsOn(OutputCircle(m.center, m.minor, m.axis), n, kFullTurn, noise, random);
    case ShapeKind::kPlane:
      return PointsOn(OutputPlane(m.center, m.axis), n, {-1, 1}, {-1, 1}, noise, random);
    case ShapeKind::kSphere:
      return PointsOn(OutputSphere(m.center, m.minor), n, {-1.5, 1.5}, kFullTurn, noise, random);
    case ShapeKind::kCylinder:
      return PointsOn(OutputCylinder(m.center, m.minor, m.axis), n, kFullTurn, {0, 2}, noise, random);
    case ShapeKind::kCone:
      return PointsOn(OutputCone(m.center, m.minor, m.axis), n, kFullTurn, {0.5, 1.5}, noise, random);
    case ShapeKind::kTorus:
      break;
  }
  return PointsOn(OutputTorus(m.center, m.major, m.minor, m.axis), n, kFullTurn, kFullTurn, noise, random);
}

/// The largest distance of points from a shape.
inline double LargestDistance(const Model& m, const Points& points) {
  std::vector<double> distances(points.size());
  adaptive::Distances(m, points.data(), static_cast<int>(points.size()), distances.data());
  double largest = 0;
  for (const double d : distances) largest = d <= largest ? largest : d;  // a NaN is the largest
  return largest;
}

}  // namespace primfit::testing

#endif  // PRIMFIT_TESTS_ADAPTIVE_KNOWN_SHAPES_H_
