#include "adaptive/joints/pipe_support.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Bins along a pipe, per radius, and how many in a row may hold next to nothing.
constexpr double kBinsPerRadius = 3;
constexpr std::size_t kGap = 6;
/// Next to nothing: less than this share of what bins before hold on the mean.
constexpr double kSparse = 0.1;
/// By how much points are denser within the tolerance than beside it.
constexpr double kStandsOut = 2;
/// How many more points than that a pipe has: of few some bins are right by chance.
constexpr double kLeastPoints = 16;
/// Sectors around a pipe, and how many of them hold a good part of what the fullest holds.
constexpr std::size_t kSectors = 12;
constexpr std::ptrdiff_t kLeastSectors = 3;
constexpr double kGoodPart = 0.2;
constexpr std::size_t kArcBins = 8;
constexpr std::ptrdiff_t kLeastArcBins = 6;

/// Pieces of each part along which a tube may be off otherwise, and the length of such a piece of a pipe, in
/// radii; what lies beyond the last one counts with that.
constexpr std::size_t kParts = 3, kPieces = 12;
constexpr double kPieceOfPipe = 1;
/// By how much more than on the mean chance may explain.
constexpr double kChance = 2;

/// Points within the tolerance and beside it, up to twice of it on either side.
struct Counts {
  double within = 0, beside = 0;
};

Counts& operator+=(Counts& a, const Counts& b) {
  a.within += b.within;
  a.beside += b.beside;
  return a;
}

/// The length up to which the bins of a pipe go on to hold points.
std::size_t SupportedBins(const std::vector<Counts>& bins) {
  Counts all;
  std::size_t supported = 0;
  for (std::size_t i = 0; i < bins.size() && i < supported + kGap; ++i) {
    const double mean = i == 0 ? 0 : all.within / static_cast<double>(i);
    if (bins[i].within > std::max(kSparse * mean, 0.0) && bins[i].within >= kStandsOut * bins[i].beside)
      supported = i + 1;
    all += bins[i];
  }
  Counts total;
  for (std::size_t i = 0; i < supported; ++i) total += bins[i];
  return total.within >= kStandsOut * total.beside + kLeastPoints ? supported : 0;
}

/// A pipe as its points are counted.
struct PipeCounts {
  std::vector<Counts> bins;
  std::array<double, kSectors> sectors{};
};

/// Which of the equal pieces of the arc a point is beside.
std::size_t PieceOfArc(const PipedElbow& elbow, const Vector3d& p, std::size_t pieces) {
  const Vector3d q = p - elbow.torus.center;
  const double angle = std::atan2(elbow.torus.axis.cross(elbow.start).dot(q), elbow.start.dot(q));
  const double turn = angle < 0 ? angle + 2 * std::numbers::pi : angle;
  return std::min(static_cast<std::size_t>(turn / elbow.sweep * static_cast<double>(pieces)), pieces - 1);
}

/// How many of some counts are a good part of the largest.
template <class Values>
std::ptrdiff_t GoodOnes(const Values& values) {
  const double largest = *std::max_element(values.begin(), values.end());
  return std::count_if(values.begin(), values.end(),
                       [&](double v) { return v > 0 && v >= kGoodPart * largest; });
}

}  // namespace

std::array<double, 2> SupportedLengths(const PipedElbow& elbow, std::span<const Vector3d> points,
                                       double tolerance) {
  const ElbowSurface surface(elbow);
  const double bin = elbow.torus.minor / kBinsPerRadius;
  std::array<PipeCounts, 2> pipes;
  for (PipeCounts& pipe : pipes) pipe.bins.resize(static_cast<std::size_t>(kLongestPipe * kBinsPerRadius));
  for (const Vector3d& p : points) {
    const ElbowFoot foot = surface.FootOf(p);
    if (foot.part != ElbowPart::kFirstPipe && foot.part != ElbowPart::kSecondPipe) continue;
    const double distance = std::abs(foot.distance);
    if (!(distance <= 2 * tolerance)) continue;
    PipeCounts& pipe = pipes[foot.part == ElbowPart::kFirstPipe ? 0 : 1];
    const auto at = static_cast<std::size_t>(foot.along / bin);
    if (at >= pipe.bins.size()) continue;
    (distance <= tolerance ? pipe.bins[at].within : pipe.bins[at].beside) += 1;
    if (distance > tolerance) continue;
    const double angle = surface.AngleAround(p, foot) + std::numbers::pi;
    const auto sector = static_cast<std::size_t>(angle / (2 * std::numbers::pi) * kSectors);
    pipe.sectors[std::min(sector, kSectors - 1)] += 1;
  }
  std::array<double, 2> lengths{};
  for (std::size_t k = 0; k < pipes.size(); ++k) {
    if (elbow.pipes[k].exists && GoodOnes(pipes[k].sectors) >= kLeastSectors)
      lengths[k] = static_cast<double>(SupportedBins(pipes[k].bins)) * bin;
  }
  return lengths;
}

bool IsArcSupported(const PipedElbow& elbow, std::span<const Vector3d> points, double tolerance) {
  const ElbowSurface surface(elbow);
  Counts all;
  std::array<double, kArcBins> bins{};
  for (const Vector3d& p : points) {
    const ElbowFoot foot = surface.FootOf(p);
    const double distance = std::abs(foot.distance);
    if (foot.part != ElbowPart::kArc || !(distance <= 2 * tolerance)) continue;
    (distance <= tolerance ? all.within : all.beside) += 1;
    if (distance > tolerance) continue;
    bins[PieceOfArc(elbow, p, kArcBins)] += 1;
  }
  if (elbow.PipeCount() < 2) return all.within >= kStandsOut * all.beside;
  return all.within >= kStandsOut * all.beside && GoodOnes(bins) >= kLeastArcBins;
}

// Of each piece the offset in the plane of the bend is fitted: d = offset cos a, with a around the tube from
// the side away from the centre on. Chance explains one of the squares for each piece.
double ShareExplainedAlong(const PipedElbow& elbow, std::span<const Vector3d> points, double tolerance) {
  const ElbowSurface surface(elbow);
  std::array<double, kPieces * kParts> cosines{}, products{};
  double squares = 0, count = 0;
  for (const Vector3d& p : points) {
    const ElbowFoot foot = surface.FootOf(p);
    if (!(std::abs(foot.distance) <= tolerance)) continue;
    const auto along = static_cast<std::size_t>(foot.along / (kPieceOfPipe * elbow.torus.minor));
    const std::size_t piece =
        foot.part == ElbowPart::kArc ? PieceOfArc(elbow, p, kPieces) : std::min(along, kPieces - 1);
    const std::size_t at = static_cast<std::size_t>(foot.part) * kPieces + piece;
    const double cosine = std::cos(surface.AngleAround(p, foot));
    cosines[at] += cosine * cosine;
    products[at] += cosine * foot.distance;
    squares += foot.distance * foot.distance;
    count += 1;
  }
  double explained = 0, used = 0;
  for (std::size_t k = 0; k < cosines.size(); ++k) {
    if (!(cosines[k] > 0)) continue;
    explained += products[k] * products[k] / cosines[k];
    used += 1;
  }
  return squares > 0 ? explained / squares - kChance * used / count : 0;
}

}  // namespace primfit::adaptive
