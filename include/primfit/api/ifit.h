#ifndef PRIMFIT_API_IFIT_H_
#define PRIMFIT_API_IFIT_H_

#include "primfit/api/arc_from_points.h"
#include "primfit/api/cone_from_points.h"
#include "primfit/api/cylinder_from_points.h"
#include "primfit/api/line_from_points.h"
#include "primfit/api/patch_from_points.h"
#include "primfit/api/plane_from_points.h"
#include "primfit/api/sphere_from_points.h"
#include "primfit/api/torus_from_points.h"

/// Front-end of the entry points for hosts that choose a fit by its types: In is the input record, Out the
/// record of the shape. Each member calls the entry point of its pair with the same arguments and returns its
/// result. Pairs without a specialisation do not exist.
template <class In, class Out>
class IFit;

namespace primfit {

/// An IFit whose Solve is the entry point kEntry.
template <class In, class Out,
          FitOutput<Out> (*kEntry)(const Eigen::Vector3d*, int, const In&, FitProgressUpdater*)>
class FrontEnd {
 public:
  FitOutput<Out> Solve(const Eigen::Vector3d* points, int n, const In& params, FitProgressUpdater* updater) {
    return kEntry(points, n, params, updater);
  }
};

}  // namespace primfit

template <>
class IFit<FitInputParams<FitConstraintsArc>, FitOutputParamsArc>
    : public primfit::FrontEnd<FitInputParams<FitConstraintsArc>, FitOutputParamsArc, &ArcFromPoints> {};

template <>
class IFit<FitInputParams<FitConstraintsArc>, FitOutputParamsElbow>
    : public primfit::FrontEnd<FitInputParams<FitConstraintsArc>, FitOutputParamsElbow, &ElbowFromPoints> {};

template <>
class IFit<FitInputParams<FitConstraintsArc>, FitOutputParamsTorus>
    : public primfit::FrontEnd<FitInputParams<FitConstraintsArc>, FitOutputParamsTorus, &TorusFromPoints> {};

template <>
class IFit<FitInputParams<FitConstraintsCone>, FitOutputParamsCone>
    : public primfit::FrontEnd<FitInputParams<FitConstraintsCone>, FitOutputParamsCone, &ConeFromPoints> {};

template <>
class IFit<FitInputParams<FitConstraintsCone>, FitOutputParamsConeBounded>
    : public primfit::FrontEnd<FitInputParams<FitConstraintsCone>, FitOutputParamsConeBounded,
                               &BoundedConeFromPoints> {};

template <>
class IFit<FitInputParams<FitConstraintsCylinder>, FitOutputParamsCylinder> {
 public:
  FitOutput<FitOutputParamsCylinder> Solve(const Eigen::Vector3d* points, int n,
                                           const FitInputParams<FitConstraintsCylinder>& params,
                                           FitProgressUpdater* updater) {
    return CylinderFromPoints(points, n, params, updater, false);
  }
};

template <>
class IFit<FitInputParams<FitConstraintsCylinder>, FitOutputParamsCylinderBounded> {
 public:
  FitOutput<FitOutputParamsCylinderBounded> Solve(const Eigen::Vector3d* points, int n,
                                                  const FitInputParams<FitConstraintsCylinder>& params,
                                                  FitProgressUpdater* updater, bool earlyStop) {
    return BoundedCylinderFromPoints(points, n, params, updater, earlyStop);
  }
};

template <>
class IFit<FitInputParams<FitConstraintsLine>, FitOutputParamsLine>
    : public primfit::FrontEnd<FitInputParams<FitConstraintsLine>, FitOutputParamsLine, &LineFromPoints> {};

template <>
class IFit<FitInputParams<FitConstraintsPlane>, FitOutputParamsPatch>
    : public primfit::FrontEnd<FitInputParams<FitConstraintsPlane>, FitOutputParamsPatch, &PatchFromPoints> {
};

template <>
class IFit<FitInputParams<FitConstraintsSphere>, FitOutputParamsSphere>
    : public primfit::FrontEnd<FitInputParams<FitConstraintsSphere>, FitOutputParamsSphere,
                               &SphereFromPoints> {};

template <>
class IFit<FitInputParams<FitConstraintsTorus>, FitOutputParamsElbow>
    : public primfit::FrontEnd<FitInputParams<FitConstraintsTorus>, FitOutputParamsElbow, &ElbowFromPoints> {
};

template <>
class IFit<FitInputParams<FitConstraintsTorus>, FitOutputParamsTorus>
    : public primfit::FrontEnd<FitInputParams<FitConstraintsTorus>, FitOutputParamsTorus, &TorusFromPoints> {
};

template <>
class IFit<FitInputParams<FitConstraintsPlane>, FitOutputParamsPlane>
    : public primfit::FrontEnd<FitInputParams<FitConstraintsPlane>, FitOutputParamsPlane, &PlaneFromPoints> {
 public:
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
