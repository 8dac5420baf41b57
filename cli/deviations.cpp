#include "cli/deviations.h"

#include <algorithm>
#include <limits>
#include <memory>

#include "primfit/shapes/output_circle.h"
#include "primfit/shapes/output_cone.h"
#include "primfit/shapes/output_cylinder.h"
#include "primfit/shapes/output_line.h"
#include "primfit/shapes/output_plane.h"
#include "primfit/shapes/output_sphere.h"
#include "primfit/shapes/output_torus.h"
#include "primitives/primitives.h"

namespace primfit::cli {

namespace {

std::unique_ptr<OutputShape> ShapeOf(const Model& m) {
  switch (m.kind) {
    case ShapeKind::kLine:
      return std::make_unique<OutputLine>(m.center, m.axis);
    case ShapeKind::kArc:
      return std::make_unique<OutputCircle>(m.center, m.minor, m.axis);
    case ShapeKind::kSphere:
      return std::make_unique<OutputSphere>(m.center, m.minor);
    case ShapeKind::kCylinder:
      return std::make_unique<OutputCylinder>(m.center, m.minor, m.axis);
    case ShapeKind::kCone:
      return std::make_unique<OutputCone>(m.center, m.minor, m.axis);
    case ShapeKind::kTorus:
      return std::make_unique<OutputTorus>(m.center, m.major, m.minor, m.axis);
    case ShapeKind::kPlane:
      break;
  }
  return std::make_unique<OutputPlane>(m.center, m.axis);
}

}  // namespace

std::vector<double> SignedDistances(const Model& model, std::span<const Eigen::Vector3d> points,
                                    double metres) {
  const std::unique_ptr<OutputShape> shape = ShapeOf(model);
  std::vector<double> distances(points.size());
  std::transform(points.begin(), points.end(), distances.begin(),
                 [&](const Eigen::Vector3d& p) { return shape->Distance(metres * p) / metres; });
  return distances;
}

std::vector<std::uint32_t> PointsWithin(const Model& model, double distance,
                                        std::span<const Eigen::Vector3d> points) {
  const std::unique_ptr<OutputShape> shape = ShapeOf(model);
  shape->SetDistSqrdThreshod(distance);
  std::vector<std::uint32_t> within;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (shape->IsClosePoint(points[i])) within.push_back(static_cast<std::uint32_t>(i));
  }
  return within;
}

report::FormError FormErrorOf(const Model& model, std::span<const Eigen::Vector3d> points,
                              std::span<const std::uint32_t> chosen) {
  const std::unique_ptr<OutputShape> shape = ShapeOf(model);
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  report::FormError error{.least = kInfinite, .largest = -kInfinite};
  for (const std::uint32_t i : chosen) {
    const double distance = shape->Distance(points[i]);
    error = {std::min(error.least, distance), std::max(error.largest, distance)};
  }
  return error;
}

}  // namespace primfit::cli
