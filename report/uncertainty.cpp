// From the covariance of the free parameters to the standard deviation of each part of the record. A position
// may be stated elsewhere than the covariance's own: there it moves with the direction too, by the distance
// between them.
#include "report/uncertainty.h"

#include <Eigen/Core>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>

namespace primfit::report {

namespace {

/// The parameter of the covariance that a part is; none for parts that are no parameters.
std::optional<ParameterKind> ParameterOf(const Part& part) {
  return part.role == Role::kResult ? std::nullopt : primfit::ParameterOf(part.kind);
}

/// Whether the points determine a parameter. The variance of an angle takes directions for places in a plane:
/// beyond a right angle it says no more than that any direction fits.
bool IsDetermined(const FitParameter& p) {
  return std::isfinite(p.standardDeviation) && (!p.IsAngle() || p.standardDeviation <= std::numbers::pi / 2);
}

/// How far along the axis a position lies from where the covariance states it, in metres.
double LeverOf(const MeasuredShape& shape, std::size_t offset) {
  constexpr double kRounding = 1e-12;  // of the coordinates, through two changes of their unit
  double lever = 0;
  const Eigen::Vector3d position = shape.unit.metres * Eigen::Vector3d(shape.numbers.data() + offset);
  const Eigen::Vector3d from = position - shape.covariance.position;
  if (from.norm() <= kRounding * position.norm()) return 0;
  ForEachPart(shape.parts, shape.numbers.size(), [&](const Part& part, std::size_t, std::size_t at) {
    if (ParameterOf(part) == ParameterKind::kDirection)
      lever = from.dot(Eigen::Vector3d(shape.numbers.data() + at));
  });
  return lever;
}

/// Column i: where a part moves with parameter i of the covariance; a size moves along x.
Eigen::Matrix3Xd MotionOf(ParameterKind kind, double lever, const FitCovariance& c) {
  Eigen::Matrix3Xd motion = Eigen::Matrix3Xd::Zero(3, c.matrix.cols());
  for (Eigen::Index i = 0; i < motion.cols(); ++i) {
    const FitParameter& p = c.parameters[static_cast<std::size_t>(i)];
    if (p.kind == kind)
      motion.col(i) = p.direction.isZero(0) ? Eigen::Vector3d::UnitX() : p.direction;
    else if (p.kind == ParameterKind::kDirection)
      motion.col(i) = lever * p.direction;
  }
  return motion;
}

/// The standard deviation of a parameter, in metres or radians.
std::optional<double> ParameterDeviation(const MeasuredShape& shape, ParameterKind kind, std::size_t offset) {
  constexpr double kNotDetermined = std::numeric_limits<double>::infinity();
  const FitCovariance& c = shape.covariance;
  const Eigen::Matrix3Xd motion =
      MotionOf(kind, kind == ParameterKind::kPosition ? LeverOf(shape, offset) : 0, c);
  if (motion.isZero(0)) return std::nullopt;
  Eigen::MatrixXd matrix = c.matrix;  // without what does not move the part, which may be infinite
  for (Eigen::Index i = 0; i < motion.cols(); ++i) {
    const bool moves = !motion.col(i).isZero(0);
    if (moves && !IsDetermined(c.parameters[static_cast<std::size_t>(i)])) return kNotDetermined;
    if (moves) continue;
    matrix.row(i).setZero();
    matrix.col(i).setZero();
  }
  const Eigen::Matrix3d spread = motion * matrix * motion.transpose();
  if (!spread.allFinite()) return kNotDetermined;
  const double worst =
      Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d>(spread, Eigen::EigenvaluesOnly).eigenvalues().maxCoeff();
  const double deviation = std::sqrt(std::max(0.0, worst));
  return kind == ParameterKind::kDirection && deviation > std::numbers::pi / 2 ? kNotDetermined : deviation;
}

/// The standard deviation of what tells how far the points reach, in metres or radians.
std::optional<double> BoundDeviation(const MeasuredShape& shape, const Part& part, std::size_t offset) {
  const FitExtents& extents = shape.extents;
  const bool turns = part.kind == PartKind::kStartDirection || part.kind == PartKind::kQuarterDirection;
  if (turns) return extents.start > 0 ? std::optional(extents.start) : std::nullopt;
  std::size_t before = 0;  // sizes of the extent in the order of the parts
  ForEachPart(shape.parts, shape.numbers.size(), [&](const Part& other, std::size_t, std::size_t at) {
    const bool isSize = other.Size() == 1 && !primfit::ParameterOf(other.kind);
    before += isSize && at < offset ? 1 : 0;
  });
  return before < extents.sizes.size() ? std::optional(extents.sizes[before]) : std::nullopt;
}

}  // namespace

std::optional<double> DeviationOf(const MeasuredShape& shape, const Part& part, std::size_t offset) {
  std::optional<double> deviation;
  if (const std::optional<ParameterKind> kind = ParameterOf(part))
    deviation = ParameterDeviation(shape, *kind, offset);
  else
    deviation = BoundDeviation(shape, part, offset);
  // An end is known along its axis by how the points end there.
  if (deviation && part.kind == PartKind::kStartPoint) deviation = std::max(*deviation, shape.extents.start);
  if (!deviation) return std::nullopt;
  const bool isDirection = QuantityOf(part) == Quantity::kDirection;
  return *deviation / FactorOf(isDirection ? Quantity::kAngle : QuantityOf(part), shape.unit);
}

}  // namespace primfit::report
