// Points of a sample in the order in which they promise to lie on the shape, the most promising first.
//
// Clutter fills space while a shape does not, so the points whose neighbours lie most nearly in a plane (for
// curves: along a line) are nearly free of clutter. It is the idea of PROSAC (Chum and Matas 2005) with
// surface variation as the quality of a point. Where the shape has to pass a place, the points nearest to
// that place promise most instead. Samples are drawn in turn from nested tiers of this order: all of it, its
// first half, its first quarter and so on.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_RANKED_POINTS_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_RANKED_POINTS_H_

#include <Eigen/Core>
#include <cstddef>
#include <vector>

#include "adaptive/scene/local_geometry.h"
#include "adaptive/scene/sample.h"

namespace primfit::adaptive {

struct RankedPoints {
  int tiers = 0;
  std::vector<Eigen::Vector3d> points;  ///< best first
  std::vector<LocalGeometry> local;     ///< at the first of them, in the same order

  bool IsEmpty() const { return points.empty(); }
};

/// @param curve  whether the shape is a curve
RankedPoints RankByVariation(const Sample& sample, bool curve);
RankedPoints RankByDistance(const Sample& sample, const Eigen::Vector3d& from, bool curve);

/// How many of `count` ranked points are in a tier, which is halved from one to the next.
/// @param minimalSample  tiers hold at least four times as many, where there are so many
std::size_t TierSize(std::size_t count, int tier, std::size_t minimalSample);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_RANKED_POINTS_H_
