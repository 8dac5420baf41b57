#include "adaptive/scene/resolution.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Of values so many different ones, and gaps between them so close to multiples of the smallest, tell of a
/// step.
constexpr std::size_t kGaps = 8;
constexpr double kMultiple = 0.01;
/// Points for each cell of a lattice from which on its step is their spacing: fewer, and they would be closer
/// than a step nowhere, or lie on each other if they had been rounded.
constexpr double kFull = 0.3;
/// Levels are told from faces of a thing by their number, and from other values by how many occur more than
/// once: of values that are no levels none does, of hundreds on a hundred levels most.
constexpr std::size_t kLevels = 16;
constexpr double kRepeated = 0.5;
/// The share of the values, at both ends, that may be strays.
constexpr double kStrays = 0.05;
/// Steps within which all are inliers: a shape lies within half a step of a level, points with noise of a
/// third of a step are on the next one as well, and where they are on two the shape lies between these.
constexpr double kStepsOfInliers = 1.25;
/// Rounding of the distances themselves, in units of the numbers that they are made of.
constexpr double kArithmetic = 4 * std::numeric_limits<double>::epsilon();
/// Steps that a shape passes, from which on the distances show whether coordinates were rounded or sampled
/// there.
constexpr double kSampled = 3;
/// Up to so many steps the points may be on two levels, half of them on each, half a step from their middle.
constexpr double kFewSteps = 2;

/// The gap from a number to the next larger one of its format.
double UlpOf(double value, bool floats) {
  if (!floats)
    return std::nextafter(std::abs(value), std::numeric_limits<double>::infinity()) - std::abs(value);
  const auto single = static_cast<float>(std::abs(value));
  return static_cast<double>(std::nextafter(single, std::numeric_limits<float>::infinity()) - single);
}

bool IsMultiple(double value, double step) {
  return std::abs(value / step - std::round(value / step)) < kMultiple;
}

/// Whether the few values along an axis have the step of the other axes. A level floor has too few heights to
/// tell one by themselves; they were rounded as the other coordinates were. On a full lattice, as of a
/// synthetic grid or a depth map, these are places where a surface was sampled, so that the heights have to
/// show the step themselves.
bool IsRoundedLike(std::span<const Vector3d> sample, Eigen::Index axis, double step, bool isLattice) {
  double least = std::numeric_limits<double>::infinity();  // gap between different heights and the first one
  for (const Vector3d& p : sample) {
    if (!IsMultiple(p[axis], step)) return false;
    const double gap = std::abs(p[axis] - sample[0][axis]);
    if (gap > step / 2) least = std::min(least, gap);
  }
  return !isLattice || least < 1.5 * step;
}

/// The share of the different values among ascending ones that occur more than once.
double ShareOfRepeated(const std::vector<double>& values) {
  std::size_t different = 0, repeated = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0 && values[i] == values[i - 1]) continue;
    ++different;
    repeated += i + 1 < values.size() && values[i + 1] == values[i] ? 1 : 0;
  }
  return static_cast<double>(repeated) / static_cast<double>(different);
}

/// The squares of how far a point's distance from the shape moves when it moves along each axis: of a surface
/// those of its normal, of a curve the mean of both directions across it.
Vector3d AcrossAt(const Model& m, const Vector3d& p) {
  if (m.kind == ShapeKind::kLine) return (1 - m.axis.array().square()) / 2;
  if (m.kind == ShapeKind::kArc) return (1 - m.axis.cross(p - m.center).normalized().array().square()) / 2;
  return WithShape(m, [&](const auto& shape) { return Vector3d(shape.EvalNormal(p).array().square()); });
}

}  // namespace

