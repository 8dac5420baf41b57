#include "hard_cases_judgement.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <numbers>

#include "adaptive/model/model.h"
#include "adaptive/model/refine.h"
#include "optimize/covariance.h"

namespace primfit::bench {

using Eigen::Vector3d;

namespace {

constexpr int kRefinements = 50;
/// A right fit deviates by a share of the noise at the most, but where points are few by some standard
/// deviations of the mean deviation of a least-squares fit: sigma sqrt(parameters / points).
constexpr double kShareOfNoise = 0.25, kDeviations = 6;
constexpr double kShareOfSize = 0.05, kSizeDeviations = 5;
/// Standard deviations within which a parameter is called covered.
constexpr double kCovered = 3;
/// What a user knows of a size and of a direction.
constexpr double kKnownShare = 0.2, kKnownAngle = 10 * std::numbers::pi / 180;
/// The tolerance that a user tells, and how near a place that he shows is, in standard deviations.
constexpr double kInliersWithin = 3;

/// Standard deviation of a size in the least-squares fit of the true points.
double SizeDeviation(const adaptive::FreeParameters& parameters, const Eigen::MatrixXd& covariance,
                     Component size) {
  for (int i = 0; i < parameters.count; ++i) {
    const ParameterKind kind = parameters.each[i].kind;
    const bool isSize = kind != ParameterKind::kPosition && kind != ParameterKind::kDirection;
    if (isSize && ComponentOf(kind) == size) return std::sqrt(covariance(i, i));
  }
  return 0;
}

double MillisecondsOfProcessor() { return 1000.0 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

/// How many of an answer's parameters are near the truth, for the deviations that it states.
int CountCovered(const Answer& answer, const Model& truth) {
  const Model& got = answer.model;
  const Vector3d axis = truth.axis.dot(got.axis) < 0 ? Vector3d(-truth.axis) : truth.axis;
  const Vector3d at = answer.covariance.position;
  const Slides slides = FactsOf(truth.kind).slides;
  const Vector3d center = slides == Slides::kAlongAxis
                              ? Vector3d(truth.center + axis * axis.dot(at - truth.center))
                              : truth.center;
  const auto isCovered = [&](const FitParameter& p) {
    const Vector3d& way = slides == Slides::kInPlane ? axis : p.direction;
    const double error = p.kind == ParameterKind::kPosition ? way.dot(center - at)
                         : p.kind == ParameterKind::kDirection
                             ? p.direction.dot(axis - got.axis)
                             : truth.Size(ComponentOf(p.kind)) - got.Size(ComponentOf(p.kind));
    return std::abs(error) <= kCovered * p.standardDeviation;
  };
  const auto& parameters = answer.covariance.parameters;
  return static_cast<int>(std::count_if(parameters.begin(), parameters.end(), isCovered));
}

}  // namespace

double Deviation(const Model& model, const TrueSurface& surface) {
  return RootMeanSquareDistance(model, surface.exact);
}

Limit LimitOf(const TrueSurface& surface, const CaseTraits& traits) {
  Limit limit{.model = surface.model};
  const auto refs = adaptive::RefsOf(surface.measured);
  if (const auto best = adaptive::Refine(surface.model, 0, refs, kRefinements)) limit.model = *best;
  limit.error = Deviation(limit.model, surface);
  const double n = static_cast<double>(surface.measured.size()), sigma = surface.Sigma();
  const auto parameters = adaptive::FreeParametersOf(surface.model, 0);
  limit.largestError = sigma * std::max(traits.isTruthMeasured ? 1 : kShareOfNoise,
                                        kDeviations * std::sqrt(parameters.count / n));
  const auto sums = adaptive::SumsAt(surface.model, 0, adaptive::RefsOf(surface.exact));
  const auto covariance = CovarianceOf(sums, nullptr, parameters.count, n, sigma * sigma);
  const auto largest = [&](Component size) {
    const double value = surface.model.Size(size);
    if (traits.sizesWithin > 0) return traits.sizesWithin * value;
    return std::max(kShareOfSize * value, kSizeDeviations * SizeDeviation(parameters, covariance, size));
  };
  limit.majorError = largest(kMajor);
  limit.minorError = largest(kMinor);
  return limit;
}

PreparedScene Prepare(const HardCase& hardCase, std::uint64_t seed) {
  PreparedScene prepared{hardCase.SceneOf(seed), {}};
  for (const TrueSurface& surface : prepared.scene.accepted)
    prepared.limits.push_back(LimitOf(surface, hardCase.traits));
  return prepared;
}

bool IsRight(const Model& model, const TrueSurface& surface, const Limit& limit) {
  const KindFacts& facts = FactsOf(model.kind);
  const auto differs = [&](Component size, double most) {
    return std::abs(model.Size(size) - surface.model.Size(size)) > most;
  };
  if (facts.major && differs(kMajor, limit.majorError)) return false;
  if (facts.minor && differs(kMinor, limit.minorError)) return false;
  return Deviation(model, surface) <= limit.largestError;
}

namespace {

SizeRange About(double size) { return {(1 - kKnownShare) * size, (1 + kKnownShare) * size}; }

void TellSizes(const Model& model, FitOptionsBase& options) {
  const KindFacts& facts = FactsOf(model.kind);
  if (facts.major) {
    options.radius = About(model.major);
    options.minorRadius = About(model.minor);
  } else if (facts.minor == ParameterKind::kHalfAngle) {
    options.halfAngle = About(model.minor);
    options.halfAngle.high = std::min(options.halfAngle.high, std::numbers::pi / 2);
  } else {
    options.radius = About(model.minor);
  }
}

void TellAxis(const Model& model, Random& random, FitOptionsBase& options) {
  const Vector3d beside = model.axis.cross(Vector3d(random.Gauss(), random.Gauss(), random.Gauss()));
  options.axisNear = model.axis + random.Uniform(0, std::tan(kKnownAngle / 2)) * beside.normalized();
  options.axisWithin = kKnownAngle;
}

void TellPlace(const TrueSurface& surface, Random& random, FitOptionsBase& options) {
  const int i = random.Index(static_cast<int>(surface.measured.size()));
  options.passes = surface.measured[static_cast<std::size_t>(i)];
  options.passesWithin = kInliersWithin * surface.Sigma();
}

}  // namespace

std::optional<FitOptionsBase> OptionsFor(const HardScene& scene, ShapeKind kind, unsigned hints,
                                         std::uint64_t seed) {
  FitOptionsBase options;
  options.seed = seed;
  const bool isThere = !scene.accepted.empty();
  const KindFacts& facts = FactsOf(kind);
  if ((hints & kTellsSizes) != 0 && !(isThere && facts.minor)) return std::nullopt;
  if ((hints & kTellsAxis) != 0 && !(isThere && facts.hasAxis)) return std::nullopt;
  if ((hints & kTellsPlace) != 0 && !isThere) return std::nullopt;
  Random random(seed);
  const double sigma = isThere ? scene.accepted.front().Sigma() : scene.noise;
  if ((hints & kTellsNoise) != 0) options.noise = sigma;
  if ((hints & kTellsTolerance) != 0) options.tolerance = kInliersWithin * sigma;
  if (!isThere) return options;
  const TrueSurface& surface = scene.accepted.front();
  if ((hints & kTellsSizes) != 0) TellSizes(surface.model, options);
  if ((hints & kTellsAxis) != 0) TellAxis(surface.model, random, options);
  if ((hints & kTellsPlace) != 0) TellPlace(surface, random, options);
  return options;
}

bool Satisfies(const TrueSurface& surface, const FitOptionsBase& options) {
  const Model& model = surface.model;
  const KindFacts& facts = FactsOf(model.kind);
  const auto within = [](const SizeRange& range, double value) {
    return range.low <= value && value <= range.high;
  };
  if (facts.major && !within(options.radius, model.major)) return false;
  if (facts.minor) {
    const SizeRange& range = facts.major                                ? options.minorRadius
                             : facts.minor == ParameterKind::kHalfAngle ? options.halfAngle
                                                                        : options.radius;
    if (!within(range, model.minor)) return false;
  }
  if (facts.hasAxis && options.axisNear) {
    const Vector3d near = options.axisNear->normalized();
    if (std::atan2(near.cross(model.axis).norm(), std::abs(near.dot(model.axis))) > options.axisWithin)
      return false;
  }
  if (!options.passes) return true;
  double distance = 0;
  adaptive::Distances(model, &*options.passes, 1, &distance);
  return distance <= options.passesWithin + kInliersWithin * surface.Sigma();
}

// The processor's time, because other programs on the machine must not count.
Judgement Judge(const HardCase& hardCase, const PreparedScene& prepared, const FitOptionsBase& options) {
  Judgement judgement;
  const double start = MillisecondsOfProcessor();
  std::optional<Answer>& answer = judgement.answer;
  try {
    answer = hardCase.fit(prepared.scene.points, options);
  } catch (const FitError&) {
    judgement.refused = true;
  }
  judgement.milliseconds = MillisecondsOfProcessor() - start;
  if (!answer) return judgement;
  judgement.isGood = answer->report.verdict == Verdict::kGood;
  for (std::size_t i = 0; i < prepared.limits.size() && !judgement.found; ++i) {
    const TrueSurface& surface = prepared.scene.accepted[i];
    if (!Satisfies(surface, options) || !IsRight(answer->model, surface, prepared.limits[i])) continue;
    judgement.found = true;
    if (hardCase.traits.isTruthMeasured) break;
    judgement.error = Deviation(answer->model, surface);
    judgement.limit = prepared.limits[i].error;
    judgement.parameters = static_cast<int>(answer->covariance.parameters.size());
    judgement.covered = CountCovered(*answer, surface.model);
  }
  return judgement;
}

}  // namespace primfit::bench
