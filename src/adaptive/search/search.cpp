#include "adaptive/search/search.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "adaptive/search/simpler.h"
#include "estimators/cone_fit.h"
#include "estimators/cylinder_fit.h"
#include "estimators/line_circle_fit.h"
#include "estimators/plane_fit.h"
#include "estimators/sphere_fit.h"
#include "estimators/torus_fit.h"
#include "ransac/search_of.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points that score a candidate: enough to tell shapes apart, few enough to stay in the nearest cache.
constexpr std::size_t kScored = 2048;
/// Samples from anywhere before the points are ordered by how their neighbourhood looks, which costs as much
/// as some thousand samples.
constexpr int kPlainDraws = 400;
/// Points that are ordered so, and the parts of them, best first, from which samples are taken in turn.
constexpr std::size_t kOrdered = 1024;
constexpr int kTiers = 4;
constexpr int kTiersAround = 8;  ///< of the points about a place
/// How far a candidate may miss a place that the shape has to pass, in sizes of the cloud.
constexpr double kPlaceSlack = 0.1;
/// Steps of a refinement between two judgements.
constexpr int kSteps = 4;
constexpr int kRounds = 12;
constexpr std::size_t kLargestSample = 13;
/// Draws by trust for one sample; where few points have most of it, the others have to come in as well.
constexpr int kMostTries = 32;
/// A search that leads to a shape which has a simpler one leaves draws for those beside it: it takes this
/// share.
constexpr double kShareOfSimpler = 0.25;
/// What the search is of the work of a fit, for its progress.
constexpr double kShareOfSearch = 0.8;
/// How many pieces compete to be near the first.
constexpr std::array<int, 3> kNeighbourRivals = {1, 4, 16};

struct Maker {
  std::size_t sample;  ///< points that determine a candidate
  Estimator estimate;
  /// How often a sample without outliers leads to the shape, at noise of a two-hundredth of the size: from a
  /// sixth of a turn; whole shapes are found more often.
  double efficiency;
  /// The same for points with their directions.
  double orientedEfficiency;
};
Maker MakerOf(ShapeKind kind) {
  switch (kind) {
    case ShapeKind::kLine:
      return {2, EstimateLine, 0.5, 0.5};
    case ShapeKind::kArc:
      return {3, EstimateCircle, 0.2, 0.1};
    case ShapeKind::kPlane:
      return {3, EstimateBy<PlaneFit>, 0.3, 0.3};
    case ShapeKind::kSphere:
      return {4, EstimateBy<SphereFit>, 0.2, 0.1};
    case ShapeKind::kCylinder:
      return {9, EstimateBy<CylinderFit>, 0.15, 0.1};
    case ShapeKind::kCone:
      return {9, EstimateBy<ConeFit>, 0.06, 0.01};
    case ShapeKind::kTorus:
      break;
  }
  return {13, EstimateBy<TorusFit>, 0.15, 0.01};
}

/// All indices, those of the nearest points first.
std::vector<std::size_t> OrderByDistance(std::span<const Vector3d> points, const Vector3d& from) {
  std::vector<std::size_t> order(points.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return (points[a] - from).squaredNorm() < (points[b] - from).squaredNorm();
  });
  return order;
}

/// Draws indices, each with a chance in proportion to its weight.
class WeightedDraw {
 public:
  explicit WeightedDraw(std::span<const double> weights) : sums_(weights.size()) {
    std::partial_sum(weights.begin(), weights.end(), sums_.begin());
  }
  std::size_t Draw(Dice& dice) const {
    const auto at = std::lower_bound(sums_.begin(), sums_.end() - 1, dice.Share() * sums_.back());
    return static_cast<std::size_t>(at - sums_.begin());
  }

 private:
  std::vector<double> sums_;
};

