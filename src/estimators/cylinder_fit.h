#ifndef PRIMFIT_SRC_ESTIMATORS_CYLINDER_FIT_H_
#define PRIMFIT_SRC_ESTIMATORS_CYLINDER_FIT_H_

#include "estimators/polynomial_fit.h"

/// Cylinder from a least-squares quadric: the axis is the direction in which the quadric does not curve, axis
/// point and radius are those of the algebraic circle of the points seen along it. The point lies in the
/// plane through the reference point perpendicular to the axis.
class CylinderFit : public PolynomialFit {
 public:
  CylinderFit(int count, const Eigen::Vector3d* points) : PolynomialFit(count, points) {}
  /// @return a new OutputCylinder, or null for points that determine none
  OutputShape* Solve() override;

 protected:
  CylinderFit(const Eigen::Vector3d& center, int count, const Eigen::Vector3d* points)
      : PolynomialFit(center, count, points) {}
};

/// The same about a reference point of the caller's.
class CylinderFitSeed final : public CylinderFit {
 public:
  /// @param seedRadius  the radius expected; takes no part in the estimate
  CylinderFitSeed(const Eigen::Vector3d& center, double seedRadius, int count, const Eigen::Vector3d* points)
      : CylinderFit(center, count, points), seedRadius_(seedRadius) {}
  double SeedRadius() const { return seedRadius_; }

 private:
  double seedRadius_;
};

#endif  // PRIMFIT_SRC_ESTIMATORS_CYLINDER_FIT_H_
