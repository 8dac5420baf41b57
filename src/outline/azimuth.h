// Azimuths without trigonometry.
#ifndef PRIMFIT_SRC_OUTLINE_AZIMUTH_H_
#define PRIMFIT_SRC_OUTLINE_AZIMUTH_H_

#include <cmath>
#include <numbers>

namespace primfit {

/// Rises with the azimuth of (x, y) from 0 to 4, a quarter turn each: of the point where its ray meets the
/// square |x| + |y| = 1. Directions within 1e-8 of the y axis are taken for it.
inline double SquareAzimuth(double x, double y) {
  if (std::abs(x) < 1e-8) return y > 0 ? 1 : 3;
  const double t = y / (std::abs(x) + std::abs(y));
  if (x < 0) return 2 - t;
  return y < 0 ? 4 + t : t;
}

/// The azimuth in [0, 2 pi) that rises so.
inline double AzimuthOf(double square) {
  const double y = square <= 1 ? square : square < 3 ? 2 - square : square - 4;
  const double x = square <= 1 || square >= 3 ? 1 - std::abs(y) : std::abs(y) - 1;
  const double azimuth = std::atan2(y, x);
  return square > 2 && azimuth <= 0 ? azimuth + 2 * std::numbers::pi : azimuth;
}

}  // namespace primfit

#endif  // PRIMFIT_SRC_OUTLINE_AZIMUTH_H_