class Searcher {
 public:
  Searcher(const SearchTask& task, Dice& dice, SearchReport& report)
      : task_(task),
        dice_(dice),
        report_(report),
        drawnBefore_(report.draws),
        maker_(MakerOf(task.kind)),
        scorer_(FactsOf(task.kind).isCurve, task.points.first(std::min(task.points.size(), kScored)),
                task.least, task.most, task.leastReach,
                std::max(1, FreeParametersOf(Model{.kind = task.kind}, 0).count),
                task.trust.first(std::min(task.trust.size(), kScored))),
        trusted_(task.trust) {}

  std::vector<SearchResult> Run() {
    if (task_.startsFromGiven) Consider(task_.given);
    if (task_.points.size() >= maker_.sample) {
      report_.why = StopReason::kConfident;
      if (!DrawFrom(task_.passes ? 0 : kPlainDraws, [&] { FromAnywhere(); }) &&
          !DrawFrom(task_.mostDraws, [&] { FromOrder(); }))
        report_.why = StopReason::kDrawLimit;
    }
    std::vector<SearchResult> found;
    if (Leader()) found.push_back(*Leader());
    if (best_ && leadsToSimpler_) found.push_back(*best_);
    return found;
  }

 private:
  using Sample = std::array<Vector3d, kLargestSample>;

  /// Draws until it is confident, told to stop, or has drawn `most` samples; false for the last.
  template <class Take>
  bool DrawFrom(int most, const Take& take) {
    for (; Drawn() < most && report_.draws < task_.mostDraws; ++report_.draws) {
      if (leadsToSimpler_ && Drawn() > kShareOfSimpler * task_.mostDraws) return false;
      task_.budget->Advance(kShareOfSearch * Done());
      if (report_.draws % 16 == 0) task_.budget->Ask();
      if (task_.budget->IsOver()) {
        report_.why = task_.budget->Why();
        return true;
      }
      if (Done() >= 1) return true;
      take();
    }
    return Done() >= 1;
  }

  int Drawn() const { return report_.draws - drawnBefore_; }
  double Done() const { return Drawn() * drawWorth_ / std::log(1 / (1 - task_.confidence)); }

  /// Considers the shape through points whose indices `next` gives.
  template <class Next>
  void Estimate(const Next& next) {
    Sample sample;
    std::array<std::size_t, kLargestSample> indices{};
    for (std::size_t i = 0; i < maker_.sample; ++i) {
      do {
        indices[i] = next();
      } while (std::find(indices.begin(), indices.begin() + i, indices[i]) != indices.begin() + i);
      sample[i] = task_.points[indices[i]];
    }
    const std::unique_ptr<OutputShape> shape(maker_.estimate(static_cast<int>(maker_.sample), sample.data()));
    if (shape) Consider(WithHeldParts(ModelOf(*shape)));
  }
  /// Every other sample takes each point with a chance that is its share of the trust; not only those, as a
  /// point of great trust that lies off the shape would be in all of them.
  void FromAnywhere() {
    if (task_.trust.empty() || report_.draws % 2 == 0)
      return Estimate([&] { return dice_.Below(task_.points.size()); });
    int tries = 0;
    Estimate([&] { return ++tries < kMostTries ? trusted_.Draw(dice_) : dice_.Below(task_.points.size()); });
  }
  /// Samples of the points whose neighbourhood looks most like a piece of the shape (Chum and Matas 2005 draw
  /// so by any measure of quality), and of all of them; in turn of many points and of few with their
  /// directions.
  void FromOrder() {
    if (order_.empty()) OrderByVariation();
    const int turn = report_.draws;
    const std::size_t tier = TierSize(order_, turn % tiers_);
    if (turn / tiers_ % 2 == 0) return Estimate([&] { return order_[dice_.Below(tier)]; });
    ConsiderOriented(TierSize(pieces_, turn % tiers_),
                     kNeighbourRivals[turn / tiers_ / 2 % kNeighbourRivals.size()]);
  }
  void OrderByVariation() {
    tiers_ = task_.passes ? kTiersAround : kTiers;
    order_.resize(task_.passes ? task_.points.size() : std::min(task_.points.size(), kOrdered));
    std::iota(order_.begin(), order_.end(), std::size_t{0});
    if (task_.passes) order_ = OrderByDistance(task_.points, *task_.passes);
    task_.budget->Spend(task_.points.size());
    pieces_ = LocalGeometryAt(task_.points, std::span(order_).first(std::min(order_.size(), kOrdered)),
                              scorer_.IsOfCurve());
    if (!task_.passes) {
      std::sort(pieces_.begin(), pieces_.end(), [](const LocalGeometry& a, const LocalGeometry& b) {
        return std::pair(a.variation, a.index) < std::pair(b.variation, b.index);
      });
      std::transform(pieces_.begin(), pieces_.end(), order_.begin(), [](const auto& p) { return p.index; });
    }
    UpdateDrawWorth();
  }
  /// Considers the shapes through few pieces of the tier.
  void ConsiderOriented(std::size_t tier, int rivals) {
    const auto size = static_cast<std::size_t>(OrientedSampleSize(task_.kind));
    if (tier < size) return;
    const auto drawn = DrawDistinct(std::span(pieces_).first(tier), size, rivals, dice_);
    std::array<OrientedPoint, kMostOriented> sample;
    for (std::size_t i = 0; i < size; ++i) sample[i] = {pieces_[drawn[i]].place, pieces_[drawn[i]].direction};
    const Candidates found = ThroughOriented(task_.kind, std::span(sample).first(size));
    for (int i = 0; i < found.count; ++i) Consider(WithHeldParts(found.models[static_cast<std::size_t>(i)]));
  }
  template <class Ordered>
  std::size_t TierSize(const Ordered& ordered, int tier) const {
    return std::max(ordered.size() >> tier, std::min(ordered.size(), 4 * maker_.sample));
  }

