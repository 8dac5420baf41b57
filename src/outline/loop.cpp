// Vertices of a loop put in order by angle and thinned: corners of a boundary that a viewer would not see are
// remaining out.
#include "outline/loop.h"

#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

namespace {

using Eigen::Vector2d;
using Vertices = std::vector<Vector2d>;

/// A vertex's index in the loop and its angle around the centroid, radians in [0, 2 pi).
struct index_angle {
  std::size_t index;
  double angle;
};

double AngleOf(const Vector2d& direction) {
  const double length = std::sqrt(direction.y() * direction.y() + direction.x() * direction.x());
  if (!std::isfinite(length) || length < 1e-10) return 0;  // the sort must not see NaN
  const double angle = std::acos(std::clamp(direction.x() / length, -1.0, 1.0));
  return direction.y() < 0 ? 8 * std::atan(1.0) - angle : angle;
}

Vertices SortedByAngle(const Vertices& loop) {
  Vector2d centroid = Vector2d::Zero();
  for (const Vector2d& vertex : loop) centroid += vertex / static_cast<double>(loop.size());
  std::vector<index_angle> order;
  order.reserve(loop.size());
  for (std::size_t i = 0; i < loop.size(); ++i) order.push_back({i, AngleOf(loop[i] - centroid)});
  std::stable_sort(order.begin(), order.end(),
                   [](const index_angle& a, const index_angle& b) { return a.angle < b.angle; });
  Vertices sorted;
  sorted.reserve(loop.size());
  for (const index_angle& vertex : order) sorted.push_back(loop[vertex.index]);
  return sorted;
}

/// True where the outline turns by less than 5 degrees at `vertex`, turns back within 5 degrees, or moves by
/// less than 1e-5. The test is on squares and takes no root: cos^2 of the turn is (in . out)^2 / (|in|^2
/// |out|^2).
bool IsRedundant(const Vector2d& previous, const Vector2d& vertex, const Vector2d& next) {
  constexpr double kShortSquared = 1e-10;
  static const double kCosLimit = std::cos(8 * std::atan(1.0) * 5 / 360);
  const Vector2d in = vertex - previous;
  const Vector2d out = next - vertex;
  const double inSquared = in.squaredNorm();
  const double outSquared = out.squaredNorm();
  const double dot = in.dot(out);
  return inSquared < kShortSquared || outSquared < kShortSquared ||
         dot * dot > inSquared * outSquared * kCosLimit * kCosLimit;
}

/// The loop without redundant vertices, as long as at least three are remaining. The neighbours of a vertex
/// are the last one that was kept and the next one of the whole loop.
Vertices Thinned(const Vertices& loop) {
  Vertices kept = {loop.front()};
  for (std::size_t i = 1; i < loop.size(); ++i) {
    const std::size_t remaining = kept.size() + loop.size() - i;
    const Vector2d& next = i + 1 < loop.size() ? loop[i + 1] : loop.front();
    if (remaining < 4 || !IsRedundant(kept.back(), loop[i], next)) kept.push_back(loop[i]);
  }
  return kept;
}

}  // namespace

void SortLoopVertices(int& count, double*& loop) {
  if (count < 1 || loop == nullptr) return;
  Vertices vertices;
  vertices.reserve(static_cast<std::size_t>(count));
  for (std::ptrdiff_t i = 0; i < count; ++i) vertices.emplace_back(loop[2 * i], loop[2 * i + 1]);
  vertices = Thinned(SortedByAngle(vertices));

  auto ordered = std::make_unique_for_overwrite<double[]>(2 * vertices.size());
  for (std::size_t i = 0; i < vertices.size(); ++i) {
    ordered[2 * i] = vertices[i].x();
    ordered[2 * i + 1] = vertices[i].y();
  }
  delete[] loop;
  loop = ordered.release();
  count = static_cast<int>(vertices.size());
}
