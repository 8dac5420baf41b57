#include "adaptive/search/score.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <numeric>

#include "adaptive/model/divergence.h"

namespace primfit::adaptive {

namespace {

/// Points that lie anywhere are at most about so far from a shape as this share of all points is.
constexpr double kShareInRange = 0.98;
constexpr double kLargestRange = 8;
/// A fine bound: noise of a three-hundredth of the size.
constexpr double kFineBound = 0.01;

/// Bounds are in steps of half an octave: 1, 1.5, 2, 3, 4, 6, ... times the least. Their ends are the doubles
/// of which only the first bit of the mantissa may be set, so that the step of a distance is its exponent and
/// that bit, read off by a shift.
constexpr int kStepBits = 51;
constexpr std::int64_t kOne = std::int64_t{0x3ff} << 1;

/// Steps of an octave: points between a bound and twice of it tell how dense points are next to the band.
constexpr std::size_t kOctave = 2;

double StepEnd(int step) { return std::bit_cast<double>((kOne + step) << kStepBits); }

}  // namespace

Scorer::Scorer(bool curve, std::span<const Eigen::Vector3d> points, const ScoreBounds& bounds, int parameters,
               std::span<const double> trust)
    : points_(points),
      curve_(curve),
      limits_(bounds),
      parameters_(parameters),
      distances_(points.size()),
      trust_(trust) {
  for (int step = 0; step == 0 || bounds.least * StepEnd(step) < kLargestRange; ++step)
    bounds_.push_back(bounds.least * StepEnd(step));
  counts_.resize(bounds_.size() + 1);
  if (trust_.empty()) return;
  trusted_.resize(counts_.size());
  const double sum = std::accumulate(trust_.begin(), trust_.end(), 0.0);
  pointsPerTrust_ = sum / std::inner_product(trust_.begin(), trust_.end(), trust_.begin(), 0.0);
  effectiveCount_ = pointsPerTrust_ * sum;
}

double Scorer::Chance(double tolerance, double backgroundRange) const {
  const double share = std::min(tolerance / backgroundRange, 1.0);
  return curve_ ? share * share : share;
}

// The background range comes first: the bound that takes in nearly all points. Then each bound is tried.
// Chance is no less than the density next to the band: real clouds are denser in their middle, where any
// shape through it has many points near. As many points as the shape has parameters lie on it whatever they
// are, so they do not count.
template <class Count>
Score Scorer::Best(const std::vector<Count>& counts, double n) const {
  Count count = 0;
  double range = limits_.leastBackgroundRange;
  for (std::size_t i = 0; i < bounds_.size() && count < kShareInRange * n; ++i) {
    count += counts[i];
    range = std::max(limits_.leastBackgroundRange, bounds_[i]);
  }
  Score best{0, 0, 0, 0, range};
  count = 0;
  for (std::size_t i = 0; i < bounds_.size() && (i == 0 || bounds_[i] <= limits_.most); ++i) {
    count += counts[i];
    const Count counted = count - static_cast<Count>(parameters_);  // fewer than n
    if (counted <= 0 || (i > 0 && counts[i] == 0)) continue;
    Count beyond = 0;
    for (std::size_t k = i + 1; k <= std::min(i + kOctave, bounds_.size() - 1); ++k) beyond += counts[k];
    const double around = static_cast<double>(beyond) / (curve_ ? 3 : 1) / n;
    const double chance = std::max(Chance(bounds_[i], range), around);
    const double value = n * Divergence(static_cast<double>(counted) / n, chance);
    if (value > best.value)
      best = {value, bounds_[i], static_cast<double>(count), static_cast<double>(count) / n, range};
  }
  return best;
}

// One pass gives the distances and one sorts them into the steps; no bound is tried point by point.
Score Scorer::operator()(const Model& model) {
  const std::size_t n = points_.size();
  adaptive::Distances(model, points_.data(), static_cast<int>(n), distances_.data());
  std::fill(counts_.begin(), counts_.end(), 0);
  std::fill(trusted_.begin(), trusted_.end(), 0.0);
  const double scale = 1 / limits_.least;
  const auto last = static_cast<std::int64_t>(bounds_.size());
  const auto slotOf = [&](double d) {
    const std::int64_t step = (std::bit_cast<std::int64_t>(d * scale) >> kStepBits) - kOne + 1;
    return static_cast<std::size_t>(std::clamp<std::int64_t>(step, 0, last));  // a NaN is beyond the last
  };
  for (const double d : distances_) ++counts_[slotOf(d)];
  Score best = Best(counts_, static_cast<double>(n));
  if (trust_.empty()) return best;
  for (std::size_t i = 0; i < n; ++i) trusted_[slotOf(distances_[i])] += pointsPerTrust_ * trust_[i];
  const Score trusted = Best(trusted_, effectiveCount_);
  return trusted.value > best.value ? trusted : best;
}

// By bisection: the score within a fine bound rises with the share.
double Scorer::ShareNeededAtFineBound(const Score& score) const {
  const auto n = static_cast<double>(points_.size());
  const double share = score.share;
  const double fine = std::max(kFineBound, limits_.least);
  if (score.tolerance <= fine) return share;
  double low = 0, high = share;  // the score of a share rises with it
  for (int i = 0; i < 30; ++i) {
    const double middle = (low + high) / 2;
    (n * Divergence(middle, Chance(fine, score.backgroundRange)) >= score.value ? high : low) = middle;
  }
  return high;
}

}  // namespace primfit::adaptive
