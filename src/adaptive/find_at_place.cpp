#include "adaptive/find_at_place.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "adaptive/converge/converge_in_stages.h"
#include "adaptive/converge/noise.h"
#include "adaptive/place_candidate.h"
#include "adaptive/scene/cloud.h"
#include "adaptive/scene/connected_region.h"
#include "adaptive/scene/local_noise.h"
#include "adaptive/scene/nested_balls.h"
#include "adaptive/search/nested_search.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points of a ball that the search works on, and its draws: more of either found no more shapes.
constexpr std::size_t kSampled = 1500;
constexpr int kDrawsOfBall = 300;
/// Points of a shape that tell how much of it is connected with the place, in a ball and in the end.
constexpr std::size_t kLinkedInBall = 512, kLinkedInTheEnd = 2048;
/// A larger ball is not searched where the best candidate has a smaller share of its points.
constexpr double kSmallPart = 1.0 / 16;
/// How far about the points of a shape others are looked at, in the radius of these.
constexpr double kAboutSupport = 1.5;

/// What all balls are searched for.
struct PlaceTask {
  ShapeKind kind;
  const Plausible& plausible;
  const FitOptionsBase& options;
  const Start& start;
  Vector3d place;  // relative to the scene's origin

  bool IsNoiseTold() const { return IsNoiseKnown(options); }
};

/// The search at a place while it goes from ball to ball.
struct PlaceSearch {
  std::optional<PlaceCandidate> best;
  Surroundings surroundings;
  SearchOutcome summary;
  std::vector<double> localNoises;  // in the balls

  /// The middle one of the balls' counts: in some the neighbourhoods lie across edges.
  void NoteLocalNoise(double noise) {
    localNoises.insert(std::upper_bound(localNoises.begin(), localNoises.end(), noise), noise);
    surroundings.localNoise = localNoises[localNoises.size() / 2];
  }
};

/// Some of the points of a shape, and which of them are connected with the place.
struct Support {
  std::vector<Vector3d> points;
  Connected connected;
  double count = 0;  // of the connected ones, of all points of the cloud
};

/// @param most  so many points of the shape tell
Support SupportOf(const PlaceCandidate& shape, const Vector3d& place, std::span<const Vector3d> all,
                  std::size_t most, Dice& dice) {
  const std::vector<std::uint32_t> within = PointsWithin(shape.tolerance, shape.model, all);
  Support support;
  for (const std::uint32_t i : DrawSome(within, most, dice)) support.points.push_back(all[i]);
  support.connected = ConnectedWith(place, support.points);
  if (support.points.empty()) return support;
  const double share =
      static_cast<double>(support.connected.count) / static_cast<double>(support.points.size());
  support.count = share * static_cast<double>(within.size());
  return support;
}

/// A ball as the stages take it.
struct Ball {
  Ball(std::span<const std::uint32_t> indices, const Scene& scene, Dice& dice)
      : count(static_cast<double>(indices.size())),
        part(scene, DrawSome(indices, kSampled, dice)),
        sample(SampleOf(part)),
        noiseWeights(NoiseWeights(part.trust)) {}

  double count;  // of its points
  ScenePart part;
  Sample sample;
  std::vector<double> noiseWeights;
};

/// Converges in a ball, and keeps what comes of it where it is to be preferred to the best so far.
/// @param task  without points
/// @return the noise of the shape; infinite where there is none
double Try(const Model& from, double tolerance, ConvergeTask task, const Ball& ball, const PlaceTask& of,
           Dice& dice, Budget& budget, PlaceSearch& search) {
  task.points = ball.part.points;
  task.sqrtWeights = ball.part.sqrtWeights;
  task.noiseWeights = ball.noiseWeights;
  task.startTolerance = tolerance;
  const auto c = Converge(from, task, budget);
  if (!c || !StandsOut(*c, c->justBeyond, of.plausible, of.IsNoiseTold(), task.size) ||
      IsTooFine(c->noise, search.surroundings))
    return std::numeric_limits<double>::infinity();
  PlaceCandidate candidate{c->model, c->noise, c->tolerance};
  const double ofSample = SupportOf(candidate, of.place, ball.part.points, kLinkedInBall, dice).count;
  candidate.support = ofSample * ball.count / static_cast<double>(ball.part.points.size());
  if (!search.best || IsPreferred(candidate, *search.best, search.surroundings)) {
    double& least = search.surroundings.leastNoise;
    least = search.best ? std::min(least, LargestNoise(candidate)) : LargestNoise(candidate);
    search.best = candidate;
  }
  return c->noise;
}

/// Draws candidates in a ball and tries the hypotheses. @return the least noise of a shape
double TryDrawn(const SearchTask& task, const ConvergeTask& converge, const Ball& ball, const PlaceTask& of,
                Dice& dice, Budget& budget, PlaceSearch& search) {
  const ScopedDrawLimit limit(budget, budget.Draws() + kDrawsOfBall);
  const SearchOutcome outcome = SearchNested(task, of.IsNoiseTold(), ball.sample, dice, budget);
  search.summary.refinements += outcome.refinements;
  search.summary.why = outcome.why;
  double noise = std::numeric_limits<double>::infinity();
  for (const Hypothesis& h : outcome.found) {
    if (!h.IsWanted()) continue;
    const double tolerance = h.score.tolerance * ball.sample.units.size;
    noise = std::min(
        noise, Try(ball.sample.units.Back(h.model), tolerance, converge, ball, of, dice, budget, search));
  }
  return noise;
}

