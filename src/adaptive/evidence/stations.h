// On which side of a surface the scanner stood.
//
// Points do not say which way a surface faces, but where they were taken from does: a ray that ends at a
// point has not passed the surface before, so that its station lies on the side that was seen. With several
// stations each point is taken for one of the nearest, which sees it best.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_STATIONS_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_STATIONS_H_

#include <Eigen/Core>
#include <span>

#include "primitives/model.h"

namespace primfit::adaptive {

/// @throws FitError for stations that are not finite
void RequireFinite(std::span<const Eigen::Vector3d> stations);

/// The share of points whose station lies outside of a surface (of a plane: on the side of its normal) as
/// seen from there, less the share of those whose station lies inside. 0 for curves and without stations.
/// @param points    on the surface
/// @param stations  in the coordinates of the points
double OutsideBalance(const Model& surface, std::span<const Eigen::Vector3d> points,
                      std::span<const Eigen::Vector3d> stations);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_STATIONS_H_
