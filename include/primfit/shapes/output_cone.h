#ifndef PRIMFIT_SHAPES_OUTPUT_CONE_H_
#define PRIMFIT_SHAPES_OUTPUT_CONE_H_

#include "primfit/shapes/output_shape.h"

/// A circular cone of two nappes. Similarity is |a . a'|; close means a distance below t (not at it).
class PRIMFIT_API OutputCone : public OutputSurface {
 public:
  OutputCone(const OutputCone&) = default;
  /// @param angle  half-angle between axis and surface, radians
  /// @param axis   normalised; a zero vector stays zero
  OutputCone(const Eigen::Vector3d& apex, double angle, const Eigen::Vector3d& axis);
  OutputCone& operator=(const OutputCone&) = default;

  Eigen::Vector3d Apex() const { return apex_; }
  double Angle() const { return angle_; }
  Eigen::Vector3d Axis() const { return axis_; }

  double Distance(const Eigen::Vector3d& p) const override;
  double Similarity(const OutputShape* other) const override;
  void Printout(std::FILE* f) const override;
  Eigen::Vector3d ClosestPoint(const Eigen::Vector3d& p) const override;
  Eigen::Vector3d EvalNormal(const Eigen::Vector3d& p) const override;
  void SetDistSqrdThreshod(double t) override;
  bool IsClosePoint(const Eigen::Vector3d& p) override;
  double Difference(const OutputSurface* other, int n, const Eigen::Vector3d* points) const override;
  /// u is the angle about the axis from its unit orthogonal, v the height along the axis from the apex
  /// (signed).
  Eigen::Vector3d Eval(double u, double v) const override;

 protected:
  OutputCone() = default;

 private:
  Eigen::Vector3d apex_ = Eigen::Vector3d::Zero();
  double angle_ = 0;
  Eigen::Vector3d axis_ = Eigen::Vector3d::Zero();
  double sinAngle_ = 0;  // set with the band, for IsClosePoint alone
  double cosAngle_ = 0;
};

#endif  // PRIMFIT_SHAPES_OUTPUT_CONE_H_
