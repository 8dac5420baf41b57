// What each primitive tells the one pipeline of api/fit_pipeline.h beside its description: its classes, its
// texts, when the refinement rides along with the search, and how its optimizer holds parts. Held parts do
// not go through the working frame and back: the record takes the constraint's own numbers.
#ifndef PRIMFIT_SRC_API_PRIMITIVES_H_
#define PRIMFIT_SRC_API_PRIMITIVES_H_

#include <Eigen/Geometry>
#include <cstddef>
#include <memory>
#include <tuple>
#include <utility>

#include "api/extents.h"
#include "api/fit_pipeline.h"
#include "fit/held_parts.h"
#include "optimize/optimizers.h"
#include "primitives/records.h"
#include "ransac/searches.h"
#include "shapes/shape_of_model.h"

namespace primfit {

/// A start from the constraints' shape is the caller's choice, and needs one.
struct StartsWhenAsked {
  static bool NeedsStart(bool skipEstimator) { return skipEstimator; }
  static bool StartsFromConstraints(bool skipEstimator) { return skipEstimator; }
};

/// The search is left out only when the caller asks for both: start from the given shape, refine once.
struct SearchUnlessRefinedOnce {
  static bool SkipsSearch(bool fromStart, bool optimizeOnce) { return fromStart && optimizeOnce; }
};

/// A refinement only where a part is held: the search ends with a least-squares estimate of its own.
struct RefineHeld {
  static bool RefinesInSearch(int held, double /*scannerError*/) { return held > 0; }
  static bool RefinesAfterSearch(int held) { return held > 0; }
};

/// A refinement of every candidate unless the points are exact.
struct RefineNoisy {
  static bool RefinesInSearch(int held, double scannerError) { return held > 0 || scannerError > 1e-6; }
};

/// The refinement of a single pass: it always runs, or only where a part is held.
struct RefineOnceAlways : RefineNoisy {
  static bool RefinesAfterSearch(int /*held*/) { return true; }
};
struct RefineOnceHeld : RefineNoisy {
  static bool RefinesAfterSearch(int held) { return held > 0; }
};

/// What follows from a primitive's description D and its classes.
template <class D_, class S, class O, class Ransac>
struct PrimitiveOf {
  using D = D_;
  using Record = typename D::Record;
  using Constraints = typename D::Constraints;
  using StartRecord = Record;  ///< the record that constraints bring
  using Shape = S;
  using Optimizer = O;
  using Search = Ransac;
  static constexpr int kFixable = kHoldableCount<D>;

