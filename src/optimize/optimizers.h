// The optimizers of the primitives. Each names the parts that it can hold and how its shape becomes a start
// vector and back; everything else is OptimizerOf.
#ifndef PRIMFIT_SRC_OPTIMIZE_OPTIMIZERS_H_
#define PRIMFIT_SRC_OPTIMIZE_OPTIMIZERS_H_

#include "optimize/held.h"
#include "optimize/models.h"
#include "optimize/optimizer_of.h"

/// Refines a line within the plane spanned by its direction d and N x d, N its reference normal.
class LineOptimizer final : public primfit::OptimizerOf<LineOptimizer, OutputLine, TRLine> {
 public:
  using OptimizerOf::OptimizerOf;
  void FixRoot(const Eigen::Vector3d& root) { root_ = root; }
  void FixDirection(const Eigen::Vector3d& direction) { direction_ = direction; }

 private:
  friend class OptimizerOf;
  OutputShape* Refine(const OutputLine& start, const primfit::PointRefs& points) const;
  void HoldParts(TRLine& model) const;
  primfit::HeldVector root_, direction_;
};

/// Refines centre and radius of a circle within its plane.
class CircleOptimizer final : public primfit::OptimizerOf<CircleOptimizer, OutputCircle, TRCircle> {
 public:
  using OptimizerOf::OptimizerOf;
  void FixCenter(const Eigen::Vector3d& center) { center_ = center; }
  void FixRadius(double radius) { radius_ = radius; }

 private:
  friend class OptimizerOf;
  OutputShape* Refine(const OutputCircle& start, const primfit::PointRefs& points) const;
  void HoldParts(TRCircle& model) const;
  primfit::HeldVector center_;
  primfit::HeldNumber radius_;
};

class PlaneOptimizer final : public primfit::OptimizerOf<PlaneOptimizer, OutputPlane, TRPlane> {
 public:
  using OptimizerOf::OptimizerOf;
  void FixOrigin(const Eigen::Vector3d& origin) { origin_ = origin; }
  void FixNormal(const Eigen::Vector3d& normal) { normal_ = normal; }

 private:
  friend class OptimizerOf;
  OutputShape* Refine(const OutputPlane& start, const primfit::PointRefs& points) const;
  void HoldParts(TRPlane& model) const;
  primfit::HeldVector origin_, normal_;
};

class SphereOptimizer final : public primfit::OptimizerOf<SphereOptimizer, OutputSphere, TRSphere> {
 public:
  using OptimizerOf::OptimizerOf;
  void FixCenter(const Eigen::Vector3d& center) { center_ = center; }
  void FixRadius(double radius) { radius_ = radius; }

 private:
  friend class OptimizerOf;
  OutputShape* Refine(const OutputSphere& start, const primfit::PointRefs& points) const;
  void HoldParts(TRSphere& model) const;
  primfit::HeldVector center_;
  primfit::HeldNumber radius_;
};

class CylinderOptimizer final : public primfit::OptimizerOf<CylinderOptimizer, OutputCylinder, TRCylinder> {
 public:
  using OptimizerOf::OptimizerOf;
  void FixOrigin(const Eigen::Vector3d& origin) { origin_ = origin; }
  void FixRadius(double radius) { radius_ = radius; }
  void FixAxis(const Eigen::Vector3d& axis) { axis_ = axis; }

 private:
  friend class OptimizerOf;
  OutputShape* Refine(const OutputCylinder& start, const primfit::PointRefs& points) const;
  void HoldParts(TRCylinder& model) const;
  primfit::HeldVector origin_, axis_;
  primfit::HeldNumber radius_;
};

class ConeOptimizer final : public primfit::OptimizerOf<ConeOptimizer, OutputCone, TRCone> {
 public:
  using OptimizerOf::OptimizerOf;
  void FixApex(const Eigen::Vector3d& apex) { apex_ = apex; }
  void FixAngle(double angle) { angle_ = angle; }
  void FixAxis(const Eigen::Vector3d& axis) { axis_ = axis; }

 private:
  friend class OptimizerOf;
  OutputShape* Refine(const OutputCone& start, const primfit::PointRefs& points) const;
  void HoldParts(TRCone& model) const;
  primfit::HeldVector apex_, axis_;
  primfit::HeldNumber angle_;
};

class TorusOptimizer final : public primfit::OptimizerOf<TorusOptimizer, OutputTorus, TRTorus> {
 public:
  using OptimizerOf::OptimizerOf;
  void FixCenter(const Eigen::Vector3d& center) { center_ = center; }
  void FixMajorRadius(double radius) { majorRadius_ = radius; }
  void FixMinorRadius(double radius) { minorRadius_ = radius; }
  void FixAxis(const Eigen::Vector3d& axis) { axis_ = axis; }

 private:
  friend class OptimizerOf;
  OutputShape* Refine(const OutputTorus& start, const primfit::PointRefs& points) const;
  void HoldParts(TRTorus& model) const;
  primfit::HeldVector center_, axis_;
  primfit::HeldNumber majorRadius_, minorRadius_;
};

/// Refines the bend radius and turn of a torus whose tube contains a given circle.
class TorusProfileOptimizer final
    : public primfit::OptimizerOf<TorusProfileOptimizer, OutputTorus, TRTorusProfile> {
 public:
  /// @param center  centre P of the cross-section
  /// @param radius  radius r of the tube
  /// @param normal  normal T of the cross-section: the direction of the tube there
  TorusProfileOptimizer(double tolerance, bool screen, const Eigen::Vector3d& center, double radius,
                        const Eigen::Vector3d& normal)
      : OptimizerOf(tolerance, screen, nullptr), center_(center), radius_(radius), normal_(normal) {}

 private:
  friend class OptimizerOf;
  OutputShape* Refine(const OutputTorus& start, const primfit::PointRefs& points) const;
  void HoldParts(TRTorusProfile&) const {}
  Eigen::Vector3d center_;
  double radius_;
  Eigen::Vector3d normal_;
};

#endif  // PRIMFIT_SRC_OPTIMIZE_OPTIMIZERS_H_
