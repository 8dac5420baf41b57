// The consensus set of a shape: which points are its inliers, and how that changes as the shape moves.
//
// A point is an inlier when it lies within the tolerance and does not stand alone (isolation_grid.h). There
// may be millions of points and dozens of selections, so the set is kept as bits, 64 points a word, and the
// few points that come in or go out from one selection to the next are noted: they alone have to be looked at
// to update the optimum.
#ifndef PRIMFIT_SRC_ADAPTIVE_CONVERGE_INLIER_SELECTION_H_
#define PRIMFIT_SRC_ADAPTIVE_CONVERGE_INLIER_SELECTION_H_

#include <Eigen/Core>
#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "adaptive/converge/isolation_grid.h"
#include "fit/fit_memory.h"

namespace primfit::adaptive {

class InlierSelection {
 public:
  /// None of n points is an inlier.
  explicit InlierSelection(std::size_t n);

  /// Takes the points within the tolerance, less those that stand alone.
  /// @param distances  of all points
  void Select(std::span<const Eigen::Vector3d> points, const double* distances, double tolerance,
              const IsolationGrid& isolation);
  /// Has the next selection ask the isolation grid again; else it asks once a point.
  void ForgetIsolated();

  /// Counts a point among those that stand alone, until these are forgotten.
  void SetAside(std::size_t i) { isolated_[i / kWord] |= std::uint64_t{1} << i % kWord; }

  std::size_t Count() const { return count_; }
  bool Has(std::size_t i) const { return (inliers_[i / kWord] >> i % kWord & 1) != 0; }
  /// The same for the same inliers.
  std::uint64_t Hash() const { return hash_; }
  /// Whether few enough points changed in the last selection that they are known.
  bool ChangedFew() const { return changes_ <= kMostNoted; }
  /// The points that came in and went out, where they are few.
  std::span<const std::size_t> Changed() const { return {changed_.data(), changes_}; }
  /// Calls visit with the index of each inlier, ascending.
  template <class Visit>
  void ForEach(const Visit& visit) const {
    for (std::size_t w = 0; w < words_; ++w)
      ForBits(inliers_[w], [&](std::size_t k) { visit(w * kWord + k); });
  }
  /// The same for each point within the tolerance that stands alone.
  template <class Visit>
  void ForEachIsolated(const Visit& visit) const {
    for (std::size_t w = 0; w < words_; ++w)
      ForBits(within_[w] & isolated_[w], [&](std::size_t k) { visit(w * kWord + k); });
  }

 private:
  // More changes than these are no small ones: the optimum is then found anew.
  static constexpr std::size_t kWord = 64, kMostNoted = 256;

  template <class Visit>
  static void ForBits(std::uint64_t word, const Visit& visit) {
    // Of a clean cloud nearly all words are full.
    if (word == ~std::uint64_t{0}) {
      for (std::size_t k = 0; k < kWord; ++k) visit(k);
      return;
    }
    for (; word != 0; word &= word - 1) visit(static_cast<std::size_t>(std::countr_zero(word)));
  }
  void LookForIsolated(std::size_t word, std::span<const Eigen::Vector3d> points,
                       const IsolationGrid& isolation);
  void Replace(std::size_t word, std::uint64_t inliers);

  std::size_t n_, words_;
  Scratch<std::uint64_t> within_, inliers_, isolated_, looked_;
  std::array<std::size_t, kMostNoted + 1> changed_{};
  std::size_t changes_ = 0, count_ = 0;
  std::uint64_t hash_ = 0;
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_CONVERGE_INLIER_SELECTION_H_