  Model WithHeldParts(const Model& m) const { return WithComponents(m, task_.held, task_.given); }

  /// Copies the points near a shape that the scorer has just judged. @return their mean
  Vector3d Gather(double tolerance) {
    close_.clear();
    Vector3d mean = Vector3d::Zero();
    for (std::size_t i = 0; i < scorer_.Points().size(); ++i) {
      if (!(scorer_.Distances()[i] <= tolerance)) continue;
      close_.push_back(scorer_.Points()[i]);
      mean += close_.back();
    }
    return mean / static_cast<double>(close_.size());
  }

  /// Local optimisation (Chum, Matas and Kittler 2003): a candidate that scores more than any before is
  /// refined on its inliers and judged again, until that gains nothing. Candidates that are hardly bent have
  /// a competition of their own.
  void Consider(Model m) {
    if (!IsValid(m)) return;
    if (task_.clamp) task_.clamp(m);
    if (task_.isPlausible && !task_.isPlausible(m, kPlaceSlack)) return;
    if (!task_.budget->Spend(scorer_.Points().size())) return;
    Score score = scorer_(m);
    const double raw = score.value;
    if (raw <= bestRaw_) return;
    Vector3d mean = Gather(score.tolerance);
    if (raw <= simplerRaw_ && HasSimpler(m, close_)) return;
    for (int round = 0; round < kRounds; ++round) {
      CenterAt(mean, task_.held, m);
      if (m.kind == ShapeKind::kCone && (task_.held & kAxis) == 0 && (mean - m.center).dot(m.axis) < 0)
        m.axis = -m.axis;
      ++report_.refinements;
      auto refined = Refine(m, task_.held, RefsOf(close_), kSteps, *task_.budget);
      if (!refined) break;
      if (const unsigned atEnd = task_.clamp ? task_.clamp(*refined) : 0; atEnd != 0) {
        refined = Refine(*refined, task_.held | atEnd, RefsOf(close_), kSteps, *task_.budget);
        if (!refined) break;
      }
      const Score better = scorer_(*refined);
      if (better.value <= score.value * (1 + 1e-3)) {
        if (better.value > score.value) m = *refined, score = better;
        break;
      }
      m = *refined;
      score = better;
      mean = Gather(score.tolerance);
    }
    if (task_.isPlausible && !task_.isPlausible(m, score.tolerance)) return;
    const bool simple = HasSimpler(m, close_);
    (simple ? simplerRaw_ : bestRaw_) = raw;
    std::optional<SearchResult>& best = simple ? simpler_ : best_;
    if (best && score.value <= best->score.value) return;
    best = {m, score, simple};
    UpdateDrawWorth();
  }
  const std::optional<SearchResult>& Leader() const {
    return !best_ || (simpler_ && simpler_->score.value > best_->score.value) ? simpler_ : best_;
  }

