#include "adaptive/joints/elbow_starts.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Pipes of one run differ in radius by less than this share, as they were found one by one.
constexpr double kLikeRadius = 0.2;
/// How far their axes may pass each other, in radii.
constexpr double kNearestAxes = 1;
/// The sine of the angle between axes that are parallel or nearly so. Small bends are not told from crooked
/// pipes.
constexpr double kParallel = 0.1;
/// Bend radii that are tried, in radii of the pipe: a smaller one has no hole, a larger one hardly bends.
constexpr double kLeastBend = 1.02, kLargestBend = 30;
/// By how much the outermost point of the bend's centre line moves from one try to the next, in radii of the
/// pipe; and the most tries.
constexpr double kStep = 0.25;
constexpr double kMostSteps = 64;
/// Bins around a torus. Those are covered that hold this share of what the fuller ones do.
constexpr std::size_t kBins = 72;
constexpr double kCoveredShare = 0.25;
/// The largest share of an arc that is taken for a piece of a pipe, at either end.
constexpr double kLargestPiece = 0.3;

/// The plane of a bend, its directions where the arc begins and ends, and the one from the centre to the
/// middle of the arc.
struct BendPlane {
  Vector3d normal, begin, end, outward;
  double sweep = 0;
};

/// Of two directions that are parallel, the offset of the pipes tells the plane.
std::optional<BendPlane> PlaneOf(const PipePair& pair) {
  BendPlane plane;
  const Vector3d cross = pair.towards.cross(pair.awayFrom);
  plane.sweep = std::atan2(cross.norm(), pair.towards.dot(pair.awayFrom));
  if (plane.sweep < std::asin(kParallel)) return std::nullopt;
  const Vector3d offset = pair.second - pair.first;
  plane.normal = plane.sweep > std::numbers::pi - std::asin(kParallel) ? pair.towards.cross(offset) : cross;
  if (!(plane.normal.norm() > 0)) return std::nullopt;
  plane.normal.normalize();
  plane.begin = pair.towards.cross(plane.normal).normalized();
  plane.end = pair.awayFrom.cross(plane.normal).normalized();
  plane.outward = (pair.towards - pair.awayFrom).normalized();
  return plane;
}

/// The bends between two pipes: the centre c lies in a plane, a bend radius R inside of both axes, so that
/// c.b = p.b - R for the begin b and a point p of the first axis, and the same at the end. Along the outward
/// direction c is at z, and R = (p.b + q.e) / 2 - z cos(sweep / 2).
class BendsBetween {
 public:
  BendsBetween(const PipePair& pair, const BendPlane& plane)
      : plane_(plane),
        radius_(pair.radius),
        cosine_(std::cos(plane.sweep / 2)),
        meanOffset_((pair.first.dot(plane.begin) + pair.second.dot(plane.end)) / 2),
        across_((pair.second.dot(plane.end) - pair.first.dot(plane.begin)) / (2 * std::sin(plane.sweep / 2))),
        height_((pair.first + pair.second).dot(plane.normal) / 2) {}

  double BendRadius(double z) const { return meanOffset_ - z * cosine_; }
  /// Where the middle of the arc is along the outward direction, and the inverse.
  double Outermost(double z) const { return z + BendRadius(z); }
  double AtOutermost(double place) const { return (place - meanOffset_) / (1 - cosine_); }

  PipedElbow At(double z) const {
    PipedElbow elbow;
    const Vector3d centre =
        z * plane_.outward + across_ * plane_.normal.cross(plane_.outward) + height_ * plane_.normal;
    elbow.torus = {ShapeKind::kTorus, centre, plane_.normal, BendRadius(z), radius_};
    elbow.start = plane_.begin;
    elbow.sweep = plane_.sweep;
    for (TangentPipe& pipe : elbow.pipes) pipe.exists = true;
    return elbow;
  }

 private:
  BendPlane plane_;
  double radius_, cosine_, meanOffset_, across_, height_;
};

}  // namespace

double TruncatedSquares(const PipedElbow& elbow, std::span<const Vector3d> points, double bound) {
  const ElbowSurface surface(elbow);
  double sum = 0;
  for (const Vector3d& p : points) {
    const double d = std::min(std::abs(surface.FootOf(p).distance), bound);
    sum += d * d;
  }
  return sum;
}

double PieceOfPipe(const PipedElbow& elbow, double tolerance) {
  return std::min(std::sqrt(2 * tolerance / elbow.torus.major), kLargestPiece * elbow.sweep);
}

PipedElbow Shortened(PipedElbow elbow, double piece) {
  const Vector3d& axis = elbow.torus.axis;
  elbow.start = std::cos(piece) * elbow.start + std::sin(piece) * axis.cross(elbow.start);
  elbow.sweep -= 2 * piece;
  return elbow;
}

