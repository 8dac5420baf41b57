#ifndef PRIMFIT_FIT_FIT_QUALITY_H_
#define PRIMFIT_FIT_FIT_QUALITY_H_

#include "primfit/export.h"
#include "primfit/fit/fit_histogram.h"

/// How well a shape fits a set of points: statistics of the signed distances d_i of the n points, in the unit
/// of their coordinates. Lines and circles have no sides, so there meanSignedDistance equals meanDistance.
class PRIMFIT_API FitQuality {
 public:
  FitQuality() = default;
  FitQuality(double rms, double mean, double meanSigned, double max, const FitHistogram& h)
      : rmsDistance(rms),
        meanDistance(mean),
        meanSignedDistance(meanSigned),
        maxDistance(max),
        histogram(h) {}

  /// Number of residuals that the record was computed from.
  int GetInlierCount() const { return histogram.GetTotalCount(); }

  double rmsDistance = 0;         ///< sqrt(sum d_i^2 / n)
  double meanDistance = 0;        ///< sum |d_i| / n
  double meanSignedDistance = 0;  ///< sum d_i / n: a bias to one side
  double maxDistance = 0;         ///< max |d_i|
  FitHistogram histogram;         ///< of the |d_i|
};

#endif  // PRIMFIT_FIT_FIT_QUALITY_H_
