#include "robust/search.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numeric>
#include <vector>

#include "estimators/cone_fit.h"
#include "estimators/cylinder_fit.h"
#include "estimators/line_circle_fit.h"
#include "estimators/plane_fit.h"
#include "estimators/sphere_fit.h"
#include "estimators/torus_fit.h"
#include "neighbours/local_order.h"
#include "ransac/search_of.h"

using Eigen::Vector3d;

namespace primfit::robust {

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
constexpr double kSlack = 0.1;
/// Steps of a refinement between two judgements.
constexpr int kSteps = 4;
constexpr int kRounds = 12;
constexpr std::size_t kLargestSample = 13;

struct Maker {
  std::size_t sample;  ///< points that determine a candidate
  Estimate estimate;
  /// How often a sample without outliers leads to the shape, at noise of a two-hundredth of the size: from a
  /// sixth of a turn; whole shapes are found more often.
  double efficiency;
};
Maker MakerOf(Form form) {
  switch (form) {
    case Form::kLine:
      return {2, EstimateLine, 0.5};
    case Form::kArc:
      return {3, EstimateCircle, 0.2};
    case Form::kPlane:
      return {3, EstimateBy<PlaneFit>, 0.3};
    case Form::kSphere:
      return {4, EstimateBy<SphereFit>, 0.2};
    case Form::kCylinder:
      return {9, EstimateBy<CylinderFit>, 0.15};
    case Form::kCone:
      return {9, EstimateBy<ConeFit>, 0.06};
    case Form::kTorus:
      break;
  }
  return {13, EstimateBy<TorusFit>, 0.15};
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

class Searcher {
 public:
  Searcher(const SearchTask& task, Dice& dice, SearchReport& report)
      : task_(task),
        dice_(dice),
        report_(report),
        drawnBefore_(report.draws),
        maker_(MakerOf(task.form)),
        scorer_(task.form == Form::kLine || task.form == Form::kArc,
                task.points.first(std::min(task.points.size(), kScored)), task.least, task.leastReach,
                std::max(1, FreedomsOf(Model{.form = task.form}, 0).count)) {}

  std::optional<SearchResult> Run() {
    if (task_.startsFromGiven) Consider(task_.given);
    if (task_.points.size() >= maker_.sample) {
      report_.why = StopReason::kConfident;
      if (!DrawFrom(task_.near ? 0 : kPlainDraws, [&] { return FromAnywhere(); }) &&
          !DrawFrom(task_.mostDraws, [&] { return FromOrder(); }))
        report_.why = StopReason::kDrawLimit;
    }
    return best_;
  }

 private:
  using Sample = std::array<Vector3d, kLargestSample>;

  /// Draws until it is confident, told to stop, or has drawn `most` samples; false for the last.
  template <class Take>
  bool DrawFrom(int most, const Take& take) {
    for (; Drawn() < most && report_.draws < task_.mostDraws; ++report_.draws) {
      if (report_.draws % 16 == 0 && task_.stops && task_.stops(Done())) {
        report_.why = StopReason::kStopped;
        return true;
      }
      if (Done() >= 1) return true;
      const Sample sample = take();
      const std::unique_ptr<OutputShape> shape(
          maker_.estimate(static_cast<int>(maker_.sample), sample.data()));
      if (shape) Consider(WithHeldParts(ModelOf(*shape)));
    }
    return Done() >= 1;
  }

  int Drawn() const { return report_.draws - drawnBefore_; }
  double Done() const { return Drawn() * drawWorth_ / std::log(1 / (1 - task_.confidence)); }

  template <class Next>
  Sample Distinct(const Next& next) {
    Sample sample;
    std::array<std::size_t, kLargestSample> indices{};
    for (std::size_t i = 0; i < maker_.sample; ++i) {
      do {
        indices[i] = next();
      } while (std::find(indices.begin(), indices.begin() + i, indices[i]) != indices.begin() + i);
      sample[i] = task_.points[indices[i]];
    }
    return sample;
  }
  Sample FromAnywhere() {
    return Distinct([&] { return dice_.Below(task_.points.size()); });
  }
  /// Samples of the points whose neighbourhood looks most like a piece of the form (Chum and Matas 2005 draw
  /// so by any measure of quality), and of all of them.
  Sample FromOrder() {
    if (order_.empty()) {
      order_ = task_.near ? OrderByDistance(task_.points, *task_.near)
                          : OrderByNeighbourhood(task_.points, kOrdered, scorer_.IsOfCurve());
      tiers_ = task_.near ? kTiersAround : kTiers;
      Weigh();
    }
    const std::size_t tier = TierSize(report_.draws % tiers_);
    return Distinct([&] { return order_[dice_.Below(tier)]; });
  }
  std::size_t TierSize(int tier) const {
    return std::max(order_.size() >> tier, std::min(order_.size(), 4 * maker_.sample));
  }

  Model WithHeldParts(Model m) const {
    if ((task_.held & kCenter) != 0) m.center = task_.given.center;
    if ((task_.held & kAxis) != 0) m.axis = task_.given.axis;
    if ((task_.held & kMajor) != 0) m.major = task_.given.major;
    if ((task_.held & kMinor) != 0) m.minor = task_.given.minor;
    return m;
  }

  /// Local optimisation (Chum, Matas and Kittler 2003): a candidate that scores more than any before is
  /// refined on its inliers and judged again, until that gains nothing.
  void Consider(Model m) {
    if (!IsValid(m) || (task_.isPlausible && !task_.isPlausible(m, kSlack))) return;
    Score score = scorer_(m);
    const double raw = score.value;
    if (raw <= bestRaw_) return;
    for (int round = 0; round < kRounds; ++round) {
      close_.clear();
      Vector3d mean = Vector3d::Zero();
      for (std::size_t i = 0; i < scorer_.Points().size(); ++i) {
        if (!(scorer_.Distances()[i] <= score.tolerance)) continue;
        close_.push_back(scorer_.Points()[i]);
        mean += close_.back();
      }
      CenterAt(mean / static_cast<double>(close_.size()), task_.held, m);
      if (m.form == Form::kCone && (task_.held & kAxis) == 0 &&
          (mean / static_cast<double>(close_.size()) - m.center).dot(m.axis) < 0)
        m.axis = -m.axis;
      ++report_.refinements;
      auto refined = Refine(m, task_.held, RefsOf(close_), kSteps);
      if (!refined) break;
      if (const unsigned atEnd = task_.clamp ? task_.clamp(*refined) : 0; atEnd != 0) {
        refined = Refine(*refined, task_.held | atEnd, RefsOf(close_), kSteps);
        if (!refined) break;
      }
      const Score better = scorer_(*refined);
      if (better.value <= score.value * (1 + 1e-3)) {
        if (better.value > score.value) m = *refined, score = better;
        break;
      }
      m = *refined;
      score = better;
    }
    if (task_.isPlausible && !task_.isPlausible(m, 0)) return;
    bestRaw_ = raw;
    if (best_ && score.value <= best_->score.value) return;
    best_ = {m, score};
    Weigh();
  }

  /// What one draw adds to the confidence, given the inlier shares that the best shape has where samples come
  /// from.
  void Weigh() {
    if (!best_) return;
    const auto worth = [&](double share) {
      return -std::log1p(-maker_.efficiency * std::pow(share, maker_.sample));
    };
    const double share =
        static_cast<double>(best_->score.inliers) / static_cast<double>(scorer_.Points().size());
    const double asGood = task_.inlierShare.value_or(scorer_.ShareOfAsGood(best_->score));
    if (order_.empty()) {
      drawWorth_ = worth(asGood);
      return;
    }
    std::vector<Vector3d> points(order_.size());
    std::vector<double> distances(order_.size());
    std::transform(order_.begin(), order_.end(), points.begin(),
                   [&](std::size_t i) { return task_.points[i]; });
    robust::Distances(best_->model, points.data(), static_cast<int>(points.size()), distances.data());
    drawWorth_ = 0;
    for (int tier = 0; tier < tiers_; ++tier) {
      const std::size_t size = TierSize(tier);
      const auto inliers =
          std::count_if(distances.begin(), distances.begin() + static_cast<std::ptrdiff_t>(size),
                        [&](double d) { return d <= best_->score.tolerance; });
      drawWorth_ += worth(static_cast<double>(inliers) / static_cast<double>(size) * asGood / share) / tiers_;
    }
  }

  const SearchTask& task_;
  Dice& dice_;
  SearchReport& report_;
  int drawnBefore_;  ///< by another search of the same fit
  Maker maker_;
  Scorer scorer_;
  std::vector<Vector3d> close_;
  std::vector<std::size_t> order_;
  std::optional<SearchResult> best_;
  int tiers_ = kTiers;
  double bestRaw_ = 0;
  double drawWorth_ = 0;  ///< nats
};

}  // namespace

std::optional<SearchResult> Search(const SearchTask& task, Dice& dice, SearchReport& report) {
  return Searcher(task, dice, report).Run();
}

}  // namespace primfit::robust
