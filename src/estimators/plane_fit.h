#ifndef PRIMFIT_SRC_ESTIMATORS_PLANE_FIT_H_
#define PRIMFIT_SRC_ESTIMATORS_PLANE_FIT_H_

#include "estimators/polynomial_fit.h"
#include "primfit/shapes/output_plane.h"

/// Total least-squares plane: the normal is the direction of least scatter, the plane passes through the
/// reference point.
class PlaneFit final : public PolynomialFit {
 public:
  using Shape = OutputPlane;
  using PolynomialFit::PolynomialFit;
  /// @return a new plane, never null; degenerate points give some plane through them
  OutputPlane* Solve() override;
};

#endif  // PRIMFIT_SRC_ESTIMATORS_PLANE_FIT_H_
