// Real scans, the sample data of the examples. What is right there is the least-squares shape of the points
// about a known one. Each seed leaves out another tenth of the points.
#include <cmath>
#include <memory>

#include "adaptive/model/model.h"
#include "adaptive/model/refine.h"
#include "hard_cases.h"
#include "io/read_points.h"
#include "shapes/shape_of_model.h"

namespace primfit::bench {

using Eigen::Vector3d;

namespace {

constexpr double kKept = 0.9;

/// A shape that is known to be in a scan, and the noise of its points.
struct Known {
  Model model;
  double noise;
};

Points ReadScan(const std::string& name) {
  return io::ReadPoints(io::NativeReaders(), PRIMFIT_BENCH_DATA "/" + name + ".xyz.gz").points;
}

Points PointsNear(const Model& model, double within, const Points& points) {
  std::vector<double> distances(points.size());
  adaptive::Distances(model, points.data(), static_cast<int>(points.size()), distances.data());
  Points near;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (distances[i] <= within) near.push_back(points[i]);
  }
  return near;
}

/// The least-squares shape of the points within three standard deviations of itself.
TrueSurface SurfaceNear(const Known& known, const Points& points) {
  constexpr int kRounds = 20;
  TrueSurface surface{known.model, {}, {}};
  for (int round = 0; round < kRounds; ++round) {
    surface.measured = PointsNear(surface.model, 3 * known.noise, points);
    if (const auto better = adaptive::Refine(surface.model, 0, adaptive::RefsOf(surface.measured), kRounds))
      surface.model = *better;
  }
  WithShape(surface.model, [&](const OutputShape& shape) {
    for (const Vector3d& p : surface.measured) surface.exact.push_back(shape.ClosestPoint(p));
  });
  return surface;
}

/// The file is read when the first scene is asked for, and once.
std::function<HardScene(Random&)> PartsOf(const std::string& name, const std::vector<Known>& known) {
  const auto all = std::make_shared<Points>();
  return [=](Random& random) {
    if (all->empty()) *all = ReadScan(name);
    HardScene scene;
    for (const Vector3d& p : *all) {
      if (random.Uniform(0, 1) < kKept) scene.points.push_back(p);
    }
    for (const Known& each : known) scene.accepted.push_back(SurfaceNear(each, scene.points));
    return scene;
  };
}

}  // namespace

HardCaseList RealCases() {
  constexpr CaseTraits kKeepsGood{.keepsGood = true, .isTruthMeasured = true};
  const Known target{{ShapeKind::kSphere, {-5.8959, 3.629, -1.5613}, Vector3d::UnitZ(), 0, 0.05}, 0.00012};
  const Known mug{{ShapeKind::kCylinder, {0.0556, 0.0545, 0.7577}, {0.007, -0.8497, -0.5271}, 0, 0.039},
                  0.0017};
  const Known pole{{ShapeKind::kCylinder, {-9.9293, 0.0141, -2.683}, {0.0463, 0, -0.9989}, 0, 0.0395}, 0.019};
  const Known ceiling{{ShapeKind::kPlane, {0.3, 0.3, 1.661}, {-0.0093, 0.0143, 0.9998}}, 0.02};
  const Known floor{{ShapeKind::kPlane, {0, 0, -1.27}, {-0.0169, 0.0064, 0.9998}}, 0.02};
  return {
      CaseOf<Sphere>("real: sphere target", PartsOf("sphere-target-1", {target}), kKeepsGood),
      CaseOf<Cylinder>("real: mug", PartsOf("mug", {mug}), kKeepsGood),
      CaseOf<Cylinder>("real: pole of a lamp", PartsOf("lamppost", {pole}), kKeepsGood),
      CaseOf<Plane>("real: room", PartsOf("room", {ceiling, floor}),
                    {.large = true, .isTruthMeasured = true}),
  };
}

}  // namespace primfit::bench