/// Searches one ball. A shape that goes over into others smoothly, as a fillet does, scores most with a wide
/// band that takes in some of these; so where what was found is coarser than the surface about the place, the
/// search looks for one as fine as that.
void SearchBall(const Ball& ball, const PlaceTask& of, Scene& scene, Dice& dice, Budget& budget,
                PlaceSearch& search) {
  const Units& units = ball.sample.units;
  if (!(units.size > 0)) return;
  SearchTask task = SearchTaskOf(of.kind, of.plausible, of.options, of.start, units, scene);
  const ConvergeTask converge = ConvergeTaskOf(of.plausible, of.options, of.start, units.size, scene);
  double localNoise = 0;
  if (!task.IsOfCurve() && !of.IsNoiseTold()) localNoise = LocalNoise(ball.sample, *task.passes).value_or(0);
  // Where not all points of the ball are looked at, neighbours are too far apart to be local.
  if (localNoise > 0 && ball.count <= static_cast<double>(kSampled))
    search.NoteLocalNoise(localNoise * units.size);
  double noise = std::numeric_limits<double>::infinity();
  if (search.best) {
    const PlaceCandidate grown = *search.best;
    noise = Try(grown.model, grown.tolerance, converge, ball, of, dice, budget, search);
  }
  noise = std::min(noise, TryDrawn(task, converge, ball, of, dice, budget, search));
  if (!(localNoise > 0) || noise <= kMuchCoarser * localNoise * units.size) return;
  task.bounds.most =
      std::clamp(kMuchCoarser * InlierBound(false, localNoise), task.bounds.least, task.bounds.most);
  TryDrawn(task, converge, ball, of, dice, budget, search);
}

/// The points about the connected part of a shape.
std::vector<std::uint32_t> RegionOf(const Support& support, const Scene& scene) {
  const ConnectedRegion region(support.points, support.connected);
  std::vector<std::uint32_t> in;
  for (std::size_t i = 0; i < scene.Points().size(); ++i) {
    if (region.Has(scene.Points()[i])) in.push_back(static_cast<std::uint32_t>(i));
  }
  return in;
}

/// Whether the points end where the shape does. A patch of any smooth body is nearly a plane or a sphere, but
/// its points go on beside it and leave it slowly: then there are as many just beyond the tolerance as
/// within.
/// @param size  of the region
bool EndsWithItsPoints(const Converged& c, double size, const PlaceTask& of, const ScenePart& region,
                       const Scene& scene) {
  Vector3d middle = Vector3d::Zero();
  for (const std::uint32_t i : c.inliers) middle += region.points[i] / static_cast<double>(c.inliers.size());
  const double reach = kAboutSupport * FarthestOf(c.inliers, region.points, middle);
  std::vector<Vector3d> about;
  for (const std::uint32_t i : PointsWithin(2 * c.tolerance, c.model, scene.Points())) {
    if ((scene.Points()[i] - middle).norm() <= reach) about.push_back(scene.Points()[i]);
  }
  const std::size_t beyond = about.size() - PointsWithin(c.tolerance, c.model, about).size();
  return StandsOut(c, beyond, of.plausible, of.IsNoiseTold(), size);
}

/// Converges on all points about a candidate. Where that makes it coarser without saving more, the
/// candidate's tolerance holds: it would take in points of what the shape goes over into.
std::optional<Converged> ConvergeOnRegion(const PlaceCandidate& from, const PlaceTask& of,
                                          const PlaceSearch& search, const ScenePart& region, Scene& scene,
                                          Dice& dice, Budget& budget) {
  const Sample sample = DrawSample(region.points, region.trust, dice);
  if (!(sample.units.size > 0)) return std::nullopt;
  ConvergeTask task = ConvergeTaskOf(of.plausible, of.options, of.start, sample.units.size, scene);
  task.startTolerance = from.tolerance;
  task.fadingRounds = 0;
  auto converged = ConvergeInStages(from.model, task, sample, region.AsCloud(), budget);
  if (!converged) return std::nullopt;
  const PlaceCandidate to{converged->model, converged->noise, converged->tolerance,
                          static_cast<double>(converged->inliers.size())};
  if (!of.IsNoiseTold() && IsCoarser(to, from) && !IsPreferred(to, from, search.surroundings)) {
    task.tolerance = from.tolerance;
    converged = ConvergeInStages(from.model, task, sample, region.AsCloud(), budget);
  }
  if (!converged || IsTooFine(converged->noise, search.surroundings) ||
      !EndsWithItsPoints(*converged, sample.units.size, of, region, scene))
    return std::nullopt;
  return converged;
}

}  // namespace

std::optional<Outcome> FindAtPlace(ShapeKind kind, const Plausible& plausible, const FitOptionsBase& options,
                                   const Start& start, Scene& scene, Dice& dice, Budget& budget) {
  const PlaceTask of{kind, plausible, options, start, *options.passes - scene.Origin()};
  const NestedBalls balls(scene.Points(), of.place);
  PlaceSearch search;
  for (std::size_t i = 0; i < balls.Count() && !budget.IsOver(); ++i) {
    const std::span<const std::uint32_t> indices = balls.Indices(i);
    if (search.best && search.best->support < kSmallPart * static_cast<double>(indices.size())) break;
    search.surroundings.room = balls.Radius(i);
    SearchBall(Ball(indices, scene, dice), of, scene, dice, budget, search);
  }
  if (!search.best) return std::nullopt;
  const Support support = SupportOf(*search.best, of.place, scene.Points(), kLinkedInTheEnd, dice);
  const ScenePart region(scene, RegionOf(support, scene));
  auto converged = ConvergeOnRegion(*search.best, of, search, region, scene, dice, budget);
  if (!converged) return std::nullopt;
  converged->isAtPlace = true;
  for (auto* some : {&converged->inliers, &converged->isolated}) {
    for (std::uint32_t& i : *some) i = region.indices[i];
  }
  return OutcomeOf(*std::move(converged), search.summary, start, options, scene, budget);
}

}  // namespace primfit::adaptive
