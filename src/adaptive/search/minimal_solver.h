// What makes a candidate shape of a minimal sample, for each kind of shape.
//
// A minimal sample is as many points as determine a shape of the kind. How often a sample without an outlier
// leads to the true shape in spite of noise differs much between the kinds, and decides how many samples are
// enough (see confidence.h).
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_MINIMAL_SOLVER_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_MINIMAL_SOLVER_H_

#include <cstddef>

#include "adaptive/model/model.h"
#include "adaptive/search/oriented.h"
#include "ransac/search_of.h"

namespace primfit::adaptive {

inline constexpr std::size_t kLargestSample = 13;

struct MinimalSolver {
  std::size_t sampleSize;  ///< points that determine a candidate, at most kLargestSample
  Estimator estimate;
  /// How often a sample without outliers leads to the shape, at noise of a two-hundredth of the size: from a
  /// sixth of a turn; whole shapes are found more often.
  double efficiency;
  std::size_t orientedSampleSize;  ///< points with their directions that do, at most kMostOriented
  Candidates (*throughOriented)(OrientedPoints);
  double orientedEfficiency;  ///< the same for these
};
MinimalSolver MinimalSolverOf(ShapeKind kind);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_MINIMAL_SOLVER_H_
