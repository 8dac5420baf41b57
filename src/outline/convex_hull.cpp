// Convex hull with exact decisions: a fast test decides where its rounding error cannot matter, and exact
// arithmetic decides the rest. So the hull is convex for any input, also for many collinear points.
#include "outline/convex_hull.h"

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

/// Coordinates whose products would underflow count as 0.
double WithoutTiny(double coordinate) { return std::abs(coordinate) < kSmallest ? 0 : coordinate; }

Point PointAt(const double* coordinates, int i) {
  return {WithoutTiny(coordinates[2 * std::ptrdiff_t{i}]),
          WithoutTiny(coordinates[2 * std::ptrdiff_t{i} + 1]), i};
}

/// The inside of a convex polygon of up to eight of the points, the extreme ones in eight directions. No
/// vertex of the hull lies in it, and most points of a cloud do, so they need not be sorted (S. G. Akl and G.
/// T. Toussaint, A fast convex hull algorithm, 1978).
class InnerPolygon {
 public:
  InnerPolygon(int m, const double* coordinates) {
    double largest = 0;
    const auto corners = ExtremePoints(m, coordinates, largest);
    // Counter-clockwise: a x + b y >= c to the left of an edge. The margin is far above its rounding error,
    // so that no point of the boundary counts as inside.
    for (std::size_t k = 0; k < kDirections; ++k) {
      const Point& from = corners[k];
      const Point& to = corners[(k + 1) % kDirections];
      const double a = from.y - to.y, b = to.x - from.x;
      if (a == 0 && b == 0) continue;  // the same corner twice
      a_[edges_] = a;
      b_[edges_] = b;
      c_[edges_++] = a * from.x + b * from.y + 1e-14 * (std::abs(a) + std::abs(b)) * largest;
    }
  }
  bool Contains(const Point& p) const {
    if (edges_ < 3) return false;
    bool inside = true;
    for (std::size_t k = 0; k < edges_; ++k) inside &= a_[k] * p.x + b_[k] * p.y > c_[k];
    return inside;
  }

 private:
  static constexpr std::size_t kDirections = 8;

  /// The farthest points along x, x + y, y and so on, counter-clockwise, and the largest coordinate.
  static std::array<Point, kDirections> ExtremePoints(int m, const double* coordinates, double& largest) {
    std::array<double, kDirections> farthest;
    farthest.fill(-std::numeric_limits<double>::infinity());
    std::array<Point, kDirections> corners{};
    for (int i = 0; i < m; ++i) {
      const Point p = PointAt(coordinates, i);
      const double sum = p.x + p.y, difference = p.x - p.y;
      const std::array<double, kDirections> reach = {p.x,  sum,  p.y,  -difference,
                                                     -p.x, -sum, -p.y, difference};
      for (std::size_t k = 0; k < kDirections; ++k) {
        if (reach[k] > farthest[k]) {
          farthest[k] = reach[k];
          corners[k] = p;
        }
      }
      largest = std::max({largest, std::abs(p.x), std::abs(p.y)});
    }
    return corners;
  }

  std::array<double, kDirections> a_, b_, c_;
  std::size_t edges_ = 0;
};

/// The points that can be corners, ordered by x and then y; of points with equal coordinates the first.
std::vector<Point> SortedCandidates(int m, const double* coordinates) {
  std::vector<Point> candidates;
  const InnerPolygon inner(m, coordinates);
  for (int i = 0; i < m; ++i) {
    const Point p = PointAt(coordinates, i);
    if (!inner.Contains(p)) candidates.push_back(p);
  }
  std::sort(candidates.begin(), candidates.end(), [](const Point& a, const Point& b) {
    return std::tie(a.x, a.y, a.index) < std::tie(b.x, b.y, b.index);
  });
  const auto coincide = [](const Point& a, const Point& b) { return a.x == b.x && a.y == b.y; };
  candidates.erase(std::unique(candidates.begin(), candidates.end(), coincide), candidates.end());
  return candidates;
}

/// Appends the chain of the hull from the first point to the last one, which is left out because it begins
/// the chain back. A point at which the chain does not turn left is no corner (Andrew 1979).
template <class Iterator>
void AppendChain(Iterator first, Iterator last, std::vector<Point>& hull) {
  const std::size_t start = hull.size();
  for (; first != last; ++first) {
    while (hull.size() >= start + 2 && Turn(hull[hull.size() - 2], hull.back(), *first) <= 0) hull.pop_back();
    hull.push_back(*first);
  }
  hull.pop_back();
}

std::vector<Point> Hull(const std::vector<Point>& candidates) {
  if (candidates.size() < 2) return candidates;
  std::vector<Point> hull;
  AppendChain(candidates.begin(), candidates.end(), hull);
  AppendChain(candidates.rbegin(), candidates.rend(), hull);
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

  const std::vector<Point> hull = Hull(SortedCandidates(m, points));
  auto indices = std::make_unique_for_overwrite<int[]>(hull.size());
  std::transform(hull.begin(), hull.end(), indices.get(), [](const Point& p) { return p.index; });
  *hullCount = static_cast<int>(hull.size());
  *hullIndices = indices.release();
  return primfit::kHullOk;
}

void QHullFree(int* hullIndices) { delete[] hullIndices; }
