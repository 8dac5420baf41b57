#include "api/primitives.h"
#include "primfit/api/arc_from_points.h"
#include "primfit/api/line_from_points.h"

using Eigen::Vector3d;

FitOutput<FitOutputParamsLine> LineFromPoints(const Vector3d* points, int n,
                                              const FitInputParams<FitConstraintsLine>& params,
                                              FitProgressUpdater* updater) {
  return primfit::FitFromPoints<primfit::LinePrimitive>(points, n, params, updater);
}

FitOutput<FitOutputParamsArc> ArcFromPoints(const Vector3d* points, int n,
                                            const FitInputParams<FitConstraintsArc>& params,
                                            FitProgressUpdater* updater) {
  return primfit::FitFromPoints<primfit::ArcPrimitive>(points, n, params, updater);
}
