// The eight residual models, each with the parameters that it has, the parts that can be held, and what is
// read back after a successful Refine. The formula of each is that of the shape's signed distance e.
#ifndef PRIMFIT_SRC_OPTIMIZE_MODELS_H_
#define PRIMFIT_SRC_OPTIMIZE_MODELS_H_

#include <Eigen/Core>
#include <optional>

#include "optimize/residual_model.h"

/// A line of the x-y plane: its distance rho from the origin along the normal n, and the angle theta of its
/// direction. e = n . (p - rho n) with n = (-sin theta, cos theta, 0).
class TRLine final : public primfit::ResidualModel {
 public:
  /// @param points  `count` pointers to points; the array and the points outlive the model
  TRLine(int count, const Eigen::Vector3d* const* points, double tolerance)
      : TRLine({count, nullptr, points}, tolerance) {}
  TRLine(const primfit::PointRefs& points, double tolerance);
  void FixRoot(const Eigen::Vector3d& root) { HoldCenter(root); }
  void FixDirection(const Eigen::Vector3d& direction);
  void GetResult(Eigen::Vector3d& root, Eigen::Vector3d& direction) const;

 private:
  std::optional<Eigen::Vector3d> direction_;
};

/// A circle of the x-y plane: centre x, y, then radius. e = |p - c| - R, which for points of the plane is the
/// distance.
class TRCircle final : public primfit::ResidualModel {
 public:
  TRCircle(int count, const Eigen::Vector3d* const* points, double tolerance)
      : TRCircle({count, nullptr, points}, tolerance) {}
  TRCircle(const primfit::PointRefs& points, double tolerance);
  void FixCenter(const Eigen::Vector3d& center) { HoldCenter(center); }
  void FixRadius(double radius) { HoldMinor(radius); }
  void GetResult(Eigen::Vector3d& center, double& radius) const;
};

/// A plane: distance rho of the origin along the normal n, then the angles of n. e = n . (p - rho n).
class TRPlane final : public primfit::ResidualModel {
 public:
  TRPlane(int count, const Eigen::Vector3d* const* points, double tolerance)
      : TRPlane({count, nullptr, points}, tolerance) {}
  TRPlane(const primfit::PointRefs& points, double tolerance);
  void FixOrigin(const Eigen::Vector3d& origin) { HoldCenter(origin); }
  void FixNormal(const Eigen::Vector3d& normal) { HoldAxis(normal); }
  void GetResult(Eigen::Vector3d& origin, Eigen::Vector3d& normal) const;
};

/// A sphere: centre, radius. e = |p - c| - R.
class TRSphere final : public primfit::ResidualModel {
 public:
  TRSphere(int count, const Eigen::Vector3d* const* points, double tolerance)
      : TRSphere({count, nullptr, points}, tolerance) {}
  TRSphere(const primfit::PointRefs& points, double tolerance);
  void FixCenter(const Eigen::Vector3d& center) { HoldCenter(center); }
  void FixRadius(double radius) { HoldMinor(radius); }
  void GetResult(Eigen::Vector3d& center, double& radius) const;
};

/// A cylinder: a point o of the axis, radius, angles of the axis d. e = |(p - o) x d| - R, which does not
/// change when o moves along the axis, so the solved point is some point of the axis.
class TRCylinder final : public primfit::ResidualModel {
 public:
  TRCylinder(int count, const Eigen::Vector3d* const* points, double tolerance)
      : TRCylinder({count, nullptr, points}, tolerance) {}
  TRCylinder(const primfit::PointRefs& points, double tolerance);
  void FixOrigin(const Eigen::Vector3d& origin) { HoldCenter(origin); }
  void FixRadius(double radius) { HoldMinor(radius); }
  void FixAxis(const Eigen::Vector3d& axis) { HoldAxis(axis); }
  void GetResult(Eigen::Vector3d& origin, double& radius, Eigen::Vector3d& axis) const;
};

/// A cone: apex A, half-angle, angles of the axis d. e = |q x d| cos - |q . d| sin with q = p - A, so that
/// both nappes count.
class TRCone final : public primfit::ResidualModel {
 public:
  TRCone(int count, const Eigen::Vector3d* const* points, double tolerance)
      : TRCone({count, nullptr, points}, tolerance) {}
  TRCone(const primfit::PointRefs& points, double tolerance);
  void FixApex(const Eigen::Vector3d& apex) { HoldCenter(apex); }
  void FixAngle(double angle) { HoldMinor(angle); }
  void FixAxis(const Eigen::Vector3d& axis) { HoldAxis(axis); }
  void GetResult(Eigen::Vector3d& apex, double& angle, Eigen::Vector3d& axis) const;
};

/// A torus: centre, major radius, minor radius, angles of the axis. e = |q - R v| - r with q = p - c and v
/// the unit radial direction of q.
class TRTorus final : public primfit::ResidualModel {
 public:
  TRTorus(int count, const Eigen::Vector3d* const* points, double tolerance)
      : TRTorus({count, nullptr, points}, tolerance) {}
  TRTorus(const primfit::PointRefs& points, double tolerance);
  void FixCenter(const Eigen::Vector3d& center) { HoldCenter(center); }
  void FixMajorRadius(double radius) { HoldMajor(radius); }
  void FixMinorRadius(double radius) { HoldMinor(radius); }
  void FixAxis(const Eigen::Vector3d& axis) { HoldAxis(axis); }
  void GetResult(Eigen::Vector3d& center, double& majorRadius, double& minorRadius,
                 Eigen::Vector3d& axis) const;
};

/// A torus of which one cross-section of the tube is given, the circle of radius r about P: only the bend
/// radius R and the angle theta about that circle's normal u x w are free. Centre C = P - R (u cos theta + w
/// sin theta), axis w cos theta - u sin theta, so the centre circle passes through P for every R and theta.
class TRTorusProfile final : public primfit::ResidualModel {
 public:
  /// @param u, w  perpendicular unit vectors in the plane of the cross-section
  TRTorusProfile(int count, const Eigen::Vector3d* const* points, double tolerance, const Eigen::Vector3d& p,
                 double r, const Eigen::Vector3d& u, const Eigen::Vector3d& w)
      : TRTorusProfile({count, nullptr, points}, tolerance, p, r, u, w) {}
  TRTorusProfile(const primfit::PointRefs& points, double tolerance, const Eigen::Vector3d& p, double r,
                 const Eigen::Vector3d& u, const Eigen::Vector3d& w);
  void GetResult(Eigen::Vector3d& center, double& majorRadius, double& minorRadius,
                 Eigen::Vector3d& axis) const;
  primfit::ShapeParameters At(const double* x) const override;

 private:
  void Differentiate(const double* x, const primfit::ShapeParameters& shape,
                     primfit::ShapeDerivative* derivatives) const override;
  Eigen::Vector3d p_;
  double r_;
  Eigen::Vector3d u_, w_;
};

#endif  // PRIMFIT_SRC_OPTIMIZE_MODELS_H_
