// Directions as two angles: azimuth a and elevation b give d(a, b) = (cos a cos b, sin a cos b, sin b).
#ifndef PRIMFIT_SRC_OPTIMIZE_DIRECTIONS_H_
#define PRIMFIT_SRC_OPTIMIZE_DIRECTIONS_H_

#include <Eigen/Core>

/// The inverse of d(a, b) for a unit vector, azimuth in [0, 2 pi]; within about 1e-4 rad of a pole, azimuth
/// 0.
void AxisToAngles(const Eigen::Vector3d& d, double& azimuth, double& elevation);

/// Replaces v by a unit vector perpendicular to it, in the plane of its largest component and the next one.
void UnitPerpendicular(Eigen::Vector3d& v);

namespace primfit {

Eigen::Vector3d AnglesToAxis(double azimuth, double elevation);

/// The derivatives of d(a, b) by its two angles.
struct DirectionDerivatives {
  DirectionDerivatives(double azimuth, double elevation);
  Eigen::Vector3d byAzimuth, byElevation;
};

/// A rotation that takes a point of the equator, azimuth pi / 2, to the unit vector d. Directions near d then
/// have well-conditioned angles whatever d is. At a pole the azimuth is undetermined: its column of the
/// Jacobian vanishes, and a solver cannot turn the direction that way. The identity for a vector that is not
/// of unit length.
Eigen::Matrix3d EquatorFrame(const Eigen::Vector3d& d);

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_DIRECTIONS_H_
