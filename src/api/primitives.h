// What each primitive tells the one pipeline of api/fit_pipeline.h: its types, its texts, which parts can be
// held, when the refinement rides along with the search, and the way of a record into the working frame and
// of a shape out of it. Held parts do not go through the frame and back: the record takes the constraint's
// own numbers.
#ifndef PRIMFIT_SRC_API_PRIMITIVES_H_
#define PRIMFIT_SRC_API_PRIMITIVES_H_

#include <Eigen/Geometry>
#include <memory>

#include "api/extents.h"
#include "api/fit_pipeline.h"
#include "fit/held_parts.h"
#include "fit/vector_math.h"
#include "optimize/optimizers.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_output_params_arc.h"
#include "primfit/fit/fit_output_params_cone.h"
#include "primfit/fit/fit_output_params_cylinder.h"
#include "primfit/fit/fit_output_params_line.h"
#include "primfit/fit/fit_output_params_plane.h"
#include "primfit/fit/fit_output_params_sphere.h"
#include "primfit/fit/fit_output_params_torus.h"
#include "ransac/searches.h"

namespace primfit {

/// A start from the constraints' shape is the caller's choice, and needs one.
struct StartsWhenAsked {
  static bool NeedsGiven(bool skipEstimator) { return skipEstimator; }
  static bool StartsFromGiven(bool skipEstimator) { return skipEstimator; }
};

/// The search is left out only when the caller asks for both: start from the given shape, refine once.
struct SearchUnlessRefinedOnce {
  static bool SkipsSearch(bool fromGiven, bool optimizeOnce) { return fromGiven && optimizeOnce; }
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

/// The refinement of a single pass always runs, respectively only where a part is held.
struct RefineOnceAlways : RefineNoisy {
  static bool RefinesAfterSearch(int /*held*/) { return true; }
};
struct RefineOnceHeld : RefineNoisy {
  static bool RefinesAfterSearch(int held) { return held > 0; }
};

/// An optimizer that owns the start shape as its own.
template <class O, class S, class G>
struct OwnStart {
  static O MakeOptimizer(double scannerError, bool screen, const S* start, const G* /*given*/,
                         const Eigen::Vector3d& /*origin*/) {
    return O(scannerError, screen, start);
  }
};

/// A direction of constraints' parts as a number: the constraint's own bits where the part was held, else the
/// fit's.
template <class T>
T HeldOr(bool held, const T& given, const T& fitted) {
  return held ? given : fitted;
}

struct PlanePrimitive : MessagesOf<names::kPlane>,
                        StartsWhenAsked,
                        SearchUnlessRefinedOnce,
                        RefineHeld,
                        OwnStart<PlaneOptimizer, OutputPlane, FitOutputParamsPlane> {
  using Shape = OutputPlane;
  using Record = FitOutputParamsPlane;
  using Given = Record;
  using Constraints = FitConstraintsPlane;
  using Optimizer = PlaneOptimizer;
  using Search = RansacPlane;
  static constexpr int kFixable = 2;

  static const Given* GivenBy(const Constraints& c) { return c.GetPlane(); }
  static std::unique_ptr<const Shape> StartShape(const Given& g, const Eigen::Vector3d& origin) {
    return std::make_unique<const Shape>(g.Origin() - origin, g.Normal());
  }
  static int Hold(const Constraints& c, const Given& g, const Eigen::Vector3d& origin, Optimizer& optimizer) {
    if (c.OriginFixed()) optimizer.FixOrigin(g.Origin() - origin);
    if (c.NormalFixed()) optimizer.FixNormal(g.Normal());
    return c.OriginFixed() + c.NormalFixed();
  }
  static bool CanHold(const Constraints& c, const Given& g, bool /*fromGiven*/) {
    return (!c.OriginFixed() || IsPlace(g.Origin())) && (!c.NormalFixed() || IsDirection(g.Normal()));
  }
  static Record ToRecord(const Fitted<Shape>& f, const Constraints* holds) {
    const Shape& s = f.Shape();
    const Eigen::Vector3d origin = s.Center() + f.used.Origin();
    if (holds == nullptr) return {origin, s.Normal()};
    const Given& g = *holds->GetPlane();
    return {HeldOr(holds->OriginFixed(), g.Origin(), origin),
            HeldOr(holds->NormalFixed(), g.Normal(), s.Normal())};
  }
};

struct SpherePrimitive : MessagesOf<names::kSphere>, StartsWhenAsked, SearchUnlessRefinedOnce, RefineHeld {
  using Shape = OutputSphere;
  using Record = FitOutputParamsSphere;
  using Given = Record;
  using Constraints = FitConstraintsSphere;
  using Optimizer = SphereOptimizer;
  using Search = RansacSphere;
  static constexpr int kFixable = 2;

