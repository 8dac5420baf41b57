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
#include "adaptive/evidence/extent.h"
#include "adaptive/evidence/report.h"
#include "adaptive/evidence/verdict.h"
#include "adaptive/joints/converge_piped_elbow.h"
#include "adaptive/joints/elbow_starts.h"
#include "adaptive/joints/pipe_growth.h"
#include "adaptive/joints/pipe_search.h"
#include "adaptive/joints/pipe_support.h"
#include "adaptive/scene/cloud.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points among which an elbow with its pipes is looked for, and those that tell a good bend from others.
constexpr std::size_t kSettled = 4096;
constexpr std::size_t kScored = 1536;
/// A torus with this share of the points leaves none for pipes.
constexpr double kAllPoints = 0.95;
/// The share of the distances' squares that bends along the centre line may explain beside what they do by
/// chance: of a torus that leaves nothing to be looked for, and of an elbow with its pipes.
constexpr double kStructure = 0.05, kMostStructure = 0.2;
/// A band of less than this share of the tube's radius is narrow.
constexpr double kClear = 0.15;
/// In one that is wider than this share, points anywhere are as dense as on a tube.
constexpr double kWidestBand = 0.5;
/// The band in which bends between two pipes are compared, in radii of these.
constexpr double kScoringBand = 0.15;
/// The coarsest bounds of a pipe's inliers, in sizes of the cloud.
constexpr double kFinePipe = 0.02, kCoarsePipe = 0.1;
/// Cylinders that are looked for, and by which factor the radius of one like another may differ.
constexpr std::size_t kMostPipes = 3;
constexpr double kLike = 1.2;
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
/// The elbow at a place passes so many of the points of the torus there, within so many tolerances.
constexpr double kMostOfTorus = 0.5, kTolerancesOfElbow = 2;
/// The radius of its pipes may differ from that of the torus by this factor.
constexpr double kLikeTorus = 1.25;

using Points = std::vector<Vector3d>;

/// Everything that looking for pipes takes from the fit.
struct ElbowTask {
  Scene& scene;
  Cloud cloud;  ///< of the scene, or about a place that was told
  const FitOptionsBase& options;
  const Start& start;
  Sample& sample;
  Budget& budget;
  Points points;     ///< a random choice, relative to the scene's origin
  double least = 0;  ///< smallest tolerance of a point
  Points ofTorus{};  ///< inliers of the torus that was found without pipes
  /// The torus at a place that was told; null where none was.
  const Model* atPlace = nullptr;
  std::array<std::optional<GrownPipe>, 2> grown{};  ///< pipes that go on from the ends of the torus

  std::span<const Vector3d> Scored() const {
    return std::span(points).first(std::min(points.size(), kScored));
  }
};

/// Whether a torus explains all points, so that there is nothing to be looked for.
bool ExplainsAll(const Outcome& torus, const ElbowTask& task) {
  if (torus.report.inlierShare < kAllPoints || torus.report.verdict != Verdict::kGood) return false;
  const double tolerance = torus.converged.tolerance;
  auto alone = WithTangents(torus.model, task.Scored(), tolerance);
  if (!alone) return true;
  for (TangentPipe& pipe : alone->pipes) pipe.exists = false;
  return ShareExplainedAlong(*alone, task.Scored(), tolerance) <= kStructure;
}

PipedElbow WithHeldParts(PipedElbow elbow, const Start& start) {
  if (start.held == 0 || !start.model) return elbow;
  elbow.torus = WithComponents(elbow.torus, start.held, *start.model);
  const Vector3d& axis = elbow.torus.axis;
  elbow.start = (elbow.start - elbow.start.dot(axis) * axis).normalized();
  return elbow;
}

/// Whether an elbow passes most of the points of the torus that was found without pipes.
bool PassesTorus(const SettledElbow& settled, std::span<const Vector3d> ofTorus) {
  const ElbowSurface surface(settled.elbow);
  const double bound = kTolerancesOfElbow * settled.tolerance;
  const auto passed = std::count_if(ofTorus.begin(), ofTorus.end(), [&](const Vector3d& p) {
    return std::abs(surface.FootOf(p).distance) <= bound;
  });
  return static_cast<double>(passed) >= kMostOfTorus * static_cast<double>(ofTorus.size());
}

/// The elbow that a start leads to, where it is one. About a place other elbows are not wanted.
std::optional<SettledElbow> SettledFrom(const PipedElbow& start, const ElbowTask& task) {
  const auto elbow =
      Settle(WithHeldParts(start, task.start), task.start.held, task.least, task.points, task.budget);
  if (elbow && task.atPlace != nullptr && !PassesTorus(*elbow, task.ofTorus)) return std::nullopt;
  const bool isElbow = elbow && IsArcSupported(elbow->elbow, task.points, elbow->tolerance) &&
                       ShareExplainedAlong(elbow->elbow, task.points, elbow->tolerance) <= kMostStructure;
  return isElbow ? elbow : std::nullopt;
}

