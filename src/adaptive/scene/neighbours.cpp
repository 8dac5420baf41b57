#include "adaptive/scene/neighbours.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <nanoflann.hpp>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// The points as nanoflann asks for them.
struct TreePoints {
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
using Index = nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<double, TreePoints>,
                                                  TreePoints, 3, std::size_t>;

/// The squared distances of the neighbours stay on the stack, so that a query allocates nothing.
constexpr std::size_t kMostNeighbours = 32;
/// Points in a leaf of the tree: smaller leaves make it deeper, larger ones are scanned for longer.
constexpr std::size_t kLeafSize = 16;

/// The nearest free points so far, in the form that nanoflann fills: it offers every point of a leaf that may
/// be nearer than `worstDist`, and those that are not free are refused here.
class NearestFree {
 public:
  using DistanceType = double;  // named as nanoflann expects
  using IndexType = std::size_t;

  NearestFree(const FreePoints& free, std::span<std::size_t> found) : free_(free), found_(found) {
    squared_.fill(std::numeric_limits<double>::max());
  }
  std::size_t size() const { return count_; }
  bool full() const { return count_ == found_.size(); }
  double worstDist() const { return squared_[found_.size() - 1]; }
  bool addPoint(double squared, std::size_t index) {
    if (!free_.Has(index)) return true;
    // Insertion into the sorted list, whose last one drops out when it is full.
    std::size_t at = count_;
    for (; at > 0 && squared_[at - 1] > squared; --at) {
      if (at == found_.size()) continue;
      squared_[at] = squared_[at - 1];
      found_[at] = found_[at - 1];
    }
    if (at < found_.size()) {
      squared_[at] = squared;
      found_[at] = index;
    }
    count_ = std::min(count_ + 1, found_.size());
    return true;  // go on with the search
  }
  void sort() {}  // they are; asked for by later versions of nanoflann

 private:
  const FreePoints& free_;
  std::span<std::size_t> found_;
  std::array<double, kMostNeighbours> squared_;
  std::size_t count_ = 0;
};

}  // namespace

/// The tree refers to `points`, so both live and move together, behind a pointer.
struct NeighbourSearch::Tree {
  explicit Tree(std::span<const Vector3d> all)
      : points{all}, index(3, points, nanoflann::KDTreeSingleIndexAdaptorParams(kLeafSize)) {}
  TreePoints points;
  Index index;
};

NeighbourSearch::NeighbourSearch(std::span<const Vector3d> points) : points_(points) {}
NeighbourSearch::NeighbourSearch(NeighbourSearch&&) noexcept = default;
NeighbourSearch& NeighbourSearch::operator=(NeighbourSearch&&) noexcept = default;
NeighbourSearch::~NeighbourSearch() = default;

std::size_t NeighbourSearch::Nearest(const Vector3d& place, const FreePoints& free,
                                     std::span<std::size_t> found) const {
  if (points_.empty() || found.empty()) return 0;
  if (!tree_) tree_ = std::make_unique<const Tree>(points_);
  NearestFree nearest(free, found.first(std::min(found.size(), kMostNeighbours)));
  tree_->index.findNeighbors(nearest, place.data(), {});
  return nearest.size();
}

}  // namespace primfit::adaptive
