#include "adaptive/joints/piped_elbow.h"

#include <Eigen/Geometry>
#include <cmath>
#include <numbers>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// A vector that is square to the axis, turned about it.
Vector3d Turned(const Vector3d& v, const Vector3d& axis, double angle) {
  return std::cos(angle) * v + std::sin(angle) * axis.cross(v);
}

}  // namespace

ElbowSurface::ElbowSurface(const PipedElbow& elbow)
    : center_(elbow.torus.center),
      axis_(elbow.torus.axis),
      major_(elbow.torus.major),
      minor_(elbow.torus.minor),
      isAboveHalfTurn_(elbow.sweep > std::numbers::pi),
      pipes_(elbow.pipes),
      radial_{elbow.start, Turned(elbow.start, elbow.torus.axis, elbow.sweep)},
      onwards_{Vector3d(-axis_.cross(radial_[0])), axis_.cross(radial_[1])} {
  const FreeParameters parameters = FreeParametersOf(elbow.torus, 0);
  u_ = parameters.each[0].direction;
  w_ = parameters.each[1].direction;
}

/// Two planes through the axis, square to the pipes, cut the space into what is beside the arc and the rest.
bool ElbowSurface::IsWithinSweep(const Vector3d& q) const {
  const bool behindBegin = q.dot(onwards_[0]) <= 0, beforeEnd = q.dot(onwards_[1]) <= 0;
  return isAboveHalfTurn_ ? behindBegin || beforeEnd : behindBegin && beforeEnd;
}

ElbowFoot ElbowSurface::FootOf(const Vector3d& p) const {
  const Vector3d q = p - center_;
  ElbowFoot foot;
  double least = std::numeric_limits<double>::infinity();  // squared distance from the centre line
  if (IsWithinSweep(q)) {
    const double height = q.dot(axis_);
    const double out = std::sqrt(std::max(q.squaredNorm() - height * height, 0.0)) - major_;
    least = out * out + height * height;
    foot.part = ElbowPart::kArc;
  }
  for (std::size_t k = 0; k < pipes_.size(); ++k) {
    const double along = q.dot(onwards_[k]);
    if (!pipes_[k].exists || !(along > 0 && along <= pipes_[k].reach)) continue;
    const double squared = (q - major_ * radial_[k]).squaredNorm() - along * along;
    if (!(squared < least)) continue;
    least = squared;
    foot.part = k == 0 ? ElbowPart::kFirstPipe : ElbowPart::kSecondPipe;
    foot.along = along;
  }
  if (foot.part != ElbowPart::kNone) foot.distance = std::sqrt(std::max(least, 0.0)) - minor_;
  return foot;
}

ElbowSurface::CentreLinePoint ElbowSurface::CentreLineAt(const Vector3d& q, const ElbowFoot& foot) const {
  if (foot.part == ElbowPart::kArc) {
    const Vector3d radial = (q - q.dot(axis_) * axis_).normalized();
    return {major_ * radial, radial};
  }
  const std::size_t k = foot.part == ElbowPart::kFirstPipe ? 0 : 1;
  return {major_ * radial_[k] + foot.along * onwards_[k], radial_[k]};
}

double ElbowSurface::AngleAround(const Vector3d& p, const ElbowFoot& foot) const {
  const Vector3d q = p - center_;
  const auto [g, radial] = CentreLineAt(q, foot);
  return std::atan2((q - g).dot(axis_), (q - g).dot(radial));
}

// With g a point of the centre line and m the unit vector from there to p, the distance changes by -m.dg: how
// g moves along the centre line does not matter, as m is square to it. A turn of the axis n by v turns the
// centre line about the centre by n x v; a turn of an end of the arc swings its pipe about that end.
ElbowVector ElbowSurface::Gradient(const Vector3d& p, const ElbowFoot& foot) const {
  const Vector3d q = p - center_;
  const auto [g, radial] = CentreLineAt(q, foot);
  const Vector3d m = (q - g).normalized();
  ElbowVector gradient;
  gradient[0] = -m.dot(u_);
  gradient[1] = -m.dot(w_);
  gradient[2] = -m.dot(axis_);
  gradient[3] = -m.dot(axis_.cross(u_).cross(g));
  gradient[4] = -m.dot(axis_.cross(w_).cross(g));
  gradient[5] = -m.dot(radial);
  gradient[6] = -1;
  const double swing = foot.along * m.dot(radial);
  gradient[kArcBegins] = foot.part == ElbowPart::kFirstPipe ? -swing : 0;
  gradient[kArcEnds] = foot.part == ElbowPart::kSecondPipe ? swing : 0;
  return gradient;
}

PipedElbow Moved(PipedElbow elbow, const ElbowVector& step) {
  Model& torus = elbow.torus;
  const FreeParameters parameters = FreeParametersOf(torus, 0);
  const Vector3d u = parameters.each[0].direction, w = parameters.each[1].direction;
  torus.center += step[0] * u + step[1] * w + step[2] * torus.axis;
  const Vector3d axis = (torus.axis + step[3] * u + step[4] * w).normalized();
  const Vector3d start = Eigen::Quaterniond::FromTwoVectors(torus.axis, axis) * elbow.start;
  torus.axis = axis;
  torus.major += step[5];
  torus.minor += step[6];
  elbow.start = Turned((start - start.dot(axis) * axis).normalized(), axis, step[kArcBegins]);
  elbow.sweep += step[kArcEnds] - step[kArcBegins];
  return elbow;
}

bool IsValid(const PipedElbow& elbow) {
  return IsValid(elbow.torus) && elbow.start.allFinite() && elbow.sweep > 0 &&
         elbow.sweep < 2 * std::numbers::pi;
}

}  // namespace primfit::adaptive
