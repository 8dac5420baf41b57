// From a good shape to the final one: select, refine, and again until nothing changes.
#ifndef PRIMFIT_SRC_ADAPTIVE_CONVERGE_CONVERGE_H_
#define PRIMFIT_SRC_ADAPTIVE_CONVERGE_CONVERGE_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "adaptive/model/model.h"
#include "adaptive/scene/resolution.h"

namespace primfit::adaptive {

struct ConvergeTask {
  std::span<const Eigen::Vector3d> points;
  std::span<const double> roots;  ///< square roots of the points' weights; none where these are all 1
  std::span<const double> votes;  ///< what each counts in the estimate of the noise; none where all are alike
  unsigned held = 0;
  std::optional<double> noise, tolerance;
  double start = 0;      ///< bound of the inliers that the model comes with
  int fadingRounds = 2;  ///< with a wider band at whose edge weights fade; 0 to 2
  /// Moves a model into the plausible ranges. @return the parts to be held there
  std::function<unsigned(Model&)> clamp;
  double size = 0;  ///< of the cloud, to tell a small step from a large one; 0: the shape's own
  const Resolution* resolution = nullptr;  ///< of the coordinates; none: exact ones
  Budget* budget = nullptr;                ///< none: without end
};

struct Converged {
  Model model;
  std::vector<std::uint32_t> inliers;
  double noise = 0, tolerance = 0;
  RoundingEffect rounding;
  std::size_t beside = 0;                  ///< points beyond the tolerance, but not beyond twice of it
  unsigned atEnd = 0;                      ///< parts that are held at an end of their plausible range
  NormalEquations sums{};                  ///< at the inliers' feet on the shape, of the parts that are free
  std::optional<NormalEquations> squared;  ///< where there are weights: with their squares in their place
  /// Whether another selection of inliers would change nothing, and the next step of their optimisation less
  /// than 1e-9 of the cloud's size. Else the inliers are those of the shape, but it need not be their
  /// optimum.
  bool converged = false;
};

/// Standard deviation of the distances near zero, which are of noise across the shape among points that lie
/// anywhere: expectation-maximisation (Dempster, Laird and Rubin 1977) for a half-normal and a uniform part,
/// about a curve a Rayleigh and a linear one. Of surfaces' noise with more tails than normal noise has it is
/// the standard deviation with them.
/// @param start  a first guess
/// @param votes  as in ConvergeTask
double EstimateNoise(bool curve, std::span<const double> distances, double start,
                     std::span<const double> votes = {});

/// Bound of the inliers of normal noise: it leaves out 0.27 % of them.
double BoundOf(bool curve, double noise);

/// By how much leaving those out makes the variance of the result larger than that of the inliers says.
double InflationOf(bool curve);

/// The orthogonal least-squares shape of its own inliers. Where the selections go round in a circle it ends
/// at one that came before, where the budget ends at what was complete by then.
/// @return none where no points are near, or they determine no shape
std::optional<Converged> Converge(const Model& start, const ConvergeTask& task);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_CONVERGE_CONVERGE_H_
