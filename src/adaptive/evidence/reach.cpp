#include "adaptive/evidence/reach.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "outline/azimuth.h"

using std::numbers::pi;

namespace primfit::adaptive {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Values less dense than this share of the others are strays.
constexpr double kStrayShare = 0.1;
/// So many values a bin tell strays from the others; and the most bins of a line and of a turn.
constexpr std::size_t kPerBin = 20, kLineBins = 64, kTurnBins = 256;
/// Values that an end is searched among. The fewer they are, the more they are like those at the very end;
/// the more they are, the better their density is known. Both errors are least for about the power 2/3 of
/// all, as for density estimates at a boundary.
constexpr std::size_t kMostAtEnd = 512;

std::size_t BinsFor(std::size_t values, std::size_t most) {
  return std::clamp(values / kPerBin, std::size_t{8}, most);
}

std::size_t AtEnd(std::size_t values) {
  const auto wanted = static_cast<std::size_t>(std::pow(static_cast<double>(values), 2.0 / 3));
  return std::clamp(wanted, std::min<std::size_t>(values, 2), kMostAtEnd);
}

/// Counts of equal bins from `low` on, of the values that are in one.
std::vector<std::size_t> CountInBins(std::span<const double> values, double low, double length,
                                     std::size_t bins) {
  std::vector<std::size_t> counts(bins);
  const auto most = static_cast<double>(bins);
  const double scale = most / length;
  for (const double v : values) {
    const double at = (v - low) * scale;
    if (at >= 0 && at <= most) ++counts[std::min(static_cast<std::size_t>(at), bins - 1)];
  }
  return counts;
}

/// Of the bins that are not empty.
double MedianCount(std::vector<std::size_t> counts) {
  std::erase(counts, 0U);
  const auto middle = counts.begin() + static_cast<std::ptrdiff_t>(counts.size() / 2);
  std::nth_element(counts.begin(), middle, counts.end());
  return static_cast<double>(*middle);
}

/// The share of a normal distribution below z.
double NormalShare(double z) { return std::erfc(-z / std::sqrt(2.0)) / 2; }

/// Of so many values on a length, without what is the same for all splits.
double LogLikelihood(double count, double length) { return count > 0 ? count * std::log(count / length) : 0; }

/// How many of the outermost depths are strays.
std::size_t CountStrays(std::span<const double> depths, const Outside& outside) {
  const std::size_t last = depths.size() - 1;
  std::size_t best = 0;
  double most = -kInfinity, whole = 0;
  for (std::size_t k = 0; 2 * k < last; ++k) {
    const auto few = static_cast<double>(outside.strays + k), many = static_cast<double>(last - k);
    const double outer = outside.length + depths[k], inner = depths[last] - depths[k];
    if (!(inner > 0)) break;
    if (few > 0 && !(few / outer < kStrayShare * many / inner)) continue;
    const double likelihood = LogLikelihood(few, outer) + LogLikelihood(many, inner);
    if (k == 0) whole = likelihood;
    if (likelihood > most) most = likelihood, best = k;
  }
  const bool pays = outside.strays > 0 || most > whole + std::log(static_cast<double>(depths.size()));
  return pays ? best : 0;
}

/// How far a blurred end lies beyond the true one, zero for a sharp one. Where a scan thins out, or noise
/// reaches farther than all of these values, the first k / 2 of them take a longer way than the next k / 2;
/// the difference is the length that they lack. Of values spread evenly its standard deviation is the whole
/// way over the root of k, and three of these are significant.
double LengthLacking(std::span<const double> depths) {
  constexpr std::size_t kFewest = 16;
  double most = 0;
  for (std::size_t k = kFewest; k < depths.size(); k *= 2) {
    const double way = depths[k] - depths[0], lack = 2 * (depths[k / 2] - depths[0]) - way;
    if (lack > 3 * way / std::sqrt(static_cast<double>(k))) most = std::max(most, lack);
  }
  return most;
}

/// The logarithm of the likelihood, at the density that makes it largest, of values whose density rises about
/// an end as the normal distribution does.
double LogLikelihoodOfBlurred(std::span<const double> depths, double end, double noise) {
  constexpr double kFar = 5;  // standard deviations within the end, from where on the density is the full one
  double sum = 0;
  for (const double depth : depths) {
    const double z = (depth - end) / noise;
    if (z > kFar) break;
    sum += std::log(NormalShare(z));
  }
  const double z = (depths.back() - end) / noise;
  const double length =
      (depths.back() - end) * NormalShare(z) + noise * std::exp(-z * z / 2) / std::sqrt(2 * pi);
  return sum + LogLikelihood(static_cast<double>(depths.size()), length);
}

/// The mean square of how far an end is off because noise blurs it. Either noise moves points along the shape
/// as it does across, or the end is sharp, with strays beyond it: without knowing more one is as likely as
/// the other, and the likelihoods of the values say how much more probable one of them is (Jeffreys 1961).
double SquaredBlur(std::span<const double> depths, std::size_t end, const Outside& outside) {
  constexpr double kStep = 0.5, kFarthest = 4.5;  // of the ends that are tried, in standard deviations
  const auto strays = static_cast<double>(outside.strays), few = strays + static_cast<double>(end);
  const double sharp = LogLikelihood(few, outside.length + depths[end]) +
                       LogLikelihood(static_cast<double>(depths.size() - end), depths.back() - depths[end]);
  double blurred = -kInfinity, trueEnd = 0;
  for (double shift = 0; shift <= kFarthest; shift += kStep) {
    const double tried = depths[0] + shift * outside.noise;
    const double likelihood = LogLikelihoodOfBlurred(depths, tried, outside.noise);
    if (likelihood > blurred) blurred = likelihood, trueEnd = tried;
  }
  blurred += LogLikelihood(strays, outside.length + depths[0]);
  return std::pow(trueEnd - depths[end], 2) / (1 + std::exp(sharp - blurred));
}

/// The mean square of how far an end that is not sharp is off.
/// @param gap  mean distance of neighbours there; noise that moves points by less than one does not show
double SquaredErrorOfEdge(std::span<const double> depths, std::size_t end, const Outside& outside,
                          double gap) {
  const double lacking = LengthLacking(depths.subspan(end));
  const double blur = outside.noise > gap ? SquaredBlur(depths, end, outside) : 0;
  return std::max(lacking * lacking, blur);
}

}  // namespace

