#include "adaptive/find_elbow.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "adaptive/converge/noise.h"
#include "adaptive/elbow_search.h"
#include "adaptive/evidence/extent.h"
#include "adaptive/evidence/report.h"
#include "adaptive/evidence/verdict.h"
#include "adaptive/joints/converge_piped_elbow.h"
#include "adaptive/joints/elbow_starts.h"
#include "adaptive/joints/pipe_support.h"
#include "adaptive/scene/cloud.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// The smallest tolerance, in sizes of the cloud: a smaller one would be rounding.
constexpr double kLeastBound = 1e-7;
/// Points among which an elbow with its pipes is looked for.
constexpr std::size_t kSettled = 4096;
/// In a band that is wider than this share of the tube's radius, points anywhere are as dense as on a tube.
constexpr double kWidestBand = 0.5;
/// A bend radius that is not known to this share, and a sweep, say nothing of an elbow.
constexpr double kLeastKnown = 0.3;
/// By how much squared distances, in those of the noise, have to be less with the pipes.
constexpr double kBetter = 20;
/// In a wide band pipes may be clutter, so it has to be hardly wider than that of the torus.
constexpr double kCoarser = 1.3;
/// How far beyond the inliers of a torus at a place its pipes are looked at, in radii of the tube.
constexpr double kPipesAtPlace = 8;
/// The share of the inliers of a torus in which nothing is wrong that an elbow with its pipes has at least.
constexpr double kNotFarFewer = 0.5;

/// Whether a torus explains all points, so that there is nothing to be looked for.
bool ExplainsAll(const Outcome& torus, const ElbowTask& task) {
  if (torus.report.inlierShare < kAllPoints || torus.report.verdict != Verdict::kGood) return false;
  const double tolerance = torus.converged.tolerance;
  auto alone = WithTangents(torus.model, task.Scored(), tolerance);
  if (!alone) return true;
  for (TangentPipe& pipe : alone->pipes) pipe.exists = false;
  return ShareExplainedAlong(*alone, task.Scored(), tolerance) <= kStructure;
}

/// An elbow whose ends go over into pipes that it was not fitted with has probably taken in some of their
/// points. Points of the bend itself may pass for the first piece of a pipe, so this has to be long enough
/// without them.
/// @param pipes  so many it was fitted with
void StateOtherPipes(std::size_t pipes, const ElbowTask& task, FitReport& report) {
  const auto goesOn = [](const std::optional<GrownPipe>& pipe) {
    return pipe && pipe->beyond >= kLeastPipe * pipe->pipe.cylinder.minor;
  };
  const std::size_t grown = std::size_t{goesOn(task.grown[0])} + std::size_t{goesOn(task.grown[1])};
  if (report.verdict != Verdict::kGood || grown <= pipes) return;
  report.verdict = Verdict::kMisfit;
  report.reason = grown - pipes == 2 ? "straight pipes go on from both ends, and the bend has points of them"
                                     : "a straight pipe goes on from an end, and the bend has points of it";
}

/// How much nearer the points of an elbow are to it than to a torus: the difference of their squared
/// distances with none above the bound.
double GainOver(const Model& torus, const PipedElbow& elbow, std::span<const Vector3d> points, double bound) {
  const ElbowSurface surface(elbow);
  std::vector<double> distances(points.size());
  Distances(torus, points.data(), static_cast<int>(points.size()), distances.data());
  double gain = 0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const double d = std::abs(surface.FootOf(points[i]).distance), other = std::min(distances[i], bound);
    if (d <= bound) gain += other * other - d * d;
  }
  return gain;
}

bool ArePipesSupported(const ConvergedElbow& found, const ElbowTask& task) {
  PipedElbow elbow = found.elbow;
  for (TangentPipe& pipe : elbow.pipes) pipe.reach = TangentPipe().reach;
  const auto lengths = SupportedLengths(elbow, task.points, found.arc.tolerance);
  for (std::size_t k = 0; k < lengths.size(); ++k) {
    if (elbow.pipes[k].exists && !(lengths[k] >= kLeastPipe * elbow.torus.minor)) return false;
  }
  return true;
}

