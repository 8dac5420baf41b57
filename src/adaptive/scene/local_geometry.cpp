#include "adaptive/scene/local_geometry.h"

#include <Eigen/Eigenvalues>
#include <array>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Neighbours that say how a point lies, itself among them: few enough to stay on the same surface, enough to
/// average its noise.
constexpr std::size_t kNeighbours = 16;

/// The principal directions of the neighbours' scatter about their mean.
LocalGeometry OfNeighbours(std::span<const Vector3d> points, std::size_t index,
                           std::span<const std::size_t> neighbours, bool curve) {
  Vector3d mean = Vector3d::Zero();
  for (const std::size_t i : neighbours) mean += points[i];
  mean /= static_cast<double>(neighbours.size());
  Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
  for (const std::size_t i : neighbours) {
    const Vector3d v = points[i] - mean;
    scatter += v * v.transpose();
  }
  Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver;
  solver.computeDirect(scatter);
  const Vector3d e = solver.eigenvalues();  // ascending
  const double all = e.sum(), across = curve ? e[0] + e[1] : e[0];
  return {index, mean, solver.eigenvectors().col(curve ? 2 : 0), all > 0 ? across / all : 0};
}

}  // namespace

std::vector<LocalGeometry> LocalGeometryAt(std::span<const Vector3d> points,
                                           const NeighbourSearch& neighbours, const FreePoints& free,
                                           std::span<const std::size_t> at, bool curve) {
  std::vector<LocalGeometry> local;
  local.reserve(at.size());
  std::array<std::size_t, kNeighbours> found{};
  for (const std::size_t i : at) {
    const std::size_t count = neighbours.Nearest(points[i], free, found);
    local.push_back(OfNeighbours(points, i, std::span(found).first(count), curve));
  }
  return local;
}

}  // namespace primfit::adaptive
