#ifndef PRIMFIT_FIT_FIT_INPUT_PARAMS_H_
#define PRIMFIT_FIT_FIT_INPUT_PARAMS_H_

#include <algorithm>

#include "primfit/cxx20.h"
#include "primfit/export.h"

/// What every fit is told about its points. Values are stored as given; the entry points clamp them where
/// they use them, a NaN to the least of its range. Lengths are in the unit of the points' coordinates, shares
/// are fractions (0.2 is 20 %).
class PRIMFIT_API FitInputParamsBase {
 public:
  FitInputParamsBase(int sampleSize, double outlierPercentage, double successProbability,
                     double inlierDistanceThreshold)
      : sampleSize_(sampleSize),
        outlierPercentage_(outlierPercentage),
        successProbability_(successProbability),
        inlierDistanceThreshold_(inlierDistanceThreshold) {}
  FitInputParamsBase(const FitInputParamsBase&) = default;
  FitInputParamsBase& operator=(const FitInputParamsBase&) = default;
  virtual ~FitInputParamsBase();

  /// Points in one random sample of the search. Equal to the number of points handed to a fit it means: use
  /// them all. Then nothing is sub-sampled, the shape is estimated from all points at once and all count as
  /// close.
  int SampleSize() const { return sampleSize_; }
  /// Expected share of outliers. At 0 the search draws no sample (it would be sure of any) and the fit fails,
  /// unless the scanner error is below 1e-6 too, which estimates the shape from all points.
  double OutlierPercentage() const { return outlierPercentage_; }
  /// Probability with which the search is to meet at least one sample without outliers.
  double SuccessProbability() const { return successProbability_; }
  /// Distance within which a point counts as close to the fitted shape; used as at least 0.001.
  double InlierDistanceThreshold() const { return inlierDistanceThreshold_; }

  /// Stores at least 2.
  void SetSampleSize(int value) { sampleSize_ = std::max(2, value); }
  void SetOutlierPercentage(double value) { outlierPercentage_ = value; }
  void SetSuccessProbability(double value) { successProbability_ = value; }
  void SetInlierDistanceThreshold(double value) { inlierDistanceThreshold_ = value; }

 private:
  int sampleSize_;
  double outlierPercentage_;
  double successProbability_;
  double inlierDistanceThreshold_;
};

/// Input of a parameterised fit; C is one of the FitConstraints records. Defaults: the shape's sample size,
/// 20 % outliers, probability 0.99, tolerance 0.012, scanner error 0.006 (millimetre scans in metres).
template <class C>
class PRIMFIT_API FitInputParams : public FitInputParamsBase {
 public:
  /// @param constraints       not owned, may be null; it and the shape it points at must outlive every fit
  /// with it
  /// @param skipEstimator     start from the constraints' shape instead of estimating one
  /// @param outputAnyQuality  return the shape even when the residual histogram fails the success test
  explicit FitInputParams(const C* constraints = nullptr, bool skipEstimator = false,
                          bool outputAnyQuality = false)
      : FitInputParamsBase(C::kDefaultSampleSize, 0.2, 0.99, 0.012),
        skipEstimator_(skipEstimator),
        outputAnyQuality_(outputAnyQuality),
        constraints_(constraints) {}
  FitInputParams(const FitInputParams&) = default;
  FitInputParams& operator=(const FitInputParams&) = default;
  ~FitInputParams() override = default;

  const C* Constraints() const { return constraints_; }
  bool SkipEstimator() const { return skipEstimator_; }
  bool OutputAnyQuality() const { return outputAnyQuality_; }
  bool OptimizeOnce() const { return optimizeOnce_; }
  double ScannerError() const { return scannerError_; }

  /// Refine once, after the search instead of inside it, with the worst fifth of the points screened out.
  void SetOptimizeOnce() { optimizeOnce_ = true; }
  /// The scanner's distance error: tolerance of the refinement and scale of the histogram; used within [0,
  /// 1].
  void SetScannerError(double value) { scannerError_ = value; }

 private:
  bool skipEstimator_;
  bool outputAnyQuality_;
  double scannerError_ = 0.006;
  bool optimizeOnce_ = false;
  const C* constraints_;
};

#endif  // PRIMFIT_FIT_FIT_INPUT_PARAMS_H_
