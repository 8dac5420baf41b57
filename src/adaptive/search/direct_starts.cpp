#include "adaptive/search/direct_starts.h"

#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numbers>
#include <numeric>

#include "adaptive/search/minimal_solver.h"
#include "estimators/plane_circle.h"
#include "estimators/row_least_squares.h"
#include "fit/vector_math.h"

using Eigen::Vector3d;
using Points = std::span<const Vector3d>;

namespace primfit::adaptive {

namespace {

/// Directions about which shapes are started, beside the principal ones: neighbours are 18 degrees apart,
/// from where a refinement finds its way.
constexpr int kDirections = 64;
/// Random samples for the estimators.
constexpr int kSamples = 32;
/// Tori of any kind; more of them for fewer points than twice the parameters, of which there are more minima.
constexpr int kAnyTori = 96, kAnyToriOfFew = 512;
constexpr std::size_t kFewPoints = 14;

struct PrincipalFrame {
  Vector3d mean;
  Eigen::Matrix3d axes;  ///< columns, by rising spread
};
PrincipalFrame PrincipalFrameOf(Points points) {
  const Vector3d mean =
      std::accumulate(points.begin(), points.end(), Vector3d(0, 0, 0)) / static_cast<double>(points.size());
  Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
  for (const Vector3d& p : points) scatter += (p - mean) * (p - mean).transpose();
  return {mean, Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d>(scatter).eigenvectors()};
}

/// The principal directions, and some spread evenly over a half sphere along a spiral of the golden angle.
std::vector<Vector3d> Directions(const PrincipalFrame& frame) {
  std::vector<Vector3d> directions = {frame.axes.col(0), frame.axes.col(1), frame.axes.col(2)};
  const double golden = std::numbers::pi * (3 - std::sqrt(5.0));
  for (int i = 0; i < kDirections; ++i) {
    const double z = (i + 0.5) / kDirections, across = std::sqrt(1 - z * z);
    directions.emplace_back(across * std::cos(golden * i), across * std::sin(golden * i), z);
  }
  return directions;
}

/// Coordinates along two directions across an axis and along it.
struct AxisCoordinates {
  explicit AxisCoordinates(const Vector3d& along)
      : axis(along), u(UnitOrthogonal(along)), w(along.cross(u)) {}
  Vector3d Of(const Vector3d& p) const { return {p.dot(u), p.dot(w), p.dot(axis)}; }
  Vector3d At(double s, double t, double h) const { return s * u + t * w + h * axis; }