// Each axis is looked at by itself, strays left out. Then an axis that shows no step may still have that of
// the others. A cloud that fills its lattice was sampled there rather than rounded, which is decided by the
// number of points for each cell of the largest side of the box.
Resolution::Resolution(std::span<const Vector3d> sample, const Vector3d& origin, std::size_t all)
    : origin_(origin) {
  if (sample.empty()) return;
  floats_ = std::all_of(sample.begin(), sample.end(), [](const Vector3d& p) {
    return (p.cast<float>().cast<double>().array() == p.array()).all();
  });
  std::vector<double> values(sample.size());
  const auto strays = static_cast<std::ptrdiff_t>(kStrays * static_cast<double>(sample.size()));
  double finest = std::numeric_limits<double>::infinity();
  Vector3d middle, steps = Vector3d::Zero(), range;
  for (Eigen::Index axis = 0; axis < 3; ++axis) {
    std::transform(sample.begin(), sample.end(), values.begin(), [&](const Vector3d& p) { return p[axis]; });
    std::sort(values.begin(), values.end());
    middle[axis] = values[values.size() / 2];
    range[axis] = *(values.end() - strays - 1) - values[static_cast<std::size_t>(strays)];
    Axis& a = axes_[static_cast<std::size_t>(axis)] =
        AxisOf({values.begin() + strays, values.end() - strays});
    if (a.grid > 0) finest = std::min(finest, a.grid);
    steps[axis] = a.grid;
    for (std::size_t i = 1; i < a.levels.size(); ++i)
      steps[axis] = std::max(steps[axis], a.levels[i] - a.levels[i - 1]);
  }
  const double area = std::max({range.x() * range.y(), range.y() * range.z(), range.z() * range.x()});
  const double cells = area / (finest * finest);
  const bool isLattice = !(static_cast<double>(all) < kFull * cells);
  for (Eigen::Index axis = 0; axis < 3 && std::isfinite(finest); ++axis) {
    Axis& a = axes_[static_cast<std::size_t>(axis)];
    if (a.grid > 0 || !a.levels.empty() || !IsRoundedLike(sample, axis, finest, isLattice)) continue;
    steps[axis] = a.grid = finest;
  }
  coarsest_ = (FormatAt(middle - origin_) + steps).norm();
}

// A grid shows in the gaps between different values: all are multiples of the smallest. Levels of unequal
// steps show in the values, which repeat.
Resolution::Axis Resolution::AxisOf(std::vector<double> values) {
  Axis axis;
  if (values.empty()) return axis;
  const double same = 1e-9 * (values.back() - values.front());
  double step = std::numeric_limits<double>::infinity();
  std::vector<double> gaps;
  for (std::size_t i = 1; i < values.size(); ++i) {
    const double gap = values[i] - values[i - 1];
    if (!(gap > same)) continue;
    gaps.push_back(gap);
    step = std::min(step, gap);
  }
  if (gaps.size() >= kGaps &&
      std::all_of(gaps.begin(), gaps.end(), [&](double gap) { return IsMultiple(gap, step); })) {
    axis.grid = step;
  } else if (gaps.size() + 1 >= kLevels && ShareOfRepeated(values) >= kRepeated) {
    values.erase(std::unique(values.begin(), values.end()), values.end());
    axis.levels = std::move(values);
  }
  return axis;
}

// Steps of a number format grow with the numbers, so they are those of the caller's coordinates.
Vector3d Resolution::FormatAt(const Vector3d& p) const {
  const Vector3d given = p + origin_;
  return {UlpOf(given.x(), floats_), UlpOf(given.y(), floats_), UlpOf(given.z(), floats_)};
}

Vector3d Resolution::RoundedAt(const Vector3d& p) const {
  Vector3d steps = floats_ ? FormatAt(p) : Vector3d(Vector3d::Zero());
  for (Eigen::Index i = 0; i < 3; ++i) {
    const Axis& axis = axes_[static_cast<std::size_t>(i)];
    steps[i] = std::max(steps[i], axis.grid);
    if (axis.levels.empty()) continue;
    const auto& levels = axis.levels;
    const auto next = std::upper_bound(levels.begin() + 1, levels.end() - 1, p[i] + origin_[i]);
    steps[i] = *next - *(next - 1);
  }
  return steps;
}

