#ifndef PRIMFIT_SRC_OUTLINE_OUTLINE_H_
#define PRIMFIT_SRC_OUTLINE_OUTLINE_H_

#include <memory>

// The boundary loop of a planar patch.
namespace primfit {

/// A closed loop of vertices u0, v0, u1, v1, ...; the array comes from new[].
struct Loop {
  int count = 0;
  std::unique_ptr<double[]> vertices;
};

/// The convex hull of points in the plane, thinned and ordered as SortLoopVertices has it.
/// @param coordinates  u0, v0, u1, v1, ...
/// @throws FitError "QuickConvexHull failed"
Loop OutlineOf(const double* coordinates, int count);

}  // namespace primfit

#endif  // PRIMFIT_SRC_OUTLINE_OUTLINE_H_
