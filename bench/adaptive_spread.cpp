// Whether primfit::fit knows how exact it is: over many clouds of the same scene the mean square of each
// parameter's error in units of its reported standard deviation, which is 1 where the covariance is true, and
// how many errors are within three of these; and the noise it estimates, as a share of the true one. Printed
// as tables in Markdown; the exit status is 1 when a figure is out of its bounds.
//
// usage: adaptive_spread [REPETITIONS [SHAPE]]   default 1000 and all shapes
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "adaptive/model/model.h"
#include "primfit/fit/scoped_seed.h"
#include "scenes.h"

namespace primfit::bench {
namespace {

using Eigen::Vector3d;

constexpr const char* kShapes[] = {"line", "arc", "plane", "sphere", "cylinder", "cone", "torus"};
constexpr int kPoints = 1000;
/// Standard deviations of a mean square that a figure may be off: of the 210 figures of the first table one
/// is beyond by chance in one run of a hundred.
constexpr double kBound = 4.1;
/// Half of the points clutter, the errors have more tails than normal ones; so many have to be covered.
constexpr double kMuchClutter = 0.5, kCovered = 3, kLeastCovered = 0.98;
/// Relative; of few points the noise cannot be known so well: four standard deviations of it.
double NoiseBound(int points, double outliers) {
  return std::max(0.1, 4 / std::sqrt(2 * points * (1 - outliers)));
}

/// The error of each parameter in units of its standard deviation, by the parameter's name.
std::vector<std::pair<std::string, double>> Deviations(const Model& truth, const AdaptiveFound& fit) {
  const Model got = ModelOf(*fit.shape);
  const Vector3d axis = truth.axis.dot(got.axis) < 0 ? Vector3d(-truth.axis) : truth.axis;
  const Vector3d at = fit.covariance.position;
  const bool along = truth.kind == ShapeKind::kLine || truth.kind == ShapeKind::kCylinder;
  const Vector3d center = along ? Vector3d(truth.center + axis * axis.dot(at - truth.center)) : truth.center;
  std::vector<std::pair<std::string, double>> off;
  for (const FitParameter& p : fit.covariance.parameters) {
    const std::string name = p.Name();
    const Vector3d& way = truth.kind == ShapeKind::kPlane ? axis : p.direction;
    const double error = name == "position"       ? way.dot(center - at)
                         : name == "direction"    ? p.direction.dot(axis - got.axis)
                         : name == "major radius" ? truth.major - got.major
                                                  : truth.minor - got.minor;
    off.emplace_back(name, error / p.standardDeviation);
  }
  return off;
}

/// A scene, many times over. @return whether all is within bounds
bool PrintSpread(const Primitive& primitive, double outliers, double seen, int repetitions) {
  std::vector<double> squares;
  std::vector<std::string> names;
  int found = 0, covered = 0;
  for (int seed = 0; seed < repetitions; ++seed) {
    const Scene scene =
        MakeScene(primitive, primitive.part(primitive.truth, seen),
                  {.points = kPoints, .outliers = outliers, .around = 1.5}, static_cast<std::uint64_t>(seed));
    const ScopedSeed scope(static_cast<std::uint64_t>(seed));
    try {
      const AdaptiveFound fit = primitive.adaptive(scene.points);
      if (!IsNear(scene, *fit.shape)) continue;
      const auto truth = ModelOf(*primitive.make(scene.truth, scene.pose));
      const auto off = Deviations(truth, fit);
      squares.resize(off.size());
      names.resize(off.size());
      for (std::size_t i = 0; i < off.size(); ++i) {
        squares[i] += off[i].second * off[i].second;
        covered += std::abs(off[i].second) <= kCovered ? 1 : 0;
        names[i] = off[i].first;
      }
      ++found;
    } catch (const std::exception&) {  // nothing stands out
    }
  }
  std::string figures;
  const double coverage = covered / (static_cast<double>(squares.size()) * found);
  bool within = coverage >= kLeastCovered;
  for (std::size_t i = 0; i < squares.size(); ++i) {
    const double mean = squares[i] / found;
    const bool good = outliers >= kMuchClutter || std::abs(mean - 1) <= kBound * std::sqrt(2.0 / found);
    within = within && good;
    figures +=
        fmt::format("{}{}{} {:.2f}{}", i > 0 ? ", " : "", good ? "" : "**", names[i], mean, good ? "" : "**");
  }
  fmt::print("| {} | {:.0f} % | {:.2f} | {} | {} | {:.2f} % |\n", primitive.name, 100 * outliers, seen, found,
             figures, 100 * coverage);
  std::fflush(stdout);
  return within;
}

/// The noise that single fits estimate, relative to the true one. @return whether all are within bounds
bool PrintNoise(const Primitive& primitive, int points) {
  constexpr int kRuns = 10;
  std::string cells;
  bool within = true;
  for (const double outliers : {0.0, 0.2, 0.5}) {
    double low = 1e9, high = 0;
    for (const double noise : {0.001, 0.002, 0.005, 0.01, 0.02}) {
      for (std::uint64_t seed = 0; seed < kRuns; ++seed) {
        const Scene scene =
            MakeScene(primitive, primitive.truth,
                      {.points = points, .outliers = outliers, .noise = noise, .around = 1.5}, seed);
        const ScopedSeed scope(seed);
        const double ratio = primitive.adaptive(scene.points).report.noise / noise;
        low = std::min(low, ratio);
        high = std::max(high, ratio);
      }
    }
    const double bound = NoiseBound(points, outliers);
    const bool good = low >= 1 - bound && high <= 1 + bound;
    within = within && good;
    cells += fmt::format(" {}{:.2f} to {:.2f}{} |", good ? "" : "**", low, high, good ? "" : "**");
  }
  fmt::print("| {} | {} |{}\n", primitive.name, points, cells);
  std::fflush(stdout);
  return within;
}

}  // namespace
}  // namespace primfit::bench

int main(int argc, char** argv) {
  using namespace primfit::bench;
  const int repetitions = argc > 1 ? std::atoi(argv[1]) : 1000;
  std::vector<std::string> shapes(std::begin(kShapes), std::end(kShapes));
  if (argc > 2) shapes = {argv[2]};
  bool within = true;
  fmt::print(
      "| shape | outliers | seen | found | mean square of the error in standard deviations | covered |\n");
  fmt::print("|---|---|---|---|---|---|\n");
  for (const std::string& shape : shapes) {
    for (const double outliers : {0.0, 0.2, kMuchClutter}) {
      for (const double seen : {1.0, 0.5, 1.0 / 6})
        within = PrintSpread(PrimitiveNamed(shape), outliers, seen, repetitions) && within;
    }
  }
  fmt::print("\nNoise estimated / true, least and most over 1 to 20 mm and ten clouds each:\n\n");
  fmt::print("| shape | points | clean | 20 % outliers | 50 % outliers |\n|---|---|---|---|---|\n");
  for (const std::string& shape : shapes) {
    for (const int points : {1000, 10000}) within = PrintNoise(PrimitiveNamed(shape), points) && within;
  }
  return within ? 0 : 1;
}
