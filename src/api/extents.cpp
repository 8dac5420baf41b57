#include "api/extents.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "fit/vector_math.h"
#include "shapes/formulas.h"

using Eigen::Vector3d;

namespace primfit {

namespace {

/// The range of (p - root) . axis over the points that are near, else over the close points.
template <class S, class IsNear>
AxialRange Range(const Fitted<S>& fitted, const Vector3d& root, const Vector3d& axis, const IsNear& isNear) {
  AxialRange range{std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest()};
  const auto widen = [&](const Vector3d& p) {
    const double t = (p - root).dot(axis);
    range.low = std::min(range.low, t);
    range.high = std::max(range.high, t);
  };
  for (int i = 0; i < fitted.used.Count(); ++i) {
    if (isNear(fitted.used.Points()[i])) widen(fitted.used.Points()[i]);
  }
  if (range.low > range.high) std::for_each(fitted.close.begin(), fitted.close.end(), widen);
  return range;
}

template <class S>
double Tolerance(const Fitted<S>& fitted) {
  return std::max(1e-6, 3 * fitted.quality.rmsDistance);
}

/// Azimuth in [0, 2 pi).
double Azimuth(double x, double y) {
  using std::numbers::pi;
  if (std::abs(x) < 1e-8) return y > 0 ? pi / 2 : 3 * pi / 2;
  const double angle = std::atan(y / x);
  if (x < 0) return angle + pi;
  return y < 0 ? angle + 2 * pi : angle;
}

}  // namespace

AxialRange RangeAlong(const Fitted<OutputLine>& fitted) {
  const OutputLine& line = fitted.Shape();
  const auto formula = FormulaOf(line);
  const double squared = Tolerance(fitted) * Tolerance(fitted);
  return Range(fitted, line.Root(), line.Direction(),
               [&](const Vector3d& p) { return InBand(formula, p, 0, squared); });
}

AxialRange RangeAlong(const Fitted<OutputCylinder>& fitted) {
  OutputCylinder cylinder = fitted.Shape();
  cylinder.SetDistSqrdThreshod(Tolerance(fitted));
  return Range(fitted, cylinder.Center(), cylinder.Axis(),
               [&](const Vector3d& p) { return cylinder.IsClosePoint(p); });
}

AxialRange RangeAlong(const Fitted<OutputCone>& fitted) {
  const OutputCone& cone = fitted.Shape();
  const auto formula = FormulaOf(cone);
  const double tolerance = Tolerance(fitted);
  return Range(fitted, cone.Apex(), cone.Axis(),
               [&](const Vector3d& p) { return std::abs(DistanceAt(formula, p)) <= tolerance; });
}

double ElbowAngularExtent(const Vector3d& center, const Vector3d& axis, std::span<const Vector3d> close,
                          Vector3d& xAxis) {
  using std::numbers::pi;
  const Vector3d e1 = UnitOrthogonal(axis);
  const Vector3d e2 = axis.cross(e1);
  std::vector<double> angles;
  angles.reserve(close.size());
  for (const Vector3d& p : close) angles.push_back(Azimuth((p - center).dot(e1), (p - center).dot(e2)));
  std::sort(angles.begin(), angles.end());

  double gap = 0;
  std::size_t afterGap = 0;
  for (std::size_t i = 1; i < angles.size(); ++i) {
    if (angles[i] - angles[i - 1] > gap) {
      gap = angles[i] - angles[i - 1];
      afterGap = i;
    }
  }
  const double span = angles.back() - angles.front();
  const bool wraps = gap > std::min(span, 2 * pi - span);
  const double start = wraps ? angles[afterGap] : angles.front();
  xAxis = std::cos(start) * e1 + std::sin(start) * e2;
  return wraps ? 2 * pi - gap : span;
}

}  // namespace primfit
