#ifndef PRIMFIT_SHAPES_OUTPUT_TORUS_H_
#define PRIMFIT_SHAPES_OUTPUT_TORUS_H_

#include "primfit/shapes/output_shape.h"

/// A ring torus. Similarity is |a . a'|.
class PRIMFIT_API OutputTorus : public OutputSurface {
 public:
  OutputTorus(const OutputTorus&) = default;
  /// @param majorRadius  radius of the tube's centre circle
  /// @param minorRadius  radius of the tube
  /// @param axis         normalised; a zero vector stays zero
  OutputTorus(const Eigen::Vector3d& center, double majorRadius, double minorRadius,
              const Eigen::Vector3d& axis);
  OutputTorus& operator=(const OutputTorus&) = default;

  Eigen::Vector3d Center() const { return center_; }
  double MajorRadius() const { return majorRadius_; }
  double MinorRadius() const { return minorRadius_; }
  Eigen::Vector3d Axis() const { return axis_; }

  double Distance(const Eigen::Vector3d& p) const override;
  double Similarity(const OutputShape* other) const override;
  void Printout(std::FILE* f) const override;
  Eigen::Vector3d ClosestPoint(const Eigen::Vector3d& p) const override;
  Eigen::Vector3d EvalNormal(const Eigen::Vector3d& p) const override;
  void SetDistSqrdThreshod(double t) override;
  bool IsClosePoint(const Eigen::Vector3d& p) override;
  double Difference(const OutputSurface* other, int n, const Eigen::Vector3d* points) const override;
  /// u is the angle about the axis from its unit orthogonal, v the angle about the tube from the outer
  /// equator.
  Eigen::Vector3d Eval(double u, double v) const override;

 protected:
  OutputTorus() = default;

 private:
  Eigen::Vector3d center_ = Eigen::Vector3d::Zero();
  double majorRadius_ = 0;
  double minorRadius_ = 0;
  Eigen::Vector3d axis_ = Eigen::Vector3d::Zero();
};

#endif  // PRIMFIT_SHAPES_OUTPUT_TORUS_H_
