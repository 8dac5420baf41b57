// What the searches share: seeds, the number of samples, and the drawing of one.
#ifndef PRIMFIT_SRC_RANSAC_RANDOM_H_
#define PRIMFIT_SRC_RANSAC_RANDOM_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <vector>

#include "primfit/fit/scoped_seed.h"

namespace primfit {

/// Most samples of one search. It bounds the time of a search among many outliers.
inline constexpr int kMaxIterations = 5000;

/// The seed of a search: from the thread's ScopedSeed, else the calendar time in seconds.
inline std::uint32_t SearchSeed() {
  std::uint64_t seed = 0;
  if (ScopedSeed::Next(seed)) return static_cast<std::uint32_t>(seed);
  return static_cast<std::uint32_t>(std::time(nullptr));
}

/// How many samples of k points to draw so that with probability p at least one holds no outlier, when a
/// share w of the points are inliers: the integer part of ln(1 - p) / ln(1 - w^k) + rounding, at most
/// kMaxIterations (Fischler and Bolles 1981). Where w^k vanishes beside 1 the divisor is +0 and the quotient
/// minus infinity: no number of samples is enough.
inline int SampleCount(double p, double w, int k, double rounding) {
  double allGood = 1;
  for (int i = 0; i < k; ++i) allGood *= w;
  const double count = std::log(1 - p) / std::log(1 - allGood) + rounding;
  return count >= 0 && count < kMaxIterations ? static_cast<int>(count) : kMaxIterations;
}

/// Fills `indices` with distinct numbers from next(), in the order drawn. A number that was drawn before is
/// replaced by another draw.
template <class Next>
void DrawDistinct(int n, std::vector<int>& indices, const Next& next) {
  // Of a small sample, the usual case, it is fastest to look through the numbers drawn so far; of a large one
  // to mark each number of the n as drawn.
  constexpr std::size_t kLargestSearched = 64;
  std::vector<bool> drawn(indices.size() > kLargestSearched ? static_cast<std::size_t>(n) : 0);
  for (auto to = indices.begin(); to != indices.end();) {
    const int i = next();
    const bool again =
        drawn.empty() ? std::find(indices.begin(), to, i) != to : drawn[static_cast<std::size_t>(i)];
    if (again) continue;
    if (!drawn.empty()) drawn[static_cast<std::size_t>(i)] = true;
    *to++ = i;
  }
}

}  // namespace primfit

#endif  // PRIMFIT_SRC_RANSAC_RANDOM_H_
