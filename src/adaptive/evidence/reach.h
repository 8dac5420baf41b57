// Where values begin and end: the heights of a cylinder's points along its axis, the azimuths of an arc's.
//
// A shape without bounds has inliers by chance far from the part that was seen, so the smallest and largest
// value would tell nothing. First the range is divided into equal bins, and those at its ends that hold next
// to nothing are cut. Then, within the outermost values that are left, each end is put where the density of
// values changes most: between a few stray ones and the many of the shape. The spacing of the many says how
// far the true end may lie beyond the outermost of them.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_REACH_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_REACH_H_

#include <cstddef>
#include <span>
#include <vector>

namespace primfit::adaptive {

/// An end of values, which is one of them.
struct ReachEnd {
  double at = 0;
  std::size_t index = 0;  ///< of that value
  /// Mean and mean square of how far the true end is from it.
  double meanError = 0, squaredError = 0;
};

struct Reach {
  ReachEnd low, high;
  double Length() const { return high.at - low.at; }
  /// Mean square of how far the true length is from this one: both ends lie inside of the true ones, so that
  /// their errors add up.
  double SquaredErrorOfLength() const {
    return low.squaredError + high.squaredError + 2 * low.meanError * high.meanError;
  }
};

/// What is known of values beforehand.
struct ValueModel {
  bool mayHoldStrays = true;
  /// How many strays there are for each value on the same length, by what lies beside the shape; 0 where that
  /// is not known.
  double strayShare = 0;
  /// Standard deviation by which noise moves values, if it moves points along the shape as it does across.
  double noise = 0;
};

/// What lies beyond the bound of some values.
struct Outside {
  bool mayHoldStrays = true;
  std::size_t strays = 0;  ///< values there
  double length = 0;       ///< on what length they are
  double noise = 0;        ///< see ValueModel
};

/// An end as an index of depths, and how far the true one may be from it.
struct DepthEnd {
  std::size_t index = 0;
  double meanError = 0, squaredError = 0;
};

/// Where the values that are no strays end.
///
/// Under the model of two densities the likelihood of n values on a length l and N on L is largest where
/// n log(n / l) + N log(N / L) is (the change point of a Poisson process: Raftery and Akman 1986). Where no
/// stray values were seen before, the split has to gain as much as its two parameters cost (Schwarz 1978).
/// Strays are less than a tenth as dense as the values next to them.
///
/// The values are a renewal process: seen from the true end the nearest one is on the mean half the ratio of
/// the sums of squares and of gaps away (Cox 1962), which for random values is their spacing and for rows of
/// a scan half their distance. For the mean square the distance is taken for exponential.
/// @param depths  ascending, of the outermost values within some bound
DepthEnd EndOfDepths(std::span<const double> depths, const Outside& outside);

/// The range of values along an axis.
Reach ReachAlong(std::span<const double> values, const ValueModel& model = {});

/// The range of heights above the apex of a cone. Points that are spread evenly over it are the denser along
/// its axis the higher they are, so the ends are found on the scale of the area from the apex, on which they
/// are even: the square of the height.
Reach ReachByArea(std::span<const double> heights, const ValueModel& model = {});

/// The same as along an axis around a full turn: the turn less its largest gap.
/// @param squareAzimuths  as SquareAzimuth has them
/// @return radians; `low` in [0, 2 pi), `high` above it by the angle covered
Reach ReachAround(std::span<const double> squareAzimuths, const ValueModel& model = {});

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_REACH_H_
