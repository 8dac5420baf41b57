#include "adaptive/joints/converge_piped_elbow.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "adaptive/converge/inlier_tolerance.h"
#include "adaptive/converge/isolation_grid.h"
#include "adaptive/converge/noise.h"
#include "adaptive/joints/pipe_support.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// The first band, in radii of the tube, by how much it narrows in a round at the most, and the rounds.
constexpr double kFirstBand = 0.4, kNarrows = 0.6;
constexpr int kSettlingRounds = 20;
/// Pipes grow from the elbow on by so many radii a round: one that is askew would otherwise pass others.
constexpr double kGrowth = 3;
/// The arc of an elbow with a free end may reach so far about its axis; where its points end says more. A
/// full turn would come round to the pipe.
constexpr double kFreeSweep = 1.1 * std::numbers::pi;
/// Rounds of the convergence on all points, and those in which tolerance and lengths are decided anew.
constexpr int kRounds = 30, kDecidingRounds = 3;
/// Points within so many tolerances can still become inliers.
constexpr double kNearby = 4;
/// The bend radius of a bend that may follow a pipe, in radii of the tube, and the share of a pipe that is
/// kept.
constexpr double kBendBehind = 3, kKeptOfPipe = 0.75;
/// At the optimum the next step would move the distances by less, in sizes of the cloud.
constexpr double kOptimal = 1e-9;

/// Unsigned distances of points.
void MeasureDistances(const PipedElbow& elbow, std::span<const Vector3d> points,
                      std::span<double> distances) {
  const ElbowSurface surface(elbow);
  for (std::size_t i = 0; i < points.size(); ++i) distances[i] = std::abs(surface.FootOf(points[i]).distance);
}

void LimitReach(double radii, PipedElbow& elbow) {
  for (TangentPipe& pipe : elbow.pipes) pipe.reach = std::min(radii, kLongestPipe) * elbow.torus.minor;
}

/// The elbow without a pipe: its arc goes on there.
void LetGo(std::size_t pipe, PipedElbow& elbow) {
  elbow.pipes[pipe].exists = false;
  const double more = std::max(kFreeSweep - elbow.sweep, 0.0);
  elbow.sweep += more;
  if (pipe != 0) return;
  elbow.start = std::cos(more) * elbow.start - std::sin(more) * elbow.torus.axis.cross(elbow.start);
}

/// One round: the optimum on the points in a band, at whose edge weights fade (Beaton and Tukey 1974).
std::optional<PipedElbow> RefineInBand(const PipedElbow& elbow, unsigned held, double band,
                                       std::span<const Vector3d> points, std::span<const double> distances,
                                       Budget& budget) {
  constexpr int kSteps = 3;
  std::vector<Vector3d> near;
  std::vector<double> weights;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (!(distances[i] < band)) continue;
    const double share = distances[i] / band;
    near.push_back(points[i]);
    weights.push_back((1 - share * share) * (1 - share * share));
  }
  const auto refined = Refine(elbow, held, near, weights, kSteps, budget);
  return refined ? std::optional(refined->elbow) : std::nullopt;
}

/// Narrows the band to the bound of the noise, while the pipes grow from a length in radii on.
std::optional<SettledElbow> Narrow(PipedElbow elbow, unsigned held, double band, double least, double length,
                                   std::span<const Vector3d> points, Budget& budget) {
  std::vector<double> distances(points.size());
  for (int round = 0; round < kSettlingRounds; ++round) {
    LimitReach(length + kGrowth * (round + 1), elbow);
    MeasureDistances(elbow, points, distances);
    const auto refined = RefineInBand(elbow, held, band, points, distances, budget);
    if (!refined) return std::nullopt;
    elbow = *refined;
    MeasureDistances(elbow, points, distances);
    const double bound = InlierBound(false, EstimateNoise(false, distances, band / InlierBound(false, 1)));
    const double next = std::clamp(bound, std::max(kNarrows * band, least), std::max(band, least));
    const bool isSteady = next > 0.95 * band && round >= 4;
    band = next;
    if (isSteady) break;
  }
  return SettledElbow{elbow, band};
}

}  // namespace