DepthEnd EndOfDepths(std::span<const double> depths, const Outside& outside) {
  DepthEnd end;
  if (outside.mayHoldStrays && !depths.empty()) end.index = CountStrays(depths, outside);
  double squares = 0, sum = 0;
  for (std::size_t i = end.index; i + 1 < depths.size(); ++i) {
    const double gap = depths[i + 1] - depths[i];
    squares += gap * gap;
    sum += gap;
  }
  if (!(sum > 0)) {
    end.meanError = end.squaredError = kInfinity;
    return end;
  }
  end.meanError = squares / (2 * sum);
  // Of n random gaps the ratio has a relative variance of 2 / n, so that the mean of its inverse square, by
  // which errors are judged, is 1 + 6 / n.
  const auto gaps = static_cast<double>(depths.size() - 1 - end.index);
  end.squaredError = 2 * end.meanError * end.meanError * (1 + 6 / gaps);
  end.squaredError += SquaredErrorOfEdge(depths, end.index, outside, end.meanError);
  const auto strays = static_cast<double>(outside.strays + end.index);
  const double outer = outside.length + depths[end.index];
  if (!(strays > 0 && outer > 0)) return end;
  // With T the logarithm of the ratio of the densities, a stray value nearer to the end than T mean gaps is
  // taken for it, and a last value behind a longer gap is taken for a stray; either is as probable as the
  // densities' ratio makes it.
  const double ratio = strays / outer * end.meanError;
  if (!(ratio < 1)) return end;
  const double longest = -std::log(ratio);
  end.squaredError +=
      ratio * (std::pow(longest, 3) / 3 + std::pow(longest + 1, 2)) * end.meanError * end.meanError;
  return end;
}

