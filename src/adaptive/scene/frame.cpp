#include "adaptive/scene/frame.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <utility>

#include "fit/robust_origin.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points that the search works on; a shape that is found among these is found among all.
constexpr std::size_t kSearched = 20000;
/// Points that tell the step of the coordinates.
constexpr int kForSteps = 512;

}  // namespace

Frame::Frame(const PointView& given, std::span<const double> weights, Budget& budget)
    : points_(given.Count()), roots_(weights.size()), isWeighted_(!weights.empty()) {
  const auto isUsable = [&](std::uint64_t i) {
    return given[i].allFinite() && (!isWeighted_ || weights[i] > 0);
  };
  origin_ = RobustOrigin(
      given.Count(), [&](std::uint64_t i) { return given[i]; }, isUsable);
  RepeatsDetector repeats(given.Count());
  const bool lasted = budget.InPieces(given.Count(), [&](std::size_t begin, std::size_t count) {
    Take(given, weights, begin, begin + count, repeats);
  });
  if (lasted && repeats.Found() && budget.Spend(Budget::kPiece)) Merge(given);
  budget.RequireMore();
  ScaleWeights();
  MeasureSteps(given);
}

void Frame::MeasureSteps(const PointView& given) {
  std::vector<Vector3d> sample(kForSteps);
  const auto pointAt = [&](std::uint64_t i) {
    if (!groups_.starts.empty()) return given[groups_.members[groups_.starts[i]]];
    return given[places_.empty() ? i : places_[i]];
  };
  const int taken = TakeSpread(
      count_, pointAt, [](std::uint64_t) { return true; }, kForSteps, sample.data());
  resolution_ = Resolution(std::span(sample).first(static_cast<std::size_t>(taken)), origin_,
                           groups_.starts.empty() ? count_ : 0);
}

/// Takes the points from `begin` to `end`. Once the first one is left out it notes where the others come
/// from.
void Frame::Take(const PointView& given, std::span<const double> weights, std::size_t begin, std::size_t end,
                 RepeatsDetector& repeats) {
  // In registers, which the compiler cannot do with members while it writes points.
  Vector3d* const points = points_.data();
  const Vector3d origin = origin_;
  std::size_t count = count_;
  bool whole = places_.empty() && count == begin;
  for (std::size_t i = begin; i < end; ++i) {
    const Vector3d p = given[i];
    const bool isFinite = (p - p).sum() == 0;
    if (!isFinite || (isWeighted_ && weights[i] == 0)) {
      if (whole) {
        places_.reserve(given.Count());
        for (std::size_t k = 0; k < count; ++k) places_.push_back(static_cast<std::uint32_t>(k));
      }
      whole = false;
      continue;
    }
    if (!whole) places_.push_back(static_cast<std::uint32_t>(i));
    if (isWeighted_) roots_[count] = weights[i];
    repeats.Add(count, p);
    points[count++] = p - origin;
  }
  count_ = count;
}

/// Makes one point of those with equal coordinates, about an origin of its own: before, missing returns may
/// have been most of all points.
void Frame::Merge(const PointView& given) {
  const Groups all = GroupEqual(Points());
  const std::size_t most = MostCopies(all);
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
      groups_.members.push_back(places_.empty() ? i : places_[i]);
      sum += isWeighted_ ? roots_[i] : 1;
    }
    groups_.starts.push_back(static_cast<std::uint32_t>(groups_.members.size()));
    sums.push_back(sum);
  }
  count_ = groups_.Count();
  places_.clear();
  const auto first = [&](std::uint64_t g) { return given[groups_.members[groups_.starts[g]]]; };
  origin_ = RobustOrigin(count_, first, [](std::uint64_t) { return true; });
  for (std::size_t g = 0; g < count_; ++g) points_[g] = first(g) - origin_;
  if (isWeighted_) {
    trust_.resize(count_);
    for (std::size_t g = 0; g < count_; ++g) trust_[g] = sums[g] / static_cast<double>(groups_.SizeOf(g));
  }
  summedRoots_ = std::move(sums);
}

