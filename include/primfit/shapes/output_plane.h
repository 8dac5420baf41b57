#ifndef PRIMFIT_SHAPES_OUTPUT_PLANE_H_
#define PRIMFIT_SHAPES_OUTPUT_PLANE_H_

#include "primfit/shapes/output_shape.h"

/// A plane. Similarity is |n . n'|; close means a distance of at most t.
class PRIMFIT_API OutputPlane : public OutputSurface {
 public:
  OutputPlane(const OutputPlane&) = default;
  /// @param normal  normalised; a zero vector stays zero
  OutputPlane(const Eigen::Vector3d& center, const Eigen::Vector3d& normal);
  OutputPlane& operator=(const OutputPlane&) = default;

  Eigen::Vector3d Center() const { return center_; }
  Eigen::Vector3d Normal() const { return normal_; }  ///< fixes the sign of Distance

  double Distance(const Eigen::Vector3d& p) const override;
  double Similarity(const OutputShape* other) const override;
  void Printout(std::FILE* f) const override;
  Eigen::Vector3d ClosestPoint(const Eigen::Vector3d& p) const override;
  Eigen::Vector3d EvalNormal(const Eigen::Vector3d& p) const override;
  void SetDistSqrdThreshod(double t) override;
  bool IsClosePoint(const Eigen::Vector3d& p) override;
  double Difference(const OutputSurface* other, int n, const Eigen::Vector3d* points) const override;
  /// u runs along the unit orthogonal e1 of the normal n, v along n x e1.
  Eigen::Vector3d Eval(double u, double v) const override;

 protected:
  OutputPlane() = default;

 private:
  Eigen::Vector3d center_ = Eigen::Vector3d::Zero();
  Eigen::Vector3d normal_ = Eigen::Vector3d::Zero();
};

#endif  // PRIMFIT_SHAPES_OUTPUT_PLANE_H_
