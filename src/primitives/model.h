// An unbounded shape as one small record for every kind, so that code which serves all kinds can copy, hold
// and compare shapes without knowing their classes.
#ifndef PRIMFIT_SRC_PRIMITIVES_MODEL_H_
#define PRIMFIT_SRC_PRIMITIVES_MODEL_H_

#include <Eigen/Core>

#include "primfit/fit.h"

namespace primfit {

enum class ShapeKind : int;  // the kinds are listed with the descriptions of primitives

/// The components of a model, as bits of a set: those that a fit holds, for example.
enum Component : unsigned { kCenter = 1, kAxis = 2, kMajor = 4, kMinor = 8 };

/// The component that a parameter belongs to.
constexpr Component ComponentOf(ParameterKind parameter) {
  switch (parameter) {
    case ParameterKind::kPosition:
      return kCenter;
    case ParameterKind::kDirection:
      return kAxis;
    case ParameterKind::kMajorRadius:
      return kMajor;
    default:
      return kMinor;
  }
}

/// Lengths in the unit of the points, angles in radians. A kind leaves alone what it does not have.
struct Model {
  ShapeKind kind{};
  Eigen::Vector3d center = Eigen::Vector3d::Zero();  ///< an apex; of an axis, line or plane any point of it
  Eigen::Vector3d axis = Eigen::Vector3d::UnitZ();   ///< direction of a line, normal of a plane; unit length
  double major = 0;                                  ///< of a torus
  double minor = 0;  ///< the radius, but a cone's half-angle and the radius of a torus's tube

  bool IsCurve() const;  // defined with the descriptions of primitives
  /// The number that a size or an angle is.
  double& Size(Component component) { return component == kMajor ? major : minor; }
  double Size(Component component) const { return component == kMajor ? major : minor; }
};

/// A model with some components of another one: held parts keep the very bits that the caller gave.
inline Model WithComponents(Model model, unsigned components, const Model& from) {
  if ((components & kCenter) != 0) model.center = from.center;
  if ((components & kAxis) != 0) model.axis = from.axis;
  if ((components & kMajor) != 0) model.major = from.major;
  if ((components & kMinor) != 0) model.minor = from.minor;
  return model;
}

/// How far points reach over an unbounded shape: between two heights along its axis, or between two angles
/// about it that begin at a direction square to it.
struct Extent {
  double low = 0;
  double high = 0;
  Eigen::Vector3d startDirection = Eigen::Vector3d::Zero();
  double Length() const { return high - low; }
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_PRIMITIVES_MODEL_H_
