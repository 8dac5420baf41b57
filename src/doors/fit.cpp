#include "primfit/fit.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <utility>

#include "adaptive/evidence/extent.h"
#include "adaptive/find_shape.h"
#include "adaptive/search/plausible.h"
#include "fit/fit_memory.h"
#include "fit/messages.h"
#include "fit/vector_math.h"
#include "outline/azimuth.h"
#include "outline/outline.h"
#include "primitives/records.h"
#include "shapes/shape_of_model.h"

using Eigen::Vector3d;

namespace primfit {

namespace {

/// The inliers as the record's bounds are measured on them: about a centre, along an axis and two
/// perpendiculars of it.
struct AxisFrame {
  Vector3d center, axis, u, w;
  std::span<const Vector3d> points;

  template <class Of>
  std::vector<double> Each(const Of& of) const {
    std::vector<double> values(points.size());
    std::transform(points.begin(), points.end(), values.begin(),
                   [&](const Vector3d& p) { return of(Vector3d(p - center)); });
    return values;
  }
  Vector3d At(double azimuth) const { return std::cos(azimuth) * u + std::sin(azimuth) * w; }
};

Extent ExtentOf(Bounds bounds, const AxisFrame& frame) {
  if (bounds == Bounds::kAlongAxis) {
    const auto reach = adaptive::ReachAlong(frame.Each([&](const Vector3d& q) { return q.dot(frame.axis); }));
    return {reach.low, reach.high, Vector3d::Zero()};
  }
  if (bounds == Bounds::kAboutAxis) {
    const auto reach = adaptive::ReachAround(
        frame.Each([&](const Vector3d& q) { return SquareAzimuth(q.dot(frame.u), q.dot(frame.w)); }));
    return {reach.low, reach.high, frame.At(reach.low)};
  }
  return {};
}

FitOutputParamsPatch PatchOf(const Model& m, const AxisFrame& frame) {
  std::vector<double> projected;
  projected.reserve(2 * frame.points.size());
  for (const Vector3d& p : frame.points) {
    projected.push_back((p - frame.center).dot(frame.u));
    projected.push_back((p - frame.center).dot(frame.w));
  }
  Loop loop = OutlineOf(projected.data(), static_cast<int>(frame.points.size()));
  return {m.center, m.axis, loop.count, loop.vertices.release(), frame.u};
}

/// @param m  in the caller's coordinates, the frame about the model as it was fitted
template <class D>
typename D::Record RecordOf(const Model& m, const AxisFrame& frame) {
  if constexpr (D::kBounds == Bounds::kOutline)
    return PatchOf(m, frame);
  else
    return RecordFrom<D>(m, ExtentOf(D::kBounds, frame));
}

}  // namespace

template <class Shape>
FitResult<Shape> fit(PointView points, const FitOptions<Shape>& options) {
  using D = Description<Shape>;
  using StartD = typename D::Start;
  adaptive::Budget budget(options.timeLimit, options.progress);
  // First of all: what is reserved for each point would overflow.
  if (points.Count() > std::numeric_limits<int>::max()) throw FitError(messages::kTooManyPoints);
  adaptive::RequireInRange(options, points.Count());
  if (points.IsNull() || points.Count() == 0) throw FitError(messages::kPointsMissing);
  const FitMemory memory(points.Count() * (2 * sizeof(Vector3d) + sizeof(double)) + (std::size_t{1} << 20));
  const adaptive::Frame frame(points, options.weights, budget);
  if (frame.Points().empty()) throw FitError(messages::kPointsMissing);

  adaptive::Given given, framed;
  if (options.constraints != nullptr) {
    if (const auto* start = (options.constraints->*D::kStartOf)()) {
      given = framed = {HeldComponents<StartD>(*options.constraints), ModelFrom<StartD>(*start)};
      framed.model->center -= frame.Origin();
    }
  }
  adaptive::Outcome out = adaptive::FindShape(D::kKind, frame, options, framed, budget);

  FitResult<Shape> result;
  std::vector<std::uint32_t> chosen = frame.WithCopies(std::move(out.converged.inliers));
  const Scratch<Vector3d> inliers(chosen.size());
  std::transform(chosen.begin(), chosen.end(), inliers.data(),
                 [&](std::uint32_t i) { return frame.Points()[i]; });
  result.quality = WithShape(out.model, [&](auto shape) {
    return shape.CalculateQuality(2 * out.report.noise, static_cast<int>(chosen.size()), inliers.data());
  });
  AxisFrame about{.center = out.model.center,
                  .axis = out.model.axis,
                  .u = UnitOrthogonal(out.model.axis),
                  .w = {},
                  .points = {inliers.data(), chosen.size()}};
  about.w = about.axis.cross(about.u);
  Model m = out.model;
  m.center += frame.Origin();
  if (given.model) m = WithComponents(m, given.held, *given.model);
  about.axis = m.axis;
  result.shape = RecordOf<D>(m, about);
  result.inliers = frame.PlacesOf(std::move(chosen));
  result.covariance = std::move(out.covariance);
  result.covariance.position = m.center;
  result.report = std::move(out.report);
  return result;
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
