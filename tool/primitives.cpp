#include "primitives.h"

#include <array>
#include <optional>

#include "primfit/primfit.h"

namespace primfit::tool {

namespace {

void Append(std::vector<double>& numbers, const Eigen::Vector3d& v) {
  for (const double coordinate : v) numbers.push_back(coordinate);
}

template <class... T>
std::vector<double> Numbers(const T&... parts) {
  std::vector<double> numbers;
  (Append(numbers, parts), ...);
  return numbers;
}

/// The library's fit for a primitive P of this file.
template <class P>
FitResult Fit(std::span<const Eigen::Vector3d> points, const FitRequest& request,
              FitProgressUpdater* updater) {
  using Params = FitInputParams<typename P::Constraints>;
  std::optional<typename P::Record> start;
  if (!request.start.empty()) start = P::FromNumbers(request.start.data());
  typename P::Constraints constraints(start ? &*start : nullptr);
  for (std::size_t part = 0; part < P::kFix.size(); ++part) {
    if (request.fixed[part]) (constraints.*P::kFix[part])();
  }
  Params params(&constraints, request.skipSearch, request.anyQuality);
  if (request.refineOnce || request.skipSearch) params.SetOptimizeOnce();
  params.SetScannerError(request.scannerError);
  params.SetSampleSize(request.sampleSize);
  params.SetOutlierPercentage(request.outliers);
  params.SetSuccessProbability(request.probability);
  params.SetInlierDistanceThreshold(request.tolerance);
  const auto output = IFit<Params, typename P::Record>().Solve(points.data(), static_cast<int>(points.size()),
                                                               params, updater);
  return {P::ToNumbers(output.GetFitShape()), output.GetFitQuality()};
}

struct Plane {
  using Record = FitOutputParamsPlane;
  using Constraints = FitConstraintsPlane;
  static constexpr std::array<Part, 2> kParts = {
      {{"origin", Quantity::kPosition, true}, {"normal", Quantity::kDirection, true}}};
  static constexpr std::array kFix = {&Constraints::FixOrigin, &Constraints::FixNormal};
  static Record FromNumbers(const double* v) { return {Eigen::Vector3d(v), Eigen::Vector3d(v + 3)}; }
  static std::vector<double> ToNumbers(const Record& r) { return Numbers(r.Origin(), r.Normal()); }
};

template <class P>
constexpr Primitive Row(std::string_view name, std::string_view summary, int minimumPoints) {
  return {name, summary, P::kParts, P::Constraints::kDefaultSampleSize, minimumPoints, &Fit<P>};
}

constexpr std::array<Primitive, 1> kPrimitives = {Row<Plane>("plane", "Fit an unbounded plane", 3)};

}  // namespace

std::span<const Primitive> Primitives() { return kPrimitives; }

}  // namespace primfit::tool
