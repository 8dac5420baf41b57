#include "outline/outline.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "fit/messages.h"
#include "outline/convex_hull.h"
#include "outline/loop.h"
#include "primfit/fit/fit_error.h"

namespace primfit {

Loop OutlineOf(const double* coordinates, int points) {
  int count = 0;
  int* indices = nullptr;
  if (QuickConvexHull2d(points, coordinates, &count, &indices) != 0) throw FitError(messages::kHullFailed);
  const std::unique_ptr<int, void (*)(int*)> owned(indices, QHullFree);
  auto hull = std::make_unique<double[]>(2 * static_cast<std::size_t>(count));
  double* next = hull.get();
  for (int k = 0; k < count; ++k) next = std::copy_n(coordinates + std::ptrdiff_t{2} * indices[k], 2, next);
  double* vertices = hull.release();  // SortLoopVertices replaces the array, or leaves it when it throws
  try {
    SortLoopVertices(count, vertices);
  } catch (...) {
    delete[] vertices;
    throw;
  }
  hull.reset(vertices);
  return {count, std::move(hull)};
}

}  // namespace primfit
