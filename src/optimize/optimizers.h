// The optimizers of the primitives: which parts each can hold. What Optimize does stands in optimizers.cpp
// from top to bottom, once for each: take the start shape, screen the points, make the residual model, hold,
// refine, and make the shape of the solved numbers.
#ifndef PRIMFIT_SRC_OPTIMIZE_OPTIMIZERS_H_
#define PRIMFIT_SRC_OPTIMIZE_OPTIMIZERS_H_

#include <Eigen/Core>
#include <optional>

#include "optimize/tr_optimizer.h"
#include "primfit/shapes/output_circle.h"
#include "primfit/shapes/output_cone.h"
#include "primfit/shapes/output_cylinder.h"
#include "primfit/shapes/output_line.h"
#include "primfit/shapes/output_plane.h"
#include "primfit/shapes/output_sphere.h"
#include "primfit/shapes/output_torus.h"

/// Refines a line within the plane spanned by its direction d and N x d, N its reference normal.
class LineOptimizer final : public TROptimizer {
 public:
  using TROptimizer::TROptimizer;
  OutputShape* Optimize(int n, const Eigen::Vector3d* points, const OutputShape* start) const override;
  void FixRoot(const Eigen::Vector3d& root) { root_ = root; }
  void FixDirection(const Eigen::Vector3d& direction) { direction_ = direction; }

 private:
  std::optional<Eigen::Vector3d> root_, direction_;
};

/// Refines centre and radius of a circle within its plane.
class CircleOptimizer final : public TROptimizer {
 public:
  using TROptimizer::TROptimizer;
  OutputShape* Optimize(int n, const Eigen::Vector3d* points, const OutputShape* start) const override;
  void FixCenter(const Eigen::Vector3d& center) { center_ = center; }
  void FixRadius(double radius) { radius_ = radius; }

 private:
  std::optional<Eigen::Vector3d> center_;
  std::optional<double> radius_;
};

class PlaneOptimizer final : public TROptimizer {
 public:
  using TROptimizer::TROptimizer;
  OutputShape* Optimize(int n, const Eigen::Vector3d* points, const OutputShape* start) const override;
  void FixOrigin(const Eigen::Vector3d& origin) { origin_ = origin; }
  void FixNormal(const Eigen::Vector3d& normal) { normal_ = normal; }

 private:
  std::optional<Eigen::Vector3d> origin_, normal_;
};

class SphereOptimizer final : public TROptimizer {
 public:
  using TROptimizer::TROptimizer;
  OutputShape* Optimize(int n, const Eigen::Vector3d* points, const OutputShape* start) const override;
  void FixCenter(const Eigen::Vector3d& center) { center_ = center; }
  void FixRadius(double radius) { radius_ = radius; }

 private:
  std::optional<Eigen::Vector3d> center_;
  std::optional<double> radius_;
};

class CylinderOptimizer final : public TROptimizer {
 public:
  using TROptimizer::TROptimizer;
  OutputShape* Optimize(int n, const Eigen::Vector3d* points, const OutputShape* start) const override;
  void FixOrigin(const Eigen::Vector3d& origin) { origin_ = origin; }
  void FixRadius(double radius) { radius_ = radius; }
  void FixAxis(const Eigen::Vector3d& axis) { axis_ = axis; }

 private:
  std::optional<Eigen::Vector3d> origin_, axis_;
  std::optional<double> radius_;
};

class ConeOptimizer final : public TROptimizer {
 public:
  using TROptimizer::TROptimizer;
  OutputShape* Optimize(int n, const Eigen::Vector3d* points, const OutputShape* start) const override;
  void FixApex(const Eigen::Vector3d& apex) { apex_ = apex; }
  void FixAngle(double angle) { angle_ = angle; }
  void FixAxis(const Eigen::Vector3d& axis) { axis_ = axis; }

 private:
  std::optional<Eigen::Vector3d> apex_, axis_;
  std::optional<double> angle_;
};

class TorusOptimizer final : public TROptimizer {
 public:
  using TROptimizer::TROptimizer;
  OutputShape* Optimize(int n, const Eigen::Vector3d* points, const OutputShape* start) const override;
  void FixCenter(const Eigen::Vector3d& center) { center_ = center; }
  void FixMajorRadius(double radius) { majorRadius_ = radius; }
  void FixMinorRadius(double radius) { minorRadius_ = radius; }
  void FixAxis(const Eigen::Vector3d& axis) { axis_ = axis; }

 private:
  std::optional<Eigen::Vector3d> center_, axis_;
  std::optional<double> majorRadius_, minorRadius_;
};

/// Refines the bend radius and turn of a torus whose tube contains a given circle.
class TorusProfileOptimizer final : public TROptimizer {
 public:
  /// @param center  centre P of the cross-section
  /// @param radius  radius r of the tube
  /// @param normal  normal T of the cross-section: the direction of the tube there
  TorusProfileOptimizer(double tolerance, bool screen, const Eigen::Vector3d& center, double radius,
                        const Eigen::Vector3d& normal)
      : TROptimizer(tolerance, screen, nullptr), center_(center), radius_(radius), normal_(normal) {}
  OutputShape* Optimize(int n, const Eigen::Vector3d* points, const OutputShape* start) const override;

 private:
  Eigen::Vector3d center_;
  double radius_;
  Eigen::Vector3d normal_;
};

#endif  // PRIMFIT_SRC_OPTIMIZE_OPTIMIZERS_H_
