// The one description of each primitive. All that treats primitives alike follows from it: constraints and
// models, arrays for C, names in options, JSON and reports, the sub-commands of the program. What else a new
// primitive needs is its geometry; docs/architecture.md lists the files.
#ifndef PRIMFIT_SRC_PRIMITIVES_PRIMITIVES_H_
#define PRIMFIT_SRC_PRIMITIVES_PRIMITIVES_H_

#include <Eigen/Geometry>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

#include "fit/vector_math.h"
#include "primfit/fit.h"
#include "primfit/fit_c.h"
#include "primitives/model.h"
#include "primitives/part.h"

namespace primfit {

/// The kinds of unbounded shapes.
enum class ShapeKind : int { kLine, kArc, kPlane, kSphere, kCylinder, kCone, kTorus };

/// Where a part is listed. An arc's plane is two directions in arrays, and its normal where people read it.
enum class Listed { kEverywhere, kForArrays, kForPeople };

/// A part with the way to it in a record and, where it can be held, in the constraints.
template <Role kItsRole, Listed kListed, class Get, class Hold, class IsHeld>
struct RecordPart {
  static constexpr Role kRole = kItsRole;
  static constexpr bool IsIn(Listed place) { return kListed == Listed::kEverywhere || kListed == place; }
  Part part;
  Get get;  ///< gives a vector or a number of a record
  Hold hold;
  IsHeld isHeld;
};

/// A part that can be held.
template <class Get, class Hold, class IsHeld>
constexpr RecordPart<Role::kHoldable, Listed::kEverywhere, Get, Hold, IsHeld> Holdable(std::string_view name,
                                                                                       PartKind kind, Get get,
                                                                                       Hold hold,
                                                                                       IsHeld isHeld) {
  return {{name, kind, Role::kHoldable}, get, hold, isHeld};
}
/// Another part.
template <Role kRole = Role::kResult, Listed kListed = Listed::kEverywhere, class Get>
constexpr RecordPart<kRole, kListed, Get, std::nullptr_t, std::nullptr_t> Readable(std::string_view name,
                                                                                   PartKind kind, Get get) {
  return {{name, kind, kRole}, get, nullptr, nullptr};
}

/// How far the position of an unbounded shape can move and leave the shape as it is.
enum class Slides { kNowhere, kAlongAxis, kInPlane };

/// What of a bounded shape's extent is measured on its points.
enum class Bounds { kNone, kAlongAxis, kAboutAxis, kOutline };

/// What is to be known of a primitive, by its tag of primfit/fit.h. The parts stand in the order of arrays,
/// which is that of the arguments of the record's constructor; those that can be held come first, in the
/// order of the constraints' flags.
template <class Shape>
struct Description;

template <>
struct Description<Line> {
  using Record = FitOutputParamsLine;
  using Constraints = FitConstraintsLine;
  using StartDescription = Description<Line>;  ///< of the shape that constraints hold
  static constexpr int kCode = PRIMFIT_LINE;
  static constexpr std::string_view kName = "line";
  static constexpr std::string_view kSummary = "Fit a line segment";
  static constexpr ShapeKind kKind = ShapeKind::kLine;
  static constexpr bool kIsCurve = true;
  static constexpr Slides kSlides = Slides::kAlongAxis;
  static constexpr Bounds kBounds = Bounds::kAlongAxis;
  static constexpr int kMinimumPoints = 2;  ///< that determine the shape
  static constexpr auto kStartOf = &Constraints::GetLine;
  static constexpr auto kParts = std::tuple{
      Holdable("root", PartKind::kStartPoint, &Record::Root, &Constraints::FixRoot, &Constraints::RootFixed),
      Holdable("direction", PartKind::kDirection, &Record::Direction, &Constraints::FixDirection,
               &Constraints::DirectionFixed),
      Readable("length", PartKind::kLength, &Record::Length)};
};

template <>
struct Description<Arc> {
  using Record = FitOutputParamsArc;
  using Constraints = FitConstraintsArc;
  using StartDescription = Description<Arc>;
  static constexpr int kCode = PRIMFIT_ARC;
  static constexpr std::string_view kName = "arc";
  static constexpr std::string_view kSummary = "Fit an arc of a circle";
  static constexpr ShapeKind kKind = ShapeKind::kArc;
  static constexpr bool kIsCurve = true;
  static constexpr Slides kSlides = Slides::kNowhere;
  static constexpr Bounds kBounds = Bounds::kAboutAxis;
  static constexpr int kMinimumPoints = 3;
  static constexpr auto kStartOf = &Constraints::GetArc;
  static Eigen::Vector3d Normal(const Record& r) { return Normalised(r.XAxis().cross(r.YAxis())); }
  static constexpr auto kParts = std::tuple{
      Holdable("center", PartKind::kPosition, &Record::Center, &Constraints::FixCenter,
               &Constraints::CenterFixed),
      Holdable("radius", PartKind::kRadius, &Record::Radius, &Constraints::FixRadius,
               &Constraints::RadiusFixed),
      Readable<Role::kStart, Listed::kForPeople>("normal", PartKind::kDirection, &Normal),
      Readable("x-axis", PartKind::kStartDirection, &Record::XAxis),
      Readable<Role::kResult, Listed::kForArrays>("y-axis", PartKind::kQuarterDirection, &Record::YAxis),
      Readable("swept-angle", PartKind::kSweptAngle, &Record::Angle)};
};

template <>
struct Description<Plane> {
  using Record = FitOutputParamsPlane;
  using Constraints = FitConstraintsPlane;
  using StartDescription = Description<Plane>;
  static constexpr int kCode = PRIMFIT_PLANE;
  static constexpr std::string_view kName = "plane";
  static constexpr std::string_view kSummary = "Fit an unbounded plane";
  static constexpr ShapeKind kKind = ShapeKind::kPlane;
  static constexpr bool kIsCurve = false;
  static constexpr Slides kSlides = Slides::kInPlane;
  static constexpr Bounds kBounds = Bounds::kNone;
  static constexpr int kMinimumPoints = 3;
  static constexpr auto kStartOf = &Constraints::GetPlane;
  static constexpr auto kParts = std::tuple{Holdable("origin", PartKind::kPosition, &Record::Origin,
                                                     &Constraints::FixOrigin, &Constraints::OriginFixed),
                                            Holdable("normal", PartKind::kDirection, &Record::Normal,
                                                     &Constraints::FixNormal, &Constraints::NormalFixed)};
};

template <>
struct Description<Patch> : Description<Plane> {
  using Record = FitOutputParamsPatch;
  static constexpr int kCode = PRIMFIT_PATCH;
  static constexpr std::string_view kName = "patch";
  static constexpr std::string_view kSummary = "Fit a plane and the outline of its points";
  static constexpr Bounds kBounds = Bounds::kOutline;
  /// The direction of u of the outline's corners.
  static Eigen::Vector3d OutlineAxis(const Record& r) {
    const double* corners = nullptr;
    Eigen::Vector3d u;
    r.Loop(corners, u);
    return u;
  }
  static constexpr auto kParts =
      std::tuple_cat(Description<Plane>::kParts, std::tuple{Readable<Role::kResult, Listed::kForArrays>(
                                                     "x-axis", PartKind::kStartDirection, &OutlineAxis)});
};

template <>
struct Description<Sphere> {
  using Record = FitOutputParamsSphere;
  using Constraints = FitConstraintsSphere;
  using StartDescription = Description<Sphere>;
  static constexpr int kCode = PRIMFIT_SPHERE;
  static constexpr std::string_view kName = "sphere";
  static constexpr std::string_view kSummary = "Fit a sphere";
  static constexpr ShapeKind kKind = ShapeKind::kSphere;
  static constexpr bool kIsCurve = false;
  static constexpr Slides kSlides = Slides::kNowhere;
  static constexpr Bounds kBounds = Bounds::kNone;
  static constexpr int kMinimumPoints = 4;
  static constexpr auto kStartOf = &Constraints::GetSphere;
  static constexpr auto kParts = std::tuple{Holdable("center", PartKind::kPosition, &Record::Center,
                                                     &Constraints::FixCenter, &Constraints::CenterFixed),
                                            Holdable("radius", PartKind::kRadius, &Record::Radius,
                                                     &Constraints::FixRadius, &Constraints::RadiusFixed)};
};

template <>
struct Description<Cylinder> {
  using Record = FitOutputParamsCylinder;
  using Constraints = FitConstraintsCylinder;
  using StartDescription = Description<Cylinder>;
  static constexpr int kCode = PRIMFIT_CYLINDER;
  static constexpr std::string_view kName = "cylinder";
  static constexpr std::string_view kSummary = "Fit an unbounded cylinder";
  static constexpr ShapeKind kKind = ShapeKind::kCylinder;
  static constexpr bool kIsCurve = false;
  static constexpr Slides kSlides = Slides::kAlongAxis;
  static constexpr Bounds kBounds = Bounds::kNone;
  static constexpr int kMinimumPoints = 9;
  static constexpr auto kStartOf = &Constraints::GetCylinder;
  static constexpr auto kRadius = Holdable("radius", PartKind::kRadius, &Record::Radius,
                                           &Constraints::FixRadius, &Constraints::RadiusFixed);
  static constexpr auto kAxis =
      Holdable("axis", PartKind::kDirection, &Record::Axis, &Constraints::FixAxis, &Constraints::AxisFixed);
  static constexpr auto kParts = std::tuple{Holdable("origin", PartKind::kPosition, &Record::Origin,
                                                     &Constraints::FixOrigin, &Constraints::OriginFixed),
                                            kRadius, kAxis};
};

template <>
struct Description<BoundedCylinder> : Description<Cylinder> {
  using Record = FitOutputParamsCylinderBounded;
  static constexpr int kCode = PRIMFIT_BOUNDED_CYLINDER;
  static constexpr std::string_view kName = "bounded-cylinder";
  static constexpr std::string_view kSummary = "Fit a cylinder with its length";
  static constexpr Bounds kBounds = Bounds::kAlongAxis;
  static constexpr auto kParts =
      std::tuple{Holdable("origin", PartKind::kStartPoint, &Record::Origin, &Constraints::FixOrigin,
                          &Constraints::OriginFixed),
                 kRadius, kAxis, Readable("height", PartKind::kLength, &Record::Height)};
};

template <>
struct Description<Cone> {
  using Record = FitOutputParamsCone;
  using Constraints = FitConstraintsCone;
  using StartDescription = Description<Cone>;
  static constexpr int kCode = PRIMFIT_CONE;
  static constexpr std::string_view kName = "cone";
  static constexpr std::string_view kSummary = "Fit an unbounded cone";
  static constexpr ShapeKind kKind = ShapeKind::kCone;
  static constexpr bool kIsCurve = false;
  static constexpr Slides kSlides = Slides::kNowhere;
  static constexpr Bounds kBounds = Bounds::kNone;
  static constexpr int kMinimumPoints = 9;
  static constexpr auto kStartOf = &Constraints::GetCone;
  static constexpr auto kParts = std::tuple{
      Holdable("apex", PartKind::kPosition, &Record::Apex, &Constraints::FixApex, &Constraints::ApexFixed),
      Holdable("half-angle", PartKind::kHalfAngle, &Record::Angle, &Constraints::FixAngle,
               &Constraints::AngleFixed),
      Holdable("axis", PartKind::kDirection, &Record::Axis, &Constraints::FixAxis, &Constraints::AxisFixed)};
};

template <>
struct Description<BoundedCone> : Description<Cone> {
  using Record = FitOutputParamsConeBounded;
  static constexpr int kCode = PRIMFIT_BOUNDED_CONE;
  static constexpr std::string_view kName = "bounded-cone";
  static constexpr std::string_view kSummary = "Fit a cone with its two ends";
  static constexpr Bounds kBounds = Bounds::kAlongAxis;
  static constexpr auto kParts = std::tuple_cat(
      Description<Cone>::kParts, std::tuple{Readable("height0", PartKind::kLowHeight, &Record::Height0),
                                            Readable("height1", PartKind::kHighHeight, &Record::Height1)});
};

template <>
struct Description<Torus> {
  using Record = FitOutputParamsTorus;
  using Constraints = FitConstraintsTorus;
  using StartDescription = Description<Torus>;
  static constexpr int kCode = PRIMFIT_TORUS;
  static constexpr std::string_view kName = "torus";
  static constexpr std::string_view kSummary = "Fit a torus";
  static constexpr ShapeKind kKind = ShapeKind::kTorus;
  static constexpr bool kIsCurve = false;
  static constexpr Slides kSlides = Slides::kNowhere;
  static constexpr Bounds kBounds = Bounds::kNone;
  static constexpr int kMinimumPoints = 15;
  static constexpr auto kStartOf = &Constraints::GetTorus;
  static constexpr auto kParts = std::tuple{
      Holdable("center", PartKind::kPosition, &Record::Center, &Constraints::FixCenter,
               &Constraints::CenterFixed),
      Holdable("major-radius", PartKind::kMajorRadius, &Record::MajorRadius, &Constraints::FixMajorRadius,
               &Constraints::MajorRadiusFixed),
      Holdable("minor-radius", PartKind::kMinorRadius, &Record::MinorRadius, &Constraints::FixMinorRadius,
               &Constraints::MinorRadiusFixed),
      Holdable("axis", PartKind::kDirection, &Record::Axis, &Constraints::FixAxis, &Constraints::AxisFixed)};
};

template <>
struct Description<Elbow> : Description<Torus> {
  using Record = FitOutputParamsElbow;
  static constexpr int kCode = PRIMFIT_ELBOW;
  static constexpr std::string_view kName = "elbow";
  static constexpr std::string_view kSummary = "Fit a bent pipe: a torus with its swept angle";
  static constexpr Bounds kBounds = Bounds::kAboutAxis;
  static constexpr auto kParts = std::tuple_cat(
      Description<Torus>::kParts, std::tuple{Readable("swept-angle", PartKind::kSweptAngle, &Record::Angle),
                                             Readable("x-axis", PartKind::kStartDirection, &Record::XAxis)});
};

/// The tags of all primitives, in the order of their codes.
template <class... Shapes>
struct ShapeList {
  static constexpr std::size_t kCount = sizeof...(Shapes);
};
using AllShapes =
    ShapeList<Line, Arc, Plane, Patch, Sphere, Cylinder, BoundedCylinder, Cone, BoundedCone, Torus, Elbow>;

/// Calls f(Description<Shape>()) for each primitive, in the order of their codes.
template <class F, class... Shapes>
constexpr void ForEachPrimitive(const F& f, ShapeList<Shapes...> /*of*/) {
  (f(Description<Shapes>()), ...);
}
template <class F>
constexpr void ForEachPrimitive(const F& f) {
  ForEachPrimitive(f, AllShapes());
}

/// What an unbounded kind of shape has, whatever bounds its records add.
struct KindFacts {
  bool isCurve = false;
  Slides slides = Slides::kNowhere;
  bool hasAxis = false;
  std::optional<ParameterKind> major, minor;
};

namespace description {

constexpr KindFacts FactsFrom(bool isCurve, Slides slides, std::span<const Part> parts) {
  KindFacts facts{isCurve, slides, false, {}, {}};
  for (const Part& part : parts) {
    const auto parameter = ParameterOf(part.kind);
    if (!parameter) continue;
    if (*parameter == ParameterKind::kDirection) facts.hasAxis = true;
    if (ComponentOf(*parameter) == kMajor) facts.major = parameter;
    if (ComponentOf(*parameter) == kMinor) facts.minor = parameter;
  }
  return facts;
}

constexpr auto AllFacts() {
  std::array<KindFacts, AllShapes::kCount> all{};  // there are fewer kinds than primitives
  ForEachPrimitive([&]<class D>(D) {
    std::apply(
        [&](const auto&... parts) {
          const Part list[] = {parts.part...};
          all[static_cast<std::size_t>(D::kKind)] = FactsFrom(D::kIsCurve, D::kSlides, list);
        },
        D::kParts);
  });
  return all;
}

inline constexpr auto kAllFacts = AllFacts();

}  // namespace description

constexpr const KindFacts& FactsOf(ShapeKind kind) {
  return description::kAllFacts[static_cast<std::size_t>(kind)];
}
inline bool Model::IsCurve() const { return FactsOf(kind).isCurve; }

}  // namespace primfit

#endif  // PRIMFIT_SRC_PRIMITIVES_PRIMITIVES_H_
