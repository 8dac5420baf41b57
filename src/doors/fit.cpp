#include "primfit/fit.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

#include "adaptive/evidence/extent.h"
#include "adaptive/find_shape.h"
#include "adaptive/scene/plausible.h"
#include "fit/fit_memory.h"
#include "fit/messages.h"
#include "fit/vector_math.h"
#include "outline/azimuth.h"
#include "outline/outline.h"

using Eigen::Vector3d;

namespace primfit {

namespace {

using adaptive::Given;
using adaptive::Model;
using adaptive::Scene;
using adaptive::ShapeKind;

// The way of each kind's constraints into a model and of a model into the kind's record.

unsigned Bits(bool center, bool axis, bool major, bool minor) {
  return (center ? adaptive::kCenter : 0U) | (axis ? adaptive::kAxis : 0U) | (major ? adaptive::kMajor : 0U) |
         (minor ? adaptive::kMinor : 0U);
}

template <class Constraints>
struct KindOf;

template <>
struct KindOf<FitConstraintsLine> {
  static constexpr ShapeKind kKind = ShapeKind::kLine;
  static auto* Shape(const FitConstraintsLine& c) { return c.GetLine(); }
  static Given Of(const FitConstraintsLine& c) {
    return {Bits(c.RootFixed(), c.DirectionFixed(), false, false),
            Model{kKind, Shape(c)->Root(), Shape(c)->Direction(), 0, 0}};
  }
};
template <>
struct KindOf<FitConstraintsArc> {
  static constexpr ShapeKind kKind = ShapeKind::kArc;
  static auto* Shape(const FitConstraintsArc& c) { return c.GetArc(); }
  static Given Of(const FitConstraintsArc& c) {
    const Vector3d axis = Normalised(Shape(c)->XAxis().cross(Shape(c)->YAxis()));
    return {Bits(c.CenterFixed(), false, false, c.RadiusFixed()),
            Model{kKind, Shape(c)->Center(), axis, 0, Shape(c)->Radius()}};
  }
};
template <>
struct KindOf<FitConstraintsPlane> {
  static constexpr ShapeKind kKind = ShapeKind::kPlane;
  static auto* Shape(const FitConstraintsPlane& c) { return c.GetPlane(); }
  static Given Of(const FitConstraintsPlane& c) {
    return {Bits(c.OriginFixed(), c.NormalFixed(), false, false),
            Model{kKind, Shape(c)->Origin(), Shape(c)->Normal(), 0, 0}};
  }
};
template <>
struct KindOf<FitConstraintsSphere> {
  static constexpr ShapeKind kKind = ShapeKind::kSphere;
  static auto* Shape(const FitConstraintsSphere& c) { return c.GetSphere(); }
  static Given Of(const FitConstraintsSphere& c) {
    return {Bits(c.CenterFixed(), false, false, c.RadiusFixed()),
            Model{kKind, Shape(c)->Center(), Vector3d::UnitZ(), 0, Shape(c)->Radius()}};
  }
};
template <>
struct KindOf<FitConstraintsCylinder> {
  static constexpr ShapeKind kKind = ShapeKind::kCylinder;
  static auto* Shape(const FitConstraintsCylinder& c) { return c.GetCylinder(); }
  static Given Of(const FitConstraintsCylinder& c) {
    return {Bits(c.OriginFixed(), c.AxisFixed(), false, c.RadiusFixed()),
            Model{kKind, Shape(c)->Origin(), Shape(c)->Axis(), 0, Shape(c)->Radius()}};
  }
};
template <>
struct KindOf<FitConstraintsCone> {
  static constexpr ShapeKind kKind = ShapeKind::kCone;
  static auto* Shape(const FitConstraintsCone& c) { return c.GetCone(); }
  static Given Of(const FitConstraintsCone& c) {
    return {Bits(c.ApexFixed(), c.AxisFixed(), false, c.AngleFixed()),
            Model{kKind, Shape(c)->Apex(), Shape(c)->Axis(), 0, Shape(c)->Angle()}};
  }
};
template <>
struct KindOf<FitConstraintsTorus> {
  static constexpr ShapeKind kKind = ShapeKind::kTorus;
  static auto* Shape(const FitConstraintsTorus& c) { return c.GetTorus(); }
  static Given Of(const FitConstraintsTorus& c) {
    return {
        Bits(c.CenterFixed(), c.AxisFixed(), c.MajorRadiusFixed(), c.MinorRadiusFixed()),
        Model{kKind, Shape(c)->Center(), Shape(c)->Axis(), Shape(c)->MajorRadius(), Shape(c)->MinorRadius()}};
  }
};

/// What a record is made of: numbers of the model in the caller's coordinates, parts that were held as they
/// were given, and the inliers about the model's centre.
struct Findings {
  Model model;
  Vector3d u, w;                      // perpendicular to the axis
  std::span<const Vector3d> inliers;  // relative to the scene's origin
  Vector3d center;                    // relative to the scene's origin

  std::vector<double> Along() const {
    return Each([&](const Vector3d& q) { return q.dot(model.axis); });
  }
  std::vector<double> Around() const {
    return Each([&](const Vector3d& q) { return SquareAzimuth(q.dot(u), q.dot(w)); });
  }
  Vector3d At(double azimuth) const { return std::cos(azimuth) * u + std::sin(azimuth) * w; }

