#ifndef PRIMFIT_FIT_FIT_OUTPUT_PARAMS_ARC_H_
#define PRIMFIT_FIT_FIT_OUTPUT_PARAMS_ARC_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_quality.h"

/// An arc of a circle, swept by Angle() from XAxis() towards YAxis().
class PRIMFIT_API FitOutputParamsArc {
 public:
  FitOutputParamsArc() = default;
  /// Each axis is normalised on its own; they are not made perpendicular.
  /// @param angle  swept angle, radians
  FitOutputParamsArc(const Eigen::Vector3d& center, double radius, const Eigen::Vector3d& xAxis,
                     const Eigen::Vector3d& yAxis, double angle);
  /// A full circle about `normal`; shorter than 1e-10, the circle lies in the x-y plane.
  FitOutputParamsArc(const Eigen::Vector3d& center, double radius, const Eigen::Vector3d& normal);

  Eigen::Vector3d Center() const { return center_; }
  double Radius() const { return radius_; }
  Eigen::Vector3d XAxis() const { return xAxis_; }  ///< unit vector towards the start point
  Eigen::Vector3d YAxis() const { return yAxis_; }
  double Angle() const { return angle_; }
  Eigen::Vector3d StartPoint() const { return center_ + radius_ * xAxis_; }
  Eigen::Vector3d EndPoint() const;
  /// Quality of the shape over n points (histogram scale 0.006); a null array or n < 1 gives an empty record.
  virtual FitQuality CalculateQuality(int n, const Eigen::Vector3d* points);

 private:
  Eigen::Vector3d center_ = Eigen::Vector3d::Zero();
  double radius_ = 0;
  Eigen::Vector3d xAxis_ = Eigen::Vector3d::Zero();
  Eigen::Vector3d yAxis_ = Eigen::Vector3d::Zero();
  double angle_ = 0;
};

#endif  // PRIMFIT_FIT_FIT_OUTPUT_PARAMS_ARC_H_