std::vector<PipePair> PairsOf(const FoundPipe& one, const FoundPipe& other) {
  const Model &a = one.cylinder, &b = other.cylinder;
  PipePair pair{one.middle, a.axis, other.middle, b.axis, (a.minor + b.minor) / 2};
  pair.first = a.center + (one.middle - a.center).dot(a.axis) * a.axis;
  pair.second = b.center + (other.middle - b.center).dot(b.axis) * b.axis;
  if (std::abs(a.minor - b.minor) > kLikeRadius * pair.radius) return {};
  const Vector3d cross = a.axis.cross(b.axis), offset = pair.second - pair.first;
  const double sine = cross.norm();
  if (sine < kParallel) {
    if ((offset - offset.dot(a.axis) * a.axis).norm() < 2 * pair.radius) return {};
    std::vector<PipePair> both{pair, pair};
    for (std::size_t k = 0; k < both.size(); ++k) {
      both[k].towards = k == 0 ? a.axis : Vector3d(-a.axis);
      both[k].awayFrom = b.axis.dot(both[k].towards) < 0 ? b.axis : Vector3d(-b.axis);
    }
    return both;
  }
  if (std::abs(offset.dot(cross)) / sine > kNearestAxes * pair.radius) return {};
  // Where the axes come nearest to each other, along each from the middle of its points.
  const double alongFirst = offset.cross(b.axis).dot(cross) / (sine * sine);
  const double alongSecond = offset.cross(a.axis).dot(cross) / (sine * sine);
  if (alongFirst < 0) pair.towards = -pair.towards;
  if (alongSecond > 0) pair.awayFrom = -pair.awayFrom;
  return {pair};
}

std::optional<PipedElbow> BestBetween(const PipePair& pair, std::span<const Vector3d> points, double bound) {
  const auto plane = PlaneOf(pair);
  if (!plane || points.empty()) return std::nullopt;
  const BendsBetween bends(pair, *plane);
  double low = std::numeric_limits<double>::infinity(), high = -low;
  for (const Vector3d& p : points) {
    low = std::min(low, p.dot(plane->outward));
    high = std::max(high, p.dot(plane->outward));
  }
  const double from = bends.AtOutermost(low), to = bends.AtOutermost(high);
  const double steps = std::clamp((high - low) / (kStep * pair.radius), 4.0, kMostSteps);
  std::optional<PipedElbow> best;
  double least = static_cast<double>(points.size()) * bound * bound;
  for (double i = 0; i <= steps; ++i) {
    const double z = from + (to - from) * i / steps, ratio = bends.BendRadius(z) / pair.radius;
    if (!(ratio >= kLeastBend && ratio <= kLargestBend)) continue;
    const PipedElbow elbow = bends.At(z);
    const double squares = TruncatedSquares(elbow, points, bound);
    if (squares >= least) continue;
    least = squares;
    best = elbow;
  }
  return best;
}

std::optional<PipedElbow> WithTangents(const Model& torus, std::span<const Vector3d> points, double bound) {
  const FreeParameters frame = FreeParametersOf(torus, 0);
  const Vector3d u = frame.each[0].direction, w = torus.axis.cross(u);
  std::vector<double> distances(points.size());
  Distances(torus, points.data(), static_cast<int>(points.size()), distances.data());
  std::array<std::size_t, kBins> counts{};
  constexpr double kBin = 2 * std::numbers::pi / kBins;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (!(distances[i] <= bound)) continue;
    const Vector3d q = points[i] - torus.center;
    const double azimuth = std::atan2(q.dot(w), q.dot(u)) + std::numbers::pi;
    ++counts[std::min(static_cast<std::size_t>(azimuth / kBin), kBins - 1)];
  }
  std::array<std::size_t, kBins> sorted = counts;
  std::sort(sorted.begin(), sorted.end());
  const double covered = kCoveredShare * static_cast<double>(sorted[kBins * 95 / 100]);
  // The longest run of bins without points, beyond which the arc begins.
  std::size_t longest = 0, begin = 0;
  for (std::size_t i = 0, empty = 0; i < 2 * kBins; ++i) {
    empty = static_cast<double>(counts[i % kBins]) > covered ? 0 : empty + 1;
    if (empty <= longest || empty > kBins) continue;
    longest = empty;
    begin = (i + 1) % kBins;
  }
  if (longest < 3 || longest > kBins - 2) return std::nullopt;
  const double azimuth = static_cast<double>(begin) * kBin - std::numbers::pi;
  PipedElbow elbow;
  elbow.torus = torus;
  elbow.start = std::cos(azimuth) * u + std::sin(azimuth) * w;
  elbow.sweep = static_cast<double>(kBins - longest) * kBin;
  for (TangentPipe& pipe : elbow.pipes) pipe.exists = true;
  return elbow;
}

}  // namespace primfit::adaptive
