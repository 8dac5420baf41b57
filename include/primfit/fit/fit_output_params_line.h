#ifndef PRIMFIT_FIT_FIT_OUTPUT_PARAMS_LINE_H_
#define PRIMFIT_FIT_FIT_OUTPUT_PARAMS_LINE_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_quality.h"

/// A line segment.
class PRIMFIT_API FitOutputParamsLine {
 public:
  FitOutputParamsLine() = default;
  /// @param direction  normalised; a zero vector stays zero
  FitOutputParamsLine(const Eigen::Vector3d& root, const Eigen::Vector3d& direction, double length);

  Eigen::Vector3d Root() const { return root_; }            ///< start point
  Eigen::Vector3d Direction() const { return direction_; }  ///< unit vector towards the end point
  double Length() const { return length_; }
  Eigen::Vector3d EndPoint() const { return root_ + length_ * direction_; }
  /// Quality of the shape over n points (histogram scale 0.006); a null array or n < 1 gives an empty record.
  virtual FitQuality CalculateQuality(int n, const Eigen::Vector3d* points);

 private:
  Eigen::Vector3d root_ = Eigen::Vector3d::Zero();
  Eigen::Vector3d direction_ = Eigen::Vector3d::Zero();
  double length_ = 0;
};

#endif  // PRIMFIT_FIT_FIT_OUTPUT_PARAMS_LINE_H_
