// The unit in which a search works: lengths in sizes of the cloud, positions relative to its middle.
//
// Limits of the search, such as the coarsest bound of an inlier, are shares of the cloud's size, and a cloud
// has to give the same shape in every unit. So the few thousand points that the search looks at are changed
// to this unit, and the shapes that it finds are changed back. Size and middle are medians, which stray
// points do not move.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_UNITS_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_UNITS_H_

#include <Eigen/Core>
#include <span>

#include "adaptive/model/model.h"

namespace primfit::adaptive {

/// The default changes nothing, to the bit.
struct Units {
  Eigen::Vector3d middle = Eigen::Vector3d::Zero();
  double size = 1;

  Eigen::Vector3d Into(const Eigen::Vector3d& p) const { return (p - middle) / size; }
  Model Into(Model m) const;
  Model Back(Model m) const;
};

/// The unit of a cloud: its middle is the component-wise median, its size the median distance from there,
/// zero where more than half of the points are at one place.
Units UnitsOf(std::span<const Eigen::Vector3d> points);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_UNITS_H_
