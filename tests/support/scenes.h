// Repeatable chance and points on shapes, for tests. The geometry here is written apart from the library's.
#ifndef PRIMFIT_TESTS_SUPPORT_SCENES_H_
#define PRIMFIT_TESTS_SUPPORT_SCENES_H_

#include <Eigen/Core>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "primfit/shapes/output_circle.h"
#include "primfit/shapes/output_cone.h"
#include "primfit/shapes/output_cylinder.h"
#include "primfit/shapes/output_line.h"
#include "primfit/shapes/output_plane.h"
#include "primfit/shapes/output_sphere.h"
#include "primfit/shapes/output_torus.h"

namespace primfit::testing {

using Points = std::vector<Eigen::Vector3d>;

struct Range {
  double low, high;
};
inline constexpr Range kFullTurn{0, 2 * std::numbers::pi};

/// A rotation followed by a translation.
struct Pose {
  Eigen::Matrix3d rotation = Eigen::Matrix3d::Identity();
  Eigen::Vector3d translation = Eigen::Vector3d::Zero();
  Eigen::Vector3d operator*(const Eigen::Vector3d& p) const { return rotation * p + translation; }
  Points operator*(const Points& points) const;
};

/// Random numbers that follow from the names of the running suite and test and a case number.
class Random {
 public:
  explicit Random(std::uint64_t testCase = 0);

  std::uint64_t Seed() const { return seed_; }
  double Uniform(double low, double high) { return std::uniform_real_distribution(low, high)(engine_); }
  double Uniform(Range range) { return Uniform(range.low, range.high); }
  int Integer(int low, int high) { return std::uniform_int_distribution(low, high)(engine_); }
  double Gauss(double sigma) { return sigma > 0 ? std::normal_distribution(0.0, sigma)(engine_) : 0.0; }
  /// Uniform on the unit sphere.
  Eigen::Vector3d Direction();
  /// Uniform in the cube of half-width `half` about the origin.
  Eigen::Vector3d InCube(double half);
  /// Uniform over all rotations.
  Eigen::Matrix3d Rotation();
  /// Any rotation, any translation of at most `reach` along each axis.
  Pose AnyPose(double reach) { return {Rotation(), InCube(reach)}; }
  void Shuffle(Points& points);

 private:
  std::uint64_t seed_;
  std::mt19937_64 engine_;
};

/// n points, uniform by length or area over a part of a shape, moved along the shape's normal (for curves: in
/// any direction across the curve) by Gaussian noise. Angles run as in the shape's Eval.
Points PointsOn(const OutputLine& line, int n, Range t, double noise, Random& random);
Points PointsOn(const OutputCircle& circle, int n, Range angle, double noise, Random& random);
Points PointsOn(const OutputPlane& plane, int n, Range u, Range v, double noise, Random& random);
Points PointsOn(const OutputSphere& sphere, int n, Range elevation, Range azimuth, double noise,
                Random& random);
Points PointsOn(const OutputCylinder& cylinder, int n, Range angle, Range height, double noise,
                Random& random);
/// Heights from the apex along the axis, of one sign.
Points PointsOn(const OutputCone& cone, int n, Range angle, Range height, double noise, Random& random);
Points PointsOn(const OutputTorus& torus, int n, Range angle, Range tubeAngle, double noise, Random& random);

/// n points uniform in a box.
Points Clutter(const Eigen::Vector3d& low, const Eigen::Vector3d& high, int n, Random& random);
/// Points with as many about them as a share of all asks for, uniform in a box of one and a half times the
/// size.
Points WithClutter(Points points, double share, Random& random);
Points Joined(Points a, const Points& b);

}  // namespace primfit::testing

#endif  // PRIMFIT_TESTS_SUPPORT_SCENES_H_
