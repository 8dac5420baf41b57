// The histogram of residuals by which a fit is accepted or refused.
#include "primfit/fit/fit_histogram.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "fit/histogram_bins.h"

FitHistogram::FitHistogram() : sigma_(-1.0) {}

FitHistogram::FitHistogram(double sigma) : sigma_(std::abs(sigma) < 1e-6 ? 1e-6 : std::abs(sigma)) {}

FitHistogram::FitHistogram(double sigma, const double* residuals, int n) : FitHistogram(sigma) {
  Calculate(residuals, n);
}

void FitHistogram::Calculate(const double* residuals, int n) {
  if (n < 1) return;
  primfit::HistogramBins bins(sigma_);
  bins.Add(residuals, n);
  Take(bins, n);
}

void FitHistogram::Take(const primfit::HistogramBins& bins, int n) {
  const auto counts = bins.Counts();
  for (int k = 0; k < NUMSLOTS; ++k) {
    counts_[k] = counts[k];
    distribution_[k] = static_cast<double>(counts_[k]) / n;
  }
}

int FitHistogram::GetTotalCount() const { return std::accumulate(counts_, counts_ + NUMSLOTS, 0); }

bool FitHistogram::Successful(double a, double b) const {
  const double belowSigma = std::accumulate(distribution_, distribution_ + 4, 0.0);
  if (belowSigma < a) return false;
  const double upToTwoSigma = std::accumulate(distribution_ + 4, distribution_ + 8, 0.0);
  return upToTwoSigma + belowSigma >= b;
}
