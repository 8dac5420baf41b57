#include "adaptive/search/minimal_solver.h"

#include "estimators/cone_fit.h"
#include "estimators/cylinder_fit.h"
#include "estimators/line_circle_fit.h"
#include "estimators/plane_fit.h"
#include "estimators/sphere_fit.h"
#include "estimators/torus_fit.h"

namespace primfit::adaptive {

// The numbers of points are what the estimators need, some of which solve linear equations for a form with
// more unknowns than the shape has. The efficiencies were measured.
MinimalSolver MinimalSolverOf(ShapeKind kind) {
  switch (kind) {
    case ShapeKind::kLine:
      return {2, EstimateLine, 0.5, 1, LineThroughOne, 0.5};
    case ShapeKind::kArc:
      return {3, EstimateCircle, 0.2, 2, ArcThroughTwo, 0.1};
    case ShapeKind::kPlane:
      return {3, EstimateBy<PlaneFit>, 0.3, 1, PlaneThroughOne, 0.3};
    case ShapeKind::kSphere:
      return {4, EstimateBy<SphereFit>, 0.2, 2, SphereThroughTwo, 0.1};
    case ShapeKind::kCylinder:
      return {9, EstimateBy<CylinderFit>, 0.15, 2, CylinderThroughTwo, 0.1};
    case ShapeKind::kCone:
      return {9, EstimateBy<ConeFit>, 0.06, 3, ConeThroughThree, 0.01};
    case ShapeKind::kTorus:
      break;
  }
  return {kLargestSample, EstimateBy<TorusFit>, 0.15, 4, ToriThroughFour, 0.01};
}

}  // namespace primfit::adaptive
