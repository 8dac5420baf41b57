#include "cli/primitives.h"

#include <Eigen/Geometry>
#include <array>
#include <optional>
#include <type_traits>
#include <utility>

#include "primfit/primfit.h"

namespace primfit::cli {

namespace {

using report::FitRequest;
using report::FitResult;
using report::Part;
using report::Quantity;
using report::Role;

void Append(std::vector<double>& numbers, const Eigen::Vector3d& v) {
  for (const double coordinate : v) numbers.push_back(coordinate);
}
void Append(std::vector<double>& numbers, double number) { numbers.push_back(number); }

template <class... T>
std::vector<double> Numbers(const T&... parts) {
  std::vector<double> numbers;
  (Append(numbers, parts), ...);
  return numbers;
}

/// Sets what every fit of the fixed pipeline takes.
template <class Params>
void SetSearch(const FitRequest& request, Params& params) {
  params.SetScannerError(request.scannerError);
  params.SetSampleSize(request.sampleSize);
  params.SetOutlierPercentage(request.outliers.value());
  params.SetSuccessProbability(request.probability);
  params.SetInlierDistanceThreshold(request.tolerance.value());
}

/// What every fit of the adaptive method takes.
FitOptionsBase AdaptiveOptions(const FitRequest& request, FitProgressUpdater* updater) {
  FitOptionsBase options;
  options.noise = request.noise;
  options.tolerance = request.tolerance;
  options.outlierShare = request.outliers;
  options.confidence = request.confidence;
  options.mostDraws = request.mostDraws;
  options.timeLimit = request.timeLimit.value_or(options.timeLimit);
  for (const auto& [range, index] : {std::pair{&options.radius, report::kRadiusRange},
                                     {&options.minorRadius, report::kMinorRadiusRange},
                                     {&options.halfAngle, report::kHalfAngleRange}}) {
    const std::vector<double>& numbers = request.limits[index];
    if (!numbers.empty()) *range = {numbers[0], numbers[1]};
  }
  if (const std::vector<double>& axis = request.limits[report::kAxisNear]; !axis.empty()) {
    options.axisNear = Eigen::Vector3d(axis.data());
    options.axisWithin = axis[3];
  }
  if (const std::vector<double>& place = request.limits[report::kPasses]; !place.empty()) {
    options.passes = Eigen::Vector3d(place.data());
    options.passesWithin = place[3];
  }
  options.progress = updater;
  return options;
}

/// The start shape of a primitive P of this file, and which of its parts are held.
template <class P>
class Given {
 public:
  using Constraints = typename P::Shape::Constraints;

  explicit Given(const FitRequest& request)
      : start_(request.start.empty() ? std::nullopt : std::optional(P::FromNumbers(request.start.data()))),
        constraints_(start_ ? &*start_ : nullptr) {
    for (std::size_t part = 0; part < P::kFix.size(); ++part) {
      if (request.fixed[part]) (constraints_.*P::kFix[part])();
    }
  }
  Given(const Given&) = delete;
  Given& operator=(const Given&) = delete;

  const Constraints* Get() const { return &constraints_; }

