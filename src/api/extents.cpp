// The extents of bounded shapes: of points along an axis, and of their azimuths about one.
#include "api/extents.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "fit/fit_memory.h"
#include "fit/vector_math.h"
#include "outline/azimuth.h"

using Eigen::Vector3d;
using std::numbers::pi;

namespace primfit {

namespace {

/// The range along the axis of the points whose quantity lies in [low, high]; where there are none, of the
/// close points.
template <class S>
AxialRange Range(const Fitted<S>& fitted, double low, double high, const Vector3d& root,
                 const Vector3d& axis) {
  const AxialRange range =
      RangeOf(fitted.Shape(), low, high, root, axis, fitted.used.Points(), fitted.used.Count());
  if (range.low <= range.high) return range;
  constexpr double kUnbounded = std::numeric_limits<double>::infinity();
  return RangeOf(fitted.Shape(), -kUnbounded, kUnbounded, root, axis, fitted.close.data(),
                 static_cast<int>(fitted.close.size()));
}

/// The distance within which a point belongs to the shape: three standard deviations of the fit's residuals.
template <class S>
double Tolerance(const Fitted<S>& fitted) {
  return std::max(1e-6, 3 * fitted.quality.rmsDistance);
}

/// The gaps of all azimuths, each taken by itself.
template <class ForEach>
AzimuthGaps SortedGaps(std::size_t count, const ForEach& forEach) {
  const Scratch<double> azimuths(count);
  double* end = azimuths.data();
  forEach([&](double square) { *end++ = AzimuthOf(square); });
  std::sort(azimuths.data(), end);
  AzimuthGaps gaps;
  for (const double* azimuth = azimuths.data(); azimuth != end; ++azimuth) gaps.Add(*azimuth, *azimuth);
  return gaps;
}

/// The gaps of azimuths in bins, and how wide a gap can be that hides in one.
template <class ForEach>
std::pair<AzimuthGaps, double> BinnedGaps(std::size_t count, const ForEach& forEach) {
  constexpr std::size_t kFewestBins = 16, kMostBins = 16384;
  AzimuthBins bins(std::clamp<std::size_t>(count / 2, kFewestBins, kMostBins));
  forEach([&](double square) { bins.Add(square); });
  return {bins.Gaps([](std::size_t) { return true; }), bins.Resolution()};
}

/// The gaps of azimuths; where even the widest is narrower than a bin they are taken one by one.
template <class ForEach>
AzimuthGaps GapsOf(std::size_t count, const ForEach& forEach) {
  const auto [gaps, resolution] = BinnedGaps(count, forEach);
  const double span = gaps.last - gaps.first;
  const double widest = std::max(gaps.gap, std::min(span, 2 * pi - span));
  return widest < resolution ? SortedGaps(count, forEach) : gaps;
}

}  // namespace

AxialRange RangeAlong(const Fitted<OutputLine>& fitted) {
  const OutputLine& line = fitted.Shape();
  return Range(fitted, 0, Tolerance(fitted) * Tolerance(fitted), line.Root(), line.Direction());
}

AxialRange RangeAlong(const Fitted<OutputCylinder>& fitted) {
  OutputCylinder cylinder = fitted.Shape();
  cylinder.SetDistSqrdThreshod(Tolerance(fitted));
  return Range(fitted, cylinder.CloseLow(), cylinder.CloseHigh(), cylinder.Center(), cylinder.Axis());
}

AxialRange RangeAlong(const Fitted<OutputCone>& fitted) {
  return Range(fitted, 0, Tolerance(fitted), fitted.Shape().Apex(), fitted.Shape().Axis());
}

double ElbowAngularExtent(const Vector3d& center, const Vector3d& axis, std::span<const Vector3d> close,
                          Vector3d& xAxis) {
  const Vector3d e1 = UnitOrthogonal(axis);
  const Vector3d e2 = axis.cross(e1);
  const auto forEach = [&](const auto& visit) {
    for (const Vector3d& p : close) visit(SquareAzimuth((p - center).dot(e1), (p - center).dot(e2)));
  };
  const AzimuthGaps gaps = GapsOf(close.size(), forEach);
  const double span = gaps.last - gaps.first;
  // The points wrap around azimuth 0 where their widest gap is wider than the gap across it, and than they
  // reach.
  const bool wraps = gaps.gap > std::min(span, 2 * pi - span);
  const double start = wraps ? gaps.behindGap : gaps.first;
  xAxis = std::cos(start) * e1 + std::sin(start) * e2;
  return wraps ? 2 * pi - gaps.gap : span;
}

}  // namespace primfit
