#include "adaptive/scene/local_noise.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points of whose neighbourhoods the noise is taken, and the points of each, itself among them.
constexpr std::size_t kPlaces = 48, kNeighbours = 16;
constexpr int kCoefficients = 6;  // of a paraboloid
/// Some neighbourhoods lie across an edge, so that the lower quartile of them counts. Of normal noise it is
/// so many standard deviations: the square root of chi square with ten degrees of freedom at 0.25, over ten.
constexpr double kQuartile = 0.25, kQuartileOfNoise = 0.821;
/// Points show a surface when they spread along it so many times as far as across.
constexpr double kLeastSpread = 3;

struct Neighbourhood {
  double noise;   // root mean square of what the paraboloid leaves
  double spread;  // of the points along the surface, root mean square in one direction
};

std::optional<Neighbourhood> NeighbourhoodOf(std::span<const Vector3d> points,
                                             std::span<const std::size_t> neighbours) {
  const auto n = static_cast<double>(neighbours.size());
  Vector3d mean = Vector3d::Zero();
  for (const std::size_t i : neighbours) mean += points[i] / n;
  Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
  for (const std::size_t i : neighbours) scatter += (points[i] - mean) * (points[i] - mean).transpose();
  Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver;
  solver.computeDirect(scatter);
  const double spread = std::sqrt(solver.eigenvalues()[1] / n);
  if (!(spread > 0)) return std::nullopt;
  const Eigen::Matrix3d axes = solver.eigenvectors();
  Eigen::Matrix<double, kCoefficients, kCoefficients> normal = normal.Zero();
  Eigen::Matrix<double, kCoefficients, 1> right = right.Zero();
  double squares = 0;
  for (const std::size_t i : neighbours) {
    const Vector3d p = axes.transpose() * (points[i] - mean) / spread;
    const double u = p[2], v = p[1], w = p[0];
    Eigen::Matrix<double, kCoefficients, 1> row;
    row << 1, u, v, u * u, u * v, v * v;
    normal += row * row.transpose();
    right += row * w;
    squares += w * w;
  }
  const double left = squares - right.dot(normal.ldlt().solve(right));
  return Neighbourhood{spread * std::sqrt(std::max(left, 0.0) / (n - kCoefficients)), spread};
}

/// The indices of the points nearest to a place.
std::vector<std::size_t> NearestTo(const Vector3d& place, std::span<const Vector3d> points) {
  std::vector<std::size_t> order(points.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  const auto end = order.begin() + static_cast<std::ptrdiff_t>(std::min(kPlaces, order.size()));
  std::partial_sort(order.begin(), end, order.end(), [&](std::size_t a, std::size_t b) {
    return (points[a] - place).squaredNorm() < (points[b] - place).squaredNorm();
  });
  order.erase(end, order.end());
  return order;
}

}  // namespace

std::optional<double> LocalNoise(const Sample& sample, const Vector3d& place) {
  std::vector<double> noises, spreads;
  std::array<std::size_t, kNeighbours> found{};
  for (const std::size_t i : NearestTo(place, sample.points)) {
    const std::size_t count = sample.neighbours.Nearest(sample.points[i], sample.free, found);
    if (count < kNeighbours) return std::nullopt;
    const auto of = NeighbourhoodOf(sample.points, found);
    if (!of) continue;
    noises.push_back(of->noise);
    spreads.push_back(of->spread);
  }
  if (noises.empty()) return std::nullopt;
  const auto at = [](std::vector<double>& values, double share) {
    const auto k = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size()));
    std::nth_element(values.begin(), values.begin() + k, values.end());
    return values[static_cast<std::size_t>(k)];
  };
  const double noise = at(noises, kQuartile) / kQuartileOfNoise;
  if (!(at(spreads, 0.5) >= kLeastSpread * noise)) return std::nullopt;
  return noise;
}

}  // namespace primfit::adaptive