/// Whether an elbow with its pipes is one, explains its points better than the torus alone, and has not far
/// fewer than that.
bool IsConvincing(const ConvergedElbow& found, const Outcome* torus, const Plausible& plausible,
                  const ElbowTask& task) {
  const PipedElbow& elbow = found.elbow;
  Model model = elbow.torus;
  if (plausible.Clamp(model) != 0 || !plausible.Passes(elbow.torus, found.arc.tolerance)) return false;
  if (!IsArcSupported(elbow, task.points, found.arc.tolerance) || !ArePipesSupported(found, task))
    return false;
  if (ShareExplainedAlong(elbow, task.points, found.arc.tolerance) > kMostStructure) return false;
  if (found.arc.tolerance > kWidestBand * elbow.torus.minor) return false;
  if (!(std::sqrt(found.covariance(5, 5)) <= kLeastKnown * elbow.torus.major)) return false;
  if (torus == nullptr) return true;
  const std::size_t inliers = found.arc.inliers.size() + found.ofPipes.size();
  const bool isTorusSound =
      torus->report.verdict == Verdict::kGood || torus->report.verdict == Verdict::kWeak;
  if (isTorusSound &&
      static_cast<double>(inliers) < kNotFarFewer * static_cast<double>(torus->converged.inliers.size()))
    return false;
  const double noise = found.arc.noise;
  const bool isNarrow = found.arc.tolerance <= kClear * elbow.torus.minor;
  if (!isNarrow && noise > kCoarser * torus->report.noise) return false;
  return GainOver(torus->model, elbow, task.points, InlierBound(false, noise)) > kBetter * noise * noise;
}

/// The arc from joint to joint; a free end is that of its points.
MeasuredBounds BoundsOf(const ConvergedElbow& found, const FitCovariance& covariance,
                        std::span<const Vector3d> points) {
  const PipedElbow& elbow = found.elbow;
  const ElbowMatrix& c = found.covariance;
  MeasuredBounds bounds;
  bounds.extent = {0, elbow.sweep, elbow.start};
  bounds.low = bounds.start = std::sqrt(c(kArcBegins, kArcBegins));
  bounds.high = std::sqrt(c(kArcEnds, kArcEnds));
  bounds.length = std::sqrt(
      std::max(c(kArcBegins, kArcBegins) + c(kArcEnds, kArcEnds) - 2 * c(kArcBegins, kArcEnds), 0.0));
  if (elbow.PipeCount() == 2) return bounds;
  std::vector<Vector3d> near;
  for (const std::uint32_t i : found.arc.inliers) near.push_back(points[i]);
  for (const std::uint32_t i : found.arc.isolated) near.push_back(points[i]);
  AxisFrame frame(elbow.torus, near);
  frame.strayShare =
      static_cast<double>(found.arc.justBeyond) / static_cast<double>(found.arc.inliers.size());
  frame.noise = found.arc.noise;
  const MeasuredBounds ofPoints = MeasureBounds(Bounds::kAboutAxis, frame, covariance);
  const auto azimuth = [&](const Vector3d& v) { return std::atan2(v.dot(frame.w), v.dot(frame.u)); };
  const double turn = 2 * std::numbers::pi;
  if (elbow.pipes[0].exists) {
    const double sweep = ofPoints.extent.high - azimuth(elbow.start);
    bounds.extent.high = sweep - turn * std::floor(sweep / turn);
    bounds.high = ofPoints.high;
  } else {
    const Vector3d end =
        std::cos(elbow.sweep) * elbow.start + std::sin(elbow.sweep) * elbow.torus.axis.cross(elbow.start);
    const double sweep = azimuth(end) - ofPoints.extent.low;
    bounds.extent = {0, sweep - turn * std::floor(sweep / turn), ofPoints.extent.startDirection};
    bounds.low = bounds.start = ofPoints.low;
  }
  bounds.length = std::hypot(bounds.low, bounds.high);
  return bounds;
}

