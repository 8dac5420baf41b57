// How far the inliers of a shape reach over it: the length of a cylinder, the swept angle of an arc.
//
// A shape without bounds has inliers by chance far from the part that was seen, so the smallest and largest
// value would tell nothing. The range is divided into equal bins, and those at its ends that hold next to
// nothing are cut.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_EXTENT_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_EXTENT_H_

#include <vector>

namespace primfit::adaptive {

struct Reach {
  double low = 0;
  double high = 0;
  double Length() const { return high - low; }
};

/// The range of values along an axis. Of 64 equal bins of the whole range those at its ends are cut, one by
/// one, while they hold less than a tenth of the median bin: few points that chance has put into line with a
/// shape do not make it longer. Fewer than 256 values are too few to tell; they all count.
Reach ReachAlong(std::vector<double> values);

/// The same around a full turn: the turn less its largest gap, in 256 bins, any of which may be cut, for
/// 1024 values and more. A gap below a four-thousandth of the turn counts as none.
/// @param squareAzimuths  as SquareAzimuth has them
/// @return radians; `low` in [0, 2 pi), `high` above it by the angle covered
Reach ReachAround(const std::vector<double>& squareAzimuths);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_EXTENT_H_
