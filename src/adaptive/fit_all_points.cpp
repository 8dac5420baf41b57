#include "adaptive/fit_all_points.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

#include "adaptive/converge/feet.h"
#include "adaptive/evidence/report.h"
#include "adaptive/evidence/verdict.h"
#include "adaptive/model/refine.h"
#include "adaptive/model/refine_cone.h"
#include "adaptive/scene/plausible.h"
#include "adaptive/search/direct_starts.h"
#include "fit/messages.h"
#include "fit/robust_origin.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points that starts are compared on, and points whose feet tell the covariance of all.
constexpr std::size_t kForStarts = 256, kForFeet = 8192;
/// Steps after which starts are compared, and those of the best of them: short arcs take hundreds.
constexpr int kFirstSteps = 15, kSteps = 1000;
/// Points up to which a free cone is refined by its circle; more of them lead to a shape near the optimum.
constexpr std::size_t kMostForCone = 8192;
/// Starts that go on.
constexpr std::size_t kBest = 8;
/// At the optimum the next step would move the points' distances by less, in sizes of the cloud.
constexpr double kOptimal = 1e-9;

/// What a fit of points in some unit works with.
struct LeastSquaresTask {
  std::span<const Vector3d> points;
  std::span<const double> sqrtWeights;  ///< none where all are alike
  unsigned held = 0;
  Plausible plausible;

  PointRefs Refs() const { return RefsOf(points, sqrtWeights.empty() ? nullptr : sqrtWeights.data()); }
};

struct Fitted {
  Model model;
  double squares = 0;
  unsigned atEnd = 0;  ///< parts that are held at an end of their plausible range
};

/// How many equations a point of a kind gives.
std::size_t EquationsOf(ShapeKind kind) { return FactsOf(kind).isCurve ? 2 : 1; }

double SumOfSquares(const Model& m, const LeastSquaresTask& task) {
  std::vector<double> distances(task.points.size());
  Distances(m, task.points.data(), static_cast<int>(distances.size()), distances.data());
  double squares = 0;
  for (std::size_t i = 0; i < distances.size(); ++i) {
    const double weighted = distances[i] * (task.sqrtWeights.empty() ? 1 : task.sqrtWeights[i]);
    squares += weighted * weighted;
  }
  return squares;
}

Vector3d MeanOf(std::span<const Vector3d> points) {
  return std::accumulate(points.begin(), points.end(), Vector3d(0, 0, 0)) /
         static_cast<double>(points.size());
}

/// The optimum near a shape, within the plausible ranges: a part that leaves its range is held at its end.
std::optional<Fitted> OptimumNear(Model start, int steps, const LeastSquaresTask& task, Budget& budget) {
  const Vector3d mean = MeanOf(task.points);
  CenterAt(mean, task.held, start);
  if (start.kind == ShapeKind::kCone && (task.held & kAxis) == 0 && (mean - start.center).dot(start.axis) < 0)
    start.axis = -start.axis;
  if (!IsValid(start)) return std::nullopt;
  const bool isFreeCone =
      start.kind == ShapeKind::kCone && task.held == 0 && task.points.size() <= kMostForCone;
  auto refined = isFreeCone ? RefineCone(start, task.Refs(), steps, budget)
                            : Refine(start, task.held, task.Refs(), steps, budget, Redundancy::kMayBeNone);
  if (!refined) return std::nullopt;
  const unsigned atEnd = task.plausible.Clamp(*refined);
  if (atEnd != 0)
    refined = Refine(*refined, task.held | atEnd, task.Refs(), steps, budget, Redundancy::kMayBeNone);
  if (!refined) return std::nullopt;
  return Fitted{*refined, SumOfSquares(*refined, task), atEnd};
}

/// Whether the next step would move the points' distances by next to nothing.
bool IsOptimal(const Fitted& f, double size, const LeastSquaresTask& task) {
  const unsigned held = task.held | f.atEnd;
  const int free = FreeParametersOf(f.model, held).count;
  return free == 0 || NextStep(SumsAt(f.model, held, task.Refs()), free) <= kOptimal * size;
}

/// The optimum of a fit that has come near. Where residuals are large for how well the points determine the
/// shape, a run can end a little before; others from there, in the parameters of its derivatives, go on.
Fitted Polished(Fitted f, double size, const LeastSquaresTask& task, Budget& budget) {
  constexpr int kRuns = 5;
  constexpr double kRounding = 1e-12;  // of a sum of squares
  for (int run = 0; run < kRuns && !IsOptimal(f, size, task); ++run) {
    const auto better =
        Refine(f.model, task.held | f.atEnd, task.Refs(), kSteps, budget, Redundancy::kMayBeNone);
    if (!better) break;
    const Fitted next{*better, SumOfSquares(*better, task), f.atEnd};
    if (next.squares > f.squares * (1 + kRounding)) break;
    f = next;
  }
  return f;
}

/// The optima near some shapes, the least sum of squares first.
std::vector<Fitted> OptimaNear(const std::vector<Model>& starts, int steps, const LeastSquaresTask& task,
                               Budget& budget) {
  std::vector<Fitted> optima;
  for (const Model& start : starts) {
    budget.Ask();
    if (auto fitted = OptimumNear(start, steps, task, budget)) optima.push_back(*fitted);
  }
  std::sort(optima.begin(), optima.end(),
            [](const Fitted& a, const Fitted& b) { return a.squares < b.squares; });
  return optima;
}

std::vector<Model> ModelsOf(const std::vector<Fitted>& fitted, std::size_t most) {
  std::vector<Model> models;
  for (const Fitted& f : fitted) {
    if (models.size() < most) models.push_back(f.model);
  }
  return models;
}

