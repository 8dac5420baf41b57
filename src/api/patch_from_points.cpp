// The entry point for a planar patch: a plane, then the outline of the points on it.
#include "primfit/api/patch_from_points.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "api/fit_pipeline.h"
#include "api/primitives.h"
#include "fit/fit_memory.h"
#include "fit/vector_math.h"
#include "outline/outline.h"

using Eigen::Vector3d;

namespace {

/// Coordinates (u, v) of points in a plane.
struct Projected {
  primfit::Scratch<double> coordinates;
  int count;
};

/// The points near the plane, about its origin.
Projected ProjectNear(const primfit::Fitted<OutputPlane>& fitted, const Vector3d& origin,
                      const Vector3d& normal, const Vector3d& xAxis) {
  const Vector3d yAxis = normal.cross(xAxis);
  const double tolerance = std::max(1e-6, 3 * fitted.quality.rmsDistance);
  const int n = fitted.used.Count();
  const Vector3d* const points = fitted.used.Points();
  primfit::Scratch<double> projected(2 * static_cast<std::size_t>(n));
  double* next = projected.data();
  for (int i = 0; i < n; ++i) {
    const Vector3d v = points[i] - origin;
    if (!(std::abs(v.dot(normal)) <= tolerance)) continue;
    *next++ = v.dot(xAxis);
    *next++ = v.dot(yAxis);
  }
  const auto count = static_cast<int>((next - projected.data()) / 2);
  return {std::move(projected), count};
}

}  // namespace

FitOutput<FitOutputParamsPatch> PatchFromPoints(const Vector3d* points, int n,
                                                const FitInputParams<FitConstraintsPlane>& params,
                                                FitProgressUpdater* updater) {
  using primfit::PlanePrimitive;
  auto fitted = primfit::RunPipeline<PlanePrimitive>(points, n, params, updater);
  const FitOutputParamsPlane plane =
      PlanePrimitive::ToRecord(fitted, fitted.held ? params.Constraints() : nullptr);
  const Vector3d xAxis = primfit::UnitOrthogonal(plane.Normal());
  fitted.selected = {};  // leaves its memory to the projection
  const Projected near = ProjectNear(fitted, plane.Origin() - fitted.used.Origin(), plane.Normal(), xAxis);
  primfit::Loop loop = primfit::OutlineOf(near.coordinates.data(), near.count);
  return {FitOutputParamsPatch(plane.Origin(), plane.Normal(), loop.count, loop.vertices.release(), xAxis),
          fitted.quality};
}
