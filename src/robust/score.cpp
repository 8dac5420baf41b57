#include "robust/score.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace primfit::robust {

namespace {

/// Points that lie anywhere are at most about so far from a shape as most of all points are.
constexpr double kMost = 0.98;
constexpr double kLargestReach = 8;
/// A fine bound: noise of a three-hundredth of the size.
constexpr double kFine = 0.01;

/// Steps of half an octave: 1, 1.5, 2, 3, 4, 6, ...
constexpr int kStepBits = 51;
constexpr std::int64_t kOne = std::int64_t{0x3ff} << 1;

constexpr std::size_t kOctave = 2;

double StepEnd(int step) { return std::bit_cast<double>((kOne + step) << kStepBits); }

}  // namespace

double Divergence(double share, double chance) {
  if (share <= chance) return 0;
  const double other = share < 1 ? (1 - share) * std::log((1 - share) / (1 - chance)) : 0;
  return share * std::log(share / chance) + other;
}

Scorer::Scorer(bool curve, std::span<const Eigen::Vector3d> points, double least, double most,
               double leastReach, int parameters)
    : points_(points),
      curve_(curve),
      least_(least),
      most_(most),
      leastReach_(leastReach),
      parameters_(parameters),
      distances_(points.size()) {
  for (int step = 0; step == 0 || least * StepEnd(step) < kLargestReach; ++step)
    bounds_.push_back(least * StepEnd(step));
  counts_.resize(bounds_.size() + 1);
}

double Scorer::Chance(double tolerance, double reach) const {
  const double share = std::min(tolerance / reach, 1.0);
  return curve_ ? share * share : share;
}

Score Scorer::operator()(const Model& model) {
  const auto n = static_cast<int>(points_.size());
  robust::Distances(model, points_.data(), n, distances_.data());
  std::fill(counts_.begin(), counts_.end(), 0);
  const double scale = 1 / least_;
  const auto last = static_cast<std::int64_t>(bounds_.size());
  for (const double d : distances_) {
    const std::int64_t step = (std::bit_cast<std::int64_t>(d * scale) >> kStepBits) - kOne + 1;
    ++counts_[static_cast<std::size_t>(std::clamp<std::int64_t>(step, 0, last))];  // a NaN is beyond the last
  }
  int count = 0;
  double reach = leastReach_;
  for (std::size_t i = 0; i < bounds_.size() && count < kMost * n; ++i) {
    count += counts_[i];
    reach = std::max(leastReach_, bounds_[i]);
  }
  Score best{0, 0, 0, reach};
  count = 0;
  for (std::size_t i = 0; i < bounds_.size() && (i == 0 || bounds_[i] <= most_); ++i) {
    count += counts_[i];
    const int counted = count - parameters_;  // fewer than n
    if (counted <= 0 || (i > 0 && counts_[i] == 0)) continue;
    int beside = 0;
    for (std::size_t k = i + 1; k <= std::min(i + kOctave, bounds_.size() - 1); ++k) beside += counts_[k];
    const double around = static_cast<double>(beside) / (curve_ ? 3 : 1) / n;
    const double chance = std::max(Chance(bounds_[i], reach), around);
    const double value = n * Divergence(static_cast<double>(counted) / n, chance);
    if (value > best.value) best = {value, bounds_[i], count, reach};
  }
  return best;
}

double Scorer::ShareOfAsGood(const Score& score) const {
  const double n = static_cast<double>(points_.size()), share = score.inliers / n;
  const double fine = std::max(kFine, least_);
  if (score.tolerance <= fine) return share;
  double low = 0, high = share;  // the score of a share rises with it
  for (int i = 0; i < 30; ++i) {
    const double middle = (low + high) / 2;
    (n * Divergence(middle, Chance(fine, score.reach)) >= score.value ? high : low) = middle;
  }
  return high;
}

}  // namespace primfit::robust
