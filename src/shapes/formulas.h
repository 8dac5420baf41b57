// The deviation of a point from each shape, written once and generic in the number type T, so that the answer
// for one point and the batch answer cannot disagree. Operations stand in a fixed order; contraction into
// fused multiply-adds is off for the whole build.
//
// Each formula offers
//   Quantity(x, y, z)  what the shape's close band bounds: a squared distance, or a plain one for plane and
//   cone; Distance(x, y, z)  the distance, signed for surfaces; kOpenBand          whether the upper bound
//   itself is outside the band.
#ifndef PRIMFIT_SRC_SHAPES_FORMULAS_H_
#define PRIMFIT_SRC_SHAPES_FORMULAS_H_

#include <Eigen/Core>
#include <cmath>

#include "primfit/shapes/output_circle.h"
#include "primfit/shapes/output_cone.h"
#include "primfit/shapes/output_cylinder.h"
#include "primfit/shapes/output_line.h"
#include "primfit/shapes/output_plane.h"
#include "primfit/shapes/output_sphere.h"
#include "primfit/shapes/output_torus.h"

namespace primfit {

inline double Sqrt(double a) { return std::sqrt(a); }
inline double Abs(double a) { return std::abs(a); }

/// Three coordinates in registers.
template <class T>
struct Triple {
  T x, y, z;

