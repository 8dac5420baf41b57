#include "optimize/directions.h"

#include <Eigen/Geometry>
#include <cmath>
#include <numbers>

#include "fit/vector_math.h"

using std::numbers::pi;

void AxisToAngles(const Eigen::Vector3d& d, double& azimuth, double& elevation) {
  // Deliberate: the quadrants by cases, not atan2, so that the equator's +x direction has azimuth 2 pi.
  azimuth = 0;
  if (d.z() > 0.99999999) {
    elevation = pi / 2;
    return;
  }
  if (d.z() < -0.99999999) {
    elevation = -pi / 2;
    return;
  }
  elevation = std::asin(d.z());
  azimuth = std::abs(d.x()) > 1e-8 ? std::abs(std::atan(std::abs(d.y() / d.x()))) : pi / 2;
  if (d.x() < 0 && d.y() >= 0) {
    azimuth = pi - azimuth;
  } else if (d.x() <= 0 && d.y() < 0) {
    azimuth = pi + azimuth;
  } else if (d.x() > 0 && d.y() <= 0) {
    azimuth = 2 * pi - azimuth;
  }
}

void UnitPerpendicular(Eigen::Vector3d& v) {
  int k = 0;
  if (std::abs(v[1]) > std::abs(v[k])) k = 1;
  if (std::abs(v[2]) > std::abs(v[k])) k = 2;
  const int j = (k + 1) % 3;
  const int l = (k + 2) % 3;
  const double h = std::hypot(v[k], v[j]);
  const Eigen::Vector3d old = v;
  v[k] = -old[j] / h;
  v[j] = old[k] / h;
  v[l] = 0;
}

namespace primfit {

Eigen::Vector3d AnglesToAxis(double azimuth, double elevation) {
  return {std::cos(azimuth) * std::cos(elevation), std::sin(azimuth) * std::cos(elevation),
          std::sin(elevation)};
}

DirectionDerivatives::DirectionDerivatives(double azimuth, double elevation) {
  const double sa = std::sin(azimuth), ca = std::cos(azimuth);
  const double sb = std::sin(elevation), cb = std::cos(elevation);
  byAzimuth = {-sa * cb, ca * cb, 0};
  byElevation = {-ca * sb, -sa * sb, cb};
}

Eigen::Matrix3d EquatorFrame(const Eigen::Vector3d& d) {
  if (!(std::abs(d.squaredNorm() - 1) < 1e-6)) return Eigen::Matrix3d::Identity();
  Eigen::Matrix3d frame;
  frame.col(0) = UnitOrthogonal(d);
  frame.col(1) = d;
  frame.col(2) = frame.col(0).cross(d);
  return frame;
}

}  // namespace primfit
