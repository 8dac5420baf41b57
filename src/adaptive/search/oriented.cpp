#include "adaptive/search/oriented.h"

#include <Eigen/Geometry>
#include <Eigen/LU>
#include <Eigen/QR>
#include <algorithm>
#include <cmath>
#include <optional>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Directions that differ by less, in radians, tell of no curvature: local normals are not known better.
constexpr double kParallel = 0.1;

/// The middle of the shortest way between the lines p + s u and q + t w, none for parallel ones.
std::optional<Vector3d> Meeting(const Vector3d& p, const Vector3d& u, const Vector3d& q, const Vector3d& w) {
  const double b = u.dot(w), det = u.squaredNorm() * w.squaredNorm() - b * b;
  if (!(det > kParallel * kParallel * u.squaredNorm() * w.squaredNorm())) return std::nullopt;
  const Vector3d d = q - p;
  const double s = (d.dot(u) * w.squaredNorm() - d.dot(w) * b) / det,
               t = (d.dot(u) * b - d.dot(w) * u.squaredNorm()) / det;
  return (p + s * u + q + t * w) / 2;
}

/// Degenerate samples give numbers that are no shape; these are dropped here.
void Add(const std::optional<Model>& model, Candidates& candidates) {
  if (model && IsValid(*model)) candidates.models[static_cast<std::size_t>(candidates.count++)] = *model;
}

Candidates OneOrNone(const std::optional<Model>& model) {
  Candidates candidates;
  Add(model, candidates);
  return candidates;
}

/// The circle through two points that has the direction of the first there.
std::optional<Model> Arc(OrientedPoints s) {
  const Vector3d chord = s[1].position - s[0].position, axis = s[0].direction.cross(chord);
  if (!(axis.norm() > kParallel * chord.norm())) return std::nullopt;
  const Vector3d inward = axis.cross(s[0].direction).normalized();
  const double radius = chord.squaredNorm() / (2 * inward.dot(chord));
  return Model{ShapeKind::kArc, s[0].position + radius * inward, axis.normalized(), 0, std::abs(radius)};
}

/// Its normals meet in the centre. Two rough ones miss each other, so the middle of their shortest way is
/// taken.
std::optional<Model> Sphere(OrientedPoints s) {
  const auto center = Meeting(s[0].position, s[0].direction, s[1].position, s[1].direction);
  if (!center) return std::nullopt;
  const double radius = ((s[0].position - *center).norm() + (s[1].position - *center).norm()) / 2;
  return Model{ShapeKind::kSphere, *center, Vector3d::UnitZ(), 0, radius};
}

/// Its normals are perpendicular to the axis and meet it (Schnabel, Wahl and Klein 2007).
std::optional<Model> Cylinder(OrientedPoints s) {
  const Vector3d axis = s[0].direction.cross(s[1].direction);
  if (!(axis.norm() > kParallel)) return std::nullopt;
  const Vector3d a = axis.normalized();
  const Vector3d level = s[1].position - a * a.dot(s[1].position - s[0].position);
  const auto center = Meeting(s[0].position, s[0].direction, level, s[1].direction);
  if (!center) return std::nullopt;
  return Model{ShapeKind::kCylinder, *center, a, 0,
               ((s[0].position - *center).norm() + (level - *center).norm()) / 2};
}

/// The apex is where the tangent planes meet; the unit vectors from it to the points end in a plane across
/// the axis (Schnabel, Wahl and Klein 2007).
std::optional<Model> Cone(OrientedPoints s) {
  Eigen::Matrix3d normals;
  Vector3d heights;
  for (int i = 0; i < 3; ++i) {
    const OrientedPoint& p = s[static_cast<std::size_t>(i)];
    normals.row(i) = p.direction;
    heights[i] = p.direction.dot(p.position);
  }
  if (!(std::abs(normals.determinant()) > kParallel * kParallel * kParallel)) return std::nullopt;
  const Vector3d apex = normals.inverse() * heights;
  std::array<Vector3d, 3> out;
  std::transform(s.begin(), s.end(), out.begin(),
                 [&](const auto& p) { return (p.position - apex).normalized(); });
  Vector3d axis = (out[1] - out[0]).cross(out[2] - out[0]);
  if (!(axis.norm() > 1e-6)) return std::nullopt;
  axis.normalize();
  double height = 0;
  for (const Vector3d& v : out) height += axis.dot(v) / 3;
  if (height < 0) axis = -axis, height = -height;  // the axis points to the side of the points
  return Model{ShapeKind::kCone, apex, axis, 0, std::acos(std::min(height, 1.0))};
}

