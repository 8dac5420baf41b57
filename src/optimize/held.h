#ifndef PRIMFIT_SRC_OPTIMIZE_HELD_H_
#define PRIMFIT_SRC_OPTIMIZE_HELD_H_

#include <Eigen/Core>
#include <optional>

namespace primfit {

/// A part of a shape that a refinement may be told to hold: the value once it is held.
using HeldVector = std::optional<Eigen::Vector3d>;
using HeldNumber = std::optional<double>;

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_HELD_H_
