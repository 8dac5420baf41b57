#include "adaptive/converge/noise.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

namespace primfit::adaptive {

namespace {

/// Standard deviations within which an inlier lies. Three of them are usual (the three-sigma rule) and leave
/// out 0.27 % of normal noise.
constexpr double kSurfaceBound = 3;
constexpr double kCurveBound = 3.44;  // the same share outside a circle

/// Bins are a twelfth of the first guess wide, so that the width hardly enlarges the variance, and few enough
/// that a round of the expectation-maximisation takes some microseconds.
constexpr std::size_t kBins = 96;
constexpr std::size_t kMostBinned = 20000;  // of so many distances the noise is known to 0.5 %
constexpr double kRange = 8;                // of the histogram, in first guesses of the noise
constexpr double kWider = 3;                // the tails' standard deviation in those of the rest
/// Where the expectation-maximisation starts: most points near a shape are its own, and few of them are
/// tails.
constexpr double kFirstShare = 0.9, kFirstTails = 0.2;
constexpr int kMostRounds = 200, kMostGuesses = 8;
/// Chi-squared of the bins above which normal noise does not fit: it is so in at most one fit in six.
constexpr double kMisfit = 110;
/// Nats by which tails have to explain the distances better.
constexpr double kGain = 20;
constexpr double kPi = 3.14159265358979323846;

/// Distances below some range, counted in equal bins. All that follows is computed from the bins, so its cost
/// does not depend on the number of points.
struct Histogram {
  bool curve;
  double range, width;  // of all bins and of one
  std::array<double, kBins> counts{};
  double total = 0;

  template <class Visit>
  void ForEachBin(const Visit& visit) const {
    for (std::size_t bin = 0; bin < kBins; ++bin) {
      if (counts[bin] > 0) visit((static_cast<double>(bin) + 0.5) * width, counts[bin]);
    }
  }
};

/// Noise, a part of which may be wider, and points anywhere.
struct Mixture {
  double inlierShare;
  double variance;  // of the narrow part
  double tails;     // the wide part's share of the noise

