// Whole point sets against one shape: the hot loops of a fit, in vectors of the processor. Each decides and
// measures exactly as the shape's per-point functions do. A shape of a class that is not one of this
// library's goes through its virtual functions.
#ifndef PRIMFIT_SRC_SHAPES_KERNELS_BATCH_H_
#define PRIMFIT_SRC_SHAPES_KERNELS_BATCH_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "primfit/shapes/output_shape.h"

namespace primfit {

/// The number of points within the shape's close band.
/// @param toBeat  a count that cannot exceed this is given up: what is returned then is at most toBeat. Most
///     candidates of a search cannot beat the best one, and most of their points need not be looked at.
int CountClose(OutputShape& shape, const Eigen::Vector3d* points, int n, int toBeat = -1);

/// Copies the points within the shape's close band, in input order, to `out`, which has room for n + 1.
/// @return how many they are
int SelectClose(OutputShape& shape, const Eigen::Vector3d* points, int n, Eigen::Vector3d* out);

/// Where points lie along an axis; low > high for none.
struct AxialRange {
  double low = std::numeric_limits<double>::max();
  double high = std::numeric_limits<double>::lowest();
};

/// The range of (p - root) . axis over the points whose quantity lies in [low, high]. The quantity is what
/// the shape's close band bounds, such as the squared distance from a cylinder's axis. For the classes of
/// this library only.
AxialRange RangeOf(const OutputShape& shape, double low, double high, const Eigen::Vector3d& root,
                   const Eigen::Vector3d& axis, const Eigen::Vector3d* points, int n);

/// Sets bit i of the words, 64 to a word, where values[i] <= bound, and clears the others. A NaN is above any
/// bound.
void BitsUpTo(double bound, const double* values, std::size_t n, std::uint64_t* words);

/// distances[i] = shape.Distance(points[i]).
void Distances(const OutputShape& shape, const Eigen::Vector3d* points, int n, double* distances);

}  // namespace primfit

#endif  // PRIMFIT_SRC_SHAPES_KERNELS_BATCH_H_
