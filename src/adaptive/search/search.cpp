#include "adaptive/search/search.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>

#include "adaptive/search/confidence.h"
#include "adaptive/search/local_optimisation.h"
#include "adaptive/search/sampler.h"
#include "adaptive/search/simpler.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points that score a candidate: enough to tell shapes apart, few enough to stay in the nearest cache.
constexpr std::size_t kScoringPoints = 2048;
/// Draws from anywhere before the points are ranked, which costs as much as some thousand draws.
constexpr int kDrawsFromAnywhere = 400;
/// How far a candidate may miss a place that the shape has to pass, in sizes of the cloud.
constexpr double kSlackOfCandidate = 0.1;
/// A search that leads to a shape which is not wanted leaves draws for those beside it: it takes this share
/// of them.
constexpr double kShareWithUnwanted = 0.25;
/// A shape within the ranges of the options has at least this share of the score that it would have without
/// them.
constexpr double kLeastOfFreeScore = 0.9;
/// The share of a fit's work that the search is, to show the progress.
constexpr double kShareOfWork = 0.8;
/// Draws between two questions to clock and host.
constexpr int kAskEveryDraws = 16;

/// The first free points, which score all candidates of a search.
struct ScoringPoints {
  explicit ScoringPoints(const Sample& sample) : points(std::min(sample.free.Count(), kScoringPoints)) {
    for (std::size_t k = 0; k < points.size(); ++k) points[k] = sample.points[sample.free[k]];
    if (sample.trust.empty()) return;
    trust.resize(points.size());
    for (std::size_t k = 0; k < points.size(); ++k) trust[k] = sample.trust[sample.free[k]];
  }
  std::vector<Vector3d> points;
  std::vector<double> trust;
};

/// A search that is under way: what the stages below hand on from draw to draw.
struct RunningSearch {
  RunningSearch(const SearchTask& theTask, const Sample& sample, Budget& theBudget)
      : task(theTask),
        budget(theBudget),
        drawsBefore(theBudget.Draws()),
        sampler(theTask.kind, sample),
        scoring(sample),
        scorer(theTask.IsOfCurve(), scoring.points, theTask.bounds,
               std::max(1, FreeParametersOf(Model{.kind = theTask.kind}, 0).count), scoring.trust) {}

  const SearchTask& task;
  Budget& budget;
  int drawsBefore;  // by other searches of the same fit
  Sampler sampler;
  ScoringPoints scoring;
  Scorer scorer;
  Inliers inliers;  // of the candidate that was scored last
  Leaders leaders;
  const RankedPoints* ranked = nullptr;  // null while points are drawn from anywhere
  double natsOfDraw = 0;
  int refinements = 0;

  int Draws() const { return budget.Draws() - drawsBefore; }
  double ShareDone() const { return ShareOfConfidence(Draws(), natsOfDraw, task.confidence); }
};

/// What a draw is worth follows from the leader's inliers, so it is updated when the leader changes, or the
/// points that are drawn from.
void UpdateConfidence(RunningSearch& search) {
  const Hypothesis* leader = search.leaders.Leader();
  if (leader == nullptr) return;
  const MinimalSolver& solver = search.sampler.solver;
  const double share = search.task.inlierShare.value_or(search.scorer.ShareNeededAtFineBound(leader->score));
  search.natsOfDraw = search.ranked == nullptr ? NatsOfDraw(share, solver.sampleSize, solver.efficiency)
                                               : NatsOfRankedDraw(*leader, share, solver, *search.ranked);
}

/// Estimators know nothing of parts that are held, so a candidate takes these over afterwards; the local
/// optimisation then fits the other parts to them.
Model WithHeldParts(const Model& m, const SearchTask& task) {
  return WithComponents(m, task.held, task.start);
}

/// Whether the options allow a model: its sizes, its axis and its place.
/// @param slack  how far the model may miss that place
bool IsAllowed(const Model& m, double slack, const Plausible& plausible) {
  Model inRange = m;
  return plausible.Clamp(inRange) == 0 && plausible.Passes(m, slack);
}

/// Takes an optimised candidate among the hypotheses where it is the best of those that are wanted, or of
/// those that are not.
/// @param candidateScore  before it was optimised
void Register(const Hypothesis& hypothesis, double candidateScore, RunningSearch& search) {
  Leaders::Best& best = hypothesis.IsWanted() ? search.leaders.wanted : search.leaders.unwanted;
  best.candidateScore = candidateScore;
  if (best.hypothesis && hypothesis.score.value <= best.hypothesis->score.value) return;
  best.hypothesis = hypothesis;
  UpdateConfidence(search);
}

/// Scores a candidate, and optimises it where it scores more than any before of those that are wanted, or of
/// those that are not. The ranges of the options do not hold here: a shape outside is found as what it is.
void EvaluateFreely(const Model& candidate, RunningSearch& search) {
  const SearchTask& task = search.task;
  const Leaders& leaders = search.leaders;
  if (!search.budget.Spend(search.scorer.Points().size())) return;
  const Score score = search.scorer(candidate);
  if (score.value <= leaders.wanted.candidateScore) return;
  CopyInliers(search.scorer, score.tolerance, search.inliers);
  if (score.value <= leaders.unwanted.candidateScore &&
      (!IsAllowed(candidate, kSlackOfCandidate, task.plausible) ||
       HasSimpler(candidate, search.inliers.points, search.budget)))
    return;
  const Optimised optimised =
      OptimiseLocally(candidate, score, task.held, nullptr, search.scorer, search.inliers, search.budget);
  search.refinements += optimised.refinements;
  const bool hasSimpler = HasSimpler(optimised.model, search.inliers.points, search.budget);
  const bool isAllowed = IsAllowed(optimised.model, optimised.score.tolerance, task.plausible);
  Register({optimised.model, optimised.score, hasSimpler, isAllowed}, score.value, search);
}

