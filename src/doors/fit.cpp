// primfit::fit: checks what it is given, turns constraints into a model, has the shape found, and turns what
// was found into the caller's record. The work is done below, in adaptive/.
#include "primfit/fit.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>

#include "adaptive/evidence/extent.h"
#include "adaptive/evidence/stations.h"
#include "adaptive/find_elbow.h"
#include "adaptive/find_shape.h"
#include "adaptive/fit_all_points.h"
#include "adaptive/scene/plausible.h"
#include "fit/fit_memory.h"
#include "fit/messages.h"
#include "primitives/records.h"
#include "shapes/kernels/batch.h"
#include "shapes/shape_of_model.h"

using Eigen::Vector3d;

namespace primfit {

namespace {

using adaptive::AxisFrame;
using adaptive::Scene;

/// The values of constraints, in the caller's coordinates.
template <class D>
adaptive::Start StartOf(const typename D::Constraints* constraints) {
  using StartD = typename D::StartDescription;
  const auto* record = constraints != nullptr ? (constraints->*D::kStartOf)() : nullptr;
  if (record == nullptr) return {};
  return {HeldComponents<StartD>(*constraints), ModelFrom<StartD>(*record)};
}

/// Standard deviations of a record's bounds, in the order of its parts.
template <class D>
FitExtents ExtentsOf(const adaptive::MeasuredBounds& bounds) {
  FitExtents extents;
  for (const Part& part : kPartsIn<D, Listed::kForArrays>) {
    if (part.kind == PartKind::kLength || part.kind == PartKind::kSweptAngle)
      extents.sizes.push_back(bounds.length);
    if (part.kind == PartKind::kLowHeight) extents.sizes.push_back(bounds.low);
    if (part.kind == PartKind::kHighHeight) extents.sizes.push_back(bounds.high);
    if (part.kind == PartKind::kStartPoint || part.kind == PartKind::kStartDirection)
      extents.start = bounds.start;
  }
  return extents;
}

/// The record, bounded by the inliers, and how exactly its bounds are known.
/// @param m      in the caller's coordinates
/// @param frame  about the model as it was fitted
/// @param known  where the fit told the bounds
template <class Shape>
void Bound(const Model& m, const AxisFrame& frame, const std::optional<adaptive::MeasuredBounds>& known,
           FitResult<Shape>& result) {
  using D = Description<Shape>;
  if constexpr (D::kBounds == Bounds::kOutline) {
    adaptive::MeasuredOutline outline = adaptive::MeasureOutline(frame);
    result.shape = {m.center, m.axis, outline.loop.count, outline.loop.vertices.release(), frame.u};
    result.extents.sizes = std::move(outline.corners);
  } else {
    const adaptive::MeasuredBounds bounds =
        known ? *known : adaptive::MeasureBounds(D::kBounds, frame, result.covariance);
    result.shape = RecordFrom<D>(m, bounds.extent);
    result.extents = ExtentsOf<D>(bounds);
  }
}

/// Strays near the shape for each inlier, by how many points lie just beyond the tolerance: next to a surface
/// there is as much room, about a curve three times as much.
double StrayShareOf(const adaptive::Converged& c) {
  const double beside = static_cast<double>(c.justBeyond) / (c.model.IsCurve() ? 3 : 1);
  return beside / static_cast<double>(c.inliers.size());
}

/// The least and the largest signed distance.
std::pair<double, double> Deviations(const Model& m, std::span<const Vector3d> points) {
  constexpr std::size_t kBlock = 1024;
  double distances[kBlock], least = std::numeric_limits<double>::infinity(), largest = -least;
  WithShape(m, [&](const OutputShape& shape) {
    for (std::size_t begin = 0; begin < points.size(); begin += kBlock) {
      const std::size_t n = std::min(kBlock, points.size() - begin);
      Distances(shape, points.data() + begin, static_cast<int>(n), distances);
      for (std::size_t i = 0; i < n; ++i) {
        least = std::min(least, distances[i]);
        largest = std::max(largest, distances[i]);
      }
    }
  });
  return {least, largest};
}

/// The same plane with its normal the other way: what moved the normal now moves it the other way, too.
void TurnNormal(adaptive::Outcome& out) {
  out.model.axis = -out.model.axis;
  for (FitParameter& p : out.covariance.parameters) {
    if (p.kind == ParameterKind::kDirection) p.direction = -p.direction;
  }
}

/// Turns a plane to the stations, unless its normal is held, and says from which side another surface was
/// seen.
/// @param inliers  relative to the scene's origin
void FaceStations(std::span<const Vector3d> given, std::span<const Vector3d> inliers, unsigned held,
                  const Vector3d& origin, adaptive::Outcome& out) {
  std::vector<Vector3d> stations(given.begin(), given.end());
  for (Vector3d& station : stations) station -= origin;
  const double balance = adaptive::OutsideBalance(out.model, inliers, stations);
  if (out.model.kind != ShapeKind::kPlane) {
    if (balance != 0) out.report.seenFrom = balance > 0 ? SeenFrom::kOutside : SeenFrom::kInside;
  } else if (balance < 0 && (held & kAxis) == 0) {
    TurnNormal(out);
  }
}

template <class Shape>
SimplerShape SimplerOf(const Model& m, adaptive::SimplerFit&& fit) {
  SimplerShape simpler{RecordFrom<Description<Shape>>(m), fit.rms, std::move(fit.covariance)};
  simpler.covariance.position = m.center;
  return simpler;
}

/// A simpler shape in the caller's coordinates.
SimplerShape SimplerOf(adaptive::SimplerFit&& fit, const Scene& scene) {
  Model m = fit.model;
  m.center += scene.Origin();
  if (m.kind == ShapeKind::kLine) return SimplerOf<Line>(m, std::move(fit));
  if (m.kind == ShapeKind::kPlane) return SimplerOf<Plane>(m, std::move(fit));
  if (m.kind == ShapeKind::kSphere) return SimplerOf<Sphere>(m, std::move(fit));
  return SimplerOf<Cylinder>(m, std::move(fit));
}

/// What was found, as the caller sees it.
template <class Shape>
FitResult<Shape> ResultOf(adaptive::Outcome out, const adaptive::Start& start, const Scene& scene,
                          std::span<const Vector3d> stations) {
  FitResult<Shape> result;
  const adaptive::Converged& c = out.converged;
  const double strayShare = StrayShareOf(c);
  std::vector<std::uint32_t> chosen = scene.WithCopies(std::move(out.converged.inliers));
  // The inliers, and behind them the points that are none because they stand alone.
  const Scratch<Vector3d> near(chosen.size() + c.isolated.size());
  const auto at = [&](std::uint32_t i) { return scene.Points()[i]; };
  Vector3d* const end = std::transform(chosen.begin(), chosen.end(), near.data(), at);
  std::transform(c.isolated.begin(), c.isolated.end(), end, at);
  FaceStations(stations, {near.data(), chosen.size()}, start.held, scene.Origin(), out);
  result.quality = WithShape(out.model, [&](auto shape) {
    return shape.CalculateQuality(2 * out.report.noise, static_cast<int>(chosen.size()), near.data());
  });
  AxisFrame frame(out.model, {near.data(), chosen.size() + c.isolated.size()});
  Model m = out.model;
  m.center += scene.Origin();
  if (start.model) m = WithComponents(m, start.held, *start.model);
  frame.axis = m.axis;
  frame.mayHoldStrays = !c.isOfAllPoints;
  frame.strayShare = strayShare;
  frame.noise = c.noise;
  result.inliers = scene.GivenIndices(std::move(chosen));
  result.covariance = std::move(out.covariance);
  result.covariance.position = m.center;
  Bound(m, frame, out.bounds, result);
  result.report = std::move(out.report);
  std::tie(result.report.leastDeviation, result.report.largestDeviation) =
      Deviations(out.model, {near.data(), result.inliers.size()});
  if (out.simpler) result.report.simpler = SimplerOf(*std::move(out.simpler), scene);
  return result;
}

}  // namespace

template <class Shape>
FitResult<Shape> fit(PointView points, const FitOptions<Shape>& options) {
  using D = Description<Shape>;
  adaptive::Budget budget({.seconds = options.timeLimit, .draws = options.mostDraws}, options.progress);
  // First of all: what is reserved for each point would overflow.
  if (points.Count() > std::numeric_limits<int>::max()) throw FitError(messages::kTooManyPoints);
  adaptive::RequireInRange(options, points.Count());
  // Earlier versions end before these.
  const bool allPoints = options.version >= 2 && options.allPoints;
  const std::span<const Vector3d> stations =
      options.version >= 2 ? options.stations : std::span<const Vector3d>();
  adaptive::RequireFinite(stations);
  if (points.IsNull() || points.Count() == 0) throw FitError(messages::kPointsMissing);
  const FitMemory memory(points.Count() * (2 * sizeof(Vector3d) + sizeof(double)) + (std::size_t{1} << 20));
  Scene scene(points, options.weights, budget,
              allPoints ? adaptive::Crowds::kKeep : adaptive::Crowds::kSetAside);
  if (scene.Points().empty()) throw FitError(messages::kPointsMissing);

  const adaptive::Start start = StartOf<D>(options.constraints);
  adaptive::Start inScene = start;
  if (inScene.model) inScene.model->center -= scene.Origin();
  const auto search = std::is_same_v<Shape, Elbow> ? adaptive::FindElbow : adaptive::FindShape;
  const auto find = allPoints ? adaptive::FitAllPoints : search;
  return ResultOf<Shape>(find(D::kKind, scene, options, inScene, budget), start, scene, stations);
}

template PRIMFIT_API FitResult<Line> fit(PointView, const FitOptions<Line>&);
template PRIMFIT_API FitResult<Arc> fit(PointView, const FitOptions<Arc>&);
template PRIMFIT_API FitResult<Plane> fit(PointView, const FitOptions<Plane>&);
template PRIMFIT_API FitResult<Patch> fit(PointView, const FitOptions<Patch>&);
template PRIMFIT_API FitResult<Sphere> fit(PointView, const FitOptions<Sphere>&);
template PRIMFIT_API FitResult<Cylinder> fit(PointView, const FitOptions<Cylinder>&);
template PRIMFIT_API FitResult<BoundedCylinder> fit(PointView, const FitOptions<BoundedCylinder>&);
template PRIMFIT_API FitResult<Cone> fit(PointView, const FitOptions<Cone>&);
template PRIMFIT_API FitResult<BoundedCone> fit(PointView, const FitOptions<BoundedCone>&);
template PRIMFIT_API FitResult<Torus> fit(PointView, const FitOptions<Torus>&);
template PRIMFIT_API FitResult<Elbow> fit(PointView, const FitOptions<Elbow>&);

}  // namespace primfit
