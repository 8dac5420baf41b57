// Whether primfit::fit knows how exact the bounds of a shape are: over many clouds, the root mean square of
// each bound's error in units of its reported standard deviation, and the share of errors within three of
// them; and how far bounds move with the seed of the search alone, in the same units. Printed as tables in
// Markdown.
//
// usage: extent_spread [REPETITIONS [SEEDS]]   default 200 and 50
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "primfit/fit/scoped_seed.h"
#include "scenes.h"

namespace primfit::bench {
namespace {

using Eigen::Vector3d;

constexpr const char* kBounded[] = {"line", "arc", "patch", "bounded cylinder", "bounded cone", "elbow"};
constexpr double kOutliers[] = {0, 0.2, 0.5};

/// Errors in units of their reported standard deviations.
struct Deviations {
  std::vector<double> sizes, start;
};

/// How far a fit begins from the nearer end of the true shape, along it: the sign of an axis is arbitrary.
double StartError(const Primitive& primitive, const Scene& scene, const Vector3d& start) {
  const Vector3d p = scene.pose.inverse() * start;
  if (primitive.name == "line" || primitive.name == "bounded cylinder") {
    const Range& range = primitive.name == "line" ? scene.truth.u : scene.truth.v;
    return std::min(std::abs(p.z() - range.low), std::abs(p.z() - range.high));
  }
  const auto shape = primitive.make(scene.truth, Pose::Identity());
  double nearest = std::numeric_limits<double>::infinity();
  for (const double u : {scene.truth.u.low, scene.truth.u.high}) {
    const auto* curve = dynamic_cast<const OutputCurve*>(shape.get());
    const Vector3d end =
        curve != nullptr ? curve->Eval(u) : dynamic_cast<const OutputSurface&>(*shape).Eval(u, 0);
    nearest = std::min(
        nearest, std::abs(std::atan2(end.x() * p.y() - end.y() * p.x(), end.x() * p.x() + end.y() * p.y())));
  }
  return nearest;
}

/// The corner of an outline that is nearest to each corner of the true patch.
std::vector<std::size_t> NearestCorners(const Scene& scene, const AdaptiveFound& fit) {
  std::vector<std::size_t> indices;
  for (const double u : {scene.truth.u.low, scene.truth.u.high}) {
    for (const double v : {scene.truth.v.low, scene.truth.v.high}) {
      const Vector3d corner = scene.pose * Vector3d(u, v, 0);
      const auto nearest = std::min_element(
          fit.ends.begin(), fit.ends.end(),
          [&](const auto& a, const auto& b) { return (a - corner).norm() < (b - corner).norm(); });
      indices.push_back(static_cast<std::size_t>(nearest - fit.ends.begin()));
    }
  }
  return indices;
}

void AddCorners(const Scene& scene, const AdaptiveFound& fit, Deviations& off) {
  std::size_t next = 0;
  const std::vector<std::size_t> nearest = NearestCorners(scene, fit);
  for (const double u : {scene.truth.u.low, scene.truth.u.high}) {
    for (const double v : {scene.truth.v.low, scene.truth.v.high}) {
      const std::size_t i = nearest[next++];
      off.sizes.push_back((fit.ends[i] - scene.pose * Vector3d(u, v, 0)).norm() / fit.extents.sizes[i]);
    }
  }
}

void AddErrors(const Primitive& primitive, const Scene& scene, const AdaptiveFound& fit, Deviations& off) {
  if (primitive.name == "patch") return AddCorners(scene, fit, off);
  const Extent truth = primitive.extent(scene.truth);
  for (std::size_t i = 0; i < truth.size(); ++i)
    off.sizes.push_back((fit.extent[i] - truth[i]) / fit.extents.sizes[i]);
  if (!fit.ends.empty()) off.start.push_back(StartError(primitive, scene, fit.ends[0]) / fit.extents.start);
}

/// Whether a fit has found the shape, and not clutter about it.
bool IsFound(const Scene& scene, const AdaptiveFound& fit) {
  return IsNear(scene, *fit.shape) && fit.report.noise < 1.5 * scene.noise;
}

std::string Figures(const std::vector<double>& deviations) {
  if (deviations.empty()) return "- | -";
  double squares = 0, within = 0;
  for (const double d : deviations) {
    squares += d * d;
    within += std::abs(d) <= 3 ? 1 : 0;
  }
  const auto n = static_cast<double>(deviations.size());
  return fmt::format("{:.2f} | {:.1f} %", std::sqrt(squares / n), 100 * within / n);
}

/// A scene whose noise moves points along the shape as well.
Scene Blurred(Scene scene, double noise, std::uint64_t seed) {
  Random random(seed + 1000);
  scene.noise = noise;
  for (Points* points : {&scene.points, &scene.inliers}) {
    for (Vector3d& p : *points) p += noise * Vector3d(random.Gauss(), random.Gauss(), random.Gauss());
  }
  return scene;
}

/// @param blurred  whether the noise is alike in all directions, else across the shape only
void PrintErrors(const Primitive& primitive, int points, double outliers, double noise, bool blurred,
                 int repetitions) {
  Deviations off;
  for (int seed = 0; seed < repetitions; ++seed) {
    Scene scene =
        MakeScene(primitive, primitive.truth,
                  {.points = points, .outliers = outliers, .noise = blurred ? 0 : noise, .around = 1.5},
                  static_cast<std::uint64_t>(seed));
    if (blurred) scene = Blurred(std::move(scene), noise, static_cast<std::uint64_t>(seed));
    const ScopedSeed scope(static_cast<std::uint64_t>(seed));
    try {
      const AdaptiveFound fit = primitive.adaptive(scene.points);
      if (IsFound(scene, fit)) AddErrors(primitive, scene, fit, off);
    } catch (const std::exception&) {  // nothing stands out
    }
  }
  fmt::print("| {} | {} | {:.0f} % | {:.1f}{} | {} | {} |\n", primitive.name, points, 100 * outliers,
             1000 * noise, blurred ? ", all ways" : "", Figures(off.sizes), Figures(off.start));
  std::fflush(stdout);
}

/// Bounds with their standard deviations: sizes, or the coordinates of corners.
std::vector<std::pair<double, double>> BoundsOf(const Scene& scene, const AdaptiveFound& fit) {
  std::vector<std::pair<double, double>> bounds;
  if (fit.ends.size() > 1) {
    for (const std::size_t i : NearestCorners(scene, fit)) {
      for (const double c : fit.ends[i]) bounds.emplace_back(c, fit.extents.sizes[i]);
    }
    return bounds;
  }
  for (std::size_t i = 0; i < fit.extent.size(); ++i)
    bounds.emplace_back(fit.extent[i], fit.extents.sizes[i]);
  return bounds;
}

/// Over the seeds, how far bounds are from their median, in their own standard deviations: root mean square
/// and largest.
void PrintSeeds(const Primitive& primitive, int points, double outliers, int seeds) {
  const Scene scene =
      MakeScene(primitive, primitive.truth, {.points = points, .outliers = outliers, .around = 1.5}, 1);
  std::vector<std::vector<std::pair<double, double>>> found;
  for (int seed = 0; seed < seeds; ++seed) {
    const ScopedSeed scope(static_cast<std::uint64_t>(seed));
    try {
      const AdaptiveFound fit = primitive.adaptive(scene.points);
      if (IsFound(scene, fit)) found.push_back(BoundsOf(scene, fit));
    } catch (const std::exception&) {  // nothing stands out
    }
  }
  double largest = 0, squares = 0, count = 0;
  for (std::size_t i = 0; !found.empty() && i < found.front().size(); ++i) {
    std::vector<double> column;
    for (const auto& bounds : found) column.push_back(bounds[i].first);
    std::nth_element(column.begin(), column.begin() + static_cast<std::ptrdiff_t>(column.size() / 2),
                     column.end());
    const double median = column[column.size() / 2];
    for (const auto& bounds : found) {
      const double off = (bounds[i].first - median) / bounds[i].second;
      squares += off * off;
      largest = std::max(largest, std::abs(off));
      ++count;
    }
  }
  fmt::print("| {} | {} | {:.0f} % | {} | {:.2g} | {:.2g} |\n", primitive.name, points, 100 * outliers,
             found.size(), std::sqrt(squares / count), largest);
  std::fflush(stdout);
}

}  // namespace
}  // namespace primfit::bench

