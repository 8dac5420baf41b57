// The stopping rule of the search: how sure it is that it has not missed a better shape.
//
// A draw is good when all its points are inliers, which happens with the share of inliers to the power of the
// sample's size, and then leads to the shape with the measured chance of the solver. After n draws a shape
// with that share of inliers was missed with the chance (1 - p)^n. The search counts -ln(1 - p) a draw, in
// nats, and ends when the sum reaches -ln(1 - confidence). The share is that of the best shape so far, as
// usual in RANSAC, where samples come from now.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_CONFIDENCE_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_CONFIDENCE_H_

#include <cstddef>

#include "adaptive/search/hypothesis.h"
#include "adaptive/search/minimal_solver.h"
#include "adaptive/search/ranked_points.h"

namespace primfit::adaptive {

/// What one draw of `sample` points adds to the confidence, in nats.
/// @param inlierShare  of the points that are drawn from
/// @param efficiency   how often a sample of inliers leads to the shape
double NatsOfDraw(double inlierShare, std::size_t sample, double efficiency);

/// The same, on the mean, for draws from ranked points, whose tiers have inlier shares of their own.
/// @param leader       tells which points are inliers
/// @param inlierShare  of all points, for which the draws are to be enough. Each tier has a share of its own:
///     the leader's there, scaled by this share over the leader's among all points
double NatsOfRankedDraw(const Hypothesis& leader, double inlierShare, const MinimalSolver& solver,
                        const RankedPoints& ranked);

/// The share of the way to the confidence that is done after some draws; 1 and more is enough.
double ShareOfConfidence(int draws, double natsOfDraw, double confidence);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_CONFIDENCE_H_