std::optional<SettledElbow> Settle(PipedElbow start, unsigned held, double least,
                                   std::span<const Vector3d> points, Budget& budget) {
  double band = kFirstBand * start.torus.minor;
  for (;;) {
    auto settled = Narrow(start, held, band, least, 0, points, budget);
    // Once more with the whole pipes: in a wide band an arc that is too long costs hardly anything.
    if (settled)
      settled = Narrow(settled->elbow, held, 2 * settled->tolerance, least, kLongestPipe, points, budget);
    if (!settled) return std::nullopt;
    LimitReach(kLongestPipe, settled->elbow);
    const auto lengths = SupportedLengths(settled->elbow, points, settled->tolerance);
    bool isComplete = true;
    for (std::size_t k = 0; k < lengths.size(); ++k) {
      TangentPipe& pipe = settled->elbow.pipes[k];
      pipe.reach = lengths[k];
      if (!pipe.exists || lengths[k] >= kLeastPipe * settled->elbow.torus.minor) continue;
      LetGo(k, settled->elbow);
      isComplete = false;
    }
    if (settled->elbow.PipeCount() == 0) return std::nullopt;
    if (isComplete) return settled;
    start = settled->elbow;
    band = std::max(band / 2, settled->tolerance);
  }
}

namespace {

/// The points near an elbow, from which its inliers come.
struct Nearby {
  std::vector<std::uint32_t> indices;
  std::vector<Vector3d> points;
  std::vector<double> weights, noiseWeights;
};

Nearby NearbyOf(const SettledElbow& start, const ConvergeTask& task, Budget& budget) {
  PipedElbow elbow = start.elbow;
  for (TangentPipe& pipe : elbow.pipes) pipe.reach *= 1.2;
  const ElbowSurface surface(elbow);
  Nearby nearby;
  budget.InBlocks(task.points.size(), [&](std::size_t begin, std::size_t count) {
    for (std::size_t i = begin; i < begin + count; ++i) {
      if (!(std::abs(surface.FootOf(task.points[i]).distance) <= kNearby * start.tolerance)) continue;
      nearby.indices.push_back(static_cast<std::uint32_t>(i));
      nearby.points.push_back(task.points[i]);
      if (!task.sqrtWeights.empty()) nearby.weights.push_back(task.sqrtWeights[i] * task.sqrtWeights[i]);
      if (!task.noiseWeights.empty()) nearby.noiseWeights.push_back(task.noiseWeights[i]);
    }
  });
  return nearby;
}

/// A convergence that is under way.
struct RunningElbow {
  PipedElbow elbow;
  InlierTolerance decided;
  ElbowSums sums;
  bool converged = false;
};

/// The inliers of a round. Which stand alone is asked for each part by itself, since pipes and bend may be
/// seen from different distances.
struct ElbowInliers {
  std::array<IsolationGrid, 3> isolation;
  std::vector<std::uint32_t> chosen, isolated;  // positions among the points nearby
  std::vector<Vector3d> points;
  std::vector<double> weights;
};

/// The points within the tolerance, each with the part that it belongs to, and how far all are from the elbow
/// and its pipes.
struct PointsWithin {
  std::vector<std::uint32_t> positions;
  std::vector<ElbowPart> parts;
  std::vector<double> distances;
};

PointsWithin Within(const PipedElbow& elbow, const Nearby& nearby, double tolerance) {
  const ElbowSurface surface(elbow);
  PointsWithin within;
  for (std::size_t i = 0; i < nearby.points.size(); ++i) {
    const ElbowFoot foot = surface.FootOf(nearby.points[i]);
    within.distances.push_back(std::abs(foot.distance));
    if (!(within.distances.back() <= tolerance)) continue;
    within.positions.push_back(static_cast<std::uint32_t>(i));
    within.parts.push_back(foot.part);
  }
  return within;
}

void BuildIsolation(const PointsWithin& within, const Nearby& nearby, double tolerance,
                    ElbowInliers& inliers) {
  for (std::size_t part = 0; part < inliers.isolation.size(); ++part) {
    std::vector<Vector3d> points;
    for (std::size_t k = 0; k < within.positions.size(); ++k) {
      if (static_cast<std::size_t>(within.parts[k]) == part)
        points.push_back(nearby.points[within.positions[k]]);
    }
    inliers.isolation[part].Clear();
    inliers.isolation[part].Build(points, {nearby.points, within.distances, tolerance, false});
  }
}

/// Selects the points within the tolerance that do not stand alone.
/// @param anew  whether to look again which do
void Select(const PipedElbow& elbow, const Nearby& nearby, double tolerance, bool anew,
            ElbowInliers& inliers) {
  const PointsWithin within = Within(elbow, nearby, tolerance);
  if (anew) BuildIsolation(within, nearby, tolerance, inliers);
  inliers.chosen.clear();
  inliers.isolated.clear();
  inliers.points.clear();
  inliers.weights.clear();
  for (std::size_t k = 0; k < within.positions.size(); ++k) {
    const std::uint32_t i = within.positions[k];
    const Vector3d& p = nearby.points[i];
    if (inliers.isolation[static_cast<std::size_t>(within.parts[k])].IsIsolated(p)) {
      inliers.isolated.push_back(i);
      continue;
    }
    inliers.chosen.push_back(i);
    inliers.points.push_back(p);
    if (!nearby.weights.empty()) inliers.weights.push_back(nearby.weights[i]);
  }
}

/// Decides how far the pipes reach, from their points. Where a pipe goes over into the next bend, the points
/// on the first sqrt(2 tolerance R) of that are within the tolerance too, so this length is given back.
void DecideReach(const Nearby& nearby, double tolerance, PipedElbow& elbow) {
  const std::array<TangentPipe, 2> before = elbow.pipes;
  LimitReach(kLongestPipe, elbow);
  const auto lengths = SupportedLengths(elbow, nearby.points, tolerance);
  const double given = std::sqrt(2 * tolerance * kBendBehind * elbow.torus.minor);
  for (std::size_t k = 0; k < lengths.size(); ++k) {
    const double length = std::max(lengths[k] - given, kKeptOfPipe * lengths[k]);
    elbow.pipes[k].reach = lengths[k] > 0 ? length : before[k].reach;
  }
}

/// Selection and refinement until the inliers stay the same and their optimum is exact.
bool RunRounds(const Nearby& nearby, const ConvergeTask& task, RunningElbow& running, ElbowInliers& inliers,
               std::vector<double>& distances, Budget& budget) {
  constexpr int kSteps = 6;
  const double size = task.size > 0 ? task.size : running.elbow.torus.major;
  std::vector<std::uint32_t> before;
  for (int round = 0; round < kRounds; ++round) {
    const bool decides = round < kDecidingRounds;
    if (round > 0 && decides) DecideReach(nearby, running.decided.tolerance, running.elbow);
    MeasureDistances(running.elbow, nearby.points, distances);
    const double noise = running.decided.noise;
    if (decides) running.decided = DecideTolerance(running.elbow.torus, distances, noise, task);
    Select(running.elbow, nearby, running.decided.tolerance, decides, inliers);
    const auto refined = Refine(running.elbow, task.held, inliers.points, inliers.weights, kSteps, budget);
    if (!refined) return false;
    running.elbow = refined->elbow;
    running.sums = refined->sums;
    const bool isSame = !decides && inliers.chosen == before;
    before = inliers.chosen;
    if (isSame && refined->remaining <= kOptimal * size) {
      running.converged = true;
      break;
    }
  }
  return true;
}

/// What all points tell of the torus alone. The sums A of all parameters have blocks t of the torus and e of
/// the arc's ends. With the best ends for each torus they become P A P^T, where P = (1, -A_te A_ee^-1).
class TorusSums {
 public:
  TorusSums(const PipedElbow& elbow, unsigned held, const ElbowMatrix& matrix) {
    const FreeElbowParameters free = FreeParametersOf(elbow, held);
    std::vector<int> torus, ends;
    for (int i = 0; i < kElbowParameters; ++i) {
      if (free[static_cast<std::size_t>(i)]) (i < kArcBegins ? torus : ends).push_back(i);
    }
    const Eigen::MatrixXd mixed = matrix(torus, ends), ofEnds = matrix(ends, ends);
    const Eigen::MatrixXd best = -ofEnds.ldlt().solve(mixed.transpose()).transpose();
    projection_.setZero(static_cast<Eigen::Index>(torus.size()), kElbowParameters);
    for (std::size_t i = 0; i < torus.size(); ++i) projection_(static_cast<Eigen::Index>(i), torus[i]) = 1;
    for (std::size_t i = 0; i < ends.size(); ++i)
      projection_.col(ends[i]) = best.col(static_cast<Eigen::Index>(i));
  }

