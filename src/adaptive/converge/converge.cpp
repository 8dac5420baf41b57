#include "adaptive/converge/converge.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>

#include "adaptive/converge/isolation_grid.h"
#include "fit/fit_memory.h"
#include "shapes/kernels/batch.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

constexpr double kSurfaceBound = 3;
constexpr double kCurveBound = 3.44;  // the same share outside a circle
constexpr int kRounds = 40;
constexpr int kNoiseRounds = 3;  ///< in which the noise is estimated anew
/// The first rounds take in more, with weights that fade: a narrow band that lies askew has lost the points
/// that would set it right.
constexpr int kMostFading = 2;
constexpr double kFade[kMostFading] = {3, 1.7};
constexpr int kFewSteps = 20;
/// Short arcs take some dozens of steps, each of which is a fair share of the one before.
constexpr int kSteps = 200;
/// At the optimum the next step would move the points' distances by less, in sizes of the cloud.
constexpr double kOptimal = 1e-9;
/// Where nearly all points are inliers none is there by chance.
constexpr double kClean = 0.98;

/// Distances below some bound in bins, as a mixture of noise and points anywhere. The noise is normal; where
/// that does not do, a part of it is three times wider (the contaminated normal distribution of Tukey 1960);
/// not of curves, about which any rod of clutter looks like that. Found by expectation-maximisation.
class NoiseMixture {
 public:
  NoiseMixture(bool curve, std::span<const double> distances, double start, std::span<const double> votes)
      : curve_(curve), start_(start), reach_(8 * start), width_(reach_ / kBins) {
    const std::size_t step = distances.size() / kEnough + 1;
    for (std::size_t i = 0; i < distances.size(); i += step) {
      if (!(distances[i] >= 0 && distances[i] < reach_)) continue;
      const double weight = votes.empty() ? 1 : votes[i];
      // Just below the reach the quotient rounds to the number of bins.
      counts_[std::min(static_cast<std::size_t>(distances[i] * (1 / width_)), kBins - 1)] += weight;
      all_ += weight;
    }
  }

  /// The standard deviation of the bell, or of both.
  double Noise() const {
    if (all_ == 0) return start_;
    const Bells one = Maximised(0);
    if (curve_ || Misfit(one) < kMisfit) return one.Noise();
    const Bells two = Maximised(0.2);
    return Likelihood(two) > Likelihood(one) + kGain ? two.Noise() : one.Noise();
  }

 private:
  static constexpr std::size_t kBins = 96, kEnough = 20000;  // of so many the noise is known to 0.5 %
  static constexpr double kWider = 3;
  static constexpr double kMisfit = 110;  // of the bins of normal noise: at most one fit in six
  static constexpr double kGain = 20;     // nats

  struct Bells {
    double share;  // of both
    double variance;
    double tails;  // the wider one's part of them
    double Noise() const { return std::sqrt(variance * (1 - tails + tails * kWider * kWider)); }
  };
  struct Densities {
    double narrow, wide, far;
    double Sum() const { return narrow + wide + far; }
  };
  double Bell(double d, double variance) const {
    const double bell = std::exp(-d * d / (2 * variance));
    return curve_ ? d / variance * bell : bell * std::sqrt(2 / (3.14159265358979323846 * variance));
  }
  Densities At(double d, const Bells& b) const {
    return {b.share * (1 - b.tails) * Bell(d, b.variance),
            b.tails == 0 ? 0 : b.share * b.tails * Bell(d, b.variance * kWider * kWider),
            (1 - b.share) * (curve_ ? 2 * d / (reach_ * reach_) : 1 / reach_)};
  }
  template <class Visit>
  void ForBins(const Visit& visit) const {
    for (std::size_t bin = 0; bin < kBins; ++bin) {
      if (counts_[bin] > 0) visit((static_cast<double>(bin) + 0.5) * width_, counts_[bin]);
    }
  }

