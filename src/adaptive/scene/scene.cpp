#include "adaptive/scene/scene.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "fit/robust_origin.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points that tell the resolution of the coordinates.
constexpr int kForResolution = 512;

}  // namespace

Scene::Scene(const PointView& given, std::span<const double> weights, Budget& budget, Crowds crowds)
    : given_(given), points_(given.Count()), weights_(weights.size()), isWeighted_(!weights.empty()) {
  const auto isUsable = [&](std::uint64_t i) {
    return given[i].allFinite() && (!isWeighted_ || weights[i] > 0);
  };
  origin_ = RobustOrigin(
      given.Count(), [&](std::uint64_t i) { return given[i]; }, isUsable);
  RepeatsDetector repeats(given.Count());
  const bool lasted = budget.InBlocks(given.Count(), [&](std::size_t begin, std::size_t count) {
    given.VisitCoordinates([&](const auto* xyz) { Take(xyz, weights, begin, begin + count, repeats); });
  });
  if (lasted && repeats.Found() && budget.Spend(Budget::kBlock)) MergeRepeats(crowds);
  budget.RequireMore();
  ScaleWeights();
}

// There are two ways back: the first member of a group where points were merged, else the index where some
// were left out.
Vector3d Scene::GivenPoint(std::size_t i) const {
  if (!groups_.starts.empty()) return given_[groups_.members[groups_.starts[i]]];
  return given_[givenIndices_.empty() ? i : givenIndices_[i]];
}

// The caller's coordinates show their steps, those relative to the origin do not: a difference of two floats
// is seldom one.
const Resolution& Scene::CoordinateResolution() {
  if (resolution_) return *resolution_;
  std::vector<Vector3d> chosen(kForResolution);
  const int taken = TakeSpread(
      count_, [&](std::uint64_t i) { return GivenPoint(i); }, [](std::uint64_t) { return true; },
      kForResolution, chosen.data());
  return resolution_.emplace(std::span(chosen).first(static_cast<std::size_t>(taken)), origin_,
                             groups_.starts.empty() ? count_ : 0);
}

Sample& Scene::RandomSample(Dice& dice) {
  if (!sample_) sample_.emplace(DrawSample(Points(), Trust(), dice));
  return *sample_;
}

/// Takes the points from `begin` to `end`. Once the first one is left out it notes where the others come
/// from.
template <class Number>
void Scene::Take(const Number* coordinates, std::span<const double> weights, std::size_t begin,
                 std::size_t end, RepeatsDetector& repeats) {
  // This loop is the one pass over the points that every fit makes, so it is written for speed: its variables
  // stay in registers, which the compiler cannot do with members while it writes points.
  const PointView given = given_;
  Vector3d* const points = points_.data();
  const Vector3d origin = origin_;
  std::size_t count = count_;
  bool whole = givenIndices_.empty() && count == begin;
  for (std::size_t i = begin; i < end; ++i) {
    const Vector3d p = given.PointAt(coordinates, i);
    const bool isFinite = (p - p).sum() == 0;
    if (!isFinite || (isWeighted_ && weights[i] == 0)) {
      if (whole) {
        givenIndices_.reserve(given.Count());
        for (std::size_t k = 0; k < count; ++k) givenIndices_.push_back(static_cast<std::uint32_t>(k));
      }
      whole = false;
      continue;
    }
    if (!whole) givenIndices_.push_back(static_cast<std::uint32_t>(i));
    if (isWeighted_) weights_[count] = weights[i];
    repeats.Add(count, p);
    points[count++] = p - origin;
  }
  count_ = count;
}