 private:
  std::optional<typename P::Start> start_;
  Constraints constraints_;  // points to the start
};

/// The corners of a patch in space.
std::vector<double> OutlineOf(const FitOutputParamsPatch& patch) {
  const double* loop = nullptr;
  Eigen::Vector3d xAxis;
  const int count = patch.Loop(loop, xAxis);
  const Eigen::Vector3d yAxis = patch.Normal().cross(xAxis);
  std::vector<double> outline;
  for (int i = 0; i < count; ++i, loop += 2)
    Append(outline, Eigen::Vector3d(patch.Origin() + loop[0] * xAxis + loop[1] * yAxis));
  return outline;
}

/// The result of a primitive P of this file in the program's form.
template <class P>
FitResult ResultOf(const typename P::Shape::Record& shape, const FitQuality& quality) {
  FitResult result{P::ToNumbers(shape), quality, {}, {}};
  if constexpr (std::is_same_v<typename P::Shape::Record, FitOutputParamsPatch>)
    result.outline = OutlineOf(shape);
  return result;
}

/// The adaptive fit of the library for a primitive P of this file.
template <class P>
FitResult FitAdaptive(std::span<const Eigen::Vector3d> points, const FitRequest& request,
                      FitProgressUpdater* updater) {
  using Shape = typename P::Shape;
  const Given<P> given(request);
  auto output = fit<Shape>(points, FitOptions<Shape>{AdaptiveOptions(request, updater), given.Get()});
  FitResult result = ResultOf<P>(output.shape, output.quality);
  result.insight = {std::move(output.covariance), std::move(output.report)};
  return result;
}

/// The fixed pipeline's fit for a primitive P of this file.
template <class P>
FitResult FitClassic(std::span<const Eigen::Vector3d> points, const FitRequest& request,
                     FitProgressUpdater* updater) {
  using Params = FitInputParams<typename P::Shape::Constraints>;
  const Given<P> given(request);
  Params params(given.Get(), request.skipSearch, request.anyQuality);
  if (request.refineOnce || request.skipSearch) params.SetOptimizeOnce();
  SetSearch(request, params);
  IFit<Params, typename P::Shape::Record> front;
  const int n = static_cast<int>(points.size());
  const auto output = [&] {
    if constexpr (requires { front.Solve(points.data(), n, params, updater, false); }) {
      return front.Solve(points.data(), n, params, updater, false);
    } else {
      return front.Solve(points.data(), n, params, updater);
    }
  }();
  return ResultOf<P>(output.GetFitShape(), output.GetFitQuality());
}

/// The library's fit for a bent pipe P through a given cross-section.
template <class P>
FitResult FitThrough(std::span<const Eigen::Vector3d> points, const FitRequest& request,
                     FitProgressUpdater* updater) {
  using Params = FitInputParams<FitConstraintsArc>;
  const double* v = request.section.data();
  const FitOutputParamsArc section(Eigen::Vector3d(v), v[3], Eigen::Vector3d(v + 4));
  const FitConstraintsArc constraints(&section);
  Params params(&constraints, false, request.anyQuality);
  if (request.refineOnce) params.SetOptimizeOnce();
  SetSearch(request, params);
  IFit<Params, typename P::Shape::Record> front;
  const auto output = front.Solve(points.data(), static_cast<int>(points.size()), params, updater);
  return ResultOf<P>(output.GetFitShape(), output.GetFitQuality());
}

struct Plane {
  using Shape = primfit::Plane;
  using Record = Shape::Record;
  using Start = Record;
  using Constraints = Shape::Constraints;
  static constexpr std::array<Part, 2> kParts = {
      {{"origin", Quantity::kPosition, Role::kFixable}, {"normal", Quantity::kDirection, Role::kFixable}}};
  static constexpr std::array kFix = {&Constraints::FixOrigin, &Constraints::FixNormal};
  static Start FromNumbers(const double* v) { return {Eigen::Vector3d(v), Eigen::Vector3d(v + 3)}; }
  static std::vector<double> ToNumbers(const FitOutputParamsPlane& r) {
    return Numbers(r.Origin(), r.Normal());
  }
};

struct Patch : Plane {
  using Shape = primfit::Patch;
};

using V = Eigen::Map<const Eigen::Vector3d>;

constexpr Part kOrigin{"origin", Quantity::kPosition, Role::kFixable};
constexpr Part kCenter{"center", Quantity::kPosition, Role::kFixable};
constexpr Part kApex{"apex", Quantity::kPosition, Role::kFixable};
constexpr Part kRadius{"radius", Quantity::kLength, Role::kFixable};
constexpr Part kAxis{"axis", Quantity::kDirection, Role::kFixable};
constexpr Part kHalfAngle{"angle", Quantity::kAngle, Role::kFixable};

struct Line {
  using Shape = primfit::Line;
  using Record = Shape::Record;
  using Start = Record;
  using Constraints = Shape::Constraints;
  static constexpr std::array<Part, 3> kParts = {{{"root", Quantity::kPosition, Role::kPlace},
                                                  {"direction", Quantity::kDirection, Role::kFixable},
                                                  {"length", Quantity::kLength, Role::kResult}}};
  static constexpr std::array kFix = {&Constraints::FixRoot, &Constraints::FixDirection};
  static Start FromNumbers(const double* v) { return {V(v), V(v + 3), 0}; }
  static std::vector<double> ToNumbers(const Record& r) {
    return Numbers(r.Root(), r.Direction(), r.Length());
  }
};

struct Arc {
  using Shape = primfit::Arc;
  using Record = Shape::Record;
  using Start = Record;
  using Constraints = Shape::Constraints;
  static constexpr std::array<Part, 5> kParts = {{kCenter,
                                                  kRadius,
                                                  {"normal", Quantity::kDirection, Role::kStart},
                                                  {"x-axis", Quantity::kDirection, Role::kResult},
                                                  {"swept-angle", Quantity::kAngle, Role::kResult}}};
  static constexpr std::array kFix = {&Constraints::FixCenter, &Constraints::FixRadius};
  static Start FromNumbers(const double* v) { return {V(v), v[3], V(v + 4)}; }
  static std::vector<double> ToNumbers(const Record& r) {
    return Numbers(r.Center(), r.Radius(), Eigen::Vector3d(r.XAxis().cross(r.YAxis())), r.XAxis(), r.Angle());
  }
};

struct Sphere {
  using Shape = primfit::Sphere;
  using Record = Shape::Record;
  using Start = Record;
  using Constraints = Shape::Constraints;
  static constexpr std::array<Part, 2> kParts = {kCenter, kRadius};
  static constexpr std::array kFix = {&Constraints::FixCenter, &Constraints::FixRadius};
  static Start FromNumbers(const double* v) { return {V(v), v[3]}; }
  static std::vector<double> ToNumbers(const Record& r) { return Numbers(r.Center(), r.Radius()); }
};

struct Cylinder {
  using Shape = primfit::Cylinder;
  using Record = Shape::Record;
  using Start = Record;
  using Constraints = Shape::Constraints;
  static constexpr std::array<Part, 3> kParts = {kOrigin, kRadius, kAxis};
  static constexpr std::array kFix = {&Constraints::FixOrigin, &Constraints::FixRadius,
                                      &Constraints::FixAxis};
  static Start FromNumbers(const double* v) { return {V(v), v[3], V(v + 4)}; }
  static std::vector<double> ToNumbers(const Record& r) { return Numbers(r.Origin(), r.Radius(), r.Axis()); }
};

struct BoundedCylinder : Cylinder {
  using Shape = primfit::BoundedCylinder;
  using Record = Shape::Record;
  static constexpr std::array<Part, 4> kParts = {{{"origin", Quantity::kPosition, Role::kPlace},
                                                  kRadius,
                                                  kAxis,
                                                  {"height", Quantity::kLength, Role::kResult}}};
  static std::vector<double> ToNumbers(const Record& r) {
    return Numbers(r.Origin(), r.Radius(), r.Axis(), r.Height());
  }
};

struct Pipe : Cylinder {
  static constexpr std::array<Part, 3> kParts = {{{"origin", Quantity::kPosition, Role::kResult},
                                                  {"radius", Quantity::kLength, Role::kResult},
                                                  {"axis", Quantity::kDirection, Role::kResult}}};
};

FitResult FitPicked(std::span<const Eigen::Vector3d> points, const FitRequest& request,
                    FitProgressUpdater* updater) {
  FitInputParams<FitConstraintsCylinder> params(nullptr, false, request.anyQuality);
  SetSearch(request, params);
  const auto output = ConsensusRansacFit(Eigen::Vector3d(request.pick.data()), request.pick[3], points.data(),
                                         static_cast<int>(points.size()), params, updater);
  return ResultOf<Pipe>(output.GetFitShape(), output.GetFitQuality());
}

struct Cone {
  using Shape = primfit::Cone;
  using Record = Shape::Record;
  using Start = Record;
  using Constraints = Shape::Constraints;
  static constexpr std::array<Part, 3> kParts = {kApex, kHalfAngle, kAxis};
  static constexpr std::array kFix = {&Constraints::FixApex, &Constraints::FixAngle, &Constraints::FixAxis};
  static Start FromNumbers(const double* v) { return {V(v), v[3], V(v + 4)}; }
  static std::vector<double> ToNumbers(const Record& r) { return Numbers(r.Apex(), r.Angle(), r.Axis()); }
};

struct BoundedCone : Cone {
  using Shape = primfit::BoundedCone;
  using Record = Shape::Record;
  static constexpr std::array<Part, 5> kParts = {{kApex,
                                                  kHalfAngle,
                                                  kAxis,
                                                  {"height0", Quantity::kLength, Role::kResult},
                                                  {"height1", Quantity::kLength, Role::kResult}}};
  static std::vector<double> ToNumbers(const Record& r) {
    return Numbers(r.Apex(), r.Angle(), r.Axis(), r.Height0(), r.Height1());
  }
};

struct Torus {
  using Shape = primfit::Torus;
  using Record = Shape::Record;
  using Start = Record;
  using Constraints = Shape::Constraints;
  static constexpr Part kMajor{"major-radius", Quantity::kLength, Role::kFixable};
  static constexpr Part kMinor{"minor-radius", Quantity::kLength, Role::kFixable};
  static constexpr std::array<Part, 4> kParts = {kCenter, kMajor, kMinor, kAxis};
  static constexpr std::array kFix = {&Constraints::FixCenter, &Constraints::FixMajorRadius,
                                      &Constraints::FixMinorRadius, &Constraints::FixAxis};
  static Start FromNumbers(const double* v) { return {V(v), v[3], v[4], V(v + 5)}; }
  static std::vector<double> ToNumbers(const Record& r) {
    return Numbers(r.Center(), r.MajorRadius(), r.MinorRadius(), r.Axis());
  }
};

struct Elbow : Torus {
  using Shape = primfit::Elbow;
  using Record = Shape::Record;
  static constexpr std::array<Part, 6> kParts = {{kCenter,
                                                  kMajor,
                                                  kMinor,
                                                  kAxis,
                                                  {"x-axis", Quantity::kDirection, Role::kResult},
                                                  {"swept-angle", Quantity::kAngle, Role::kResult}}};
  static std::vector<double> ToNumbers(const Record& r) {
    return Numbers(r.Center(), r.MajorRadius(), r.MinorRadius(), r.Axis(), r.XAxis(), r.Angle());
  }
};

template <class P>
constexpr Primitive Row(std::string_view name, std::string_view summary, int minimumPoints) {
  return {name,          summary,        P::kParts,      P::Constraints::kDefaultSampleSize,
          minimumPoints, &FitClassic<P>, &FitAdaptive<P>};
}

/// A row whose fit can also go through a cross-section.
template <class P>
constexpr Primitive BendRow(std::string_view name, std::string_view summary) {
  Primitive row = Row<P>(name, summary, 15);
  row.fitThrough = &FitThrough<P>;
  return row;
}

constexpr Primitive PipeRow() {
  Primitive row = Row<Pipe>("pipe", "Fit the cylinder that a point was picked on", 10);
  row.classic = &FitPicked;
  row.adaptive = nullptr;
  row.picked = true;
  return row;
}

constexpr std::array<Primitive, 12> kPrimitives = {
    Row<Line>("line", "Fit a line segment", 2),
    Row<Arc>("arc", "Fit an arc of a circle", 3),
    Row<Plane>("plane", "Fit an unbounded plane", 3),
    Row<Patch>("patch", "Fit a plane and the outline of its points", 3),
    Row<Sphere>("sphere", "Fit a sphere", 4),
    Row<Cylinder>("cylinder", "Fit an unbounded cylinder", 9),
    Row<BoundedCylinder>("bounded-cylinder", "Fit a cylinder with its length", 9),
    Row<Cone>("cone", "Fit an unbounded cone", 9),
    Row<BoundedCone>("bounded-cone", "Fit a cone with its two ends", 9),
    BendRow<Torus>("torus", "Fit a torus"),
    BendRow<Elbow>("elbow", "Fit a bent pipe: a torus with its swept angle"),
    PipeRow(),
};

}  // namespace

std::span<const Primitive> Primitives() { return kPrimitives; }

}  // namespace primfit::cli
