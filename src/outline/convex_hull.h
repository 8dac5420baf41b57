#ifndef PRIMFIT_SRC_OUTLINE_CONVEX_HULL_H_
#define PRIMFIT_SRC_OUTLINE_CONVEX_HULL_H_

namespace primfit {

/// What QuickConvexHull2d answers.
enum HullStatus : int {
  kHullOk = 0,
  kHullNegativeCount = 1,  ///< m < 0
  kHullNullPointer = 2,    ///< no points although m > 0, or null where the result is to go
  kHullBadCoordinate = 3,  ///< a coordinate is not finite or beyond 1e150
};

}  // namespace primfit

/// Convex hull of points in the plane: the indices of its corners, no two with equal coordinates and none in
/// the middle of a straight edge, counter-clockwise from the leftmost (of several, the lowest).
///
/// All decisions are exact for the coordinates as given, so that neither many collinear points nor an offset
/// that eats up most digits gives a hull that is not convex or misses a point. Coordinates smaller than
/// 1e-130 count as 0. Of points with equal coordinates the first in the array is taken. Fewer than three
/// indices come back where the points span no area: two for points on one line, one where all coincide, none
/// (and a null array) for m = 0.
///
/// @param m            number of points
/// @param points       x0, y0, x1, y1, ...; may be null when m is 0
/// @param hullCount    receives the number of indices; 0 on failure
/// @param hullIndices  receives the indices, to be released with QHullFree; null on failure
/// @return a primfit::HullStatus; 0 on success
/// @throws std::bad_alloc; nothing is handed over then
/// @note O(m log m). Method: A. M. Andrew, Another efficient algorithm for convex hulls in two dimensions,
/// 1979.
int QuickConvexHull2d(int m, const double* points, int* hullCount, int** hullIndices);

/// Releases what QuickConvexHull2d handed over; null is allowed.
void QHullFree(int* hullIndices);

#endif  // PRIMFIT_SRC_OUTLINE_CONVEX_HULL_H_