  Bells Maximised(double tails) const {
    Bells b{0.9, start_ * start_, tails};
    const double within = width_ * width_ / 12;
    for (int turn = 0; turn < 200; ++turn) {
      double weight = 0, wide = 0, squares = 0;
      ForBins([&](double d, double count) {
        const Densities at = At(d, b);
        const double each = count / at.Sum();
        weight += each * (at.narrow + at.wide);
        wide += each * at.wide;
        squares += each * (at.narrow + at.wide / (kWider * kWider)) * (d * d + within);
      });
      if (weight <= 0) break;
      const double next = squares / weight / (curve_ ? 2 : 1);
      const bool still = std::abs(next - b.variance) < 1e-6 * b.variance;
      b = {std::min(weight / all_, 1 - 1e-9), std::max(next, within), wide / weight};
      if (still) break;
    }
    return b;
  }
  double Likelihood(const Bells& b) const {
    double sum = 0;
    ForBins([&](double d, double count) { sum += count * std::log(At(d, b).Sum()); });
    return sum;
  }
  /// Chi-squared, about as large as there are bins where the mixture is true.
  double Misfit(const Bells& b) const {
    double sum = 0;
    ForBins([&](double d, double count) {
      const double expected = all_ * width_ * At(d, b).Sum();
      sum += (count - expected) * (count - expected) / (expected + 1);
    });
    return sum;
  }

  bool curve_;
  double start_, reach_, width_;
  std::array<double, kBins> counts_{};
  double all_ = 0;
};

/// Of some thousands of the points, which are enough to say where they are.
Vector3d MeanOf(std::span<const Vector3d> points) {
  const std::size_t step = points.size() / 4096 + 1;
  Vector3d sum = Vector3d::Zero();
  double count = 0;
  for (std::size_t i = 0; i < points.size(); i += step, ++count) sum += points[i];
  return sum / count;
}

/// Which points are inliers, and what that changes from one time to the next.
class Selection {
 public:
  explicit Selection(std::size_t n)
      : n_(n),
        words_((n + kWord - 1) / kWord),
        now_(words_),
        in_(words_),
        isolated_(words_),
        looked_(words_) {
    std::fill_n(in_.data(), words_, std::uint64_t{0});
    Forget();
  }

  /// Has points judged anew whether they are alone.
  void Forget() {
    std::fill_n(isolated_.data(), words_, std::uint64_t{0});
    std::fill_n(looked_.data(), words_, std::uint64_t{0});
  }
  /// Takes the points within the bound, less those that are alone.
  void Take(std::span<const Vector3d> points, const double* distances, double bound,
            const IsolationGrid& isolation) {
    BitsUpTo(bound, distances, n_, now_.data());
    changes_ = count_ = 0;
    hash_ = 0;
    for (std::size_t w = 0; w < words_; ++w) {
      if (!isolation.IsEmpty()) {
        ForBits(now_[w] & ~looked_[w], [&](std::size_t k) {
          isolated_[w] |= std::uint64_t{isolation.IsIsolated(points[w * kWord + k])} << k;
        });
        looked_[w] |= now_[w];
      }
      const std::uint64_t word = now_[w] & ~isolated_[w], turned = word ^ in_[w];
      in_[w] = word;
      count_ += static_cast<std::size_t>(std::popcount(word));
      const std::uint64_t mixed = (word + w + 1) * 0x9e3779b97f4a7c15U;
      hash_ = (hash_ ^ mixed ^ mixed >> 32) * 0xff51afd7ed558ccdU;
      if (changes_ <= kFew) {
        ForBits(turned, [&](std::size_t k) {
          changed_[std::min(changes_, kFew)] = w * kWord + k;
          ++changes_;
        });
      }
    }
  }
  bool Has(std::size_t i) const { return (in_[i / kWord] >> i % kWord & 1) != 0; }
  template <class Visit>
  void ForEach(const Visit& visit) const {
    for (std::size_t w = 0; w < words_; ++w) ForBits(in_[w], [&](std::size_t k) { visit(w * kWord + k); });
  }
  std::size_t Count() const { return count_; }
  /// The same for the same inliers.
  std::uint64_t Hash() const { return hash_; }
  bool ChangedFew() const { return changes_ <= kFew; }
  /// The points that came in and went out, where they are few.
  std::span<const std::size_t> Changed() const { return {changed_.data(), changes_}; }

 private:
  static constexpr std::size_t kWord = 64, kFew = 256;

  template <class Visit>
  static void ForBits(std::uint64_t word, const Visit& visit) {
    if (word == ~std::uint64_t{0}) {
      for (std::size_t k = 0; k < kWord; ++k) visit(k);
      return;
    }
    for (; word != 0; word &= word - 1) visit(static_cast<std::size_t>(std::countr_zero(word)));
  }

  std::size_t n_, words_;
  Scratch<std::uint64_t> now_, in_, isolated_, looked_;
  std::array<std::size_t, kFew + 1> changed_{};
  std::size_t changes_ = 0, count_ = 0;
  std::uint64_t hash_ = 0;
};

