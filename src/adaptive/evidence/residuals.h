// What the distances of a shape's inliers say beside their size: noise piles up at zero and is alike
// everywhere on the shape. These are plain statistics; what follows from them is decided in misfit.h.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_RESIDUALS_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_RESIDUALS_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "adaptive/model/model.h"

namespace primfit::adaptive {

/// Points of a shape: their feet on it and their signed distances from it.
struct Residuals {
  std::vector<Eigen::Vector3d> feet;
  std::vector<double> distances;

  std::size_t Count() const { return distances.size(); }
};

/// Of no more than `most` inliers, at equal steps of their order.
Residuals ResidualsOf(const Model& model, std::span<const Eigen::Vector3d> points,
                      std::span<const std::uint32_t> inliers, std::size_t most);

/// What the distances from a shape should be like when they are noise: normal with this standard deviation,
/// cut at the tolerance, and a share of stray points that are spread evenly over the space within it.
struct NoiseModel {
  bool curve = false;
  double noise = 0, tolerance = 0, strayShare = 0;
};

/// By how much too few points lie close to the shape: the one-sided statistic of Kolmogorov and Smirnov of
/// the absolute distances against the model of the noise. Of n points of that model it exceeds d with
/// probability exp(-2 n d^2) (Smirnov 1944).
double ShortfallNearShape(std::span<const double> distances, const NoiseModel& model);

/// The deepest valley between two peaks of a histogram.
struct Valley {
  double depth = 0;         ///< below the lower of the peaks, as a share of it
  double significance = 0;  ///< by how many standard deviations of counted points it is lower
};

/// Of signed distances, in slots of some width. Two surfaces on either side of a shape leave a valley, a
/// surface that is bent or rough does not.
Valley DeepestValley(std::span<const double> distances, double slotWidth);

/// What the means of cells explain of values (one-way analysis of variance, Fisher 1925).
struct CellVariances {
  std::size_t cells = 0;  ///< that hold points
  double explained = 0;   ///< mean square of the cells' means, by number of points
  double rest = 0;        ///< mean square about them

  /// Root of what the means explain over the rest, less what they would of independent values.
  double ExplainedOverRest(std::size_t count) const;
};

/// Of the distances, in a grid of so many cells along each principal axis of the feet. Takes a pass.
CellVariances VariancesOfGrid(const Residuals& residuals, int cellsAlongAxis);

/// How alike values at neighbouring places are: the intraclass correlation (Fisher 1925) of cubic cells with
/// about so many points. 0 for independent values, 1 where neighbours are the same.
double CorrelationInCells(std::span<const Eigen::Vector3d> places, std::span<const double> values,
                          double pointsInCell);

/// The largest side of the box about places.
double SideOfBox(std::span<const Eigen::Vector3d> places);

/// A smooth surface over the shape: polynomials of the feet's coordinates of degree 4 or, where points are
/// few, less.
struct SmoothForm {
  int terms = 0;
  double form = 0;                ///< root mean square of the surface over the shape
  double rest = 0;                ///< that of the distances from the surface
  std::vector<double> distances;  ///< from the surface, one for each point
};

/// The least-squares polynomial. It has no terms where there are too few points.
SmoothForm SmoothFormOf(const Residuals& residuals);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_RESIDUALS_H_
