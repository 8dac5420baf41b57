// Whole point sets against one shape: the hot loops of a fit. Each decides and measures exactly as the
// shape's per-point functions do; a shape of a class that is not one of ours goes through its virtual
// functions.
#ifndef PRIMFIT_SRC_SHAPES_KERNELS_BATCH_H_
#define PRIMFIT_SRC_SHAPES_KERNELS_BATCH_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "primfit/shapes/output_shape.h"

namespace primfit {

/// Number of points within the shape's close band. A count that cannot exceed `toBeat` is given up early:
/// what is returned then is at most toBeat.
int CountClose(OutputShape& shape, const Eigen::Vector3d* points, int n, int toBeat = -1);

/// Copies the points within the shape's close band, in input order, to `out`, which has room for n + 1.
/// @return how many they are
int SelectClose(OutputShape& shape, const Eigen::Vector3d* points, int n, Eigen::Vector3d* out);

/// Where points lie along an axis; low > high for none.
struct AxialRange {
  double low = std::numeric_limits<double>::max();
  double high = std::numeric_limits<double>::lowest();
};

/// The range of (p - root) . axis over the points whose quantity, that which the shape's close band is about,
/// lies in [low, high]. For the classes of this library only.
AxialRange RangeOf(const OutputShape& shape, double low, double high, const Eigen::Vector3d& root,
                   const Eigen::Vector3d& axis, const Eigen::Vector3d* points, int n);

/// Sets bit i of the words, 64 to a word, where values[i] <= bound, and no other.
void BitsUpTo(double bound, const double* values, std::size_t n, std::uint64_t* words);

/// distances[i] = shape.Distance(points[i]).
void Distances(const OutputShape& shape, const Eigen::Vector3d* points, int n, double* distances);

}  // namespace primfit

#endif  // PRIMFIT_SRC_SHAPES_KERNELS_BATCH_H_
