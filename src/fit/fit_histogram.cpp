#include "primfit/fit/fit_histogram.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

FitHistogram::FitHistogram() : sigma_(-1.0) {}

FitHistogram::FitHistogram(double sigma, const double* residuals, int n)
    : sigma_(std::abs(sigma) < 1e-6 ? 1e-6 : std::abs(sigma)) {
  Calculate(residuals, n);
}

void FitHistogram::Calculate(const double* residuals, int n) {
  if (n < 1) return;
  std::vector<double> sorted(residuals, residuals + n);
  // A NaN has no place in an order: it goes where the residuals without bound go.
  std::replace_if(
      sorted.begin(), sorted.end(), [](double r) { return std::isnan(r); },
      std::numeric_limits<double>::infinity());
  std::sort(sorted.begin(), sorted.end());

  auto next = sorted.begin();
  const auto takeBelow = [&](double bound) {
    const auto end = std::lower_bound(next, sorted.end(), bound);
    const auto count = static_cast<int>(end - next);
    next = end;
    return count;
  };
  const double width = (sigma_ + sigma_) * 0.125;
  for (int k = 0; k < 8; ++k) counts_[k] = takeBelow((k + 1) * width);
  counts_[8] = takeBelow(sigma_ * 4.0);
  counts_[9] = static_cast<int>(sorted.end() - next);
  for (int k = 0; k < NUMSLOTS; ++k) distribution_[k] = static_cast<double>(counts_[k]) / n;
}

int FitHistogram::GetTotalCount() const { return std::accumulate(counts_, counts_ + NUMSLOTS, 0); }

bool FitHistogram::Successful(double a, double b) const {
  const double belowSigma = std::accumulate(distribution_, distribution_ + 4, 0.0);
  if (belowSigma < a) return false;
  const double upToTwoSigma = std::accumulate(distribution_ + 4, distribution_ + 8, 0.0);
  return upToTwoSigma + belowSigma >= b;
}
