// Efficient RANSAC of CGAL (Schnabel, Wahl and Klein 2007), with normals from principal components.
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Shape_detection/Efficient_RANSAC.h>
#include <CGAL/pca_estimate_normals.h>
#include <CGAL/property_map.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "peers.h"
#include "primfit/primfit.h"

namespace primfit::bench {

namespace {

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Oriented = std::pair<Kernel::Point_3, Kernel::Vector_3>;
using PointMap = CGAL::First_of_pair_property_map<Oriented>;
using NormalMap = CGAL::Second_of_pair_property_map<Oriented>;
using Traits =
    CGAL::Shape_detection::Efficient_RANSAC_traits<Kernel, std::vector<Oriented>, PointMap, NormalMap>;
using Ransac = CGAL::Shape_detection::Efficient_RANSAC<Traits>;

template <class V>
Eigen::Vector3d Converted(const V& v) {
  return {v.x(), v.y(), v.z()};
}

std::unique_ptr<OutputShape> Converted(const CGAL::Shape_detection::Plane<Traits>& s) {
  const Eigen::Vector3d normal = Converted(s.plane_normal());
  return std::make_unique<OutputPlane>(-s.d() * normal, normal);
}
std::unique_ptr<OutputShape> Converted(const CGAL::Shape_detection::Sphere<Traits>& s) {
  return std::make_unique<OutputSphere>(Converted(s.center()), s.radius());
}
std::unique_ptr<OutputShape> Converted(const CGAL::Shape_detection::Cylinder<Traits>& s) {
  return std::make_unique<OutputCylinder>(Converted(s.axis().point(0)), s.radius(),
                                          Converted(s.axis().to_vector()).normalized());
}
std::unique_ptr<OutputShape> Converted(const CGAL::Shape_detection::Cone<Traits>& s) {
  return std::make_unique<OutputCone>(Converted(s.apex()), s.angle(), Converted(s.axis()).normalized());
}
std::unique_ptr<OutputShape> Converted(const CGAL::Shape_detection::Torus<Traits>& s) {
  return std::make_unique<OutputTorus>(Converted(s.center()), s.major_radius(), s.minor_radius(),
                                       Converted(s.axis()).normalized());
}

template <class Shape>
std::unique_ptr<OutputShape> LargestOf(std::vector<Oriented>& points) {
  Ransac ransac;
  ransac.set_input(points);
  ransac.template add_shape_factory<Shape>();
  Ransac::Parameters parameters;
  parameters.probability = 1 - kProbability;
  parameters.min_points = points.size() / 5;
  parameters.epsilon = kBand;
  parameters.cluster_epsilon = 0.2;
  parameters.normal_threshold = 0.9;
  ransac.detect(parameters);
  const Shape* best = nullptr;
  for (const auto& shape : ransac.shapes()) {
    const auto* one = dynamic_cast<const Shape*>(shape.get());
    if (one != nullptr && (best == nullptr || one->indices_of_assigned_points().size() >
                                                  best->indices_of_assigned_points().size()))
      best = one;
  }
  return best != nullptr ? Converted(*best) : nullptr;
}

}  // namespace

std::unique_ptr<OutputShape> FitByCgal(std::string_view primitive, const Points& points) {
  if (primitive == "line") return nullptr;
  std::vector<Oriented> oriented;
  oriented.reserve(points.size());
  for (const Eigen::Vector3d& p : points) oriented.push_back({{p.x(), p.y(), p.z()}, {0, 0, 0}});
  CGAL::pca_estimate_normals<CGAL::Sequential_tag>(
      oriented, kNeighbours, CGAL::parameters::point_map(PointMap()).normal_map(NormalMap()));
  namespace sd = CGAL::Shape_detection;
  if (primitive == "plane") return LargestOf<sd::Plane<Traits>>(oriented);
  if (primitive == "sphere") return LargestOf<sd::Sphere<Traits>>(oriented);
  if (primitive == "cylinder") return LargestOf<sd::Cylinder<Traits>>(oriented);
  if (primitive == "cone") return LargestOf<sd::Cone<Traits>>(oriented);
  return LargestOf<sd::Torus<Traits>>(oriented);
}

}  // namespace primfit::bench
