#include "adaptive/evidence/extent.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "adaptive/evidence/outline_strays.h"
#include "adaptive/evidence/reach.h"
#include "fit/vector_math.h"
#include "outline/azimuth.h"

using Eigen::Vector2d;
using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// What `of` says of each point, about the frame's centre.
template <class Of>
std::vector<double> Each(const AxisFrame& frame, const Of& of) {
  std::vector<double> values(frame.points.size());
  std::transform(frame.points.begin(), frame.points.end(), values.begin(),
                 [&](const Vector3d& p) { return of(Vector3d(p - frame.center)); });
  return values;
}

/// The derivatives of a bound by the parameters of a covariance.
using Gradient = Eigen::VectorXd;

/// A centre that moves along the axis by less than this share is one that moves across it.
constexpr double kRounding = 1e-9;

/// The height of the foot of a point on a shape, along the axis. Above a point outside of a cone it is
/// higher: its normals are not square to the axis.
double FootHeight(const Vector3d& q, const AxisFrame& frame) {
  const double height = q.dot(frame.axis);
  if (frame.sine == 0) return height;
  const double radius = (q - height * frame.axis).norm();
  return height + frame.sine * (radius * frame.cosine - height * frame.sine);
}

/// How the height of a foot changes: a moving centre takes its own part along the axis off, an axis that
/// turns adds the point's offset. On a cone the foot also moves by what the surface does.
Gradient HeightGradient(const Vector3d& q, const AxisFrame& frame, const FitCovariance& covariance) {
  const double height = q.dot(frame.axis), rise = frame.sine;
  const Vector3d radial = (q - height * frame.axis).normalized();
  const Vector3d normal = frame.cosine * radial - rise * frame.axis;
  const double lever = height / frame.cosine;  // from the apex along the surface
  Gradient gradient = Gradient::Zero(covariance.matrix.rows());
  for (std::size_t i = 0; i < covariance.parameters.size(); ++i) {
    const FitParameter& p = covariance.parameters[i];
    double& change = gradient[static_cast<Eigen::Index>(i)];
    if (p.kind == ParameterKind::kPosition)
      change = -p.direction.dot(frame.axis) - rise * p.direction.dot(normal);
    if (p.kind == ParameterKind::kDirection)
      change = p.direction.dot(q) - rise * lever * p.direction.dot(radial);
    if (p.kind == ParameterKind::kHalfAngle) change = -rise * lever;
    if (p.kind == ParameterKind::kPosition && std::abs(change) < kRounding) change = 0;
  }
  return gradient;
}

/// How the azimuth of a point about the axis changes: by what it moves along the turn, over its distance from
/// the axis. An axis that turns moves it by its height.
Gradient AzimuthGradient(const Vector3d& q, const AxisFrame& frame, const FitCovariance& covariance) {
  const double height = q.dot(frame.axis);
  const Vector3d across = q - height * frame.axis;
  const Vector3d turn = frame.axis.cross(across) / across.squaredNorm();
  Gradient gradient = Gradient::Zero(covariance.matrix.rows());
  for (std::size_t i = 0; i < covariance.parameters.size(); ++i) {
    const FitParameter& p = covariance.parameters[i];
    if (p.kind == ParameterKind::kPosition) gradient[static_cast<Eigen::Index>(i)] = -p.direction.dot(turn);
    if (p.kind == ParameterKind::kDirection)
      gradient[static_cast<Eigen::Index>(i)] = -height * p.direction.dot(turn);
  }
  return gradient;
}

/// The variance of a bound by that of the parameters. A parameter that is not determined leaves the bound so,
/// where it moves it.
double VarianceOf(const Gradient& gradient, const FitCovariance& covariance) {
  double variance = 0;
  for (Eigen::Index i = 0; i < gradient.size(); ++i) {
    for (Eigen::Index j = 0; j < gradient.size(); ++j) {
      const double factor = gradient[i] * gradient[j];
      if (factor != 0) variance += factor * covariance.matrix(i, j);
    }
  }
  return std::max(variance, 0.0);
}

