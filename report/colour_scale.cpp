// Moreland interpolates in polar coordinates of CIELAB: M is the length of the vector (L*, a*, b*), s its
// angle from the lightness axis, h its hue. Each half of the scale runs from an unsaturated colour (s = 0) to
// an end.
#include "report/colour_scale.h"

#include <Eigen/Core>
#include <Eigen/LU>
#include <algorithm>
#include <cmath>
#include <numbers>

namespace primfit::report {

namespace {

using Eigen::Vector3d;

struct PolarLab {
  double m, s, h;
};

/// From the linear light of sRGB to CIE XYZ (IEC 61966-2-1), white D65.
const Eigen::Matrix3d kXyzFromRgb =
    (Eigen::Matrix3d() << 0.4124, 0.3576, 0.1805, 0.2126, 0.7152, 0.0722, 0.0193, 0.1192, 0.9505).finished();
const Vector3d kWhite(0.9505, 1.0, 1.0890);

double LinearLight(double srgb) {
  return srgb > 0.04045 ? std::pow((srgb + 0.055) / 1.055, 2.4) : srgb / 12.92;
}
double FromLinearLight(double light) {
  return light > 0.0031308 ? 1.055 * std::pow(light, 1 / 2.4) - 0.055 : 12.92 * light;
}
double LabCurve(double t) { return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 16.0 / 116.0; }
double FromLabCurve(double f) { return f > 0.20689 ? f * f * f : (f - 16.0 / 116.0) / 7.787; }

PolarLab PolarOf(const Colour& colour) {
  Vector3d light;
  for (Eigen::Index i = 0; i < 3; ++i) light[i] = LinearLight(colour.at(static_cast<std::size_t>(i)) / 255.0);
  const Vector3d f = (kXyzFromRgb * light).cwiseQuotient(kWhite).unaryExpr(&LabCurve);
  const Vector3d lab(116 * f.y() - 16, 500 * (f.x() - f.y()), 200 * (f.y() - f.z()));
  return {lab.norm(), std::acos(lab.x() / lab.norm()), std::atan2(lab.z(), lab.y())};
}

Colour ColourOf(const PolarLab& polar) {
  const double l = polar.m * std::cos(polar.s);
  const double a = polar.m * std::sin(polar.s) * std::cos(polar.h);
  const double b = polar.m * std::sin(polar.s) * std::sin(polar.h);
  const double y = (l + 16) / 116;
  const Vector3d xyz = Vector3d(y + a / 500, y, y - b / 200).unaryExpr(&FromLabCurve).cwiseProduct(kWhite);
  const Vector3d light = kXyzFromRgb.inverse() * xyz;
  Colour colour{};
  for (Eigen::Index i = 0; i < 3; ++i)
    colour.at(static_cast<std::size_t>(i)) =
        static_cast<std::uint8_t>(std::lround(255 * std::clamp(FromLinearLight(light[i]), 0.0, 1.0)));
  return colour;
}

/// The hue that an unsaturated colour is to have, so that the way to a saturated one is as even as may be.
double HueTowards(const PolarLab& end, double m) {
  if (end.m >= m) return end.h;
  const double spin = end.s * std::sqrt(m * m - end.m * end.m) / (end.m * std::sin(end.s));
  return end.h > -std::numbers::pi / 3 ? end.h + spin : end.h - spin;
}

}  // namespace

Colour DivergingColour(double value) {
  constexpr Colour kBlue = {59, 76, 192}, kRed = {180, 4, 38};
  constexpr double kLeastLightness = 88;  // of the middle
  static const PolarLab blue = PolarOf(kBlue), red = PolarOf(kRed);
  const PolarLab& end = value < 0 ? blue : red;
  const double middle = std::max({blue.m, red.m, kLeastLightness});
  const double share = std::min(std::abs(value), 1.0);
  const double hue = HueTowards(end, middle);
  return ColourOf({middle + share * (end.m - middle), share * end.s, hue + share * (end.h - hue)});
}

}  // namespace primfit::report
