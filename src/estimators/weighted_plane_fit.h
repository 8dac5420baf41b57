#ifndef PRIMFIT_SRC_ESTIMATORS_WEIGHTED_PLANE_FIT_H_
#define PRIMFIT_SRC_ESTIMATORS_WEIGHTED_PLANE_FIT_H_

#include <cstddef>

/// Least-squares plane a x + b y + c z + d = 0 through the weighted centroid c = sum w_i p_i / W, with the
/// unit normal (a, b, c) of least scatter S = sum e_i e_i^T / W, e_i = w_i (p_i - c), W = sum w_i. So a
/// weight counts linearly in the centroid and squared in the scatter. Two passes, no allocation; the sign of
/// the normal is arbitrary. Points or weights whose squares would be lost to overflow or underflow are scaled
/// first, in two passes more.
/// @param points        x of the first point; three consecutive doubles a point
/// @param pointStride   bytes from one point to the next
/// @param weights       first weight, or null for unit weights
/// @param weightStride  bytes from one weight to the next
/// @param plane         receives a, b, c, d
/// @return always true; a decomposition that does not converge leaves the best normal so far
bool WeightedPlaneFit(unsigned count, const double* points, std::size_t pointStride, const double* weights,
                      std::size_t weightStride, double plane[4]);

#endif  // PRIMFIT_SRC_ESTIMATORS_WEIGHTED_PLANE_FIT_H_
