// Shapes from which a least-squares fit of all points is started.
//
// Without outliers nothing has to be searched for, but the sum of squares has more than one minimum: a
// quarter of a pipe is nearly one about several axes. So a fit is started from many shapes that are cheap to
// get: the direct estimators on all points and on random samples and, for a shape with an axis, linear fits
// about directions from all over the sphere. These need no more points than the shape itself.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_DIRECT_STARTS_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_DIRECT_STARTS_H_

#include <Eigen/Core>
#include <span>
#include <vector>

#include "adaptive/model/model.h"
#include "adaptive/scene/dice.h"

namespace primfit::adaptive {

/// @param points  about the origin, of about unit size
std::vector<Model> DirectStarts(ShapeKind kind, std::span<const Eigen::Vector3d> points, Dice& dice);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_DIRECT_STARTS_H_
