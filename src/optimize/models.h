// The eight residual models: parameter groups, deviation of a point, holds and read-back of each primitive. A
// held direction enters the formulas as it was given; results are read after a successful Solve. At(x) is the
// shape at the free parameters x, callable with a point for its signed deviation; Local(x) is the same shape,
// and kMoves what its parameters move, for the pass that sums up.
#ifndef PRIMFIT_SRC_OPTIMIZE_MODELS_H_
#define PRIMFIT_SRC_OPTIMIZE_MODELS_H_

#include <Eigen/Core>

#include "optimize/residual_model.h"
#include "shapes/formulas.h"

namespace primfit {

/// A formula of shapes/formulas.h as a function of a point, with the parameters that it was made from.
template <class Formula, class Parameters>
struct DeviationOf : Parameters {
  Formula formula;
  double operator()(const Eigen::Vector3d& p) const { return DistanceAt(formula, p); }
};

}  // namespace primfit

/// A line in the local x-y plane: distance rho of the root from the origin along the normal, angle theta of
/// the direction. e = n . (p - p0) with n = (-sin theta, cos theta, 0) and p0 = rho n.
class TRLine final : public primfit::ResidualModel<TRLine, 1, 1> {
 public:
  using ResidualModel::ResidualModel;
  void FixRoot(const Eigen::Vector3d& root) { Hold(0, root_, root); }
  void FixDirection(const Eigen::Vector3d& direction) { Hold(1, direction_, direction); }
  void GetResult(Eigen::Vector3d& root, Eigen::Vector3d& direction) const;

  struct Line {
    Eigen::Vector3d root, direction, normal;
    double operator()(const Eigen::Vector3d& p) const { return normal.dot(p - root); }
  };
  Line At(const double* x) const;
  static constexpr primfit::Moves kMoves[] = {primfit::Moves::kOffset, primfit::Moves::kTurn};
  primfit::LocalShape Local(const double* x) const;

 private:
  primfit::HeldVector root_, direction_;
};

/// A circle in the local x-y plane: centre x, y, then radius. e = |p - c| - R.
class TRCircle final : public primfit::ResidualModel<TRCircle, 2, 1> {
 public:
  using ResidualModel::ResidualModel;
  void FixCenter(const Eigen::Vector3d& center) { Hold(0, center_, center); }
  void FixRadius(double radius) { Hold(1, radius_, radius); }
  void GetResult(Eigen::Vector3d& center, double& radius) const;

  struct Parameters {
    Eigen::Vector3d center;
    double radius;
  };
  using Circle = primfit::DeviationOf<primfit::SphereFormula<double>, Parameters>;
  Circle At(const double* x) const;
  static constexpr primfit::Moves kMoves[] = {primfit::Moves::kCenter, primfit::Moves::kMinor};
  primfit::LocalShape Local(const double* x) const;

 private:
  primfit::HeldVector center_;
  primfit::HeldNumber radius_;
};

/// A plane: distance rho of the origin along the normal n, then the angles of n. e = n . (p - rho n).
class TRPlane final : public primfit::ResidualModel<TRPlane, 1, 2> {
 public:
  using ResidualModel::ResidualModel;
  void FixOrigin(const Eigen::Vector3d& origin) { Hold(0, origin_, origin); }
  void FixNormal(const Eigen::Vector3d& normal) { Hold(1, normal_, normal); }
  void GetResult(Eigen::Vector3d& origin, Eigen::Vector3d& normal) const;

  struct Parameters {
    Eigen::Vector3d origin, normal;
  };
  using Plane = primfit::DeviationOf<primfit::PlaneFormula<double>, Parameters>;
  Plane At(const double* x) const;
  static constexpr primfit::Moves kMoves[] = {primfit::Moves::kOffset, primfit::Moves::kAngles};
  primfit::LocalShape Local(const double* x) const;

 private:
  primfit::HeldVector origin_, normal_;
};

/// A sphere: centre, radius. e = |p - c| - R.
class TRSphere final : public primfit::ResidualModel<TRSphere, 3, 1> {
 public:
  using ResidualModel::ResidualModel;
  void FixCenter(const Eigen::Vector3d& center) { Hold(0, center_, center); }
  void FixRadius(double radius) { Hold(1, radius_, radius); }
  void GetResult(Eigen::Vector3d& center, double& radius) const;

  struct Parameters {
    Eigen::Vector3d center;
    double radius;
  };
  using Sphere = primfit::DeviationOf<primfit::SphereFormula<double>, Parameters>;
  Sphere At(const double* x) const;
  static constexpr primfit::Moves kMoves[] = {primfit::Moves::kCenter, primfit::Moves::kMinor};
  primfit::LocalShape Local(const double* x) const;

 private:
  primfit::HeldVector center_;
  primfit::HeldNumber radius_;
};

/// A cylinder: a point o of the axis, radius, angles of the axis d. e = |(p - o) x d| - R, which does not
/// change when o moves along the axis: the solved point is some point of the axis.
class TRCylinder final : public primfit::ResidualModel<TRCylinder, 3, 1, 2> {
 public:
  using ResidualModel::ResidualModel;
  void FixOrigin(const Eigen::Vector3d& origin) { Hold(0, origin_, origin); }
  void FixRadius(double radius) { Hold(1, radius_, radius); }
  void FixAxis(const Eigen::Vector3d& axis) { Hold(2, axis_, axis); }
  void GetResult(Eigen::Vector3d& origin, double& radius, Eigen::Vector3d& axis) const;