namespace {

/// What is left of values when bins at their ends that hold next to nothing are cut. The next of these to the
/// others stays: the end may lie in it.
struct Kept {
  double low, high;                   ///< bounds of the bins that are left
  std::size_t lowStrays, highStrays;  ///< values beyond them
  double lowZone, highZone;           ///< how far inward the values for either end lie
};

Kept KeepBins(std::span<const double> values, double low, double high, bool mayHoldStrays) {
  const std::size_t bins = BinsFor(values.size(), kLineBins), wanted = AtEnd(values.size());
  const auto counts = CountInBins(values, low, high - low, bins);
  const double few = mayHoldStrays ? kStrayShare * MedianCount(counts) : 1;
  const auto edge = [&](std::size_t bin) {
    return bin == bins ? high : low + (high - low) / static_cast<double>(bins) * static_cast<double>(bin);
  };
  Kept kept{};
  std::size_t first = 0, last = bins - 1;
  for (; static_cast<double>(counts[first]) < few; ++first) kept.lowStrays += counts[first];
  for (; static_cast<double>(counts[last]) < few; --last) kept.highStrays += counts[last];
  if (first > 0) kept.lowStrays -= counts[--first];
  if (last + 1 < bins) kept.highStrays -= counts[++last];
  kept.low = edge(first);
  kept.high = edge(last + 1);
  std::size_t lowZone = first, highZone = last;
  for (std::size_t n = counts[lowZone]; n < wanted && lowZone < last;) n += counts[++lowZone];
  for (std::size_t n = counts[highZone]; n < wanted && highZone > first;) n += counts[--highZone];
  kept.lowZone = edge(lowZone + 1);
  kept.highZone = edge(highZone);
  return kept;
}

/// The outermost values between an edge and a zone's end, from the edge on.
std::vector<double> OutermostValues(std::span<const double> values, double edge, double zone) {
  const double low = std::min(edge, zone), high = std::max(edge, zone);
  std::vector<double> found;
  for (const double v : values) {
    if (v >= low && v <= high) found.push_back(v);
  }
  const auto last = found.begin() + static_cast<std::ptrdiff_t>(std::min(AtEnd(values.size()), found.size()));
  const auto isFarther = [&](double a, double b) { return edge < zone ? a < b : a > b; };
  if (last != found.end()) std::nth_element(found.begin(), last, found.end(), isFarther);
  std::sort(found.begin(), last, isFarther);
  found.erase(last, found.end());
  return found;
}

/// The end between an edge and a zone's end.
/// @param place  of a value on the scale on which distances are measured
template <class Place>
ReachEnd EndFrom(std::span<const double> values, double edge, double zone, const Outside& outside,
                 const Place& place) {
  const std::vector<double> outermost = OutermostValues(values, edge, zone);
  std::vector<double> depths(outermost.size());
  std::transform(outermost.begin(), outermost.end(), depths.begin(),
                 [&](double v) { return std::abs(place(v) - place(edge)); });
  const DepthEnd end = EndOfDepths(depths, outside);
  const double value = outermost[end.index];
  const auto index =
      static_cast<std::size_t>(std::find(values.begin(), values.end(), value) - values.begin());
  return {place(value), index, end.meanError, end.squaredError};
}

/// The ends of values in a range.
/// @param place  of a value on the scale on which distances are measured
/// @param slope  how far values move on that scale, near a value, by what noise moves them
template <class Place, class Slope>
Reach ReachWithin(std::span<const double> values, const ValueModel& model, double low, double high,
                  const Place& place, const Slope& slope) {
  const Kept kept = KeepBins(values, low, high, model.mayHoldStrays);
  const double length = place(kept.high) - place(kept.low);
  // What is known of strays beforehand counts as one that was seen on the length for one.
  const std::size_t one = model.strayShare > 0 ? 1 : 0;
  const double lengthForOne = one == 0 ? 0 : length / (model.strayShare * static_cast<double>(values.size()));
  const Outside below{model.mayHoldStrays, kept.lowStrays + one, place(kept.low) - place(low) + lengthForOne,
                      model.noise * slope((kept.low + kept.lowZone) / 2)};
  const Outside above{model.mayHoldStrays, kept.highStrays + one,
                      place(high) - place(kept.high) + lengthForOne, model.noise};
  return {EndFrom(values, kept.low, kept.lowZone, below, place),
          EndFrom(values, kept.high, kept.highZone, above, place)};
}

Reach ReachOfOne(double at) {
  const ReachEnd only{at, 0, kInfinity, kInfinity};
  return {only, only};
}

}  // namespace