  static const Given* GivenBy(const Constraints& c) { return c.GetSphere(); }
  static std::unique_ptr<const Shape> StartShape(const Given& g, const Eigen::Vector3d& origin) {
    return std::make_unique<const Shape>(g.Center() - origin, g.Radius());
  }
  /// Deliberate: no start shape of its own, so a sphere search never makes its candidates from the given
  /// sphere.
  static Optimizer MakeOptimizer(double scannerError, bool screen, const Shape*, const Given*,
                                 const Eigen::Vector3d&) {
    return Optimizer(scannerError, screen, nullptr);
  }
  static int Hold(const Constraints& c, const Given& g, const Eigen::Vector3d& origin, Optimizer& optimizer) {
    if (c.CenterFixed()) optimizer.FixCenter(g.Center() - origin);
    if (c.RadiusFixed()) optimizer.FixRadius(g.Radius());
    return c.CenterFixed() + c.RadiusFixed();
  }
  static bool CanHold(const Constraints& c, const Given& g, bool /*fromGiven*/) {
    return (!c.CenterFixed() || IsPlace(g.Center())) && (!c.RadiusFixed() || IsSize(g.Radius()));
  }
  static Record ToRecord(const Fitted<Shape>& f, const Constraints* holds) {
    const Shape& s = f.Shape();
    const Eigen::Vector3d center = s.Center() + f.used.Origin();
    if (holds == nullptr) return {center, s.Radius()};
    const Given& g = *holds->GetSphere();
    return {HeldOr(holds->CenterFixed(), g.Center(), center),
            HeldOr(holds->RadiusFixed(), g.Radius(), s.Radius())};
  }
};

struct CylinderPrimitive : MessagesOf<names::kCylinder>,
                           StartsWhenAsked,
                           SearchUnlessRefinedOnce,
                           RefineOnceAlways,
                           OwnStart<CylinderOptimizer, OutputCylinder, FitOutputParamsCylinder> {
  using Shape = OutputCylinder;
  using Record = FitOutputParamsCylinder;
  using Given = Record;
  using Constraints = FitConstraintsCylinder;
  using Optimizer = CylinderOptimizer;
  using Search = RansacCylinder;
  static constexpr int kFixable = 3;

  static const Given* GivenBy(const Constraints& c) { return c.GetCylinder(); }
  static std::unique_ptr<const Shape> StartShape(const Given& g, const Eigen::Vector3d& origin) {
    return std::make_unique<const Shape>(g.Origin() - origin, g.Radius(), g.Axis());
  }
  static int Hold(const Constraints& c, const Given& g, const Eigen::Vector3d& origin, Optimizer& optimizer) {
    if (c.OriginFixed()) optimizer.FixOrigin(g.Origin() - origin);
    if (c.RadiusFixed()) optimizer.FixRadius(g.Radius());
    if (c.AxisFixed()) optimizer.FixAxis(g.Axis());
    return c.OriginFixed() + c.RadiusFixed() + c.AxisFixed();
  }
  static bool CanHold(const Constraints& c, const Given& g, bool /*fromGiven*/) {
    return (!c.OriginFixed() || IsPlace(g.Origin())) && (!c.RadiusFixed() || IsSize(g.Radius())) &&
           (!c.AxisFixed() || IsDirection(g.Axis()));
  }
  static Record ToRecord(const Fitted<Shape>& f, const Constraints* holds) {
    const Shape& s = f.Shape();
    const Eigen::Vector3d center = s.Center() + f.used.Origin();
    if (holds == nullptr) return {center, s.Radius(), s.Axis()};
    const Given& g = *holds->GetCylinder();
    return {HeldOr(holds->OriginFixed(), g.Origin(), center),
            HeldOr(holds->RadiusFixed(), g.Radius(), s.Radius()),
            HeldOr(holds->AxisFixed(), g.Axis(), s.Axis())};
  }
};

struct ConePrimitive : MessagesOf<names::kCone>,
                       StartsWhenAsked,
                       SearchUnlessRefinedOnce,
                       RefineOnceAlways,
                       OwnStart<ConeOptimizer, OutputCone, FitOutputParamsCone> {
  using Shape = OutputCone;
  using Record = FitOutputParamsCone;
  using Given = Record;
  using Constraints = FitConstraintsCone;
  using Optimizer = ConeOptimizer;
  using Search = RansacCone;
  static constexpr int kFixable = 3;

  static const Given* GivenBy(const Constraints& c) { return c.GetCone(); }
  static std::unique_ptr<const Shape> StartShape(const Given& g, const Eigen::Vector3d& origin) {
    return std::make_unique<const Shape>(g.Apex() - origin, g.Angle(), g.Axis());
  }
  static int Hold(const Constraints& c, const Given& g, const Eigen::Vector3d& origin, Optimizer& optimizer) {
    if (c.ApexFixed()) optimizer.FixApex(g.Apex() - origin);
    if (c.AngleFixed()) optimizer.FixAngle(g.Angle());
    if (c.AxisFixed()) optimizer.FixAxis(g.Axis());
    return c.ApexFixed() + c.AngleFixed() + c.AxisFixed();
  }
  static bool CanHold(const Constraints& c, const Given& g, bool /*fromGiven*/) {
    return (!c.ApexFixed() || IsPlace(g.Apex())) && (!c.AngleFixed() || IsSize(g.Angle())) &&
           (!c.AxisFixed() || IsDirection(g.Axis()));
  }
  static Record ToRecord(const Fitted<Shape>& f, const Constraints* holds) {
    const Shape& s = f.Shape();
    const Eigen::Vector3d apex = s.Apex() + f.used.Origin();
    if (holds == nullptr) return {apex, s.Angle(), s.Axis()};
    const Given& g = *holds->GetCone();
    return {HeldOr(holds->ApexFixed(), g.Apex(), apex), HeldOr(holds->AngleFixed(), g.Angle(), s.Angle()),
            HeldOr(holds->AxisFixed(), g.Axis(), s.Axis())};
  }
};

struct TorusPrimitive : MessagesOf<names::kTorus>,
                        StartsWhenAsked,
                        RefineOnceAlways,
                        OwnStart<TorusOptimizer, OutputTorus, FitOutputParamsTorus> {
  using Shape = OutputTorus;
  using Record = FitOutputParamsTorus;
  using Given = Record;
  using Constraints = FitConstraintsTorus;
  using Optimizer = TorusOptimizer;
  using Search = RansacTorus;
  static constexpr int kFixable = 4;

  static constexpr Failure NotProvided() { return messages::kTorusNotProvided; }
  static bool SkipsSearch(bool fromGiven, bool /*optimizeOnce*/) { return fromGiven; }
  static const Given* GivenBy(const Constraints& c) { return c.GetTorus(); }
  static std::unique_ptr<const Shape> StartShape(const Given& g, const Eigen::Vector3d& origin) {
    return std::make_unique<const Shape>(g.Center() - origin, g.MajorRadius(), g.MinorRadius(), g.Axis());
  }
  static int Hold(const Constraints& c, const Given& g, const Eigen::Vector3d& origin, Optimizer& optimizer) {
    if (c.CenterFixed()) optimizer.FixCenter(g.Center() - origin);
    if (c.MajorRadiusFixed()) optimizer.FixMajorRadius(g.MajorRadius());
    if (c.MinorRadiusFixed()) optimizer.FixMinorRadius(g.MinorRadius());
    if (c.AxisFixed()) optimizer.FixAxis(g.Axis());
    return c.CenterFixed() + c.MajorRadiusFixed() + c.MinorRadiusFixed() + c.AxisFixed();
  }
  static bool CanHold(const Constraints& c, const Given& g, bool /*fromGiven*/) {
    return (!c.CenterFixed() || IsPlace(g.Center())) && (!c.MajorRadiusFixed() || IsSize(g.MajorRadius())) &&
           (!c.MinorRadiusFixed() || IsSize(g.MinorRadius())) && (!c.AxisFixed() || IsDirection(g.Axis()));
  }
  static Record ToRecord(const Fitted<Shape>& f, const Constraints* holds) {
    const Shape& s = f.Shape();
    const Eigen::Vector3d center = s.Center() + f.used.Origin();
    if (holds == nullptr) return {center, s.MajorRadius(), s.MinorRadius(), s.Axis()};
    const Given& g = *holds->GetTorus();
    return {HeldOr(holds->CenterFixed(), g.Center(), center),
            HeldOr(holds->MajorRadiusFixed(), g.MajorRadius(), s.MajorRadius()),
            HeldOr(holds->MinorRadiusFixed(), g.MinorRadius(), s.MinorRadius()),
            HeldOr(holds->AxisFixed(), g.Axis(), s.Axis())};
  }
};

/// A torus through one cross-section of its tube, which an arc describes: centre, radius and plane. The arc
/// is always needed; it is no start shape, and its flags are not read.
struct TorusThroughArcPrimitive : MessagesOf<names::kTorus> {
  using Shape = OutputTorus;
  using Record = FitOutputParamsTorus;
  using Given = FitOutputParamsArc;
  using Constraints = FitConstraintsArc;
  using Optimizer = TorusProfileOptimizer;
  using Search = RansacTorus;
  static constexpr int kFixable = 1;