int main(int argc, char** argv) {
  using namespace primfit::bench;
  const int repetitions = argc > 1 ? std::atoi(argv[1]) : 200, seeds = argc > 2 ? std::atoi(argv[2]) : 50;
  if (repetitions > 0) {
    fmt::print("| shape | points | outliers | noise, mm | bound, rms | within 3 | start, rms | within 3 |\n");
    fmt::print("|---|---|---|---|---|---|---|---|\n");
    for (const char* shape : kBounded) {
      for (const double outliers : kOutliers) {
        for (const int points : {300, 1000, 10000, 100000}) {
          for (const double noise : {0.0005, 0.002, 0.01}) {
            if (noise != 0.002 && points != 1000) continue;
            const int runs = points > 10000 ? repetitions / 4 : repetitions;
            PrintErrors(PrimitiveNamed(shape), points, outliers, noise, false, runs);
            if (noise == 0.002 && outliers == 0)
              PrintErrors(PrimitiveNamed(shape), points, outliers, noise, true, runs);
          }
        }
      }
    }
  }
  if (seeds > 0) {
    fmt::print(
        "\n| shape | points | outliers | found | rms | largest "
        "|\n|---|---|---|---|---|---|---|\n");
    for (const char* shape : kBounded) {
      for (const double outliers : kOutliers) {
        for (const int points : {1000, 10000, 100000})
          PrintSeeds(PrimitiveNamed(shape), points, outliers, seeds);
      }
    }
  }
  return 0;
}
