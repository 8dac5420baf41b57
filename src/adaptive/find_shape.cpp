#include "adaptive/find_shape.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "adaptive/evidence/verdict.h"
#include "adaptive/search/plausible.h"
#include "adaptive/search/search.h"
#include "fit/messages.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Smallest bound of an inlier, in sizes of the cloud: exact points. And the largest.
constexpr double kLeastBound = 1e-7;
constexpr double kLargestBound = 0.25;
/// How far points that lie anywhere are from a shape at the least, in the same.
constexpr double kLeastReach = 0.5;
/// A shape that chance gives once in e^30 clouds is none of chance's.
constexpr double kByChance = 30;
/// By how much points are denser near a shape than beside it.
constexpr double kStandsOut = 2;
/// Noise that blurs a shape of the cloud's size beyond recognition: some bent band fits any cloud so.
constexpr double kCoarsestNoise = 0.08;
/// A bound within which a finer shape may hide, in sizes of the cloud, and by how much it is finer.
constexpr double kBoundThatMayHide = 0.03;
constexpr double kFiner = 3;
/// The share of the draws that the search for it may take.
constexpr double kShareOfInnerSearch = 0.1;
/// Fewer points than this share of all, or for each way in which a shape can change, are not searched for a
/// shape of their own: among few some lie near one by chance.
constexpr double kLeastShare = 0.02;
constexpr int kLeastPerParameter = 10;
/// Points on which a fit converges before it looks at all of them.
constexpr std::size_t kFirstPoints = 2048, kMorePoints = 8192;

Model Scaled(Model m, const Vector3d& middle, double size) {
  m.center = (m.center - middle) / size;
  m.major /= size;
  if (FactsOf(m.kind).minor != ParameterKind::kHalfAngle) m.minor /= size;
  return m;
}
Model Unscaled(Model m, const Vector3d& middle, double size) {
  m.center = m.center * size + middle;
  m.major *= size;
  if (FactsOf(m.kind).minor != ParameterKind::kHalfAngle) m.minor *= size;
  return m;
}

/// Takes the points near a shape out of others.
void LeaveOut(const Model& model, double bound, Cloud& cloud) {
  std::vector<double> distances(cloud.points.size());
  Distances(model, cloud.points.data(), static_cast<int>(distances.size()), distances.data());
  std::size_t kept = 0;
  for (std::size_t i = 0; i < distances.size(); ++i) {
    if (distances[i] <= bound) continue;
    if (!cloud.trust.empty()) cloud.trust[kept] = cloud.trust[i];
    cloud.points[kept++] = cloud.points[i];
  }
  cloud.points.resize(kept);
  if (!cloud.trust.empty()) cloud.trust.resize(kept);
}

/// What points count in the estimate of the noise: their trust, but no more than the median one's, so that
/// few do not speak for all.
std::vector<double> Votes(std::span<const double> trust) {
  std::vector<double> votes(trust.begin(), trust.end());
  if (votes.empty()) return votes;
  const auto middle = votes.begin() + static_cast<std::ptrdiff_t>(votes.size() / 2);
  std::nth_element(votes.begin(), middle, votes.end());
  const double median = *middle;
  std::transform(trust.begin(), trust.end(), votes.begin(),
                 [&](double t) { return std::min(t, median) / median; });
  return votes;
}

/// One fit.
class Finder {
 public:
  Finder(ShapeKind kind, const Frame& frame, const FitOptionsBase& options, const Given& given,
         Budget& budget)
      : frame_(frame),
        options_(options),
        budget_(budget),
        held_(given.held),
        curve_(FactsOf(kind).isCurve),
        untold_(!options.noise && !options.tolerance),
        plausible_(kind, options, frame.Origin(), given.held),
        dice_(SeedOf(options)),
        cloud_(Shuffled(frame, dice_)),
        size_(SizeOf(First(kFirstPoints), middle_)) {
    if (!(size_ > 0)) throw FitError(messages::kNothingStandsOut);
    scaled_ = cloud_;
    std::transform(cloud_.points.begin(), cloud_.points.end(), scaled_.points.begin(),
                   [&](const Vector3d& p) { return Vector3d((p - middle_) / size_); });
    SetTask(kind, given);
  }