/// One run of Converge.
class Convergence {
 public:
  Convergence(const Model& start, const ConvergeTask& task)
      : task_(task),
        budget_(task.budget != nullptr ? task.budget : &endless_),
        model_(start),
        noise_(task.start / BoundOf(start.IsCurve(), 1)),
        distances_(task.points.size()),
        close_(task.points.size()),
        roots_(task.roots.empty() && task.fadingRounds == 0 ? 0 : task.points.size()),
        selection_(task.points.size()) {}

  std::optional<Converged> Run() {
    Turned turned = Turned::kOn;
    for (int round = 0; round < kRounds && turned == Turned::kOn; ++round) turned = Turn(round);
    if (turned == Turned::kNoShape || !IsValid(model_)) return std::nullopt;
    const bool converged = turned == Turned::kConverged;
    if (!converged) Reselect();
    if (selection_.Count() == 0) return std::nullopt;
    return Result(converged);
  }

 private:
  enum class Turned {
    kOn,         // another selection
    kConverged,  // the selection stays, and its shape is the optimum
    kEnds,       // by the budget, or because selections go round in a circle
    kNoShape
  };

  Turned Turn(int round) {
    if (!Measure(round)) return Turned::kEnds;
    const bool fades = round < task_.fadingRounds;
    Select(fades ? kFade[kMostFading - task_.fadingRounds + round] : 1,
           round == 0 || round == task_.fadingRounds);
    if (selection_.Count() == 0) return Turned::kNoShape;
    const bool stays = !fades && !seen_.empty() && seen_.back() == selection_.Hash();
    if (stays && IsOptimal()) return Turned::kConverged;
    const bool circles =
        !fades && !stays && std::find(seen_.begin(), seen_.end(), selection_.Hash()) != seen_.end();
    const bool all = seen_.empty() || stays || circles || atEnd_ != 0 || !selection_.ChangedFew();
    const double before = remaining_;
    if (!(all ? RefineAll(fades) : RefineChanged() || RefineAll(false)))
      return budget_->IsOver() ? Turned::kEnds : Turned::kNoShape;
    if (!fades) seen_.push_back(selection_.Hash());
    const bool stuck = stays && !(remaining_ < before / 2);  // what is left is rounding
    return circles || stuck ? Turned::kEnds : Turned::kOn;
  }

  /// Whether the next step would be a negligible one; where a bound of it does not say so, by the sums
  /// themselves.
  bool IsOptimal() {
    if (remaining_ <= kOptimal * Size()) return true;
    sums_ = SumsAt(model_, task_.held | atEnd_, Gather(false), *budget_);
    if (budget_->IsOver()) return false;
    remaining_ = NextStep(sums_, FreeParametersOf(model_, task_.held | atEnd_).count);
    return remaining_ <= kOptimal * Size();
  }
  double Size() const { return task_.size > 0 ? task_.size : sums_.lengthScale; }

  /// Distances from the shape, the noise and the bound. After some rounds the bound stands, so that only the
  /// selection can still change. @return whether the budget lasted
  bool Measure(int round) {
    const std::size_t n = task_.points.size();
    const bool lasted = budget_->InPieces(n, [&](std::size_t begin, std::size_t count) {
      Distances(model_, task_.points.data() + begin, static_cast<int>(count), distances_.data() + begin);
    });
    if (!lasted || !budget_->Spend(std::min(n, Budget::kPiece))) return false;
    if (round < kNoiseRounds) MeasureNoise();
    return true;
  }
  void MeasureNoise() {
    const bool curve = model_.IsCurve();
    measured_ =
        EstimateNoise(curve, {distances_.data(), task_.points.size()}, std::max(noise_, 1e-300), task_.votes);
    const RoundingEffect rounding = Rounding(BoundOf(curve, noise_));
    noise_ = std::max(measured_, rounding.noise);
    stepped_ = rounding.tolerance > BoundOf(curve, noise_);
    const double bound = std::max(BoundOf(curve, task_.noise.value_or(noise_)), rounding.tolerance);
    tolerance_ = task_.tolerance.value_or(bound);
  }
  /// What the steps of the coordinates do to the points within a bound, or some hundreds of them.
  RoundingEffect Rounding(double bound) const {
    constexpr std::size_t kEnough = 256;
    if (task_.resolution == nullptr || measured_ > task_.resolution->Coarsest()) return {};
    std::vector<Vector3d> near;
    const std::size_t n = task_.points.size(), step = n / kEnough + 1;
    std::size_t all = 0;
    for (std::size_t i = 0; i < n; ++i) {
      if (!(distances_[i] <= bound)) continue;
      if (all++ % step == 0) near.push_back(task_.points[i]);
    }
    return RoundingOf(*task_.resolution, model_, near, all, measured_);
  }

