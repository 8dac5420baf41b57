#include "adaptive/joints/pipe_growth.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "adaptive/converge/noise.h"
#include "adaptive/joints/pipe_support.h"
#include "adaptive/model/refine.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Lengths to which a pipe grows one after the other, in radii.
constexpr double kLengths[] = {3, 4, 5, 6, 8, 12, 16};
/// The first band, in radii, and by how much it narrows from one length to the next at the most.
constexpr double kFirstBand = 0.4, kNarrows = 0.5;
/// The cosine of the largest angle by which a pipe may run otherwise than the end of the arc tells, and the
/// largest factor between the radii.
constexpr double kAlike = 0.94, kLikeRadius = 1.25;
/// Fewer points than twice the parameters of a cylinder tell none: then the pipe grows on first.
constexpr std::size_t kFewestPoints = 10;
constexpr int kSteps = 5;
/// How much of the arc may be pieces of pipes, in what a torus takes in of them; less than none of an arc of
/// which an end has no points.
constexpr double kPieces[] = {1, 0, 2, -1};

/// An end of an arc.
struct ArcEnd {
  ArcEnd(const PipedElbow& elbow, std::size_t end) {
    const Model& torus = elbow.torus;
    radial = std::cos(elbow.sweep * static_cast<double>(end)) * elbow.start +
             std::sin(elbow.sweep * static_cast<double>(end)) * torus.axis.cross(elbow.start);
    place = torus.center + torus.major * radial;
    onwards = (end == 0 ? -1.0 : 1.0) * torus.axis.cross(radial);
  }

  Vector3d radial, place, onwards;
};

/// The points beyond the end of the arc that are near a cylinder, and their weights, which fade towards the
/// edge of the band (Beaton and Tukey 1974).
struct NearPipe {
  std::vector<Vector3d> points;
  std::vector<double> sqrtWeights, distances;
};

NearPipe NearPipeOf(const Model& cylinder, const ArcEnd& end, double length, double band,
                    std::span<const Vector3d> points) {
  NearPipe near;
  for (const Vector3d& p : points) {
    const double along = (p - end.place).dot(cylinder.axis);
    if (!(along > 0 && along <= length)) continue;
    const double distance = std::abs((p - cylinder.center).cross(cylinder.axis).norm() - cylinder.minor);
    if (!(distance < band)) continue;
    near.points.push_back(p);
    near.distances.push_back(distance);
    near.sqrtWeights.push_back(1 - distance * distance / (band * band));
  }
  return near;
}

/// The elbow moved so that its pipe at an end is the cylinder.
PipedElbow WithPipe(PipedElbow elbow, std::size_t end, const Model& cylinder) {
  const ArcEnd before(elbow, end);
  const Vector3d place =
      cylinder.center + (before.place - cylinder.center).dot(cylinder.axis) * cylinder.axis;
  const Vector3d radial = (before.radial - before.radial.dot(cylinder.axis) * cylinder.axis).normalized();
  Model& torus = elbow.torus;
  torus.axis = (end == 0 ? -1.0 : 1.0) * radial.cross(cylinder.axis);
  torus.minor = cylinder.minor;
  torus.center = place - torus.major * radial;
  const double back = -elbow.sweep * static_cast<double>(end);
  elbow.start = std::cos(back) * radial + std::sin(back) * torus.axis.cross(radial);
  for (std::size_t k = 0; k < elbow.pipes.size(); ++k) elbow.pipes[k] = {.exists = k == end};
  return elbow;
}

/// The axis points away from the arc.
bool IsAlike(const Model& cylinder, const PipedElbow& elbow, const ArcEnd& end) {
  const double ratio = cylinder.minor / elbow.torus.minor;
  return IsValid(cylinder) && cylinder.axis.dot(end.onwards) >= kAlike && ratio <= kLikeRadius &&
         ratio >= 1 / kLikeRadius;
}

/// The same from an end of the arc that is known.
std::optional<GrownPipe> GrowFrom(const PipedElbow& elbow, std::size_t end, std::span<const Vector3d> points,
                                  Budget& budget) {
  const ArcEnd from(elbow, end);
  const double radius = elbow.torus.minor;
  GrownPipe grown;
  Model& cylinder = grown.pipe.cylinder;
  cylinder = {ShapeKind::kCylinder, from.place, from.onwards, 0, radius};
  double band = kFirstBand * radius;
  for (const double length : kLengths) {
    const NearPipe near = NearPipeOf(cylinder, from, length * radius, band, points);
    if (near.points.size() < kFewestPoints) continue;
    const auto refined = Refine(cylinder, 0, RefsOf(near.points, near.sqrtWeights.data()), kSteps, budget);
    if (!refined) return std::nullopt;
    cylinder = *refined;
    if (cylinder.axis.dot(from.onwards) < 0) cylinder.axis = -cylinder.axis;
    if (!IsAlike(cylinder, elbow, from)) return std::nullopt;
    const NearPipe nearer = NearPipeOf(cylinder, from, length * radius, band, points);
    if (nearer.points.empty()) return std::nullopt;
    const double noise = EstimateNoise(false, nearer.distances, band / InlierBound(false, 1));
    band = std::clamp(InlierBound(false, noise), kNarrows * band, band);
  }
  const double length = SupportedLengths(WithPipe(elbow, end, cylinder), points, band)[end];
  if (!(length >= kLeastPipe * radius)) return std::nullopt;
  grown.tolerance = band;
  grown.length = length;
  grown.pipe.middle =
      cylinder.center + ((from.place - cylinder.center).dot(cylinder.axis) + length / 2) * cylinder.axis;
  return grown;
}

}  // namespace

// The torus may have taken in a piece of the pipe, or lack an end of the bend that has few points.
std::optional<GrownPipe> GrowPipe(const PipedElbow& elbow, std::size_t end, double tolerance,
                                  std::span<const Vector3d> points, Budget& budget) {
  const double piece = PieceOfPipe(elbow, tolerance);
  for (const double pieces : kPieces) {
    auto grown = GrowFrom(Shortened(elbow, pieces * piece), end, points, budget);
    if (!grown) continue;
    grown->beyond = grown->length - pieces * piece * elbow.torus.major;
    return grown;
  }
  return std::nullopt;
}

}  // namespace primfit::adaptive