  /// What one draw adds to the confidence, given the inlier shares that the best shape has where samples come
  /// from.
  void UpdateDrawWorth() {
    const std::optional<SearchResult>& leader = Leader();
    if (!leader) return;
    leadsToSimpler_ = leader->hasSimpler;
    const auto worth = [&](double share) {
      return -std::log1p(-maker_.efficiency * std::pow(share, maker_.sample));
    };
    const double share = leader->score.share;
    const double asGood = task_.inlierShare.value_or(scorer_.ShareOfAsGood(leader->score));
    if (order_.empty()) {
      drawWorth_ = worth(asGood);
      return;
    }
    std::vector<Vector3d> points(order_.size());
    std::vector<double> distances(order_.size());
    std::transform(order_.begin(), order_.end(), points.begin(),
                   [&](std::size_t i) { return task_.points[i]; });
    adaptive::Distances(leader->model, points.data(), static_cast<int>(points.size()), distances.data());
    const auto shareOf = [&](std::size_t tier) {
      const auto inliers =
          std::count_if(distances.begin(), distances.begin() + static_cast<std::ptrdiff_t>(tier),
                        [&](double d) { return d <= leader->score.tolerance; });
      return static_cast<double>(inliers) / static_cast<double>(tier) * asGood / share;
    };
    drawWorth_ = 0;
    for (int tier = 0; tier < tiers_; ++tier) {
      drawWorth_ += worth(shareOf(TierSize(order_, tier))) / (2 * tiers_);
      drawWorth_ -= std::log1p(-maker_.orientedEfficiency *
                               std::pow(shareOf(TierSize(pieces_, tier)), OrientedSampleSize(task_.kind))) /
                    (2 * tiers_);
    }
  }

  const SearchTask& task_;
  Dice& dice_;
  SearchReport& report_;
  int drawnBefore_;  ///< by another search of the same fit
  Maker maker_;
  Scorer scorer_;
  WeightedDraw trusted_;
  std::vector<Vector3d> close_;
  std::vector<std::size_t> order_;
  std::vector<LocalGeometry> pieces_;  // the first of them
  std::optional<SearchResult> best_;
  std::optional<SearchResult> simpler_;  // the best one of those that are hardly bent
  int tiers_ = kTiers;
  double bestRaw_ = 0, simplerRaw_ = 0;  // scores of candidates before they were refined
  double drawWorth_ = 0;                 ///< nats
  bool leadsToSimpler_ = false;
};

}  // namespace

std::array<std::size_t, kMostOriented> DrawDistinct(std::span<const LocalGeometry> pieces, std::size_t size,
                                                    int rivals, Dice& dice) {
  std::array<std::size_t, kMostOriented> drawn{};
  for (std::size_t i = 0; i < size; ++i) {
    const auto end = drawn.begin() + static_cast<std::ptrdiff_t>(i);
    const auto isDrawn = [&](std::size_t piece) { return std::find(drawn.begin(), end, piece) != end; };
    const auto far = [&](std::size_t piece) {
      return (pieces[piece].place - pieces[drawn[0]].place).squaredNorm();
    };
    for (int rival = 0; rival < (i == 0 ? 1 : rivals); ++rival) {
      std::size_t piece = dice.Below(pieces.size());
      while (isDrawn(piece)) piece = dice.Below(pieces.size());
      if (rival == 0 || far(piece) < far(*end)) *end = piece;
    }
  }
  return drawn;
}

std::vector<SearchResult> Search(const SearchTask& task, Dice& dice, SearchReport& report) {
  return Searcher(task, dice, report).Run();
}

}  // namespace primfit::adaptive
