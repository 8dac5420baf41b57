#include "adaptive/search/simpler.h"
#include "adaptive/model/refine.h"

#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <vector>

#include "fit/vector_math.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Of so many points the root mean square is known to some hundredths.
constexpr std::size_t kMostPoints = 512;
/// Most of the points: this share of them, the nearest.
constexpr double kTrimmedShare = 0.6;
/// A simpler shape explains them as well when they are not farther from it than by this factor, root mean
/// square.
constexpr double kLargestRatio = 1.25;
/// By how much farther the points of a plane spread along it than across, root mean square.
constexpr double kLeastSpread = 3;
constexpr int kRounds = 5;
constexpr int kSteps = 3;

/// The nearest points to a shape, as least trimmed squares (Rousseeuw 1984) takes them, and buffers for them.
struct NearestMost {
  explicit NearestMost(std::span<const Vector3d> all)
      : points(all),
        count(static_cast<std::size_t>(std::ceil(kTrimmedShare * static_cast<double>(all.size())))),
        distances(all.size()),
        order(all.size()),
        nearest(count) {}

  std::span<const Vector3d> points;
  std::size_t count;
  std::vector<double> distances;
  std::vector<std::size_t> order;
  std::vector<Vector3d> nearest;
};

/// Sum of the squared distances of the nearest points, which are left in `most`.
double TrimmedSquares(const Model& model, NearestMost& most) {
  auto& [points, count, distances, order, nearest] = most;
  Distances(model, points.data(), static_cast<int>(points.size()), distances.data());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::nth_element(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(count - 1), order.end(),
                   [&d = most.distances](std::size_t a, std::size_t b) { return d[a] < d[b]; });
  double squares = 0;
  for (std::size_t k = 0; k < count; ++k) {
    squares += distances[order[k]] * distances[order[k]];
    nearest[k] = points[order[k]];
  }
  return squares;
}

/// Whether a shape of the kind of `start`, found from there, has at most so many trimmed squares: refined on
/// its nearest points and again, the steps of concentration of Rousseeuw and Van Driessen (1999).
bool Explains(Model start, double limit, NearestMost& most, Budget& budget) {
  for (int round = 0; IsValid(start); ++round) {
    if (TrimmedSquares(start, most) <= limit) return true;
    if (round == kRounds) break;
    const auto refined = Refine(start, 0, RefsOf(most.nearest), kSteps, budget);
    if (!refined) break;
    start = *refined;
  }
  return false;
}

/// The least-squares line, or plane where the points spread along one: about a rod any plane goes.
std::optional<Model> Flat(std::span<const Vector3d> points, const Vector3d& mean, ShapeKind kind) {
  Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
  for (const Vector3d& p : points) scatter += (p - mean) * (p - mean).transpose();
  Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver;
  solver.computeDirect(scatter);
  const Vector3d& squares = solver.eigenvalues();
  if (kind == ShapeKind::kPlane && !(squares[1] > kLeastSpread * kLeastSpread * squares[0]))
    return std::nullopt;
  return Model{kind, mean, solver.eigenvectors().col(kind == ShapeKind::kLine ? 2 : 0), 0, 0};
}

}  // namespace

std::vector<Model> SimplerStarts(const Model& m, std::span<const Vector3d> points) {
  std::vector<Model> starts;
  if (m.kind == ShapeKind::kLine || m.kind == ShapeKind::kPlane || points.empty()) return starts;
  const Vector3d mean =
      std::accumulate(points.begin(), points.end(), Vector3d(0, 0, 0)) / static_cast<double>(points.size());
  const auto flat = Flat(points, mean, m.IsCurve() ? ShapeKind::kLine : ShapeKind::kPlane);
  if (flat) starts.push_back(*flat);
  const Vector3d q = mean - m.center;
  const double height = m.axis.dot(q);
  const Vector3d foot = m.center + height * m.axis;
  if (m.kind == ShapeKind::kCone)
    starts.push_back({ShapeKind::kCylinder, foot, m.axis, 0, std::abs(height) * std::tan(m.minor)});
  if (m.kind != ShapeKind::kTorus) return starts;
  const Vector3d across = mean - foot;
  const Vector3d radial = across.norm() > 0 ? across.normalized() : UnitOrthogonal(m.axis);
  starts.push_back({ShapeKind::kCylinder, m.center + m.major * radial, m.axis.cross(radial), 0, m.minor});
  starts.push_back({ShapeKind::kCylinder, foot, m.axis, 0, m.major - m.minor});
  starts.push_back({ShapeKind::kSphere, m.center, Vector3d::UnitZ(), 0, m.major + m.minor});
  return starts;
}

// The simpler shapes start from the model itself, so a few steps of concentration find their optimum.
bool HasSimpler(const Model& m, std::span<const Vector3d> all, Budget& budget) {
  const std::span<const Vector3d> points = all.first(std::min(all.size(), kMostPoints));
  const std::vector<Model> starts = SimplerStarts(m, points);
  if (starts.empty()) return false;
  NearestMost most(points);
  const double limit = kLargestRatio * kLargestRatio * TrimmedSquares(m, most);
  return std::any_of(starts.begin(), starts.end(),
                     [&](const Model& start) { return Explains(start, limit, most, budget); });
}

}  // namespace primfit::adaptive
