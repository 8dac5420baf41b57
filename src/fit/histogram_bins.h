#ifndef PRIMFIT_SRC_FIT_HISTOGRAM_BINS_H_
#define PRIMFIT_SRC_FIT_HISTOGRAM_BINS_H_

#include <array>

namespace primfit {

/// Counts absolute residuals into the slots of FitHistogram, in one pass and in as many portions as come: a
/// sort of all residuals, for which FitHistogram needs an array, would take longer than measuring them.
class HistogramBins {
 public:
  static constexpr int kSlots = 10;

  /// @param sigma  the scale of the slots, at least 1e-6
  explicit HistogramBins(double sigma);
  /// A NaN is counted in the last slot, with the residuals of 4 sigma and more.
  void Add(const double* residuals, int n);
  std::array<int, kSlots> Counts() const;

 private:
  int SlotOf(double residual) const;

  std::array<double, kSlots> bounds_;  ///< below each slot
  double inverseWidth_;
  /// Four sets of counts, which take the residuals in turn. Neighbouring residuals often share a slot, and an
  /// addition to the same count would wait for the one before.
  std::array<std::array<int, kSlots>, 4> turns_{};
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_FIT_HISTOGRAM_BINS_H_
