#ifndef PRIMFIT_SRC_ESTIMATORS_PLANE_CIRCLE_H_
#define PRIMFIT_SRC_ESTIMATORS_PLANE_CIRCLE_H_

#include "estimators/row_least_squares.h"

namespace primfit {

/// Algebraic least-squares circle s^2 + t^2 + A s + B t + C = 0 of points in a plane (Kasa 1976).
class PlaneCircle {
 public:
  void Add(double s, double t) { equations_.Add({s, t, 1}, -(s * s + t * t)); }

  /// @param radiusSquared  may come out negative
  /// @return false when the points determine no circle
  bool Solve(double& s, double& t, double& radiusSquared) {
    RowLeastSquares<3>::Row u;
    if (!equations_.Solve(u)) return false;
    s = -u[0] / 2;
    t = -u[1] / 2;
    radiusSquared = s * s + t * t - u[2];
    return true;
  }

 private:
  RowLeastSquares<3> equations_;
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_ESTIMATORS_PLANE_CIRCLE_H_
