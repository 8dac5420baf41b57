#include "adaptive/evidence/misfit.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>

#include "adaptive/evidence/residuals.h"
#include "adaptive/evidence/text.h"

namespace primfit::adaptive {

namespace {

/// Inliers that are looked at first, and again where these leave a doubt. The second number lets an error of
/// form be seen from a third of the noise on.
constexpr std::size_t kFirstPoints = 1024, kMostPoints = 4096;
/// Fewer say nothing of their distribution.
constexpr std::size_t kFewestPoints = 30;
/// Points that deviate by less than this share of their extent lie on the shape for all purposes; what the
/// deviations look like is then the business of rounding.
constexpr double kExactShare = 2e-5;

// The statistic of Kolmogorov and Smirnov, times the root of the number of points.
/// Of noise it is larger in 7 of 10 000 fits.
constexpr double kTooFewNear = 1.9;
/// In 1 of 50.
constexpr double kFewNear = 1.4;
/// In 1 of 4: then more points are looked at.
constexpr double kPerhapsFewNear = 0.8;
/// So much may be missing besides: noise is never quite normal.
constexpr double kMayBeMissing = 0.03;

// Errors of form, in standard deviations of what they leave. A shape with more parameters gives way to more
// of another form, so that less of it is left to be seen; and that form has falsified its sizes. A plane has
// no size: floors and walls are bent by more than the noise of a scanner and are planes all the same.
constexpr double kFormOfPlane = 2, kFormOfPlaneAmongWaves = 4;
constexpr double kFormOfSphereOrCylinder = 0.6, kFormOfConeOrTorus = 0.5;
constexpr double kPerhapsForm = 0.2;
/// Where too few points lie near a curved shape as well.
constexpr double kFormOfDoubled = 0.35;
/// In standard deviations of all the noise, where neighbouring points err together: a depth camera's errors
/// are waves, of which a polynomial explains a part.
constexpr double kFormAmongWaves = 0.75;
/// A form larger than this many times what it leaves explains why few points lie near the shape.
constexpr double kFormKeepsAway = 2;

// Two surfaces: a valley of the signed distances, in slots of this share of their noise.
constexpr double kSlotOfNoise = 0.5;
constexpr double kDeepValley = 0.4, kSignificantValley = 8;
/// Points of a cell, and the correlation in it from which on the noise is made of waves.
constexpr double kLargeCell = 40, kSmallCell = 8;
constexpr double kWaves = 0.15;
/// Most of the deviations is common to close neighbours, and much of it to far ones.
constexpr double kCommonToClose = 0.8, kCommonToFar = 1.0 / 3;
/// How far F has to be above 1, in its standard deviations.
constexpr double kSignificant = 5;

constexpr int kGridCells = 5;

NoiseModel NoiseModelOf(const Converged& c) {
  NoiseModel model{.curve = c.model.IsCurve(), .noise = c.noise, .tolerance = c.tolerance};
  const double beside = static_cast<double>(c.justBeyond) / (model.curve ? 3 : 1);
  model.strayShare = std::min(1.0, beside / static_cast<double>(c.inliers.size()));
  return model;
}

double RootMeanSquare(std::span<const double> values) {
  const double squares = std::inner_product(values.begin(), values.end(), values.begin(), 0.0);
  return std::sqrt(squares / static_cast<double>(values.size()));
}

/// The statistic of Kolmogorov and Smirnov times the root of the number of points, less what may be missing.
double FewNear(double shortfall, std::size_t count, double mayBeMissing) {
  return (shortfall - mayBeMissing) * std::sqrt(static_cast<double>(count));
}

/// Whether a form explains more than noise would let it: F, the ratio of the mean squares, has about the
/// variance 2 / terms + 2 / others. Of points that err together there are fewer by the design effect of
/// Kish (1965).
bool IsSignificant(const SmoothForm& form, double count, double correlation) {
  const double independent = count / (1 + (kLargeCell - 1) * correlation);
  const double others = independent - form.terms;
  if (form.terms == 0 || !(others > 1)) return false;
  const double f = form.form * form.form / form.terms / (form.rest * form.rest / others);
  return f > 1 + kSignificant * std::sqrt(2.0 / form.terms + 2 / others);
}

/// The points' own form over the shape, and how alike neighbours are in what it leaves.
struct Form {
  SmoothForm smooth;
  double size = 0;  ///< root mean square, less what a polynomial explains of noise
  double correlation = 0;
};
Form FormOf(const Residuals& residuals) {
  Form form{.smooth = SmoothFormOf(residuals)};
  const SmoothForm& smooth = form.smooth;
  if (smooth.terms == 0) return form;
  const double byChance = smooth.terms / static_cast<double>(residuals.Count());
  form.size = std::sqrt(std::max(0.0, smooth.form * smooth.form - byChance * smooth.rest * smooth.rest));
  form.correlation = CorrelationInCells(residuals.feet, smooth.distances, kLargeCell);
  return form;
}

/// Whether the distances of the inliers are those of one surface with noise at all. Where the noise is as
/// large as a radius they are not: points do not lie farther inside than the axis or centre.
bool HasSpaceForNoise(const Converged& c) {
  const bool isRound = c.model.minor > 0 && c.model.kind != ShapeKind::kCone;
  return !isRound || c.tolerance < c.model.minor;
}

/// The share of points that are missing near the shape, beside what its own form keeps away from it.
double ShortfallBesideForm(const Form& form, double shortfall) {
  const SmoothForm& smooth = form.smooth;
  if (smooth.terms == 0 || form.size <= kFormKeepsAway * smooth.rest) return shortfall;
  const auto [low, high] = std::minmax_element(smooth.distances.begin(), smooth.distances.end());
  return ShortfallNearShape(smooth.distances, {.noise = smooth.rest, .tolerance = std::max(-*low, *high)});
}

std::string WhyTwoSurfaces(double missing) {
  return Text(
      "the distances are no noise: %.0f %% of the points are missing near the shape, as between two surfaces",
      100 * missing);
}

/// Why the points are those of two surfaces and not of one between them.
std::string WhyFewNear(const Residuals& residuals, const Form& form, double shortfall, double noise) {
  const double missing = ShortfallBesideForm(form, shortfall);
  if (FewNear(missing, residuals.Count(), kMayBeMissing) > kTooFewNear) return WhyTwoSurfaces(missing);
  if (FewNear(shortfall, residuals.Count(), kMayBeMissing) <= kTooFewNear) return {};
  const Valley valley = DeepestValley(residuals.distances, kSlotOfNoise * noise);
  const bool isDeep = valley.depth > kDeepValley && valley.significance > kSignificantValley;
  return isDeep ? WhyTwoSurfaces(shortfall) : std::string();
}

/// The largest form over a shape of some kind that may be.
double LargestForm(ShapeKind kind, const Form& form, bool isDoubled, double noise) {
  const bool amongWaves = form.correlation > kWaves;
  if (kind == ShapeKind::kPlane)
    return (amongWaves ? kFormOfPlaneAmongWaves : kFormOfPlane) * form.smooth.rest;
  if (amongWaves) return kFormAmongWaves * noise;
  if (isDoubled) return kFormOfDoubled * form.smooth.rest;
  const bool isSimple = kind == ShapeKind::kSphere || kind == ShapeKind::kCylinder;
  return (isSimple ? kFormOfSphereOrCylinder : kFormOfConeOrTorus) * form.smooth.rest;
}

/// Why a smooth form on the shape is none of its noise.
std::string WhyForm(ShapeKind kind, const Form& form, std::size_t count, double shortfall,
                    const ToldNoise& told, double noise) {
  const SmoothForm& smooth = form.smooth;
  const bool isDoubled = FewNear(shortfall, count, 0) > kFewNear;
  const double largest = std::max(LargestForm(kind, form, isDoubled, noise), told.value_or(0));
  if (form.size <= largest || !IsSignificant(smooth, static_cast<double>(count), form.correlation)) return {};
  return Text("the points follow another form: it is %.2g off the shape, %.1f times the noise about it",
              form.size, form.size / smooth.rest);
}

/// Why waves on the shape are none of its noise.
std::string WhyWaves(const Residuals& residuals, const Form& form) {
  if (form.correlation < kCommonToFar) return {};
  const double close = CorrelationInCells(residuals.feet, form.smooth.distances, kSmallCell);
  if (close < kCommonToClose) return {};
  return Text("the distances are no noise: neighbouring points have %.0f %% of their variance in common",
              100 * close);
}

/// Whether a first look at few points leaves a doubt.
bool IsDoubtful(const Residuals& first, const NoiseModel& noise) {
  if (FewNear(ShortfallNearShape(first.distances, noise), first.Count(), 0) > kPerhapsFewNear) return true;
  return !noise.curve && VariancesOfGrid(first, kGridCells).ExplainedOverRest(first.Count()) >= kPerhapsForm;
}

}  // namespace

// A first look at few points costs little and is enough for nearly all right shapes.
std::string WhyMisfit(const Converged& c, std::span<const Eigen::Vector3d> points, const ToldNoise& told) {
  if (c.inliers.size() < kFewestPoints || !(c.noise > 0)) return {};
  const NoiseModel noise = NoiseModelOf(c);
  const Residuals first = ResidualsOf(c.model, points, c.inliers, kFirstPoints);
  if (RootMeanSquare(first.distances) < kExactShare * SideOfBox(first.feet)) return {};
  if (!IsDoubtful(first, noise)) return {};
  const Residuals residuals = ResidualsOf(c.model, points, c.inliers, kMostPoints);
  // Distances in steps of the coordinates have no smooth distribution.
  const bool isSmooth = c.rounding.coarse == 0 && HasSpaceForNoise(c);
  const double shortfall = isSmooth ? ShortfallNearShape(residuals.distances, noise) : 0;
  const Form form = noise.curve ? Form{} : FormOf(residuals);
  std::string why = WhyFewNear(residuals, form, shortfall, c.noise);
  if (!why.empty() || form.smooth.terms == 0) return why;
  why = WhyForm(c.model.kind, form, residuals.Count(), shortfall, told, c.noise);
  return why.empty() ? WhyWaves(residuals, form) : why;
}

}  // namespace primfit::adaptive
