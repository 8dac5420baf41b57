#include "adaptive/converge/inlier_selection.h"

#include "shapes/kernels/batch.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

InlierSelection::InlierSelection(std::size_t n)
    : n_(n),
      words_((n + kWord - 1) / kWord),
      within_(words_),
      inliers_(words_),
      isolated_(words_),
      looked_(words_) {
  std::fill_n(inliers_.data(), words_, std::uint64_t{0});
  ForgetIsolated();
}

void InlierSelection::ForgetIsolated() {
  std::fill_n(isolated_.data(), words_, std::uint64_t{0});
  std::fill_n(looked_.data(), words_, std::uint64_t{0});
}

// A point that stands alone once does so in all selections until the grid is built anew, so each point is
// looked up once.
void InlierSelection::LookForIsolated(std::size_t word, std::span<const Vector3d> points,
                                      const IsolationGrid& isolation) {
  ForBits(within_[word] & ~looked_[word], [&](std::size_t k) {
    isolated_[word] |= std::uint64_t{isolation.IsIsolated(points[word * kWord + k])} << k;
  });
  looked_[word] |= within_[word];
}

/// Puts the inliers of one word in the place of those before, and takes them into the count, the hash and the
/// changes.
void InlierSelection::Replace(std::size_t word, std::uint64_t inliers) {
  const std::uint64_t changed = inliers ^ inliers_[word];
  inliers_[word] = inliers;
  count_ += static_cast<std::size_t>(std::popcount(inliers));
  const std::uint64_t mixed = (inliers + word + 1) * 0x9e3779b97f4a7c15U;
  hash_ = (hash_ ^ mixed ^ mixed >> 32) * 0xff51afd7ed558ccdU;
  if (changes_ > kMostNoted) return;
  ForBits(changed, [&](std::size_t k) {
    changed_[std::min(changes_, kMostNoted)] = word * kWord + k;
    ++changes_;
  });
}

void InlierSelection::Select(std::span<const Vector3d> points, const double* distances, double tolerance,
                             const IsolationGrid& isolation) {
  BitsUpTo(tolerance, distances, n_, within_.data());
  changes_ = count_ = 0;
  hash_ = 0;
  for (std::size_t word = 0; word < words_; ++word) {
    if (!isolation.IsEmpty()) LookForIsolated(word, points, isolation);
    Replace(word, within_[word] & ~isolated_[word]);
  }
}

}  // namespace primfit::adaptive