/// Whether an elbow with its pipes leaves no points for more of them.
bool LeavesNoPoints(const SettledElbow& settled, const ElbowTask& task) {
  const ElbowSurface surface(settled.elbow);
  const auto passed = std::count_if(task.points.begin(), task.points.end(), [&](const Vector3d& p) {
    return std::abs(surface.FootOf(p).distance) <= settled.tolerance;
  });
  return static_cast<double>(passed) >= kAllPoints * static_cast<double>(task.points.size());
}

/// Whether an elbow has all its pipes, a band much narrower than its tube and nothing left to be explained.
bool IsClear(const SettledElbow& settled, const ElbowTask& task) {
  const bool hasAll = settled.elbow.PipeCount() == 2 || LeavesNoPoints(settled, task);
  return hasAll && settled.tolerance <= kClear * settled.elbow.torus.minor &&
         ShareExplainedAlong(settled.elbow, task.points, settled.tolerance) <= kStructure / 2;
}

/// Joins a pipe to each of those before. @return whether one of the elbows has both pipes
bool JoinToOthers(const FoundPipe& pipe, std::span<const FoundPipe> others, const ElbowTask& task,
                  std::vector<SettledElbow>& settled) {
  bool isJoined = false;
  for (const FoundPipe& other : others) {
    for (const PipePair& pair : PairsOf(other, pipe)) {
      const double bound = std::max(kScoringBand * pair.radius, task.least);
      const auto best = BestBetween(pair, task.Scored(), bound);
      const auto elbow = best ? SettledFrom(*best, task) : std::nullopt;
      if (!elbow) continue;
      settled.push_back(*elbow);
      isJoined = isJoined || elbow->elbow.PipeCount() == 2;
    }
  }
  return isJoined;
}