  NormalEquations Of(const ElbowMatrix& matrix, double points, double lengthScale) const {
    const Eigen::MatrixXd sums = projection_ * matrix * projection_.transpose() / points;
    NormalEquations equations{};
    for (Eigen::Index i = 0; i < sums.rows(); ++i) {
      for (Eigen::Index j = 0; j < sums.cols(); ++j) equations.matrix[i][j] = sums(i, j);
      equations.sensitivity[i] = std::sqrt(sums(i, i));
    }
    equations.lengthScale = lengthScale;
    return equations;
  }

 private:
  Eigen::MatrixXd projection_;
};

/// Sorts the inliers into those of the arc, which are the elbow's, and those of the pipes.
void SortInliers(const Nearby& nearby, std::span<const double> distances, const RunningElbow& running,
                 const ElbowInliers& inliers, ConvergedElbow& result) {
  const ElbowSurface surface(running.elbow);
  const auto isOfArc = [&](std::size_t i) {
    return surface.FootOf(nearby.points[i]).part == ElbowPart::kArc;
  };
  for (const std::uint32_t i : inliers.chosen)
    (isOfArc(i) ? result.arc.inliers : result.ofPipes).push_back(nearby.indices[i]);
  for (const std::uint32_t i : inliers.isolated) {
    if (isOfArc(i)) result.arc.isolated.push_back(nearby.indices[i]);
  }
  const double tolerance = running.decided.tolerance;
  for (std::size_t i = 0; i < nearby.points.size(); ++i) {
    if (distances[i] > tolerance && distances[i] <= 2 * tolerance && isOfArc(i)) ++result.arc.justBeyond;
  }
}

/// Where the tolerance was told, or follows from the steps of the coordinates, the noise is measured on the
/// inliers.
void StateNoise(const Nearby& nearby, std::span<const double> distances, const ConvergeTask& task,
                const RunningElbow& running, const ElbowInliers& inliers, Converged& arc) {
  const bool isTold = task.noise || task.tolerance;
  const double measured =
      NoiseOfInliers(inliers.chosen, distances, nearby.noiseWeights, false, kElbowParameters);
  arc.tolerance = running.decided.tolerance;
  arc.rounding =
      RoundingWithin(arc.tolerance, isTold ? measured : running.decided.measured, arc.model, distances, task);
  arc.noise =
      isTold || running.decided.isOfSteps ? std::max(measured, arc.rounding.noise) : running.decided.noise;
}

/// How exactly all is known, once noise and inliers are.
void StateCovariance(const RunningElbow& running, const ElbowInliers& inliers, unsigned held, Budget& budget,
                     ConvergedElbow& result) {
  Converged& arc = result.arc;
  const Model& torus = running.elbow.torus;
  const ElbowMatrix& matrix = running.sums.matrix;
  const TorusSums ofTorus(running.elbow, held, matrix);
  const auto points = static_cast<double>(arc.inliers.size());
  const double size = torus.major + torus.minor;
  arc.feet.sums = ofTorus.Of(matrix, points, size);
  const ElbowMatrix inverse = InverseOf(matrix, FreeParametersOf(running.elbow, held));
  result.covariance = inverse;
  if (!inliers.weights.empty()) {
    std::vector<double> squared(inliers.weights);
    for (double& w : squared) w *= w;
    const ElbowMatrix squares = SumsOf(running.elbow, inliers.points, squared, budget).matrix;
    arc.feet.squared = ofTorus.Of(squares, points, size);
    result.covariance = inverse * squares * inverse;
  }
  result.covariance *= arc.noise * arc.noise * VarianceInflation(false) + arc.rounding.common;
}

}  // namespace

