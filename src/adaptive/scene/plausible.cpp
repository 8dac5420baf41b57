#include "adaptive/scene/plausible.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>
#include <optional>

#include "fit/held_parts.h"
#include "fit/messages.h"
#include "fit/vector_math.h"
#include "primfit/fit/scoped_seed.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

void Require(bool holds, const Failure& failure) {
  if (!holds) throw FitError(failure);
}

/// The range that the options give a size.
const SizeRange& RangeOf(ParameterKind size, const FitOptionsBase& options) {
  if (size == ParameterKind::kHalfAngle) return options.halfAngle;
  return size == ParameterKind::kMinorRadius ? options.minorRadius : options.radius;
}

}  // namespace

// Comparisons are written so that a NaN fails them.
void RequireInRange(const FitOptionsBase& o, std::size_t points) {
  const auto positive = [](const std::optional<double>& v) { return !v || (*v > 0 && std::isfinite(*v)); };
  const auto range = [](const SizeRange& r) { return r.low >= 0 && r.high >= r.low; };
  const auto isWeight = [](double w) { return w >= 0 && std::isfinite(w); };
  constexpr double kQuarterTurn = std::numbers::pi / 2;
  using namespace messages;
  Require(o.version >= 1 && o.version <= kFitOptionsVersion, kOptionVersion);
  Require(positive(o.noise), kOptionNoise);
  Require(positive(o.tolerance), kOptionTolerance);
  Require(!o.outlierShare || (*o.outlierShare >= 0 && *o.outlierShare < 1), kOptionOutlierShare);
  Require(o.weights.empty() || o.weights.size() == points, kOptionWeightCount);
  Require(std::all_of(o.weights.begin(), o.weights.end(), isWeight), kOptionWeights);
  Require(o.confidence > 0 && o.confidence < 1, kOptionConfidence);
  Require(o.mostDraws > 0, kOptionMostDraws);
  Require(o.timeLimit > 0, kOptionTimeLimit);
  Require(range(o.radius), kOptionRadius);
  Require(range(o.minorRadius), kOptionMinorRadius);
  Require(range(o.halfAngle) && o.halfAngle.low < kQuarterTurn &&
              (o.halfAngle.high <= kQuarterTurn || std::isinf(o.halfAngle.high)),
          kOptionHalfAngle);
  Require(!o.axisNear || (!o.axisNear->isZero(0) && o.axisNear->allFinite()), kOptionAxisNear);
  Require(o.axisWithin >= 0, kOptionAxisWithin);
  Require(!o.passes || o.passes->allFinite(), kOptionPasses);
  Require(o.passesWithin >= 0, kOptionPassesWithin);
}

void RequireUsable(const Model& m, unsigned held) {
  const auto usable = [&](unsigned part, bool good) { return (held & part) == 0 || good; };
  const bool isAngle = FactsOf(m.kind).minor == ParameterKind::kHalfAngle;
  Require(usable(kCenter, IsPlace(m.center)) && usable(kAxis, IsDirection(m.axis)) &&
              usable(kMajor, IsSize(m.major)) && usable(kMinor, isAngle || IsSize(m.minor)),
          messages::kHeldUnusable);
  if (!isAngle) return;
  const bool told = (held & kMinor) != 0 || held == 0;
  Require(usable(kMinor, m.minor > 0) && !(told && m.minor >= std::numbers::pi / 2),
          messages::kHalfAngleUnusable);
}

std::uint64_t SeedOf(const FitOptionsBase& options) {
  std::uint64_t seed = 0;
  if (options.seed) return *options.seed;
  if (!ScopedSeed::Next(seed))
    seed = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  return seed;
}

Plausible Plausible::In(const Units& units) const {
  Plausible other = *this;
  other.units_ = units;
  return other;
}

// Options are in the caller's lengths, so a model in other units goes there and back.
unsigned Plausible::Clamp(Model& m) const {
  m = units_.Back(m);
  const unsigned atEnd = ClampSizes(m) | ClampAxis(m);
  m = units_.Into(m);
  return atEnd;
}

// A part that was moved into its range is at the end of it, and is held there while the others are refined.
unsigned Plausible::ClampSizes(Model& m) const {
  unsigned atEnd = 0;
  const auto into = [&](const SizeRange& range, unsigned part, double& value) {
    const double inside = std::clamp(value, range.low, range.high);
    if (inside == value || (held_ & part) != 0) return;
    value = inside;
    atEnd |= part;
  };
  const KindFacts& facts = FactsOf(kind_);
  if (facts.major) into(RangeOf(*facts.major, *options_), kMajor, m.major);
  if (facts.minor) into(RangeOf(*facts.minor, *options_), kMinor, m.minor);
  return atEnd;
}

// An axis too far from the wanted direction is turned back in the plane of both, to the edge of the cone that
// is allowed. Either sense of an axis is the same shape, so the nearer sense of the wanted direction counts.
unsigned Plausible::ClampAxis(Model& m) const {
  if (!options_->axisNear || (held_ & kAxis) != 0 || !FactsOf(kind_).hasAxis) return 0;
  const Vector3d near = Normalised(*options_->axisNear);
  const Vector3d wanted = near * (m.axis.dot(near) < 0 ? -1 : 1);
  const Vector3d side = m.axis - wanted * wanted.dot(m.axis);
  const double within = options_->axisWithin;
  if (!(std::atan2(side.norm(), wanted.dot(m.axis)) > within)) return 0;
  m.axis = std::cos(within) * wanted + std::sin(within) * side.normalized();
  return kAxis;
}

bool Plausible::Passes(const Model& m, double slack) const {
  if (!options_->passes) return true;
  const Vector3d p = *options_->passes - origin_;
  double distance = 0;
  Distances(units_.Back(m), &p, 1, &distance);
  return distance <= options_->passesWithin + slack * units_.size;
}

}  // namespace primfit::adaptive
