// The scale estimate: how large the noise of a shape's points is, among clutter, with nothing told.
//
// The distances of all points near a shape are a mixture of noise, which piles up at zero, and of points that
// lie anywhere, which are spread evenly (about a curve: ever more with the distance, as there is more room).
// The standard deviation of the noise follows by expectation-maximisation (Dempster, Laird and Rubin 1977). A
// bound of three of it (about curves 3.44) takes in all inliers but one of 370.
#ifndef PRIMFIT_SRC_ADAPTIVE_CONVERGE_NOISE_H_
#define PRIMFIT_SRC_ADAPTIVE_CONVERGE_NOISE_H_

#include <span>
#include <vector>

namespace primfit::adaptive {

/// Standard deviation of the distances near zero. Of surfaces the noise is half-normal; where that does not
/// fit the distances, it has a part three times as wide (the contaminated normal distribution of Tukey 1960),
/// and this is its standard deviation, tails included. Of curves it is a Rayleigh distribution, and the
/// standard deviation that along one direction; tails are not looked for, since any rod of clutter about a
/// curve looks like some.
/// @param start    a first guess, above zero; distances beyond some times of it do not count
/// @param weights  what each distance counts; none where all are alike
double EstimateNoise(bool curve, std::span<const double> distances, double start,
                     std::span<const double> weights = {});

/// What points count in the estimate of the noise: their trust over the median one's, but no more than 1, so
/// that few do not speak for all.
std::vector<double> NoiseWeights(std::span<const double> trust);

/// Bound of the inliers of normal noise: it leaves out this share of them.
constexpr double kShareBeyondBound = 0.0027;
double InlierBound(bool curve, double noise);

/// By how much leaving those out makes the variance of the result larger than that of the inliers says.
double VarianceInflation(bool curve);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_CONVERGE_NOISE_H_
