#include "estimators/weighted_plane_fit.h"

#include <Eigen/Core>

#include "estimators/symmetric_eigen3.h"

namespace {

/// The i-th element of an array of doubles with a stride in bytes.
const double* Strided(const double* first, std::size_t stride, unsigned i) {
  return reinterpret_cast<const double*>(reinterpret_cast<const char*>(first) + stride * i);
}

}  // namespace

bool WeightedPlaneFit(unsigned count, const double* points, std::size_t pointStride, const double* weights,
                      std::size_t weightStride, double plane[4]) {
  const auto weight = [&](unsigned i) {
    return weights != nullptr ? *Strided(weights, weightStride, i) : 1.0;
  };
  const auto point = [&](unsigned i) {
    return Eigen::Map<const Eigen::Vector3d>(Strided(points, pointStride, i));
  };

  double total = 0;
  Eigen::Vector3d centroid = Eigen::Vector3d::Zero();
  for (unsigned i = 0; i < count; ++i) {
    const double w = weight(i);
    total += w;
    centroid += w * point(i);
  }
  centroid /= total;

  double s00 = 0, s01 = 0, s02 = 0, s11 = 0, s12 = 0, s22 = 0;
  for (unsigned i = 0; i < count; ++i) {
    const Eigen::Vector3d e = weight(i) * (point(i) - centroid);
    s00 += e.x() * e.x();
    s01 += e.x() * e.y();
    s02 += e.x() * e.z();
    s11 += e.y() * e.y();
    s12 += e.y() * e.z();
    s22 += e.z() * e.z();
  }
  SymmetricEigen3 eigen(s00 / total, s01 / total, s02 / total, s11 / total, s12 / total, s22 / total);
  eigen.Solve();
  const Eigen::Vector3d normal = eigen.Vector(2);
  for (int i = 0; i < 3; ++i) plane[i] = normal[i];
  plane[3] = -centroid.dot(normal);
  return true;
}