  Vector3d axis, u, w;
};

using Starts = std::vector<Model>;

/// The circle of the points as they are seen along an axis, at their mean height.
struct SeenCircle {
  bool isOne;
  double s, t, radius;
};
SeenCircle CircleAlong(const AxisCoordinates& c, Points points) {
  PlaneCircle circle;
  for (const Vector3d& p : points) {
    const Vector3d q = c.Of(p);
    circle.Add(q.x(), q.y());
  }
  SeenCircle seen{};
  double squared = 0;
  seen.isOne = circle.Solve(seen.s, seen.t, squared) && squared > 0;
  seen.radius = std::sqrt(std::max(squared, 0.0));
  return seen;
}

void AddArc(const AxisCoordinates& c, const Vector3d& mean, Points points, Starts& starts) {
  const SeenCircle seen = CircleAlong(c, points);
  if (seen.isOne)
    starts.push_back({ShapeKind::kArc, c.At(seen.s, seen.t, c.Of(mean).z()), c.axis, 0, seen.radius});
}

void AddCylinder(const AxisCoordinates& c, const Vector3d& mean, Points points, Starts& starts) {
  const SeenCircle seen = CircleAlong(c, points);
  if (seen.isOne)
    starts.push_back({ShapeKind::kCylinder, c.At(seen.s, seen.t, c.Of(mean).z()), c.axis, 0, seen.radius});
}

/// A cone whose circle at a height has a radius, and whose radius grows with the height by a slope.
void AddCone(const AxisCoordinates& c, const Vector3d& circle, double radius, double slope, Starts& starts) {
  constexpr double kLeastSlope = 0.01;  // a slimmer cone has its apex so far away that it is no start
  const double tangent = std::max(std::abs(slope), kLeastSlope), sense = slope < 0 ? -1 : 1;
  const Vector3d apex = c.At(circle.x(), circle.y(), circle.z() - sense * radius / tangent);
  starts.push_back({ShapeKind::kCone, apex, sense * c.axis, 0, std::atan(tangent)});
}

/// By the equation s^2 + t^2 = A s + B t + C h^2 + D h + E, which is linear in its coefficients: the axis is
/// at A / 2, B / 2, the square of the slope is C, the apex at h = -D / (2 C).
void AddConeByQuadric(const AxisCoordinates& c, Points points, Starts& starts) {
  RowLeastSquares<5> equations;
  for (const Vector3d& p : points) {
    const Vector3d q = c.Of(p);
    equations.Add({q.x(), q.y(), q.z() * q.z(), q.z(), 1}, q.x() * q.x() + q.y() * q.y());
  }
  RowLeastSquares<5>::Row x;
  if (!equations.Solve(x) || !(x[2] > 0)) return;
  const Vector3d apex = c.At(x[0] / 2, x[1] / 2, -x[3] / (2 * x[2]));
  starts.push_back({ShapeKind::kCone, apex, c.axis, 0, std::atan(std::sqrt(x[2]))});
}

/// By the circle of the points as they are seen along the axis, and the line of their distances from it over
/// their heights: of few points on a narrow ring the quadric is seldom a cone.
void AddConeByCircle(const AxisCoordinates& c, Points points, Starts& starts) {
  const SeenCircle seen = CircleAlong(c, points);
  if (!seen.isOne) return;
  const auto n = static_cast<double>(points.size());
  double height = 0, radius = 0, squares = 0, products = 0;
  for (const Vector3d& p : points) {
    const Vector3d q = c.Of(p);
    const double rho = std::hypot(q.x() - seen.s, q.y() - seen.t);
    height += q.z() / n;
    radius += rho / n;
    squares += q.z() * q.z() / n;
    products += q.z() * rho / n;
  }
  const double spread = squares - height * height;
  if (spread > 0) AddCone(c, {seen.s, seen.t, height}, radius, (products - height * radius) / spread, starts);
}

/// The circle seen along the axis gives the centre, the one in the half-plane beside the axis the tube.
void AddTorus(const AxisCoordinates& c, Points points, Starts& starts) {
  const SeenCircle seen = CircleAlong(c, points);
  if (!seen.isOne) return;
  PlaneCircle tube;
  for (const Vector3d& p : points) {
    const Vector3d q = c.Of(p);
    tube.Add(std::hypot(q.x() - seen.s, q.y() - seen.t), q.z());
  }
  double major = 0, height = 0, squared = 0;
  if (!tube.Solve(major, height, squared) || !(squared > 0) || !(major > std::sqrt(squared))) return;
  starts.push_back({ShapeKind::kTorus, c.At(seen.s, seen.t, height), c.axis, major, std::sqrt(squared)});
}

void AddAbout(const Vector3d& axis, const Vector3d& mean, ShapeKind kind, Points points, Starts& starts) {
  const AxisCoordinates coordinates(axis);
  if (kind == ShapeKind::kArc) AddArc(coordinates, mean, points, starts);
  if (kind == ShapeKind::kCylinder) AddCylinder(coordinates, mean, points, starts);
  if (kind == ShapeKind::kCone) {
    AddConeByQuadric(coordinates, points, starts);
    AddConeByCircle(coordinates, points, starts);
  }
  if (kind == ShapeKind::kTorus) AddTorus(coordinates, points, starts);
}

void AddEstimate(const MinimalSolver& solver, Points points, Starts& starts) {
  const std::unique_ptr<OutputShape> shape(solver.estimate(static_cast<int>(points.size()), points.data()));
  if (shape) starts.push_back(ModelOf(*shape));
}

/// Estimates from random samples, which may hold a point twice.
void AddFromSamples(const MinimalSolver& solver, Points points, Dice& dice, Starts& starts) {
  std::array<Vector3d, kLargestSample> sample;
  for (int i = 0; i < kSamples; ++i) {
    for (std::size_t k = 0; k < solver.sampleSize; ++k) sample[k] = points[dice.Below(points.size())];
    AddEstimate(solver, {sample.data(), solver.sampleSize}, starts);
  }
}

/// Tori of any place, direction and sizes about the points. Few points on a part of a torus have many minima,
/// and in some of the deepest the circle seen along the axis is not that of the tube's middle.
void AddAnyTori(int count, Dice& dice, Starts& starts) {
  const auto uniform = [&](double low, double high) { return low + (high - low) * dice.Share(); };
  for (int i = 0; i < count; ++i) {
    const double z = uniform(-1, 1), turn = uniform(0, 2 * std::numbers::pi), across = std::sqrt(1 - z * z);
    const Vector3d center(uniform(-1.5, 1.5), uniform(-1.5, 1.5), uniform(-1.5, 1.5));
    const double major = uniform(0.3, 2.5);
    starts.push_back({ShapeKind::kTorus,
                      center,
                      {across * std::cos(turn), across * std::sin(turn), z},
                      major,
                      major * uniform(0.1, 0.9)});
  }
}

}  // namespace

std::vector<Model> DirectStarts(ShapeKind kind, std::span<const Vector3d> points, Dice& dice) {
  const PrincipalFrame frame = PrincipalFrameOf(points);
  if (kind == ShapeKind::kLine) return {{kind, frame.mean, frame.axes.col(2), 0, 0}};
  if (kind == ShapeKind::kPlane) return {{kind, frame.mean, frame.axes.col(0), 0, 0}};
  Starts starts;
  const MinimalSolver solver = MinimalSolverOf(kind);
  if (points.size() >= solver.sampleSize) AddEstimate(solver, points, starts);
  if (points.size() > solver.sampleSize) AddFromSamples(solver, points, dice, starts);
  if (kind == ShapeKind::kTorus)
    AddAnyTori(points.size() < kFewPoints ? kAnyToriOfFew : kAnyTori, dice, starts);
  if (!FactsOf(kind).hasAxis) return starts;
  for (const Vector3d& direction : Directions(frame)) AddAbout(direction, frame.mean, kind, points, starts);
  return starts;
}

}  // namespace primfit::adaptive
