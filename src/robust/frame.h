// The points of a fit as it works on them.
#ifndef PRIMFIT_SRC_ROBUST_FRAME_H_
#define PRIMFIT_SRC_ROBUST_FRAME_H_

#include <Eigen/Core>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <span>
#include <vector>

#include "fit/fit_memory.h"
#include "primfit/fit.h"
#include "robust/budget.h"
#include "robust/search.h"

namespace primfit::robust {

/// The points of a fit: the finite ones of some weight relative to the first of them.
struct Frame {
  /// @throws FitError when the budget ends before
  Frame(const PointView& given, std::span<const double> weights, Budget& budget);

  std::span<const Eigen::Vector3d> Points() const { return {points.data(), count}; }
  /// Square roots of the weights; none where these are all 1.
  std::span<const double> Roots() const { return {roots.data(), isWeighted ? count : 0}; }
  double WeightOf(std::span<const std::uint32_t> of) const {
    if (!isWeighted) return static_cast<double>(of.size());
    return std::accumulate(of.begin(), of.end(), 0.0,
                           [&](double sum, std::uint32_t i) { return sum + roots[i] * roots[i]; });
  }

  Scratch<Eigen::Vector3d> points;
  Scratch<double> roots;
  bool isWeighted = false;
  double weight = 0;  ///< of all points, and the sum of the squares of the weights
  double squaredWeights = 0;
  std::size_t count = 0;
  Eigen::Vector3d origin = Eigen::Vector3d::Zero();
  bool left = false;                  ///< whether points were left out
  std::vector<std::uint32_t> places;  ///< then where those that are here came from

 private:
  void Take(const PointView& given, std::size_t i, std::span<const double> weights);
};

/// The median of distances from the median place, which it gives as well: the size of a cloud, whatever lies
/// far away.
double SizeOf(std::span<const Eigen::Vector3d> points, Eigen::Vector3d& middle);

/// The step of which the coordinates along two axes or three are multiples, as they were rounded, else 0. The
/// points lie then on shapes that the thing scanned never had.
double StepOf(std::span<const Eigen::Vector3d> points);

/// A random choice of the points, in random order; of points with weights as many as they are worth, without
/// repetition, each the sooner the larger its weight (Efraimidis and Spirakis 2006).
std::vector<Eigen::Vector3d> Shuffled(const Frame& frame, Dice& dice);

}  // namespace primfit::robust

#endif  // PRIMFIT_SRC_ROBUST_FRAME_H_
