// How far the inliers of a shape reach over it: the length of a cylinder, the swept angle of an arc.
//
// A shape without bounds has inliers by chance far from the part that was seen, so the smallest and largest
// value would tell nothing. The range is divided into equal bins, and those at its ends that hold next to
// nothing are cut.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_EXTENT_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_EXTENT_H_

#include <Eigen/Core>
#include <span>
#include <vector>

#include "outline/outline.h"
#include "primitives/model.h"
#include "primitives/primitives.h"

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

/// The inliers as the bounds of a record are measured on them: about a centre, along an axis and two
/// perpendiculars of it.
struct AxisFrame {
  /// @param model    relative to the scene's origin, as the inliers are
  /// @param inliers  must outlive the frame
  AxisFrame(const Model& model, std::span<const Eigen::Vector3d> inliers);

  Eigen::Vector3d center, axis, u, w;
  std::span<const Eigen::Vector3d> points;
};

/// How far the inliers reach; nothing for a shape without bounds or with an outline.
Extent MeasureExtent(Bounds bounds, const AxisFrame& frame);

/// The outline of the inliers in the plane, in coordinates along u and w.
Loop MeasureOutline(const AxisFrame& frame);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_EXTENT_H_
