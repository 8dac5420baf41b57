#include "hard_cases_faces.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "fit/vector_math.h"

namespace primfit::bench {

using Eigen::Vector3d;
using std::numbers::pi;

namespace {

/// A pose whose z axis is an axis, and whose azimuths begin at a direction. The shapes of this library count
/// azimuths about z from -y on.
Pose PoseOf(const Vector3d& origin, const Vector3d& axis, const Vector3d& start) {
  const Vector3d z = axis.normalized();
  Vector3d across = start - start.dot(z) * z;
  if (across.norm() < 1e-9) across = UnitOrthogonal(z);
  Pose pose = Pose::Identity();
  pose.translation() = origin;
  pose.linear().col(1) = -across.normalized();
  pose.linear().col(2) = z;
  pose.linear().col(0) = pose.linear().col(1).cross(z);
  return pose;
}

Range About(double middle, double turn) { return {middle - turn / 2, middle + turn / 2}; }

/// Whether an angle lies in a range, whole turns apart.
bool IsWithin(const Range& range, double angle) {
  const double from = angle - range.low, turns = std::floor(from / (2 * pi));
  return from - turns * 2 * pi <= range.Length();
}

double AzimuthOf(const Vector3d& p) { return std::atan2(p.x(), -p.y()); }

/// The parameters of a point of an unbounded shape in its own frame, as Eval() takes them.
std::array<double, 2> ParametersAt(const Face& face, const Vector3d& p) {
  const std::string_view name = face.primitive->name;
  if (name == "plane") return {-p.y(), p.x()};
  if (name == "sphere")
    return {std::asin(std::clamp(p.z() / face.truth.size, -1., 1.)), std::atan2(p.y(), p.x())};
  if (name != "torus") return {AzimuthOf(p), p.z()};
  return {AzimuthOf(p), std::atan2(p.z(), std::hypot(p.x(), p.y()) - face.truth.size)};
}

bool IsOn(const Face& face, const Vector3d& local) {
  const auto [u, v] = ParametersAt(face, local);
  const std::string_view name = face.primitive->name;
  const auto lies = [](const Range& r, double value) { return r.low <= value && value <= r.high; };
  const bool uIsAngle = name != "plane" && name != "sphere", vIsAngle = name == "sphere" || name == "torus";
  return (uIsAngle ? IsWithin(face.truth.u, u) : lies(face.truth.u, u)) &&
         (vIsAngle ? IsWithin(face.truth.v, v) : lies(face.truth.v, v)) &&
         (!face.keeps || face.keeps(face.pose * local));
}

/// Distances along a ray, nearest first. There are four with a torus at the most.
struct Crossings {
  int count = 0;
  double at[4] = {};
  void Add(double t) { at[count++] = t; }
};

/// The solutions of a t^2 + 2 b t + c = 0.
Crossings Roots(double a, double b, double c) {
  Crossings roots;
  const double d = b * b - a * c;
  if (std::abs(a) < 1e-14 || d < 0) return roots;
  const double root = std::sqrt(d) * (a < 0 ? -1 : 1);
  roots.Add((-b - root) / a);
  roots.Add((-b + root) / a);
  return roots;
}

/// Where a ray enters or leaves a torus: steps as long as the distance to it until that vanishes (sphere
/// tracing, Hart 1996).
Crossings OfTorus(const Truth& truth, const Vector3d& o, const Vector3d& d) {
  const double reach = truth.size + truth.tube;
  const Crossings sphere = Roots(1, o.dot(d), o.squaredNorm() - reach * reach);
  Crossings crossings;
  if (sphere.count == 0) return crossings;
  const double accuracy = 1e-7 * reach, leave = 1e-4 * reach;
  for (double t = std::max(0.0, sphere.at[0]); t < sphere.at[1] && crossings.count < 4;) {
    const Vector3d p = o + t * d;
    const double away = std::abs(std::hypot(std::hypot(p.x(), p.y()) - truth.size, p.z()) - truth.tube);
    if (away < accuracy) crossings.Add(t);
    t += away < accuracy ? leave : away;
  }
  return crossings;
}

/// Where a ray crosses the unbounded shape of a face, in the shape's frame.
Crossings CrossingsOf(const Face& face, const Vector3d& o, const Vector3d& d) {
  const std::string_view name = face.primitive->name;
  const Truth& truth = face.truth;
  if (name == "sphere") return Roots(1, o.dot(d), o.squaredNorm() - truth.size * truth.size);
  if (name == "torus") return OfTorus(truth, o, d);
  if (name == "plane") {
    Crossings crossing;
    if (d.z() != 0) crossing.Add(-o.z() / d.z());
    return crossing;
  }
  const double slope = name == "cone" ? std::pow(std::tan(truth.size), 2) : 0;
  const double constant = name == "cone" ? 0 : truth.size * truth.size;
  return Roots(d.x() * d.x() + d.y() * d.y() - slope * d.z() * d.z(),
               o.x() * d.x() + o.y() * d.y() - slope * o.z() * d.z(),
               o.x() * o.x() + o.y() * o.y() - slope * o.z() * o.z() - constant);
}

}  // namespace

Vector3d Face::Formed(const OutputSurface& shape, const Vector3d& p) const {
  return form ? Vector3d(p + form(p) * shape.EvalNormal(p)) : p;
}

Face Rectangle(const Vector3d& middle, const Vector3d& edge, const Vector3d& otherEdge) {
  return {&PrimitiveNamed("plane"),
          {0, 0, About(0, edge.norm()), About(0, otherEdge.norm())},
          PoseOf(middle, edge.cross(otherEdge), edge)};
}

Face Tube(const Vector3d& from, const Vector3d& to, double radius, double turn, const Vector3d& towards) {
  return {&PrimitiveNamed("cylinder"),
          {radius, 0, About(0, turn), {0, (to - from).norm()}},
          PoseOf(from, to - from, towards)};
}

Face Frustum(const Vector3d& from, const Vector3d& to, double fromRadius, double toRadius, double turn,
             const Vector3d& towards) {
  if (fromRadius > toRadius) return Frustum(to, from, toRadius, fromRadius, turn, towards);
  const Vector3d along = to - from;
  const double slope = (toRadius - fromRadius) / along.norm();
  const Vector3d apex = from - fromRadius / slope * along.normalized();
  return {&PrimitiveNamed("cone"),
          {std::atan(slope), 0, About(0, turn), {fromRadius / slope, toRadius / slope}},
          PoseOf(apex, along, towards)};
}

Face Cap(const Vector3d& center, double radius, const Vector3d& towards, double angle) {
  return {&PrimitiveNamed("sphere"),
          {radius, 0, {pi / 2 - angle, pi / 2}, kFullTurn},
          PoseOf(center, towards, UnitOrthogonal(towards))};
}

Face Bend(const Vector3d& center, const Vector3d& axis, const Vector3d& from, double major, double minor,
          double sweep, Range tube) {
  return {&PrimitiveNamed("torus"), {major, minor, {0, sweep}, tube}, PoseOf(center, axis, from)};
}

double AreaOf(const Face& face) {
  const Truth& t = face.truth;
  const std::string_view name = face.primitive->name;
  const double product = t.u.Length() * t.v.Length();
  if (name == "plane") return product;
  if (name == "cylinder") return t.size * product;
  if (name == "sphere") return t.size * t.size * t.v.Length() * (std::sin(t.u.high) - std::sin(t.u.low));
  if (name == "torus")
    return t.tube * t.u.Length() *
           (t.size * t.v.Length() + t.tube * (std::sin(t.v.high) - std::sin(t.v.low)));
  return product * std::tan(t.size) / std::cos(t.size) * (t.v.low + t.v.high) / 2;
}

std::optional<double> Hit(const Face& face, const Vector3d& origin, const Vector3d& direction) {
  const Vector3d o = face.pose.inverse() * origin, d = face.pose.linear().transpose() * direction;
  const Crossings crossings = CrossingsOf(face, o, d);
  for (int i = 0; i < crossings.count; ++i) {
    const double t = crossings.at[i];
    if (t > 1e-6 && IsOn(face, o + t * d)) return t;
  }
  return {};
}

std::vector<Face> Box(const Vector3d& middle, const Vector3d& size) {
  std::vector<Face> faces;
  for (int axis = 0; axis < 3; ++axis) {
    const Vector3d out = size[axis] / 2 * Vector3d::Unit(axis);
    const Vector3d a = size[(axis + 1) % 3] * Vector3d::Unit((axis + 1) % 3);
    const Vector3d b = size[(axis + 2) % 3] * Vector3d::Unit((axis + 2) % 3);
    faces.push_back(Rectangle(middle + out, a, b));
    faces.push_back(Rectangle(middle - out, b, a));
  }
  return faces;
}

}  // namespace primfit::bench
