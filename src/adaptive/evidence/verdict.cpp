#include "adaptive/evidence/verdict.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

#include "adaptive/converge/noise.h"
#include "adaptive/evidence/text.h"
#include "optimize/covariance.h"

namespace primfit::adaptive {

namespace {

/// A shape that fewer points support may be true, but a person should look whether it is the one that was
/// meant.
constexpr double kWeakShare = 0.1;
/// A size or direction is hardly known when it is not known to this share, a direction when not to these
/// radians.
constexpr double kHardly = 0.1;
/// Points beside the inliers that are more than this share of them in some direction are no clutter.
constexpr double kMostStrays = 0.5;

/// What is called the first of some parts.
const char* NameOf(unsigned parts, ShapeKind kind) {
  return primfit::NameOf((parts & kAxis) != 0    ? ParameterKind::kDirection
                         : (parts & kMajor) != 0 ? ParameterKind::kMajorRadius
                                                 : FactsOf(kind).minor.value_or(ParameterKind::kRadius));
}

/// The largest standard deviation that says something. A covariance is that of small changes about the shape:
/// of a quantity that is not known to its own size it tells nothing but that.
double LargestKnown(ParameterKind kind, const Converged& c) {
  if (kind == ParameterKind::kPosition) return c.feet.sums.lengthScale;
  return kind == ParameterKind::kDirection ? std::numbers::pi / 2 : c.model.Size(ComponentOf(kind));
}

/// A sum of normal equations, of which only the matrix is taken.
NormalEquations Combined(double a, const NormalEquations& first, double b, const NormalEquations& second,
                         int count) {
  NormalEquations sum = first;
  for (int i = 0; i < count; ++i) {
    for (int j = 0; j < count; ++j) sum.matrix[i][j] = a * first.matrix[i][j] + b * second.matrix[i][j];
  }
  return sum;
}

/// Noise squared times the inverse of the normal equations, enlarged by what the cut of the distribution's
/// ends costs, and by the rounding that all inliers have in common.
Eigen::MatrixXd WithoutStrays(const Converged& c, double inflation, int count) {
  return primfit::CovarianceOf(c.feet.sums, c.feet.squared ? &*c.feet.squared : nullptr, count,
                               static_cast<double>(c.inliers.size()),
                               c.noise * c.noise * inflation + c.rounding.common);
}

/// The same with clutter among the inliers. A point counts up to the tolerance b and not beyond, so the shape
/// solves sum psi(r) g = 0 over distances r and their derivatives g with psi(r) = r up to b and 0 beyond. The
/// covariance of such an estimate is H^-1 J H^-1 with J = sum psi^2 g g^T and H = sum E(psi') g g^T (Huber
/// 1981). As the shape moves, points come in at one edge and go out at the other, and these jumps are part of
/// psi': E(psi') is the share of points within b less b times their densities at both edges. For clutter,
/// which is spread evenly over 2 b, this is 0: it adds nothing to H and b^2 / 3 each to J (about a curve
/// b^2 / 4). For the rest H is that of all inliers less the clutter's, over the inflation.
Eigen::MatrixXd WithStrays(const Converged& c, double inflation, int count) {
  const auto squaredOf = [](const FeetSums& f) -> const NormalEquations& {
    return f.squared ? *f.squared : f.sums;
  };
  const auto n = static_cast<double>(c.inliers.size());
  const FeetSums &all = c.feet, &strays = c.strays.feet;
  const double share =
      std::min(c.strays.countWithin / n, kMostStrays / LargestRatio(strays.sums, all.sums, count));
  const double variance = c.noise * c.noise * inflation + c.rounding.common;
  const double bound = c.tolerance * inflation;
  const double strayVariance = bound * bound / (c.model.IsCurve() ? 4 : 3);
  const NormalEquations h = Combined(1, all.sums, -share, strays.sums, count);
  const NormalEquations j =
      Combined(variance, squaredOf(all), share * (strayVariance - variance), squaredOf(strays), count);
  return primfit::CovarianceOf(h, &j, count, n, 1);
}

}  // namespace

FitCovariance CovarianceOf(const Converged& c, unsigned held) {
  const FreeParameters parameters = FreeParametersOf(c.model, held | c.atEnd);
  FitCovariance covariance;
  if (parameters.count == 0) return covariance;
  const double inflation = c.isOfAllPoints ? 1 : VarianceInflation(c.model.IsCurve());
  Eigen::MatrixXd matrix = c.strays.countWithin > 0 ? WithStrays(c, inflation, parameters.count)
                                                    : WithoutStrays(c, inflation, parameters.count);
  for (int i = 0; i < parameters.count; ++i) {
    const auto& f = parameters.each[i];
    // false for an infinite one too
    if (!c.isRedundant || !(std::sqrt(matrix(i, i)) <= LargestKnown(f.kind, c))) MakeUnknown(i, matrix);
    covariance.parameters.push_back({f.kind, f.direction, std::sqrt(matrix(i, i))});
  }
  covariance.matrix = matrix;
  return covariance;
}

namespace {

/// Why a parameter is hardly determined, empty where it is.
std::string WhyHardly(const FitParameter& p, const Model& m) {
  const bool place = p.kind == ParameterKind::kPosition, size = !place && p.kind != ParameterKind::kDirection;
  const double known = p.standardDeviation / (size ? m.Size(ComponentOf(p.kind)) : 1);
  if (std::isinf(known)) return Text("the points do not determine the %s", p.Name());
  if (place || known <= kHardly) return {};
  if (!size)
    return Text("the direction is known to no better than %.0f degrees", known * 180 / std::numbers::pi);
  return Text("the %s is known to no better than %.0f %%: other shapes explain the points as well", p.Name(),
              100 * known);
}

const char* NameOf(ShapeKind kind) {
  const char* name = "";
  ForEachPrimitive([&]<class D>(D) {
    if (D::kKind == kind && D::kBounds != Bounds::kOutline && *name == 0) name = D::kName.data();
  });
  return name;
}

std::string WhySimpler(const Model& simpler, double rmsRatio) {
  return Text("a %s explains the points as well: their distances from it are %.2f times those from the shape",
              NameOf(simpler.kind), rmsRatio);
}

}  // namespace

// The first of these that holds is said: a parameter that is hardly known makes all else about the shape
// doubtful, an end of a range tells that the options may be wrong, a simpler shape leaves no reason to look
// at the distances from this one, few inliers are the mildest, and say nothing where the caller told the
// place.
void StateVerdict(const Converged& c, const FitCovariance& covariance, const Doubts& doubts,
                  FitReport& report) {
  const Model& m = c.model;
  report.verdict = Verdict::kGood;
  report.reason = c.isAtPlace ? Text("%zu points about the place support the shape", c.inliers.size())
                              : Text("%.0f %% of the points support the shape", 100 * report.inlierShare);
  if (c.rounding.coarse > 0)
    report.reason += "; their coordinates are rounded more coarsely than the rest of the noise";
  if (!c.isRedundant) {
    report.verdict = Verdict::kWeak;
    report.reason = "there are no more points than the shape needs: nothing says how exact it is";
    return;
  }
  // Sizes come last and say most.
  for (auto p = covariance.parameters.rbegin(); p != covariance.parameters.rend(); ++p) {
    const std::string why = WhyHardly(*p, m);
    if (why.empty()) continue;
    report.verdict = Verdict::kAmbiguous;
    report.reason = why;
    return;
  }
  if (c.atEnd != 0) {
    report.verdict = Verdict::kAtLimit;
    report.reason = Text("the %s is at an end of its range: a shape beyond explains the points better",
                         NameOf(c.atEnd, m.kind));
    return;
  }
  if (covariance.parameters.empty()) report.reason = "every part is held: nothing was fitted";
  if (doubts.simpler) {
    report.verdict = Verdict::kSimpler;
    report.reason = WhySimpler(*doubts.simpler, doubts.simplerRmsRatio);
    return;
  }
  if (!doubts.misfit.empty()) {
    report.verdict = Verdict::kMisfit;
    report.reason = doubts.misfit;
    return;
  }
  if (!c.isAtPlace && report.inlierShare + c.supportBeside < kWeakShare) {
    report.verdict = Verdict::kWeak;
    report.reason = Text("only %.1f %% of the points support the best shape", 100 * report.inlierShare);
  }
}

}  // namespace primfit::adaptive
