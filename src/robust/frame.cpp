#include "robust/frame.h"

#include <algorithm>
#include <cmath>
#include <utility>

using Eigen::Vector3d;

namespace primfit::robust {

namespace {

/// Points that the search works on; a shape that is found among these is found among all.
constexpr std::size_t kSearched = 20000;

/// Of values so many different ones, and gaps between them so close to multiples of the smallest, tell of a
/// step.
constexpr std::size_t kLevels = 8;
constexpr double kMultiple = 0.01;
constexpr std::size_t kEnough = 512;

}  // namespace

Frame::Frame(const PointView& given, std::span<const double> weights, Budget& budget)
    : points(given.Count()), roots(weights.size()) {
  budget.InPieces(given.Count(), [&](std::size_t begin, std::size_t length) {
    for (std::size_t i = begin; i < begin + length; ++i) Take(given, i, weights);
  });
  budget.RequireMore();
  isWeighted = !weights.empty();
  if (!isWeighted) weight = squaredWeights = static_cast<double>(count);
}

void Frame::Take(const PointView& given, std::size_t i, std::span<const double> weights) {
  const Vector3d p = given[i];
  if (!p.allFinite() || (!weights.empty() && weights[i] == 0)) {
    if (places.empty()) {
      places.reserve(given.Count());
      for (std::size_t k = 0; k < count; ++k) places.push_back(static_cast<std::uint32_t>(k));
    }
    left = true;
    return;
  }
  if (count == 0) origin = p;
  if (left) places.push_back(static_cast<std::uint32_t>(i));
  if (!weights.empty()) {
    roots[count] = std::sqrt(weights[i]);
    weight += weights[i];
    squaredWeights += weights[i] * weights[i];
  }
  points[count++] = p - origin;
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

double StepOf(std::span<const Vector3d> points) {
  std::vector<double> values(std::min(points.size(), kEnough));
  double largest = 0;
  int stepped = 0;
  for (Eigen::Index axis = 0; axis < 3; ++axis) {
    std::transform(points.begin(), points.begin() + static_cast<std::ptrdiff_t>(values.size()),
                   values.begin(), [&](const Vector3d& p) { return p[axis]; });
    std::sort(values.begin(), values.end());
    const double same = 1e-9 * (values.back() - values.front());
    std::vector<double> gaps;
    for (std::size_t i = 1; i < values.size(); ++i) {
      if (values[i] - values[i - 1] > same) gaps.push_back(values[i] - values[i - 1]);
    }
    if (gaps.size() < kLevels) continue;
    const double step = *std::min_element(gaps.begin(), gaps.end());
    const auto isMultiple = [&](double gap) {
      return std::abs(gap / step - std::round(gap / step)) < kMultiple;
    };
    if (!std::all_of(gaps.begin(), gaps.end(), isMultiple)) continue;
    largest = std::max(largest, step);
    ++stepped;
  }
  return stepped >= 2 ? largest : 0;
}

std::vector<Vector3d> Shuffled(const Frame& frame, Dice& dice) {
  const std::span<const Vector3d> points = frame.Points();
  std::vector<Vector3d> chosen;
  if (frame.isWeighted) {
    std::vector<std::pair<double, std::size_t>> keys(points.size());
    for (std::size_t i = 0; i < keys.size(); ++i)
      keys[i] = {-std::log(dice.Share()) / (frame.roots[i] * frame.roots[i]), i};
    const double worth = frame.weight * frame.weight / frame.squaredWeights;
    const std::size_t count =
        std::clamp<std::size_t>(static_cast<std::size_t>(worth + 0.5), 1, std::min(kSearched, points.size()));
    std::partial_sort(keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(count), keys.end());
    for (std::size_t k = 0; k < count; ++k) chosen.push_back(points[keys[k].second]);
    return chosen;
  }
  if (points.size() > kSearched) {
    chosen.reserve(kSearched);
    while (chosen.size() < kSearched) chosen.push_back(points[dice.Below(points.size())]);
    return chosen;
  }
  chosen.assign(points.begin(), points.end());
  for (std::size_t i = chosen.size(); i > 1; --i) std::swap(chosen[i - 1], chosen[dice.Below(i)]);
  return chosen;
}

}  // namespace primfit::robust
