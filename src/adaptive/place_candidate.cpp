#include "adaptive/place_candidate.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace primfit::adaptive {

namespace {

/// A coarser candidate has to save so many times as much as a finer one. The plane half way between two walls
/// saves 1.6 times as much as one of them, a mug seen by a depth camera 2.4 times as much as a piece of it.
constexpr double kMuchMore = 2;
/// By how much real surfaces are coarser in all than from neighbour to neighbour: a mug seen by a depth
/// camera four times, the walls of a scanned room five times.
constexpr double kMostUneven = 5;

/// What a candidate saves, in nats: each of its points is known to the entropy of the noise instead of the
/// room.
double Saving(const PlaceCandidate& c, const Surroundings& in) {
  const double noise = std::max(c.noise, in.localNoise / kMostUneven);
  const double spread = std::sqrt(2 * std::numbers::pi * std::numbers::e) * noise;
  const double points = c.support - FreeParametersOf(c.model, 0).count;
  return points * std::log(std::max(in.room / spread, 1.0));
}

}  // namespace

double LargestNoise(const PlaceCandidate& c) {
  return c.noise * (1 + 2 / std::sqrt(2 * std::max(c.support, 1.0)));
}

bool IsTooFine(double noise, const Surroundings& in) { return noise * kMostUneven < in.localNoise; }

bool IsCoarser(const PlaceCandidate& c, const PlaceCandidate& than) {
  return c.noise > kMuchCoarser * LargestNoise(than);
}

bool IsPreferred(const PlaceCandidate& c, const PlaceCandidate& best, const Surroundings& in) {
  const double saving = Saving(c, in), bestSaving = Saving(best, in);
  const double mostNoise = kMostUneven * std::max(in.leastNoise, in.localNoise);
  if (IsCoarser(c, best)) return c.noise <= mostNoise && saving > kMuchMore * bestSaving;
  if (IsCoarser(best, c)) return bestSaving <= kMuchMore * saving;
  return c.support > best.support;
}

}  // namespace primfit::adaptive