/// What supports the elbow, in words.
std::string SupportInWords(const ConvergedElbow& found, const FitReport& report) {
  const char* const pipes = found.elbow.PipeCount() == 2 ? "pipes" : "pipe";
  char text[100];
  if (found.arc.isAtPlace) {
    std::snprintf(text, sizeof text, "%zu points about the place support the elbow, %zu its %s",
                  found.arc.inliers.size(), found.ofPipes.size(), pipes);
  } else {
    std::snprintf(text, sizeof text, "%.0f %% of the points support the elbow, %.0f %% its %s",
                  100 * report.inlierShare, 100 * found.arc.supportBeside, pipes);
  }
  return text;
}

/// The verdict is about elbow and pipes, which support each other; the share of inliers is the elbow's own.
/// @param part  of the scene, which the indices of inliers are of; null: the whole one
Outcome OutcomeOf(ConvergedElbow found, const ScenePart* part, const Outcome* torus, const ElbowTask& task) {
  Outcome outcome;
  outcome.covariance = CovarianceOf(found.arc, task.start.held);
  outcome.bounds = BoundsOf(found, outcome.covariance, task.cloud.points);
  if (part != nullptr) {
    for (auto* some : {&found.arc.inliers, &found.arc.isolated, &found.ofPipes}) {
      for (std::uint32_t& i : *some) i = part->indices[i];
    }
  }
  found.arc.supportBeside = task.scene.ShareOf(found.ofPipes);
  found.arc.isAtPlace = part != nullptr;
  SearchOutcome search;
  if (torus != nullptr) search.why = torus->report.stopReason, search.refinements = torus->report.refinements;
  outcome.model = found.arc.model;
  outcome.converged = found.arc;
  outcome.report =
      ReportOf(found.arc, outcome.covariance, std::nullopt, search, task.scene, task.options, task.budget);
  if (outcome.report.verdict == Verdict::kGood) outcome.report.reason = SupportInWords(found, outcome.report);
  StateOtherPipes(found.elbow.PipeCount(), task, outcome.report);
  return outcome;
}

/// The best of some elbows on all points, where it is convincing.
std::optional<Outcome> Confirmed(const std::vector<SettledElbow>& settled, const Outcome* torus,
                                 const ScenePart* part, const ElbowTask& task) {
  const SettledElbow* best = BestOf(settled, task);
  if (best == nullptr) return std::nullopt;
  const Plausible plausible(ShapeKind::kTorus, task.options, task.scene.Origin(), task.start.held);
  const std::vector<double> weights = NoiseWeights(task.cloud.trust);
  ConvergeTask converge =
      ConvergeTaskOf(plausible, task.options, task.start, task.sample.units.size, task.scene);
  converge.points = task.cloud.points;
  converge.sqrtWeights = task.cloud.sqrtWeights;
  converge.noiseWeights = weights;
  const auto found = Converge(*best, converge, task.budget);
  if (!found || !IsConvincing(*found, torus, plausible, task)) return std::nullopt;
  return OutcomeOf(*found, part, torus, task);
}

/// The elbow with its pipes, where there is one.
std::optional<Outcome> FindWithPipes(const Outcome* torus, const ScenePart* part, const ElbowTask& task) {
  std::vector<SettledElbow> settled;
  if (torus != nullptr && JoinEnds(*torus, task, settled)) {
    auto found = Confirmed(settled, torus, part, task);
    if (found) return found;
  }
  JoinFoundPipes(task, settled);
  return Confirmed(settled, torus, part, task);
}

/// Inliers of a torus at equal steps of their order, relative to the scene's origin.
std::vector<Vector3d> SomeInliers(const Outcome& torus, const Scene& scene) {
  const std::vector<std::uint32_t>& inliers = torus.converged.inliers;
  std::vector<Vector3d> some(std::min(inliers.size(), kSettled));
  for (std::size_t k = 0; k < some.size(); ++k)
    some[k] = scene.Points()[inliers[k * inliers.size() / some.size()]];
  return some;
}

