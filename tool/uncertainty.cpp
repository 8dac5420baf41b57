#include "uncertainty.h"

#include <Eigen/Core>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <string>

namespace primfit::tool {

namespace {

/// The parameter of the covariance that a part is, empty for none.
std::string ParameterOf(const Part& part) {
  if (part.role == Role::kResult) return {};
  switch (part.quantity) {
    case Quantity::kPosition:
      return "position";
    case Quantity::kDirection:
      return "direction";
    case Quantity::kAngle:
      return "half-angle";
    case Quantity::kLength:
      break;
  }
  std::string name(part.name);
  std::replace(name.begin(), name.end(), '-', ' ');
  return name;
}

/// How far along the axis a position lies from where the covariance states it, in metres.
double LeverOf(const FitRun& run, std::size_t offset) {
  double lever = 0;
  const Eigen::Vector3d position(run.result.shape.data() + offset);
  const Eigen::Vector3d from = position * run.input->unit->metres - run.result.insight->covariance.position;
  ForEachPart(run.primitive->parts, run.result.shape.size(),
              [&](const Part& part, std::size_t, std::size_t at) {
                if (ParameterOf(part) == "direction")
                  lever = from.dot(Eigen::Vector3d(run.result.shape.data() + at));
              });
  return lever;
}

}  // namespace

std::optional<double> DeviationOf(const FitRun& run, const Part& part, std::size_t offset) {
  const std::string name = ParameterOf(part);
  if (!run.result.insight || name.empty()) return std::nullopt;
  const FitCovariance& c = run.result.insight->covariance;
  const double lever = name == "position" ? LeverOf(run, offset) : 0;
  // Column i: where the part moves with parameter i; a size moves along x.
  Eigen::Matrix3Xd motion = Eigen::Matrix3Xd::Zero(3, c.matrix.cols());
  for (Eigen::Index i = 0; i < motion.cols(); ++i) {
    const FitParameter& p = c.parameters[static_cast<std::size_t>(i)];
    if (p.name == name)
      motion.col(i) = p.direction.isZero(0) ? Eigen::Vector3d::UnitX() : p.direction;
    else if (p.name == std::string("direction"))
      motion.col(i) = lever * p.direction;
  }
  if (motion.isZero(0)) return std::nullopt;
  const Eigen::Matrix3d spread = motion * c.matrix * motion.transpose();
  const double worst =
      Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d>(spread, Eigen::EigenvaluesOnly).eigenvalues().maxCoeff();
  if (!std::isfinite(worst)) return std::nullopt;
  const bool isDirection = part.quantity == Quantity::kDirection;
  return std::sqrt(std::max(0.0, worst)) /
         FactorOf(isDirection ? Quantity::kAngle : part.quantity, *run.input->unit);
}

}  // namespace primfit::tool
