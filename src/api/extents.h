// How far the points of a fit reach over its unbounded shape.
#ifndef PRIMFIT_SRC_API_EXTENTS_H_
#define PRIMFIT_SRC_API_EXTENTS_H_

#include <Eigen/Core>
#include <span>

#include "api/fit_pipeline.h"
#include "primfit/shapes/output_cone.h"
#include "primfit/shapes/output_cylinder.h"
#include "primfit/shapes/output_line.h"
#include "shapes/kernels/batch.h"

namespace primfit {

/// The range of the points used whose distance from the shape is at most max(1e-6, 3 x the fit's root mean
/// square distance); a stray point far off the shape does not stretch it. Where the band of a thin cylinder
/// leaves out every point, the range of the close points.
AxialRange RangeAlong(const Fitted<OutputLine>& fitted);
AxialRange RangeAlong(const Fitted<OutputCylinder>& fitted);
AxialRange RangeAlong(const Fitted<OutputCone>& fitted);

/// The angle that points cover about an axis: the whole turn less the largest gap between neighbours.
/// @param close   the points
/// @param xAxis receives the unit direction from the centre towards the first point, counter-clockwise seen
///     from the tip of the axis
/// @return swept angle in radians, 0 for a single point
double ElbowAngularExtent(const Eigen::Vector3d& center, const Eigen::Vector3d& axis,
                          std::span<const Eigen::Vector3d> close, Eigen::Vector3d& xAxis);

}  // namespace primfit

#endif  // PRIMFIT_SRC_API_EXTENTS_H_
