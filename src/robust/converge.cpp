#include "robust/converge.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "fit/fit_memory.h"
#include "robust/crowd.h"

using Eigen::Vector3d;

namespace primfit::robust {

namespace {

constexpr double kSurfaceBound = 3;
constexpr double kCurveBound = 3.44;  // the same share outside a circle
constexpr int kRounds = 30;
/// The first rounds take in more: a narrow band that lies askew has lost the points that would set it right.
constexpr int kWide = 2;
constexpr double kWiden[kWide] = {3, 1.7};
constexpr int kSteps = 20;
/// Where nearly all points are inliers none is there by chance.
constexpr double kClean = 0.98;

/// One pass of expectation-maximisation to its end over the distances below eight standard deviations.
double NoiseWithin(bool curve, std::span<const double> distances, double start) {
  constexpr std::size_t kBins = 96, kEnough = 20000;  // of so many the noise is known to 0.5 %
  const double reach = 8 * start, width = reach / kBins;
  std::array<double, kBins> counts{};
  double all = 0;
  const std::size_t step = distances.size() / kEnough + 1;
  for (std::size_t i = 0; i < distances.size(); i += step) {
    if (!(distances[i] < reach)) continue;
    ++counts[static_cast<std::size_t>(distances[i] * (1 / width))];
    ++all;
  }
  if (all == 0) return start;
  double variance = start * start, share = 0.9;
  for (int turn = 0; turn < 200; ++turn) {
    double weight = 0, squares = 0;
    for (std::size_t bin = 0; bin < kBins; ++bin) {
      if (counts[bin] == 0) continue;
      const double d = (static_cast<double>(bin) + 0.5) * width, bell = std::exp(-d * d / (2 * variance));
      const double near =
          share * (curve ? d / variance * bell : bell * std::sqrt(2 / (3.14159265358979323846 * variance)));
      const double far = (1 - share) * (curve ? 2 * d / (reach * reach) : 1 / reach);
      const double of = counts[bin] * near / (near + far);
      weight += of;
      squares += of * (d * d + width * width / 12);
    }
    if (weight <= 0) break;
    const double next = squares / weight / (curve ? 2 : 1);
    const bool still = std::abs(next - variance) < 1e-6 * variance;
    variance = std::max(next, width * width / 12);
    share = std::min(weight / all, 1 - 1e-9);
    if (still) break;
  }
  return std::sqrt(variance);
}

/// Refinement within the plausible ranges: a part that leaves its range is held at its end.
std::optional<Model> RefineWithin(const Model& start, const ConvergeTask& task,
                                  std::span<const Vector3d> points) {
  auto refined = Refine(start, task.held, points, kSteps);
  if (!refined || !task.clamp) return refined;
  const unsigned atEnd = task.clamp(*refined);
  return atEnd == 0 ? refined : Refine(*refined, task.held | atEnd, points, kSteps);
}

}  // namespace

double EstimateNoise(bool curve, std::span<const double> distances, double start) {
  double noise = start;
  for (int pass = 0; pass < 8; ++pass) {
    const double next = NoiseWithin(curve, distances, noise);
    const bool still = std::abs(next - noise) < 0.02 * noise;
    noise = next;
    if (still) break;
  }
  return noise;
}

double BoundOf(bool curve, double noise) { return noise * (curve ? kCurveBound : kSurfaceBound); }

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
  const std::size_t n = task.points.size();
  const bool curve = start.IsCurve();
  const Scratch<double> distances(n);
  const Scratch<Vector3d> close(n);
  Converged at;
  at.model = start;
  at.inliers.reserve(n);
  std::vector<std::uint64_t> seen;
  Crowd crowd;
  double noise = task.start / BoundOf(curve, 1);
  for (int round = 0; round < kRounds; ++round) {
    Distances(at.model, task.points.data(), static_cast<int>(n), distances.data());
    // After some rounds the bound stands, so that only the selection can still change.
    if (round < task.noiseRounds)
      noise = EstimateNoise(curve, {distances.data(), n}, std::max(noise, 1e-300));
    at.noise = noise;
    at.tolerance = task.tolerance.value_or(BoundOf(curve, task.noise.value_or(noise)));
    const double bound = at.tolerance * (round < kWide ? kWiden[round] : 1);
    std::size_t count = 0;
    at.inliers.resize(n);
    for (std::size_t i = 0; i < n; ++i) {
      if (!(distances[i] <= bound)) continue;
      at.inliers[count] = static_cast<std::uint32_t>(i);
      close[count++] = task.points[i];
    }
    if (count == 0) return std::nullopt;
    const bool cluttered = static_cast<double>(count) < kClean * static_cast<double>(n);
    if (cluttered && (round == 0 || round == kWide)) crowd.Build({close.data(), count});
    std::uint64_t hash = 0;
    Vector3d sum = Vector3d::Zero();
    std::size_t kept = 0;
    for (std::size_t k = 0; k < count; ++k) {
      const Vector3d p = close[k];
      if (cluttered && crowd.IsAlone(p)) continue;
      const std::uint64_t mixed = (at.inliers[k] + std::uint64_t{1}) * 0x9e3779b97f4a7c15U;
      hash += (mixed ^ mixed >> 32) * mixed;
      sum += p;
      at.inliers[kept] = at.inliers[k];
      close[kept++] = p;
    }
    count = kept;
    at.inliers.resize(count);
    if (count == 0) return std::nullopt;
    at.settled = round > kWide && seen.back() == hash;
    if (at.settled) break;
    const bool circles = round > kWide && std::find(seen.begin() + kWide, seen.end(), hash) != seen.end();
    CenterAt(sum / static_cast<double>(count), task.held, at.model);
    const auto refined = RefineWithin(at.model, task, {close.data(), count});
    if (!refined) return std::nullopt;
    at.model = *refined;
    if (circles) break;
    seen.push_back(hash);
  }
  at.beside = static_cast<std::size_t>(std::count_if(distances.data(), distances.data() + n, [&](double d) {
    return d > at.tolerance && d <= 2 * at.tolerance;
  }));
  if (!Refine(at.model, task.held, {close.data(), at.inliers.size()}, 0, &at.sums)) return std::nullopt;
  return at;
}

}  // namespace primfit::robust
