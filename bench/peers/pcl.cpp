// Random sample consensus of the Point Cloud Library, with normals where its models ask for them.
#include <pcl/features/normal_3d.h>
#include <pcl/point_types.h>
#include <pcl/search/kdtree.h>
#include <pcl/segmentation/sac_segmentation.h>

#include "peers.h"
#include "primfit/primfit.h"

namespace primfit::bench {

namespace {

using Cloud = pcl::PointCloud<pcl::PointXYZ>;
using Normals = pcl::PointCloud<pcl::Normal>;

constexpr int kMostSamples = 5000;

Normals::Ptr NormalsOf(const Cloud::Ptr& cloud) {
  pcl::NormalEstimation<pcl::PointXYZ, pcl::Normal> estimation;
  estimation.setInputCloud(cloud);
  estimation.setSearchMethod(pcl::make_shared<pcl::search::KdTree<pcl::PointXYZ>>());
  estimation.setKSearch(kNeighbours);
  auto normals = pcl::make_shared<Normals>();
  estimation.compute(*normals);
  return normals;
}

template <class Segmentation>
pcl::ModelCoefficients Segment(Segmentation& segmentation, const Cloud::Ptr& cloud, int model) {
  segmentation.setInputCloud(cloud);
  segmentation.setModelType(model);
  segmentation.setMethodType(pcl::SAC_RANSAC);
  segmentation.setDistanceThreshold(kBand);
  segmentation.setProbability(kProbability);
  segmentation.setMaxIterations(kMostSamples);
  segmentation.setOptimizeCoefficients(true);
  pcl::PointIndices inliers;
  pcl::ModelCoefficients coefficients;
  segmentation.segment(inliers, coefficients);
  return coefficients;
}

}  // namespace

std::unique_ptr<OutputShape> FitByPcl(std::string_view primitive, const Points& points) {
  auto cloud = pcl::make_shared<Cloud>();
  for (const Eigen::Vector3d& p : points) {
    cloud->emplace_back(static_cast<float>(p.x()), static_cast<float>(p.y()), static_cast<float>(p.z()));
  }
  pcl::ModelCoefficients found;
  if (primitive == "cylinder" || primitive == "cone") {
    pcl::SACSegmentationFromNormals<pcl::PointXYZ, pcl::Normal> segmentation;
    segmentation.setInputNormals(NormalsOf(cloud));
    segmentation.setNormalDistanceWeight(0.1);
    found = Segment(segmentation, cloud, primitive == "cone" ? pcl::SACMODEL_CONE : pcl::SACMODEL_CYLINDER);
  } else {
    const int model = primitive == "line"     ? pcl::SACMODEL_LINE
                      : primitive == "plane"  ? pcl::SACMODEL_PLANE
                      : primitive == "sphere" ? pcl::SACMODEL_SPHERE
                                              : -1;
    if (model < 0) return nullptr;
    pcl::SACSegmentation<pcl::PointXYZ> segmentation;
    found = Segment(segmentation, cloud, model);
  }
  if (found.values.empty()) return nullptr;
  const auto& v = found.values;
  const auto vector = [&](std::size_t at) { return Eigen::Vector3d(v[at], v[at + 1], v[at + 2]); };
  if (primitive == "line") return std::make_unique<OutputLine>(vector(0), vector(3).normalized());
  if (primitive == "plane") return std::make_unique<OutputPlane>(-v[3] * vector(0), vector(0).normalized());
  if (primitive == "sphere") return std::make_unique<OutputSphere>(vector(0), v[3]);
  if (primitive == "cylinder")
    return std::make_unique<OutputCylinder>(vector(0), v[6], vector(3).normalized());
  return std::make_unique<OutputCone>(vector(0), v[6], vector(3).normalized());
}

}  // namespace primfit::bench
