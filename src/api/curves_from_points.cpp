// The entry points for lines and arcs. As for surfaces each is one call of the pipeline, written out by name
// so that a search for the exported function finds it.
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