  Outcome Run() {
    std::vector<SearchResult> found = SearchAmong(scaled_);
    SearchBeside(found);
    std::optional<Converged> converged;
    for (auto result = found.begin(); result != found.end() && !StandsOut(converged); ++result)
      converged = ConvergeFrom(*result);
    if (!StandsOut(converged)) {
      budget_.RequireMore();
      throw FitError(messages::kNothingStandsOut);
    }
    Outcome out;
    out.model = converged->model;
    out.converged = std::move(*converged);
    out.covariance = CovarianceOf(out.converged, held_);
    out.report.draws = search_.draws;
    out.report.refinements = search_.refinements;
    out.report.inlierShare = frame_.ShareOf(out.converged.inliers);
    out.report.setAside = frame_.SetAside();
    out.report.step = out.converged.rounding.coarse;
    out.report.noise = out.converged.noise;
    out.report.tolerance = out.converged.tolerance;
    out.report.stopReason = budget_.IsOver() ? budget_.Why() : search_.why;
    out.report.converged = out.converged.converged;
    StateVerdict(out.converged, out.covariance, out.report);
    return out;
  }

 private:
  std::span<const Vector3d> First(std::size_t count) const {
    return std::span<const Vector3d>(cloud_.points).first(std::min(cloud_.points.size(), count));
  }

  void SetTask(ShapeKind kind, const Given& given) {
    task_.kind = kind;
    task_.held = held_;
    if (given.model) task_.given = Scaled(*given.model, middle_, size_), task_.startsFromGiven = true;
    task_.least = std::max(kLeastBound, BoundOf(curve_, frame_.Steps().GridStep() / std::sqrt(12.0)) / size_);
    if (options_.noise) task_.least = std::max(kLeastBound, BoundOf(curve_, *options_.noise) / size_);
    if (options_.tolerance) task_.least = std::max(kLeastBound, *options_.tolerance / size_);
    task_.least = std::min(task_.least, kLargestBound);
    task_.confidence = options_.confidence;
    if (options_.outlierShare) task_.inlierShare = 1 - *options_.outlierShare;
    task_.mostDraws = options_.mostDraws;
    task_.clamp = [&](Model& m) {
      m = Unscaled(m, middle_, size_);
      const unsigned atEnd = plausible_.Clamp(m);
      m = Scaled(m, middle_, size_);
      return atEnd;
    };
    if (options_.passes) {
      task_.passes = (*options_.passes - frame_.Origin() - middle_) / size_;
      task_.isPlausible = [&](const Model& m, double slack) {
        return plausible_.Passes(Unscaled(m, middle_, size_), slack * size_);
      };
    }
    task_.budget = &budget_;
  }

  /// Searches the points. Clutter that is itself a slab, a rod or a shell passes for a shape with much noise,
  /// which hides the one in it.
  /// @return what was found, the best first
  std::vector<SearchResult> SearchAmong(const Cloud& among) {
    task_.points = among.points;
    task_.trust = among.trust;
    task_.leastReach = kLeastReach;
    task_.most = kLargestBound;
    std::vector<SearchResult> found = Search(task_, dice_, search_);
    if (found.empty() || found[0].score.value < kByChance) return {};
    if (!untold_ || found[0].score.tolerance <= kBoundThatMayHide) return found;
    task_.leastReach = found[0].score.tolerance;
    task_.most = found[0].score.tolerance / kFiner;
    task_.mostDraws = std::min(options_.mostDraws,
                               search_.draws + static_cast<int>(kShareOfInnerSearch * options_.mostDraws));
    const StopReason why = search_.why;
    const std::vector<SearchResult> inside = Search(task_, dice_, search_);
    task_.mostDraws = options_.mostDraws;
    if (!inside.empty() && inside[0].score.value >= kByChance && IsNoNoise(inside[0], found[0])) {
      found.insert(found.begin(), inside[0]);
    } else if (search_.why == StopReason::kDrawLimit) {
      search_.why = why;
    }
    return found;
  }

  /// Whether a finer shape has more points than the noise of a coarse one would leave there.
  bool IsNoNoise(const SearchResult& fine, const SearchResult& coarse) const {
    const std::span<const Vector3d> points = task_.points.first(std::min(task_.points.size(), kFirstPoints));
    std::vector<double> distances(points.size());
    Distances(coarse.model, points.data(), static_cast<int>(points.size()), distances.data());
    double squares = 0;
    for (const double d : distances) {
      if (d <= coarse.score.tolerance) squares += d * d;
    }
    const double n = coarse.score.inliers;
    const double ratio = fine.score.tolerance * fine.score.tolerance / (squares / n);
    const double chance = curve_ ? 1 - std::exp(-ratio) : std::erf(std::sqrt(ratio / 2));
    const double share = (fine.score.inliers - FreeParametersOf(fine.model, 0).count) / n;
    return share >= kStandsOut * chance && n * Divergence(std::min(share, 1.0), chance) >= kByChance;
  }

