#ifndef PRIMFIT_SHAPES_OUTPUT_SPHERE_H_
#define PRIMFIT_SHAPES_OUTPUT_SPHERE_H_

#include "primfit/shapes/output_shape.h"

/// A sphere. Similarity is sqrt(1 - |c - c'|^2), 0 for centres farther than 1.
class PRIMFIT_API OutputSphere : public OutputSurface {
 public:
  OutputSphere(const OutputSphere&) = default;
  OutputSphere(const Eigen::Vector3d& center, double radius);
  OutputSphere& operator=(const OutputSphere&) = default;

  Eigen::Vector3d Center() const { return center_; }
  double Radius() const { return radius_; }

  double Distance(const Eigen::Vector3d& p) const override;
  double Similarity(const OutputShape* other) const override;
  void Printout(std::FILE* f) const override;
  Eigen::Vector3d ClosestPoint(const Eigen::Vector3d& p) const override;
  Eigen::Vector3d EvalNormal(const Eigen::Vector3d& p) const override;
  void SetDistSqrdThreshod(double t) override;
  bool IsClosePoint(const Eigen::Vector3d& p) override;
  double Difference(const OutputSurface* other, int n, const Eigen::Vector3d* points) const override;
  /// u is the elevation from the x-y plane, v the azimuth from x.
  Eigen::Vector3d Eval(double u, double v) const override;

 protected:
  OutputSphere() = default;

 private:
  Eigen::Vector3d center_ = Eigen::Vector3d::Zero();
  double radius_ = 0;
};

#endif  // PRIMFIT_SHAPES_OUTPUT_SPHERE_H_
