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

// Errors of form, in standard deviations of what they leave.
constexpr double kForm = 0.5;
constexpr double kPerhapsForm = 0.2;
/// Where too few points lie near the shape as well.
constexpr double kFormOfDoubled = 0.35;
/// In standard deviations of all the noise, where neighbouring points err together: a depth camera's errors
/// are waves, of which a polynomial explains a part.
constexpr double kFormAmongWaves = 0.75;
/// Points of a cell, and the correlation in it from which on the noise is made of waves.
constexpr double kLargeCell = 40, kSmallCell = 8;
constexpr double kWaves = 0.15;
/// Most of the deviations is common to close neighbours, and much of it to far ones.
constexpr double kCommonToClose = 0.7, kCommonToFar = 1.0 / 3;
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

std::string WhyFewNear(double shortfall) {
  return Text(
      "the distances are no noise: %.0f %% of the points are missing near the shape, as between two surfaces",
      100 * shortfall);
}

/// Why a smooth form or waves on the shape are none of its noise.
std::string WhyForm(const Residuals& residuals, double shortfall, double noise) {
  const SmoothForm smooth = SmoothFormOf(residuals);
  if (smooth.terms == 0) return {};
  const double correlation = CorrelationInCells(residuals.feet, smooth.distances, kLargeCell);
  const double byChance = smooth.terms / static_cast<double>(residuals.Count());
  const double form =
      std::sqrt(std::max(0.0, smooth.form * smooth.form - byChance * smooth.rest * smooth.rest));
  const bool isDoubled = FewNear(shortfall, residuals.Count(), 0) > kFewNear;
  const bool isForm = correlation > kWaves ? form > kFormAmongWaves * noise
                                           : form > (isDoubled ? kFormOfDoubled : kForm) * smooth.rest;
  if (isForm && IsSignificant(smooth, static_cast<double>(residuals.Count()), correlation))
    return Text("the points follow another form: it is %.2g off the shape, %.1f times the noise about it",
                form, form / smooth.rest);
  if (correlation < kCommonToFar) return {};
  const double close = CorrelationInCells(residuals.feet, smooth.distances, kSmallCell);
  if (close < kCommonToClose) return {};
  return Text("the distances are no noise: neighbouring points have %.0f %% of their variance in common",
              100 * close);
}

}  // namespace

// A first look at few points costs little and is enough for nearly all right shapes.
std::string WhyMisfit(const Converged& c, std::span<const Eigen::Vector3d> points) {
  if (c.inliers.size() < kFewestPoints || !(c.noise > 0)) return {};
  const NoiseModel noise = NoiseModelOf(c);
  const Residuals first = ResidualsOf(c.model, points, c.inliers, kFirstPoints);
  if (RootMeanSquare(first.distances) < kExactShare * SideOfBox(first.feet)) return {};
  const bool fewNear =
      FewNear(ShortfallNearShape(first.distances, noise), first.Count(), 0) > kPerhapsFewNear;
  const bool isCurve = c.model.IsCurve();
  if (!fewNear &&
      (isCurve || VariancesOfGrid(first, kGridCells).ExplainedOverRest(first.Count()) < kPerhapsForm))
    return {};
  const Residuals residuals = ResidualsOf(c.model, points, c.inliers, kMostPoints);
  // Distances in steps of the coordinates have no smooth distribution.
  const double shortfall = c.rounding.coarse > 0 ? 0 : ShortfallNearShape(residuals.distances, noise);
  if (FewNear(shortfall, residuals.Count(), kMayBeMissing) > kTooFewNear) return WhyFewNear(shortfall);
  return isCurve ? std::string() : WhyForm(residuals, shortfall, c.noise);
}

}  // namespace primfit::adaptive