  /// Where the best is a wall or so, a shape that is bent may be among the points beside it, or across it.
  void SearchBeside(std::vector<SearchResult>& found) {
    if (found.empty() || !found.front().hasSimpler) return;
    const auto isBent = [](const SearchResult& result) { return !result.hasSimpler; };
    const std::vector<SearchResult> across(std::find_if(found.begin(), found.end(), isBent), found.end());
    found.resize(found.size() - across.size());
    Cloud beside = scaled_;
    const double least =
        std::max(kLeastShare * static_cast<double>(scaled_.points.size()),
                 static_cast<double>(kLeastPerParameter * FreeParametersOf(found.front().model, 0).count));
    while (found.front().hasSimpler) {
      LeaveOut(found.front().model, 2 * found.front().score.tolerance, beside);
      if (static_cast<double>(beside.points.size()) < least) break;
      task_.startsFromGiven = false;
      const std::vector<SearchResult> more = SearchAmong(beside);
      if (more.empty()) break;
      found.insert(found.begin(), more.begin(), more.end());
    }
    if (across.empty() || across[0].score.value < kByChance) return;
    const std::span<const Vector3d> all(scaled_.points);
    Scorer scorer(curve_, all.first(std::min(all.size(), kFirstPoints)), task_.least, kLargestBound,
                  kLeastReach, 0);
    const bool first =
        across[0].score.tolerance < found.back().score.tolerance &&
        (found.front().hasSimpler || scorer(found.front().model).value < across[0].score.value);
    found.insert(found.begin() + (first ? 0 : 1), across.begin(), across.end());
  }

  /// Converges, first on few points, from which most is learned at little cost.
  std::optional<Converged> ConvergeFrom(const SearchResult& from) {
    const std::span<const Vector3d> all = frame_.Points();
    ConvergeTask task;
    task.held = held_;
    task.noise = options_.noise;
    task.tolerance = options_.tolerance;
    task.clamp = [&](Model& m) { return plausible_.Clamp(m); };
    task.size = size_;
    task.resolution = &frame_.Steps();
    task.budget = &budget_;
    task.start = from.score.tolerance * size_;
    Model at = Unscaled(from.model, middle_, size_);
    const std::vector<double> votes = Votes(cloud_.trust);
    for (const std::size_t count : {kFirstPoints, kMorePoints}) {
      if (4 * First(count).size() > all.size() || budget_.IsOver()) break;
      task.points = First(count);
      task.votes = std::span<const double>(votes).first(std::min(votes.size(), count));
      const auto result = Converge(at, task);
      if (!result) return std::nullopt;
      at = result->model;
      task.start = BoundOf(curve_, result->noise);
      --task.fadingRounds;
    }
    const std::vector<double> allVotes = Votes(frame_.Trust());
    task.points = all;
    task.roots = frame_.Roots();
    task.votes = allVotes;
    return Converge(at, task);
  }

  /// Points anywhere are as dense beyond the bound as within; about a curve there is thrice the room.
  bool StandsOut(const std::optional<Converged>& c) const {
    if (!c || !plausible_.Passes(c->model, c->tolerance)) return false;
    const double beside = static_cast<double>(c->beside) / (curve_ ? 3 : 1);
    return !untold_ || (static_cast<double>(c->inliers.size()) >= kStandsOut * beside &&
                        c->noise <= kCoarsestNoise * size_);
  }

  const Frame& frame_;
  const FitOptionsBase& options_;
  Budget& budget_;
  unsigned held_;
  bool curve_;
  bool untold_;  // neither the noise nor the bound of an inlier
  Plausible plausible_;
  Dice dice_;
  Cloud cloud_;
  Vector3d middle_ = Vector3d::Zero();
  double size_;
  Cloud scaled_;  // in units of its size about its middle
  SearchTask task_{};
  SearchReport search_;
};

}  // namespace

Outcome FindShape(ShapeKind kind, const Frame& frame, const FitOptionsBase& options, const Given& given,
                  Budget& budget) {
  const FreeParameters parameters = FreeParametersOf(Model{.kind = kind, .major = 2, .minor = 1}, given.held);
  if (parameters.count == 0) throw FitError(messages::kOverConstrained);
  if (given.model) RequireUsable(*given.model, given.held);
  if (frame.Points().size() <= static_cast<std::size_t>(parameters.count))
    throw FitError(messages::kNotEnoughPoints);
  return Finder(kind, frame, options, given, budget).Run();
}

}  // namespace primfit::adaptive
