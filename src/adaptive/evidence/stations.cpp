#include "adaptive/evidence/stations.h"

#include <algorithm>
#include <cstddef>

#include "fit/messages.h"
#include "shapes/shape_of_model.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points that say which side it is for all of them.
constexpr std::size_t kForSide = 4096;

}  // namespace

void RequireFinite(std::span<const Vector3d> stations) {
  const auto isFinite = [](const Vector3d& station) { return station.allFinite(); };
  if (!std::all_of(stations.begin(), stations.end(), isFinite)) throw FitError(messages::kOptionStations);
}

double OutsideBalance(const Model& surface, std::span<const Vector3d> points,
                      std::span<const Vector3d> stations) {
  if (surface.IsCurve() || points.empty() || stations.empty()) return 0;
  const std::size_t step = points.size() / kForSide + 1;
  double balance = 0, count = 0;
  WithShape(surface, [&](const auto& shape) {
    for (std::size_t i = 0; i < points.size(); i += step, ++count) {
      const Vector3d& p = points[i];
      const auto nearest =
          std::min_element(stations.begin(), stations.end(), [&](const Vector3d& a, const Vector3d& b) {
            return (a - p).squaredNorm() < (b - p).squaredNorm();
          });
      const double along = shape.EvalNormal(p).dot(*nearest - p);
      balance += along > 0 ? 1 : along < 0 ? -1 : 0;
    }
  });
  return balance / count;
}

}  // namespace primfit::adaptive