/// Makes roots of the weights, on a scale in which the largest is between a quarter and 1: squares and
/// products of weights stay far from overflow, and a scale that is a power of four changes no bit of a
/// result.
void Frame::ScaleWeights() {
  if (isWeighted_ && summedRoots_.empty()) trust_.assign(roots_.data(), roots_.data() + count_);
  const std::span<double> weights =
      summedRoots_.empty() ? std::span(roots_.data(), isWeighted_ ? count_ : 0) : std::span(summedRoots_);
  isWeighted_ = false;
  if (weights.empty()) return;
  const auto [least, largest] = std::minmax_element(weights.begin(), weights.end());
  int exponent = 0;
  std::frexp(*largest, &exponent);
  exponent += exponent & 1;
  isWeighted_ = *least < *largest;
  if (std::adjacent_find(trust_.begin(), trust_.end(), std::not_equal_to<>()) == trust_.end()) trust_.clear();
  if (!isWeighted_) return summedRoots_.clear();
  for (double& w : weights) w = std::sqrt(std::ldexp(w, -exponent));
}

double Frame::ShareOf(std::span<const std::uint32_t> of) const {
  const std::span<const double> roots = Roots();
  if (roots.empty()) return static_cast<double>(of.size()) / static_cast<double>(count_);
  double all = 0, some = 0;
  for (const double root : roots) all += root * root;
  for (const std::uint32_t i : of) some += roots[i] * roots[i];
  return some / all;
}

std::vector<std::uint32_t> Frame::WithCopies(std::vector<std::uint32_t> of) const {
  if (groups_.starts.empty()) return of;
  std::vector<std::uint32_t> copies;
  for (const std::uint32_t i : of) copies.insert(copies.end(), groups_.SizeOf(i), i);
  return copies;
}

std::vector<std::uint32_t> Frame::PlacesOf(std::vector<std::uint32_t> withCopies) const {
  if (groups_.starts.empty()) {
    if (places_.empty()) return withCopies;
    for (std::uint32_t& i : withCopies) i = places_[i];
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

double SizeOf(std::span<const Vector3d> points, Vector3d& middle) {
  std::vector<double> values(points.size());
  const auto median = [&](const auto& of) {
    std::transform(points.begin(), points.end(), values.begin(), of);
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), at, values.end());
    return *at;
  };
  for (Eigen::Index axis = 0; axis < 3; ++axis)
    middle[axis] = median([&](const Vector3d& p) { return p[axis]; });
  return median([&](const Vector3d& p) { return (p - middle).norm(); });
}

namespace {

/// The weight below which a point's chance to be among `count` is its weight over this one.
double Threshold(std::span<const double> weights, std::size_t count) {
  if (count >= weights.size()) return 0;
  double threshold = std::numeric_limits<double>::infinity(), before = 0;
  while (threshold != before) {
    before = threshold;
    double light = 0;
    std::size_t heavy = 0;
    for (const double w : weights) {
      if (w < before)
        light += w;
      else
        ++heavy;
    }
    if (heavy >= count) break;
    threshold = std::min(before, light / static_cast<double>(count - heavy));
  }
  return threshold;
}

Cloud ShuffledByTrust(const Frame& frame, Dice& dice) {
  const std::span<const double> trust = frame.Trust();
  std::vector<std::pair<double, std::size_t>> keys(trust.size());
  for (std::size_t i = 0; i < keys.size(); ++i) keys[i] = {-std::log(dice.Share()) / trust[i], i};
  const std::size_t count = std::min(kSearched, keys.size());
  std::partial_sort(keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(count), keys.end());
  const double threshold = Threshold(trust, count);
  Cloud cloud;
  for (std::size_t k = 0; k < count; ++k) {
    cloud.points.push_back(frame.Points()[keys[k].second]);
    cloud.trust.push_back(std::max(trust[keys[k].second], threshold));
  }
  return cloud;
}

}  // namespace

Cloud Shuffled(const Frame& frame, Dice& dice) {
  if (!frame.Trust().empty()) return ShuffledByTrust(frame, dice);
  const std::span<const Vector3d> points = frame.Points();
  Cloud cloud;
  if (points.size() > kSearched) {
    cloud.points.reserve(kSearched);
    while (cloud.points.size() < kSearched) cloud.points.push_back(points[dice.Below(points.size())]);
    return cloud;
  }
  cloud.points.assign(points.begin(), points.end());
  for (std::size_t i = cloud.points.size(); i > 1; --i)
    std::swap(cloud.points[i - 1], cloud.points[dice.Below(i)]);
  return cloud;
}

}  // namespace primfit::adaptive