  static const StartRecord* StartOf(const Constraints& c) { return (c.*D::kStartOf)(); }
  /// The start in the working frame.
  static std::unique_ptr<const Shape> StartShape(const StartRecord& start, const Eigen::Vector3d& origin) {
    Model m = ModelFrom<D>(start);
    m.center -= origin;
    return std::make_unique<const Shape>(ShapeFrom<Shape>(m));
  }
  /// An optimizer that owns the start shape as its own.
  static Optimizer MakeOptimizer(double scannerError, bool screen, const Shape* start,
                                 const StartRecord* /*record*/, const Eigen::Vector3d& /*origin*/) {
    return Optimizer(scannerError, screen, start);
  }
  static bool CanHold(const Constraints& c, const StartRecord& start, bool /*fromStart*/) {
    return primfit::CanHold<D>(c, start);
  }
  /// The unbounded shape in the caller's frame, with the numbers of the parts that were held.
  /// @param held  null where no part was
  static Model ModelFor(const Fitted<Shape>& f, const Constraints* held) {
    Model m = ModelOf(f.Shape());
    m.center += f.used.Origin();
    if (held == nullptr) return m;
    return WithComponents(m, HeldComponents<D>(*held), ModelFrom<D>(*StartOf(*held)));
  }
  static Record ToRecord(const Fitted<Shape>& f, const Constraints* held) {
    return RecordFrom<D>(ModelFor(f, held));
  }
};

/// Holds the parts of constraints in an optimizer. @return how many
/// @param setters  of the optimizer, in the order of the description's parts
template <class P, class... Setters>
int HoldIn(typename P::Optimizer& optimizer, const typename P::Constraints& c,
           const typename P::StartRecord& start, const Eigen::Vector3d& origin, Setters... setters) {
  int held = 0;
  const auto hold = [&](const auto& part, auto setter) {
    if (!(c.*part.isHeld)()) return;
    ++held;
    if constexpr (std::is_same_v<decltype(std::invoke(part.get, start)), double>)
      (optimizer.*setter)(std::invoke(part.get, start));
    else if (QuantityOf(part.part) == Quantity::kPosition)
      (optimizer.*setter)(std::invoke(part.get, start) - origin);
    else
      (optimizer.*setter)(std::invoke(part.get, start));
  };
  std::apply([&](const auto&... parts) { (hold(parts, setters), ...); }, HoldableParts<typename P::D>());
  return held;
}

struct PlanePrimitive : PrimitiveOf<Description<Plane>, OutputPlane, PlaneOptimizer, RansacPlane>,
                        MessagesOf<names::kPlane>,
                        StartsWhenAsked,
                        SearchUnlessRefinedOnce,
                        RefineHeld {
  static int Hold(const Constraints& c, const StartRecord& start, const Eigen::Vector3d& origin,
                  Optimizer& to) {
    return HoldIn<PlanePrimitive>(to, c, start, origin, &Optimizer::FixOrigin, &Optimizer::FixNormal);
  }
};

struct SpherePrimitive : PrimitiveOf<Description<Sphere>, OutputSphere, SphereOptimizer, RansacSphere>,
                         MessagesOf<names::kSphere>,
                         StartsWhenAsked,
                         SearchUnlessRefinedOnce,
                         RefineHeld {
  /// Deliberate: no start shape of its own, so a sphere search never makes its candidates from the given
  /// sphere.
  static Optimizer MakeOptimizer(double scannerError, bool screen, const Shape*, const StartRecord*,
                                 const Eigen::Vector3d&) {
    return Optimizer(scannerError, screen, nullptr);
  }
  static int Hold(const Constraints& c, const StartRecord& start, const Eigen::Vector3d& origin,
                  Optimizer& to) {
    return HoldIn<SpherePrimitive>(to, c, start, origin, &Optimizer::FixCenter, &Optimizer::FixRadius);
  }
};

struct CylinderPrimitive
    : PrimitiveOf<Description<Cylinder>, OutputCylinder, CylinderOptimizer, RansacCylinder>,
      MessagesOf<names::kCylinder>,
      StartsWhenAsked,
      SearchUnlessRefinedOnce,
      RefineOnceAlways {
  static int Hold(const Constraints& c, const StartRecord& start, const Eigen::Vector3d& origin,
                  Optimizer& to) {
    return HoldIn<CylinderPrimitive>(to, c, start, origin, &Optimizer::FixOrigin, &Optimizer::FixRadius,
                                     &Optimizer::FixAxis);
  }
};

struct ConePrimitive : PrimitiveOf<Description<Cone>, OutputCone, ConeOptimizer, RansacCone>,
                       MessagesOf<names::kCone>,
                       StartsWhenAsked,
                       SearchUnlessRefinedOnce,
                       RefineOnceAlways {
  static int Hold(const Constraints& c, const StartRecord& start, const Eigen::Vector3d& origin,
                  Optimizer& to) {
    return HoldIn<ConePrimitive>(to, c, start, origin, &Optimizer::FixApex, &Optimizer::FixAngle,
                                 &Optimizer::FixAxis);
  }
};

struct TorusPrimitive : PrimitiveOf<Description<Torus>, OutputTorus, TorusOptimizer, RansacTorus>,
                        MessagesOf<names::kTorus>,
                        StartsWhenAsked,
                        RefineOnceAlways {
  static constexpr Failure NotProvided() { return messages::kTorusNotProvided; }
  static bool SkipsSearch(bool fromStart, bool /*optimizeOnce*/) { return fromStart; }
  static int Hold(const Constraints& c, const StartRecord& start, const Eigen::Vector3d& origin,
                  Optimizer& to) {
    return HoldIn<TorusPrimitive>(to, c, start, origin, &Optimizer::FixCenter, &Optimizer::FixMajorRadius,
                                  &Optimizer::FixMinorRadius, &Optimizer::FixAxis);
  }
};

/// A torus through one cross-section of its tube, which an arc describes: centre, radius and plane. The arc
/// is always needed; it is no start shape, and its flags are not read.
struct TorusThroughArcPrimitive : MessagesOf<names::kTorus> {
  using Shape = OutputTorus;
  using Record = FitOutputParamsTorus;
  using StartRecord = FitOutputParamsArc;
  using Constraints = FitConstraintsArc;
  using Optimizer = TorusProfileOptimizer;
  using Search = RansacTorus;
  static constexpr int kFixable = 1;

