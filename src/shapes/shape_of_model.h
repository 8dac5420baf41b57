// The way between the small record of any unbounded shape and the class of its kind.
#ifndef PRIMFIT_SRC_SHAPES_SHAPE_OF_MODEL_H_
#define PRIMFIT_SRC_SHAPES_SHAPE_OF_MODEL_H_

#include <type_traits>

#include "primfit/shapes/output_circle.h"
#include "primfit/shapes/output_cone.h"
#include "primfit/shapes/output_cylinder.h"
#include "primfit/shapes/output_line.h"
#include "primfit/shapes/output_plane.h"
#include "primfit/shapes/output_sphere.h"
#include "primfit/shapes/output_torus.h"
#include "primitives/primitives.h"

namespace primfit {

/// The shape of a model as an object of the class S of the model's kind.
template <class S>
S ShapeFrom(const Model& m) {
  if constexpr (std::is_same_v<S, OutputLine> || std::is_same_v<S, OutputPlane>)
    return S(m.center, m.axis);
  else if constexpr (std::is_same_v<S, OutputSphere>)
    return S(m.center, m.minor);
  else if constexpr (std::is_same_v<S, OutputTorus>)
    return S(m.center, m.major, m.minor, m.axis);
  else
    return S(m.center, m.minor, m.axis);
}

/// Calls visit with the shape as an object of its class.
template <class Visit>
decltype(auto) WithShape(const Model& m, const Visit& visit) {
  switch (m.kind) {
    case ShapeKind::kLine:
      return visit(ShapeFrom<OutputLine>(m));
    case ShapeKind::kArc:
      return visit(ShapeFrom<OutputCircle>(m));
    case ShapeKind::kSphere:
      return visit(ShapeFrom<OutputSphere>(m));
    case ShapeKind::kCylinder:
      return visit(ShapeFrom<OutputCylinder>(m));
    case ShapeKind::kCone:
      return visit(ShapeFrom<OutputCone>(m));
    case ShapeKind::kTorus:
      return visit(ShapeFrom<OutputTorus>(m));
    case ShapeKind::kPlane:
      break;
  }
  return visit(ShapeFrom<OutputPlane>(m));
}

inline Model ModelOf(const OutputLine& s) { return {ShapeKind::kLine, s.Root(), s.Direction(), 0, 0}; }
inline Model ModelOf(const OutputCircle& s) { return {ShapeKind::kArc, s.Center(), s.Axis(), 0, s.Radius()}; }
inline Model ModelOf(const OutputPlane& s) { return {ShapeKind::kPlane, s.Center(), s.Normal(), 0, 0}; }
inline Model ModelOf(const OutputSphere& s) {
  return {ShapeKind::kSphere, s.Center(), Eigen::Vector3d::UnitZ(), 0, s.Radius()};
}
inline Model ModelOf(const OutputCylinder& s) {
  return {ShapeKind::kCylinder, s.Center(), s.Axis(), 0, s.Radius()};
}
inline Model ModelOf(const OutputCone& s) { return {ShapeKind::kCone, s.Apex(), s.Axis(), 0, s.Angle()}; }
inline Model ModelOf(const OutputTorus& s) {
  return {ShapeKind::kTorus, s.Center(), s.Axis(), s.MajorRadius(), s.MinorRadius()};
}

/// The model of an object of any of these classes.
inline Model ModelOf(const OutputShape& shape) {
  if (const auto* line = dynamic_cast<const OutputLine*>(&shape)) return ModelOf(*line);
  if (const auto* circle = dynamic_cast<const OutputCircle*>(&shape)) return ModelOf(*circle);
  if (const auto* sphere = dynamic_cast<const OutputSphere*>(&shape)) return ModelOf(*sphere);
  if (const auto* cylinder = dynamic_cast<const OutputCylinder*>(&shape)) return ModelOf(*cylinder);
  if (const auto* cone = dynamic_cast<const OutputCone*>(&shape)) return ModelOf(*cone);
  if (const auto* torus = dynamic_cast<const OutputTorus*>(&shape)) return ModelOf(*torus);
  return ModelOf(dynamic_cast<const OutputPlane&>(shape));
}

}  // namespace primfit

#endif  // PRIMFIT_SRC_SHAPES_SHAPE_OF_MODEL_H_
