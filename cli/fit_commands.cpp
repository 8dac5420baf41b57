// The library's functions as the program calls them. Each primitive has an adaptive fit, most have one of the
// fixed pipeline; which, is asked of the library's types, so that no list of primitives stands here.
#include "cli/fit_commands.h"

#include <Eigen/Geometry>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "primfit/primfit.h"
#include "primitives/records.h"

namespace primfit::cli {

namespace {

using report::FitRequest;
using report::FittedShape;

constexpr auto kForPeople = Listed::kForPeople;
constexpr auto kForArrays = Listed::kForArrays;

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

/// The start shape of a request for the description D, and which of its parts are held.
template <class D>
class Start {
 public:
  explicit Start(const FitRequest& request)
      : record_(request.start.empty() ? std::nullopt
                                      : std::optional(ReadStart<D, kForPeople>(request.start.data()))),
        constraints_(record_ ? &*record_ : nullptr) {
    Hold<D>(request.fixed, constraints_);
  }
  Start(const Start&) = delete;
  Start& operator=(const Start&) = delete;

  const typename D::Constraints* Constraints() const { return &constraints_; }

 private:
  std::optional<typename D::Record> record_;
  typename D::Constraints constraints_;  // points to the record
};

/// The corners of a patch in space.
std::vector<double> OutlineOf(const FitOutputParamsPatch& patch) {
  const double* loop = nullptr;
  Eigen::Vector3d xAxis;
  const int count = patch.Loop(loop, xAxis);
  const Eigen::Vector3d yAxis = patch.Normal().cross(xAxis);
  std::vector<double> outline;
  for (int i = 0; i < count; ++i, loop += 2) {
    const Eigen::Vector3d corner = patch.Origin() + loop[0] * xAxis + loop[1] * yAxis;
    outline.insert(outline.end(), corner.begin(), corner.end());
  }
  return outline;
}

/// A fitted record in the program's form.
template <class D>
FittedShape ResultOf(const typename D::Record& shape, const FitQuality& quality) {
  FittedShape result;
  result.kind = D::kName;
  result.shape.resize(NumbersIn(kPartsIn<D, kForPeople>));
  WriteRecord<D, kForPeople>(shape, result.shape.data());
  result.numbers.resize(NumbersIn(kPartsIn<D, kForArrays>));
  WriteRecord<D, kForArrays>(shape, result.numbers.data());
  result.model = ModelFrom<D>(shape);
  result.quality = quality;
  if constexpr (D::kBounds == Bounds::kOutline) result.outline = OutlineOf(shape);
  return result;
}

/// The result of an adaptive fit in the program's form.
template <class Shape>
FittedShape ResultOf(FitResult<Shape> output) {
  FittedShape result = ResultOf<Description<Shape>>(output.shape, output.quality);
  result.evidence = {std::move(output.covariance), std::move(output.report), std::move(output.extents)};
  result.inliers = std::move(output.inliers);
  return result;
}

/// The adaptive fit of the library.
template <class Shape>
FittedShape FitAdaptive(std::span<const Eigen::Vector3d> points, const FitRequest& request,
                        FitProgressUpdater* updater) {
  const Start<typename Description<Shape>::StartDescription> start(request);
  FitOptions<Shape> options{AdaptiveOptions(request, updater), start.Constraints()};
  options.allPoints = request.allPoints;
  options.stations = request.stations;
  return ResultOf(fit<Shape>(points, options));
}

/// The adaptive fit of the pipe that a point was picked on. The point may be a little beside the points of
/// the pipe, so the pipe passes it as nearly as the nearest point of all does.
FittedShape FitAtPick(std::span<const Eigen::Vector3d> points, const FitRequest& request,
                      FitProgressUpdater* updater) {
  FitOptions<Cylinder> options{AdaptiveOptions(request, updater), nullptr};
  options.stations = request.stations;
  options.passes = Eigen::Vector3d(request.pick.data());
  double nearest = std::numeric_limits<double>::infinity();
  for (const Eigen::Vector3d& p : points) {
    const double squared = (p - *options.passes).squaredNorm();
    if (squared < nearest) nearest = squared;  // false for a point that is not finite
  }
  if (std::isfinite(nearest)) options.passesWithin = std::sqrt(nearest);
  if (request.pick.size() > 3) options.radius.high = report::kMostOfRadiusHint * request.pick[3];
  return ResultOf(fit<Cylinder>(points, options));
}

/// The front of the fixed pipeline's fit for the constraints C and the record of D.
template <class D, class C>
using FrontOf = IFit<FitInputParams<C>, typename D::Record>;

/// The fixed pipeline's fit.
template <class D>
FittedShape FitClassic(std::span<const Eigen::Vector3d> points, const FitRequest& request,
                       FitProgressUpdater* updater) {
  const Start<typename D::StartDescription> start(request);
  FitInputParams<typename D::Constraints> params(start.Constraints(), request.skipSearch, request.anyQuality);
  if (request.refineOnce || request.skipSearch) params.SetOptimizeOnce();
  SetSearch(request, params);
  FrontOf<D, typename D::Constraints> front;
  const int n = static_cast<int>(points.size());
  const auto output = [&] {
    if constexpr (requires { front.Solve(points.data(), n, params, updater, false); }) {
      return front.Solve(points.data(), n, params, updater, false);
    } else {
      return front.Solve(points.data(), n, params, updater);
    }
  }();
  return ResultOf<D>(output.GetFitShape(), output.GetFitQuality());
}

/// The fixed pipeline's fit of a bent pipe through a given cross-section.
template <class D>
FittedShape FitThrough(std::span<const Eigen::Vector3d> points, const FitRequest& request,
                       FitProgressUpdater* updater) {
  const double* v = request.section.data();
  const FitOutputParamsArc section(Eigen::Vector3d(v), v[3], Eigen::Vector3d(v + 4));
  const FitConstraintsArc constraints(&section);
  FitInputParams<FitConstraintsArc> params(&constraints, false, request.anyQuality);
  if (request.refineOnce) params.SetOptimizeOnce();
  SetSearch(request, params);
  FrontOf<D, FitConstraintsArc> front;
  const auto output = front.Solve(points.data(), static_cast<int>(points.size()), params, updater);
  return ResultOf<D>(output.GetFitShape(), output.GetFitQuality());
}

/// The fixed pipeline's fit of the pipe that a point was picked on.
FittedShape FitPicked(std::span<const Eigen::Vector3d> points, const FitRequest& request,
                      FitProgressUpdater* updater) {
  FitInputParams<FitConstraintsCylinder> params(nullptr, false, request.anyQuality);
  SetSearch(request, params);
  const auto output = ConsensusRansacFit(Eigen::Vector3d(request.pick.data()), request.pick[3], points.data(),
                                         static_cast<int>(points.size()), params, updater);
  return ResultOf<Description<Cylinder>>(output.GetFitShape(), output.GetFitQuality());
}

/// The command of a primitive, with the fits that the library has for it.
template <class Shape>
constexpr FitCommand CommandOf() {
  using D = Description<Shape>;
  FitCommand command{.name = D::kName,
                     .summary = D::kSummary,
                     .parts = kPartsIn<D, kForPeople>,
                     .arrayParts = kPartsIn<D, kForArrays>,
                     .sampleSize = D::Constraints::kDefaultSampleSize,
                     .minimumPoints = D::kMinimumPoints,
                     .adaptive = &FitAdaptive<Shape>};
  if constexpr (requires { sizeof(FrontOf<D, typename D::Constraints>); }) command.classic = &FitClassic<D>;
  constexpr bool isArc = D::kKind == ShapeKind::kArc;
  if constexpr (!isArc && requires { sizeof(FrontOf<D, FitConstraintsArc>); })
    command.fitThrough = &FitThrough<D>;
  return command;
}

/// A pipe is the cylinder under its pick.
constexpr FitCommand kPipe{.name = "pipe",
                           .summary = "Fit the cylinder that a point was picked on",
                           .parts = kPartsIn<Description<Cylinder>, kForPeople>,
                           .arrayParts = kPartsIn<Description<Cylinder>, kForArrays>,
                           .sampleSize = FitConstraintsCylinder::kDefaultSampleSize,
                           .minimumPoints = 10,
                           .classic = &FitPicked,
                           .adaptive = &FitAtPick,
                           .picked = true};

template <class... Shapes>
constexpr std::array<FitCommand, sizeof...(Shapes) + 1> CommandsOf(ShapeList<Shapes...> /*all*/) {
  return {CommandOf<Shapes>()..., kPipe};
}
constexpr auto kCommands = CommandsOf(AllShapes());

}  // namespace

std::span<const FitCommand> FitCommands() { return kCommands; }

}  // namespace primfit::cli
