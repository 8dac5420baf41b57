// Distances of points from a fitted shape, by the library's own shapes.
#ifndef PRIMFIT_CLI_DEVIATIONS_H_
#define PRIMFIT_CLI_DEVIATIONS_H_

#include <Eigen/Core>
#include <cstdint>
#include <span>
#include <vector>

#include "primitives/model.h"
#include "report/result.h"

namespace primfit::cli {

/// Signed distances of points from the unbounded shape: negative inside, or behind a plane's normal; of lines
/// and arcs, which have no sides, never negative.
/// @param model   in metres
/// @param metres  in the unit of the points, which is that of the distances as well
std::vector<double> SignedDistances(const Model& model, std::span<const Eigen::Vector3d> points,
                                    double metres);

/// Positions of the points within a distance of the shape, by the library's own test, ascending.
std::vector<std::uint32_t> PointsWithin(const Model& model, double distance,
                                        std::span<const Eigen::Vector3d> points);

/// The range of the signed distances of some points. @param chosen  their positions, at least one
report::FormError FormErrorOf(const Model& model, std::span<const Eigen::Vector3d> points,
                              std::span<const std::uint32_t> chosen);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_DEVIATIONS_H_
