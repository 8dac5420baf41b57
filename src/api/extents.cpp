#include "api/extents.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "fit/fit_memory.h"
#include "fit/vector_math.h"
#include "outline/azimuth.h"

using Eigen::Vector3d;
using std::numbers::pi;

namespace primfit {

namespace {

/// The range over the points whose quantity lies in [low, high], else over the close points.
template <class S>
AxialRange Range(const Fitted<S>& fitted, double low, double high, const Vector3d& root,
                 const Vector3d& axis) {
  const AxialRange range =
      RangeOf(fitted.Shape(), low, high, root, axis, fitted.used.Points(), fitted.used.Count());
  if (range.low <= range.high) return range;
  constexpr double kAny = std::numeric_limits<double>::infinity();
  return RangeOf(fitted.Shape(), -kAny, kAny, root, axis, fitted.close.data(),
                 static_cast<int>(fitted.close.size()));
}

template <class S>
double Tolerance(const Fitted<S>& fitted) {
  return std::max(1e-6, 3 * fitted.quality.rmsDistance);
}

/// What is known of some azimuths in [0, 2 pi).
struct Azimuths {
  double first, last;     // the smallest and the largest
  double gap, behindGap;  // the largest difference of neighbours, the azimuth behind it
};

/// Of neighbours in bins, of which a gap that is wider than a bin has to leave one. Where there is none the
/// gap is only a lower bound: it and the truth are below `resolution`.
template <class ForEach>
Azimuths BinnedAzimuths(std::size_t count, const ForEach& forEach, double& resolution) {
  const std::size_t bins = std::clamp<std::size_t>(count / 2, 16, 16384);
  resolution = 8.0 / static_cast<double>(bins);  // in the middle of a side the azimuth turns by 2 for 1
  const Scratch<double> low(bins), high(bins);
  std::fill_n(low.data(), bins, 5.0);
  std::fill_n(high.data(), bins, -1.0);
  forEach([&](double square) {
    const auto bin = std::min(static_cast<std::size_t>(square * (static_cast<double>(bins) / 4)), bins - 1);
    low[bin] = std::min(low[bin], square);
    high[bin] = std::max(high[bin], square);
  });
  Azimuths found{-1, 0, 0, 0};
  for (std::size_t bin = 0; bin < bins; ++bin) {
    if (high[bin] < 0) continue;
    const double begin = AzimuthOf(low[bin]);
    if (found.first < 0) found.first = found.last = begin;
    if (begin - found.last > found.gap) {
      found.gap = begin - found.last;
      found.behindGap = begin;
    }
    found.last = AzimuthOf(high[bin]);
  }
  return found;
}

template <class ForEach>
Azimuths SortedAzimuths(std::size_t count, const ForEach& forEach) {
  const Scratch<double> azimuths(count);
  double* end = azimuths.data();
  forEach([&](double square) { *end++ = AzimuthOf(square); });
  std::sort(azimuths.data(), end);
  Azimuths found{azimuths[0], end[-1], 0, 0};
  for (std::size_t i = 1; i < count; ++i) {
    if (azimuths[i] - azimuths[i - 1] > found.gap) {
      found.gap = azimuths[i] - azimuths[i - 1];
      found.behindGap = azimuths[i];
    }
  }
  return found;
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
  double resolution = 0;
  Azimuths azimuths = BinnedAzimuths(close.size(), forEach, resolution);
  const double span = azimuths.last - azimuths.first;
  const double enough = std::min(span, 2 * pi - span);
  if (azimuths.gap < resolution && enough < resolution) azimuths = SortedAzimuths(close.size(), forEach);
  const bool wraps = azimuths.gap > enough;
  const double start = wraps ? azimuths.behindGap : azimuths.first;
  xAxis = std::cos(start) * e1 + std::sin(start) * e2;
  return wraps ? 2 * pi - azimuths.gap : span;
}

}  // namespace primfit
