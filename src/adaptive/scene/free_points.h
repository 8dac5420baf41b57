// Which points of a sample are still free, that is, belong to no shape that was found before.
//
// A search beside a shape leaves out the points of that shape. They stay where they are and are only marked
// here, so that nothing is copied and the neighbour search of the sample can go on being used.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_FREE_POINTS_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_FREE_POINTS_H_

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace primfit::adaptive {

class FreePoints {
 public:
  /// All are free, for which nothing is stored.
  explicit FreePoints(std::size_t points = 0) : count_(points) {}

  std::size_t Count() const { return isFree_.empty() ? count_ : indices_.size(); }
  bool AreAll() const { return isFree_.empty(); }
  /// Whether the point with this index is free.
  bool Has(std::size_t index) const { return isFree_.empty() || isFree_[index] != 0; }
  /// The index of the k-th free point; the order of the points stays.
  std::size_t operator[](std::size_t k) const { return isFree_.empty() ? k : indices_[k]; }

  /// Takes away the free points of which `isTaken(index)` is true.
  template <class IsTaken>
  void Remove(const IsTaken& isTaken) {
    std::vector<std::uint32_t> left;
    for (std::size_t k = 0; k < Count(); ++k) {
      if (!isTaken((*this)[k])) left.push_back(static_cast<std::uint32_t>((*this)[k]));
    }
    isFree_.assign(count_, 0);
    for (const std::uint32_t index : left) isFree_[index] = 1;
    indices_ = std::move(left);
  }

 private:
  std::size_t count_;
  std::vector<std::uint8_t> isFree_;    // empty while all are
  std::vector<std::uint32_t> indices_;  // of the free ones, ascending
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_FREE_POINTS_H_