  struct Parameters {
    Eigen::Vector3d origin;
    double radius;
    Eigen::Vector3d axis;
  };
  using Cylinder = primfit::DeviationOf<primfit::CylinderFormula<double>, Parameters>;
  Cylinder At(const double* x) const;
  static constexpr primfit::Moves kMoves[] = {primfit::Moves::kCenter, primfit::Moves::kMinor,
                                              primfit::Moves::kAngles};
  primfit::LocalShape Local(const double* x) const;

 private:
  primfit::HeldVector origin_, axis_;
  primfit::HeldNumber radius_;
};

/// A cone: apex A, half-angle, angles of the axis d. e = |q x d| cos - |q . d| sin with q = p - A: both
/// nappes count.
class TRCone final : public primfit::ResidualModel<TRCone, 3, 1, 2> {
 public:
  using ResidualModel::ResidualModel;
  void FixApex(const Eigen::Vector3d& apex) { Hold(0, apex_, apex); }
  void FixAngle(double angle) { Hold(1, angle_, angle); }
  void FixAxis(const Eigen::Vector3d& axis) { Hold(2, axis_, axis); }
  void GetResult(Eigen::Vector3d& apex, double& angle, Eigen::Vector3d& axis) const;

  struct Parameters {
    Eigen::Vector3d apex;
    double angle;
    Eigen::Vector3d axis;
  };
  using Cone = primfit::DeviationOf<primfit::ConeFormula<double>, Parameters>;
  Cone At(const double* x) const;
  static constexpr primfit::Moves kMoves[] = {primfit::Moves::kCenter, primfit::Moves::kMinor,
                                              primfit::Moves::kAngles};
  primfit::LocalShape Local(const double* x) const;

 private:
  primfit::HeldVector apex_, axis_;
  primfit::HeldNumber angle_;
};

namespace primfit {

/// A torus and the deviation e = |q - R v| - r of a point, q = p - c, v the unit radial direction of q.
struct TorusDeviation {
  Eigen::Vector3d center;
  double majorRadius;
  double minorRadius;
  Eigen::Vector3d axis;
  double operator()(const Eigen::Vector3d& p) const;
};

}  // namespace primfit

/// A torus: centre, major radius, minor radius, angles of the axis.
class TRTorus final : public primfit::ResidualModel<TRTorus, 3, 1, 1, 2> {
 public:
  using ResidualModel::ResidualModel;
  void FixCenter(const Eigen::Vector3d& center) { Hold(0, center_, center); }
  void FixMajorRadius(double radius) { Hold(1, majorRadius_, radius); }
  void FixMinorRadius(double radius) { Hold(2, minorRadius_, radius); }
  void FixAxis(const Eigen::Vector3d& axis) { Hold(3, axis_, axis); }
  void GetResult(Eigen::Vector3d& center, double& majorRadius, double& minorRadius,
                 Eigen::Vector3d& axis) const;

  primfit::TorusDeviation At(const double* x) const;
  static constexpr primfit::Moves kMoves[] = {primfit::Moves::kCenter, primfit::Moves::kMajor,
                                              primfit::Moves::kMinor, primfit::Moves::kAngles};
  primfit::LocalShape Local(const double* x) const;

 private:
  primfit::HeldVector center_, axis_;
  primfit::HeldNumber majorRadius_, minorRadius_;
};

/// A torus of which one cross-section of the tube is given, the circle of radius r about P: only the bend
/// radius R and the angle theta about that circle's normal u x w are free. Centre C = P - R (u cos theta + w
/// sin theta), axis w cos theta - u sin theta, so the centre circle passes through P for every R and theta.
class TRTorusProfile final : public primfit::ResidualModel<TRTorusProfile, 1, 1> {
 public:
  /// @param u, w  perpendicular unit vectors in the plane of the cross-section
  TRTorusProfile(int count, const Eigen::Vector3d* const* points, double tolerance, const Eigen::Vector3d& p,
                 double r, const Eigen::Vector3d& u, const Eigen::Vector3d& w);
  TRTorusProfile(const primfit::PointRefs& points, double tolerance, const Eigen::Vector3d& p, double r,
                 const Eigen::Vector3d& u, const Eigen::Vector3d& w);
  void GetResult(Eigen::Vector3d& center, double& majorRadius, double& minorRadius,
                 Eigen::Vector3d& axis) const;

  primfit::TorusDeviation At(const double* x) const;
  static constexpr primfit::Moves kMoves[] = {primfit::Moves::kOwn, primfit::Moves::kOwn};
  primfit::LocalShape Local(const double* x) const;
  int SetMotions(const double* x, const primfit::LocalShape& shape, primfit::Motion* motions) const;

 private:
  Eigen::Vector3d p_;
  double r_;
  Eigen::Vector3d u_, w_;
};

#endif  // PRIMFIT_SRC_OPTIMIZE_MODELS_H_
