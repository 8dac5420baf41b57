#include "adaptive/fit_few_points.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "adaptive/evidence/text.h"
#include "adaptive/fit_all_points.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Of more points a search finds a shape among clutter by itself.
constexpr std::size_t kFew = 20;
/// Least squares of points anywhere leave a noise of less than the share s of their spread with a probability
/// of about (10 s)^k, for k equations more than parameters; of points in a cube it is (3 s)^k, of those in a
/// slab a fifth as thick (9 s)^k.
constexpr double kSpreads = 10;
/// So improbable the noise has to be.
constexpr double kChance = 1e-3;
/// Less noise, as a share of the spread, is rounding.
constexpr double kExact = 1e-12;
/// Noise of few points may be estimated so many times too large.
constexpr double kMostOfTold = 2;

double SpreadOf(std::span<const Vector3d> points) {
  const auto n = static_cast<double>(points.size());
  Vector3d mean = Vector3d::Zero();
  for (const Vector3d& p : points) mean += p / n;
  double squares = 0;
  for (const Vector3d& p : points) squares += (p - mean).squaredNorm() / n;
  return std::sqrt(squares);
}

/// How improbable it is by chance that some of the points lie so near a shape, whichever they are: -ln of the
/// probability of their noise and of the number of such choices.
double NatsOf(const Converged& c, unsigned held, std::span<const Vector3d> points) {
  const auto n = static_cast<double>(points.size()), m = static_cast<double>(c.inliers.size());
  const double equations = m * (c.model.IsCurve() ? 2 : 1);
  const double redundancy = equations - FreeParametersOf(c.model, held | c.atEnd).count;
  const double share = std::max(kSpreads * c.noise / SpreadOf(points), kExact);
  const double choices = std::lgamma(n + 1) - std::lgamma(m + 1) - std::lgamma(n - m + 1);
  return -std::max(redundancy, 0.0) * std::log(share) - choices;
}

bool IsAsTold(const Converged& c, const FitOptionsBase& options) {
  if (options.tolerance && c.tolerance > *options.tolerance) return false;
  return !options.noise || c.noise <= kMostOfTold * *options.noise;
}

}  // namespace

bool AreFew(std::size_t points) { return points < kFew; }

std::optional<Outcome> FitFewPoints(ShapeKind kind, const std::optional<Converged>& found, Scene& scene,
                                    const FitOptionsBase& options, const Start& start, Budget& budget) {
  const auto points = scene.Points();
  if (found && found->inliers.size() == points.size()) return std::nullopt;
  try {
    Outcome outcome = FitAllPoints(kind, scene, options, start, budget);
    const double nats = NatsOf(outcome.converged, start.held, points);
    if (!(nats >= -std::log(kChance)) || !IsAsTold(outcome.converged, options)) return std::nullopt;
    if (found && NatsOf(*found, start.held, points) > nats) return std::nullopt;
    if (outcome.report.verdict == Verdict::kGood) {
      outcome.report.verdict = Verdict::kWeak;
      outcome.report.reason = Text(
          "only %zu points, all of them fitted: nothing would tell a stray one among them", points.size());
    }
    return outcome;
  } catch (const FitError&) {  // no shape of all points, which is not all that there may be
    return std::nullopt;
  }
}

}  // namespace primfit::adaptive
