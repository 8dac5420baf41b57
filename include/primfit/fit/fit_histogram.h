#ifndef PRIMFIT_FIT_FIT_HISTOGRAM_H_
#define PRIMFIT_FIT_FIT_HISTOGRAM_H_

#include "primfit/cxx20.h"
#include "primfit/export.h"

class OutputShape;
namespace primfit {
class HistogramBins;
}

/// Distribution of absolute residuals over ten slots scaled by the scanner's distance error sigma:
/// slots 0 to 7 are [k, k + 1) * sigma / 4, slot 8 is [2, 4) * sigma, slot 9 is everything from 4 * sigma on.
/// A residual exactly on a bound falls into the higher slot. Slot indices are not checked: 0 <= k < 10.
class PRIMFIT_API FitHistogram {
 public:
  /// An empty histogram: Sigma() is -1, every slot is 0.
  FitHistogram();
  /// @param sigma      scale of the slots, unit of the residuals; used by magnitude, raised to 1e-6 below
  /// that
  /// @param residuals  n absolute residuals; not kept. A NaN is counted in the last slot
  /// @param n          below 1 leaves every slot at 0
  FitHistogram(double sigma, const double* residuals, int n);

  double Sigma() const { return sigma_; }
  double CountOnSlot(int k) const { return counts_[k]; }
  /// Share of all residuals that fell into slot k. "Splot" stands for slot here and below: the spellings are
  /// exported, and callers link against them.
  double DistributionOnSplot(int k) const { return distribution_[k]; }
  /// The number of slots, 10.
  static int NumberSplots() { return NUMSLOTS; }
  int GetTotalCount() const;
  /// Whether a share of at least a of the residuals is below sigma and at least b below 2 sigma.
  bool Successful(double a, double b) const;

 protected:
  void Calculate(const double* residuals, int n);

 private:
  friend class OutputShape;  // which counts residuals as it takes them
  explicit FitHistogram(double sigma);
  void Take(const primfit::HistogramBins& bins, int n);

  static const int NUMSLOTS = 10;
  double sigma_;
  int counts_[NUMSLOTS] = {};
  double distribution_[NUMSLOTS] = {};
};

#endif  // PRIMFIT_FIT_FIT_HISTOGRAM_H_
