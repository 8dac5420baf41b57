// Seeds and iteration counts that the searches share.
#ifndef PRIMFIT_SRC_RANSAC_RANDOM_H_
#define PRIMFIT_SRC_RANSAC_RANDOM_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <vector>

#include "primfit/fit/scoped_seed.h"

namespace primfit {

inline constexpr int kMaxIterations = 5000;

/// From the thread's scope, else the calendar time in seconds.
inline std::uint32_t SearchSeed() {
  std::uint64_t seed = 0;
  if (ScopedSeed::Next(seed)) return static_cast<std::uint32_t>(seed);
  return static_cast<std::uint32_t>(std::time(nullptr));
}

/// Integer part of ln(1 - p) / ln(1 - w^k) + rounding, at most 5000 (Fischler and Bolles 1981). w^k too small
/// to matter makes the divisor +0 and the quotient minus infinity: more samples than can be drawn.
inline int SampleCount(double p, double w, int k, double rounding) {
  double allGood = 1;
  for (int i = 0; i < k; ++i) allGood *= w;
  const double count = std::log(1 - p) / std::log(1 - allGood) + rounding;
  return count >= 0 && count < kMaxIterations ? static_cast<int>(count) : kMaxIterations;
}

/// Fills `indices` with distinct numbers from next(), in the order drawn; a number drawn before is drawn
/// again.
template <class Next>
void DrawDistinct(int n, std::vector<int>& indices, const Next& next) {
  // Looking back over the sample is fastest for the usual few points, a mark for each point for the unusual
  // many.
  constexpr std::size_t kFew = 64;
  std::vector<bool> drawn(indices.size() > kFew ? static_cast<std::size_t>(n) : 0);
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
