#include "adaptive/scene/connected_region.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "adaptive/scene/free_points.h"
#include "adaptive/scene/neighbours.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Neighbours that a point may be linked to, itself among them: a share of all points within these numbers.
/// With the most, points of scan lines that lie four times as far apart as the points within a line are still
/// linked across.
constexpr std::size_t kLeastLinks = 6, kMostLinks = 16, kPointsPerLink = 32;
/// A point is not linked to one about which the points are so many times closer: it is a stray beside them.
/// On a surface the spacing changes less from point to point, even at the edge of a patch that was scanned
/// once more.
constexpr double kMuchCloser = 8;
/// Cells of the region along each edge: fine enough to leave out what is beside, while a cell of a surface of
/// some thousand points has two of them.
constexpr std::size_t kCells = 32;
constexpr auto kOutside = static_cast<std::size_t>(-1);

/// Disjoint sets (Galler and Fischer 1964) with path halving.
class DisjointSets {
 public:
  explicit DisjointSets(std::size_t n) : parent_(n) { std::iota(parent_.begin(), parent_.end(), 0U); }
  std::uint32_t Find(std::uint32_t i) {
    while (parent_[i] != i) i = parent_[i] = parent_[parent_[i]];
    return i;
  }
  void Unite(std::uint32_t a, std::uint32_t b) { parent_[Find(a)] = Find(b); }

 private:
  std::vector<std::uint32_t> parent_;
};

}  // namespace

Connected ConnectedWith(const Vector3d& place, std::span<const Vector3d> points) {
  Connected connected{std::vector<std::uint8_t>(points.size(), 0), std::vector<double>(points.size(), 0)};
  if (points.empty()) return connected;
  const NeighbourSearch search(points);
  const FreePoints all(points.size());
  DisjointSets sets(points.size());
  const std::size_t most = std::clamp(points.size() / kPointsPerLink, kLeastLinks, kMostLinks);
  std::vector<std::size_t> links(points.size() * most), counts(points.size());
  for (std::size_t i = 0; i < points.size(); ++i) {
    const std::span<std::size_t> found(links.data() + i * most, most);
    counts[i] = search.Nearest(points[i], all, found);
    if (counts[i] > 0) connected.reach[i] = (points[found[counts[i] - 1]] - points[i]).norm();
  }
  for (std::size_t i = 0; i < points.size(); ++i) {
    for (std::size_t k = 0; k < counts[i]; ++k) {
      const std::size_t other = links[i * most + k];
      if (connected.reach[i] <= kMuchCloser * connected.reach[other])
        sets.Unite(static_cast<std::uint32_t>(i), static_cast<std::uint32_t>(other));
    }
  }
  std::array<std::size_t, 1> nearest{};
  search.Nearest(place, all, nearest);
  const std::uint32_t set = sets.Find(static_cast<std::uint32_t>(nearest[0]));
  for (std::size_t i = 0; i < points.size(); ++i) {
    connected.isConnected[i] = sets.Find(static_cast<std::uint32_t>(i)) == set ? 1 : 0;
    connected.count += connected.isConnected[i];
  }
  return connected;
}

// Each connected point fills the cells within its reach; where there is a point of another component, but
// none of this one, the cell is the other's.
ConnectedRegion::ConnectedRegion(std::span<const Vector3d> points, const Connected& connected) {
  Vector3d low = Vector3d::Constant(std::numeric_limits<double>::infinity()), high = -low;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (connected.isConnected[i] == 0) continue;
    low = low.cwiseMin(points[i] - Vector3d::Constant(connected.reach[i]));
    high = high.cwiseMax(points[i] + Vector3d::Constant(connected.reach[i]));
  }
  const double edge = (high - low).maxCoeff() * (1 + 1e-9);
  if (!(edge > 0)) return;
  low_ = low;
  scale_ = static_cast<double>(kCells) / edge;
  isIn_.assign(kCells * kCells * kCells, 0);
  const auto cellAlong = [&](double v) {
    return static_cast<std::size_t>(std::clamp(v * scale_, 0.0, static_cast<double>(kCells - 1)));
  };
  std::vector<std::uint8_t> own(isIn_.size(), 0);
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (connected.isConnected[i] == 0) continue;
    const Vector3d reach = Vector3d::Constant(connected.reach[i]);
    const Vector3d from = points[i] - reach - low_, to = points[i] + reach - low_;
    for (std::size_t x = cellAlong(from.x()); x <= cellAlong(to.x()); ++x)
      for (std::size_t y = cellAlong(from.y()); y <= cellAlong(to.y()); ++y)
        for (std::size_t z = cellAlong(from.z()); z <= cellAlong(to.z()); ++z)
          isIn_[(x * kCells + y) * kCells + z] = 1;
    own[CellOf(points[i])] = 1;
  }
  for (std::size_t i = 0; i < points.size(); ++i) {
    const std::size_t cell = CellOf(points[i]);
    if (connected.isConnected[i] == 0 && cell != kOutside && own[cell] == 0) isIn_[cell] = 0;
  }
}

std::size_t ConnectedRegion::CellOf(const Vector3d& p) const {
  std::size_t cell = 0;
  for (Eigen::Index k = 0; k < 3; ++k) {
    const double along = (p[k] - low_[k]) * scale_;
    if (!(along >= 0 && along < static_cast<double>(kCells))) return kOutside;
    cell = cell * kCells + static_cast<std::size_t>(along);
  }
  return cell;
}

bool ConnectedRegion::Has(const Vector3d& p) const {
  if (isIn_.empty()) return false;
  const std::size_t cell = CellOf(p);
  return cell != kOutside && isIn_[cell] != 0;
}

}  // namespace primfit::adaptive