/// The pipes that go on from the ends of a torus.
std::array<std::optional<GrownPipe>, 2> GrowPipes(const Outcome& torus, const ElbowTask& task) {
  const double tolerance = torus.converged.tolerance;
  std::array<std::optional<GrownPipe>, 2> grown;
  const auto ends = WithTangents(torus.model, task.ofTorus, tolerance);
  if (!ends) return grown;
  for (std::size_t k = 0; k < grown.size(); ++k)
    grown[k] = GrowPipe(*ends, k, tolerance, task.points, task.budget);
  return grown;
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

/// Looks for a pipe and, where it joins none of those before, for one like it.
/// @param free  points that are left
/// @return whether one of the elbows found has both pipes; none where there is no pipe
std::optional<bool> JoinNextPipe(PipeSearchTask search, const ElbowTask& task, FreePoints& free, Dice& dice,
                                 std::vector<FoundPipe>& pipes, std::vector<SettledElbow>& settled) {
  const auto pipe = FindPipe(search, task.sample, free, dice, task.budget);
  if (!pipe) return std::nullopt;
  const bool isJoined = JoinToOthers(*pipe, pipes, task, settled);
  pipes.push_back(*pipe);
  if (isJoined) return true;
  const double radius = pipe->cylinder.minor;
  search.radius = {std::max(radius / kLike, search.radius.low), std::min(radius * kLike, search.radius.high)};
  if (search.radius.low > search.radius.high) return false;
  FreePoints left = free;
  const auto like = FindPipe(search, task.sample, left, dice, task.budget);
  return like && JoinToOthers(*like, std::span(pipes).last(1), task, settled);
}

/// Elbows between cylinders, first fine ones, then coarse ones, until one has both pipes.
void JoinFoundPipes(const ElbowTask& task, std::vector<SettledElbow>& settled) {
  PipeSearchTask search{.radius = task.options.minorRadius, .least = task.least};
  if (task.atPlace != nullptr) {
    const double radius = task.atPlace->minor;
    search.radius = {std::max(radius / kLikeTorus, search.radius.low),
                     std::min(radius * kLikeTorus, search.radius.high)};
    if (search.radius.low > search.radius.high) return;
  }
  search.isNoiseKnown = task.options.noise || task.options.tolerance;
  search.confidence = task.options.confidence;
  Dice dice(task.options.seed.value_or(0));
  for (const double most : {kFinePipe, kCoarsePipe}) {
    search.most = std::max(most * task.sample.units.size, task.least);
    FreePoints free(task.sample.points.size());
    std::vector<FoundPipe> pipes;
    while (pipes.size() < kMostPipes && !task.budget.IsOver()) {
      const auto isJoined = JoinNextPipe(search, task, free, dice, pipes, settled);
      if (!isJoined) break;
      if (*isJoined) return;
    }
  }
}

/// The one that explains the points best, by the narrowest of their tolerances.
const SettledElbow* BestOf(const std::vector<SettledElbow>& settled, const ElbowTask& task) {
  double bound = std::numeric_limits<double>::infinity();
  for (const SettledElbow& elbow : settled) bound = std::min(bound, elbow.tolerance);
  const SettledElbow* best = nullptr;
  double least = std::numeric_limits<double>::infinity();
  for (const SettledElbow& elbow : settled) {
    const double squares = TruncatedSquares(elbow.elbow, task.points, bound);
    if (squares >= least) continue;
    least = squares;
    best = &elbow;
  }
  return best;
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
  Points near;
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
  const MeasuredBounds bounds = BoundsOf(found, CovarianceOf(found.arc, task.start.held), task.cloud.points);
  if (part != nullptr) {
    for (auto* some : {&found.arc.inliers, &found.arc.isolated, &found.ofPipes}) {
      for (std::uint32_t& i : *some) i = part->indices[i];
    }
  }
  found.arc.supportBeside = task.scene.ShareOf(found.ofPipes);
  found.arc.isAtPlace = part != nullptr;
  SearchOutcome search;
  if (torus != nullptr) search.why = torus->report.stopReason, search.refinements = torus->report.refinements;
  Outcome outcome;
  outcome.model = found.arc.model;
  outcome.converged = found.arc;
  outcome.covariance = CovarianceOf(found.arc, task.start.held);
  outcome.bounds = bounds;
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
  ConvergeTask converge{
      .held = task.start.held, .noise = task.options.noise, .tolerance = task.options.tolerance};
  converge.points = task.cloud.points;
  converge.sqrtWeights = task.cloud.sqrtWeights;
  converge.noiseWeights = weights;
  converge.size = task.sample.units.size;
  converge.resolution = &task.scene.CoordinateResolution();
  const auto found = Converge(*best, converge, task.budget);
  if (!found || !IsConvincing(*found, torus, plausible, task)) return std::nullopt;
  return OutcomeOf(*found, part, torus, task);
}

/// Elbows that start from what goes on from the ends of a torus: first between pipes that were grown there,
/// then from tangents. @return whether the last one is clear
bool JoinEnds(const Outcome& torus, const ElbowTask& task, std::vector<SettledElbow>& settled) {
  if (task.grown[0] && task.grown[1])
    JoinToOthers(task.grown[1]->pipe, std::span(&task.grown[0]->pipe, 1), task, settled);
  if (!settled.empty() && IsClear(settled.back(), task)) return true;
  const double tolerance = torus.converged.tolerance;
  const auto start = WithTangents(torus.model, task.ofTorus, tolerance);
  const auto elbow =
      start ? SettledFrom(Shortened(*start, PieceOfPipe(*start, tolerance)), task) : std::nullopt;
  if (elbow) settled.push_back(*elbow);
  return elbow && IsClear(*elbow, task);
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
Points SomeInliers(const Outcome& torus, const Scene& scene) {
  const std::vector<std::uint32_t>& inliers = torus.converged.inliers;
  Points some(std::min(inliers.size(), kSettled));
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
  task.least = options.tolerance.value_or(
      InlierBound(false, options.noise.value_or(scene.CoordinateResolution().GridStep() / std::sqrt(12.0))));
  task.least = std::max(task.least, 1e-7 * sample.units.size);
  return task;
}

/// The points about a torus that was found at a place, as far as pipes that tell its ends reach.
ScenePart PartAbout(const Outcome& torus, const Vector3d& place, const Scene& scene) {
  double squared = 0;
  for (const std::uint32_t i : torus.converged.inliers)
    squared = std::max(squared, (scene.Points()[i] - place).squaredNorm());
  const double reach = std::sqrt(squared) + kPipesAtPlace * torus.model.minor;
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
  std::optional<Outcome> found;
  if (budget.IsOver()) {
  } else if (torus && torus->converged.isAtPlace) {
    found = FindAtPlaceWithPipes(*torus, scene, options, start, budget);
  } else {
    Dice dice(0);  // for nothing: the sample was drawn before
    Sample& sample = scene.RandomSample(dice);
    ElbowTask task = TaskOf(CloudOf(scene), sample, torus ? &*torus : nullptr, scene, options, start, budget);
    if (sample.units.size > 0 && !(torus && ExplainsAll(*torus, task))) {
      if (torus) task.grown = GrowPipes(*torus, task);
      found = FindWithPipes(torus ? &*torus : nullptr, nullptr, task);
      if (torus && !found) StateOtherPipes(0, task, torus->report);
    }
  }
  if (found) return *std::move(found);
  if (!torus) throw *failure;
  return *std::move(torus);
}

}  // namespace primfit::adaptive