/// @param torus  null where none was found
ElbowTask TaskOf(const Cloud& cloud, Sample& sample, const Outcome* torus, Scene& scene,
                 const FitOptionsBase& options, const Start& start, Budget& budget) {
  ElbowTask task{scene, cloud, options, start, sample, budget, {}};
  if (torus != nullptr) task.ofTorus = SomeInliers(*torus, scene);
  if (torus != nullptr && torus->converged.isAtPlace) task.atPlace = &torus->model;
  const std::size_t count = std::min(sample.indices.size(), kSettled);
  task.points.reserve(count);
  for (std::size_t k = 0; k < count; ++k) task.points.push_back(cloud.points[sample.indices[k]]);
  task.least = std::max(LeastBoundOf(false, options, scene), kLeastBound * sample.units.size);
  return task;
}

/// The points about a torus that was found at a place, as far as pipes that tell its ends reach.
ScenePart PartAbout(const Outcome& torus, const Vector3d& place, const Scene& scene) {
  const double reach =
      FarthestOf(torus.converged.inliers, scene.Points(), place) + kPipesAtPlace * torus.model.minor;
  std::vector<std::uint32_t> near;
  for (std::size_t i = 0; i < scene.Points().size(); ++i) {
    if ((scene.Points()[i] - place).norm() <= reach) near.push_back(static_cast<std::uint32_t>(i));
  }
  return {scene, std::move(near)};
}

/// The elbow with its pipes at a place that was told; where there is none, the verdict on the torus tells of
/// pipes that it goes over into.
std::optional<Outcome> FindAtPlaceWithPipes(Outcome& torus, Scene& scene, const FitOptionsBase& options,
                                            const Start& start, Budget& budget) {
  const ScenePart part = PartAbout(torus, *options.passes - scene.Origin(), scene);
  Dice dice(options.seed.value_or(0));
  Sample sample = DrawSample(part.points, part.trust, dice);
  if (!(sample.units.size > 0)) return std::nullopt;
  ElbowTask task = TaskOf(part.AsCloud(), sample, &torus, scene, options, start, budget);
  task.grown = GrowPipes(torus, task);
  auto found = FindWithPipes(&torus, &part, task);
  if (!found) StateOtherPipes(0, task, torus.report);
  return found;
}

/// The elbow with its pipes among all points.
/// @param torus  null where none was found
std::optional<Outcome> FindAnywhereWithPipes(Outcome* torus, Scene& scene, const FitOptionsBase& options,
                                             const Start& start, Budget& budget) {
  Dice dice(0);  // for nothing: the sample was drawn before
  Sample& sample = scene.RandomSample(dice);
  ElbowTask task = TaskOf(CloudOf(scene), sample, torus, scene, options, start, budget);
  if (!(sample.units.size > 0) || (torus != nullptr && ExplainsAll(*torus, task))) return std::nullopt;
  if (torus != nullptr) task.grown = GrowPipes(*torus, task);
  auto found = FindWithPipes(torus, nullptr, task);
  if (torus != nullptr && !found) StateOtherPipes(0, task, torus->report);
  return found;
}

}  // namespace

Outcome FindElbow(ShapeKind kind, Scene& scene, const FitOptionsBase& options, const Start& start,
                  Budget& budget) {
  std::optional<Outcome> torus;
  std::optional<FitError> failure;
  try {
    torus = FindShape(kind, scene, options, start, budget);
  } catch (const FitError& error) {
    if (error.Code() != FitErrorCode::kNothingStandsOut) throw;
    failure = error;
  }
  if (!budget.IsOver()) {
    auto found = torus && torus->converged.isAtPlace
                     ? FindAtPlaceWithPipes(*torus, scene, options, start, budget)
                     : FindAnywhereWithPipes(torus ? &*torus : nullptr, scene, options, start, budget);
    if (found) return *std::move(found);
  }
  if (!torus) throw *failure;
  return *std::move(torus);
}

}  // namespace primfit::adaptive