std::optional<ConvergedElbow> Converge(const SettledElbow& start, const ConvergeTask& task, Budget& budget) {
  const Nearby nearby = NearbyOf(start, task, budget);
  if (budget.IsOver() || nearby.points.empty()) return std::nullopt;
  ConvergeTask ofNearby = task;
  ofNearby.points = nearby.points;
  ofNearby.noiseWeights = nearby.noiseWeights;
  RunningElbow running{start.elbow, {}, {}, false};
  running.decided.noise = start.tolerance / InlierBound(false, 1);
  running.decided.tolerance = start.tolerance;
  ElbowInliers inliers;
  std::vector<double> distances(nearby.points.size());
  if (!RunRounds(nearby, ofNearby, running, inliers, distances, budget)) return std::nullopt;
  ConvergedElbow result;
  result.elbow = running.elbow;
  result.arc.model = running.elbow.torus;
  result.arc.converged = running.converged;
  MeasureDistances(running.elbow, nearby.points, distances);
  SortInliers(nearby, distances, running, inliers, result);
  if (result.arc.inliers.empty()) return std::nullopt;
  StateNoise(nearby, distances, ofNearby, running, inliers, result.arc);
  StateCovariance(running, inliers, task.held, budget, result);
  return result;
}

}  // namespace primfit::adaptive