/// The torus about an axis: in the half-plane of distance from the axis and height along it its points lie on
/// a circle.
std::optional<Model> TorusAbout(const Vector3d& origin, const Vector3d& axis, OrientedPoints s) {
  Eigen::Matrix<double, kMostOriented, 3> rows;
  Eigen::Matrix<double, kMostOriented, 1> squares;
  for (Eigen::Index i = 0; i < rows.rows(); ++i) {
    const Vector3d q = s[static_cast<std::size_t>(i)].position - origin;
    const double h = axis.dot(q), rho = (q - h * axis).norm();
    rows.row(i) << rho, h, 1;
    squares[i] = rho * rho + h * h;
  }
  const Vector3d circle = rows.colPivHouseholderQr().solve(squares);
  const double major = circle[0] / 2, height = circle[1] / 2;
  const double squared = circle[2] + major * major + height * height;
  if (!(squared > 0)) return std::nullopt;
  return Model{ShapeKind::kTorus, origin + height * axis, axis, major, std::sqrt(squared)};
}

}  // namespace

Candidates LineThroughOne(OrientedPoints s) {
  return OneOrNone(Model{ShapeKind::kLine, s[0].position, s[0].direction, 0, 0});
}
Candidates PlaneThroughOne(OrientedPoints s) {
  return OneOrNone(Model{ShapeKind::kPlane, s[0].position, s[0].direction, 0, 0});
}
Candidates ArcThroughTwo(OrientedPoints s) { return OneOrNone(Arc(s)); }
Candidates SphereThroughTwo(OrientedPoints s) { return OneOrNone(Sphere(s)); }
Candidates CylinderThroughTwo(OrientedPoints s) { return OneOrNone(Cylinder(s)); }
Candidates ConeThroughThree(OrientedPoints s) { return OneOrNone(Cone(s)); }
// The normals of a torus meet its axis. Two lines meet when the reciprocal product of their Pluecker
// coordinates vanishes, so that the four normals leave a pencil of coordinates for the axis, in which up to
// two are those of lines (Pottmann and Wallner 2001).
Candidates ToriThroughFour(OrientedPoints s) {
  Vector3d middle = Vector3d::Zero();
  for (const OrientedPoint& p : s) middle += p.position / kMostOriented;
  double size = 0;  // directions and moments in units of about one, so that the rank can be told
  for (const OrientedPoint& p : s) size = std::max(size, (p.position - middle).norm());
  Eigen::Matrix<double, kMostOriented, 6> meets;  // of the axis's direction, then of its moment
  for (std::size_t i = 0; i < kMostOriented; ++i) {
    const OrientedPoint& p = s[i];
    meets.row(static_cast<Eigen::Index>(i)) << ((p.position - middle) / size).cross(p.direction).transpose(),
        p.direction.transpose();
  }
  const Eigen::FullPivLU<Eigen::Matrix<double, kMostOriented, 6>> lu(meets);
  if (lu.dimensionOfKernel() != 2) return {};
  const Eigen::Matrix<double, 6, 2> pencil = lu.kernel();
  const auto product = [&](int i, int j) { return pencil.col(i).head<3>().dot(pencil.col(j).tail<3>()); };
  const double a = product(0, 0), b = (product(0, 1) + product(1, 0)) / 2, c = product(1, 1);
  const double root = std::sqrt(b * b - a * c);  // a x^2 + 2 b x y + c y^2 = 0
  if (!(root >= 0)) return {};
  const double q = -(b + std::copysign(root, b));
  Candidates found;
  for (const Eigen::Vector2d& xy : {Eigen::Vector2d(q, a), Eigen::Vector2d(c, q)}) {
    const Eigen::Matrix<double, 6, 1> line = pencil * xy;
    const Vector3d direction = line.head<3>(), moment = line.tail<3>();
    if (!(direction.norm() > 1e-6 * line.norm())) continue;
    const Vector3d foot = direction.cross(moment) / direction.squaredNorm();
    Add(TorusAbout(middle + size * foot, direction.normalized(), s), found);
  }
  return found;
}

}  // namespace primfit::adaptive
