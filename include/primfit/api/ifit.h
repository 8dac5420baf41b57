#ifndef PRIMFIT_API_IFIT_H_
#define PRIMFIT_API_IFIT_H_

#include "primfit/api/plane_from_points.h"

/// Front-end of the entry points for hosts that choose a fit by its types: In is the input record, Out the
/// shape's record. Each member calls the entry point of its pair with the same arguments and returns its
/// result. Pairs without a specialisation do not exist.
template <class In, class Out>
class IFit;

template <>
class IFit<FitInputParams<FitConstraintsPlane>, FitOutputParamsPlane> {
 public:
  FitOutput<FitOutputParamsPlane> Solve(const Eigen::Vector3d* points, int n,
                                        const FitInputParams<FitConstraintsPlane>& params,
                                        FitProgressUpdater* updater) {
    return PlaneFromPoints(points, n, params, updater);
  }
  FitOutputParamsPlane LeastSquaresFit(const Eigen::Vector3d* points, int n) {
    return PlaneFromPoints(points, n);
  }
  FitOutputParamsPlane LeastSquaresFit(const Eigen::Vector3d& reference, const Eigen::Vector3d* points,
                                       int n) {
    return PlaneFromPoints(reference, points, n);
  }
  FitOutputParamsPlane LeastSquaresFit(const Eigen::Vector3d* points, int n, const double* weights,
                                       const Eigen::Vector3d& reference) {
    return PlaneFromPoints(points, n, weights, reference);
  }
};

#endif  // PRIMFIT_API_IFIT_H_
