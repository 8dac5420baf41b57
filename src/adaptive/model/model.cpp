// Nothing here but the second side of a cone knows one kind from another: what a kind has is read off the
// description of its parts.
#include "adaptive/model/model.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "optimize/normal_equations.h"
#include "shapes/kernels/batch.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

bool IsValid(const Model& m) {
  if (!m.center.allFinite() || !std::isfinite(m.major) || !std::isfinite(m.minor)) return false;
  if (!(std::abs(m.axis.squaredNorm() - 1) < 1e-9)) return false;  // nor for a NaN
  const KindFacts& facts = FactsOf(m.kind);
  if (facts.minor && !(m.minor > 0)) return false;
  if (facts.minor == ParameterKind::kHalfAngle) return m.minor < std::numbers::pi / 2;
  return !facts.major || m.minor < m.major;
}

void Distances(const Model& m, const Vector3d* points, int n, double* distances) {
  WithShape(m, [&](const OutputShape& shape) { primfit::Distances(shape, points, n, distances); });
  std::transform(distances, distances + n, distances, [](double d) { return std::abs(d); });
  if (m.kind != ShapeKind::kCone) return;
  const double sine = std::sin(m.minor), cosine = std::cos(m.minor);
  for (int i = 0; i < n; ++i) {  // behind the apex the formula is about the other side
    const Vector3d q = points[i] - m.center;
    const double h = q.dot(m.axis);
    if (h >= 0) continue;
    const double rho = (q - h * m.axis).norm();
    distances[i] = rho * sine + h * cosine > 0 ? rho * cosine - h * sine : q.norm();
  }
}

FreeParameters FreeParametersOf(const Model& m, unsigned held) {
  FreeParameters parameters;
  const auto add = [&](ParameterKind kind, const Vector3d& direction, const ShapeDerivative& motion) {
    parameters.each[parameters.count++] = {kind, direction, motion};
  };
  const auto shift = [&](const Vector3d& v) { add(ParameterKind::kPosition, v, {.center = v}); };
  ShapeParameters frame;
  frame.axis = m.axis;
  frame = WithFrame(frame);
  const KindFacts& facts = FactsOf(m.kind);
  if ((held & kCenter) == 0) {
    if (facts.slides != Slides::kInPlane) shift(frame.u), shift(frame.w);
    if (facts.slides != Slides::kAlongAxis) shift(m.axis);
  }
  if (facts.hasAxis && (held & kAxis) == 0) {
    for (const Vector3d& v : {frame.u, frame.w}) add(ParameterKind::kDirection, v, {.axis = v});
  }
  if (facts.major && (held & kMajor) == 0) add(*facts.major, Vector3d::Zero(), {.major = 1});
  if (facts.minor && (held & kMinor) == 0) add(*facts.minor, Vector3d::Zero(), {.minor = 1});
  return parameters;
}

void CenterAt(const Vector3d& mean, unsigned held, Model& m) {
  if ((held & kCenter) != 0) return;
  const double along = (mean - m.center).dot(m.axis);
  const Slides slides = FactsOf(m.kind).slides;
  if (slides == Slides::kAlongAxis) m.center += along * m.axis;
  if (slides == Slides::kInPlane) m.center = mean - along * m.axis;
}

}  // namespace primfit::adaptive
