#include "adaptive/search/simpler.h"

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
constexpr std::size_t kEnough = 512;
/// Most of the points: this share of them, the nearest.
constexpr double kMost = 0.6;
/// A simpler shape explains them as well when they are not farther from it than by this factor, root mean
/// square.
constexpr double kAsWell = 1.25;
/// By how much farther the points of a plane spread along it than across, root mean square.
constexpr double kFlat = 3;
constexpr int kRounds = 5;
constexpr int kSteps = 3;

/// Least trimmed squares (Rousseeuw 1984), by steps of concentration (Rousseeuw and Van Driessen 1999).
class Trimmed {
 public:
  explicit Trimmed(std::span<const Vector3d> points)
      : points_(points),
        most_(static_cast<std::size_t>(std::ceil(kMost * static_cast<double>(points.size())))),
        distances_(points.size()),
        order_(points.size()),
        near_(most_) {}

  /// Sum of the squared distances of the nearest points, which come first in the order then.
  double SquaresOf(const Model& model) {
    Distances(model, points_.data(), static_cast<int>(points_.size()), distances_.data());
    std::iota(order_.begin(), order_.end(), std::size_t{0});
    std::nth_element(order_.begin(), order_.begin() + static_cast<std::ptrdiff_t>(most_ - 1), order_.end(),
                     [&](std::size_t a, std::size_t b) { return distances_[a] < distances_[b]; });
    double squares = 0;
    for (std::size_t k = 0; k < most_; ++k) {
      squares += distances_[order_[k]] * distances_[order_[k]];
      near_[k] = points_[order_[k]];
    }
    return squares;
  }
  /// Whether a shape of the form of `start`, found from there, has at most so many.
  bool Reaches(Model start, double limit) {
    for (int round = 0; IsValid(start); ++round) {
      if (SquaresOf(start) <= limit) return true;
      if (round == kRounds) break;
      const auto refined = Refine(start, 0, RefsOf(near_), kSteps);
      if (!refined) break;
      start = *refined;
    }
    return false;
  }

 private:
  std::span<const Vector3d> points_;
  std::size_t most_;
  std::vector<double> distances_;
  std::vector<std::size_t> order_;
  std::vector<Vector3d> near_;
};

/// The least-squares line, or plane where the points spread along one: about a rod any plane goes.
std::optional<Model> Flat(std::span<const Vector3d> points, const Vector3d& mean, Form form) {
  Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
  for (const Vector3d& p : points) scatter += (p - mean) * (p - mean).transpose();
  Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver;
  solver.computeDirect(scatter);
  const Vector3d& squares = solver.eigenvalues();
  if (form == Form::kPlane && !(squares[1] > kFlat * kFlat * squares[0])) return std::nullopt;
  return Model{form, mean, solver.eigenvectors().col(form == Form::kLine ? 2 : 0), 0, 0};
}

}  // namespace

bool HasSimpler(const Model& m, std::span<const Vector3d> all) {
  const std::span<const Vector3d> points = all.first(std::min(all.size(), kEnough));
  if (m.form == Form::kLine || m.form == Form::kPlane || points.empty()) return false;
  Trimmed trimmed(points);
  const double limit = kAsWell * kAsWell * trimmed.SquaresOf(m);
  const auto reaches = [&](const Model& start) { return trimmed.Reaches(start, limit); };
  const Vector3d mean =
      std::accumulate(points.begin(), points.end(), Vector3d(0, 0, 0)) / static_cast<double>(points.size());
  const auto flat = Flat(points, mean, m.IsCurve() ? Form::kLine : Form::kPlane);
  if (flat && reaches(*flat)) return true;
  const Vector3d q = mean - m.center;
  const double height = m.axis.dot(q);
  const Vector3d foot = m.center + height * m.axis;
  if (m.form == Form::kCone)
    return reaches({Form::kCylinder, foot, m.axis, 0, std::abs(height) * std::tan(m.minor)});
  if (m.form != Form::kTorus) return false;
  const Vector3d across = mean - foot;
  const Vector3d radial = across.norm() > 0 ? across.normalized() : UnitOrthogonal(m.axis);
  return reaches({Form::kCylinder, m.center + m.major * radial, m.axis.cross(radial), 0, m.minor}) ||
         reaches({Form::kCylinder, foot, m.axis, 0, m.major - m.minor}) ||
         reaches({Form::kSphere, m.center, Vector3d::UnitZ(), 0, m.major + m.minor});
}

}  // namespace primfit::adaptive
