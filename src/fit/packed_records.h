// How the numbers of each shape's record stand in an array, for functions that C calls: the parts that
// constraints can hold come first, in the order of kFix. FromNumbers does without the length and the angle.
#ifndef PRIMFIT_SRC_FIT_PACKED_RECORDS_H_
#define PRIMFIT_SRC_FIT_PACKED_RECORDS_H_

#include <Eigen/Core>

#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_output_params_arc.h"
#include "primfit/fit/fit_output_params_cone.h"
#include "primfit/fit/fit_output_params_cylinder.h"
#include "primfit/fit/fit_output_params_line.h"
#include "primfit/fit/fit_output_params_plane.h"
#include "primfit/fit/fit_output_params_sphere.h"
#include "primfit/fit/fit_output_params_torus.h"

namespace primfit {

/// Writes numbers and vectors one after another.
class Packer {
 public:
  explicit Packer(double* to) : to_(to) {}
  Packer& operator<<(double number) {
    *to_++ = number;
    return *this;
  }
  Packer& operator<<(const Eigen::Vector3d& v) { return *this << v.x() << v.y() << v.z(); }
  double* End() const { return to_; }

 private:
  double* to_;
};

struct PackedLine {
  using Record = FitOutputParamsLine;
  using Constraints = FitConstraintsLine;
  static constexpr void (Constraints::*kFix[])() = {&Constraints::FixRoot, &Constraints::FixDirection};
  static constexpr int kSizes[] = {3, 3};
  static constexpr int kNumbers = 7;
  static Record FromNumbers(const double* x) { return {Eigen::Vector3d(x), Eigen::Vector3d(x + 3), 0}; }
  static Packer Pack(const Record& r, double* x) {
    return Packer(x) << r.Root() << r.Direction() << r.Length();
  }
};

struct PackedArc {
  using Record = FitOutputParamsArc;
  using Constraints = FitConstraintsArc;
  static constexpr void (Constraints::*kFix[])() = {&Constraints::FixCenter, &Constraints::FixRadius};
  static constexpr int kSizes[] = {3, 1};
  static constexpr int kNumbers = 11;
  static Record FromNumbers(const double* x) {
    return {Eigen::Vector3d(x), x[3], Eigen::Vector3d(x + 4), Eigen::Vector3d(x + 7), 0};
  }
  static Packer Pack(const Record& r, double* x) {
    return Packer(x) << r.Center() << r.Radius() << r.XAxis() << r.YAxis() << r.Angle();
  }
};

struct PackedPlane {
  using Record = FitOutputParamsPlane;
  using Constraints = FitConstraintsPlane;
  static constexpr void (Constraints::*kFix[])() = {&Constraints::FixOrigin, &Constraints::FixNormal};
  static constexpr int kSizes[] = {3, 3};
  static constexpr int kNumbers = 6;
  static Record FromNumbers(const double* x) { return {Eigen::Vector3d(x), Eigen::Vector3d(x + 3)}; }
  static Packer Pack(const Record& r, double* x) { return Packer(x) << r.Origin() << r.Normal(); }
};

struct PackedSphere {
  using Record = FitOutputParamsSphere;
  using Constraints = FitConstraintsSphere;
  static constexpr void (Constraints::*kFix[])() = {&Constraints::FixCenter, &Constraints::FixRadius};
  static constexpr int kSizes[] = {3, 1};
  static constexpr int kNumbers = 4;
  static Record FromNumbers(const double* x) { return {Eigen::Vector3d(x), x[3]}; }
  static Packer Pack(const Record& r, double* x) { return Packer(x) << r.Center() << r.Radius(); }
};

struct PackedCylinder {
  using Record = FitOutputParamsCylinder;
  using Constraints = FitConstraintsCylinder;
  static constexpr void (Constraints::*kFix[])() = {&Constraints::FixOrigin, &Constraints::FixRadius,
                                                    &Constraints::FixAxis};
  static constexpr int kSizes[] = {3, 1, 3};
  static constexpr int kNumbers = 7;
  static Record FromNumbers(const double* x) { return {Eigen::Vector3d(x), x[3], Eigen::Vector3d(x + 4)}; }
  static Packer Pack(const Record& r, double* x) { return Packer(x) << r.Origin() << r.Radius() << r.Axis(); }
};

struct PackedCone {
  using Record = FitOutputParamsCone;
  using Constraints = FitConstraintsCone;
  static constexpr void (Constraints::*kFix[])() = {&Constraints::FixApex, &Constraints::FixAngle,
                                                    &Constraints::FixAxis};
  static constexpr int kSizes[] = {3, 1, 3};
  static constexpr int kNumbers = 7;
  static Record FromNumbers(const double* x) { return {Eigen::Vector3d(x), x[3], Eigen::Vector3d(x + 4)}; }
  static Packer Pack(const Record& r, double* x) { return Packer(x) << r.Apex() << r.Angle() << r.Axis(); }
};

struct PackedTorus {
  using Record = FitOutputParamsTorus;
  using Constraints = FitConstraintsTorus;
  static constexpr void (Constraints::*kFix[])() = {&Constraints::FixCenter, &Constraints::FixMajorRadius,
                                                    &Constraints::FixMinorRadius, &Constraints::FixAxis};
  static constexpr int kSizes[] = {3, 1, 1, 3};
  static constexpr int kNumbers = 8;
  static Record FromNumbers(const double* x) {
    return {Eigen::Vector3d(x), x[3], x[4], Eigen::Vector3d(x + 5)};
  }
  static Packer Pack(const Record& r, double* x) {
    return Packer(x) << r.Center() << r.MajorRadius() << r.MinorRadius() << r.Axis();
  }
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_FIT_PACKED_RECORDS_H_
