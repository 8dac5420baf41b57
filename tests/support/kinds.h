// The seven shapes as one table, each with a second, independent description of its geometry.
#ifndef PRIMFIT_TESTS_SUPPORT_KINDS_H_
#define PRIMFIT_TESTS_SUPPORT_KINDS_H_

#include <gtest/gtest.h>

#include <Eigen/Core>
#include <iosfwd>
#include <memory>
#include <span>

#include "support/scenes.h"

namespace primfit::testing {

inline constexpr double kRadius = 2;  // circle, sphere, cylinder
inline constexpr double kMajor = 3;   // torus
inline constexpr double kMinor = 1;
inline constexpr double kHalfAngle = 0.5;  // cone

enum KindIndex { kLine, kCircle, kPlane, kSphere, kCylinder, kCone, kTorus };

/// One shape. Its formulas live in its own frame at scale 1: centre, apex or root in the origin, axis,
/// direction or normal along z.
struct Kind {
  const char* name;
  bool surface;
  /// Signed distance of a point at distance rho from the axis and height z.
  long double (*distance)(long double rho, long double z);
  Eigen::Vector3d (*normal)(const Eigen::Vector3d& p);
  /// The point at the parameters of Eval, which are taken from the ranges for a search of the foot point of
  /// any point in the cube of half-width 4.
  Eigen::Vector3d (*at)(double u, double v);
  Range u, v;
  std::unique_ptr<OutputShape> (*make)(const Pose& pose, double scale);
  std::unique_ptr<OutputShape> (*copy)(const OutputShape& shape);
  void (*assign)(OutputShape& to, const OutputShape& from);

  long double Distance(const Eigen::Vector3d& p) const;
  bool Is(KindIndex index) const;
};

std::span<const Kind> Kinds();

std::ostream& operator<<(std::ostream& out, const Kind& kind);

/// A law that holds for each of them.
class EveryShape : public ::testing::TestWithParam<Kind> {
 protected:
  const Kind& kind = GetParam();
  Random random;
};

}  // namespace primfit::testing

#endif  // PRIMFIT_TESTS_SUPPORT_KINDS_H_
