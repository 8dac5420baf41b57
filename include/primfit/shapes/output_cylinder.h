#ifndef PRIMFIT_SHAPES_OUTPUT_CYLINDER_H_
#define PRIMFIT_SHAPES_OUTPUT_CYLINDER_H_

#include "primfit/shapes/output_shape.h"

/// An infinite circular cylinder. Similarity is |a . a'| (r + r') + |r' - r| + |(c' - c) . a|, a measure
/// without bound.
class PRIMFIT_API OutputCylinder : public OutputSurface {
 public:
  OutputCylinder(const OutputCylinder&) = default;
  /// @param axis  normalised; a zero vector stays zero
  OutputCylinder(const Eigen::Vector3d& center, double radius, const Eigen::Vector3d& axis);
  OutputCylinder& operator=(const OutputCylinder&) = default;

  Eigen::Vector3d Center() const { return center_; }  ///< a point of the axis
  double Radius() const { return radius_; }
  Eigen::Vector3d Axis() const { return axis_; }

  double Distance(const Eigen::Vector3d& p) const override;
  double Similarity(const OutputShape* other) const override;
  void Printout(std::FILE* f) const override;
  Eigen::Vector3d ClosestPoint(const Eigen::Vector3d& p) const override;
  Eigen::Vector3d EvalNormal(const Eigen::Vector3d& p) const override;
  void SetDistSqrdThreshod(double t) override;
  bool IsClosePoint(const Eigen::Vector3d& p) override;
  double Difference(const OutputSurface* other, int n, const Eigen::Vector3d* points) const override;
  /// u is the angle about the axis from its unit orthogonal, v the height along the axis from Center().
  Eigen::Vector3d Eval(double u, double v) const override;

 protected:
  OutputCylinder() = default;

 private:
  Eigen::Vector3d center_ = Eigen::Vector3d::Zero();
  double radius_ = 0;
  Eigen::Vector3d axis_ = Eigen::Vector3d::Zero();
};

#endif  // PRIMFIT_SHAPES_OUTPUT_CYLINDER_H_