  double Noise() const { return std::sqrt(variance * (1 - tails + tails * kWider * kWider)); }
};

/// Probability densities of the parts of a mixture at a distance.
struct Densities {
  double narrow, wide, anywhere;
  double Sum() const { return narrow + wide + anywhere; }
};

/// Of very many distances every so many-th one is taken: more would not make the noise any better known.
Histogram HistogramOf(bool curve, std::span<const double> distances, double guess,
                      std::span<const double> weights) {
  Histogram h{curve, kRange * guess, kRange * guess / kBins};
  const std::size_t step = distances.size() / kMostBinned + 1;
  for (std::size_t i = 0; i < distances.size(); i += step) {
    if (!(distances[i] >= 0 && distances[i] < h.range)) continue;
    const double weight = weights.empty() ? 1 : weights[i];
    // Just below the range the quotient rounds to the number of bins.
    h.counts[std::min(static_cast<std::size_t>(distances[i] * (1 / h.width)), kBins - 1)] += weight;
    h.total += weight;
  }
  return h;
}

/// Half-normal for surfaces, Rayleigh for curves.
double NoiseDensity(bool curve, double d, double variance) {
  const double bell = std::exp(-d * d / (2 * variance));
  return curve ? d / variance * bell : bell * std::sqrt(2 / (kPi * variance));
}

/// Points anywhere are spread evenly over the distances from a surface. About a curve the room between two
/// distances grows with them, so the density is linear there.
Densities DensitiesAt(double d, const Mixture& m, const Histogram& h) {
  return {m.inlierShare * (1 - m.tails) * NoiseDensity(h.curve, d, m.variance),
          m.tails == 0 ? 0 : m.inlierShare * m.tails * NoiseDensity(h.curve, d, m.variance * kWider * kWider),
          (1 - m.inlierShare) * (h.curve ? 2 * d / (h.range * h.range) : 1 / h.range)};
}

/// The most likely mixture, from the guess on, by expectation-maximisation: each bin's count is shared among
/// the parts by their densities there, then each part's share and variance follow from its counts. The
/// variance of one bin is that of values spread evenly in it.
Mixture MostLikely(const Histogram& h, double guess, double tails) {
  Mixture m{kFirstShare, guess * guess, tails};
  const double ofBin = h.width * h.width / 12;
  for (int round = 0; round < kMostRounds; ++round) {
    double noise = 0, wide = 0, squares = 0;
    h.ForEachBin([&](double d, double count) {
      const Densities at = DensitiesAt(d, m, h);
      const double each = count / at.Sum();
      noise += each * (at.narrow + at.wide);
      wide += each * at.wide;
      squares += each * (at.narrow + at.wide / (kWider * kWider)) * (d * d + ofBin);
    });
    if (noise <= 0) break;
    const double next = squares / noise / (h.curve ? 2 : 1);
    const bool converged = std::abs(next - m.variance) < 1e-6 * m.variance;
    m = {std::min(noise / h.total, 1 - 1e-9), std::max(next, ofBin), wide / noise};
    if (converged) break;
  }
  return m;
}

/// Of the counts under a mixture, by which one with tails and one without are compared.
double LogLikelihood(const Histogram& h, const Mixture& m) {
  double sum = 0;
  h.ForEachBin([&](double d, double count) { sum += count * std::log(DensitiesAt(d, m, h).Sum()); });
  return sum;
}

/// About as large as there are bins where the mixture is true.
double ChiSquared(const Histogram& h, const Mixture& m) {
  double sum = 0;
  h.ForEachBin([&](double d, double count) {
    const double expected = h.total * h.width * DensitiesAt(d, m, h).Sum();
    sum += (count - expected) * (count - expected) / (expected + 1);
  });
  return sum;
}

/// Noise without tails, or with them where they explain the distances much better.
double NoiseOf(const Histogram& h, double guess) {
  if (h.total == 0) return guess;
  const Mixture normal = MostLikely(h, guess, 0);
  if (h.curve || ChiSquared(h, normal) < kMisfit) return normal.Noise();
  const Mixture tailed = MostLikely(h, guess, kFirstTails);
  return LogLikelihood(h, tailed) > LogLikelihood(h, normal) + kGain ? tailed.Noise() : normal.Noise();
}

}  // namespace

// The range of the histogram follows the guess: with one that is too coarse the noise fills a bin or two,
// with one that is too fine its flanks are cut off. So each estimate is the guess for the next, until it
// stays.
double EstimateNoise(bool curve, std::span<const double> distances, double start,
                     std::span<const double> weights) {
  double noise = start;
  for (int guess = 0; guess < kMostGuesses; ++guess) {
    const double next = NoiseOf(HistogramOf(curve, distances, noise, weights), noise);
    const bool converged = std::abs(next - noise) < 0.02 * noise;
    noise = next;
    if (converged) break;
  }
  return noise;
}

std::vector<double> NoiseWeights(std::span<const double> trust) {
  std::vector<double> weights(trust.begin(), trust.end());
  if (weights.empty()) return weights;
  const auto middle = weights.begin() + static_cast<std::ptrdiff_t>(weights.size() / 2);
  std::nth_element(weights.begin(), middle, weights.end());
  const double median = *middle;
  std::transform(trust.begin(), trust.end(), weights.begin(),
                 [&](double t) { return std::min(t, median) / median; });
  return weights;
}

double InlierBound(bool curve, double noise) {
  return std::min(noise * (curve ? kCurveBound : kSurfaceBound), std::numeric_limits<double>::max());
}

// The variance of normal noise over that of the part within the bound. About a curve the squared distance has
// an exponential distribution, for which both are known in closed form.
double VarianceInflation(bool curve) {
  if (curve) {
    const double out = std::exp(-kCurveBound * kCurveBound / 2);
    return (1 - out) / (1 - out - kCurveBound * kCurveBound / 2 * out);
  }
  const double in = std::erf(kSurfaceBound / std::sqrt(2.0));
  const double edge = 2 * kSurfaceBound * std::exp(-kSurfaceBound * kSurfaceBound / 2) / std::sqrt(2 * kPi);
  return in / (in - edge);
}

}  // namespace primfit::adaptive
