#include "adaptive/joints/refine_piped_elbow.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>
#include <cstddef>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// A step that moves the distances by less than this share of the tube is not worth another pass.
constexpr double kNegligible = 1e-13;
/// A shorter one that does not lower the sum of squares is kept from doing so by rounding.
constexpr double kRounding = 1e-9;
/// The damping after a step that does not lower the sum of squares, its factor after each more, and the one
/// at which the steps have become too short to help.
constexpr double kFirstDamping = 1e-4, kMoreDamping = 8, kMostDamping = 1e6;

/// Which parameters a part of a torus stands for, as the parameters are ordered.
constexpr std::array<unsigned, 7> kPartOfParameter = {kCenter, kCenter, kCenter, kAxis,
                                                      kAxis,   kMajor,  kMinor};

/// The distances' root mean square change by a step.
double LengthOf(const ElbowVector& step, const ElbowMatrix& matrix, double points) {
  return std::sqrt(std::max(step.dot(matrix * step), 0.0) / points);
}

PipedElbow WithReach(PipedElbow elbow, const PipedElbow& from) {
  for (std::size_t k = 0; k < elbow.pipes.size(); ++k) elbow.pipes[k].reach = from.pipes[k].reach;
  return elbow;
}

}  // namespace

FreeElbowParameters FreeParametersOf(const PipedElbow& elbow, unsigned held) {
  FreeElbowParameters free{};
  for (std::size_t i = 0; i < kPartOfParameter.size(); ++i) free[i] = (held & kPartOfParameter[i]) == 0;
  free[kArcBegins] = elbow.pipes[0].exists;
  free[kArcEnds] = elbow.pipes[1].exists;
  return free;
}

// A point that is beside no part, as behind the free end of an arc, counts as one on the centre line.
ElbowSums SumsOf(const PipedElbow& elbow, std::span<const Vector3d> points, std::span<const double> weights,
                 Budget& budget) {
  const ElbowSurface surface(elbow);
  ElbowSums sums;
  budget.InBlocks(points.size(), [&](std::size_t begin, std::size_t count) {
    for (std::size_t i = begin; i < begin + count; ++i) {
      const ElbowFoot foot = surface.FootOf(points[i]);
      const double weight = weights.empty() ? 1 : weights[i];
      if (foot.part == ElbowPart::kNone) {
        sums.squares += weight * elbow.torus.minor * elbow.torus.minor;
        continue;
      }
      const ElbowVector row = surface.Gradient(points[i], foot);
      sums.matrix.selfadjointView<Eigen::Lower>().rankUpdate(row, weight);
      sums.gradient += weight * foot.distance * row;
      sums.squares += weight * foot.distance * foot.distance;
    }
  });
  sums.matrix.triangularView<Eigen::StrictlyUpper>() = sums.matrix.transpose();
  return sums;
}

ElbowMatrix InverseOf(const ElbowMatrix& matrix, const FreeElbowParameters& free, double damping) {
  ElbowVector scale = ElbowVector::Zero();
  for (int i = 0; i < kElbowParameters; ++i) {
    if (free[static_cast<std::size_t>(i)] && matrix(i, i) > 0) scale[i] = 1 / std::sqrt(matrix(i, i));
  }
  ElbowMatrix scaled = scale.asDiagonal() * matrix * scale.asDiagonal();
  for (int i = 0; i < kElbowParameters; ++i) scaled(i, i) = 1 + damping;
  const ElbowMatrix inverse = scaled.ldlt().solve(ElbowMatrix::Identity());
  return scale.asDiagonal() * inverse * scale.asDiagonal();
}

std::optional<RefinedElbow> Refine(const PipedElbow& start, unsigned held, std::span<const Vector3d> points,
                                   std::span<const double> weights, int iterations, Budget& budget) {
  const FreeElbowParameters free = FreeParametersOf(start, held);
  if (points.size() <= static_cast<std::size_t>(std::count(free.begin(), free.end(), true)))
    return std::nullopt;
  RefinedElbow at{start, {}, 0};
  for (TangentPipe& pipe : at.elbow.pipes) pipe.reach = TangentPipe().reach;
  at.sums = SumsOf(at.elbow, points, weights, budget);
  const auto count = static_cast<double>(points.size());
  double damping = 0;
  for (int i = 0; i < iterations;) {
    const ElbowVector step = -InverseOf(at.sums.matrix, free, damping) * at.sums.gradient;
    at.remaining = LengthOf(step, at.sums.matrix, count);
    if (!(at.remaining > kNegligible * start.torus.minor)) break;
    const PipedElbow trial = Moved(at.elbow, step);
    const ElbowSums sums = IsValid(trial) ? SumsOf(trial, points, weights, budget) : ElbowSums{};
    if (budget.IsOver()) return std::nullopt;
    if (IsValid(trial) && sums.squares <= at.sums.squares) {
      at.elbow = trial;
      at.sums = sums;
      damping = damping < kFirstDamping ? 0 : damping / kMoreDamping;
      ++i;
    } else if (at.remaining > kRounding * start.torus.minor && damping < kMostDamping) {
      damping = std::max(kFirstDamping, damping * kMoreDamping);
    } else {
      break;
    }
  }
  at.elbow = WithReach(at.elbow, start);
  return IsValid(at.elbow) ? std::optional(at) : std::nullopt;
}

}  // namespace primfit::adaptive
