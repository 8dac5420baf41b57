#include "optimize/residual_model.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "optimize/directions.h"
#include "shapes/formulas.h"

using Eigen::Vector3d;

namespace primfit {

namespace {

/// The limits of iterations and of trial steps that every model has.
constexpr int kIterations = 20;

constexpr int SizeOf(ParameterGroup group) {
  switch (group) {
    case ParameterGroup::kCenter:
      return 3;
    case ParameterGroup::kCenterInPlane:
    case ParameterGroup::kDirection:
      return 2;
    default:
      return 1;
  }
}

int SizeOf(std::initializer_list<ParameterGroup> groups) {
  int size = 0;
  for (const ParameterGroup group : groups) size += SizeOf(group);
  return size;
}

/// |q - R v| - r with q the point less the centre and v its unit radial direction. Points within 1e-6 of the
/// axis are equally far from the whole centre circle, so there any direction across the axis serves for v.
double TorusDistance(const ShapeParameters& torus, const Vector3d& p) {
  const Vector3d q = p - torus.center;
  Vector3d radial = q - q.dot(torus.axis) * torus.axis;
  if (radial.lpNorm<1>() < 1e-6) {
    radial = torus.axis;
    UnitPerpendicular(radial);
  } else {
    radial /= radial.norm();
  }
  return (q - torus.major * radial).norm() - torus.minor;
}

}  // namespace

double SignedDistance(const ShapeParameters& shape, const Vector3d& p) {
  using Vector = Triple<double>;
  const Vector center(shape.center), axis(shape.axis);
  switch (shape.kind) {
    case ShapeParameters::Kind::kSphere:
      return DistanceAt(SphereFormula<double>{center, shape.minor}, p);
    case ShapeParameters::Kind::kCylinder:
      return DistanceAt(CylinderFormula<double>{center, axis, shape.minor}, p);
    case ShapeParameters::Kind::kCone:
      return DistanceAt(ConeFormula<double>{center, axis, shape.sine, shape.cosine}, p);
    case ShapeParameters::Kind::kTorus:
      return TorusDistance(shape, p);
    default:
      return DistanceAt(PlaneFormula<double>{center, axis}, p);
  }
}

ResidualModel::ResidualModel(ShapeParameters::Kind kind, std::initializer_list<ParameterGroup> groups,
                             const PointRefs& points, double tolerance)
    : TRLeastSquares(SizeOf(groups), points.count, tolerance, kIterations, kIterations, true),
      points_(points) {
  for (const ParameterGroup group : groups) groups_[groupCount_++] = {group, SizeOf(group)};
  held_.kind = kind;
  SetResidualFunction(&Residuals);
}

void ResidualModel::Hold(std::initializer_list<ParameterGroup> groups) {
  for (Group& group : std::span(groups_, groupCount_)) {
    if (group.held || std::find(groups.begin(), groups.end(), group.kind) == groups.end()) continue;
    group.held = true;
    RemoveParameters(group.size);
  }
}

void ResidualModel::HoldCenter(const Vector3d& center) {
  held_.center = center;
  Hold({ParameterGroup::kCenter, ParameterGroup::kCenterInPlane, ParameterGroup::kDistance});
}

void ResidualModel::HoldAxis(const Vector3d& axis) {
  held_.axis = axis;
  Hold({ParameterGroup::kDirection, ParameterGroup::kDirectionInPlane});
}

void ResidualModel::HoldMajor(double major) {
  held_.major = major;
  Hold({ParameterGroup::kMajor});
}

void ResidualModel::HoldMinor(double minor) {
  held_.minor = minor;
  Hold({ParameterGroup::kMinor});
}

bool ResidualModel::Refine(const ShapeParameters& start) {
  double free[kMostParameters] = {};
  double* x = free;
  for (const Group& group : std::span(groups_, groupCount_)) {
    if (group.held) continue;
    SetStart(group.kind, start, x);
    x += group.size;
  }
  return Initialize(free) && Solve();
}

/// Writes the parameters of a part of the start shape, and for a direction chooses their frame.
void ResidualModel::SetStart(ParameterGroup group, const ShapeParameters& start, double* x) {
  switch (group) {
    case ParameterGroup::kCenter:
      std::copy_n(start.center.data(), 3, x);
      break;
    case ParameterGroup::kCenterInPlane:
      std::copy_n(start.center.data(), 2, x);
      break;
    case ParameterGroup::kDistance:
      *x = start.center.dot(IsHeld(ParameterGroup::kDirection) ? held_.axis : start.axis);
      break;
    case ParameterGroup::kMajor:
      *x = start.major;
      break;
    case ParameterGroup::kMinor:
      *x = start.minor;
      break;
    case ParameterGroup::kDirection:
      frame_ = EquatorFrame(start.axis);
      AxisToAngles(frame_.transpose() * start.axis, x[0], x[1]);
      break;
    case ParameterGroup::kDirectionInPlane:
      *x = std::atan2(0 - start.axis.x(), start.axis.y());
      break;
  }
}

bool ResidualModel::IsHeld(ParameterGroup group) const {
  const auto groups = std::span(groups_, groupCount_);
  return std::any_of(groups.begin(), groups.end(),
                     [group](const Group& g) { return g.kind == group && g.held; });
}

ShapeParameters ResidualModel::At(const double* x) const {
  ShapeParameters shape = held_;
  const double* distance = nullptr;
  for (const Group& group : std::span(groups_, groupCount_)) {
    if (group.held) continue;
    switch (group.kind) {
      case ParameterGroup::kCenter:
        shape.center = Vector3d(x);
        break;
      case ParameterGroup::kCenterInPlane:
        shape.center = {x[0], x[1], 0};
        break;
      case ParameterGroup::kDistance:
        distance = x;
        break;
      case ParameterGroup::kMajor:
        shape.major = *x;
        break;
      case ParameterGroup::kMinor:
        shape.minor = *x;
        break;
      case ParameterGroup::kDirection:
        shape.axis = frame_ * AnglesToAxis(x[0], x[1]);
        break;
      case ParameterGroup::kDirectionInPlane:
        shape.axis = {-std::sin(*x), std::cos(*x), 0};
        break;
    }
    x += group.size;
  }
  if (distance != nullptr) shape.center = *distance * shape.axis;
  return WithFrame(shape);
}

void ResidualModel::Differentiate(const double* x, const ShapeParameters& shape,
                                  ShapeDerivative* derivatives) const {
  for (const Group& group : std::span(groups_, groupCount_)) {
    if (group.held) continue;
    switch (group.kind) {
      case ParameterGroup::kCenter:
      case ParameterGroup::kCenterInPlane:
        for (int i = 0; i < group.size; ++i) derivatives[i].center = Vector3d::Unit(i);
        break;
      case ParameterGroup::kDistance:
        derivatives->center = shape.axis;
        break;
      case ParameterGroup::kMajor:
        derivatives->major = 1;
        break;
      case ParameterGroup::kMinor:
        derivatives->minor = 1;
        break;
      case ParameterGroup::kDirection: {
        const DirectionDerivatives axis(x[0], x[1]);
        derivatives[0].axis = frame_ * axis.byAzimuth;
        derivatives[1].axis = frame_ * axis.byElevation;
        break;
      }
      case ParameterGroup::kDirectionInPlane:
        derivatives->axis = {-shape.axis.y(), shape.axis.x(), 0};
        break;
    }
    x += group.size;
    derivatives += group.size;
  }
}

/// The pass over the points measures against a unit axis. A held axis may have another length; then there are
/// no normal equations here, and they are made of residuals. A plane's distance is linear in its normal,
/// which may have any length.
bool ResidualModel::NormalEquationsAt(const double* x, NormalEquations& equations) const {
  const ShapeParameters shape = At(x);
  if (shape.kind != ShapeParameters::Kind::kPlane && !(std::abs(shape.axis.squaredNorm() - 1) < 1e-12))
    return false;
  ShapeDerivative derivatives[kMostParameters];
  Differentiate(x, shape, derivatives);
  equations = NormalEquationsOf(shape, derivatives, ParameterCount(), points_);
  ShareSensitivities(equations);
  return true;
}

/// Coordinates of one point get one sensitivity. Otherwise the scaling of steps would depend on how the shape
/// is turned, and with it which way a direction goes that the points do not determine.
void ResidualModel::ShareSensitivities(NormalEquations& equations) const {
  double* sensitivity = equations.sensitivity;
  for (const Group& group : std::span(groups_, groupCount_)) {
    if (group.held) continue;
    if (group.kind == ParameterGroup::kCenter || group.kind == ParameterGroup::kCenterInPlane) {
      double squared = 0;
      for (int i = 0; i < group.size; ++i) squared += sensitivity[i] * sensitivity[i];
      std::fill_n(sensitivity, group.size, std::sqrt(squared));
    }
    sensitivity += group.size;
  }
}

void ResidualModel::Residuals(int* m, int* /*n*/, double* x, double* f, void* model) {
  const auto& self = static_cast<const ResidualModel&>(*static_cast<const TRLeastSquares*>(model));
  const ShapeParameters shape = self.At(x);
  for (int i = 0; i < *m; ++i) f[i] = SignedDistance(shape, self.points_[i]) / self.ResidualScale();
}

}  // namespace primfit
