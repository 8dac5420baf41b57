#include "adaptive/model/refine_cone.h"

#include <Eigen/Geometry>
#include <cmath>
#include <numbers>
#include <vector>

#include "fit/vector_math.h"
#include "optimize/native_trust_region.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

constexpr int kParameters = 6;
/// A half-angle below which a cone is a cylinder as well as doubles can tell.
constexpr double kLeastAngle = 1e-9;

/// A cone by the centre and the radius of the circle that is cut by the plane square to its axis.
struct CircledCone {
  Vector3d center, axis;
  double radius, halfAngle;  ///< negative: it opens the other way
};

CircledCone CircledOf(const Model& cone, const Vector3d& middle) {
  const double height = (middle - cone.center).dot(cone.axis);
  return {cone.center + height * cone.axis, cone.axis, height * std::tan(cone.minor), cone.minor};
}

std::optional<Model> ModelOf(const CircledCone& cone) {
  const double angle = std::abs(cone.halfAngle);
  if (!(angle > kLeastAngle && angle < std::numbers::pi / 2 && cone.radius > 0)) return std::nullopt;
  const Vector3d axis = cone.halfAngle > 0 ? cone.axis : Vector3d(-cone.axis);
  const Model model{ShapeKind::kCone, cone.center - cone.radius / std::tan(angle) * axis, axis, 0, angle};
  return IsValid(model) ? std::optional(model) : std::nullopt;
}

/// The cone whose centre and axis are moved along two directions across the axis, with their derivatives.
class MovedCone {
 public:
  MovedCone(const CircledCone& from, const double* x)
      : cone_(from), u_(UnitOrthogonal(from.axis)), w_(from.axis.cross(u_)) {
    cone_.center += x[0] * u_ + x[1] * w_;
    cone_.axis += x[2] * u_ + x[3] * w_;
    const double length = cone_.axis.norm();
    cone_.axis /= length;
    cone_.radius += x[4];
    cone_.halfAngle += x[5];
    turns_[0] = (u_ - cone_.axis * cone_.axis.dot(u_)) / length;
    turns_[1] = (w_ - cone_.axis * cone_.axis.dot(w_)) / length;
  }
  const CircledCone& Cone() const { return cone_; }

  /// The distance (rho - r) cos a - h sin a, with rho and h across and along the axis.
  /// @param derivatives  receives those by the parameters
  double Distance(const Vector3d& p, double* derivatives) const {
    const double sine = std::sin(cone_.halfAngle), cosine = std::cos(cone_.halfAngle);
    const Vector3d q = p - cone_.center;
    const double height = q.dot(cone_.axis);
    const Vector3d across = q - height * cone_.axis;
    const double rho = across.norm();
    const Vector3d radial = rho > 0 ? Vector3d(across / rho) : u_;
    const Vector3d normal = cosine * radial - sine * cone_.axis;
    derivatives[0] = -u_.dot(normal);
    derivatives[1] = -w_.dot(normal);
    for (int i = 0; i < 2; ++i)
      derivatives[2 + i] = -height * cosine * turns_[i].dot(radial) - sine * q.dot(turns_[i]);
    derivatives[4] = -cosine;
    derivatives[5] = -(rho - cone_.radius) * sine - height * cosine;
    return (rho - cone_.radius) * cosine - height * sine;
  }

 private:
  CircledCone cone_;
  Vector3d u_, w_, turns_[2];
};

/// Residuals and their derivatives, over the root of the number of points.
struct Rows {
  explicit Rows(std::size_t points) : residuals(points), jacobian(kParameters * points) {}
  void Fill(const MovedCone& cone, const PointRefs& points) {
    const double scale = 1 / std::sqrt(static_cast<double>(residuals.size()));
    for (std::size_t i = 0; i < residuals.size(); ++i) {
      const double weight = scale * (points.sqrtWeights == nullptr ? 1 : points.sqrtWeights[i]);
      double derivatives[kParameters];
      residuals[i] = weight * cone.Distance(points.rows[i], derivatives);
      for (std::size_t k = 0; k < kParameters; ++k)
        jacobian[k * residuals.size() + i] = weight * derivatives[k];
    }
  }
  std::vector<double> residuals, jacobian;
};

}  // namespace

std::optional<Model> RefineCone(const Model& start, const PointRefs& points, int iterations, Budget& budget) {
  if (points.count < kParameters) return std::nullopt;
  Vector3d middle = Vector3d::Zero();
  for (int i = 0; i < points.count; ++i) middle += points.rows[i] / points.count;
  const CircledCone from = CircledOf(start, middle);
  double size = std::abs(from.radius);
  for (int i = 0; i < points.count; ++i) size = std::max(size, (points.rows[i] - middle).norm());
  constexpr double kNoThresholds[6] = {};
  double x[kParameters] = {};
  Rows rows(static_cast<std::size_t>(points.count));
  TrustRegionAnswers answers;
  const auto sumUp = [&] {
    rows.Fill(MovedCone(from, x), points);
    answers.normalEquations =
        NormalEquationsOf(rows.residuals.data(), rows.jacobian.data(), points.count, kParameters, x);
    answers.normalEquations.lengthScale = size;
  };
  sumUp();
  NativeTrustRegion engine;
  engine.Start(kParameters, points.count, x, {kNoThresholds, iterations, 20, 1});
  int request = kContinue;
  while (budget.Ask() && engine.Step(answers, request) == kTrustRegionSuccess && request >= kContinue) {
    if (request == kNeedNormalEquations) sumUp();
  }
  return budget.IsOver() ? std::nullopt : ModelOf(MovedCone(from, x).Cone());
}

}  // namespace primfit::adaptive
