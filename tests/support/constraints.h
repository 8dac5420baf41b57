// The seven shapes that a fit can start from, each with the parts that it can hold.
#ifndef PRIMFIT_TESTS_SUPPORT_CONSTRAINTS_H_
#define PRIMFIT_TESTS_SUPPORT_CONSTRAINTS_H_

#include <Eigen/Geometry>
#include <utility>
#include <vector>

#include "primfit/primfit.h"

namespace primfit::testing {

/// The parts of a constraints record: what holds each and what says whether it is held.
template <class C>
using PartsOf = std::vector<std::pair<void (C::*)(), bool (C::*)() const>>;

/// Calls visit(name, least number of points, record, parts, the record's getters of these parts) for each
/// shape at `o` with the direction `a`.
template <class Visit>
void ForEachConstrained(const Eigen::Vector3d& o, const Eigen::Vector3d& a, const Visit& visit) {
  using L = FitConstraintsLine;
  using RL = FitOutputParamsLine;
  // A held root says where the line passes; the record's root is the end of the segment.
  const auto passes = [o](const RL& r) { return (o - r.Root()).cross(r.Direction()).norm() < 1e-9; };
  visit("Line", 2, RL(o, a, 1),
        PartsOf<L>{{&L::FixRoot, &L::RootFixed}, {&L::FixDirection, &L::DirectionFixed}}, passes,
        &RL::Direction);
  using A = FitConstraintsArc;
  using RA = FitOutputParamsArc;
  visit("Arc", 3, RA(o, 0.5003, a),
        PartsOf<A>{{&A::FixCenter, &A::CenterFixed}, {&A::FixRadius, &A::RadiusFixed}}, &RA::Center,
        &RA::Radius);
  using P = FitConstraintsPlane;
  using RP = FitOutputParamsPlane;
  visit("Plane", 3, RP(o, a), PartsOf<P>{{&P::FixOrigin, &P::OriginFixed}, {&P::FixNormal, &P::NormalFixed}},
        &RP::Origin, &RP::Normal);
  using S = FitConstraintsSphere;
  using RS = FitOutputParamsSphere;
  visit("Sphere", 4, RS(o, 0.5003),
        PartsOf<S>{{&S::FixCenter, &S::CenterFixed}, {&S::FixRadius, &S::RadiusFixed}}, &RS::Center,
        &RS::Radius);
  using Y = FitConstraintsCylinder;
  using RY = FitOutputParamsCylinder;
  visit("Cylinder", 6, RY(o, 0.5003, a),
        PartsOf<Y>{
            {&Y::FixOrigin, &Y::OriginFixed}, {&Y::FixRadius, &Y::RadiusFixed}, {&Y::FixAxis, &Y::AxisFixed}},
        &RY::Origin, &RY::Radius, &RY::Axis);
  using N = FitConstraintsCone;
  using RN = FitOutputParamsCone;
  visit(
      "Cone", 6, RN(o, 0.4003, a),
      PartsOf<N>{{&N::FixApex, &N::ApexFixed}, {&N::FixAngle, &N::AngleFixed}, {&N::FixAxis, &N::AxisFixed}},
      &RN::Apex, &RN::Angle, &RN::Axis);
  using T = FitConstraintsTorus;
  using RT = FitOutputParamsTorus;
  visit("Torus", 15, RT(o, 1.0003, 0.2998, a),
        PartsOf<T>{{&T::FixCenter, &T::CenterFixed},
                   {&T::FixMajorRadius, &T::MajorRadiusFixed},
                   {&T::FixMinorRadius, &T::MinorRadiusFixed},
                   {&T::FixAxis, &T::AxisFixed}},
        &RT::Center, &RT::MajorRadius, &RT::MinorRadius, &RT::Axis);
}

}  // namespace primfit::testing

#endif  // PRIMFIT_TESTS_SUPPORT_CONSTRAINTS_H_
