#ifndef PRIMFIT_FIT_FIT_OUTPUT_PARAMS_SPHERE_H_
#define PRIMFIT_FIT_FIT_OUTPUT_PARAMS_SPHERE_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_quality.h"

/// A sphere.
class PRIMFIT_API FitOutputParamsSphere {
 public:
  FitOutputParamsSphere() = default;
  FitOutputParamsSphere(const Eigen::Vector3d& center, double radius) : center_(center), radius_(radius) {}

  Eigen::Vector3d Center() const { return center_; }
  double Radius() const { return radius_; }
  /// Quality of the shape over n points (histogram scale 0.006); a null array or n < 1 gives an empty record.
  virtual FitQuality CalculateQuality(int n, const Eigen::Vector3d* points);

 private:
  Eigen::Vector3d center_ = Eigen::Vector3d::Zero();
  double radius_ = 0;
};

#endif  // PRIMFIT_FIT_FIT_OUTPUT_PARAMS_SPHERE_H_