/// A candidate outside of the ranges, moved into these and optimised there. It is a hypothesis where the
/// points do not speak against it: refined without the ranges it scores hardly more. So a short arc, whose
/// radius the points do not tell, takes it from the options, and a floor does not become a thin pipe.
void EvaluateInRange(const Model& inRange, RunningSearch& search) {
  const SearchTask& task = search.task;
  if (!task.plausible.Passes(inRange, kSlackOfCandidate)) return;
  if (!search.budget.Spend(search.scorer.Points().size())) return;
  const Score score = search.scorer(inRange);
  if (score.value <= search.leaders.wanted.candidateScore) return;
  CopyInliers(search.scorer, score.tolerance, search.inliers);
  const Optimised bounded = OptimiseLocally(inRange, score, task.held, &task.plausible, search.scorer,
                                            search.inliers, search.budget);
  Inliers& inliers = search.inliers;
  const bool isWanted = task.plausible.Passes(bounded.model, bounded.score.tolerance) &&
                        !HasSimpler(bounded.model, inliers.points, search.budget);
  search.refinements += bounded.refinements;
  if (!isWanted) return;
  const Optimised free = OptimiseLocally(bounded.model, bounded.score, task.held, nullptr, search.scorer,
                                         inliers, search.budget);
  search.refinements += free.refinements;
  if (bounded.score.value < kLeastOfFreeScore * free.score.value) return;
  Register({bounded.model, bounded.score}, score.value, search);
}

void Evaluate(const Model& candidate, RunningSearch& search) {
  if (!IsValid(candidate)) return;
  EvaluateFreely(candidate, search);
  Model inRange = candidate;
  if (search.task.plausible.Clamp(inRange) != 0 && IsValid(inRange)) EvaluateInRange(inRange, search);
}

/// Why a stage of the search ended.
enum class DrawsEnd { kConfident, kBudget, kTooMany };

/// Draws candidates with draw(number) until the search is confident, the budget ends, or it has drawn `most`.
template <class Draw>
DrawsEnd DrawUntil(int most, RunningSearch& search, const Draw& draw) {
  Budget& budget = search.budget;
  for (; search.Draws() < most && budget.Draws() < budget.DrawLimit(); budget.CountDraw()) {
    if (search.leaders.IsLeaderUnwanted() && search.Draws() > kShareWithUnwanted * budget.DrawLimit())
      return DrawsEnd::kTooMany;
    budget.Advance(kShareOfWork * search.ShareDone());
    if (budget.Draws() % kAskEveryDraws == 0) budget.Ask();
    if (budget.IsOver()) return DrawsEnd::kBudget;
    if (search.ShareDone() >= 1) return DrawsEnd::kConfident;
    const Candidates candidates = draw(budget.Draws());
    for (int i = 0; i < candidates.count; ++i)
      Evaluate(WithHeldParts(candidates.models[static_cast<std::size_t>(i)], search.task), search);
  }
  return search.ShareDone() >= 1 ? DrawsEnd::kConfident : DrawsEnd::kTooMany;
}

/// From now on points are drawn by their rank. The ranking is made only here, as most searches end before.
void UseRanked(const Sample& sample, RankedPoints& ranked, RunningSearch& search) {
  const SearchTask& task = search.task;
  if (ranked.IsEmpty()) {
    search.budget.Spend(sample.free.Count());
    ranked = task.passes ? RankByDistance(sample, *task.passes, task.IsOfCurve())
                         : RankByVariation(sample, task.IsOfCurve());
  }
  search.ranked = &ranked;
  UpdateConfidence(search);
}

/// Draws from anywhere first, which costs nothing beforehand, then from the ranked points. Where the shape
/// has to pass a place, points from anywhere are no use, so it starts with the points about that place.
StopReason DrawAll(const Sample& sample, RankedPoints& ranked, Dice& dice, RunningSearch& search) {
  DrawsEnd end = DrawUntil(search.task.passes ? 0 : kDrawsFromAnywhere, search,
                           [&](int number) { return DrawFromAnywhere(search.sampler, number, dice); });
  if (end == DrawsEnd::kTooMany) {
    end = DrawUntil(std::numeric_limits<int>::max(), search, [&](int number) {
      if (search.ranked == nullptr) UseRanked(sample, ranked, search);
      return DrawFromRanked(search.sampler, ranked, number, dice);
    });
  }
  if (end == DrawsEnd::kBudget) return search.budget.Why();
  return end == DrawsEnd::kConfident ? StopReason::kConfident : StopReason::kDrawLimit;
}

}  // namespace

SearchOutcome Search(const SearchTask& task, const Sample& sample, RankedPoints& ranked, Dice& dice,
                     Budget& budget) {
  RunningSearch search(task, sample, budget);
  SearchOutcome outcome;
  if (task.evaluatesStart) Evaluate(task.start, search);
  if (sample.free.Count() >= search.sampler.solver.sampleSize)
    outcome.why = DrawAll(sample, ranked, dice, search);
  const Leaders& leaders = search.leaders;
  if (leaders.Leader() != nullptr) outcome.found.push_back(*leaders.Leader());
  if (leaders.IsLeaderUnwanted() && leaders.wanted.hypothesis)
    outcome.found.push_back(*leaders.wanted.hypothesis);
  outcome.refinements = search.refinements;
  return outcome;
}

}  // namespace primfit::adaptive
