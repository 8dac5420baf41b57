// How far the inliers of a shape reach over it, and how exactly that is known: the length of a cylinder, the
// swept angle of an arc, the outline of a patch.
//
// An end is that of the outermost inliers that are no strays (reach.h, outline_strays.h). It is off by how
// far these lie inside of the true one, and by what the shape under them is off: where an axis is tilted or
// an apex moves, so do the heights along it.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_EXTENT_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_EXTENT_H_

#include <Eigen/Core>
#include <span>
#include <vector>

#include "adaptive/evidence/reach.h"
#include "outline/outline.h"
#include "primfit/fit.h"
#include "primitives/model.h"
#include "primitives/primitives.h"

namespace primfit::adaptive {

/// The points near a shape as the bounds of a record are measured on them: about a centre, along an axis and
/// two perpendiculars of it. They are the inliers and those that are none only because they stand alone, as
/// some do at corners and at the narrow end of a cone: here the strays among them are told by their density
/// along the shape.
struct AxisFrame {
  /// @param model  relative to the scene's origin, as the points are
  /// @param near   must outlive the frame
  AxisFrame(const Model& model, std::span<const Eigen::Vector3d> near);

  ShapeKind kind;
  double sine, cosine;        ///< of a cone's half-angle, else of zero
  double turnRadius;          ///< of an arc or the middle of a torus's tube
  bool mayHoldStrays = true;  ///< and what else is known of the points; see ValueModel
  double strayShare = 0, noise = 0;
  Eigen::Vector3d center, axis, u, w;
  std::span<const Eigen::Vector3d> points;
};

/// A bound with its standard deviation; infinite where the points do not tell it.
struct MeasuredBounds {
  Extent extent;
  double low = 0, high = 0, length = 0;  ///< standard deviations of the ends and of the length or angle
  double start = 0;  ///< the same of the start's place along the axis, or of its direction about it
};

/// How far the points reach; nothing for a shape without bounds or with an outline.
MeasuredBounds MeasureBounds(Bounds bounds, const AxisFrame& frame, const FitCovariance& covariance);

struct MeasuredOutline {
  Loop loop;
  std::vector<double> corners;  ///< standard deviation of each, in the direction in which it is largest
};
/// The outline of the points in the plane, in coordinates along u and w.
MeasuredOutline MeasureOutline(const AxisFrame& frame);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_EXTENT_H_