  static constexpr Failure NotProvided() { return messages::kConstraintMissing; }
  static bool NeedsStart(bool /*skipEstimator*/) { return true; }
  static bool StartsFromConstraints(bool /*skipEstimator*/) { return false; }
  static bool SkipsSearch(bool /*fromStart*/, bool /*optimizeOnce*/) { return false; }
  static bool RefinesInSearch(int /*held*/, double /*scannerError*/) { return true; }
  static bool RefinesAfterSearch(int /*held*/) { return true; }
  static const StartRecord* StartOf(const Constraints& c) { return c.GetArc(); }
  static std::unique_ptr<const Shape> StartShape(const StartRecord&, const Eigen::Vector3d&) {
    return nullptr;
  }
  static Optimizer MakeOptimizer(double scannerError, bool screen, const Shape*, const StartRecord* arc,
                                 const Eigen::Vector3d& origin) {
    return Optimizer(scannerError, screen, arc->Center() - origin, arc->Radius(),
                     arc->XAxis().cross(arc->YAxis()));
  }
  static int Hold(const Constraints&, const StartRecord&, const Eigen::Vector3d&, Optimizer&) { return 0; }
  static bool CanHold(const Constraints&, const StartRecord& arc, bool /*fromStart*/) {
    return IsPlace(arc.Center()) && IsSize(arc.Radius()) && HasPlane(arc);
  }
  static Record ToRecord(const Fitted<Shape>& f, const Constraints*) {
    return TorusPrimitive::ToRecord(f, nullptr);
  }
};

/// A line becomes the segment that its points cover; a held root only says where the line passes.
struct LinePrimitive : PrimitiveOf<Description<Line>, OutputLine, LineOptimizer, RansacLine>,
                       MessagesOf<names::kLine>,
                       StartsWhenAsked,
                       SearchUnlessRefinedOnce,
                       RefineOnceHeld {
  static int Hold(const Constraints& c, const StartRecord& start, const Eigen::Vector3d& origin,
                  Optimizer& to) {
    return HoldIn<LinePrimitive>(to, c, start, origin, &Optimizer::FixRoot, &Optimizer::FixDirection);
  }
  static Record ToRecord(const Fitted<Shape>& f, const Constraints* held) {
    const AxialRange range = RangeAlong(f);
    Model m = ModelOf(f.Shape());
    m.center += range.low * m.axis;
    m.center += f.used.Origin();
    if (held != nullptr && held->DirectionFixed()) m.axis = StartOf(*held)->Direction();
    return RecordFrom<D>(m, {.low = 0, .high = range.high - range.low});
  }
};

/// A circle becomes the arc that its close points cover.
struct ArcPrimitive : PrimitiveOf<Description<Arc>, OutputCircle, CircleOptimizer, RansacCircle>,
                      MessagesOf<names::kArc>,
                      StartsWhenAsked,
                      SearchUnlessRefinedOnce,
                      RefineOnceHeld {
  static int Hold(const Constraints& c, const StartRecord& start, const Eigen::Vector3d& origin,
                  Optimizer& to) {
    return HoldIn<ArcPrimitive>(to, c, start, origin, &Optimizer::FixCenter, &Optimizer::FixRadius);
  }
  static bool CanHold(const Constraints& c, const StartRecord& start, bool fromStart) {
    return primfit::CanHold<D>(c, start) && (!fromStart || HasPlane(start));
  }
  static Record ToRecord(const Fitted<Shape>& f, const Constraints* held) {
    Extent extent;
    extent.high = ElbowAngularExtent(f.Shape().Center(), f.Shape().Axis(), f.close, extent.startDirection);
    return RecordFrom<D>(ModelFor(f, held), extent);
  }
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_API_PRIMITIVES_H_
