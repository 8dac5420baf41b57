// What the adaptive fit asks of a shape of any kind: whether it is one, its distances from blocks of points,
// and the ways in which it can change. Its refinement is in refine.h.
#ifndef PRIMFIT_SRC_ADAPTIVE_MODEL_MODEL_H_
#define PRIMFIT_SRC_ADAPTIVE_MODEL_MODEL_H_

#include <Eigen/Core>
#include <optional>
#include <span>

#include "optimize/normal_equations.h"
#include "primitives/model.h"
#include "primitives/primitives.h"
#include "shapes/shape_of_model.h"

namespace primfit::adaptive {

/// Whether every number is finite, the axis of unit length, a half-angle below a quarter turn, and sizes
/// positive (of a torus: the tube smaller than the ring).
bool IsValid(const Model& model);

/// Distances to the shape, never negative; of a cone only its one side counts.
void Distances(const Model& model, const Eigen::Vector3d* points, int n, double* distances);

/// One way in which a shape can change.
struct FreeParameter {
  ParameterKind kind;
  Eigen::Vector3d direction;  ///< in which a position or direction moves; zero for a size
  ShapeDerivative motion;
};

struct FreeParameters {
  int count = 0;
  FreeParameter each[kMostParameters];
};

/// The independent ways in which a shape can change while parts are held. The free position of an axis, a
/// line or a plane moves at its centre.
FreeParameters FreeParametersOf(const Model& model, unsigned held);

/// Moves the centre of a line, a cylinder or a plane, which may lie anywhere in it, to where the points are.
void CenterAt(const Eigen::Vector3d& mean, unsigned held, Model& model);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_MODEL_MODEL_H_
