#ifndef PRIMFIT_FIT_FIT_OUTPUT_PARAMS_CONE_H_
#define PRIMFIT_FIT_FIT_OUTPUT_PARAMS_CONE_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_quality.h"

/// An infinite circular cone of two nappes.
class PRIMFIT_API FitOutputParamsCone {
 public:
  FitOutputParamsCone() = default;
  /// @param angle  half-angle between axis and surface, radians
  /// @param axis   normalised; a zero vector stays zero
  FitOutputParamsCone(const Eigen::Vector3d& apex, double angle, const Eigen::Vector3d& axis);
  FitOutputParamsCone(const FitOutputParamsCone&) = default;
  FitOutputParamsCone& operator=(const FitOutputParamsCone&) = default;
  virtual ~FitOutputParamsCone();
  /// Quality of the shape over n points (histogram scale 0.006); a null array or n < 1 gives an empty record.
  virtual FitQuality CalculateQuality(int n, const Eigen::Vector3d* points);

  Eigen::Vector3d Apex() const { return apex_; }
  double Angle() const { return angle_; }
  Eigen::Vector3d Axis() const { return axis_; }

 private:
  Eigen::Vector3d apex_ = Eigen::Vector3d::Zero();
  double angle_ = 0;
  Eigen::Vector3d axis_ = Eigen::Vector3d::Zero();
};

/// A cone between two axial coordinates, measured from the apex along Axis().
class PRIMFIT_API FitOutputParamsConeBounded : public FitOutputParamsCone {
 public:
  FitOutputParamsConeBounded() = default;
  FitOutputParamsConeBounded(const Eigen::Vector3d& apex, double angle, const Eigen::Vector3d& axis,
                             double height0, double height1)
      : FitOutputParamsCone(apex, angle, axis), height0_(height0), height1_(height1) {}
  double Height0() const { return height0_; }
  double Height1() const { return height1_; }

 private:
  double height0_ = 0;
  double height1_ = 0;
};

#endif  // PRIMFIT_FIT_FIT_OUTPUT_PARAMS_CONE_H_
