#ifndef PRIMFIT_SRC_ESTIMATORS_LINE_CIRCLE_FIT_H_
#define PRIMFIT_SRC_ESTIMATORS_LINE_CIRCLE_FIT_H_

#include <Eigen/Core>

#include "primfit/shapes/output_shape.h"

/// Total least-squares line through the mean along the direction of greatest spread; its normal is the
/// direction of least spread.
/// @return a new OutputLine, or null for fewer than 2 points or a null array
OutputShape* EstimateLine(int count, const Eigen::Vector3d* points);

/// Circle in the total least-squares plane of the points, by the algebraic fit there.
/// @return a new OutputCircle, or null for fewer than 3 points, a null array, or points that determine none
///     (collinear ones among them)
OutputShape* EstimateCircle(int count, const Eigen::Vector3d* points);

#endif  // PRIMFIT_SRC_ESTIMATORS_LINE_CIRCLE_FIT_H_
