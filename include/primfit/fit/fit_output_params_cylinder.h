#ifndef PRIMFIT_FIT_FIT_OUTPUT_PARAMS_CYLINDER_H_
#define PRIMFIT_FIT_FIT_OUTPUT_PARAMS_CYLINDER_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_quality.h"

/// An infinite circular cylinder.
class PRIMFIT_API FitOutputParamsCylinder {
 public:
  FitOutputParamsCylinder() = default;
  /// @param axis  normalised; a zero vector stays zero
  FitOutputParamsCylinder(const Eigen::Vector3d& origin, double radius, const Eigen::Vector3d& axis);
  FitOutputParamsCylinder(const FitOutputParamsCylinder&) = default;
  FitOutputParamsCylinder& operator=(const FitOutputParamsCylinder&) = default;
  virtual ~FitOutputParamsCylinder();
  /// Quality of the shape over n points (histogram scale 0.006); a null array or n < 1 gives an empty record.
  virtual FitQuality CalculateQuality(int n, const Eigen::Vector3d* points);

  Eigen::Vector3d Origin() const { return origin_; }  ///< a point of the axis
  double Radius() const { return radius_; }
  Eigen::Vector3d Axis() const { return axis_; }  ///< unit vector; its sign is arbitrary

 private:
  Eigen::Vector3d origin_ = Eigen::Vector3d::Zero();
  double radius_ = 0;
  Eigen::Vector3d axis_ = Eigen::Vector3d::Zero();
};

/// A cylinder from Origin() along Axis() for Height().
class PRIMFIT_API FitOutputParamsCylinderBounded : public FitOutputParamsCylinder {
 public:
  FitOutputParamsCylinderBounded() = default;
  FitOutputParamsCylinderBounded(const Eigen::Vector3d& origin, double radius, const Eigen::Vector3d& axis,
                                 double height)
      : FitOutputParamsCylinder(origin, radius, axis), height_(height) {}
  double Height() const { return height_; }

 private:
  double height_ = 0;
};

#endif  // PRIMFIT_FIT_FIT_OUTPUT_PARAMS_CYLINDER_H_
