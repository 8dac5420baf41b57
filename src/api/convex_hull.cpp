#include "api/convex_hull.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <tuple>
#include <vector>

namespace {

struct Point {
  double x, y;
  int index;
};

// Between these sizes no product of two coordinates overflows, and the rounding error of none underflows.
constexpr double kLargest = 1e150;
constexpr double kSmallest = 1e-130;

/// A sum of doubles kept without rounding, as components that do not overlap, in increasing size (J. R.
/// Shewchuk, Adaptive precision floating-point arithmetic and fast robust geometric predicates, 1997, section
/// 2).
class ExactSum {
 public:
  /// Adds a * b: the rounded product and its rounding error.
  void AddProduct(double a, double b) {
    const double product = a * b;
    Add(std::fma(a, b, -product));
    Add(product);
  }
  int Sign() const {
    const double largest = count_ == 0 ? 0 : components_[count_ - 1];
    return (largest > 0) - (largest < 0);
  }

 private:
  /// Grow-expansion with zero elimination. Each step is Knuth's two-sum: sum + error equals the operands
  /// exactly.
  void Add(double term) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < count_; ++i) {
      const double component = components_[i];
      const double sum = term + component;
      const double shared = sum - term;
      const double error = (term - (sum - shared)) + (component - shared);
      if (error != 0) components_[kept++] = error;
      term = sum;
    }
    if (term != 0) components_[kept++] = term;
    count_ = kept;
  }

  std::array<double, 12> components_{};  // six products of two terms each
  std::size_t count_ = 0;
};

int ExactTurn(const Point& a, const Point& b, const Point& c) {
  ExactSum area;
  area.AddProduct(a.x, b.y);
  area.AddProduct(-a.y, b.x);
  area.AddProduct(b.x, c.y);
  area.AddProduct(-b.y, c.x);
  area.AddProduct(c.x, a.y);
  area.AddProduct(-c.y, a.x);
  return area.Sign();
}

/// 1 where a, b, c turn left, -1 where they turn right, 0 where they are collinear; exact.
int Turn(const Point& a, const Point& b, const Point& c) {
  const double left = (a.x - c.x) * (b.y - c.y);
  const double right = (a.y - c.y) * (b.x - c.x);
  const double area = left - right;
  // Bound A of the paper above; its epsilon is half the one of numeric_limits.
  constexpr double kEpsilon = std::numeric_limits<double>::epsilon() / 2;
  constexpr double kErrorBound = (3 + 16 * kEpsilon) * kEpsilon;
  if (std::abs(area) > kErrorBound * (std::abs(left) + std::abs(right))) return area > 0 ? 1 : -1;
  return ExactTurn(a, b, c);
}

double Flushed(double coordinate) { return std::abs(coordinate) < kSmallest ? 0 : coordinate; }

/// The distinct places from left to right, from below where x is equal; each by its first point.
std::vector<Point> SortedPlaces(int m, const double* coordinates) {
  std::vector<Point> places;
  places.reserve(static_cast<std::size_t>(m));
  for (int i = 0; i < m; ++i, coordinates += 2) {
    places.push_back({Flushed(coordinates[0]), Flushed(coordinates[1]), i});
  }
  std::sort(places.begin(), places.end(), [](const Point& a, const Point& b) {
    return std::tie(a.x, a.y, a.index) < std::tie(b.x, b.y, b.index);
  });
  const auto samePlace = [](const Point& a, const Point& b) { return a.x == b.x && a.y == b.y; };
  places.erase(std::unique(places.begin(), places.end(), samePlace), places.end());
  return places;
}

/// Appends the part of the hull from the first place to the last one, which is left out: it begins the way
/// back.
template <class Iterator>
void AppendChain(Iterator first, Iterator last, std::vector<Point>& hull) {
  const std::size_t start = hull.size();
  for (; first != last; ++first) {
    while (hull.size() >= start + 2 && Turn(hull[hull.size() - 2], hull.back(), *first) <= 0) hull.pop_back();
    hull.push_back(*first);
  }
  hull.pop_back();
}

std::vector<Point> Hull(const std::vector<Point>& places) {
  if (places.size() < 2) return places;
  std::vector<Point> hull;
  AppendChain(places.begin(), places.end(), hull);
  AppendChain(places.rbegin(), places.rend(), hull);
  return hull;
}

}  // namespace

int QuickConvexHull2d(int m, const double* points, int* hullCount, int** hullIndices) {
  if (hullCount != nullptr) *hullCount = 0;
  if (hullIndices != nullptr) *hullIndices = nullptr;
  if (hullCount == nullptr || hullIndices == nullptr || (points == nullptr && m > 0))
    return primfit::kHullNullPointer;
  if (m < 0) return primfit::kHullNegativeCount;
  if (m == 0) return primfit::kHullOk;
  const auto usable = [](double coordinate) { return std::abs(coordinate) <= kLargest; };  // false for NaN
  if (!std::all_of(points, points + 2 * std::ptrdiff_t{m}, usable)) return primfit::kHullBadCoordinate;

  const std::vector<Point> hull = Hull(SortedPlaces(m, points));
  auto indices = std::make_unique_for_overwrite<int[]>(hull.size());
  std::transform(hull.begin(), hull.end(), indices.get(), [](const Point& p) { return p.index; });
  *hullCount = static_cast<int>(hull.size());
  *hullIndices = indices.release();
  return primfit::kHullOk;
}

void QHullFree(int* hullIndices) { delete[] hullIndices; }
