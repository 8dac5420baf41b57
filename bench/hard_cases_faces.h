// The bounded surfaces that scenes are built of. A face is a part of a primitive in a pose; points can be
// spread over it, and rays can hit it.
#ifndef PRIMFIT_BENCH_HARD_CASES_FACES_H_
#define PRIMFIT_BENCH_HARD_CASES_FACES_H_

#include <functional>
#include <numbers>
#include <optional>

#include "hard_cases.h"

namespace primfit::bench {

inline constexpr Range kFullTurn{0, 2 * std::numbers::pi};
inline constexpr double kDegree = std::numbers::pi / 180;
inline const Eigen::Vector3d kX = Eigen::Vector3d::UnitX(), kY = Eigen::Vector3d::UnitY(),
                             kZ = Eigen::Vector3d::UnitZ();

struct Face {
  const Primitive* primitive = nullptr;
  Truth truth;
  Pose pose;
  /// How far the real surface lies off the ideal one, along its normal, at a place; none: nowhere.
  std::function<double(const Eigen::Vector3d&)> form = {};
  /// Whether a place belongs to the face; none: all of it does.
  std::function<bool(const Eigen::Vector3d&)> keeps = {};

  std::shared_ptr<const OutputShape> Shape() const { return primitive->make(truth, pose); }
  Eigen::Vector3d Formed(const OutputSurface& shape, const Eigen::Vector3d& p) const;
};

/// A parallelogram of right angles: the two edges meet square to each other.
Face Rectangle(const Eigen::Vector3d& middle, const Eigen::Vector3d& edge, const Eigen::Vector3d& otherEdge);
/// The side of a cylinder between two points of its axis.
/// @param towards  direction from which the azimuth counts; the side from there on both ways, half of
///     `turn` each, is there
Face Tube(const Eigen::Vector3d& from, const Eigen::Vector3d& to, double radius, double turn = kFullTurn.high,
          const Eigen::Vector3d& towards = Eigen::Vector3d::UnitX());
/// The side of a truncated cone with its radii at both ends, which must differ.
Face Frustum(const Eigen::Vector3d& from, const Eigen::Vector3d& to, double fromRadius, double toRadius,
             double turn = kFullTurn.high, const Eigen::Vector3d& towards = Eigen::Vector3d::UnitX());
/// The cap of a sphere about a direction out to an angle from it, pi for all.
Face Cap(const Eigen::Vector3d& center, double radius, const Eigen::Vector3d& towards, double angle);
/// A part of a torus, from a direction on by an angle about its axis.
/// @param tube  range of the angle about the tube, which counts from its outer equator
Face Bend(const Eigen::Vector3d& center, const Eigen::Vector3d& axis, const Eigen::Vector3d& from,
          double major, double minor, double sweep, Range tube = kFullTurn);

double AreaOf(const Face& face);

/// The first place at which a ray hits the face, as a distance from its origin.
/// @param direction  of unit length
std::optional<double> Hit(const Face& face, const Eigen::Vector3d& origin, const Eigen::Vector3d& direction);

/// The six faces of a box about a middle, along the axes.
std::vector<Face> Box(const Eigen::Vector3d& middle, const Eigen::Vector3d& size);

}  // namespace primfit::bench

#endif  // PRIMFIT_BENCH_HARD_CASES_FACES_H_