  /// The inliers of the final shape, where the last ones are of a shape before.
  void Reselect() {
    const std::size_t n = task_.points.size();
    Distances(model_, task_.points.data(), static_cast<int>(n), distances_.data());
    if (tolerance_ == 0) MeasureNoise();
    selection_.Take(task_.points, distances_.data(), tolerance_, isolation_);
  }

  void Select(double widened, bool anew) {
    bound_ = tolerance_ * widened;
    if (anew) {
      isolation_.Clear();
      selection_.Forget();
    }
    selection_.Take(task_.points, distances_.data(), bound_, isolation_);
    const auto n = static_cast<double>(task_.points.size());
    if (!anew || static_cast<double>(selection_.Count()) >= kClean * n || selection_.Count() == 0) return;
    Gather(false);
    isolation_.Build({close_.data(), selection_.Count()});
    selection_.Forget();
    selection_.Take(task_.points, distances_.data(), bound_, isolation_);
  }

  Converged Result(bool converged) {
    Converged at;
    at.converged = converged;
    at.model = model_;
    at.noise = noise_;
    at.tolerance = tolerance_;
    at.atEnd = atEnd_;
    at.inliers.reserve(selection_.Count());
    selection_.ForEach([&](std::size_t i) { at.inliers.push_back(static_cast<std::uint32_t>(i)); });
    const bool told = task_.noise || task_.tolerance;
    if (told) measured_ = NoiseOfInliers(at.inliers);
    at.rounding = Rounding(tolerance_);
    if (told || stepped_) at.noise = std::max(NoiseOfInliers(at.inliers), at.rounding.noise);
    SumUpAtFeet(at);
    at.beside = static_cast<std::size_t>(
        std::count_if(distances_.data(), distances_.data() + task_.points.size(),
                      [&](double d) { return d > tolerance_ && d <= 2 * tolerance_; }));
    return at;
  }

  /// Where the bound is not one of the noise, this is measured within it: the root
  /// mean square, in one direction, with the degrees of freedom that the parameters leave.
  double NoiseOfInliers(std::span<const std::uint32_t> inliers) const {
    double squares = 0, count = 0;
    for (const std::uint32_t i : inliers) {
      const double vote = task_.votes.empty() ? 1 : task_.votes[i];
      squares += vote * distances_[i] * distances_[i];
      count += vote;
    }
    const auto n = static_cast<double>(inliers.size());
    const double left = std::max(n - FreeParametersOf(model_, task_.held | atEnd_).count, 1.0) / n;
    return std::sqrt(squares / (count * left * (model_.IsCurve() ? 2 : 1)));
  }

  /// Copies the inliers and their weights' roots, which where they fade fall to zero at the bound (the
  /// biweight of Beaton and Tukey 1974).
  PointRefs Gather(bool fades) {
    const bool weighted = !task_.roots.empty() || fades;
    Vector3d* close = close_.data();
    selection_.ForEach([&](std::size_t i) { *close++ = task_.points[i]; });
    const auto count = static_cast<std::size_t>(close - close_.data());
    if (weighted) {
      double* root = roots_.data();
      selection_.ForEach([&](std::size_t i) {
        const double share = distances_[i] / bound_;
        *root++ = (task_.roots.empty() ? 1 : task_.roots[i]) * (fades ? 1 - share * share : 1);
      });
    }
    return RefsOf({close_.data(), count}, weighted ? roots_.data() : nullptr);
  }

  /// The normal equations at the feet of the inliers, or of some thousands of them, on the shape: at the
  /// points themselves noise makes levers longer than they are.
  void SumUpAtFeet(Converged& at) {
    constexpr std::size_t kEnough = 8192;
    const std::size_t step = selection_.Count() / kEnough + 1;
    const bool weighted = !task_.roots.empty();
    std::size_t seen = 0, count = 0;
    WithShape(model_, [&](const auto& shape) {
      selection_.ForEach([&](std::size_t i) {
        if (seen++ % step != 0) return;
        if (weighted) roots_[count] = task_.roots[i];
        close_[count++] = shape.ClosestPoint(task_.points[i]);
      });
    });
    const PointRefs feet = RefsOf({close_.data(), count}, weighted ? roots_.data() : nullptr);
    at.sums = SumsAt(model_, task_.held | atEnd_, feet);
    if (!weighted) return;
    std::transform(roots_.data(), roots_.data() + count, roots_.data(),
                   [](double root) { return root * root; });
    at.squared = SumsAt(model_, task_.held | atEnd_, feet);
  }