/// Makes one point of those with equal coordinates, about a new origin: the one before may have been a place
/// of missing returns, if these were most of all points.
void Scene::MergeRepeats(Crowds crowds) {
  const Groups all = GroupEqual(Points());
  const std::size_t most = crowds == Crowds::kKeep ? count_ + 1 : MostCopies(all);
  groups_.starts.assign(1, 0);
  std::vector<double> sums;
  for (std::size_t g = 0; g < all.Count(); ++g) {
    const std::size_t copies = all.SizeOf(g);
    if (copies >= most) {
      setAside_ += copies;
      continue;
    }
    double sum = 0;
    for (std::uint32_t k = all.starts[g]; k < all.starts[g + 1]; ++k) {
      const std::uint32_t i = all.members[k];
      groups_.members.push_back(givenIndices_.empty() ? i : givenIndices_[i]);
      sum += isWeighted_ ? weights_[i] : 1;
    }
    groups_.starts.push_back(static_cast<std::uint32_t>(groups_.members.size()));
    sums.push_back(sum);
  }
  count_ = groups_.Count();
  givenIndices_.clear();
  const auto first = [&](std::uint64_t g) { return GivenPoint(g); };
  origin_ = RobustOrigin(count_, first, [](std::uint64_t) { return true; });
  for (std::size_t g = 0; g < count_; ++g) points_[g] = first(g) - origin_;
  if (isWeighted_) {
    trust_.resize(count_);
    for (std::size_t g = 0; g < count_; ++g) trust_[g] = sums[g] / static_cast<double>(groups_.SizeOf(g));
  }
  mergedWeights_ = std::move(sums);
}

/// Replaces the weights by their square roots, on a scale in which the largest is between a quarter and 1:
/// squares and products of weights stay far from overflow, and a scale that is a power of four changes no bit
/// of a result.
void Scene::ScaleWeights() {
  if (isWeighted_ && mergedWeights_.empty()) trust_.assign(weights_.data(), weights_.data() + count_);
  const std::span<double> weights = mergedWeights_.empty()
                                        ? std::span(weights_.data(), isWeighted_ ? count_ : 0)
                                        : std::span(mergedWeights_);
  isWeighted_ = false;
  if (weights.empty()) return;
  const auto [least, largest] = std::minmax_element(weights.begin(), weights.end());
  int exponent = 0;
  std::frexp(*largest, &exponent);
  exponent += exponent & 1;
  isWeighted_ = *least < *largest;
  if (std::adjacent_find(trust_.begin(), trust_.end(), std::not_equal_to<>()) == trust_.end()) trust_.clear();
  if (!isWeighted_) return mergedWeights_.clear();
  for (double& w : weights) w = std::sqrt(std::ldexp(w, -exponent));
}

double Scene::ShareOf(std::span<const std::uint32_t> of) const {
  const std::span<const double> sqrtWeights = SqrtWeights();
  if (sqrtWeights.empty()) return static_cast<double>(of.size()) / static_cast<double>(count_);
  double all = 0, some = 0;
  for (const double w : sqrtWeights) all += w * w;
  for (const std::uint32_t i : of) some += sqrtWeights[i] * sqrtWeights[i];
  return some / all;
}

std::vector<std::uint32_t> Scene::WithCopies(std::vector<std::uint32_t> of) const {
  if (groups_.starts.empty()) return of;
  std::vector<std::uint32_t> copies;
  for (const std::uint32_t i : of) copies.insert(copies.end(), groups_.SizeOf(i), i);
  return copies;
}

std::vector<std::uint32_t> Scene::GivenIndices(std::vector<std::uint32_t> withCopies) const {
  if (groups_.starts.empty()) {
    if (givenIndices_.empty()) return withCopies;
    for (std::uint32_t& i : withCopies) i = givenIndices_[i];
    return withCopies;
  }
  for (std::size_t k = 0; k < withCopies.size();) {
    const std::size_t group = withCopies[k];
    for (std::uint32_t at = groups_.starts[group]; at < groups_.starts[group + 1]; ++at)
      withCopies[k++] = groups_.members[at];
  }
  std::sort(withCopies.begin(), withCopies.end());
  return withCopies;
}

}  // namespace primfit::adaptive