/// Points from all over the scene with their weights, in units of their spread.
struct SpreadPoints {
  SpreadPoints(const Scene& scene, std::size_t most) {
    const std::size_t step = (scene.Points().size() + most - 1) / most;
    for (std::size_t i = 0; i < scene.Points().size(); i += step) {
      points.push_back(scene.Points()[i]);
      if (!scene.SqrtWeights().empty()) sqrtWeights.push_back(scene.SqrtWeights()[i]);
    }
    units.middle = MeanOf(points);
    double squares = 0;
    for (const Vector3d& p : points) squares += (p - units.middle).squaredNorm();
    units.size = std::sqrt(squares / static_cast<double>(points.size()));
    if (!(units.size > 0)) return;
    for (Vector3d& p : points) p = units.Into(p);
  }
  std::vector<Vector3d> points;
  std::vector<double> sqrtWeights;
  Units units;
};

/// The best shapes on some of the points, in the units of the scene.
std::vector<Model> BestOfStarts(ShapeKind kind, const Scene& scene, const Plausible& plausible,
                                const Start& start, Dice& dice, Budget& budget, int& tried) {
  const SpreadPoints spread(scene, kForStarts);
  if (!(spread.units.size > 0)) return {};
  const LeastSquaresTask task{spread.points, spread.sqrtWeights, start.held, plausible.In(spread.units)};
  std::vector<Model> starts = DirectStarts(kind, spread.points, dice);
  if (start.model) {
    const Model given = spread.units.Into(*start.model);
    for (Model& m : starts) m = WithComponents(m, start.held, given);
    starts.push_back(given);
  }
  tried = static_cast<int>(starts.size());
  std::vector<Model> best = ModelsOf(OptimaNear(starts, kFirstSteps, task, budget), kBest);
  best = ModelsOf(OptimaNear(best, kSteps, task, budget), kBest / 2);
  for (Model& m : best) m = WithComponents(spread.units.Back(m), start.held, start.model.value_or(m));
  return best;
}

/// What is known of the shape of all points.
Converged Describe(const Fitted& fitted, double size, const LeastSquaresTask& task) {
  const std::size_t n = task.points.size();
  const Model& model = fitted.model;
  const FreeParameters parameters = FreeParametersOf(model, task.held | fitted.atEnd);
  Converged c;
  c.model = model;
  c.atEnd = fitted.atEnd;
  c.isOfAllPoints = true;
  c.inliers.resize(n);
  std::iota(c.inliers.begin(), c.inliers.end(), std::uint32_t{0});
  std::vector<double> distances(n);
  Distances(model, task.points.data(), static_cast<int>(n), distances.data());
  c.tolerance = *std::max_element(distances.begin(), distances.end());
  double weights = static_cast<double>(n);
  if (!task.sqrtWeights.empty())
    weights =
        std::inner_product(task.sqrtWeights.begin(), task.sqrtWeights.end(), task.sqrtWeights.begin(), 0.0);
  const auto equations = static_cast<double>(n * EquationsOf(model.kind));
  c.isRedundant = equations > parameters.count;
  if (c.isRedundant)
    c.noise = std::sqrt(fitted.squares / weights * static_cast<double>(n) / (equations - parameters.count));
  c.converged = IsOptimal(fitted, size, task);
  return c;
}

void AddFeet(const LeastSquaresTask& task, Converged& c) {
  const std::size_t step = task.points.size() / kForFeet + 1;
  std::vector<Vector3d> points;
  std::vector<double> sqrtWeights;
  for (std::size_t i = 0; i < task.points.size(); i += step) {
    points.push_back(task.points[i]);
    if (!task.sqrtWeights.empty()) sqrtWeights.push_back(task.sqrtWeights[i]);
  }
  c.feet = SumsAtFeet(c.model, task.held | c.atEnd, points, sqrtWeights);
}

}  // namespace

// The points of a scene may be weights apart from each other, but there are always enough of them for what is
// free; else nothing is tried.
Outcome FitAllPoints(ShapeKind kind, Scene& scene, const FitOptionsBase& options, const Start& start,
                     Budget& budget) {
  const int free = FreeParametersOf(Model{.kind = kind, .major = 2, .minor = 1}, start.held).count;
  if (start.model) RequireUsable(*start.model, start.held);
  if (scene.Points().size() * EquationsOf(kind) < static_cast<std::size_t>(free))
    throw FitError(messages::kNotEnoughPoints);
  const LeastSquaresTask task{scene.Points(), scene.SqrtWeights(), start.held,
                              Plausible(kind, options, scene.Origin(), start.held)};
  SearchOutcome search;
  search.why = StopReason::kConfident;
  std::vector<Fitted> optima;
  if (free == 0) {
    optima.push_back({*start.model, SumOfSquares(*start.model, task), 0});
  } else {
    Dice dice(SeedOf(options));
    optima = OptimaNear(BestOfStarts(kind, scene, task.plausible, start, dice, budget, search.refinements),
                        kSteps, task, budget);
  }
  std::erase_if(optima,
                [&](const Fitted& f) { return !task.plausible.Passes(f.model, std::sqrt(f.squares)); });
  if (optima.empty()) {
    budget.RequireMore();
    throw FitError(messages::kNothingStandsOut);
  }
  const SpreadPoints spread(scene, kForStarts);
  Outcome outcome;
  const double size = spread.units.size;
  outcome.converged = Describe(Polished(optima.front(), size, task, budget), size, task);
  AddFeet(task, outcome.converged);
  outcome.model = outcome.converged.model;
  outcome.covariance = CovarianceOf(outcome.converged, start.held);
  outcome.report =
      ReportOf(outcome.converged, outcome.covariance, outcome.simpler, search, scene, options, budget);
  return outcome;
}

}  // namespace primfit::adaptive