Reach ReachAlong(std::span<const double> values, const ValueModel& model) {
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  if (!(*most > *least)) return ReachOfOne(*least);
  return ReachWithin(
      values, model, *least, *most, [](double v) { return v; }, [](double) { return 1.0; });
}

Reach ReachByArea(std::span<const double> heights, const ValueModel& model) {
  std::vector<double> areas(heights.size());
  std::transform(heights.begin(), heights.end(), areas.begin(), [](double h) { return h * std::abs(h) / 2; });
  const auto [least, most] = std::minmax_element(areas.begin(), areas.end());
  if (!(*most > *least)) return ReachOfOne(heights[0]);
  Reach reach = ReachWithin(
      areas, model, *least, *most, [](double area) { return area; },
      [](double area) { return std::sqrt(2 * std::abs(area)); });
  for (ReachEnd* end : {&reach.low, &reach.high}) {
    end->at = heights[end->index];
    const double size = std::abs(end->at);  // by which an area grows with the height
    end->meanError = std::min(end->meanError / size, size);
    end->squaredError = std::min(end->squaredError / (size * size), size * size);
  }
  return reach;
}

namespace {

/// The widest gap of the turn, bins left out that hold next to nothing.
struct Gap {
  double begin, end;  ///< azimuths, the end above the begin
};
Gap WidestGap(std::span<const double> squareAzimuths, bool mayHoldStrays) {
  // Whether azimuths are stray ones is decided in bins of the turn, and the gaps are told in finer ones.
  constexpr std::size_t kFineBins = 16 * kTurnBins;
  const std::size_t turnBins = BinsFor(squareAzimuths.size(), kTurnBins);
  AzimuthBins bins(kFineBins);
  std::vector<std::size_t> counts(turnBins);
  const auto turnBinOf = [&](std::size_t fine) { return fine * turnBins / kFineBins; };
  for (const double a : squareAzimuths) ++counts[turnBinOf(bins.Add(a))];
  const double few = mayHoldStrays ? kStrayShare * MedianCount(counts) : 0;
  const AzimuthGaps gaps =
      bins.Gaps([&](std::size_t fine) { return static_cast<double>(counts[turnBinOf(fine)]) >= few; });
  const double acrossZero = gaps.first + 2 * pi - gaps.last;
  if (gaps.gap >= acrossZero) return {gaps.behindGap - gaps.gap, gaps.behindGap};
  return {gaps.last, gaps.first + 2 * pi};
}

}  // namespace

// The azimuths are counted from the middle of the gap, so that they rise along what is covered. They stay
// square ones; only those near the ends become angles.
Reach ReachAround(std::span<const double> squareAzimuths, const ValueModel& model) {
  const Gap gap = WidestGap(squareAzimuths, model.mayHoldStrays);
  if (!(gap.end - gap.begin < 2 * pi)) return ReachOfOne(std::fmod(gap.end, 2 * pi));
  const double middle = std::fmod((gap.begin + gap.end) / 2, 2 * pi);
  const double squareMiddle = SquareAzimuth(std::cos(middle), std::sin(middle));
  std::vector<double> turned(squareAzimuths.size());
  std::transform(squareAzimuths.begin(), squareAzimuths.end(), turned.begin(), [&](double square) {
    return square < squareMiddle ? square - squareMiddle + 4 : square - squareMiddle;
  });
  const auto azimuth = [&](double value) {
    const double a = AzimuthOf(std::fmod(value + squareMiddle, 4));
    const double near = middle + value * pi / 2;  // a square azimuth is a quarter turn, to a tenth
    return a + 2 * pi * std::round((near - a) / (2 * pi));
  };
  Reach reach = ReachWithin(turned, model, 0, 4, azimuth, [](double) { return 1.0; });
  const double turns = 2 * pi * std::floor(reach.low.at / (2 * pi));
  reach.low.at -= turns;
  reach.high.at -= turns;
  return reach;
}

}  // namespace primfit::adaptive
