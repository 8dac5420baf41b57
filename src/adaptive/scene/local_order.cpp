#include "adaptive/scene/local_order.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <array>
#include <nanoflann.hpp>

using Eigen::Vector3d;

namespace primfit {

namespace {

/// Neighbours that say how a point lies: few enough to stay in the piece, enough to average its noise.
constexpr std::size_t kNeighbours = 16;

/// The points as the k-d tree asks for them.
struct Cloud {
  std::span<const Vector3d> points;
  std::size_t kdtree_get_point_count() const { return points.size(); }
  double kdtree_get_pt(std::size_t i, std::size_t axis) const {
    return points[i][static_cast<Eigen::Index>(axis)];
  }
  template <class Box>
  bool kdtree_get_bbox(Box&) const {
    return false;
  }
};
using Tree =
    nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<double, Cloud>, Cloud, 3, std::size_t>;

}  // namespace

std::vector<LocalPiece> PiecesAround(std::span<const Vector3d> points, std::span<const std::size_t> at,
                                     bool curve) {
  const Cloud cloud{points};
  const Tree tree(3, cloud, nanoflann::KDTreeSingleIndexAdaptorParams(16));
  std::vector<LocalPiece> pieces;
  pieces.reserve(at.size());
  for (const std::size_t i : at) {
    std::array<std::size_t, kNeighbours> indices{};
    std::array<double, kNeighbours> squared{};
    const std::size_t found = tree.knnSearch(points[i].data(), kNeighbours, indices.data(), squared.data());
    Vector3d mean = Vector3d::Zero();
    for (std::size_t k = 0; k < found; ++k) mean += points[indices[k]];
    mean /= static_cast<double>(found);
    Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
    for (std::size_t k = 0; k < found; ++k) {
      const Vector3d v = points[indices[k]] - mean;
      scatter += v * v.transpose();
    }
    Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver;
    solver.computeDirect(scatter);
    const Vector3d e = solver.eigenvalues();  // ascending
    const double all = e.sum(), stray = curve ? e[0] + e[1] : e[0];
    pieces.push_back({i, mean, solver.eigenvectors().col(curve ? 2 : 0), all > 0 ? stray / all : 0});
  }
  return pieces;
}

}  // namespace primfit
