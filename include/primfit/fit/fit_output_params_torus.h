#ifndef PRIMFIT_FIT_FIT_OUTPUT_PARAMS_TORUS_H_
#define PRIMFIT_FIT_FIT_OUTPUT_PARAMS_TORUS_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_quality.h"

/// A ring torus.
class PRIMFIT_API FitOutputParamsTorus {
 public:
  FitOutputParamsTorus() = default;
  /// @param majorRadius  radius of the tube's centre circle
  /// @param minorRadius  radius of the tube
  /// @param axis         normalised; a zero vector stays zero
  FitOutputParamsTorus(const Eigen::Vector3d& center, double majorRadius, double minorRadius,
                       const Eigen::Vector3d& axis);
  FitOutputParamsTorus(const FitOutputParamsTorus&) = default;
  FitOutputParamsTorus& operator=(const FitOutputParamsTorus&) = default;
  virtual ~FitOutputParamsTorus();
  /// Quality of the shape over n points (histogram scale 0.006); a null array or n < 1 gives an empty record.
  virtual FitQuality CalculateQuality(int n, const Eigen::Vector3d* points);

  Eigen::Vector3d Center() const { return center_; }
  double MajorRadius() const { return majorRadius_; }
  double MinorRadius() const { return minorRadius_; }
  Eigen::Vector3d Axis() const { return axis_; }

 private:
  Eigen::Vector3d center_ = Eigen::Vector3d::Zero();
  double majorRadius_ = 0;
  double minorRadius_ = 0;
  Eigen::Vector3d axis_ = Eigen::Vector3d::Zero();
};

/// The part of a torus swept by Angle() about Axis(), starting in the direction XAxis() from the centre.
class PRIMFIT_API FitOutputParamsElbow : public FitOutputParamsTorus {
 public:
  FitOutputParamsElbow() = default;
  /// @param angle  swept angle, radians
  /// @param xAxis  normalised; a zero vector stays zero
  FitOutputParamsElbow(const Eigen::Vector3d& center, double majorRadius, double minorRadius,
                       const Eigen::Vector3d& axis, double angle, const Eigen::Vector3d& xAxis);
  double Angle() const { return angle_; }
  Eigen::Vector3d XAxis() const { return xAxis_; }

 private:
  double angle_ = 0;
  Eigen::Vector3d xAxis_ = Eigen::Vector3d::Zero();
};

#endif  // PRIMFIT_FIT_FIT_OUTPUT_PARAMS_TORUS_H_