 private:
  template <class Of>
  std::vector<double> Each(const Of& of) const {
    std::vector<double> values(inliers.size());
    std::transform(inliers.begin(), inliers.end(), values.begin(),
                   [&](const Vector3d& p) { return of(Vector3d(p - center)); });
    return values;
  }
};

template <class Shape>
typename Shape::Record RecordOf(const Findings& f) {
  const Model& m = f.model;
  using adaptive::Reach;
  if constexpr (std::is_same_v<Shape, Line>) {
    const Reach reach = adaptive::ReachAlong(f.Along());
    return {m.center + reach.low * m.axis, m.axis, reach.Length()};
  } else if constexpr (std::is_same_v<Shape, Arc>) {
    const Reach reach = adaptive::ReachAround(f.Around());
    const Vector3d xAxis = f.At(reach.low);
    return {m.center, m.minor, xAxis, m.axis.cross(xAxis), reach.Length()};
  } else if constexpr (std::is_same_v<Shape, Plane>) {
    return {m.center, m.axis};
  } else if constexpr (std::is_same_v<Shape, Patch>) {
    std::vector<double> projected;
    projected.reserve(2 * f.inliers.size());
    for (const Vector3d& p : f.inliers) {
      projected.push_back((p - f.center).dot(f.u));
      projected.push_back((p - f.center).dot(f.w));
    }
    Loop loop = OutlineOf(projected.data(), static_cast<int>(f.inliers.size()));
    return {m.center, m.axis, loop.count, loop.vertices.release(), f.u};
  } else if constexpr (std::is_same_v<Shape, Sphere>) {
    return {m.center, m.minor};
  } else if constexpr (std::is_same_v<Shape, Cylinder> || std::is_same_v<Shape, Cone>) {
    return {m.center, m.minor, m.axis};
  } else if constexpr (std::is_same_v<Shape, BoundedCylinder>) {
    const Reach reach = adaptive::ReachAlong(f.Along());
    return {m.center + reach.low * m.axis, m.minor, m.axis, reach.Length()};
  } else if constexpr (std::is_same_v<Shape, BoundedCone>) {
    const Reach reach = adaptive::ReachAlong(f.Along());
    return {m.center, m.minor, m.axis, reach.low, reach.high};
  } else if constexpr (std::is_same_v<Shape, Torus>) {
    return {m.center, m.major, m.minor, m.axis};
  } else {
    const Reach reach = adaptive::ReachAround(f.Around());
    return {m.center, m.major, m.minor, m.axis, reach.Length(), f.At(reach.low)};
  }
}

}  // namespace

template <class Shape>
FitResult<Shape> fit(PointView points, const FitOptions<Shape>& options) {
  using Traits = KindOf<typename Shape::Constraints>;
  adaptive::Budget budget({.seconds = options.timeLimit, .draws = options.mostDraws}, options.progress);
  // First of all: what is reserved for each point would overflow.
  if (points.Count() > std::numeric_limits<int>::max()) throw FitError(messages::kTooManyPoints);
  adaptive::RequireInRange(options, points.Count());
  if (points.IsNull() || points.Count() == 0) throw FitError(messages::kPointsMissing);
  const FitMemory memory(points.Count() * (2 * sizeof(Vector3d) + sizeof(double)) + (std::size_t{1} << 20));
  Scene scene(points, options.weights, budget);
  if (scene.Points().empty()) throw FitError(messages::kPointsMissing);

  Given given, framed;
  if (options.constraints != nullptr && Traits::Shape(*options.constraints) != nullptr) {
    given = framed = Traits::Of(*options.constraints);
    framed.model->center -= scene.Origin();
  }
  adaptive::Outcome out = adaptive::FindShape(Traits::kKind, scene, options, framed, budget);

  FitResult<Shape> result;
  std::vector<std::uint32_t> chosen = scene.WithCopies(std::move(out.converged.inliers));
  const Scratch<Vector3d> inliers(chosen.size());
  std::transform(chosen.begin(), chosen.end(), inliers.data(),
                 [&](std::uint32_t i) { return scene.Points()[i]; });
  result.quality = adaptive::WithShape(out.model, [&](auto shape) {
    return shape.CalculateQuality(2 * out.report.noise, static_cast<int>(chosen.size()), inliers.data());
  });
  Model m = out.model;
  Findings findings{.model = m,
                    .u = UnitOrthogonal(m.axis),
                    .w = {},
                    .inliers = {inliers.data(), chosen.size()},
                    .center = m.center};
  findings.w = m.axis.cross(findings.u);
  m.center += scene.Origin();
  if ((given.held & adaptive::kCenter) != 0) m.center = given.model->center;
  if ((given.held & adaptive::kAxis) != 0) m.axis = given.model->axis;
  if ((given.held & adaptive::kMajor) != 0) m.major = given.model->major;
  if ((given.held & adaptive::kMinor) != 0) m.minor = given.model->minor;
  findings.model = m;
  result.shape = RecordOf<Shape>(findings);
  result.inliers = scene.GivenIndices(std::move(chosen));
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