/// Standard deviations of what reaches over a shape.
template <class GradientOf>
MeasuredBounds BoundsOf(const Reach& reach, const AxisFrame& frame, const FitCovariance& covariance,
                        const GradientOf& gradientOf) {
  const Gradient low = gradientOf(Vector3d(frame.points[reach.low.index] - frame.center), frame, covariance),
                 high =
                     gradientOf(Vector3d(frame.points[reach.high.index] - frame.center), frame, covariance);
  MeasuredBounds bounds;
  bounds.extent = {reach.low.at, reach.high.at, Vector3d::Zero()};
  bounds.low = bounds.start = std::sqrt(reach.low.squaredError + VarianceOf(low, covariance));
  bounds.high = std::sqrt(reach.high.squaredError + VarianceOf(high, covariance));
  bounds.length = std::sqrt(reach.SquaredErrorOfLength() + VarianceOf(high - low, covariance));
  return bounds;
}

/// The same of both senses of an axis, which is arbitrary: what is measured must not depend on it.
Vector3d Upward(const Vector3d& axis) {
  Eigen::Index largest = 0;
  axis.cwiseAbs().maxCoeff(&largest);
  return axis[largest] < 0 ? Vector3d(-axis) : axis;
}

}  // namespace

AxisFrame::AxisFrame(const Model& model, std::span<const Vector3d> near)
    : kind(model.kind),
      sine(model.kind == ShapeKind::kCone ? std::sin(model.minor) : 0),
      cosine(model.kind == ShapeKind::kCone ? std::cos(model.minor) : 1),
      turnRadius(model.kind == ShapeKind::kTorus ? model.major : model.minor),
      center(model.center),
      axis(model.axis),
      u(UnitOrthogonal(Upward(model.axis))),
      w(axis.cross(u)),
      points(near) {}

MeasuredBounds MeasureBounds(Bounds bounds, const AxisFrame& frame, const FitCovariance& covariance) {
  if (bounds == Bounds::kAlongAxis) {
    const std::vector<double> heights = Each(frame, [&](const Vector3d& q) { return FootHeight(q, frame); });
    const ValueModel model{frame.mayHoldStrays, frame.strayShare, frame.noise};
    const Reach reach =
        frame.kind == ShapeKind::kCone ? ReachByArea(heights, model) : ReachAlong(heights, model);
    return BoundsOf(reach, frame, covariance, HeightGradient);
  }
  if (bounds == Bounds::kAboutAxis) {
    const Reach reach = ReachAround(
        Each(frame, [&](const Vector3d& q) { return SquareAzimuth(q.dot(frame.u), q.dot(frame.w)); }),
        {frame.mayHoldStrays, frame.strayShare, frame.noise / frame.turnRadius});
    MeasuredBounds measured = BoundsOf(reach, frame, covariance, AzimuthGradient);
    measured.extent.startDirection = std::cos(reach.low.at) * frame.u + std::sin(reach.low.at) * frame.w;
    return measured;
  }
  return {};
}

// The outline is found in the coordinates of the upward normal and mirrored where the normal is the other
// one: which corners are thinned out depends on where the loop begins.
MeasuredOutline MeasureOutline(const AxisFrame& frame) {
  const double sense = Upward(frame.axis) == frame.axis ? 1 : -1;
  std::vector<Vector2d> projected(frame.points.size());
  std::transform(frame.points.begin(), frame.points.end(), projected.begin(), [&](const Vector3d& p) {
    const Vector3d q = p - frame.center;
    return Vector2d(q.dot(frame.u), sense * q.dot(frame.w));
  });
  const PlaneGrid grid(projected);
  const std::vector<Vector2d> kept = frame.mayHoldStrays ? WithoutStrays(projected, grid) : projected;
  MeasuredOutline outline;
  outline.loop = OutlineOf(kept[0].data(), static_cast<int>(kept.size()));
  const std::span numbers(outline.loop.vertices.get(), 2 * static_cast<std::size_t>(outline.loop.count));
  for (std::size_t i = 0; i < numbers.size(); i += 2)
    outline.corners.push_back(CornerDeviation({numbers[i], numbers[i + 1]}, grid));
  if (sense > 0) return outline;
  std::reverse(numbers.begin(), numbers.end());  // counter-clockwise again
  for (std::size_t i = 0; i < numbers.size(); i += 2) {
    std::swap(numbers[i], numbers[i + 1]);
    numbers[i + 1] = -numbers[i + 1];
  }
  std::reverse(outline.corners.begin(), outline.corners.end());
  return outline;
}

}  // namespace primfit::adaptive
