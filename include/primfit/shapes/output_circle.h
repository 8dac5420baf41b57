#ifndef PRIMFIT_SHAPES_OUTPUT_CIRCLE_H_
#define PRIMFIT_SHAPES_OUTPUT_CIRCLE_H_

#include "primfit/shapes/output_shape.h"

/// A circle. Close tests only the distance from the axis, against r +- t, so the whole cylindrical shell
/// about the axis counts; Distance is the three-dimensional one. Similarity is sqrt(1 - |c - c'|^2), 0 for
/// centres farther than 1.
class PRIMFIT_API OutputCircle : public OutputCurve {
 public:
  OutputCircle() = default;
  OutputCircle(const OutputCircle&) = default;
  /// @param axis  normalised; a zero vector stays zero
  OutputCircle(const Eigen::Vector3d& center, double radius, const Eigen::Vector3d& axis);
  OutputCircle& operator=(const OutputCircle&) = default;

  Eigen::Vector3d Center() const { return center_; }
  double Radius() const { return radius_; }
  Eigen::Vector3d Axis() const { return axis_; }

  double Distance(const Eigen::Vector3d& p) const override;
  double Similarity(const OutputShape* other) const override;
  void Printout(std::FILE* f) const override;
  Eigen::Vector3d ClosestPoint(const Eigen::Vector3d& p) const override;
  Eigen::Vector3d EvalNormal(const Eigen::Vector3d& p) const override;
  void SetDistSqrdThreshod(double t) override;
  bool IsClosePoint(const Eigen::Vector3d& p) override;
  /// The angle t is measured about the axis from its unit orthogonal.
  Eigen::Vector3d Eval(double t) const override;

 private:
  Eigen::Vector3d center_ = Eigen::Vector3d::Zero();
  double radius_ = 0;
  Eigen::Vector3d axis_ = Eigen::Vector3d::Zero();
};

#endif  // PRIMFIT_SHAPES_OUTPUT_CIRCLE_H_