double Resolution::GridStep() const {
  double coarsest = 0;
  int gridded = 0;
  for (const Axis& axis : axes_) {
    gridded += axis.grid > 0 ? 1 : 0;
    coarsest = std::max(coarsest, axis.grid);
  }
  return gridded >= 2 ? coarsest : 0;
}

namespace {

/// What the coordinates of inliers and their steps are on the mean, along each axis.
struct StepsAcross {
  Vector3d format = Vector3d::Zero();   ///< square of the number format's step across the shape
  Vector3d rounded = Vector3d::Zero();  ///< the same of the step of rounding
  Vector3d passed = Vector3d::Zero();   ///< steps that the inliers pass
  double farthest = 0;                  ///< largest distance from the shape's centre
};

/// The mean over the inliers. A step along an axis moves a point across the shape by its share of the normal,
/// so the squares of steps count by the squares of the normal's components. The spread is taken about the
/// first inlier, which keeps the digits that squares of large coordinates would lose.
StepsAcross StepsAcrossOf(const Resolution& resolution, const Model& model,
                          std::span<const Vector3d> inliers) {
  const auto n = static_cast<double>(inliers.size());
  StepsAcross s;
  Vector3d step = Vector3d::Zero(), mean = step, squared = step;  // the last two about the first inlier
  for (const Vector3d& p : inliers) {
    const Vector3d share = AcrossAt(model, p), steps = resolution.RoundedAt(p);
    s.format += share.cwiseProduct(resolution.FormatAt(p).cwiseAbs2()) / n;
    s.rounded += share.cwiseProduct(steps.cwiseAbs2()) / n;
    step += steps / n;
    mean += (p - inliers[0]) / n;
    squared += (p - inliers[0]).cwiseAbs2() / n;
    s.farthest = std::max(s.farthest, (p - model.center).norm());
  }
  for (Eigen::Index i = 0; i < 3; ++i) {
    if (!(step[i] > 0)) continue;
    const double spread = std::max(squared[i] - mean[i] * mean[i], 0.0);
    s.passed[i] = std::sqrt(12 * spread) / step[i];  // of values spread evenly; few others do not count
  }
  return s;
}

}  // namespace

// Values that are spread evenly over a step have a variance of its square over 12, those on two levels, half
// of them on each, a quarter of it. What the noise has beyond that is other noise, which makes the errors of
// neighbours independent: it damps the part that they have in common.
RoundingEffect RoundingOf(const Resolution& resolution, const Model& model, std::span<const Vector3d> inliers,
                          std::size_t all, double noise) {
  RoundingEffect effect;
  if (inliers.empty()) return effect;
  StepsAcross s = StepsAcrossOf(resolution, model, inliers);
  double squares = s.format.sum();
  double variance = 0, most = 0;  // that rounding leaves, and that it may leave
  for (Eigen::Index i = 0; i < 3; ++i) {
    const bool sampled = s.passed[i] >= kSampled && s.rounded[i] / 12 > 4 * noise * noise;
    if (sampled) s.rounded[i] = 0;
    squares += std::max(s.rounded[i] - s.format[i], 0.0);
    variance += s.rounded[i] / 12;
    most += s.rounded[i] / (s.passed[i] > kFewSteps ? 12 : 4);
  }
  const double across = std::sqrt(squares);
  const double arithmetic =
      kArithmetic * (s.farthest + model.major + (model.kind == ShapeKind::kCone ? 0 : model.minor));
  effect.noise = std::max(across / std::sqrt(12.0), arithmetic);
  effect.tolerance = std::max(kStepsOfInliers * across, 3 * arithmetic);
  const double rest = std::max(0.0, noise * noise - most);
  for (Eigen::Index i = 0; i < 3; ++i) {
    if (!(s.rounded[i] > 0)) continue;
    const double harmonic = std::exp(-4 * std::numbers::pi * std::numbers::pi * rest / s.rounded[i]);
    effect.common +=
        s.rounded[i] / 12 * harmonic / std::max(1.0, s.passed[i] * s.passed[i]) * static_cast<double>(all);
  }
  if (variance > rest) effect.coarse = across;
  return effect;
}

}  // namespace primfit::adaptive