  Triple(T x0, T y0, T z0) : x(x0), y(y0), z(z0) {}
  explicit Triple(const Eigen::Vector3d& v) : x(v.x()), y(v.y()), z(v.z()) {}
  Triple operator-(const Triple& b) const { return {x - b.x, y - b.y, z - b.z}; }
  Triple operator*(T s) const { return {x * s, y * s, z * s}; }
  T Dot(const Triple& b) const { return x * b.x + y * b.y + z * b.z; }
  T SquaredNorm() const { return Dot(*this); }
  Triple Cross(const Triple& b) const { return {y * b.z - z * b.y, z * b.x - x * b.z, x * b.y - y * b.x}; }
};

/// v split along a unit axis a: the axial coordinate s = v . a and the radial part w = v - s a.
template <class T>
struct AxialSplit {
  T s;
  Triple<T> w;
  AxialSplit(const Triple<T>& v, const Triple<T>& a) : s(v.Dot(a)), w(v - a * s) {}
};

template <class T>
struct LineFormula {
  static constexpr bool kOpenBand = false;
  Triple<T> root, direction;
  T Quantity(T x, T y, T z) const {
    return AxialSplit<T>(Triple<T>(x, y, z) - root, direction).w.SquaredNorm();
  }
  T Distance(T x, T y, T z) const { return Sqrt(Quantity(x, y, z)); }
};

template <class T>
struct CircleFormula {
  static constexpr bool kOpenBand = false;
  Triple<T> center, axis;
  T radius;
  /// Deliberate: the offset along the axis takes no part.
  T Quantity(T x, T y, T z) const { return AxialSplit<T>(Triple<T>(x, y, z) - center, axis).w.SquaredNorm(); }
  T Distance(T x, T y, T z) const {
    const AxialSplit<T> v(Triple<T>(x, y, z) - center, axis);
    const T radial = radius - Sqrt(v.w.SquaredNorm());
    return Sqrt(radial * radial + v.s * v.s);
  }
};

template <class T>
struct PlaneFormula {
  static constexpr bool kOpenBand = false;
  Triple<T> center, normal;
  T Quantity(T x, T y, T z) const { return Abs(Distance(x, y, z)); }
  T Distance(T x, T y, T z) const { return (Triple<T>(x, y, z) - center).Dot(normal); }
};

template <class T>
struct SphereFormula {
  static constexpr bool kOpenBand = false;
  Triple<T> center;
  T radius;
  T Quantity(T x, T y, T z) const { return (Triple<T>(x, y, z) - center).SquaredNorm(); }
  T Distance(T x, T y, T z) const { return Sqrt(Quantity(x, y, z)) - radius; }
};

template <class T>
struct CylinderFormula {
  static constexpr bool kOpenBand = false;
  Triple<T> center, axis;
  T radius;
  T Quantity(T x, T y, T z) const {
    const Triple<T> v = Triple<T>(x, y, z) - center;
    const T s = v.Dot(axis);
    return v.SquaredNorm() - s * s;
  }
  T Distance(T x, T y, T z) const {
    return Sqrt((Triple<T>(x, y, z) - center).Cross(axis).SquaredNorm()) - radius;
  }
};

template <class T>
struct ConeFormula {
  static constexpr bool kOpenBand = true;
  Triple<T> apex, axis;
  T sinAngle, cosAngle;
  T Quantity(T x, T y, T z) const { return Abs(Distance(x, y, z)); }
  T Distance(T x, T y, T z) const {
    const Triple<T> v = Triple<T>(x, y, z) - apex;
    return Sqrt(v.Cross(axis).SquaredNorm()) * cosAngle - Abs(v.Dot(axis)) * sinAngle;
  }
};

template <class T>
struct TorusFormula {
  static constexpr bool kOpenBand = false;
  Triple<T> center, axis;
  T majorRadius, minorRadius;
  /// Squared distance from the centre circle. Expanded it reads (R - 2 rho) R + |v|^2, which can round below
  /// zero.
  T Quantity(T x, T y, T z) const {
    const AxialSplit<T> v(Triple<T>(x, y, z) - center, axis);
    const T radial = majorRadius - Sqrt(v.w.SquaredNorm());
    return radial * radial + v.s * v.s;
  }
  T Distance(T x, T y, T z) const { return Sqrt(Quantity(x, y, z)) - minorRadius; }
};

template <class T = double>
LineFormula<T> FormulaOf(const OutputLine& s) {
  return {Triple<T>(s.Root()), Triple<T>(s.Direction())};
}
template <class T = double>
CircleFormula<T> FormulaOf(const OutputCircle& s) {
  return {Triple<T>(s.Center()), Triple<T>(s.Axis()), T(s.Radius())};
}
template <class T = double>
PlaneFormula<T> FormulaOf(const OutputPlane& s) {
  return {Triple<T>(s.Center()), Triple<T>(s.Normal())};
}
template <class T = double>
SphereFormula<T> FormulaOf(const OutputSphere& s) {
  return {Triple<T>(s.Center()), T(s.Radius())};
}
template <class T = double>
CylinderFormula<T> FormulaOf(const OutputCylinder& s) {
  return {Triple<T>(s.Center()), Triple<T>(s.Axis()), T(s.Radius())};
}
template <class T = double>
ConeFormula<T> FormulaOf(const OutputCone& s) {
  return {Triple<T>(s.Apex()), Triple<T>(s.Axis()), T(std::sin(s.Angle())), T(std::cos(s.Angle()))};
}
template <class T = double>
TorusFormula<T> FormulaOf(const OutputTorus& s) {
  return {Triple<T>(s.Center()), Triple<T>(s.Axis()), T(s.MajorRadius()), T(s.MinorRadius())};
}

/// Whether a formula's quantity at p lies in [low, high] (or [low, high) for an open band). Written so that a
/// NaN is never inside.
template <class Formula>
bool InBand(const Formula& formula, const Eigen::Vector3d& p, double low, double high) {
  const double q = formula.Quantity(p.x(), p.y(), p.z());
  if constexpr (Formula::kOpenBand) {
    return low <= q && q < high;
  } else {
    return low <= q && q <= high;
  }
}

template <class Formula>
double DistanceAt(const Formula& formula, const Eigen::Vector3d& p) {
  return formula.Distance(p.x(), p.y(), p.z());
}

}  // namespace primfit

#endif  // PRIMFIT_SRC_SHAPES_FORMULAS_H_