  /// Refinement within the plausible ranges: a part that leaves its range is held at its end.
  bool RefineAll(bool fades) {
    const PointRefs points = Gather(fades);
    CenterAt(MeanOf({close_.data(), static_cast<std::size_t>(points.count)}), task_.held, model_);
    auto refined = Refine(model_, task_.held, points, fades ? kFewSteps : kSteps, *budget_);
    const unsigned atEnd = refined && task_.clamp ? task_.clamp(*refined) : 0;
    if (atEnd != 0) refined = Refine(*refined, task_.held | atEnd, points, kSteps, *budget_);
    if (!refined) return false;
    if (!fades) {  // the sums are not used before
      sums_ = SumsAt(*refined, task_.held | atEnd, points, *budget_);
      if (budget_->IsOver()) return false;
      remaining_ = NextStep(sums_, FreeParametersOf(*refined, task_.held | atEnd).count);
    }
    model_ = *refined;
    atEnd_ = atEnd;
    return true;
  }

  /// The same for a few changes since. @return whether they were small
  bool RefineChanged() {
    std::size_t end[2] = {0, 0};
    for (const int out : {0, 1}) {
      for (const std::size_t i : selection_.Changed()) {
        if (selection_.Has(i) != (out == 0)) continue;
        if (!task_.roots.empty()) roots_[end[out]] = task_.roots[i];
        close_[end[out]++] = task_.points[i];
      }
      if (out == 0) end[1] = end[0];
    }
    const std::size_t added = end[0], removed = end[1] - added;
    const auto before = static_cast<int>(selection_.Count() - added + removed);
    const double* roots = task_.roots.empty() ? nullptr : roots_.data();
    NormalEquations sums = sums_;
    double remaining = 0;
    auto refined =
        UpdatedOptimum(model_, task_.held, before, RefsOf({close_.data(), added}, roots),
                       RefsOf({close_.data() + added, removed}, roots != nullptr ? roots + added : nullptr),
                       sums, &remaining);
    if (!refined || (task_.clamp && task_.clamp(*refined) != 0)) return false;
    model_ = *refined;
    sums_ = sums;
    remaining_ += remaining;  // what the shape before was off stays
    return true;
  }

  const ConvergeTask& task_;
  Budget endless_;
  Budget* budget_;
  Model model_;
  double noise_, tolerance_ = 0, bound_ = 0;
  bool stepped_ = false;  // whether the bound is one of steps, not of the noise
  double measured_ = 0;   // the noise before it was raised to the step of the coordinates
  Scratch<double> distances_;
  Scratch<Vector3d> close_;
  Scratch<double> roots_;
  Selection selection_;
  IsolationGrid isolation_;
  NormalEquations sums_{};           // of the model's inliers
  double remaining_ = 0;             // how far the next step would move their distances
  std::vector<std::uint64_t> seen_;  // hashes of the selections whose optimum was taken
  unsigned atEnd_ = 0;               // parts that are held at an end of their ranges
};

}  // namespace

double EstimateNoise(bool curve, std::span<const double> distances, double start,
                     std::span<const double> votes) {
  double noise = start;
  for (int pass = 0; pass < 8; ++pass) {
    const double next = NoiseMixture(curve, distances, noise, votes).Noise();
    const bool still = std::abs(next - noise) < 0.02 * noise;
    noise = next;
    if (still) break;
  }
  return noise;
}

double BoundOf(bool curve, double noise) {
  return std::min(noise * (curve ? kCurveBound : kSurfaceBound), std::numeric_limits<double>::max());
}

double InflationOf(bool curve) {
  if (curve) {
    const double out = std::exp(-kCurveBound * kCurveBound / 2);
    return (1 - out) / (1 - out - kCurveBound * kCurveBound / 2 * out);
  }
  const double in = std::erf(kSurfaceBound / std::sqrt(2.0));
  const double edge = 2 * kSurfaceBound * std::exp(-kSurfaceBound * kSurfaceBound / 2) /
                      std::sqrt(2 * 3.14159265358979323846);
  return in / (in - edge);
}

std::optional<Converged> Converge(const Model& start, const ConvergeTask& task) {
  return Convergence(start, task).Run();
}

}  // namespace primfit::adaptive
