#ifndef PRIMFIT_SRC_FIT_HISTOGRAM_BINS_H_
#define PRIMFIT_SRC_FIT_HISTOGRAM_BINS_H_

#include <array>

namespace primfit {

/// Counts absolute residuals into the slots of FitHistogram, in as many portions as come.
class HistogramBins {
 public:
  static constexpr int kSlots = 10;

  /// @param sigma  the raised scale of the slots
  explicit HistogramBins(double sigma);
  /// A NaN goes where the residuals without bound go.
  void Add(const double* residuals, int n);
  std::array<int, kSlots> Counts() const;

 private:
  int SlotOf(double residual) const;

  std::array<double, kSlots> bounds_;  ///< below each slot
  double inverseWidth_;
  /// Neighbouring residuals often share a slot: counting them in turns keeps each addition from waiting for
  /// the one before.
  std::array<std::array<int, kSlots>, 4> turns_{};
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_FIT_HISTOGRAM_BINS_H_