  static constexpr Failure NotProvided() { return messages::kConstraintMissing; }
  static bool NeedsGiven(bool /*skipEstimator*/) { return true; }
  static bool StartsFromGiven(bool /*skipEstimator*/) { return false; }
  static bool SkipsSearch(bool /*fromGiven*/, bool /*optimizeOnce*/) { return false; }
  static bool RefinesInSearch(int /*held*/, double /*scannerError*/) { return true; }
  static bool RefinesAfterSearch(int /*held*/) { return true; }
  static const Given* GivenBy(const Constraints& c) { return c.GetArc(); }
  static std::unique_ptr<const Shape> StartShape(const Given&, const Eigen::Vector3d&) { return nullptr; }
  static Optimizer MakeOptimizer(double scannerError, bool screen, const Shape*, const Given* arc,
                                 const Eigen::Vector3d& origin) {
    return Optimizer(scannerError, screen, arc->Center() - origin, arc->Radius(),
                     arc->XAxis().cross(arc->YAxis()));
  }
  static int Hold(const Constraints&, const Given&, const Eigen::Vector3d&, Optimizer&) { return 0; }
  static bool CanHold(const Constraints&, const Given& arc, bool /*fromGiven*/) {
    return IsPlace(arc.Center()) && IsSize(arc.Radius()) && HasPlane(arc);
  }
  static Record ToRecord(const Fitted<Shape>& f, const Constraints*) {
    return TorusPrimitive::ToRecord(f, nullptr);
  }
};

/// A line becomes the segment that its points cover; a held root only says where the line passes.
struct LinePrimitive : MessagesOf<names::kLine>,
                       StartsWhenAsked,
                       SearchUnlessRefinedOnce,
                       RefineOnceHeld,
                       OwnStart<LineOptimizer, OutputLine, FitOutputParamsLine> {
  using Shape = OutputLine;
  using Record = FitOutputParamsLine;
  using Given = Record;
  using Constraints = FitConstraintsLine;
  using Optimizer = LineOptimizer;
  using Search = RansacLine;
  static constexpr int kFixable = 2;

  static const Given* GivenBy(const Constraints& c) { return c.GetLine(); }
  static std::unique_ptr<const Shape> StartShape(const Given& g, const Eigen::Vector3d& origin) {
    return std::make_unique<const Shape>(g.Root() - origin, g.Direction());
  }
  static int Hold(const Constraints& c, const Given& g, const Eigen::Vector3d& origin, Optimizer& optimizer) {
    if (c.RootFixed()) optimizer.FixRoot(g.Root() - origin);
    if (c.DirectionFixed()) optimizer.FixDirection(g.Direction());
    return c.RootFixed() + c.DirectionFixed();
  }
  static bool CanHold(const Constraints& c, const Given& g, bool /*fromGiven*/) {
    return (!c.RootFixed() || IsPlace(g.Root())) && (!c.DirectionFixed() || IsDirection(g.Direction()));
  }
  static Record ToRecord(const Fitted<Shape>& f, const Constraints* holds) {
    const AxialRange range = RangeAlong(f);
    const Eigen::Vector3d direction = f.Shape().Direction();
    const Eigen::Vector3d root = f.Shape().Root() + range.low * direction + f.used.Origin();
    const bool held = holds != nullptr && holds->DirectionFixed();
    return {root, held ? holds->GetLine()->Direction() : direction, range.high - range.low};
  }
};

/// A circle becomes the arc that its close points cover.
struct ArcPrimitive : MessagesOf<names::kArc>,
                      StartsWhenAsked,
                      SearchUnlessRefinedOnce,
                      RefineOnceHeld,
                      OwnStart<CircleOptimizer, OutputCircle, FitOutputParamsArc> {
  using Shape = OutputCircle;
  using Record = FitOutputParamsArc;
  using Given = Record;
  using Constraints = FitConstraintsArc;
  using Optimizer = CircleOptimizer;
  using Search = RansacCircle;
  static constexpr int kFixable = 2;

  static const Given* GivenBy(const Constraints& c) { return c.GetArc(); }
  static std::unique_ptr<const Shape> StartShape(const Given& g, const Eigen::Vector3d& origin) {
    return std::make_unique<const Shape>(g.Center() - origin, g.Radius(), g.XAxis().cross(g.YAxis()));
  }
  static int Hold(const Constraints& c, const Given& g, const Eigen::Vector3d& origin, Optimizer& optimizer) {
    if (c.CenterFixed()) optimizer.FixCenter(g.Center() - origin);
    if (c.RadiusFixed()) optimizer.FixRadius(g.Radius());
    return c.CenterFixed() + c.RadiusFixed();
  }
  static bool CanHold(const Constraints& c, const Given& g, bool fromGiven) {
    return (!c.CenterFixed() || IsPlace(g.Center())) && (!c.RadiusFixed() || IsSize(g.Radius())) &&
           (!fromGiven || HasPlane(g));
  }
  static Record ToRecord(const Fitted<Shape>& f, const Constraints* holds) {
    const Shape& s = f.Shape();
    const bool centerHeld = holds != nullptr && holds->CenterFixed();
    const Eigen::Vector3d center =
        centerHeld ? holds->GetArc()->Center() : Eigen::Vector3d(s.Center() + f.used.Origin());
    const double radius = holds != nullptr && holds->RadiusFixed() ? holds->GetArc()->Radius() : s.Radius();
    Eigen::Vector3d xAxis;
    const double angle = ElbowAngularExtent(s.Center(), s.Axis(), f.close, xAxis);
    return {center, radius, xAxis, s.Axis().cross(xAxis), angle};
  }
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_API_PRIMITIVES_H_
